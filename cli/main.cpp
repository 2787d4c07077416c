// propqos: checks, redacts, compares and explains the property lists of DDS-XML QoS profiles.
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <filesystem>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include <CLI/CLI.hpp>

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
    "<datareader_qos>), and of the QoS written in participant definitions\n"
    "(<domain_participant_library><domain_participant>, its publishers' writers and its\n"
    "subscribers' readers), after base_name inheritance.\n"
    "\n"
    "commands:\n"
    "  check FILE|DIR|-...    report unknown property names (with the closest known name),\n"
    "                         exceeded resource limits, secrets marked to propagate and names\n"
    "                         given twice, as text, JSON or SARIF; fix typos (--fix)\n"
    "  redact FILE            print FILE with every confidential property value replaced by\n"
    "                         \"[redacted]\"\n"
    "  diff OLD NEW           tell whether the property changes from OLD to NEW would be\n"
    "                         accepted by an existing entity\n"
    "  get FILE...            print the properties in force for one profile and entity\n"
    "  explain NAME           tell what a property name is: where it is known, its mutability;\n"
    "                         with --prefix P, list the known names under P\n"
    "\n"
    "  propqos COMMAND --help   help on a command\n"
    "  propqos --version        the version\n"
    "\n"
    "Where files are read, '-' is standard input; an option's value may follow it as the next\n"
    "argument or after '='.\n"
    "\n"
    "exit status: 0 success, 1 findings (errors, refused changes, unknown name), 2 unusable\n"
    "input or wrong usage.\n";

bool isHelp(const std::string &arg)
{
    return arg == "--help" || arg == "-h";
}

// One command's options, parsed by CLI11. Help is the command's own text, handled before
// parsing; what CLI11 leaves over (an unknown option) is reported in the tool's words.
class Parser
{
public:
    explicit Parser(const char *command) : command_(command), app_("", command)
    {
        app_.set_help_flag();
        app_.allow_extras();
        // An option given twice: the later value counts, as with most tools.
        app_.option_defaults()->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
        app_.add_option("args", positional_);
    }
    CLI::App &app() { return app_; }
    // A value option that may be given several times, each time with one value.
    void addList(const char *name, std::vector<std::string> &values)
    {
        app_.add_option(name, values)
            ->allow_extra_args(false)
            ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    }
    const std::vector<std::string> &parse(const std::vector<std::string> &args)
    {
        // CLI11 reads "--opt=" as "--opt" and takes the next argument; the value is empty.
        std::vector<std::string> reversed(args.rbegin(), args.rend());
        bool endOfOptions = false;
        for (std::size_t i = reversed.size(); i-- > 0;) {
            const std::string &a = reversed[i];
            endOfOptions = endOfOptions || a == "--";
            if (!endOfOptions && a.size() > 3 && a.compare(0, 2, "--") == 0 &&
                a.back() == '=' && a.find('=') == a.size() - 1) {
                const std::string option = a.substr(0, a.size() - 1);
                reversed[i] = "";
                reversed.insert(reversed.begin() + static_cast<std::ptrdiff_t>(i) + 1, option);
            }
        }
        try {
            app_.parse(reversed);
        } catch (const CLI::ArgumentMismatch &e) {
            // "--opt: 1 required TEXT missing" when the value is missing.
            const std::string what = e.what();
            throw UsageError(command_ + ": option " + what.substr(0, what.find(':')) +
                             " needs a value");
        } catch (const CLI::ParseError &e) {
            throw UsageError(command_ + ": " + e.what());
        }
        for (const std::string &extra : app_.remaining()) {
            if (extra != "--") {
                throw UsageError(command_ + ": unknown option " + quotedShort(extra));
            }
        }
        return positional_;
    }
    std::string oneOf(const std::string &option, const std::string &value,
                      std::initializer_list<const char *> choices) const
    {
        std::string list;
        std::size_t i = 0;
        for (const char *c : choices) {
            if (value == c) {
                return value;
            }
            list += (i == 0 ? "" : i + 1 == choices.size() ? " or " : ", ") + std::string(c);
            ++i;
        }
        throw UsageError(command_ + ": " + option + " takes " + list + ", not " +
                         quotedShort(value));
    }

private:
    std::string command_;
    CLI::App app_;
    std::vector<std::string> positional_;
};

// Files and directories as given; a directory stands for every *.xml file below it, in the
// order of their paths, so that runs over the same tree report in the same order. A directory
// that cannot be listed is kept as an input of its own: reading it then fails, and that is
// reported as an unusable file while everything else is still checked.
std::vector<std::string> expandInputs(const std::vector<std::string> &inputs)
{
    namespace fs = std::filesystem;
    std::vector<std::string> files;
    for (const std::string &input : inputs) {
        std::error_code error;
        if (input == "-" || !fs::is_directory(input, error)) {
            files.push_back(input);
            continue;
        }
        std::vector<std::string> found;
        std::vector<fs::path> pending{fs::path(input)};
        while (!pending.empty()) {
            const fs::path dir = std::move(pending.back());
            pending.pop_back();
            fs::directory_iterator it(dir, error);
            for (const fs::directory_iterator end; !error && it != end; it.increment(error)) {
                std::error_code typeError;
                // Links to directories are not followed, so a link cycle cannot loop.
                if (fs::is_directory(it->symlink_status(typeError))) {
                    pending.push_back(it->path());
                } else if (it->path().extension() == ".xml" && it->is_regular_file(typeError)) {
                    found.push_back(it->path().string());
                }
            }
            if (error) {
                found.push_back(dir.string());
                error.clear();
            }
        }
        std::sort(found.begin(), found.end());
        files.insert(files.end(), found.begin(), found.end());
    }
    return files;
}

int check(const std::vector<std::string> &args)
{
    Parser parser("check");
    CheckOptions o;
    std::string action;
    bool listRules = false;
    std::string maxWarnings;
    CLI::App &app = parser.app();
    app.add_option("--action", action);
    app.add_option("--format", o.format);
    parser.addList("--disable", o.disabled);
    parser.addList("--known-names", o.knownNames);
    parser.addList("--external-base", o.externalBases);
    app.add_flag("--warnings-as-errors", o.warningsAsErrors);
    app.add_option("--max-warnings", maxWarnings);
    app.add_flag("--quiet,-q", o.quiet);
    app.add_flag("--fix", o.fix);
    app.add_flag("--dry-run", o.dryRun);
    app.add_flag("--list-rules", listRules);
    const std::vector<std::string> &inputs = parser.parse(args);
    if (listRules) {
        return runListRules();
    }
    if (!action.empty() || app.count("--action") > 0) {
        parser.oneOf("--action", action, {"warning", "exception", "skip"});
        o.action = action == "warning"     ? ValidationAction::Warning
                   : action == "exception" ? ValidationAction::Exception
                                           : ValidationAction::Skip;
    }
    parser.oneOf("--format", o.format, {"text", "json", "sarif"});
    if (app.count("--max-warnings") > 0) {
        // Digits only: an empty value is not 0.
        const bool digits = !maxWarnings.empty() && maxWarnings.size() <= 18 &&
                            maxWarnings.find_first_not_of("0123456789") == std::string::npos;
        if (!digits) {
            throw UsageError("check: --max-warnings takes a number of 0 or more, not " +
                             quotedShort(maxWarnings));
        }
        o.maxWarnings = std::stol(maxWarnings);
    }
    for (const std::string &file : o.knownNames) {
        if (file.empty()) {
            throw UsageError("check: --known-names needs a FILE name, not \"\"");
        }
    }
    if (o.dryRun && !o.fix) {
        throw UsageError("check: --dry-run goes with --fix");
    }
    if (inputs.empty()) {
        throw UsageError("check: no FILE given");
    }
    o.files = expandInputs(inputs);
    if (o.files.empty()) {
        throw UsageError("check: no *.xml file found in the directories given");
    }
    if (o.fix && !o.dryRun && std::find(o.files.begin(), o.files.end(), "-") != o.files.end()) {
        throw UsageError("check: --fix cannot rewrite standard input (use --dry-run)");
    }
    return runCheck(o);
}

int redact(const std::vector<std::string> &args)
{
    Parser parser("redact");
    const std::vector<std::string> &files = parser.parse(args);
    if (files.size() != 1) {
        throw UsageError("redact: expected one FILE");
    }
    return runRedact(files[0]);
}

int diff(const std::vector<std::string> &args)
{
    Parser parser("diff");
    DiffOptions o;
    parser.app().add_flag("--enabled", o.enabled);
    parser.addList("--external-base", o.externalBases);
    parser.app().add_option("--format", o.format);
    const std::vector<std::string> &files = parser.parse(args);
    parser.oneOf("--format", o.format, {"text", "json", "sarif"});
    if (files.size() != 2) {
        throw UsageError("diff: expected two files, OLD and NEW");
    }
    o.oldFile = files[0];
    o.newFile = files[1];
    return runDiff(o);
}

int get(const std::vector<std::string> &args)
{
    Parser parser("get");
    GetOptions o;
    std::string entity, prefix, qos, format = "text";
    CLI::App &app = parser.app();
    app.add_option("--profile", o.profile);
    app.add_option("--qos", qos);
    app.add_option("--entity", entity);
    app.add_option("--prefix", prefix);
    app.add_flag("--strip", o.strip);
    app.add_flag("--reveal", o.reveal);
    parser.addList("--external-base", o.externalBases);
    app.add_option("--format", format);
    const std::vector<std::string> &inputs = parser.parse(args);
    if (app.count("--entity") > 0) {
        o.entity = entityFromLabel(entity);
        if (!o.entity) {
            throw UsageError("get: --entity takes participant, datawriter or datareader, not " +
                             quotedShort(entity));
        }
    }
    if (app.count("--prefix") > 0) {
        o.prefix = prefix;
    }
    if (app.count("--qos") > 0) {
        o.qos = qos;
    }
    o.json = parser.oneOf("--format", format, {"text", "json"}) == "json";
    if (inputs.empty()) {
        throw UsageError("get: no FILE given");
    }
    if (o.profile.empty()) {
        throw UsageError("get: --profile LIB::PROFILE is required");
    }
    if (!o.entity) {
        throw UsageError("get: --entity participant|datawriter|datareader is required");
    }
    if (o.strip && !o.prefix) {
        throw UsageError("get: --strip needs --prefix");
    }
    o.files = expandInputs(inputs);
    return runGet(o);
}

int explain(const std::vector<std::string> &args)
{
    Parser parser("explain");
    ExplainOptions o;
    std::string prefix, format = "text";
    parser.app().add_option("--prefix", prefix);
    parser.app().add_option("--format", format);
    const std::vector<std::string> &names = parser.parse(args);
    o.json = parser.oneOf("--format", format, {"text", "json"}) == "json";
    if (parser.app().count("--prefix") > 0) {
        if (!names.empty()) {
            throw UsageError("explain: give a NAME or --prefix, not both");
        }
        o.prefix = prefix;
        return runExplain(o);
    }
    if (names.size() != 1) {
        throw UsageError("explain: expected one NAME");
    }
    if (names[0].empty()) {
        throw UsageError("explain: the NAME is empty");
    }
    o.name = names[0];
    return runExplain(o);
}

struct Command {
    const char *name;
    int (*run)(const std::vector<std::string> &);
    const char *const *help;
};

const Command kCommands[] = {
    {"check", check, &kCheckHelp}, {"redact", redact, &kRedactHelp},
    {"diff", diff, &kDiffHelp},    {"get", get, &kGetHelp},
    {"explain", explain, &kExplainHelp},
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

ProfileSet loadProfiles(const std::vector<std::string> &paths, Findings &findings,
                        const std::vector<std::string> &externalBases, bool *unusable,
                        bool keepText)
{
    ProfileSet set;
    set.setExternalBases(externalBases);
    bool stdinRead = false;
    for (std::size_t i = 0; i < paths.size(); ++i) {
        // Standard input given twice is read once, as a file given twice is.
        if (paths[i] == "-" && std::exchange(stdinRead, true)) {
            continue;
        }
        std::unique_ptr<SourceFile> file;
        try {
            file = SourceFile::load(paths[i], keepText ? KeepBytes::WhenAsked : KeepBytes::No);
        } catch (const InputError &e) {
            // One file the tool cannot read does not keep it from the others.
            Finding f;
            f.path = findings.keep(e.path.empty() ? paths[i] : e.path);
            f.fileIndex = i;
            f.line = e.line;
            f.column = e.column;
            f.code = "unusable-file";
            f.message = e.message;
            findings.add(std::move(f));
            if (unusable != nullptr) {
                *unusable = true;
            }
            continue;
        }
        const std::size_t before = set.profiles().size();
        const SourceFile *source = file.get();
        if (set.add(std::move(file), i) && set.profiles().size() == before) {
            Finding f;
            f.file = source;
            f.path = source->path();
            f.fileIndex = i;
            f.line = source->lineOf(source->document().document_element());
            f.level = Level::Warning;
            f.code = "no-profiles";
            const std::string other = otherLayout(source->document().document_element());
            f.message = "no QoS profile or participant in this file" +
                        (other.empty() ? " (<qos_profile> under <dds> or <qos_library>, "
                                         "<domain_participant> under "
                                         "<domain_participant_library>)"
                                       : other);
            findings.add(std::move(f));
        }
    }
    set.resolve(findings);
    return set;
}

// " (inherited by 2 more profiles and 1 participant; ...)", or nothing.
std::string inheritance(const Finding &f)
{
    if (f.inheritedBy == 0 && f.inheritedByEntities == 0) {
        return std::string();
    }
    std::string text = " (inherited by ";
    if (f.inheritedBy > 0) {
        text += std::to_string(f.inheritedBy) +
                (f.inheritedBy == 1 ? " more profile" : " more profiles");
    }
    if (f.inheritedByEntities > 0) {
        text += (f.inheritedBy > 0 ? " and " : "") + std::to_string(f.inheritedByEntities) +
                (f.inheritedByEntities == 1 ? " participant" : " participants");
    }
    // Its level is that of the strictest place that has it: say where it is an error.
    if (!f.raisedBy.empty()) {
        text += "; a warning in " + escaped(f.profile) + ", an error in " + escaped(f.raisedBy);
        if (f.raisers > 1) {
            text += " and " + std::to_string(f.raisers - 1) + " more";
        }
    }
    return text + ")";
}

std::string formatFinding(const Finding &f)
{
    std::string text = f.path.empty() ? std::string("propqos") : escaped(f.path);
    if (f.line > 0) {
        text += ':' + std::to_string(f.line);
        if (f.column > 0) {
            text += ':' + std::to_string(f.column);
        }
    }
    text += f.level == Level::Error ? ": error: " : ": warning: ";
    text += f.text();
    text += inheritance(f);
    if (!f.code.empty()) {
        text += " [" + std::string(f.code) + "]";
    }
    return text;
}

std::string findingJson(const Finding &f)
{
    std::string text = "{\"file\": " + jsonString(f.path) +
                       ", \"line\": " + std::to_string(f.line) +
                       (f.column > 0 ? ", \"column\": " + std::to_string(f.column) : "") +
                       ", \"level\": " + (f.level == Level::Error ? "\"error\"" : "\"warning\"") +
                       ", \"code\": " + jsonString(f.code) +
                       ", \"message\": " + jsonString(unescaped(f.text()));
    if (!f.profile.empty()) {
        // Named as diff and get name them: a participant definition is no profile, and a
        // writer or reader QoS is told from its siblings by its label.
        const bool participant = f.qos != nullptr && f.qos->profile->kind == RecordKind::Participant;
        text += (participant ? ", \"participant\": " : ", \"profile\": ") + jsonString(f.profile);
    }
    if (!f.entity.empty()) {
        text += ", \"entity\": " + jsonString(f.entity);
    }
    if (f.qos != nullptr && !f.qos->label.empty()) {
        text += ", \"qos\": " + jsonString(f.qos->label);
    }
    if (!f.property.empty()) {
        text += ", \"property\": " + jsonString(f.property);
    }
    if (!f.suggestion.empty()) {
        text += ", \"suggestion\": " + jsonString(f.suggestion);
    }
    if (f.inheritedBy > 0) {
        text += ", \"inherited_by\": " + std::to_string(f.inheritedBy);
    }
    if (f.inheritedByEntities > 0) {
        text += ", \"inherited_by_participants\": " + std::to_string(f.inheritedByEntities);
    }
    if (!f.raisedBy.empty()) {
        text += ", \"error_in\": " + jsonString(f.raisedBy);
    }
    text += '}';
    return text;
}

void out(std::string_view text)
{
    if (!text.empty() && std::fwrite(text.data(), 1, text.size(), stdout) != text.size()) {
        throw InputError(std::string("propqos: error: cannot write the output: ") +
                         std::strerror(errno ? errno : EIO));
    }
}

} // namespace propqos::cli

int main(int argc, char **argv)
{
    using namespace propqos::cli;
    // The module's own log entries are not the tool's output: what the tool reports comes from
    // the C++ API's results, and nothing else reaches standard error.
    DDSLog_g_instrumentationMask = ZYN_LOG_VERBOSITY_SILENT;
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
    // Output still buffered may fail only now (a full disk, a closed pipe): said once, and
    // never an exit status that claims success.
    const bool failedBefore = std::ferror(stdout) != 0;
    if ((std::fflush(stdout) != 0 || std::ferror(stdout) != 0)) {
        if (!failedBefore || code != kExitUnusable) {
            std::fprintf(stderr, "propqos: error: cannot write the output: %s\n",
                         std::strerror(errno ? errno : EIO));
        }
        code = kExitUnusable;
    }
    return code;
}
