// Findings written for machines: SARIF 2.1.0, for code-scanning services and editors.
#ifndef PROPQOS_CLI_REPORT_HPP
#define PROPQOS_CLI_REPORT_HPP

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "Edits.hpp"
#include "Profiles.hpp"

namespace propqos::cli
{

// The edit that would settle a finding, if there is a safe one.
using FixFinder = std::function<std::optional<Edit>(const Finding &)>;

// A finding as a JSON object: the fields of check --format json.
nlohmann::ordered_json findingObject(const Finding &finding);

// One SARIF log with one run: the tool, its rules, and a result per finding.
std::string sarifLog(const FindingList &findings, const FixFinder &fixOf);
// The same, handed to `write` in pieces as the results are made.
void sarifLog(const FindingList &findings, const FixFinder &fixOf,
              const std::function<void(std::string_view)> &write);

// A path as a URI reference: relative to the working directory when it is below it, a file:
// URI otherwise; bytes outside the unreserved set percent-encoded.
std::string artifactUri(const std::string &path);

} // namespace propqos::cli

#endif
