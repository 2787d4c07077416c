// check --fix: typos in property names corrected in place, nothing else of the file touched.
#ifndef PROPQOS_CLI_FIX_HPP
#define PROPQOS_CLI_FIX_HPP

#include <optional>
#include <string>
#include <vector>

#include "Report.hpp"

namespace propqos::cli
{

// For an unknown name whose suggestion is a typo's correction (at most kMaxFixDistance edits
// away, and no other known name of the entity as close), the edit that writes the suggestion
// over the name's text. Needs the file's text (loaded with keepText). Nothing when the name is
// written with references, CDATA or a line break, which a plain replacement would not respect.
std::optional<Edit> typoFix(const Finding &finding);

constexpr int kMaxFixDistance = 2;

// A unified diff ("--- path", "+++ path", hunks with 3 lines of context) from `before` to
// `after`, which differ only within lines (the same line count, the same line breaks).
std::string unifiedDiff(const std::string &path, const std::string &before,
                        const std::string &after);

} // namespace propqos::cli

#endif
