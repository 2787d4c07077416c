// Property-name validation of a participant, data writer or data reader: each property under
// one of the kind's prefixes must be a known name of the middleware or of a plug-in in use, or
// the first unknown one under that prefix is reported with the closest known name.
#include <climits>
#include <cstring>

#include "infrastructure/PropertyQosPolicyInternal.h"

extern "C" const char *const g_ignoreProperties[] = {
    "openssl_engine.",
    "",
};

namespace {

// The report's last argument: the participant's prefix, for writers and readers as well.
constexpr const char *kMessageScope = "dds.participant.";

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

// The plug-in name tables and omitted prefixes of one validation, released however it ends.
class PluginNames {
public:
    PluginNames() = default;
    ~PluginNames()
    {
        release(publicNames, publicSize);
        release(privateNames, privateSize);
        DDS_StringSeq_finalize(&omittedPrefixes);
    }
    PluginNames(const PluginNames &) = delete;
    PluginNames &operator=(const PluginNames &) = delete;

    char **publicNames = nullptr;
    char **privateNames = nullptr;
    int publicSize = 1;
    int privateSize = 1;
    DDS_StringSeq omittedPrefixes = DDS_SEQUENCE_INITIALIZER;

private:
    // Slots past the last one filled stay null when the builder stops early.
    static void release(char **names, int size)
    {
        if (names == nullptr) {
            return;
        }
        for (int i = 0; i < size; ++i) {
            if (names[i] != nullptr) {
                DDS_String_free(names[i]);
            }
        }
        ZynOsapiHeap_freeArray(names);
    }
};

// The copy of the properties under one prefix.
class LocalPolicy {
public:
    LocalPolicy() = default;
    ~LocalPolicy() { DDS_PropertyQosPolicy_finalize(&policy); }
    LocalPolicy(const LocalPolicy &) = delete;
    LocalPolicy &operator=(const LocalPolicy &) = delete;
    DDS_PropertyQosPolicy policy = DDS_PropertyQosPolicy_INITIALIZER;
};

// Reports an unexpected name as the action says; returns the check's result.
int reportUnexpected(const char *function, DDS_PropertyQosPolicyValidationAction action,
                     const char *prefix, const char *name, const char *suggestion,
                     const char *scope)
{
    switch (action) {
    case DDS_PROPERTY_QOS_POLICY_VALIDATION_ACTION_WARNING:
        ZYN_LOG_IN(function, ZYN_LOG_LEVEL_WARNING, ZYN_LOG_UNEXPECTED_PROPERTY_sssss, prefix,
                   name, prefix, suggestion, scope);
        return 1;
    case DDS_PROPERTY_QOS_POLICY_VALIDATION_ACTION_EXCEPTION:
        ZYN_LOG_IN(function, ZYN_LOG_LEVEL_ERROR, ZYN_LOG_UNEXPECTED_PROPERTY_sssss, prefix, name,
                   prefix, suggestion, scope);
        return 0;
    default:
        return 0;
    }
}

}  // namespace

extern "C" {

int DDS_PropertyQosPolicy_validate_property_names_per_entity(
    const DDS_PropertyQosPolicy *inputProperty, DDS_EntityKind_t entityKind,
    DDS_PropertyQosPolicyValidationAction validationAction)
{
    PluginNames plugins;
    ZYN_PRECONDITION(ZYN_IS_NULL(inputProperty), return 0);

    if (!DDS_PropertyQosPolicy_populatePluginProperties(
            &plugins.publicNames, &plugins.privateNames, &plugins.publicSize,
            &plugins.privateSize, &plugins.omittedPrefixes, inputProperty, entityKind)) {
        ZYN_LOG(ZYN_LOG_LEVEL_ERROR, ZYN_LOG_GET_FAILURE_s, "plugin properties");
        return 0;
    }
    EntityTables tables{};
    if (!tablesOfKind(entityKind, tables)) {
        return 1;
    }
    for (const char *const *prefix = tables.prefixes; (*prefix)[0] != '\0'; ++prefix) {
        if (!DDS_PropertyQosPolicy_validateEntityPropertyNames(
                inputProperty, *prefix, tables.publicNames, tables.privateNames,
                plugins.publicNames, plugins.privateNames, &plugins.omittedPrefixes,
                validationAction)) {
            return 0;
        }
    }
    return 1;
}

int DDS_PropertyQosPolicy_validateEntityPropertyNames(
    const DDS_PropertyQosPolicy *inputProperty, const char *prefix,
    const char *const *validPublicPropertyNames, const char *const *validPrivatePropertyNames,
    const char *const *validPublicPluginPropertyNames,
    const char *const *validPrivatePluginPropertyNames, const DDS_StringSeq *omittedPrefixes,
    DDS_PropertyQosPolicyValidationAction validationAction)
{
    LocalPolicy local;
    ZYN_PRECONDITION(ZYN_IS_NULL(inputProperty), return 0);
    ZYN_PRECONDITION(ZYN_IS_NULL(prefix), return 0);
    ZYN_PRECONDITION(ZYN_IS_NULL(validPublicPropertyNames), return 0);
    ZYN_PRECONDITION(ZYN_IS_NULL(validPrivatePropertyNames), return 0);
    ZYN_PRECONDITION(ZYN_IS_NULL(omittedPrefixes), return 0);

    if (validationAction == DDS_PROPERTY_QOS_POLICY_VALIDATION_ACTION_SKIP) {
        return 1;
    }
    if (DDS_PropertyQosPolicyHelper_get_propertiesI(
            inputProperty, &local.policy.value, prefix,
            "DDS_PropertyQosPolicy_validateEntityPropertyNames", 1, 1, 0) != DDS_RETCODE_OK) {
        ZYN_LOG(ZYN_LOG_LEVEL_ERROR, ZYN_LOG_GET_FAILURE_ss, prefix,
                "properties from property qos");
        return 0;
    }

    const DDS_Long count = DDS_PropertySeq_get_length(&local.policy.value);
    for (DDS_Long i = 0; i < count; ++i) {
        const DDS_Property_t *property = DDS_PropertySeq_get_reference(&local.policy.value, i);
        if (property == nullptr) {
            ZYN_LOG(ZYN_LOG_LEVEL_ERROR, ZYN_LOG_GET_FAILURE_s, "property");
            return 0;
        }
        const char *name = property->name;
        if (DDS_PropertyQosPolicy_isPrefixOmitted(name, omittedPrefixes) ||
            DDS_PropertyQosPolicy_isPropertyPrivate(name, validPrivatePropertyNames,
                                                    validPrivatePluginPropertyNames) ||
            DDS_PropertyQosPolicy_isPropertyIgnored(name)) {
            continue;
        }

        DDS_Long index = 0;
        DDS_Long distance = INT_MAX;
        if (VorlString_validateName(&index, &distance, name, validPublicPropertyNames, 1)) {
            continue;
        }
        const char *suggestion = validPublicPropertyNames[index];
        if (validPublicPluginPropertyNames != nullptr) {
            DDS_Long pluginIndex = 0;
            DDS_Long pluginDistance = INT_MAX;
            if (VorlString_validateName(&pluginIndex, &pluginDistance, name,
                                        validPublicPluginPropertyNames, 1)) {
                continue;
            }
            // On a tie the entity's own name is the better hint.
            if (pluginDistance < distance) {
                suggestion = validPublicPluginPropertyNames[pluginIndex];
            }
        }
        // The first unknown name stops this prefix: one report per prefix is enough to act on.
        return reportUnexpected(__func__, validationAction, "", name, suggestion, kMessageScope);
    }
    return 1;
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
        return reportUnexpected(__func__, validationAction, prefix, name,
                                validPublicPluginPropertySuffixes[index],
                                prefix[0] != '\0' ? prefix : kMessageScope);
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
