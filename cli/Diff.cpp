// propqos diff: would an entity configured by OLD accept the property lists of NEW?
#include <algorithm>
#include <cstring>
#include <string_view>
#include <unordered_map>
#include <unordered_set>

#include <nlohmann/json.hpp>

#include "Commands.hpp"
#include "Report.hpp"
#include "Text.hpp"

namespace propqos::cli
{

const char *const kDiffHelp =
    "usage: propqos diff [--enabled] [--format text|json|sarif] OLD NEW\n"
    "\n"
    "For every participant, datawriter and datareader QoS present in both files (same\n"
    "library, profile and entity; properties as in force after base_name inheritance), tells\n"
    "whether an entity created with the OLD properties would accept the NEW ones: a property\n"
    "that is added or changed must be mutable, or mutable until enable while the entity is not\n"
    "yet enabled. Removing a property is always accepted. Every refused property is named with\n"
    "the reason. Values are not printed. Profiles and QoS of OLD that NEW lacks (removed or\n"
    "renamed) are warned about.\n"
    "\n"
    "options:\n"
    "  --enabled                 the entities are already enabled (default: not yet enabled)\n"
    "  --format text|json|sarif  lines (default), one JSON object {\"comparisons\": [...],\n"
    "                            \"findings\": [...], \"summary\": {...}}, or a SARIF 2.1.0 log\n"
    "                            of the refused changes\n"
    "  --external-base PATTERN   base profiles known to exist elsewhere (see check --help)\n"
    "  -h, --help                this help\n"
    "\n"
    "exit status: 0 every change accepted, 1 a change refused (or an inheritance cycle),\n"
    "2 unusable input or usage.\n";

namespace
{

// Bound on the checks one QoS can cause, whatever the input.
constexpr std::size_t kMaxRefusedNamed = 100;

using Json = nlohmann::ordered_json;

std::string plural(std::size_t n, const char *one, const char *many)
{
    return std::to_string(n) + " " + (n == 1 ? one : many);
}

// One QoS present in both files, and what became of its change.
struct Comparison {
    const Qos *qos = nullptr;
    pugi::xml_node node; // the new QoS, or the profile when it inherits the QoS
    std::size_t changed = 0, removed = 0;
    std::vector<Finding> refused; // empty: accepted (or unchanged)
};

// The refusals of one change, each named with the reason: the module names the first property
// it refuses; to name them all, check again with each refused property put back as it was.
void checkChange(Comparison &c, const PropertyList &oldList, const PropertyList &newList,
                 const std::vector<const ElementRef *> &elements, bool enabled, Findings &texts)
{
    const Qos &qos = *c.qos;
    const std::string name = qos.describe();
    const auto refuse = [&](const Profile &owner, pugi::xml_node node, const char *code,
                            std::string message, std::string property) {
        Finding f;
        f.file = owner.file;
        f.path = owner.file->path();
        f.line = owner.file->lineOf(node);
        f.code = code;
        f.message = std::move(message);
        f.profile = qos.profile->qualified;
        f.entity = entityLabel(qos.entity);
        f.property = texts.keep(std::move(property));
        f.offset = node.offset_debug();
        f.fileIndex = 1; // NEW
        c.refused.push_back(std::move(f));
    };
    PropertyList candidate(newList);
    for (;;) {
        const ChangeCheck check = candidate.checkChangeFrom(oldList, enabled);
        if (check.accepted) {
            return;
        }
        if (c.refused.size() == kMaxRefusedNamed) {
            refuse(*qos.profile, c.node, "refused-change",
                   "further refused changes in " + name + " not listed (" +
                       std::to_string(kMaxRefusedNamed) + " shown)",
                   "");
            return;
        }
        if (check.property.empty()) {
            refuse(*qos.profile, c.node, "internal",
                   "the change of " + name + " could not be checked", "");
            return;
        }
        const Profile *owner = qos.profile;
        pugi::xml_node at = c.node;
        for (const ElementRef *ref : elements) {
            if (check.property == ref->name) {
                owner = ref->owner->profile;
                at = ref->node;
                break;
            }
        }
        refuse(*owner, at, "refused-change",
               "changing " + cli::quoted(check.property) + " in " + name + " is refused: " +
                   check.reason,
               check.property);
        const std::optional<Property> was = oldList.find(check.property);
        if (was) {
            candidate.assertProperty(check.property, was->value, was->propagate);
        } else if (!candidate.remove(check.property)) {
            return;
        }
    }
}

// What tells a QoS of OLD and NEW to be the same: its place and, for one that is not its
// profile's default one, its label.
std::string keyOf(const Qos &qos)
{
    const bool isDefault = qos.profile->slot[static_cast<int>(qos.entity)] == &qos;
    return std::string(qos.profile->noun()) + '\n' + qos.profile->qualified + '\n' +
           entityLabel(qos.entity) + '\n' + (isDefault ? std::string() : std::string(qos.label));
}

// Profiles and QoS of OLD that NEW no longer has: removed, or renamed.
void reportRemoved(const ProfileSet &before, const ProfileSet &after, const std::string &newFile,
                   Findings &problems)
{
    const auto removed = [&](const Profile &profile, pugi::xml_node node, const char *code,
                             std::string message) {
        Finding f;
        f.file = profile.file;
        f.path = profile.file->path();
        f.fileIndex = 0; // OLD
        f.line = profile.file->lineOf(node);
        f.offset = node.offset_debug();
        f.level = Level::Warning;
        f.code = code;
        f.profile = profile.qualified;
        f.message = std::move(message);
        return f;
    };
    for (const Profile &profile : before.profiles()) {
        if (!profile.duplicate && after.find(profile.qualified, profile.kind) == nullptr) {
            problems.add(removed(profile, profile.node, "removed-profile",
                                 profile.noun() + (" " + cli::quoted(profile.qualified)) +
                                     " is not in " + escaped(newFile) + " (removed or renamed)"));
        }
    }
    std::unordered_set<std::string> now;
    for (Entity e : kEntities) {
        for (const Qos *qos : after.order(e)) {
            if (qos->exists && !qos->profile->duplicate) {
                now.insert(keyOf(*qos));
            }
        }
    }
    for (Entity e : kEntities) {
        for (const Qos *was : before.order(e)) {
            const Profile &profile = *was->profile;
            if (!was->exists || profile.duplicate ||
                after.find(profile.qualified, profile.kind) == nullptr ||
                now.count(keyOf(*was)) != 0) {
                continue;
            }
            // At the QoS as written; one the profile only inherits, at the profile.
            Finding f = removed(profile, was->node ? was->node : profile.node, "removed-qos",
                                was->describe() + " is not in " + escaped(newFile));
            f.entity = entityLabel(e);
            problems.add(std::move(f));
        }
    }
}

// A name the middleware does not know has no mutability of its own: the change check lets it
// through, which says nothing about what an entity would do. Such changes are warned about.
void warnUnknownChanges(const Qos &qos, const PropertyList &newList,
                        const std::unordered_map<std::string_view, std::string_view> &oldValues,
                        const std::vector<const ElementRef *> &elements, Findings &problems)
{
    // The module names the first unknown name under each prefix: check again without them.
    std::unordered_set<std::string> unknown;
    PropertyList rest(newList);
    for (std::size_t round = 0; round < kMaxRefusedNamed; ++round) {
        const ValidationReport report =
            rest.validate(entityKind(qos.entity), ValidationAction::Warning);
        if (report.unexpected.empty()) {
            break;
        }
        for (const UnexpectedName &u : report.unexpected) {
            unknown.insert(u.name);
            rest.remove(u.name);
        }
    }
    for (const ElementRef *ref : elements) {
        const auto was = oldValues.find(ref->name);
        if (unknown.count(std::string(ref->name)) == 0 ||
            (was != oldValues.end() && was->second == ref->value)) {
            continue;
        }
        const Profile &owner = *ref->owner->profile;
        Finding f;
        f.file = owner.file;
        f.path = owner.file->path();
        f.line = owner.file->lineOf(ref->node);
        f.offset = ref->node.offset_debug();
        f.level = Level::Warning;
        f.code = "unknown-change";
        f.fileIndex = 1; // NEW
        f.message = "changing " + cli::quoted(ref->name) + " in " + qos.describe() +
                    ": the name is unknown to the middleware, so whether an existing entity "
                    "accepts the change cannot be told";
        f.profile = qos.profile->qualified;
        f.entity = entityLabel(qos.entity);
        f.property = ref->name;
        problems.add(std::move(f));
    }
}

} // namespace

int runDiff(const DiffOptions &options)
{
    bool unusable = false;
    // Each file's findings apart: a fault met in both is two findings, not one inherited.
    Findings problems, newProblems;
    const ProfileSet before =
        loadProfiles({options.oldFile}, problems, options.externalBases, &unusable);
    // Standard input is read once: given as both, it is compared with itself.
    const bool same = options.oldFile == "-" && options.newFile == "-";
    const ProfileSet afterSet =
        same ? ProfileSet()
             : loadProfiles({options.newFile}, newProblems, options.externalBases, &unusable);
    const ProfileSet &after = same ? before : afterSet;
    for (Finding &f : newProblems.list()) {
        f.fileIndex = 1; // NEW
        problems.add(std::move(f));
    }
    const std::string newName = options.newFile == "-" ? "<stdin>" : options.newFile;
    reportRemoved(before, after, newName, problems);

    // The old lists by QoS, then each new QoS against its old one. QoS written twice under one
    // name (a duplicate-qos) are paired in the order they come.
    std::unordered_map<std::string, std::vector<const ElementRef *>> old;
    std::unordered_map<std::string, std::size_t> oldSeen, newSeen;
    const auto occurrence = [](std::unordered_map<std::string, std::size_t> &seen, std::string key) {
        const std::size_t n = seen[key]++;
        return n == 0 ? key : key + '\n' + std::to_string(n);
    };
    for (Entity e : kEntities) {
        before.forEachEffective(e, [&](const Qos &qos, const std::vector<const ElementRef *> &list) {
            if (!qos.profile->duplicate) {
                old.emplace(occurrence(oldSeen, keyOf(qos)), list);
            }
        });
    }
    std::vector<Comparison> comparisons;
    const auto compare = [&](const Qos &qos, const std::vector<const ElementRef *> &elements) {
        const auto was =
            qos.profile->duplicate ? old.end() : old.find(occurrence(newSeen, keyOf(qos)));
        if (qos.profile->duplicate || was == old.end()) {
            return;
        }
        Comparison c;
        c.qos = &qos;
        c.node = qos.node ? qos.node : qos.profile->node;
        const PropertyList oldList = ProfileSet::toList(was->second);
        const PropertyList newList = ProfileSet::toList(elements);

        std::unordered_map<std::string_view, std::string_view> oldValues, newValues;
        for (const Property p : oldList) {
            oldValues.emplace(p.name, p.value);
        }
        for (const Property p : newList) {
            newValues.emplace(p.name, p.value);
            const auto it = oldValues.find(p.name);
            c.changed += (it == oldValues.end() || it->second != p.value) ? 1 : 0;
        }
        for (const auto &[name, value] : oldValues) {
            c.removed += newValues.count(name) == 0 ? 1 : 0;
        }
        if (c.changed > 0 || c.removed > 0) {
            checkChange(c, oldList, newList, elements, options.enabled, problems);
        }
        if (c.changed > 0) {
            warnUnknownChanges(qos, newList, oldValues, elements, problems);
        }
        comparisons.push_back(std::move(c));
    };
    for (Entity e : kEntities) {
        after.forEachEffective(e, compare);
    }

    std::size_t unchanged = 0, accepted = 0, refused = 0;
    for (const Comparison &c : comparisons) {
        (!c.refused.empty() ? refused : c.changed + c.removed == 0 ? unchanged : accepted) += 1;
    }
    bool broken = false;
    for (const Finding &f : problems.list()) {
        broken = broken || f.level == Level::Error;
    }

    // Every finding in the order of the files (OLD, then NEW) and of their lines.
    FindingList all = problems.list();
    for (const Comparison &c : comparisons) {
        all.insert(all.end(), c.refused.begin(), c.refused.end());
    }
    const auto before_ = [](std::uint32_t fileA, std::ptrdiff_t atA, std::uint32_t fileB,
                            std::ptrdiff_t atB) {
        return fileA != fileB ? fileA < fileB : atA < atB;
    };
    std::stable_sort(all.begin(), all.end(), [&](const Finding &a, const Finding &b) {
        return before_(a.fileIndex, a.offset, b.fileIndex, b.offset);
    });
    std::string text;
    if (options.format == "sarif") {
        text = sarifLog(all, [](const Finding &) { return std::optional<Edit>(); });
    } else if (options.format == "json") {
        Json list = Json::array(), findings = Json::array();
        for (const Finding &f : all) {
            findings.push_back(findingObject(f));
        }
        for (const Comparison &c : comparisons) {
            const Profile &profile = *c.qos->profile;
            Json item = Json::object();
            item[profile.kind == RecordKind::Participant ? "participant" : "profile"] =
                profile.qualified;
            item["entity"] = entityLabel(c.qos->entity);
            item["qos"] = c.qos->label;
            item["file"] = profile.file->path();
            item["line"] = profile.file->lineOf(c.node);
            item["status"] = !c.refused.empty()             ? "refused"
                             : c.changed + c.removed == 0 ? "unchanged"
                                                          : "accepted";
            item["changed"] = c.changed;
            item["removed"] = c.removed;
            list.push_back(std::move(item));
        }
        const Json document = {{"comparisons", list},
                               {"findings", findings},
                               {"summary",
                                {{"compared", comparisons.size()},
                                 {"unchanged", unchanged},
                                 {"accepted", accepted},
                                 {"refused", refused},
                                 {"enabled", options.enabled}}}};
        text = document.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
    } else {
        // The accepted changes, at their QoS in NEW, among the findings.
        struct Line {
            std::uint32_t file;
            std::ptrdiff_t at;
            std::string text;
        };
        std::vector<Line> lines;
        for (const Finding &f : all) {
            lines.push_back({f.fileIndex, f.offset, formatFinding(f)});
        }
        for (const Comparison &c : comparisons) {
            if (c.refused.empty() && c.changed + c.removed > 0) {
                const SourceFile &file = *c.qos->profile->file;
                lines.push_back({1, c.node.offset_debug(),
                                 escaped(file.where(c.node)) + ": accepted: " +
                                     c.qos->describe() + ": " +
                                     plural(c.changed, "property added or changed",
                                            "properties added or changed") +
                                     ", " + plural(c.removed, "removed", "removed")});
            }
        }
        std::stable_sort(lines.begin(), lines.end(), [&](const Line &a, const Line &b) {
            return before_(a.file, a.at, b.file, b.at);
        });
        for (const Line &l : lines) {
            text += l.text + "\n";
        }
        text += plural(comparisons.size(), "QoS compared", "QoS compared") + ": " +
                std::to_string(unchanged) + " unchanged, " + std::to_string(accepted) +
                " accepted, " + std::to_string(refused) + " refused" +
                (options.enabled ? " (entities enabled)\n" : " (entities not yet enabled)\n");
    }
    out(text);
    return unusable ? kExitUnusable : refused > 0 || broken ? kExitFindings : kExitClean;
}

} // namespace propqos::cli
