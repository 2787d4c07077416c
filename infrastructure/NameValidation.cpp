// Property-name validation of a participant, data writer or data reader: each property under
// one of the kind's prefixes must be a known name of the middleware or of a plug-in in use, or
// the first unknown one under that prefix is reported with the closest known name.
#include <climits>
#include <cstdint>
#include <cstring>
#include <utility>

#include "infrastructure/Findings.h"
#include "infrastructure/NameIndex.h"
#include "infrastructure/PropertyQosPolicyInternal.h"
#include "infrastructure/ScopeExit.h"

using propqos_internal::Findings;
using propqos_internal::NameIndex;
using propqos_internal::ScopeExit;

namespace {

// Name fragments whose properties are never checked; closed by "".
const char *const g_ignoreProperties[] = {
    "openssl_engine.",
    "",
};

// The report's last argument: the participant's prefix, for writers and readers as well.
constexpr const char *kMessageScope = "dds.participant.";
// The functions whose names the entries are filed under.
constexpr const char *kPerEntityFunction = "DDS_PropertyQosPolicy_validate_property_names_per_entity";
constexpr const char *kPerPrefixFunction = "DDS_PropertyQosPolicy_validateEntityPropertyNames";
constexpr const char *kSuffixFunction = "DDS_PropertyQosPolicy_validate_plugin_property_suffixes";

struct EntityTables {
    const char *const *prefixes;
    const char *const *publicNames;
    const char *const *privateNames;
};

bool tablesOfKind(DDS_EntityKind_t kind, EntityTables &tables)
{
    switch (kind) {
    case DDS_PARTICIPANT_ENTITY_KIND:
        tables = {PROPERTY_VALID_PROPERTY_PREFIXES_DOMAINPARTICIPANT,
                  PROPERTY_VALID_PUBLIC_PROPERTIES_DOMAINPARTICIPANT,
                  PROPERTY_VALID_PRIVATE_PROPERTIES_DOMAINPARTICIPANT};
        return true;
    case DDS_DATAWRITER_ENTITY_KIND:
        tables = {PROPERTY_VALID_PROPERTY_PREFIXES_DATAWRITER,
                  PROPERTY_VALID_PUBLIC_PROPERTIES_DATAWRITER,
                  PROPERTY_VALID_PRIVATE_PROPERTIES_DATAWRITER};
        return true;
    case DDS_DATAREADER_ENTITY_KIND:
        tables = {PROPERTY_VALID_PROPERTY_PREFIXES_DATAREADER,
                  PROPERTY_VALID_PUBLIC_PROPERTIES_DATAREADER,
                  PROPERTY_VALID_PRIVATE_PROPERTIES_DATAREADER};
        return true;
    default:
        return false;
    }
}

// Membership in a name table, by hash: checking a policy against the hundreds of names the
// middleware and its plug-ins know then costs one probe per property instead of a scan of every
// table.
class NameSet {
public:
    explicit NameSet(const char *const *table)
        : table_(table), index_(table, table != nullptr ? tableLength(table) : 0, sizeof *table)
    {
    }

    const char *const *table() const { return table_; }

    // `hash` is NameIndex::hashOf(name), computed once by the caller for all the sets it asks.
    bool contains(const char *name, uint64_t hash) const
    {
        if (table_ == nullptr || name == nullptr) {
            return false;
        }
        long found = index_.find(name, hash);
        if (found != NameIndex::kNoIndex) {
            return found != NameIndex::kNotFound;
        }
        for (const char *const *entry = table_; (*entry)[0] != '\0'; ++entry) {
            if (std::strcmp(*entry, name) == 0) {
                return true;
            }
        }
        return false;
    }

private:
    static size_t tableLength(const char *const *table)
    {
        size_t count = 0;
        while (table[count][0] != '\0') {
            ++count;
        }
        return count;
    }

    const char *const *table_;
    NameIndex index_;
};

// The plug-in property names a check accepts: whether a name is one of them (public or
// private: either way the property passes), and the public ones as a name table for the
// suggestion of an unknown name.
class PluginNames {
public:
    virtual ~PluginNames() = default;
    virtual bool contains(const char *name, uint64_t hash) const = 0;
    // Null when the table could not be had (its entries are logged).
    virtual const char *const *publicTable() = 0;
};

// Given as two name tables.
class TablePluginNames final : public PluginNames {
public:
    TablePluginNames(const char *const *publicNames, const char *const *privateNames)
        : public_(publicNames), private_(privateNames)
    {
    }
    bool contains(const char *name, uint64_t hash) const override
    {
        return private_.contains(name, hash) || public_.contains(name, hash);
    }
    const char *const *publicTable() override { return public_.table(); }

private:
    NameSet public_;
    NameSet private_;
};

inline bool rowWithinKind(const PROPERTYPluginProperty &row, const char *kind)
{
    return VorlString_iFindSubString(kind, row.name) != nullptr;
}

// Given as the prefix map of the plug-in instances in use. A plug-in property name is one of the
// map's prefixes, a '.', and a public or private suffix of a row of that prefix's kind: the
// names are recognised by their parts, through a hash index of the prefixes, and composed (the
// tables of DDS_PropertyQosPolicy_populatePluginProperties) only when an unknown name needs a
// suggestion. A policy with thousands of plug-in instances would otherwise have tens of names
// composed per instance, and indexed, to look up a few.
class PrefixMapPluginNames final : public PluginNames {
public:
    explicit PrefixMapPluginNames(const DDS_TagSeq *map) : map_(map)
    {
        static_assert(PROPERTY_VALID_PLUGIN_PROPERTIES_COUNT <= 16, "a row set is 16 bits");
        const DDS_Long length = DDS_TagSeq_get_length(map);
        count_ = length > 0 ? static_cast<size_t>(length) : 0;
        tags_ = count_ > 0 ? DDS_TagSeq_get_reference(map, 0) : nullptr;
        for (size_t i = 0; i < count_; ++i) {
            const size_t nameLength = std::strlen(tags_[i].name);
            longest_ = nameLength > longest_ ? nameLength : longest_;
        }
        size_t capacity = 16;
        while (capacity < 2 * count_) {
            capacity *= 2;
        }
        if (count_ > 0xFFFFFFFEu) {
            return;   // positions are kept in 32 bits: scan instead
        }
        slots_ = static_cast<Slot *>(ZynHeap_allocateZeroed(capacity, sizeof(Slot)));
        if (slots_ == nullptr) {
            return;   // scan instead: the answer does not depend on memory
        }
        mask_ = capacity - 1;
        const char *lastKind = nullptr;   // entries of one kind mostly come together
        uint16_t lastRows = 0;
        for (size_t i = 0; i < count_; ++i) {
            uint64_t state = kSeed;
            for (const char *c = tags_[i].name; *c != '\0'; ++c) {
                state = step(state, static_cast<unsigned char>(*c));
            }
            const uint32_t hash = finish(state);
            size_t at = hash & mask_;
            while (slots_[at].positionPlusOne != 0) {
                at = (at + 1) & mask_;
            }
            const char *kind = tags_[i].value;
            if (lastKind == nullptr || kind == nullptr || std::strcmp(lastKind, kind) != 0) {
                lastRows = rowsOfKind(kind);
                lastKind = kind;
            }
            slots_[at] = Slot{hash, static_cast<uint32_t>(i + 1), lastRows};
        }
    }
    ~PrefixMapPluginNames() override
    {
        ZynHeap_free(slots_);
        releaseTables();
    }
    PrefixMapPluginNames(const PrefixMapPluginNames &) = delete;
    PrefixMapPluginNames &operator=(const PrefixMapPluginNames &) = delete;

    bool contains(const char *name, uint64_t) const override
    {
        // Every '.' within the longest prefix's length splits the name into a candidate prefix
        // and suffix; the prefix's hash grows character by character, so a name costs one pass.
        uint64_t state = kSeed;
        for (size_t at = 0; name[at] != '\0' && at <= longest_; ++at) {
            if (name[at] == '.' && splitMatches(name, at, finish(state))) {
                return true;
            }
            state = step(state, static_cast<unsigned char>(name[at]));
        }
        return false;
    }

    const char *const *publicTable() override
    {
        if (public_ == nullptr && !failed_) {
            failed_ = !propqos_internal::pluginNameTables(map_, &public_, &private_, &publicSize_,
                                                          &privateSize_);
        }
        return failed_ ? nullptr : public_;
    }

private:
    struct Slot {
        uint32_t hash;
        uint32_t positionPlusOne;   // 0: empty
        uint16_t rows;              // the rows of the plug-in table that the entry's kind takes
    };

    static uint16_t rowsOfKind(const char *kind)
    {
        uint16_t rows = 0;
        for (int row = 0; kind != nullptr && row < PROPERTY_VALID_PLUGIN_PROPERTIES_COUNT; ++row) {
            if (rowWithinKind(PROPERTY_VALID_PLUGIN_PROPERTIES[row], kind)) {
                rows |= static_cast<uint16_t>(1u << row);
            }
        }
        return rows;
    }
    static constexpr uint64_t kSeed = 0xCBF29CE484222325ull;
    static uint64_t step(uint64_t state, unsigned char c) { return (state ^ c) * 0x100000001B3ull; }
    static uint32_t finish(uint64_t state)
    {
        state ^= state >> 33;
        state *= 0xFF51AFD7ED558CCDull;
        state ^= state >> 33;
        return static_cast<uint32_t>(state);
    }

    // Whether name[0, at) is a prefix of the map (name[at] being '.') whose kind has the suffix
    // after the '.'. Every entry of that name is tried: one prefix may be mapped more than once.
    bool splitMatches(const char *name, size_t at, uint32_t hash) const
    {
        const char *suffix = name + at + 1;
        if (slots_ == nullptr) {
            for (size_t i = 0; i < count_; ++i) {
                if (prefixMatches(tags_[i], name, at) &&
                    rowsHaveSuffix(rowsOfKind(tags_[i].value), suffix)) {
                    return true;
                }
            }
            return false;
        }
        for (size_t probe = hash & mask_; slots_[probe].positionPlusOne != 0;
             probe = (probe + 1) & mask_) {
            const Slot &slot = slots_[probe];
            if (slot.hash == hash && prefixMatches(tags_[slot.positionPlusOne - 1], name, at) &&
                rowsHaveSuffix(slot.rows, suffix)) {
                return true;
            }
        }
        return false;
    }

    static bool prefixMatches(const DDS_Tag &entry, const char *name, size_t at)
    {
        return std::strncmp(entry.name, name, at) == 0 && entry.name[at] == '\0';
    }

    static bool rowsHaveSuffix(uint16_t rows, const char *suffix)
    {
        for (int row = 0; row < PROPERTY_VALID_PLUGIN_PROPERTIES_COUNT; ++row) {
            if ((rows >> row & 1u) == 0) {
                continue;
            }
            const PROPERTYPluginProperty &plugin = PROPERTY_VALID_PLUGIN_PROPERTIES[row];
            for (auto [names, size] : {std::pair{plugin.publicProperties, plugin.publicPropertiesSize},
                                             std::pair{plugin.privateProperties, plugin.privatePropertiesSize}}) {
                for (int i = 0; i < size; ++i) {
                    if (names[i][0] == suffix[0] && std::strcmp(names[i], suffix) == 0) {
                        return true;
                    }
                }
            }
        }
        return false;
    }

    void releaseTables()
    {
        for (auto [names, size] : {std::pair{public_, publicSize_}, std::pair{private_, privateSize_}}) {
            for (int i = 0; names != nullptr && i < size; ++i) {
                if (names[i] != nullptr) {
                    DDS_String_free(names[i]);
                }
            }
            ZynOsapiHeap_freeArray(names);
        }
    }

    const DDS_TagSeq *map_;
    const DDS_Tag *tags_ = nullptr;
    size_t count_ = 0;
    size_t longest_ = 0;
    Slot *slots_ = nullptr;
    size_t mask_ = 0;
    // The composed tables, once asked for; slots past the last one filled stay null when the
    // builder stops early.
    char **public_ = nullptr;
    char **private_ = nullptr;
    int publicSize_ = 1;
    int privateSize_ = 1;
    bool failed_ = false;
};

// The name tables one entity is checked against.
struct KnownNames {
    NameSet publicNames;
    NameSet privateNames;
    PluginNames &pluginNames;
};

// Hands over an unexpected name at the level the action gives it; returns the check's result.
int reportUnexpected(Findings &findings, DDS_PropertyQosPolicyValidationAction action,
                     propqos_internal::UnknownName finding)
{
    switch (action) {
    case DDS_PROPERTY_QOS_POLICY_VALIDATION_ACTION_WARNING:
        finding.level = ZYN_LOG_LEVEL_WARNING;
        findings.unknownName(finding);
        return 1;
    case DDS_PROPERTY_QOS_POLICY_VALIDATION_ACTION_EXCEPTION:
        finding.level = ZYN_LOG_LEVEL_ERROR;
        findings.unknownName(finding);
        return 0;
    default:
        return 0;
    }
}

// The check of one prefix against prepared tables: the body of
// DDS_PropertyQosPolicy_validateEntityPropertyNames, shared with the per-entity check so that
// the tables are indexed once per entity rather than once per prefix.
// A plug-in public table that cannot be had is a failure when `unavailableIsFailure` (the
// per-entity check composes it here); otherwise it is the caller's absent table.
int checkPrefix(const DDS_PropertyQosPolicy *inputProperty, const char *prefix,
                const KnownNames &known, const DDS_StringSeq *omittedPrefixes,
                DDS_PropertyQosPolicyValidationAction validationAction, Findings &findings,
                bool unavailableIsFailure)
{
    if (validationAction == DDS_PROPERTY_QOS_POLICY_VALIDATION_ACTION_SKIP) {
        return 1;
    }
    DDS_PropertyQosPolicy local = DDS_PropertyQosPolicy_INITIALIZER;
    const ScopeExit finalizeLocal([&] { DDS_PropertyQosPolicy_finalize(&local); });
    if (DDS_PropertyQosPolicyHelper_get_propertiesI(inputProperty, &local.value, prefix,
                                                    kPerPrefixFunction, 1, 1, 0) != DDS_RETCODE_OK) {
        ZYN_LOG_IN(kPerPrefixFunction, ZYN_LOG_LEVEL_ERROR, ZYN_LOG_GET_FAILURE_ss, prefix,
                   "properties from property qos");
        return 0;
    }

    const DDS_Long count = DDS_PropertySeq_get_length(&local.value);
    for (DDS_Long i = 0; i < count; ++i) {
        const DDS_Property_t *property = DDS_PropertySeq_get_reference(&local.value, i);
        if (property == nullptr) {
            ZYN_LOG_IN(kPerPrefixFunction, ZYN_LOG_LEVEL_ERROR, ZYN_LOG_GET_FAILURE_s, "property");
            return 0;
        }
        const char *name = property->name;
        const uint64_t hash = NameIndex::hashOf(name);
        // Every test below only lets the property pass: their order changes no answer.
        if (DDS_PropertyQosPolicy_isPrefixOmitted(name, omittedPrefixes) ||
            known.privateNames.contains(name, hash) || DDS_PropertyQosPolicy_isPropertyIgnored(name) ||
            known.publicNames.contains(name, hash) || known.pluginNames.contains(name, hash)) {
            continue;
        }
        // A known name needs no distance: only an unknown one is measured for its suggestion.
        DDS_Long index = 0;
        DDS_Long distance = INT_MAX;
        VorlString_validateName(&index, &distance, name, known.publicNames.table(), 1);
        const char *suggestion = known.publicNames.table()[index];
        const char *const *pluginPublic = known.pluginNames.publicTable();
        if (pluginPublic == nullptr && unavailableIsFailure) {
            ZYN_LOG_IN(kPerEntityFunction, ZYN_LOG_LEVEL_ERROR, ZYN_LOG_GET_FAILURE_s,
                       "plugin properties");
            return 0;
        }
        if (pluginPublic != nullptr) {
            DDS_Long pluginIndex = 0;
            DDS_Long pluginDistance = INT_MAX;
            VorlString_validateName(&pluginIndex, &pluginDistance, name, pluginPublic, 1);
            // On a tie the entity's own name is the better hint.
            if (pluginDistance < distance) {
                suggestion = pluginPublic[pluginIndex];
            }
        }
        // The first unknown name stops this prefix: one report per prefix is enough to act on.
        return reportUnexpected(findings, validationAction,
                                {name, suggestion, prefix, "", kMessageScope, 0});
    }
    return 1;
}

}  // namespace

namespace propqos_internal {

int validateNamesPerEntity(const DDS_PropertyQosPolicy *inputProperty, DDS_EntityKind_t entityKind,
                           DDS_PropertyQosPolicyValidationAction validationAction,
                           Findings &findings)
{
    // The plug-in prefix map and omitted prefixes of this validation; the plug-in name tables
    // are composed from the map only if an unknown name needs a suggestion.
    DDS_TagSeq prefixMap = DDS_SEQUENCE_INITIALIZER;
    DDS_StringSeq omittedPrefixes = DDS_SEQUENCE_INITIALIZER;
    const ScopeExit release([&] {
        DDS_TagSeq_finalize(&prefixMap);
        DDS_StringSeq_finalize(&omittedPrefixes);
    });
    if (!pluginPrefixMap(&prefixMap, &omittedPrefixes, inputProperty, entityKind)) {
        ZYN_LOG_IN(kPerEntityFunction, ZYN_LOG_LEVEL_ERROR, ZYN_LOG_GET_FAILURE_s,
                   "plugin properties");
        return 0;
    }
    EntityTables tables{};
    if (!tablesOfKind(entityKind, tables)) {
        return 1;
    }
    if (validationAction == DDS_PROPERTY_QOS_POLICY_VALIDATION_ACTION_SKIP) {
        return 1;
    }
    PrefixMapPluginNames pluginNames(&prefixMap);
    const KnownNames known{NameSet(tables.publicNames), NameSet(tables.privateNames), pluginNames};
    for (const char *const *prefix = tables.prefixes; (*prefix)[0] != '\0'; ++prefix) {
        if (!checkPrefix(inputProperty, *prefix, known, &omittedPrefixes, validationAction,
                         findings, true)) {
            return 0;
        }
    }
    return 1;
}

}  // namespace propqos_internal

extern "C" {

int DDS_PropertyQosPolicy_validate_property_names_per_entity(
    const DDS_PropertyQosPolicy *inputProperty, DDS_EntityKind_t entityKind,
    DDS_PropertyQosPolicyValidationAction validationAction)
{
    ZYN_PRECONDITION(ZYN_IS_NULL(inputProperty), return 0);
    propqos_internal::LoggedFindings logged(kPerPrefixFunction);
    return propqos_internal::validateNamesPerEntity(inputProperty, entityKind, validationAction,
                                                    logged);
}

int DDS_PropertyQosPolicy_validateEntityPropertyNames(
    const DDS_PropertyQosPolicy *inputProperty, const char *prefix,
    const char *const *validPublicPropertyNames, const char *const *validPrivatePropertyNames,
    const char *const *validPublicPluginPropertyNames,
    const char *const *validPrivatePluginPropertyNames, const DDS_StringSeq *omittedPrefixes,
    DDS_PropertyQosPolicyValidationAction validationAction)
{
    ZYN_PRECONDITION(ZYN_IS_NULL(inputProperty), return 0);
    ZYN_PRECONDITION(ZYN_IS_NULL(prefix), return 0);
    ZYN_PRECONDITION(ZYN_IS_NULL(validPublicPropertyNames), return 0);
    ZYN_PRECONDITION(ZYN_IS_NULL(validPrivatePropertyNames), return 0);
    ZYN_PRECONDITION(ZYN_IS_NULL(omittedPrefixes), return 0);

    if (validationAction == DDS_PROPERTY_QOS_POLICY_VALIDATION_ACTION_SKIP) {
        return 1;
    }
    TablePluginNames pluginNames(validPublicPluginPropertyNames, validPrivatePluginPropertyNames);
    const KnownNames known{NameSet(validPublicPropertyNames), NameSet(validPrivatePropertyNames),
                           pluginNames};
    propqos_internal::LoggedFindings logged(kPerPrefixFunction);
    return checkPrefix(inputProperty, prefix, known, omittedPrefixes, validationAction, logged,
                       false);
}

int DDS_PropertyQosPolicy_validate_plugin_property_suffixes(
    const DDS_PropertyQosPolicy *inputProperty, const char *prefix,
    const char *const *validPublicPluginPropertySuffixes,
    const char *const *validPrivatePluginPropertySuffixes, const char *omittedPrefix,
    DDS_PropertyQosPolicyValidationAction validationAction)
{
    ZYN_PRECONDITION(ZYN_IS_NULL(inputProperty), return 0);
    ZYN_PRECONDITION(ZYN_IS_NULL(prefix), return 0);
    ZYN_PRECONDITION(ZYN_IS_NULL(validPublicPluginPropertySuffixes), return 0);
    ZYN_PRECONDITION(ZYN_IS_NULL(validPrivatePluginPropertySuffixes), return 0);

    if (validationAction == DDS_PROPERTY_QOS_POLICY_VALIDATION_ACTION_SKIP) {
        return 1;
    }
    const DDS_Long count = DDS_PropertySeq_get_length(&inputProperty->value);
    for (DDS_Long i = 0; i < count; ++i) {
        const DDS_Property_t *property = DDS_PropertySeq_get_reference(&inputProperty->value, i);
        if (property == nullptr) {
            ZYN_LOG(ZYN_LOG_LEVEL_ERROR, ZYN_LOG_GET_FAILURE_s, "property");
            return 0;
        }
        const char *name = property->name;
        if ((omittedPrefix != nullptr && VorlString_iFindSubString(name, omittedPrefix) != nullptr) ||
            DDS_PropertyQosPolicy_isPropertyPrivate(name, validPrivatePluginPropertySuffixes,
                                                    nullptr) ||
            DDS_PropertyQosPolicy_isPropertyIgnored(name)) {
            continue;
        }
        DDS_Long index = 0;
        DDS_Long distance = INT_MAX;
        if (VorlString_validateName(&index, &distance, name, validPublicPluginPropertySuffixes,
                                    1)) {
            continue;
        }
        propqos_internal::LoggedFindings logged(kSuffixFunction);
        return reportUnexpected(logged, validationAction,
                                {name, validPublicPluginPropertySuffixes[index], prefix, prefix,
                                 prefix[0] != '\0' ? prefix : kMessageScope, 0});
    }
    return 1;
}

int DDS_PropertyQosPolicy_isPropertyPrivate(const char *propertyName,
                                            const char *const *validPrivatePropertyNames,
                                            const char *const *validPrivatePluginPropertyNames)
{
    ZYN_PRECONDITION(ZYN_IS_NULL(propertyName), return 0);
    ZYN_PRECONDITION(ZYN_IS_NULL(validPrivatePropertyNames), return 0);

    for (const char *const *entry = validPrivatePropertyNames; (*entry)[0] != '\0'; ++entry) {
        if (VorlString_compare(*entry, propertyName) == 0) {
            return 1;
        }
    }
    if (validPrivatePluginPropertyNames != nullptr) {
        for (const char *const *entry = validPrivatePluginPropertyNames; (*entry)[0] != '\0';
             ++entry) {
            if (VorlString_compare(*entry, propertyName) == 0) {
                return 1;
            }
        }
    }
    return 0;
}

int DDS_PropertyQosPolicy_isPrefixOmitted(const char *propertyName,
                                          const DDS_StringSeq *omittedPrefixes)
{
    ZYN_PRECONDITION(ZYN_IS_NULL(propertyName), return 0);
    ZYN_PRECONDITION(ZYN_IS_NULL(omittedPrefixes), return 0);

    const DDS_Long count = DDS_StringSeq_get_length(omittedPrefixes);
    for (DDS_Long i = 0; i < count; ++i) {
        char **omitted = DDS_StringSeq_get_reference(omittedPrefixes, i);
        if (omitted == nullptr) {
            ZYN_LOG(ZYN_LOG_LEVEL_ERROR, ZYN_LOG_GET_FAILURE_s, "reference from omitted prefixes");
            return 0;
        }
        // A plug-in instance's prefix may itself sit under another prefix, so it is looked for
        // anywhere in the name.
        if (VorlString_iFindSubString(propertyName, *omitted) != nullptr) {
            return 1;
        }
    }
    return 0;
}

int DDS_PropertyQosPolicy_isPropertyIgnored(const char *propertyName)
{
    ZYN_PRECONDITION(ZYN_IS_NULL(propertyName), return 0);

    for (const char *const *fragment = g_ignoreProperties; (*fragment)[0] != '\0'; ++fragment) {
        if (std::strstr(propertyName, *fragment) != nullptr) {
            return 1;
        }
    }
    return 0;
}

}  // extern "C"
