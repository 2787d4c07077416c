// What the user says about the findings: rules turned off, findings accepted in place by a
// comment, and property names the tables cannot know.
#ifndef PROPQOS_CLI_RULE_CONTROL_HPP
#define PROPQOS_CLI_RULE_CONTROL_HPP

#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "Profiles.hpp"

namespace propqos::cli
{

// Names read from --known-names files: one a line, '#' starting a comment line, a trailing '*'
// making the rest a prefix.
class KnownNames
{
public:
    // Throws InputError when a file cannot be read.
    static KnownNames load(const std::vector<std::string> &paths);
    bool empty() const { return exact_.empty() && prefixes_.empty(); }
    bool contains(std::string_view name) const;

private:
    std::unordered_set<std::string> exact_;
    std::unordered_set<std::string> prefixes_;
    std::vector<std::size_t> prefixLengths_; // distinct, ascending
};

// Throws UsageError for a code that is no rule's, or one that cannot be disabled.
void checkRuleCodes(const std::vector<std::string> &codes, const char *option);

// Removes the findings whose code is disabled, and those that an inline
// <!-- propqos: ignore RULE[,RULE] --> accepts: the comment covers the element that follows it
// (and everything inside that element), for the rules it names. A name in such a comment that
// is no rule's is a finding of its own (unknown-rule). Order is kept; new findings are added
// at the end.
void applyRuleControl(FindingList &findings, const std::vector<std::string> &disabled,
                      const ProfileSet &set);

} // namespace propqos::cli

#endif
