// propqos check: every QoS of every profile, as it is in force after inheritance, against the
// resource limits and the known property names, plus what a reviewer would flag by eye.
#include <algorithm>
#include <cctype>
#include <climits>
#include <cerrno>
#include <cstring>
#include <map>
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
    "QoS profile in the files, and of every participant definition (its own QoS and its\n"
    "writers' and readers', named LIB::PARTICIPANT/PUBLISHER/WRITER), as in force after\n"
    "base_name inheritance (bases may be in any of the files given). A directory stands for\n"
    "every *.xml file below it (in path order), '-' for standard input (reported as <stdin>,\n"
    "read once however often given). The findings, each with its rule code\n"
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
    "Each finding is reported once, at the line of the name at fault, with the number of\n"
    "further profiles that inherit it; an element is judged where it is written. A name over\n"
    "4096 characters is reported as too long instead of being matched; at most 100 unknown\n"
    "names are listed per QoS. A base profile that is in none of the files is a warning\n"
    "(unknown-base); a file that cannot be read or parsed is an error (unusable-file) and the\n"
    "other files are still checked. A comment <!-- propqos: ignore RULE[,RULE] [reason] -->\n"
    "silences those rules on the element whose line it ends, else on the element that\n"
    "follows it (and inside it).\n"
    "\n"
    "options (a value may follow as the next argument or after '='):\n"
    "  --action warning|exception|skip  validation action for every profile, instead of each\n"
    "                                   profile's own\n"
    "  --format text|json|sarif         'file:line: level: message [rule]' lines (default),\n"
    "                                   one JSON object {\"findings\": [...], \"summary\": "
    "{...}},\n"
    "                                   or a SARIF 2.1.0 log\n"
    "  --disable RULE                   do not report RULE (repeatable; not unusable-file)\n"
    "  --known-names FILE               names to take as known: one a line, '#' comments, a\n"
    "                                   trailing '*' for every name under a prefix (repeatable)\n"
    "  --warnings-as-errors             exit 1 when there are warnings\n"
    "  --max-warnings N                 exit 1 when there are more than N warnings\n"
    "  -q, --quiet                      findings only, no summary line\n"
    "  --fix                            correct in place each unknown name that is a typo of\n"
    "                                   one known name (at most 2 edits; not when its QoS\n"
    "                                   has that name already), print what changed, then\n"
    "                                   check the files as written\n"
    "  --dry-run                        with --fix: print the corrections as a unified diff\n"
    "                                   and the findings on standard error, and change\n"
    "                                   nothing (with --format json or sarif: the findings,\n"
    "                                   and the diff on standard error; a UTF-16 file's diff\n"
    "                                   is shown in UTF-8, which patch cannot apply)\n"
    "  --external-base PATTERN          base profiles matching PATTERN ('*' and '?' wildcards,\n"
    "                                   e.g. 'PlatformLib::*') exist outside the files given:\n"
    "                                   nothing is reported for them (repeatable)\n"
    "  --list-rules                     list the rule codes with their default levels\n"
    "  -h, --help                       this help\n"
    "\n"
    "exit status: 0 no errors (warnings allowed unless --warnings-as-errors or --max-warnings\n"
    "say otherwise), 1 errors found, 2 a file unusable (after all findings are written) or\n"
    "wrong usage.\n";

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
    Checker(const CheckOptions &options, const KnownNames &known, Findings &findings)
        : options_(options), known_(known), findings_(findings)
    {
    }

    void run(const ProfileSet &set)
    {
        actions_.assign(set.profiles().size(), std::nullopt);
        settled_.assign(set.elementCount(), kUnjudged);
        judgedIn_.assign(set.elementCount(), 0);
        for (Entity e : kEntities) {
            set.forEachEffective(e, [&](const Qos &qos, const std::vector<const ElementRef *> &list) {
                check(qos, list);
            });
        }
    }

    std::size_t qosChecked() const { return qosChecked_; }

private:
    void check(const Qos &qos, const std::vector<const ElementRef *> &list)
    {
        ++qosChecked_;
        const Profile &profile = *qos.profile;
        if (qos.entity == Entity::Participant && &qos == profile.slot[0]) {
            actions_[profile.index] = actionFrom(qos, list);
        }
        const ValidationAction action = actionOf(profile);
        reportDuplicates(qos);
        reportPropagatedSecrets(qos, list);
        checkLimits(qos, list);
        // Names are judged only for the findings of that one rule (and the suggestions, the
        // costly part): a run that drops them need not make them.
        if (std::find(options_.disabled.begin(), options_.disabled.end(), "unknown-property") ==
            options_.disabled.end()) {
            checkNames(qos, list, action);
        }
    }

    // Where a QoS is reported when no single element is at fault: its own node, else the
    // nearest base that is written.
    static std::pair<const Profile *, pugi::xml_node> qosLocation(const Qos &qos)
    {
        for (const Qos *q = &qos; q != nullptr;) {
            if (q->node) {
                const pugi::xml_node property = childNamed(q->node, "property");
                return {q->profile, property ? property : q->node};
            }
            const Qos *next = nullptr;
            for (const Qos *base : q->bases) {
                next = base->exists ? base : next;
            }
            q = next;
        }
        return {qos.profile, qos.profile->node};
    }

    static pugi::xml_node nameNode(const ElementRef &ref)
    {
        const pugi::xml_node name = ref.nameNode();
        return name ? name : ref.node;
    }

    static FindingKey keyOf(const char *code, const void *where, std::string_view text = {},
                            long long number = 0)
    {
        return FindingKey{code, where, text, number};
    }

    // A finding about `qos` at `node` of `owner`'s file.
    Finding finding(const Qos &qos, const Profile &owner, pugi::xml_node node, Level level,
                    const char *code, std::string message, std::string_view property = {})
    {
        Finding f = findingAt(owner, node, level, code, std::move(message));
        f.profile = qos.profile->qualified;
        f.entity = entityLabel(qos.entity);
        f.property = property;
        f.qos = &qos;
        return f;
    }

    // A finding whose message is made when it is printed, from `form` and the fields.
    Finding deferred(const Qos &qos, const Qos &named, const Profile &owner, pugi::xml_node node,
                     Level level, const char *code, Form form, std::string_view property)
    {
        Finding f = finding(qos, owner, node, level, code, std::string(), property);
        f.form = form;
        f.qos = &named;
        return f;
    }

    ValidationAction actionOf(const Profile &profile)
    {
        if (options_.action) {
            return *options_.action;
        }
        if (const std::optional<ValidationAction> known = actions_[profile.index]) {
            return *known;
        }
        // A participant QoS met before the profile's default one (several in one profile).
        const Qos *slot = profile.slot[0];
        const ValidationAction action = slot != nullptr && slot->exists
                                            ? actionFrom(*slot, ProfileSet::effective(*slot))
                                            : ValidationAction::Exception;
        actions_[profile.index] = action;
        return action;
    }

    ValidationAction actionFrom(const Qos &qos, const std::vector<const ElementRef *> &list)
    {
        if (options_.action) {
            return *options_.action;
        }
        PropertyList actionList;
        const ElementRef *culprit = nullptr;
        for (const ElementRef *ref : list) {
            if (ref->name == kActionProperty || ref->name == kActionShortProperty) {
                actionList.add(ref->name, ref->value);
                // The full name wins over the short one, as when the middleware reads it.
                if (culprit == nullptr || ref->name == kActionProperty) {
                    culprit = ref;
                }
            }
        }
        if (const std::optional<ValidationAction> action = actionList.validationAction()) {
            return *action;
        }
        if (culprit != nullptr) {
            findings_.add(
                finding(qos, *culprit->owner->profile, culprit->node, Level::Error,
                        "invalid-value",
                        "invalid validation action " + quotedShort(culprit->value) + " for " +
                            quotedShort(culprit->name, 4096) +
                            " (expected VALIDATION_ACTION_WARNING, VALIDATION_ACTION_EXCEPTION, "
                            "VALIDATION_ACTION_SKIP or -1, 0, 1); checking with "
                            "VALIDATION_ACTION_EXCEPTION",
                        culprit->name),
                keyOf("invalid-value", culprit->node.internal_object()), qos.profile);
        }
        return ValidationAction::Exception;
    }

    void reportDuplicates(const Qos &qos)
    {
        std::unordered_map<std::string_view, const ElementRef *> first;
        for (const ElementRef &ref : qos.own) {
            const auto [it, added] = first.emplace(ref.name, &ref);
            if (!added) {
                const SourceFile &file = *qos.profile->file;
                findings_.add(finding(qos, *qos.profile, nameNode(ref), Level::Warning,
                                      "duplicate-property",
                                      "property " + quotedShort(ref.name, 4096) +
                                          " given twice in " + qos.describe() +
                                          " (first at line " +
                                          std::to_string(file.lineOf(nameNode(*it->second))) +
                                          "); the later value is used",
                                      ref.name));
            }
        }
    }

    void reportPropagatedSecrets(const Qos &qos, const std::vector<const ElementRef *> &list)
    {
        for (const ElementRef *ref : list) {
            if (ref->propagate && ref->confidential) {
                findings_.add(deferred(qos, *ref->owner, *ref->owner->profile, nameNode(*ref),
                                       Level::Warning, "confidential-propagated",
                                       Form::PropagatedSecret, ref->name),
                              keyOf("confidential-propagated", ref), qos.profile);
            }
        }
    }

    std::int32_t limit(const Qos &qos, std::size_t field, std::int32_t fallback)
    {
        const Qos *participant = qos.profile->slot[0];
        if (participant == nullptr) {
            return fallback;
        }
        const auto &limits = participant->limits;
        if (!limits || !(*limits)[field].node) {
            return fallback;
        }
        const SetValue &set = (*limits)[field];
        if (equalsIgnoreCase(set.text, "LENGTH_UNLIMITED") ||
            equalsIgnoreCase(set.text, "DDS_LENGTH_UNLIMITED")) {
            return INT32_MAX;
        }
        DDS_Long value = 0;
        if (VorlString_strToLong(std::string(set.text).c_str(), &value) && value >= -1) {
            return value == -1 ? INT32_MAX : value;
        }
        findings_.add(finding(qos, *set.owner->profile, set.node, Level::Error, "invalid-value",
                              "invalid resource limit " + quotedShort(set.text) + " for " +
                                  kLimitFieldNames[field] + " in " + set.owner->describe() +
                                  " (expected a number, -1 or LENGTH_UNLIMITED); checking with " +
                                  std::to_string(fallback),
                              kLimitFieldNames[field]),
                      keyOf("invalid-value", set.node.internal_object()), qos.profile);
        return fallback;
    }

    void checkLimits(const Qos &qos, const std::vector<const ElementRef *> &list)
    {
        const std::size_t field = static_cast<std::size_t>(qos.entity) * 2;
        const std::int32_t maxList = limit(qos, field, kDefaultListMax);
        const std::int32_t maxString = limit(qos, field + 1, kDefaultStringMax);
        // A list within both limits passes the module's check (which counts each name and
        // value with a terminator): only one that may not is handed to it, for its findings.
        if (maxList >= 0 && maxString >= 0 && list.size() <= static_cast<std::size_t>(maxList)) {
            std::size_t length = 0;
            for (const ElementRef *ref : list) {
                length += ref->name.size() + 1 + ref->value.size() + 1;
            }
            if (length <= static_cast<std::size_t>(maxString)) {
                return;
            }
        }
        const LimitReport report =
            ProfileSet::toList(list).checkLimits(entityKind(qos.entity), maxList, maxString);
        if (report.consistent) {
            return;
        }
        const auto [owner, node] = qosLocation(qos);
        for (const LimitViolation &v : report.violations) {
            const TextRef limitName = findings_.intern(v.limitName);
            Finding f = deferred(qos, qos, *owner, node, Level::Error, "resource-limit",
                                 Form::ResourceLimit, limitName);
            f.what = findings_.intern(v.what);
            f.actual = static_cast<std::int32_t>(v.actual);
            f.limit = static_cast<std::int32_t>(v.limit);
            findings_.add(std::move(f),
                          keyOf("resource-limit", node.internal_object(), limitName, v.actual),
                          qos.profile);
        }
        if (report.violations.empty()) {
            findings_.add(finding(qos, *owner, node, Level::Error, "resource-limit",
                                  qos.describe() + " fails the resource-limit check" +
                                      detail(report.other)),
                          keyOf("resource-limit", node.internal_object()), qos.profile);
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

    // A suggestion is offered only when it is near.
    static std::string nearSuggestion(const std::string &name, const std::string &suggestion)
    {
        return suggestion.empty() || nearName(name, suggestion) ? suggestion : std::string();
    }

    // Each element's name is judged once: where it is written, or in the first QoS that checks
    // it. QoS that inherit an element already judged unknown count towards that finding.
    void checkNames(const Qos &qos, const std::vector<const ElementRef *> &list,
                    ValidationAction action)
    {
        if (action == ValidationAction::Skip) {
            return;
        }
        const bool rejects = action == ValidationAction::Exception;
        // Whether a name is known depends on the plug-ins the list loads: a judgement holds for
        // QoS of the same plug-in context; in another one the name is checked again, and when
        // it is unknown there too, this QoS counts towards the finding already made.
        const std::string context = contextOf(qos, list);
        context_ = contextIds_.emplace(context, contextIds_.size() + 1).first->second;
        // Found unknown in another context (`recheck`), or known there (`fresh`): judged here.
        std::unordered_set<std::size_t> recheck, fresh;
        const auto settledHere = [&](const ElementRef &ref) {
            return settled_[ref.index] != kUnjudged && recheck.count(ref.index) == 0 &&
                   fresh.count(ref.index) == 0;
        };
        for (const ElementRef *ref : list) {
            // Names the user declared known are taken out of the check.
            if (!known_.empty() && known_.contains(ref->name)) {
                settled_[ref->index] = kKnown;
                judgedIn_[ref->index] = kAnyContext;
                continue;
            }
            const std::uint32_t judged = settled_[ref->index];
            if (judged != kUnjudged) {
                if (judgedIn_[ref->index] != kAnyContext && judgedIn_[ref->index] != context_) {
                    (judged == kKnown ? fresh : recheck).insert(ref->index);
                } else if (judged != kKnown) {
                    findings_.inherit(judged, *qos.profile, rejects);
                }
                continue;
            }
            // No property name is anywhere near this long; the distance to every known name,
            // which the check computes for an unknown one, grows with the length.
            if (ref->name.size() > kMaxNameLength) {
                findings_.add(finding(qos, *ref->owner->profile, nameNode(*ref), Level::Error,
                                      "unknown-property",
                                      "property name of " + std::to_string(ref->name.size()) +
                                          " characters in " + qos.describe() +
                                          " is too long to be one (over " +
                                          std::to_string(kMaxNameLength) + ")",
                                      findings_.keep(std::string(ref->name.substr(0, 64)) +
                                                     "...")));
                settled_[ref->index] = static_cast<std::uint32_t>(findings_.list().size() - 1);
                judgedIn_[ref->index] = kAnyContext;
            }
        }
        // A name already found unknown under the same plug-in context is unknown here too, with
        // the same closest name: the module's answer is reused instead of asked again.
        const Level level = rejects ? Level::Error : Level::Warning;
        std::size_t named = 0;
        for (const ElementRef *ref : list) {
            if (settledHere(*ref)) {
                continue;
            }
            const auto known = unknownNames_.find(context + std::string(ref->name));
            if (known != unknownNames_.end() && recheck.erase(ref->index) != 0) {
                findings_.inherit(settled_[ref->index], *qos.profile, rejects);
            } else if (known != unknownNames_.end() && named < kMaxUnknownNamed) {
                UnexpectedName u;
                u.name = std::string(ref->name);
                u.suggestion = known->second;
                reportUnknown(qos, ref, u, level);
                fresh.erase(ref->index); // judged now: not the module's to name again
                ++named;
            }
        }
        // The names still to judge, with the known ones that set the plug-in context in which
        // they are judged.
        bool unjudged = false;
        PropertyList rest = ProfileSet::toList(list, [&](const ElementRef &ref) {
            const bool settled = settledHere(ref);
            unjudged = unjudged || !settled;
            return settled && !(ref.context && settled_[ref.index] == kKnown);
        });
        if (!unjudged) {
            return; // every name judged already: nothing for the module to say
        }
        ValidationReport report = rest.validate(entityKind(qos.entity), action);
        std::unordered_map<std::string_view, const ElementRef *> byName;
        // The module names the first unknown name under each prefix (or only the first of all,
        // when rejecting). To name more, check again without those already named.
        while (!report.unexpected.empty()) {
            if (byName.empty()) {
                for (const ElementRef *ref : list) {
                    byName[ref->name] = ref;
                }
            }
            for (const UnexpectedName &u : report.unexpected) {
                if (named == kMaxUnknownNamed) {
                    const auto [owner, node] = qosLocation(qos);
                    findings_.add(finding(qos, *owner, node, level, "unknown-property",
                                          "further unknown property names in " + qos.describe() +
                                              " not listed (" + std::to_string(kMaxUnknownNamed) +
                                              " shown)"));
                    return;
                }
                unknownNames_.emplace(context + u.name, u.suggestion);
                const auto it = byName.find(u.name);
                const ElementRef *ref = it == byName.end() ? nullptr : it->second;
                if (ref != nullptr && recheck.erase(ref->index) != 0) {
                    findings_.inherit(settled_[ref->index], *qos.profile, rejects);
                } else {
                    reportUnknown(qos, ref, u, level);
                    ++named;
                }
                if (!rest.remove(u.name)) {
                    return;
                }
            }
            report = rest.validate(entityKind(qos.entity), action);
        }
        reportFailure(qos, report);
        // What the module accepted is known in this plug-in context: the QoS that inherit it
        // do not ask again.
        for (const ElementRef *ref : list) {
            if (report.passed && settled_[ref->index] == kUnjudged) {
                settled_[ref->index] = kKnown;
                judgedIn_[ref->index] = context_;
            }
        }
    }

    // What the module's name check reads from a list besides the names checked: the plug-ins it
    // loads (load lists, create functions, sub-transports), flow controllers, the writer
    // history plug-in. Two lists alike in these judge every name alike.
    static std::string contextOf(const Qos &qos, const std::vector<const ElementRef *> &list)
    {
        std::string context(1, static_cast<char>('0' + static_cast<int>(qos.entity)));
        for (const ElementRef *ref : list) {
            if (ref->context) {
                context.append(ref->name).append(1, '\0').append(ref->value).append(1, '\0');
            }
        }
        return context + '\1';
    }

    void reportUnknown(const Qos &qos, const ElementRef *ref, const UnexpectedName &u, Level level)
    {
        const std::string suggestion = nearSuggestion(u.name, u.suggestion);
        const auto [owner, node] =
            ref == nullptr ? qosLocation(qos) : std::make_pair(ref->owner->profile, nameNode(*ref));
        Finding f = deferred(qos, qos, *owner, node, level, "unknown-property",
                             Form::UnknownProperty,
                             ref != nullptr ? ref->name : std::string_view(findings_.keep(u.name)));
        if (!suggestion.empty()) {
            f.suggestion = findings_.intern(suggestion);
        }
        findings_.add(std::move(f));
        if (ref != nullptr) {
            // Said once: the profiles that inherit the element count towards this finding.
            settled_[ref->index] = static_cast<std::uint32_t>(findings_.list().size() - 1);
            judgedIn_[ref->index] = context_;
        }
    }

    void reportFailure(const Qos &qos, const ValidationReport &report)
    {
        if (report.passed) {
            return;
        }
        const auto [owner, node] = qosLocation(qos);
        findings_.add(finding(qos, *owner, node, Level::Error, "internal",
                              "the property names of " + qos.describe() +
                                  " could not be checked" + detail(report.other)));
    }

    const CheckOptions &options_;
    const KnownNames &known_;
    Findings &findings_;
    std::size_t qosChecked_ = 0;
    std::vector<std::optional<ValidationAction>> actions_; // by profile index
    // Elements whose name is judged: the index of the finding about it, or known.
    static constexpr std::uint32_t kUnjudged = UINT32_MAX, kKnown = UINT32_MAX - 1;
    std::vector<std::uint32_t> settled_; // by element index
    // The plug-in context each judgement was made in (kAnyContext: it holds in every one).
    static constexpr std::uint32_t kAnyContext = UINT32_MAX;
    std::vector<std::uint32_t> judgedIn_;
    std::unordered_map<std::string, std::uint32_t> contextIds_;
    std::uint32_t context_ = 0;
    // Names found unknown, by plug-in context: the closest known name the module gave.
    std::unordered_map<std::string, std::string> unknownNames_;
};


// The findings as text, or their count line alone with --quiet left out.
std::string textReport(const FindingList &findings, const CheckOptions &options,
                       std::size_t files, std::size_t profiles, std::size_t participants,
                       std::size_t qos)
{
    std::size_t errors = 0, warnings = 0, unusable = 0;
    std::string text;
    for (const Finding &f : findings) {
        (f.level == Level::Error ? errors : warnings) += 1;
        unusable += f.code == "unusable-file" ? 1 : 0;
        if (options.format != "text") {
            continue;
        }
        text += formatFinding(f);
        text += '\n';
        // Written as it goes: the report of a large input need not be held whole.
        if (text.size() >= (1u << 16)) {
            out(text);
            text.clear();
        }
    }
    if (options.format == "json") {
        text = "{\"findings\": [";
        for (std::size_t i = 0; i < findings.size(); ++i) {
            text += (i == 0 ? "\n  " : ",\n  ") + findingJson(findings[i]);
            if (text.size() >= (1u << 16)) {
                out(text);
                text.clear();
            }
        }
        text += findings.empty() ? "],\n" : "\n],\n";
        text += " \"summary\": {\"files\": " + std::to_string(files) +
                ", \"unusable_files\": " + std::to_string(unusable) +
                ", \"profiles\": " + std::to_string(profiles) +
                (participants == 0
                     ? std::string()
                     : ", \"participants\": " + std::to_string(participants)) +
                ", \"qos\": " +
                std::to_string(qos) + ", \"errors\": " + std::to_string(errors) +
                ", \"warnings\": " + std::to_string(warnings) + "}}\n";
    } else if (!options.quiet) {
        text += std::to_string(errors) + (errors == 1 ? " error, " : " errors, ") +
                std::to_string(warnings) + (warnings == 1 ? " warning" : " warnings") + " in " +
                std::to_string(profiles) + (profiles == 1 ? " profile" : " profiles") +
                (participants == 0 ? std::string()
                                   : " and " + std::to_string(participants) +
                                         (participants == 1 ? " participant" : " participants")) +
                " (" +
                std::to_string(qos) + " QoS checked" +
                (unusable == 0 ? std::string()
                               : "; " + std::to_string(unusable) +
                                     (unusable == 1 ? " file unusable" : " files unusable")) +
                ")\n";
    }
    return text;
}

// The corrections check --fix makes: typoFix's, except one to a name its QoS already has or
// that an earlier correction gave it (the QoS would then hold the name twice).
class Corrections
{
public:
    explicit Corrections(const ProfileSet &set)
    {
        for (Entity e : kEntities) {
            for (const Qos *qos : set.order(e)) {
                for (const ElementRef &ref : qos->own) {
                    const pugi::xml_node name = ref.nameNode();
                    const pugi::xml_node at = name ? name : ref.node;
                    ownerAt_.emplace(std::make_pair(qos->profile->file, at.offset_debug()), qos);
                }
            }
        }
    }

    // The edit for `f`, if it is to be made; *refusedIn is the QoS when it is refused.
    std::optional<Edit> of(const Finding &f, const Qos **refusedIn)
    {
        *refusedIn = nullptr;
        std::optional<Edit> edit = f.file != nullptr ? typoFix(f) : std::nullopt;
        const auto owner = ownerAt_.find(std::make_pair(f.file, f.offset));
        if (!edit || owner == ownerAt_.end()) {
            return edit;
        }
        const Qos &qos = *owner->second;
        auto [names, first] = names_.try_emplace(&qos);
        if (first) {
            for (const ElementRef &ref : qos.own) {
                names->second.emplace(ref.name);
            }
        }
        if (!names->second.insert(std::string(f.suggestion)).second) {
            *refusedIn = &qos;
            return std::nullopt;
        }
        return edit;
    }

private:
    std::map<std::pair<const SourceFile *, std::ptrdiff_t>, const Qos *> ownerAt_;
    std::unordered_map<const Qos *, std::unordered_set<std::string>> names_;
};

// The corrections a run of check --fix makes, and what they leave.
struct FixResult {
    std::string report; // a line per correction made (or refused); with --dry-run, a diff
    std::string notes;  // for standard error
    bool changed = false;
    std::vector<std::pair<std::string, std::string>> unwritten; // (file, why) not corrected
};

// Writes the typo corrections into the files (or shows them as a diff). A correction to a name
// its QoS already has (or that another correction gives it) would make a duplicate: not made.
// A file that cannot be written is left out, and the others are still corrected.
FixResult fixTypos(const FindingList &findings, const ProfileSet &set, bool dryRun)
{
    Corrections corrections(set);
    std::unordered_map<const SourceFile *, std::vector<Edit>> edits;
    std::unordered_map<const SourceFile *, std::string> lines; // what is said of each file
    FixResult result;
    for (const Finding &f : findings) {
        const Qos *refusedIn = nullptr;
        std::optional<Edit> edit = corrections.of(f, &refusedIn);
        const std::string where = escaped(f.path) + ":" + std::to_string(f.line) + ": ";
        if (refusedIn != nullptr) {
            lines[f.file] += where + "not fixed: " + quoted(f.property) + " -> " +
                             quoted(f.suggestion) + ": would give the name twice in " +
                             refusedIn->describe() + " [" + std::string(f.code) + "]\n";
        }
        if (!edit) {
            continue;
        }
        lines[f.file] += where + "fixed: " + quoted(f.property) + " -> " + quoted(f.suggestion) +
                         " [" + std::string(f.code) + "]\n";
        edits[f.file].push_back(std::move(*edit));
    }
    std::string diff;
    for (const auto &file : set.files()) {
        auto it = edits.find(file.get());
        if (it == edits.end()) {
            result.report += lines[file.get()];
            continue;
        }
        std::vector<Edit> &list = it->second;
        std::sort(list.begin(), list.end(),
                  [](const Edit &a, const Edit &b) { return a.begin < b.begin; });
        // The edits are on the decoded text; the file keeps its encoding (and byte-order mark).
        std::vector<std::size_t> ends;
        for (const Edit &e : list) {
            ends.push_back(e.begin);
            ends.push_back(e.end);
        }
        const std::vector<std::size_t> original = file->originalOffsets(ends);
        std::vector<Edit> onBytes;
        for (std::size_t i = 0; i < list.size(); ++i) {
            onBytes.push_back(Edit{original[2 * i], original[2 * i + 1],
                                   file->encodeAscii(list[i].text)});
        }
        const std::string fixed = applyEdits(file->bytes(), onBytes);
        if (dryRun) {
            result.report += lines[file.get()];
            // A diff patch can apply has the file's own bytes; lines of UTF-16 are not lines
            // to patch, so those are shown decoded.
            const bool wide =
                file->encoding() == Encoding::Utf16LE || file->encoding() == Encoding::Utf16BE;
            if (!wide) {
                diff += unifiedDiff(file->path(), file->bytes(), fixed);
                continue;
            }
            const std::string before(file->text());
            diff += unifiedDiff(file->path(), before, applyEdits(before, list));
            result.notes += escaped(file->path()) +
                            ": note: the file is in UTF-16; its diff is shown in UTF-8 and "
                            "cannot be applied with patch (use --fix without --dry-run)\n";
            continue;
        }
        errno = 0;
        std::FILE *stream = std::fopen(file->path().c_str(), "r+b");
        bool written = stream != nullptr &&
                       std::fwrite(fixed.data(), 1, fixed.size(), stream) == fixed.size();
        // The corrections only ever shorten or lengthen a name: cut what the old text left.
        written = written && std::fflush(stream) == 0 &&
                  ftruncate(fileno(stream), static_cast<off_t>(fixed.size())) == 0;
        const int error = errno;
        if (stream != nullptr) {
            written = std::fclose(stream) == 0 && written;
        }
        if (!written) {
            // Opened, the file may hold part of the corrected text: say so rather than that
            // it was left as it was.
            result.unwritten.emplace_back(
                file->path(), std::to_string(list.size()) +
                                  (list.size() == 1 ? " correction" : " corrections") +
                                  (stream != nullptr ? " not made, the file may be partly written"
                                                     : " not made") +
                                  ": cannot write: " + std::strerror(error ? error : EIO));
            continue;
        }
        result.report += lines[file.get()];
        result.changed = true;
    }
    if (dryRun) {
        result.report = diff;
    }
    return result;
}

} // namespace

int runCheck(const CheckOptions &options)
{
    checkRuleCodes(options.disabled, "--disable");
    const KnownNames known = KnownNames::load(options.knownNames);
    // The text of each file is kept when findings may have to be turned into edits.
    const bool edits = options.fix || options.format == "sarif";
    Findings findings;
    bool unusable = false;
    std::size_t qosChecked = 0;
    ProfileSet set;
    const auto checkFiles = [&]() {
        findings = Findings();
        unusable = false;
        set = loadProfiles(options.files, findings, options.externalBases, &unusable, edits);
        {
            // Its tables are released before the findings are filtered and sorted.
            Checker checker(options, known, findings);
            checker.run(set);
            qosChecked = checker.qosChecked();
        }
        applyRuleControl(findings.list(), options.disabled, set);
        findings.sort();
    };
    checkFiles();
    const auto exitStatus = [&]() {
        std::size_t errors = 0, warnings = 0;
        for (const Finding &f : findings.list()) {
            (f.level == Level::Error ? errors : warnings) += 1;
        }
        const bool tooManyWarnings =
            options.maxWarnings && warnings > static_cast<std::size_t>(*options.maxWarnings);
        const bool failed =
            errors > 0 || (options.warningsAsErrors && warnings > 0) || tooManyWarnings;
        return unusable ? kExitUnusable : failed ? kExitFindings : kExitClean;
    };

    if (options.fix) {
        FixResult fixes = fixTypos(findings.list(), set, options.dryRun);
        std::fputs(fixes.notes.c_str(), stderr);
        if (options.dryRun) {
            // Standard output is the diff, for patch; or, in JSON and SARIF (whose fixes say the
            // same), the findings, and the diff goes to standard error.
            if (options.format == "text") {
                out(fixes.report);
                if (fixes.report.empty()) {
                    std::fputs("propqos: no correction to make\n", stderr);
                }
                // Nothing changed: the exit status is that of the files as they are.
                std::fputs(textReport(findings.list(), options, options.files.size(),
                                      set.profileCount(), set.participantCount(), qosChecked)
                               .c_str(),
                           stderr);
                return exitStatus();
            }
            std::fputs(fixes.report.c_str(), stderr);
        } else if (options.format != "text") {
            // JSON and SARIF stay parseable: the list of corrections goes to standard error.
            std::fputs(fixes.report.c_str(), stderr);
        } else {
            out(fixes.report);
        }
        // A correction can change more than its own finding (the profile's validation action,
        // a total length, a confidential name): what is reported is the files as now written.
        if (fixes.changed) {
            checkFiles();
        }
        for (const auto &[path, why] : fixes.unwritten) {
            Finding f;
            f.path = findings.keep(path);
            f.fileIndex = static_cast<std::uint32_t>(
                std::find(options.files.begin(), options.files.end(), path) - options.files.begin());
            f.code = "unusable-file";
            f.message = why;
            findings.add(std::move(f));
            unusable = true;
        }
        findings.sort();
    }
    FindingList &list = findings.list();
    if (options.format == "sarif") {
        Corrections corrections(set);
        sarifLog(
            list,
            [&](const Finding &f) {
                const Qos *refusedIn = nullptr;
                return corrections.of(f, &refusedIn);
            },
            [](std::string_view piece) { out(piece); });
    } else {
        out(textReport(list, options, options.files.size(), set.profileCount(),
                       set.participantCount(), qosChecked));
    }

    return exitStatus();
}

} // namespace propqos::cli
