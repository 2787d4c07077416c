// The subcommands of the tool and what they share.
#ifndef PROPQOS_CLI_COMMANDS_HPP
#define PROPQOS_CLI_COMMANDS_HPP

#include <cstdio>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Profiles.hpp"

namespace propqos::cli
{

// Exit codes.
constexpr int kExitClean = 0;
constexpr int kExitFindings = 1;
constexpr int kExitUnusable = 2;

// What the command line asks of each command, as main() parsed it.
struct CheckOptions {
    std::vector<std::string> files;
    std::optional<ValidationAction> action;
    std::string format = "text";          // text, json or sarif
    std::vector<std::string> disabled;    // rule codes not reported
    std::vector<std::string> knownNames;  // files of extra known names
    bool warningsAsErrors = false;
    std::optional<long> maxWarnings;
    bool quiet = false;
    bool fix = false;
    bool dryRun = false;
    std::vector<std::string> externalBases; // patterns of bases defined outside the files
};

struct DiffOptions {
    std::string oldFile, newFile;
    bool enabled = false;
    std::string format = "text"; // text, json or sarif
    std::vector<std::string> externalBases;
};

struct GetOptions {
    std::vector<std::string> files;
    std::string profile;
    std::optional<Entity> entity;
    std::optional<std::string> qos; // the QoS of that name or topic filter
    std::optional<std::string> prefix;
    bool strip = false, reveal = false, json = false;
    std::vector<std::string> externalBases;
};

struct ExplainOptions {
    std::string name;                 // empty with prefix
    std::optional<std::string> prefix; // list the known names under it instead
    bool json = false;
};

// Each returns the exit code. Unusable input is thrown as InputError, usage mistakes found
// after parsing as UsageError.
int runCheck(const CheckOptions &options);
int runListRules();
int runRedact(const std::string &file);
int runDiff(const DiffOptions &options);
int runGet(const GetOptions &options);
int runExplain(const ExplainOptions &options);

extern const char *const kCheckHelp;
extern const char *const kRedactHelp;
extern const char *const kDiffHelp;
extern const char *const kGetHelp;
extern const char *const kExplainHelp;

// Loads the files (all of them, so that bases may live in any) and resolves inheritance. A file
// that cannot be used is a finding ("unusable-file"), and sets *unusable. With `keepText` each
// file's text stays available for edits.
ProfileSet loadProfiles(const std::vector<std::string> &paths, Findings &findings,
                        const std::vector<std::string> &externalBases = {},
                        bool *unusable = nullptr, bool keepText = false);

// "path:line[:column]: level: message [code]", with how many more profiles inherit it.
std::string formatFinding(const Finding &f);
// " (inherited by N more profiles ...; where it is an error)" when others inherit it.
std::string inheritance(const Finding &f);
// The finding as a JSON object.
std::string findingJson(const Finding &f);

// Writes a whole string to standard output.
void out(std::string_view text);

} // namespace propqos::cli

#endif
