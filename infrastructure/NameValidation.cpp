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

// The four name tables one entity is checked against.
struct KnownNames {
    NameSet publicNames;
    NameSet privateNames;
    NameSet pluginPublicNames;
    NameSet pluginPrivateNames;
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
int checkPrefix(const DDS_PropertyQosPolicy *inputProperty, const char *prefix,
                const KnownNames &known, const DDS_StringSeq *omittedPrefixes,
                DDS_PropertyQosPolicyValidationAction validationAction, Findings &findings)
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
        if (DDS_PropertyQosPolicy_isPrefixOmitted(name, omittedPrefixes) ||
            known.privateNames.contains(name, hash) ||
            known.pluginPrivateNames.contains(name, hash) ||
            DDS_PropertyQosPolicy_isPropertyIgnored(name)) {
            continue;
        }
        // A known name needs no distance: only an unknown one is measured for its suggestion.
        if (known.publicNames.contains(name, hash) || known.pluginPublicNames.contains(name, hash)) {
            continue;
        }
        DDS_Long index = 0;
        DDS_Long distance = INT_MAX;
        VorlString_validateName(&index, &distance, name, known.publicNames.table(), 1);
        const char *suggestion = known.publicNames.table()[index];
        if (known.pluginPublicNames.table() != nullptr) {
            DDS_Long pluginIndex = 0;
            DDS_Long pluginDistance = INT_MAX;
            VorlString_validateName(&pluginIndex, &pluginDistance, name,
                                    known.pluginPublicNames.table(), 1);
            // On a tie the entity's own name is the better hint.
            if (pluginDistance < distance) {
                suggestion = known.pluginPublicNames.table()[pluginIndex];
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
    // The plug-in name tables and omitted prefixes of this validation. Slots past the last one
    // filled stay null when the builder stops early.
    char **publicNames = nullptr;
    char **privateNames = nullptr;
    int publicSize = 1;
    int privateSize = 1;
    DDS_StringSeq omittedPrefixes = DDS_SEQUENCE_INITIALIZER;
    const ScopeExit release([&] {
        for (auto [names, size] : {std::pair{publicNames, publicSize},
                                   std::pair{privateNames, privateSize}}) {
            for (int i = 0; names != nullptr && i < size; ++i) {
                if (names[i] != nullptr) {
                    DDS_String_free(names[i]);
                }
            }
            ZynOsapiHeap_freeArray(names);
        }
        DDS_StringSeq_finalize(&omittedPrefixes);
    });
    if (!DDS_PropertyQosPolicy_populatePluginProperties(&publicNames, &privateNames, &publicSize,
                                                        &privateSize, &omittedPrefixes,
                                                        inputProperty, entityKind)) {
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
    const KnownNames known{NameSet(tables.publicNames), NameSet(tables.privateNames),
                           NameSet(publicNames), NameSet(privateNames)};
    for (const char *const *prefix = tables.prefixes; (*prefix)[0] != '\0'; ++prefix) {
        if (!checkPrefix(inputProperty, *prefix, known, &omittedPrefixes,
                         validationAction, findings)) {
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
    const KnownNames known{NameSet(validPublicPropertyNames), NameSet(validPrivatePropertyNames),
                           NameSet(validPublicPluginPropertyNames),
                           NameSet(validPrivatePluginPropertyNames)};
    propqos_internal::LoggedFindings logged(kPerPrefixFunction);
    return checkPrefix(inputProperty, prefix, known, omittedPrefixes, validationAction, logged);
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
