// propqos check: every QoS of every profile, as it is in force after inheritance, against the
// resource limits and the known property names, plus what a reviewer would flag by eye.
#include <algorithm>
#include <climits>
#include <cstring>
#include <string_view>
#include <unordered_map>
#include <unordered_set>

#include <propqos/sys/Strings.h>

#include <unistd.h>

#include "Commands.hpp"
#include "Fix.hpp"
#include "Report.hpp"
#include "RuleControl.hpp"
#include "Text.hpp"

namespace propqos::cli
{

const char *const kCheckHelp =
    "usage: propqos check [options] FILE|DIR|-...\n"
    "\n"
    "Checks the property lists of every participant, datawriter and datareader QoS of every\n"
    "QoS profile in the files, as in force after base_name inheritance (bases may be in any of\n"
    "the files given). A directory stands for every *.xml file below it (in path order), '-'\n"
    "for standard input (reported as <stdin>). The findings, each with its rule code\n"
    "(propqos check --list-rules):\n"
    "  - property names unknown to the middleware or to the plug-ins the QoS configures, each\n"
    "    with the closest known name; an error or a warning as the profile's validation action\n"
    "    (dds.participant.property_validation_action in its participant QoS) says, default\n"
    "    VALIDATION_ACTION_EXCEPTION (error);\n"
    "  - the participant's resource limits on the number of properties and their total length\n"
    "    (<resource_limits> participant_/writer_/reader_property_list_max_length and\n"
    "    _property_string_max_length of the profile's participant QoS; when not set, 64\n"
    "    properties and 8192 characters, names and values each counted with a terminator;\n"
    "    -1 or LENGTH_UNLIMITED for no limit);\n"
    "  - confidential properties (keys, passwords, pass phrases) marked to propagate to remote\n"
    "    peers (warning), and a name given twice in one QoS (warning; the later one is used).\n"
    "Each finding is reported once, at the line of the name at fault, however many profiles\n"
    "inherit it. A name over 4096 characters is reported as too long instead of being\n"
    "matched; at most 100 unknown names are listed per QoS. A comment\n"
    "<!-- propqos: ignore RULE[,RULE] --> silences those rules on the element that follows it\n"
    "(and inside it).\n"
    "\n"
    "options (a value may follow as the next argument or after '='):\n"
    "  --action warning|exception|skip  validation action for every profile, instead of each\n"
    "                                   profile's own\n"
    "  --format text|json|sarif         'file:line: level: message [rule]' lines (default),\n"
    "                                   one JSON object {\"findings\": [...], \"summary\": "
    "{...}},\n"
    "                                   or a SARIF 2.1.0 log\n"
    "  --disable RULE                   do not report RULE (repeatable)\n"
    "  --known-names FILE               names to take as known: one a line, '#' comments, a\n"
    "                                   trailing '*' for every name under a prefix (repeatable)\n"
    "  --warnings-as-errors             exit 1 when there are warnings\n"
    "  --max-warnings N                 exit 1 when there are more than N warnings\n"
    "  -q, --quiet                      findings only, no summary line\n"
    "  --fix                            correct in place each unknown name that is a typo of\n"
    "                                   one known name (at most 2 edits), print what changed\n"
    "  --dry-run                        with --fix: print the corrections as a unified diff\n"
    "                                   and change nothing\n"
    "  --list-rules                     list the rule codes with their default levels\n"
    "  -h, --help                       this help\n"
    "\n"
    "exit status: 0 no errors (warnings allowed unless --warnings-as-errors or --max-warnings\n"
    "say otherwise), 1 errors found, 2 unusable input or usage.\n";

namespace
{

constexpr std::int32_t kDefaultListMax = 64;
constexpr std::int32_t kDefaultStringMax = 8192;
// Bounds on the work one QoS can cause, whatever the input.
constexpr std::size_t kMaxNameLength = 4096;
constexpr std::size_t kMaxUnknownNamed = 100;

const char *const kActionProperty = "dds.participant.property_validation_action";
const char *const kActionShortProperty = "property_validation_action";

class Checker
{
public:
    Checker(const CheckOptions &options, const KnownNames &known, std::vector<Finding> &findings)
        : options_(options), known_(known), findings_(findings)
    {
    }

    void check(const Profile &profile)
    {
        bool any = false;
        for (Entity e : kEntities) {
            any = any || ProfileSet::hasQos(profile, e);
        }
        if (!any) {
            return;
        }
        ++profilesChecked_;
        const ValidationAction action = actionOf(profile);
        for (Entity e : kEntities) {
            if (!ProfileSet::hasQos(profile, e)) {
                continue;
            }
            ++qosChecked_;
            const std::vector<ElementRef> own = ProfileSet::ownElements(profile, e, &findings_);
            reportDuplicates(profile, e, own);
            const std::vector<ElementRef> elements = ProfileSet::effectiveElements(profile, e);
            const PropertyList list = ProfileSet::toList(elements);
            reportPropagatedSecrets(profile, e, elements);
            checkLimits(profile, e, list);
            checkNames(profile, e, list, elements, action);
        }
    }

    std::size_t profilesChecked() const { return profilesChecked_; }
    std::size_t qosChecked() const { return qosChecked_; }

private:
    // Where a QoS of a profile is reported when no single element is at fault.
    static std::pair<const SourceFile *, pugi::xml_node> qosLocation(const Profile &profile,
                                                                      Entity e)
    {
        for (const Profile *p = &profile; p != nullptr; p = p->base) {
            const pugi::xml_node qos = p->qos[static_cast<int>(e)];
            if (qos) {
                const pugi::xml_node property = qos.child("property");
                return {p->file, property ? property : qos};
            }
        }
        return {profile.file, profile.node};
    }

    // Findings about a name point at the <name> itself.
    static pugi::xml_node nameNode(const ElementRef &ref)
    {
        const pugi::xml_node name = ref.node.child("name");
        return name ? name : ref.node;
    }

    static std::string qosName(const Profile &profile, Entity e)
    {
        return std::string(entityLabel(e)) + " QoS of " + profile.qualified;
    }

    // A finding about `node` of `file`.
    void add(const SourceFile *file, pugi::xml_node node, Level level, const char *code,
             std::string message, const Profile &profile, Entity e, std::string property = "",
             std::string suggestion = "")
    {
        findings_.push_back(Finding{file, file->lineOf(node), level, code, std::move(message),
                                    profile.qualified, entityLabel(e), std::move(property),
                                    std::move(suggestion), node.offset_debug()});
    }

    ValidationAction actionOf(const Profile &profile)
    {
        if (options_.action) {
            return *options_.action;
        }
        if (!ProfileSet::hasQos(profile, Entity::Participant)) {
            return ValidationAction::Exception;
        }
        const std::vector<ElementRef> elements =
            ProfileSet::effectiveElements(profile, Entity::Participant);
        PropertyList list;
        for (const ElementRef &ref : elements) {
            if (std::strcmp(ref.name, kActionProperty) == 0 ||
                std::strcmp(ref.name, kActionShortProperty) == 0) {
                list.add(ref.name, ref.value);
            }
        }
        if (const std::optional<ValidationAction> action = list.validationAction()) {
            return *action;
        }
        // The full name wins over the short one, as when the middleware reads it.
        const ElementRef *culprit = nullptr;
        for (const ElementRef &ref : elements) {
            if (std::strcmp(ref.name, kActionProperty) == 0) {
                culprit = &ref;
            } else if (culprit == nullptr && std::strcmp(ref.name, kActionShortProperty) == 0) {
                culprit = &ref;
            }
        }
        if (culprit != nullptr) {
            add(culprit->owner->file, culprit->node, Level::Error,
                "invalid-value",
                "invalid validation action " + quotedShort(culprit->value) + " for " +
                    quotedShort(culprit->name, 4096) +
                    " (expected VALIDATION_ACTION_WARNING, VALIDATION_ACTION_EXCEPTION, "
                    "VALIDATION_ACTION_SKIP or -1, 0, 1); checking with "
                    "VALIDATION_ACTION_EXCEPTION",
                profile, Entity::Participant, culprit->name);
        }
        return ValidationAction::Exception;
    }

    void reportDuplicates(const Profile &profile, Entity e, const std::vector<ElementRef> &own)
    {
        std::unordered_map<std::string_view, const ElementRef *> first;
        for (const ElementRef &ref : own) {
            const auto [it, added] = first.emplace(ref.name, &ref);
            if (!added) {
                add(profile.file, nameNode(ref), Level::Warning,
                    "duplicate-property",
                    "property " + quotedShort(ref.name, 4096) + " given twice in " +
                        qosName(profile, e) + " (first at line " +
                        std::to_string(profile.file->lineOf(nameNode(*it->second))) +
                        "); the later value is used",
                    profile, e, ref.name);
            }
        }
    }

    void reportPropagatedSecrets(const Profile &profile, Entity e,
                                 const std::vector<ElementRef> &elements)
    {
        for (const ElementRef &ref : elements) {
            if (ref.propagate && PropertyList::isConfidential(ref.name)) {
                add(ref.owner->file, nameNode(ref), Level::Warning,
                    "confidential-propagated",
                    "confidential property " + quotedShort(ref.name, 4096) + " in " +
                        qosName(profile, e) +
                        " is marked to propagate: remote peers would receive its value",
                    profile, e, ref.name);
            }
        }
    }

    std::int32_t limit(const Profile &profile, Entity e, const char *field, std::int32_t fallback)
    {
        const std::optional<SetValue> set = ProfileSet::resourceLimit(profile, field);
        if (!set) {
            return fallback;
        }
        if (equalsIgnoreCase(set->text, "LENGTH_UNLIMITED") ||
            equalsIgnoreCase(set->text, "DDS_LENGTH_UNLIMITED")) {
            return INT32_MAX;
        }
        DDS_Long value = 0;
        if (VorlString_strToLong(set->text.c_str(), &value) && value >= -1) {
            return value == -1 ? INT32_MAX : value;
        }
        add(set->owner->file, set->node, Level::Error, "invalid-value",
            "invalid resource limit " + quotedShort(set->text) + " for " + field + " in " +
                qosName(profile, Entity::Participant) +
                " (expected a number, -1 or LENGTH_UNLIMITED); checking with " +
                std::to_string(fallback),
            profile, e, field);
        return fallback;
    }

    void checkLimits(const Profile &profile, Entity e, const PropertyList &list)
    {
        const char *prefix = e == Entity::Participant  ? "participant_"
                             : e == Entity::DataWriter ? "writer_"
                                                       : "reader_";
        const std::string listField = std::string(prefix) + "property_list_max_length";
        const std::string stringField = std::string(prefix) + "property_string_max_length";
        const std::int32_t maxList = limit(profile, e, listField.c_str(), kDefaultListMax);
        const std::int32_t maxString = limit(profile, e, stringField.c_str(), kDefaultStringMax);
        const LimitReport report = list.checkLimits(entityKind(e), maxList, maxString);
        if (report.consistent) {
            return;
        }
        const auto [file, node] = qosLocation(profile, e);
        for (const LimitViolation &v : report.violations) {
            add(file, node, Level::Error, "resource-limit",
                qosName(profile, e) + ": " + v.what + " (" + std::to_string(v.actual) +
                    ") exceeds " + v.limitName + " (" + std::to_string(v.limit) + ")",
                profile, e, v.limitName);
        }
        if (report.violations.empty()) {
            add(file, node, Level::Error, "resource-limit",
                qosName(profile, e) + " fails the resource-limit check" + detail(report.other),
                profile, e);
        }
    }

    static std::string detail(const std::vector<LogRecord> &entries)
    {
        std::string text;
        for (const LogRecord &r : entries) {
            text += (text.empty() ? ": " : "; ") + r.message;
        }
        return text;
    }

    void checkNames(const Profile &profile, Entity e, const PropertyList &list,
                    const std::vector<ElementRef> &elements, ValidationAction action)
    {
        if (action == ValidationAction::Skip) {
            return;
        }
        // No property name is anywhere near this long; the distance to every known name, which
        // the check computes for an unknown one, grows with the length.
        // Names the user declared known are taken out before the check.
        std::optional<PropertyList> shortNames;
        for (const ElementRef &ref : elements) {
            const std::size_t length = std::strlen(ref.name);
            if (!known_.empty() && known_.contains(ref.name)) {
                if (!shortNames) {
                    shortNames = list;
                }
                shortNames->remove(ref.name);
            } else if (length > kMaxNameLength) {
                if (!shortNames) {
                    shortNames = list;
                }
                shortNames->remove(ref.name);
                add(ref.owner->file, nameNode(ref), Level::Error,
                    "unknown-property",
                    "property name of " + std::to_string(length) + " characters in " +
                        qosName(profile, e) + " is too long to be one (over " +
                        std::to_string(kMaxNameLength) + ")",
                    profile, e, std::string(ref.name, 64) + "...");
            }
        }
        const PropertyList &checked = shortNames ? *shortNames : list;
        ValidationReport report = checked.validate(entityKind(e), action);
        if (report.unexpected.empty()) {
            reportFailure(profile, e, report);
            return;
        }
        // The module names the first unknown name under each prefix (or only the first of all,
        // when rejecting). To name more, check again without those already named.
        PropertyList rest(checked);
        std::size_t named = 0;
        for (;;) {
            for (const UnexpectedName &u : report.unexpected) {
                if (named == kMaxUnknownNamed) {
                    const auto [file, node] = qosLocation(profile, e);
                    add(file, node,
                        u.level == Severity::Warning ? Level::Warning : Level::Error,
                        "unknown-property",
                        "further unknown property names in " + qosName(profile, e) +
                            " not listed (" + std::to_string(kMaxUnknownNamed) + " shown)",
                        profile, e);
                    return;
                }
                reportUnknown(profile, e, elements, u);
                ++named;
                if (!rest.remove(u.name)) {
                    return;
                }
            }
            report = rest.validate(entityKind(e), action);
            if (report.unexpected.empty()) {
                reportFailure(profile, e, report);
                return;
            }
        }
    }

    void reportUnknown(const Profile &profile, Entity e, const std::vector<ElementRef> &elements,
                       const UnexpectedName &u)
    {
        auto [file, node] = qosLocation(profile, e);
        for (const ElementRef &ref : elements) {
            if (u.name == ref.name) {
                file = ref.owner->file;
                node = nameNode(ref);
                break;
            }
        }
        std::string message = "unknown property " + quoted(u.name) + " in " + qosName(profile, e);
        if (!u.suggestion.empty()) {
            message += "; did you mean " + quoted(u.suggestion) + "?";
        }
        add(file, node, u.level == Severity::Warning ? Level::Warning : Level::Error,
            "unknown-property", std::move(message), profile, e, u.name, u.suggestion);
    }

    void reportFailure(const Profile &profile, Entity e, const ValidationReport &report)
    {
        if (report.passed) {
            return;
        }
        const auto [file, node] = qosLocation(profile, e);
        add(file, node, Level::Error, "internal",
            "the property names of " + qosName(profile, e) + " could not be checked" +
                detail(report.other),
            profile, e);
    }

    const CheckOptions &options_;
    const KnownNames &known_;
    std::vector<Finding> &findings_;
    std::size_t profilesChecked_ = 0;
    std::size_t qosChecked_ = 0;
};

// Inherited elements are checked with every profile that inherits them; say each thing once.
void removeRepeats(std::vector<Finding> &findings)
{
    std::unordered_set<std::string> seen;
    std::vector<Finding> kept;
    kept.reserve(findings.size());
    for (Finding &f : findings) {
        std::string key = f.file->path();
        key += '\n' + std::to_string(f.line) + '\n' + std::to_string(f.offset) + '\n' + f.code +
               '\n' + (f.property.empty() ? f.message : f.property);
        if (seen.insert(std::move(key)).second) {
            kept.push_back(std::move(f));
        }
    }
    findings = std::move(kept);
}

// The findings as text, or their count line alone with --quiet left out.
std::string textReport(const std::vector<Finding> &findings, const CheckOptions &options,
                       std::size_t files, std::size_t profiles, std::size_t qos)
{
    std::size_t errors = 0, warnings = 0;
    std::string text;
    for (const Finding &f : findings) {
        (f.level == Level::Error ? errors : warnings) += 1;
        text += formatFinding(f);
        text += '\n';
    }
    if (options.format == "json") {
        text = "{\"findings\": [";
        for (std::size_t i = 0; i < findings.size(); ++i) {
            text += (i == 0 ? "\n  " : ",\n  ") + findingJson(findings[i]);
        }
        text += findings.empty() ? "],\n" : "\n],\n";
        text += " \"summary\": {\"files\": " + std::to_string(files) +
                ", \"profiles\": " + std::to_string(profiles) + ", \"qos\": " +
                std::to_string(qos) + ", \"errors\": " + std::to_string(errors) +
                ", \"warnings\": " + std::to_string(warnings) + "}}\n";
    } else if (!options.quiet) {
        text += std::to_string(errors) + (errors == 1 ? " error, " : " errors, ") +
                std::to_string(warnings) + (warnings == 1 ? " warning" : " warnings") + " in " +
                std::to_string(profiles) + (profiles == 1 ? " profile" : " profiles") + " (" +
                std::to_string(qos) + " QoS checked)\n";
    }
    return text;
}

// Writes the typo corrections into the files (or shows them as a diff) and takes the findings
// they settle out of `findings`.
std::string fixTypos(std::vector<Finding> &findings, const ProfileSet &set, bool dryRun)
{
    std::unordered_map<const SourceFile *, std::vector<Edit>> edits;
    std::string report;
    std::vector<Finding> left;
    for (Finding &f : findings) {
        if (std::optional<Edit> edit = typoFix(f)) {
            report += f.file->path() + ":" + std::to_string(f.line) + ": fixed: " +
                      quoted(f.property) + " -> " + quoted(f.suggestion) + " [" + f.code + "]\n";
            edits[f.file].push_back(std::move(*edit));
        } else {
            left.push_back(std::move(f));
        }
    }
    findings = std::move(left);
    std::string diff;
    for (const auto &file : set.files()) {
        auto it = edits.find(file.get());
        if (it == edits.end()) {
            continue;
        }
        std::vector<Edit> &list = it->second;
        std::sort(list.begin(), list.end(),
                  [](const Edit &a, const Edit &b) { return a.begin < b.begin; });
        const std::string fixed = applyEdits(file->text(), list);
        if (dryRun) {
            diff += unifiedDiff(file->path(), file->text(), fixed);
            continue;
        }
        std::FILE *stream = std::fopen(file->path().c_str(), "r+b");
        bool written = stream != nullptr &&
                       std::fwrite(fixed.data(), 1, fixed.size(), stream) == fixed.size();
        // The corrections only ever shorten or lengthen a name: cut what the old text left.
        written = written && std::fflush(stream) == 0 &&
                  ftruncate(fileno(stream), static_cast<off_t>(fixed.size())) == 0;
        if (stream != nullptr) {
            written = std::fclose(stream) == 0 && written;
        }
        if (!written) {
            throw InputError(file->path() + ": error: cannot write the corrections");
        }
    }
    return dryRun ? diff : report;
}

} // namespace

int runCheck(const CheckOptions &options)
{
    checkRuleCodes(options.disabled, "--disable");
    const KnownNames known = KnownNames::load(options.knownNames);
    std::vector<Finding> findings;
    // The text of each file is kept when findings may have to be turned into edits.
    const bool edits = options.fix || options.format == "sarif";
    ProfileSet set = loadProfiles(options.files, findings, edits);
    Checker checker(options, known, findings);
    for (const Profile &profile : set.profiles()) {
        if (!profile.duplicate) {
            checker.check(profile);
        }
    }
    removeRepeats(findings);
    applyRuleControl(findings, options.disabled);
    std::unordered_map<const SourceFile *, std::size_t> fileOrder;
    for (std::size_t i = 0; i < set.files().size(); ++i) {
        fileOrder[set.files()[i].get()] = i;
    }
    std::stable_sort(findings.begin(), findings.end(), [&](const Finding &a, const Finding &b) {
        const std::size_t fa = fileOrder[a.file], fb = fileOrder[b.file];
        return fa != fb ? fa < fb : a.line < b.line;
    });

    std::string text;
    if (options.fix) {
        text = fixTypos(findings, set, options.dryRun);
        // JSON and SARIF stay parseable: the list of corrections goes to standard error.
        if (!options.dryRun && options.format != "text") {
            std::fputs(text.c_str(), stderr);
            text.clear();
        }
    }
    if (options.format == "sarif") {
        if (!options.dryRun) {
            text += sarifLog(findings, typoFix);
        }
    } else if (!options.dryRun) {
        text += textReport(findings, options, set.files().size(), checker.profilesChecked(),
                           checker.qosChecked());
    }
    out(text);

    std::size_t errors = 0, warnings = 0;
    for (const Finding &f : findings) {
        (f.level == Level::Error ? errors : warnings) += 1;
    }
    const bool failed = errors > 0 || (options.warningsAsErrors && warnings > 0) ||
                        (options.maxWarnings && warnings > static_cast<std::size_t>(*options.maxWarnings));
    return failed ? kExitFindings : kExitClean;
}

} // namespace propqos::cli
