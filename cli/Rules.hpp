// The codes the tool's findings carry: what each means and how grave it is by default.
#ifndef PROPQOS_CLI_RULES_HPP
#define PROPQOS_CLI_RULES_HPP

#include <string_view>
#include <vector>

#include "Profiles.hpp"

namespace propqos::cli
{

struct Rule {
    const char *code;        // "unknown-property"
    Level level;             // the level it is reported at unless the input says otherwise
    const char *summary;     // one line
    const char *description; // what triggers it and what to do
};

// Every rule, in the order they are listed.
const std::vector<Rule> &rules();
// The rule of a code, or null.
const Rule *findRule(std::string_view code);

} // namespace propqos::cli

#endif
