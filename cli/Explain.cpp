// propqos explain: what the middleware makes of one property name.
#include <climits>
#include <cstring>

#include <map>

#include <nlohmann/json.hpp>

#include "Commands.hpp"
#include "Text.hpp"
#include <propqos/sys/Strings.h>

#include "tables/Tables.h"

namespace propqos::cli
{

const char *const kExplainHelp =
    "usage: propqos explain [--format text|json] NAME\n"
    "       propqos explain [--format text|json] --prefix PREFIX\n"
    "\n"
    "Tells, for each of participant, datawriter and datareader, whether NAME is a property\n"
    "name the middleware knows: one of its own names (public, or private: accepted but never\n"
    "suggested), a setting of a built-in transport or of a flow controller, or a setting that\n"
    "is known once a plug-in of a known kind is loaded under a given name; or whether it is\n"
    "not checked at all for that entity. Then its mutability (whether an enabled entity\n"
    "accepts a change of it), whether saving redacts its value, and, for an unknown name, the\n"
    "closest known name.\n"
    "\n"
    "With --prefix, lists instead every public name and built-in transport setting that begins\n"
    "with PREFIX (letter case ignored), each with its mutability and the entities that know\n"
    "it; when none does, a note on standard error says so.\n"
    "\n"
    "options:\n"
    "  --prefix PREFIX     list the known names under PREFIX\n"
    "  --format text|json  lines (default) or one JSON object\n"
    "  -h, --help          this help\n"
    "\n"
    "exit status: 0 the name is known (a name is listed), 1 it is not (none is), 2 usage.\n";

namespace
{

using Json = nlohmann::ordered_json;

// The transports every participant has, whose settings are known without loading anything.
const char *const kBuiltinTransports[] = {
    "dds.transport.UDPv4.builtin.", "dds.transport.UDPv4_WAN.builtin.",
    "dds.transport.shmem.builtin.", "dds.transport.UDPv6.builtin."};

struct Kind {
    Entity entity;
    const char *const *prefixes;
    const char *const *publicNames;
    const char *const *privateNames;
};

const Kind kKinds[] = {
    {Entity::Participant, PROPERTY_VALID_PROPERTY_PREFIXES_DOMAINPARTICIPANT,
     PROPERTY_VALID_PUBLIC_PROPERTIES_DOMAINPARTICIPANT,
     PROPERTY_VALID_PRIVATE_PROPERTIES_DOMAINPARTICIPANT},
    {Entity::DataWriter, PROPERTY_VALID_PROPERTY_PREFIXES_DATAWRITER,
     PROPERTY_VALID_PUBLIC_PROPERTIES_DATAWRITER, PROPERTY_VALID_PRIVATE_PROPERTIES_DATAWRITER},
    {Entity::DataReader, PROPERTY_VALID_PROPERTY_PREFIXES_DATAREADER,
     PROPERTY_VALID_PUBLIC_PROPERTIES_DATAREADER, PROPERTY_VALID_PRIVATE_PROPERTIES_DATAREADER},
};

bool inTable(const char *const *table, const std::string &name)
{
    for (; **table != '\0'; ++table) {
        if (name == *table) {
            return true;
        }
    }
    return false;
}

// The kind's name prefix under which the module checks `name` (letter case ignored, as it
// does), or null.
const char *checkedUnder(const Kind &kind, const std::string &name)
{
    for (const char *const *p = kind.prefixes; **p != '\0'; ++p) {
        if (VorlString_iFindSubString(name.c_str(), *p) == name.c_str()) {
            return *p;
        }
    }
    return nullptr;
}

bool startsWith(const std::string &s, std::string_view prefix)
{
    return s.size() >= prefix.size() && s.compare(0, prefix.size(), prefix) == 0;
}

DDS_Long distanceTo(const std::string &name, const std::string &candidate)
{
    const char *const table[] = {candidate.c_str(), ""};
    DDS_Long index = 0, distance = INT32_MAX;
    if (VorlString_validateName(&index, &distance, name.c_str(), table, 1)) {
        return 0;
    }
    return distance;
}

struct Verdict {
    bool known = false;
    std::string text;
    std::string suggestion;
    std::optional<PropertyList> context; // the list under which the name is known
};

// A loaded plug-in under which `name` would be one of its settings: the instance names
// tried are `name` cut at each '.' past a known plug-in kind's prefix.
std::optional<Verdict> viaLoadedPlugin(const Kind &kind, const std::string &name)
{
    if (kind.entity == Entity::DataReader) {
        return std::nullopt;
    }
    for (const PROPERTYPluginProperty &row : PROPERTY_VALID_PLUGIN_PROPERTIES) {
        const std::size_t length = std::strlen(row.prefix);
        if (VorlString_iFindSubString(name.c_str(), row.prefix) != name.c_str()) {
            continue;
        }
        for (std::size_t dot = name.find('.', length); dot != std::string::npos;
             dot = name.find('.', dot + 1)) {
            const std::string instance = name.substr(0, dot);
            const char *loader =
                kind.entity == Entity::DataWriter        ? "dds.data_writer.history.plugin_name"
                : startsWith(instance, "dds.transport.") ? "dds.transport.load_plugins"
                                                         : "com.zyn.serv.load_plugin";
            PropertyList list{{loader, instance}, {name, "x"}};
            if (list.validate(entityKind(kind.entity), ValidationAction::Exception).passed) {
                Verdict v;
                v.known = true;
                v.text = "known once a " + std::string(row.name) + " plug-in is loaded as " +
                         cli::quoted(instance) + " (" + loader + " = " + instance + ")";
                v.context = std::move(list);
                return v;
            }
        }
    }
    return std::nullopt;
}

Verdict verdictFor(const Kind &kind, const std::string &name)
{
    Verdict v;
    const char *prefix = checkedUnder(kind, name);
    if (prefix == nullptr) {
        v.text = "not checked (names under ";
        for (const char *const *p = kind.prefixes; **p != '\0'; ++p) {
            v.text += (p == kind.prefixes ? "" : ", ") + std::string(*p);
        }
        v.text += " are)";
        return v;
    }
    if (inTable(kind.publicNames, name)) {
        v.known = true;
        v.text = "known";
        return v;
    }
    if (inTable(kind.privateNames, name)) {
        v.known = true;
        v.text = "known (private: accepted, never suggested)";
        return v;
    }
    PropertyList alone{{name, "x"}};
    const ValidationReport report =
        alone.validate(entityKind(kind.entity), ValidationAction::Exception);
    if (report.passed) {
        v.known = true;
        for (const char *builtin : kBuiltinTransports) {
            if (startsWith(name, builtin)) {
                v.text = "known (built-in transport " +
                         cli::quoted(std::string_view(builtin, std::strlen(builtin) - 1)) + ")";
                return v;
            }
        }
        const std::string_view flow = "dds.flow_controller.token_bucket.";
        if (startsWith(name, flow)) {
            const std::size_t dot = name.find('.', flow.size());
            v.text = "known (flow controller " + cli::quoted(name.substr(0, dot)) + ")";
            return v;
        }
        v.text = "accepted (not subject to the name check)";
        return v;
    }
    if (std::optional<Verdict> loaded = viaLoadedPlugin(kind, name)) {
        return *loaded;
    }
    v.text = "unknown";
    if (!report.unexpected.empty()) {
        v.suggestion = report.unexpected.front().suggestion;
    }
    return v;
}

// Letter case ignored, as when the middleware matches names to its prefixes.
bool underPrefix(std::string_view name, std::string_view prefix)
{
    return name.size() >= prefix.size() && equalsIgnoreCase(name.substr(0, prefix.size()), prefix);
}

// Every public name under `prefix`, with the entities that know it and its mutability.
int listPrefix(const std::string &prefix, bool json)
{
    std::map<std::string, std::vector<const char *>> names;
    for (const Kind &kind : kKinds) {
        for (const char *const *n = kind.publicNames; **n != '\0'; ++n) {
            if (underPrefix(*n, prefix)) {
                names[*n].push_back(entityLabel(kind.entity));
            }
        }
    }
    // The settings of the built-in transports, as the participant's check accepts them.
    for (const PROPERTYPluginProperty &row : PROPERTY_VALID_PLUGIN_PROPERTIES) {
        for (const char *builtin : kBuiltinTransports) {
            if (std::strncmp(builtin, row.prefix, std::strlen(row.prefix)) != 0 ||
                builtin[std::strlen(row.prefix)] != '.') {
                continue;
            }
            for (int i = 0; i < row.publicPropertiesSize; ++i) {
                const std::string name = builtin + std::string(row.publicProperties[i]);
                if (underPrefix(name, prefix) && verdictFor(kKinds[0], name).known) {
                    names[name].push_back(entityLabel(Entity::Participant));
                }
            }
        }
    }
    const PropertyList empty;
    std::string text;
    Json list = Json::array();
    for (const auto &[name, entities] : names) {
        const char *mutability = toString(empty.mutability(name));
        if (json) {
            list.push_back({{"name", name}, {"entities", entities}, {"mutability", mutability}});
            continue;
        }
        text += name + ": " + mutability + " (";
        for (std::size_t i = 0; i < entities.size(); ++i) {
            text += (i == 0 ? "" : ", ") + std::string(entities[i]);
        }
        text += ")\n";
    }
    if (json) {
        text = Json{{"prefix", prefix}, {"names", list}}.dump(2, ' ', false,
                                                               Json::error_handler_t::replace) +
               "\n";
    }
    out(text);
    if (names.empty()) {
        std::fprintf(stderr,
                     "propqos: note: no known name begins with %s; names that hold a name of "
                     "your choosing (a flow controller's, dds.flow_controller.token_bucket.NAME."
                     "SETTING, or a plug-in's) are not listed: 'propqos explain FULL.NAME' tells "
                     "about one\n",
                     quotedShort(prefix).c_str());
        return kExitFindings;
    }
    return kExitClean;
}

} // namespace

int runExplain(const ExplainOptions &options)
{
    if (options.prefix) {
        return listPrefix(*options.prefix, options.json);
    }
    const std::string &name = options.name;
    std::string text = cli::quoted(name) + "\n";
    Json entities = Json::object();
    bool known = false;
    std::vector<std::string> suggestions;
    const PropertyList empty;
    const PropertyList *context = &empty;
    std::optional<PropertyList> loadedContext;
    for (const Kind &kind : kKinds) {
        Verdict v = verdictFor(kind, name);
        text += std::string("  ") + entityLabel(kind.entity) + ": " + v.text + "\n";
        entities[entityLabel(kind.entity)] = {{"known", v.known}, {"verdict", v.text}};
        known = known || v.known;
        if (!v.suggestion.empty()) {
            suggestions.push_back(v.suggestion);
        }
        if (v.context && !loadedContext) {
            loadedContext = std::move(v.context);
            context = &*loadedContext;
        }
    }
    // The module answers "mutable" for any name it has no entry for; for a name it does not
    // know at all that would read as a promise.
    const char *mutability = known ? toString(context->mutability(name)) : nullptr;
    const bool confidential = PropertyList::isConfidential(name);
    text += std::string("  mutability: ") +
            (known ? mutability : "not known (the name is unknown)") + "\n";
    if (confidential) {
        text += "  confidential: saved as \"[redacted]\"\n";
    }
    Json document = {{"name", name},      {"known", known},
                     {"entities", entities},
                     {"mutability", mutability != nullptr ? Json(mutability) : Json(nullptr)},
                     {"confidential", confidential}};
    if (!known) {
        for (const Kind &kind : kKinds) {
            DDS_Long index = 0, distance = INT32_MAX;
            if (!VorlString_validateName(&index, &distance, name.c_str(), kind.publicNames, 1) &&
                distance < INT32_MAX) {
                suggestions.emplace_back(kind.publicNames[index]);
            }
        }
        const std::string *best = nullptr;
        DDS_Long bestDistance = INT32_MAX;
        for (const std::string &s : suggestions) {
            const DDS_Long d = distanceTo(name, s);
            if (d < bestDistance) {
                bestDistance = d;
                best = &s;
            }
        }
        if (best != nullptr && nearName(name, *best)) {
            text += "  closest known name: " + cli::quoted(*best) + "\n";
            document["closestKnownName"] = *best;
        }
    }
    out(options.json ? document.dump(2, ' ', false, Json::error_handler_t::replace) + "\n" : text);
    return known ? kExitClean : kExitFindings;
}

} // namespace propqos::cli
