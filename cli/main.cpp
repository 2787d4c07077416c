// propqos: checks, redacts, compares and explains the property lists of DDS-XML QoS profiles.
#include <cstdio>
#include <cstring>
#include <exception>
#include <new>
#include <string>
#include <vector>

#include "Commands.hpp"
#include "Text.hpp"

#ifndef PROPQOS_VERSION
#define PROPQOS_VERSION "0.0.0"
#endif

namespace propqos::cli
{

namespace
{

const char *const kMainHelp =
    "usage: propqos COMMAND [options] ARGS...\n"
    "\n"
    "Works on the <property> lists of QoS profiles in DDS-XML files\n"
    "(<dds><qos_library><qos_profile> with <domain_participant_qos>, <datawriter_qos> and\n"
    "<datareader_qos>), after base_name inheritance.\n"
    "\n"
    "commands:\n"
    "  check FILE...          report unknown property names (with the closest known name),\n"
    "                         exceeded resource limits, secrets marked to propagate and names\n"
    "                         given twice\n"
    "  redact FILE            print FILE with every confidential property value replaced by\n"
    "                         \"[redacted]\"\n"
    "  diff OLD NEW           tell whether the property changes from OLD to NEW would be\n"
    "                         accepted by an existing entity\n"
    "  get FILE...            print the properties in force for one profile and entity\n"
    "  explain NAME           tell what a property name is: where it is known, its mutability\n"
    "\n"
    "  propqos COMMAND --help   help on a command\n"
    "  propqos --version        the version\n"
    "\n"
    "exit status: 0 success, 1 findings (errors, refused changes, unknown name), 2 unusable\n"
    "input or wrong usage.\n";

struct Command {
    const char *name;
    int (*run)(const std::vector<std::string> &);
    const char *const *help;
};

const Command kCommands[] = {
    {"check", runCheck, &kCheckHelp},       {"redact", runRedact, &kRedactHelp},
    {"diff", runDiff, &kDiffHelp},          {"get", runGet, &kGetHelp},
    {"explain", runExplain, &kExplainHelp},
};

int dispatch(int argc, char **argv)
{
    if (argc < 2) {
        throw UsageError("no command given (try 'propqos --help')");
    }
    const std::string first = argv[1];
    if (isHelp(first)) {
        out(kMainHelp);
        return kExitClean;
    }
    if (first == "--version") {
        out(std::string("propqos ") + PROPQOS_VERSION + "\n");
        return kExitClean;
    }
    for (const Command &command : kCommands) {
        if (first == command.name) {
            std::vector<std::string> args(argv + 2, argv + argc);
            for (const std::string &a : args) {
                if (a == "--") {
                    break;
                }
                if (isHelp(a)) {
                    out(*command.help);
                    return kExitClean;
                }
            }
            return command.run(args);
        }
    }
    throw UsageError("unknown command " + quotedShort(first) + " (try 'propqos --help')");
}

} // namespace

bool isHelp(const std::string &arg)
{
    return arg == "--help" || arg == "-h";
}

const std::string &optionValue(const std::vector<std::string> &args, std::size_t &i,
                               const char *command)
{
    if (i + 1 >= args.size()) {
        throw UsageError(std::string(command) + ": option " + args[i] + " needs a value");
    }
    return args[++i];
}

ProfileSet loadProfiles(const std::vector<std::string> &paths, std::vector<Finding> &findings,
                        bool keepText)
{
    ProfileSet set;
    for (const std::string &path : paths) {
        set.add(SourceFile::load(path, keepText));
    }
    set.resolve(findings);
    return set;
}

std::string formatFinding(const Finding &f)
{
    std::string text = f.file != nullptr ? f.file->path() : std::string("propqos");
    if (f.line > 0) {
        text += ':' + std::to_string(f.line);
    }
    text += f.level == Level::Error ? ": error: " : ": warning: ";
    text += f.message;
    return text;
}

std::string findingJson(const Finding &f)
{
    std::string text = "{\"file\": " + jsonString(f.file != nullptr ? f.file->path() : "") +
                       ", \"line\": " + std::to_string(f.line) +
                       ", \"level\": " + (f.level == Level::Error ? "\"error\"" : "\"warning\"") +
                       ", \"code\": " + jsonString(f.code) +
                       ", \"message\": " + jsonString(f.message);
    if (!f.profile.empty()) {
        text += ", \"profile\": " + jsonString(f.profile);
    }
    if (!f.entity.empty()) {
        text += ", \"entity\": " + jsonString(f.entity);
    }
    if (!f.property.empty()) {
        text += ", \"property\": " + jsonString(f.property);
    }
    if (!f.suggestion.empty()) {
        text += ", \"suggestion\": " + jsonString(f.suggestion);
    }
    text += '}';
    return text;
}

void out(const std::string &text)
{
    if (!text.empty() && std::fwrite(text.data(), 1, text.size(), stdout) != text.size()) {
        throw InputError("propqos: error: cannot write the output");
    }
}

} // namespace propqos::cli

int main(int argc, char **argv)
{
    using namespace propqos::cli;
    // The module's own log entries are not the tool's output: the commands that need them
    // capture them, and nothing else reaches standard error.
    propqos::ScopedLogCapture silence(0);
    int code;
    try {
        code = dispatch(argc, argv);
    } catch (const UsageError &e) {
        std::fprintf(stderr, "propqos: error: %s\n", e.what());
        code = kExitUnusable;
    } catch (const InputError &e) {
        std::fprintf(stderr, "%s\n", e.what());
        code = kExitUnusable;
    } catch (const std::bad_alloc &) {
        std::fprintf(stderr, "propqos: error: out of memory\n");
        code = kExitUnusable;
    } catch (const std::exception &e) {
        std::fprintf(stderr, "propqos: error: %s\n", e.what());
        code = kExitUnusable;
    } catch (...) {
        std::fprintf(stderr, "propqos: error: unexpected failure\n");
        code = kExitUnusable;
    }
    if (std::fflush(stdout) != 0 && code == kExitClean) {
        std::fprintf(stderr, "propqos: error: cannot write the output\n");
        code = kExitUnusable;
    }
    return code;
}
