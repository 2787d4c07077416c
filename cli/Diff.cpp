// propqos diff: would an entity configured by OLD accept the property lists of NEW?
#include <cstring>
#include <string_view>
#include <unordered_map>

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
    "the reason. Values are not printed.\n"
    "\n"
    "options:\n"
    "  --enabled                 the entities are already enabled (default: not yet enabled)\n"
    "  --format text|json|sarif  lines (default), one JSON object {\"comparisons\": [...],\n"
    "                            \"findings\": [...], \"summary\": {...}}, or a SARIF 2.1.0 log\n"
    "                            of the refused changes\n"
    "  -h, --help                this help\n"
    "\n"
    "exit status: 0 every change accepted, 1 a change refused (or a profile's base is missing),\n"
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
    const Profile *profile = nullptr;
    Entity entity = Entity::Participant;
    pugi::xml_node node; // the new QoS, or the profile when it inherits the QoS
    std::size_t changed = 0, removed = 0;
    std::vector<Finding> refused; // empty: accepted (or unchanged)
};

// The refusals of one change, each named with the reason: the module names the first property
// it refuses; to name them all, check again with each refused property put back as it was.
void checkChange(Comparison &c, const PropertyList &oldList, const PropertyList &newList,
                 const std::vector<ElementRef> &elements, bool enabled)
{
    const std::string qos = std::string(entityLabel(c.entity)) + " QoS of " + c.profile->qualified;
    const auto refuse = [&](const SourceFile *file, pugi::xml_node node, const char *code,
                            std::string message, std::string property) {
        c.refused.push_back(Finding{file, file->lineOf(node), Level::Error, code,
                                    std::move(message), c.profile->qualified,
                                    entityLabel(c.entity), std::move(property), "",
                                    node.offset_debug()});
    };
    PropertyList candidate(newList);
    for (;;) {
        const ChangeCheck check = candidate.checkChangeFrom(oldList, enabled);
        if (check.accepted) {
            return;
        }
        if (c.refused.size() == kMaxRefusedNamed) {
            refuse(c.profile->file, c.node, "refused-change",
                   "further refused changes in " + qos + " not listed (" +
                       std::to_string(kMaxRefusedNamed) + " shown)",
                   "");
            return;
        }
        if (check.property.empty()) {
            refuse(c.profile->file, c.node, "internal",
                   "the change of " + qos + " could not be checked", "");
            return;
        }
        const SourceFile *file = c.profile->file;
        pugi::xml_node at = c.node;
        for (const ElementRef &ref : elements) {
            if (check.property == ref.name) {
                file = ref.owner->file;
                at = ref.node;
                break;
            }
        }
        refuse(file, at, "refused-change",
               "changing " + cli::quoted(check.property) + " in " + qos + " is refused: " +
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

} // namespace

int runDiff(const DiffOptions &options)
{
    std::vector<Finding> problems;
    const ProfileSet before = loadProfiles({options.oldFile}, problems);
    const ProfileSet after = loadProfiles({options.newFile}, problems);

    std::vector<Comparison> comparisons;
    for (const Profile &profile : after.profiles()) {
        const Profile *old = before.find(profile.qualified);
        if (profile.duplicate || old == nullptr) {
            continue;
        }
        for (Entity e : kEntities) {
            if (!ProfileSet::hasQos(profile, e) || !ProfileSet::hasQos(*old, e)) {
                continue;
            }
            Comparison c;
            c.profile = &profile;
            c.entity = e;
            c.node = profile.qos[static_cast<int>(e)] ? profile.qos[static_cast<int>(e)]
                                                      : profile.node;
            const PropertyList oldList = ProfileSet::toList(ProfileSet::effectiveElements(*old, e));
            const std::vector<ElementRef> elements = ProfileSet::effectiveElements(profile, e);
            const PropertyList newList = ProfileSet::toList(elements);

            std::unordered_map<std::string_view, std::string_view> oldValues, newValues;
            for (const Property p : oldList) {
                oldValues.emplace(p.name, p.value);
            }
            for (const Property p : newList) {
                newValues.emplace(p.name, p.value);
                const auto was = oldValues.find(p.name);
                c.changed += (was == oldValues.end() || was->second != p.value) ? 1 : 0;
            }
            for (const auto &[name, value] : oldValues) {
                c.removed += newValues.count(name) == 0 ? 1 : 0;
            }
            if (c.changed > 0 || c.removed > 0) {
                checkChange(c, oldList, newList, elements, options.enabled);
            }
            comparisons.push_back(std::move(c));
        }
    }

    std::size_t unchanged = 0, accepted = 0, refused = 0;
    for (const Comparison &c : comparisons) {
        (!c.refused.empty() ? refused : c.changed + c.removed == 0 ? unchanged : accepted) += 1;
    }
    bool broken = false;
    for (const Finding &f : problems) {
        broken = broken || f.level == Level::Error;
    }

    std::string text;
    if (options.format == "sarif") {
        std::vector<Finding> all = problems;
        for (const Comparison &c : comparisons) {
            all.insert(all.end(), c.refused.begin(), c.refused.end());
        }
        text = sarifLog(all, [](const Finding &) { return std::optional<Edit>(); });
    } else if (options.format == "json") {
        Json list = Json::array(), findings = Json::array();
        for (const Finding &f : problems) {
            findings.push_back(findingObject(f));
        }
        for (const Comparison &c : comparisons) {
            list.push_back({{"profile", c.profile->qualified},
                            {"entity", entityLabel(c.entity)},
                            {"file", c.profile->file->path()},
                            {"line", c.profile->file->lineOf(c.node)},
                            {"status", !c.refused.empty()              ? "refused"
                                       : c.changed + c.removed == 0 ? "unchanged"
                                                                      : "accepted"},
                            {"changed", c.changed},
                            {"removed", c.removed}});
            for (const Finding &f : c.refused) {
                findings.push_back(findingObject(f));
            }
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
        for (const Finding &f : problems) {
            text += formatFinding(f) + "\n";
        }
        for (const Comparison &c : comparisons) {
            for (const Finding &f : c.refused) {
                text += formatFinding(f) + "\n";
            }
            if (c.refused.empty() && c.changed + c.removed > 0) {
                text += c.profile->file->where(c.node) + ": accepted: " + entityLabel(c.entity) +
                        " QoS of " + c.profile->qualified + ": " +
                        plural(c.changed, "property added or changed",
                               "properties added or changed") +
                        ", " + plural(c.removed, "removed", "removed") + "\n";
            }
        }
        text += plural(comparisons.size(), "QoS compared", "QoS compared") + ": " +
                std::to_string(unchanged) + " unchanged, " + std::to_string(accepted) +
                " accepted, " + std::to_string(refused) + " refused" +
                (options.enabled ? " (entities enabled)\n" : " (entities not yet enabled)\n");
    }
    out(text);
    return refused > 0 || broken ? kExitFindings : kExitClean;
}

} // namespace propqos::cli
