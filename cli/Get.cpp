// propqos get: the properties in force for one profile and entity.
#include <algorithm>
#include <unordered_set>

#include "Commands.hpp"
#include "Text.hpp"

namespace propqos::cli
{

const char *const kGetHelp =
    "usage: propqos get FILE... --profile LIB::PROFILE --entity participant|datawriter|datareader\n"
    "                   [--prefix PREFIX [--strip]] [--reveal] [--format text|json]\n"
    "\n"
    "Prints the properties of the profile's QoS for the entity as in force after base_name\n"
    "inheritance (bases may be in any of the files), one 'name = value' line each, followed by\n"
    "'(propagate)' for those sent to remote peers. Confidential values (keys, passwords, pass\n"
    "phrases) are shown as \"[redacted]\".\n"
    "\n"
    "options:\n"
    "  --profile LIB::PROFILE   the profile (required)\n"
    "  --entity KIND            participant, datawriter or datareader (required)\n"
    "  --prefix PREFIX          only the properties whose names begin with PREFIX\n"
    "  --strip                  with --prefix: names without PREFIX and its '.'\n"
    "  --reveal                 show confidential values as they are\n"
    "  --external-base PATTERN  base profiles known to exist elsewhere (see check --help)\n"
    "  --format text|json       'name = value' lines (default) or a JSON object\n"
    "  -h, --help               this help\n"
    "\n"
    "exit status: 0 done, 1 the profile's inheritance is broken (a cycle), 2 unusable input,\n"
    "unknown profile or usage.\n";

int runGet(const GetOptions &options)
{
    const std::string &profileName = options.profile;
    const Entity *entity = &*options.entity;
    const bool hasPrefix = options.prefix.has_value(), strip = options.strip,
               reveal = options.reveal, json = options.json;
    const std::string prefix = options.prefix.value_or("");
    Findings problems;
    bool unusable = false;
    const ProfileSet set = loadProfiles(options.files, problems, options.externalBases, &unusable);
    const Profile *profile = set.find(profileName);
    if (profile == nullptr) {
        for (const Finding &f : problems.list()) {
            if (f.code == "unusable-file") {
                std::fprintf(stderr, "%s\n", formatFinding(f).c_str());
            }
        }
        throw InputError("propqos: error: no profile " + quotedShort(profileName) +
                         " in the files given (names are LIB::PROFILE)");
    }
    const Qos *qos = profile->slot[static_cast<int>(*entity)];
    const PropertyList all =
        qos != nullptr ? ProfileSet::toList(ProfileSet::effective(*qos)) : PropertyList();
    std::optional<PropertyList> selected;
    std::string strippedPrefix;
    if (!hasPrefix) {
        selected = all;
    } else if (!strip) {
        selected = all.withPrefix(prefix);
    } else {
        selected = all.withoutPrefix(prefix);
        // The module ends the list with its own entry "prefix", holding the prefix stripped.
        if (selected && !selected->empty()) {
            PropertyList withoutEntry;
            std::size_t i = 0;
            const std::size_t last = selected->size() - 1;
            for (const Property p : *selected) {
                if (i++ == last) {
                    strippedPrefix = std::string(p.value);
                } else {
                    withoutEntry.add(p.name, p.value, p.propagate);
                }
            }
            selected = std::move(withoutEntry);
        }
    }
    if (!selected) {
        throw InputError("propqos: error: the properties under prefix " + quotedShort(prefix) +
                         " could not be extracted");
    }

    // What is wrong with the profile's inheritance makes its properties incomplete: say so.
    std::unordered_set<std::string> chain;
    std::vector<const Profile *> walk{profile};
    while (!walk.empty()) {
        const Profile *p = walk.back();
        walk.pop_back();
        if (chain.insert(p->qualified).second) {
            walk.insert(walk.end(), p->bases.begin(), p->bases.end());
        }
    }
    bool broken = false;
    for (const Finding &f : problems.list()) {
        if (chain.count(f.profile) != 0 || f.code == "unusable-file") {
            std::fprintf(stderr, "%s\n", formatFinding(f).c_str());
            broken = broken || f.level == Level::Error;
        }
    }

    std::string text;
    if (json) {
        text += "{\"profile\": " + jsonString(profile->qualified) +
                ", \"entity\": " + jsonString(entityLabel(*entity)) + ", \"properties\": [";
    }
    bool first = true;
    for (const Property p : *selected) {
        const bool secret = PropertyList::isConfidential(strippedPrefix + std::string(p.name));
        const std::string_view value = secret && !reveal ? std::string_view("[redacted]") : p.value;
        if (json) {
            text += (first ? "\n  " : ",\n  ");
            text += "{\"name\": " + jsonString(p.name) + ", \"value\": " + jsonString(value) +
                    ", \"propagate\": " + (p.propagate ? "true" : "false") +
                    ", \"redacted\": " + (secret && !reveal ? "true" : "false") + "}";
        } else {
            text += escaped(p.name) + " = " + escaped(value) +
                    (p.propagate ? "  (propagate)\n" : "\n");
        }
        first = false;
    }
    if (json) {
        text += first ? "]}\n" : "\n]}\n";
    }
    out(text);
    return unusable ? kExitUnusable : broken ? kExitFindings : kExitClean;
}

} // namespace propqos::cli
