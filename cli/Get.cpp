// propqos get: the properties in force for one profile and entity.
#include <algorithm>
#include <unordered_set>

#include "Commands.hpp"
#include "Text.hpp"

namespace propqos::cli
{

const char *const kGetHelp =
    "usage: propqos get FILE... --profile LIB::PROFILE --entity participant|datawriter|datareader\n"
    "                   [--qos NAME|FILTER] [--prefix PREFIX [--strip]] [--reveal]\n"
    "                   [--format text|json]\n"
    "\n"
    "Prints the properties of the profile's QoS for the entity as in force after base_name\n"
    "inheritance (bases may be in any of the files), one 'name = value' line each, followed by\n"
    "'(propagate)' for those sent to remote peers. Confidential values (keys, passwords, pass\n"
    "phrases) are shown as \"[redacted]\".\n"
    "A profile may hold several writer or reader QoS, told apart by a name or topic_filter\n"
    "attribute: each is printed under a '# ...' heading (JSON: an array of objects), or\n"
    "--qos picks the one with that name or topic filter.\n"
    "\n"
    "options:\n"
    "  --profile LIB::PROFILE   the profile (required)\n"
    "  --entity KIND            participant, datawriter or datareader (required)\n"
    "  --qos NAME|FILTER        only the QoS with this name or topic_filter attribute\n"
    "  --prefix PREFIX          only the properties whose names begin with PREFIX\n"
    "  --strip                  with --prefix: names without PREFIX and its '.'\n"
    "  --reveal                 show confidential values as they are\n"
    "  --external-base PATTERN  base profiles known to exist elsewhere (see check --help)\n"
    "  --format text|json       'name = value' lines (default) or a JSON object\n"
    "  -h, --help               this help\n"
    "\n"
    "exit status: 0 done, 1 the profile's inheritance is broken (a cycle), 2 unusable input,\n"
    "unknown profile or usage.\n";

namespace
{

// The properties of one QoS as printed, after --prefix and --strip.
PropertyList selectedOf(const Qos *qos, const GetOptions &options, std::string &strippedPrefix)
{
    const PropertyList all =
        qos != nullptr ? ProfileSet::toList(ProfileSet::effective(*qos)) : PropertyList();
    const std::string prefix = options.prefix.value_or("");
    std::optional<PropertyList> selected;
    strippedPrefix.clear();
    if (!options.prefix) {
        selected = all;
    } else if (!options.strip) {
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
    return std::move(*selected);
}

} // namespace

int runGet(const GetOptions &options)
{
    const std::string &profileName = options.profile;
    const Entity entity = *options.entity;
    const bool reveal = options.reveal, json = options.json;
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

    // The profile's QoS of the entity: the default one (without a topic filter), then those told
    // apart by a name or a topic filter, in the order written.
    std::vector<const Qos *> all;
    const Qos *fallback = profile->slot[static_cast<int>(entity)];
    if (fallback != nullptr && (fallback->exists || fallback->node)) {
        all.push_back(fallback);
    }
    for (const Qos *q : set.order(entity)) {
        if (q->profile == profile && q != fallback) {
            all.push_back(q);
        }
    }
    std::stable_sort(all.begin(), all.end(), [](const Qos *a, const Qos *b) {
        return (a->node ? a->node.offset_debug() : -1) < (b->node ? b->node.offset_debug() : -1);
    });
    std::vector<const Qos *> chosen;
    if (options.qos) {
        for (const Qos *q : all) {
            if (q->node && (*options.qos == q->node.attribute("name").value() ||
                            *options.qos == q->node.attribute("topic_filter").value())) {
                chosen.push_back(q);
            }
        }
        if (chosen.empty()) {
            std::string known;
            for (const Qos *q : all) {
                known += "\n  " + q->describe();
            }
            throw InputError("propqos: error: no " + std::string(entityLabel(entity)) +
                             " QoS named or filtered " + quotedShort(*options.qos) + " in " +
                             quotedShort(profile->qualified) +
                             (known.empty() ? std::string() : "; it has:" + known));
        }
    } else {
        chosen = all;
    }
    if (chosen.empty()) {
        std::fprintf(stderr, "propqos: note: %s has no %s QoS\n", escaped(profile->qualified).c_str(),
                     entityLabel(entity));
        chosen.push_back(nullptr);
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
        if (chain.count(std::string(f.profile)) != 0 || f.code == "unusable-file") {
            std::fprintf(stderr, "%s\n", formatFinding(f).c_str());
            broken = broken || f.level == Level::Error;
        }
    }

    // Several QoS: text gives each a heading line, JSON an array of one object per QoS.
    const bool several = chosen.size() > 1;
    std::string text;
    if (json && several) {
        text += "[\n";
    }
    bool firstQos = true;
    for (const Qos *qos : chosen) {
        std::string strippedPrefix;
        const PropertyList selected = selectedOf(qos, options, strippedPrefix);
        const char *name = qos != nullptr && qos->node ? qos->node.attribute("name").value() : "";
        const char *filter =
            qos != nullptr && qos->node ? qos->node.attribute("topic_filter").value() : "";
        if (json) {
            text += firstQos ? "" : ",\n";
            text += "{\"profile\": " + jsonString(profile->qualified) +
                    ", \"entity\": " + jsonString(entityLabel(entity));
            if (*name != '\0') {
                text += ", \"name\": " + jsonString(name);
            }
            if (*filter != '\0') {
                text += ", \"topic_filter\": " + jsonString(filter);
            }
            text += ", \"properties\": [";
        } else if (several) {
            text += std::string(firstQos ? "" : "\n") + "# " + qos->describe() + "\n";
        }
        bool first = true;
        for (const Property p : selected) {
            const bool secret =
                PropertyList::isConfidential(strippedPrefix + std::string(p.name));
            const std::string_view value =
                secret && !reveal ? std::string_view("[redacted]") : p.value;
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
            text += first ? "]}" : "\n]}";
        }
        firstQos = false;
    }
    if (json) {
        text += several ? "\n]\n" : "\n";
    }
    out(text);
    return unusable ? kExitUnusable : broken ? kExitFindings : kExitClean;
}

} // namespace propqos::cli
