// propqos diff: would an entity configured by OLD accept the property lists of NEW?
#include <cstring>
#include <string_view>
#include <unordered_map>

#include "Commands.hpp"
#include "Text.hpp"

namespace propqos::cli
{

const char *const kDiffHelp =
    "usage: propqos diff [--enabled] OLD NEW\n"
    "\n"
    "For every participant, datawriter and datareader QoS present in both files (same\n"
    "library, profile and entity; properties as in force after base_name inheritance), tells\n"
    "whether an entity created with the OLD properties would accept the NEW ones: a property\n"
    "that is added or changed must be mutable, or mutable until enable while the entity is not\n"
    "yet enabled. Removing a property is always accepted. Every refused property is named with\n"
    "the reason. Values are not printed.\n"
    "\n"
    "options:\n"
    "  --enabled    the entities are already enabled (default: not yet enabled)\n"
    "  -h, --help   this help\n"
    "\n"
    "exit status: 0 every change accepted, 1 a change refused (or a profile's base is missing),\n"
    "2 unusable input or usage.\n";

namespace
{

// Bound on the checks one QoS can cause, whatever the input.
constexpr std::size_t kMaxRefusedNamed = 100;

struct Counts {
    std::size_t compared = 0, unchanged = 0, accepted = 0, refused = 0;
};

std::string plural(std::size_t n, const char *one, const char *many)
{
    return std::to_string(n) + " " + (n == 1 ? one : many);
}

} // namespace

int runDiff(const DiffOptions &options)
{
    const bool enabled = options.enabled;
    const std::vector<std::string> files = {options.oldFile, options.newFile};
    std::vector<Finding> problems;
    const ProfileSet before = loadProfiles({files[0]}, problems);
    const ProfileSet after = loadProfiles({files[1]}, problems);

    std::string text;
    for (const Finding &f : problems) {
        text += formatFinding(f) + "\n";
    }
    Counts counts;
    for (const Profile &profile : after.profiles()) {
        const Profile *old = before.find(profile.qualified);
        if (profile.duplicate || old == nullptr) {
            continue;
        }
        for (Entity e : kEntities) {
            if (!ProfileSet::hasQos(profile, e) || !ProfileSet::hasQos(*old, e)) {
                continue;
            }
            ++counts.compared;
            const std::string qos = std::string(entityLabel(e)) + " QoS of " + profile.qualified;
            const PropertyList oldList = ProfileSet::toList(ProfileSet::effectiveElements(*old, e));
            const std::vector<ElementRef> elements = ProfileSet::effectiveElements(profile, e);
            const PropertyList newList = ProfileSet::toList(elements);

            std::unordered_map<std::string_view, std::string_view> oldValues, newValues;
            for (const Property p : oldList) {
                oldValues.emplace(p.name, p.value);
            }
            std::size_t changed = 0, removed = 0;
            for (const Property p : newList) {
                newValues.emplace(p.name, p.value);
                const auto was = oldValues.find(p.name);
                changed += (was == oldValues.end() || was->second != p.value) ? 1 : 0;
            }
            for (const auto &[name, value] : oldValues) {
                removed += newValues.count(name) == 0 ? 1 : 0;
            }
            if (changed == 0 && removed == 0) {
                ++counts.unchanged;
                continue;
            }
            const pugi::xml_node qosNode = profile.qos[static_cast<int>(e)];
            std::string where =
                qosNode ? profile.file->where(qosNode) : profile.file->where(profile.node);

            // The module names the first property it refuses; to name them all, check again with
            // each refused property put back as it was.
            PropertyList candidate(newList);
            std::size_t refused = 0;
            for (;;) {
                const ChangeCheck check = candidate.checkChangeFrom(oldList, enabled);
                if (check.accepted) {
                    break;
                }
                if (refused == kMaxRefusedNamed) {
                    text += where + ": error: further refused changes in " + qos + " not listed (" +
                            std::to_string(kMaxRefusedNamed) + " shown)\n";
                    break;
                }
                if (check.property.empty()) {
                    text += where + ": error: the change of " + qos + " could not be checked\n";
                    ++refused;
                    break;
                }
                std::string at = where;
                for (const ElementRef &ref : elements) {
                    if (check.property == ref.name) {
                        at = ref.owner->file->where(ref.node);
                        break;
                    }
                }
                text += at + ": error: changing " + quoted(check.property) + " in " + qos +
                        " is refused: " + check.reason + "\n";
                ++refused;
                const std::optional<Property> was = oldList.find(check.property);
                if (was) {
                    candidate.assertProperty(check.property, was->value, was->propagate);
                } else if (!candidate.remove(check.property)) {
                    break;
                }
            }
            if (refused > 0) {
                ++counts.refused;
            } else {
                ++counts.accepted;
                text +=
                    where + ": accepted: " + qos + ": " +
                    plural(changed, "property added or changed", "properties added or changed") +
                    ", " + plural(removed, "removed", "removed") + "\n";
            }
        }
    }
    text += plural(counts.compared, "QoS compared", "QoS compared") + ": " +
            std::to_string(counts.unchanged) + " unchanged, " + std::to_string(counts.accepted) +
            " accepted, " + std::to_string(counts.refused) + " refused" +
            (enabled ? " (entities enabled)\n" : " (entities not yet enabled)\n");
    out(text);
    bool broken = false;
    for (const Finding &f : problems) {
        broken = broken || f.level == Level::Error;
    }
    return counts.refused > 0 || broken ? kExitFindings : kExitClean;
}

} // namespace propqos::cli
