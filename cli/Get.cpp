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
    "--qos picks the one with that name or topic filter. A participant of a\n"
    "domain_participant_library is named LIB::PARTICIPANT, a writer or reader of it\n"
    "LIB::PARTICIPANT/PUBLISHER/WRITER (or --qos PUBLISHER/WRITER).\n"
    "\n"
    "options:\n"
    "  --profile LIB::PROFILE   the profile or participant (required)\n"
    "  --entity KIND            participant, datawriter or datareader (required)\n"
    "  --qos NAME|FILTER        only the QoS with this name or topic_filter attribute\n"
    "  --prefix PREFIX          only the properties named PREFIX.NAME (letter case ignored,\n"
    "                           as when the middleware matches prefixes)\n"
    "  --strip                  with --prefix: the same properties, named NAME\n"
    "  --reveal                 show confidential values as they are\n"
    "  --external-base PATTERN  base profiles known to exist elsewhere (see check --help)\n"
    "  --format text|json       'name = value' lines (default) or a JSON object\n"
    "  -h, --help               this help\n"
    "\n"
    "exit status: 0 done, 1 the profile's inheritance is broken (a cycle), 2 unusable input,\n"
    "unknown profile or usage.\n";

namespace
{

// One property as printed: its name after --strip, and whether its value is confidential.
struct Selected {
    std::string_view name;
    const ElementRef *element;
};

// The properties of one QoS under --prefix: those named PREFIX.something, letter case ignored
// as when the middleware matches names to prefixes (a '.' ending PREFIX changes nothing); with
// --strip, named by what follows PREFIX and its '.'. The same properties either way.
std::vector<Selected> selectedOf(const Qos *qos, const GetOptions &options)
{
    std::vector<Selected> selected;
    if (qos == nullptr) {
        return selected;
    }
    std::string_view prefix = options.prefix ? std::string_view(*options.prefix) : "";
    if (!prefix.empty() && prefix.back() == '.') {
        prefix.remove_suffix(1);
    }
    for (const ElementRef *ref : ProfileSet::effective(*qos)) {
        if (prefix.empty()) {
            selected.push_back({ref->name, ref});
        } else if (ref->name.size() > prefix.size() + 1 && ref->name[prefix.size()] == '.' &&
                   equalsIgnoreCase(ref->name.substr(0, prefix.size()), prefix)) {
            selected.push_back(
                {options.strip ? ref->name.substr(prefix.size() + 1) : ref->name, ref});
        }
    }
    return selected;
}

// The profiles whose findings bear on `chosen`: those its QoS inherit from, the profile's
// bases too (what is wrong with them makes its properties incomplete).
std::unordered_set<std::string_view> chainOf(const Profile &profile,
                                             const std::vector<const Qos *> &chosen)
{
    std::unordered_set<std::string_view> chain;
    std::vector<const Profile *> walk{&profile};
    while (!walk.empty()) {
        const Profile *p = walk.back();
        walk.pop_back();
        if (chain.insert(p->qualified).second) {
            walk.insert(walk.end(), p->bases.begin(), p->bases.end());
        }
    }
    std::unordered_set<const Qos *> seen;
    std::vector<const Qos *> qos;
    for (const Qos *q : chosen) {
        if (q != nullptr && seen.insert(q).second) {
            qos.push_back(q);
        }
    }
    while (!qos.empty()) {
        const Qos *q = qos.back();
        qos.pop_back();
        chain.insert(q->profile->qualified);
        for (const Qos *base : q->bases) {
            if (seen.insert(base).second) {
                qos.push_back(base);
            }
        }
    }
    return chain;
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
    // A writer or reader of a participant may be named by its place: PL::P/Publisher/Writer.
    std::optional<std::string> picked = options.qos;
    const std::size_t slash = profileName.find('/');
    if (profile == nullptr && slash != std::string::npos) {
        profile = set.find(profileName.substr(0, slash), RecordKind::Participant);
        if (profile != nullptr && !picked) {
            picked = profileName.substr(slash + 1);
        }
    }
    if (profile == nullptr) {
        for (const Finding &f : problems.list()) {
            if (f.code == "unusable-file") {
                std::fprintf(stderr, "%s\n", formatFinding(f).c_str());
            }
        }
        throw InputError("propqos: error: no profile or participant " + quotedShort(profileName) +
                         " in the files given (names are LIB::PROFILE, or LIB::PARTICIPANT and "
                         "LIB::PARTICIPANT/PUBLISHER/WRITER)");
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
    if (picked) {
        for (const Qos *q : all) {
            const std::string_view label = q->label;
            const bool match =
                q->endpoint ? *picked == label || *picked == label.substr(label.find('/') + 1)
                            : q->node && (*picked == q->node.attribute("name").value() ||
                                          *picked == q->node.attribute("topic_filter").value());
            if (match) {
                chosen.push_back(q);
            }
        }
        if (chosen.empty()) {
            std::string known;
            for (const Qos *q : all) {
                known += "\n  " + q->describe();
            }
            throw InputError("propqos: error: no " + std::string(entityLabel(entity)) +
                             " QoS named or filtered " + quotedShort(*picked) + " in " +
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

    // What is wrong with the inheritance of what is printed makes it incomplete: say so. What
    // concerns the profile's other entities is not said.
    const std::unordered_set<std::string_view> chain = chainOf(*profile, chosen);
    problems.sort();
    // Nor what lies inside the profile's other QoS of the entity, those not printed.
    std::vector<std::pair<std::ptrdiff_t, std::ptrdiff_t>> others;
    for (const Qos *q : all) {
        if (q->node && std::find(chosen.begin(), chosen.end(), q) == chosen.end()) {
            const pugi::xml_node after = nextAfter(q->node);
            others.emplace_back(q->node.offset_debug(),
                                after ? after.offset_debug() : PTRDIFF_MAX);
        }
    }
    const auto elsewhere = [&](const Finding &f) {
        return f.file == profile->file &&
               std::any_of(others.begin(), others.end(), [&](const auto &range) {
                   return range.first <= f.offset && f.offset < range.second;
               });
    };
    bool broken = false;
    for (const Finding &f : problems.list()) {
        const bool bears = chain.count(f.profile) != 0 &&
                           (f.entity.empty() || f.entity == entityLabel(entity)) &&
                           !elsewhere(f);
        if (bears || f.code == "unusable-file") {
            std::fprintf(stderr, "%s\n", formatFinding(f).c_str());
            broken = broken || (f.level == Level::Error && f.code != "unusable-file");
        }
    }

    // Several QoS: text gives each a heading line, JSON an array of one object per QoS.
    const bool several = chosen.size() > 1;
    std::string text;
    if (json && several) {
        text += "[\n";
    }
    bool firstQos = true;
    const bool participant = profile->kind == RecordKind::Participant;
    for (const Qos *qos : chosen) {
        const std::vector<Selected> selected = selectedOf(qos, options);
        const bool attributes = qos != nullptr && qos->node && !qos->endpoint;
        const char *name = attributes ? qos->node.attribute("name").value() : "";
        const char *filter = attributes ? qos->node.attribute("topic_filter").value() : "";
        if (json) {
            text += firstQos ? "" : ",\n";
            text += std::string(participant ? "{\"participant\": " : "{\"profile\": ") +
                    jsonString(profile->qualified) +
                    ", \"entity\": " + jsonString(entityLabel(entity));
            if (qos != nullptr && qos->endpoint) {
                text += ", \"endpoint\": " + jsonString(qos->label);
            }
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
        for (const Selected &p : selected) {
            const ElementRef &e = *p.element;
            const bool secret = e.confidential;
            const std::string_view value =
                secret && !reveal ? std::string_view("[redacted]") : e.value;
            if (json) {
                text += (first ? "\n  " : ",\n  ");
                text += "{\"name\": " + jsonString(p.name) + ", \"value\": " + jsonString(value) +
                        ", \"propagate\": " + (e.propagate ? "true" : "false") +
                        ", \"redacted\": " + (secret && !reveal ? "true" : "false") + "}";
            } else {
                text += escaped(p.name) + " = " + escaped(value) +
                        (e.propagate ? "  (propagate)\n" : "\n");
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
