// The subcommands of the tool and what they share.
#ifndef PROPQOS_CLI_COMMANDS_HPP
#define PROPQOS_CLI_COMMANDS_HPP

#include <cstdio>
#include <string>
#include <vector>

#include "Profiles.hpp"

namespace propqos::cli
{

// Exit codes.
constexpr int kExitClean = 0;
constexpr int kExitFindings = 1;
constexpr int kExitUnusable = 2;

// Each takes the arguments after its name and returns the exit code. Usage mistakes are thrown
// as UsageError, unusable input as InputError.
int runCheck(const std::vector<std::string> &args);
int runRedact(const std::vector<std::string> &args);
int runDiff(const std::vector<std::string> &args);
int runGet(const std::vector<std::string> &args);
int runExplain(const std::vector<std::string> &args);

extern const char *const kCheckHelp;
extern const char *const kRedactHelp;
extern const char *const kDiffHelp;
extern const char *const kGetHelp;
extern const char *const kExplainHelp;

// True when `arg` asks for help.
bool isHelp(const std::string &arg);

// The value that follows option args[i]; throws UsageError when there is none.
const std::string &optionValue(const std::vector<std::string> &args, std::size_t &i,
                               const char *command);

// Loads the files (all of them, so that bases may live in any) and resolves inheritance.
ProfileSet loadProfiles(const std::vector<std::string> &paths, std::vector<Finding> &findings,
                        bool keepText = false);

// "path:line: level: message".
std::string formatFinding(const Finding &f);
// The finding as a JSON object.
std::string findingJson(const Finding &f);

// Writes a whole string to standard output.
void out(const std::string &text);

} // namespace propqos::cli

#endif
