// The valid plug-in property names of one validation: the prefix map of the entity's policy,
// expanded into two name tables (public and private), each closed by "".
#include <cstring>

#include "infrastructure/PropertyQosPolicyInternal.h"
#include "infrastructure/ScopeExit.h"

using propqos_internal::lengthOf;
using propqos_internal::ScopeExit;

namespace {

constexpr int kPluginRows = PROPERTY_VALID_PLUGIN_PROPERTIES_COUNT;
// The writer of one entry's names files its entries under its own name.
constexpr const char kPopulateFunction[] = "DDS_PropertyQosPolicy_populatePluginProperties";
constexpr const char kPerPluginFunction[] =
    "DDS_PropertyQosPolicy_populateValidPluginPropertiesPerPlugin";

inline bool rowWithinKind(const PROPERTYPluginProperty &row, const char *kind)
{
    return VorlString_iFindSubString(kind, row.name) != nullptr;
}

// The entries of one array, by array name, so that both arrays report in the same words.
struct ArrayEntries {
    const char *outOfResources;
    const char *prefixCopy;
    const char *suffix;   // (appending the "." separator cannot fail: the string is sized for it)
};
constexpr ArrayEntries kPublicEntries = {"validPublicProperties",
                                         "validPublicProperties: property prefix",
                                         "validPublicProperties: property suffix"};
constexpr ArrayEntries kPrivateEntries = {"validPrivateProperties",
                                          "validPrivateProperties: property prefix",
                                          "validPrivateProperties: property suffix"};

// Writes `prefix` "." suffix for every suffix, from slot *index on. A string whose composition
// failed stays in its slot, below the count, for the caller to free; the index is not advanced.
bool writeNames(char **array, int *index, const char *prefix, const char *const *suffixes,
                int suffixCount, const ArrayEntries &entries)
{
    size_t prefixLength = lengthOf(prefix);
    for (int s = 0; s < suffixCount; ++s) {
        const char *suffix = suffixes[s];
        size_t suffixLength = lengthOf(suffix);
        size_t capacity = prefixLength + suffixLength + 1;
        char *name = DDS_String_alloc(capacity);
        array[*index] = name;
        if (name == nullptr) {
            ZYN_LOG_IN(kPerPluginFunction, ZYN_LOG_LEVEL_ERROR, DDS_LOG_OUT_OF_RESOURCES_s,
                       entries.outOfResources);
            return false;
        }
        // The string is sized for exactly prefix "." suffix, so only a missing part can make
        // the composition fail; the parts are then copied in place, this being the hot path of
        // every participant's validation.
        if (prefix == nullptr) {
            ZYN_LOG_IN(kPerPluginFunction, ZYN_LOG_LEVEL_ERROR, DDS_LOG_COPY_FAILURE_s,
                       entries.prefixCopy);
            return false;
        }
        if (suffix == nullptr) {
            ZYN_LOG_IN(kPerPluginFunction, ZYN_LOG_LEVEL_ERROR, ZYN_LOG_ADD_FAILURE_s,
                       entries.suffix);
            return false;
        }
        std::memcpy(name, prefix, prefixLength);
        name[prefixLength] = '.';
        std::memcpy(name + prefixLength + 1, suffix, suffixLength + 1);
        ++*index;
    }
    return true;
}

}  // namespace

namespace propqos_internal {

int pluginPrefixMap(DDS_TagSeq *prefixMap, DDS_StringSeq *omittedPrefixes,
                    const DDS_PropertyQosPolicy *inputProperty, DDS_EntityKind_t entityKind)
{
    // One entry per plug-in instance: sized for one instance of every known kind.
    if (!DDS_TagSeq_set_maximum(prefixMap, kPluginRows)) {
        ZYN_LOG_IN(kPopulateFunction, ZYN_LOG_LEVEL_ERROR, DDS_LOG_SET_FAILURE_s, "maximum prefixMap");
        return 0;
    }

    // The sources run in this order because the sub-transport scan must see the loaded plug-ins
    // and only them.
    switch (entityKind) {
    case DDS_PARTICIPANT_ENTITY_KIND:
        if (!DDS_PropertyQosPolicy_populatePluginPrefixesPerLoadedPlugin(prefixMap,
                                                                          omittedPrefixes,
                                                                          inputProperty)) {
            ZYN_LOG_IN(kPopulateFunction, ZYN_LOG_LEVEL_ERROR, ZYN_LOG_ADD_FAILURE_s,
                       "Plugin Names per load_plugin");
            return 0;
        }
        if (!DDS_PropertyQosPolicy_populatePluginPrefixesPerSubtransport(prefixMap,
                                                                          omittedPrefixes,
                                                                          inputProperty)) {
            ZYN_LOG_IN(kPopulateFunction, ZYN_LOG_LEVEL_ERROR, ZYN_LOG_ADD_FAILURE_s,
                       "Plugin Names per subtransport");
            return 0;
        }
        if (!DDS_PropertyQosPolicy_populateBuiltinTransportPluginPrefixes(prefixMap)) {
            ZYN_LOG_IN(kPopulateFunction, ZYN_LOG_LEVEL_ERROR, ZYN_LOG_ADD_FAILURE_s,
                       "Builtin plugin properties");
            return 0;
        }
        if (!DDS_PropertyQosPolicy_populateFlowControllerPrefixes(prefixMap, inputProperty)) {
            ZYN_LOG_IN(kPopulateFunction, ZYN_LOG_LEVEL_ERROR, ZYN_LOG_ADD_FAILURE_s,
                       "Flow Controller properties");
            return 0;
        }
        break;
    case DDS_DATAWRITER_ENTITY_KIND:
        if (!DDS_PropertyQosPolicy_populateWriterHistoryPrefixes(prefixMap, inputProperty)) {
            ZYN_LOG_IN(kPopulateFunction, ZYN_LOG_LEVEL_ERROR, ZYN_LOG_ADD_FAILURE_s,
                       "Writer History properties");
            return 0;
        }
        break;
    default:
        break;
    }
    return 1;
}

int pluginNameTables(const DDS_TagSeq *prefixMap, char ***validPublicProperties,
                     char ***validPrivateProperties, int *publicPropertiesSize,
                     int *privatePropertiesSize)
{
    // Counted first so that each array is allocated once, at its exact size.
    const DDS_Long entryCount = DDS_TagSeq_get_length(prefixMap);
    for (DDS_Long i = 0; i < entryCount; ++i) {
        const DDS_Tag *entry = DDS_TagSeq_get_reference(prefixMap, i);
        if (entry == nullptr) {
            ZYN_LOG_IN(kPopulateFunction, ZYN_LOG_LEVEL_ERROR, ZYN_LOG_GET_FAILURE_s,
                       "reference from prefixMap");
            return 0;
        }
        if (!DDS_PropertyQosPolicy_getValidPluginPropertiesSize(publicPropertiesSize,
                                                                privatePropertiesSize, entry->value)) {
            ZYN_LOG_IN(kPopulateFunction, ZYN_LOG_LEVEL_ERROR, ZYN_LOG_GET_FAILURE_s,
                       "plugin properties array size");
            return 0;
        }
    }

    ZynOsapiHeap_allocateArray(validPublicProperties, *publicPropertiesSize, sizeof(char *));
    if (*validPublicProperties == nullptr) {
        ZYN_LOG_IN(kPopulateFunction, ZYN_LOG_LEVEL_ERROR, ZYN_OSAPI_MEMORY_LOG_OUT_OF_HEAP_ARRAY_dd,
                   *publicPropertiesSize, static_cast<int>(sizeof(char *)));
        return 0;
    }
    ZynOsapiHeap_allocateArray(validPrivateProperties, *privatePropertiesSize, sizeof(char *));
    if (*validPrivateProperties == nullptr) {
        ZYN_LOG_IN(kPopulateFunction, ZYN_LOG_LEVEL_ERROR, ZYN_OSAPI_MEMORY_LOG_OUT_OF_HEAP_ARRAY_dd,
                   *privatePropertiesSize, static_cast<int>(sizeof(char *)));
        return 0;
    }

    int publicIndex = 0;
    int privateIndex = 0;
    for (DDS_Long i = 0; i < entryCount; ++i) {
        const DDS_Tag *entry = DDS_TagSeq_get_reference(prefixMap, i);
        if (entry == nullptr) {
            ZYN_LOG_IN(kPopulateFunction, ZYN_LOG_LEVEL_ERROR, ZYN_LOG_GET_FAILURE_s,
                       "reference from prefixMap");
            return 0;
        }
        if (!DDS_PropertyQosPolicy_populateValidPluginPropertiesPerPlugin(
                *validPublicProperties, *validPrivateProperties, &publicIndex, &privateIndex,
                entry)) {
            ZYN_LOG_IN(kPopulateFunction, ZYN_LOG_LEVEL_ERROR, ZYN_LOG_ADD_FAILURE_s,
                       "plugin properties");
            return 0;
        }
    }

    if (!DDS_PropertyQosPolicy_addEndOfValidPluginPropertiesArray(
            *validPublicProperties, *validPrivateProperties, &publicIndex, &privateIndex)) {
        ZYN_LOG_IN(kPopulateFunction, ZYN_LOG_LEVEL_ERROR, ZYN_LOG_ADD_FAILURE_s,
                   "Empty string at the end of arrays");
        return 0;
    }
    return 1;
}

}  // namespace propqos_internal

extern "C" {

int DDS_PropertyQosPolicy_populatePluginProperties(char ***validPublicProperties,
                                                   char ***validPrivateProperties,
                                                   int *publicPropertiesSize,
                                                   int *privatePropertiesSize,
                                                   DDS_StringSeq *omittedPrefixes,
                                                   const DDS_PropertyQosPolicy *inputProperty,
                                                   DDS_EntityKind_t entityKind)
{
    ZYN_PRECONDITION(ZYN_IS_NULL(validPublicProperties), return 0);
    ZYN_PRECONDITION(ZYN_IS_NULL(validPrivateProperties), return 0);
    ZYN_PRECONDITION(ZYN_IS_NULL(omittedPrefixes), return 0);
    ZYN_PRECONDITION(ZYN_IS_NULL(inputProperty), return 0);

    DDS_TagSeq prefixMap = DDS_SEQUENCE_INITIALIZER;
    const ScopeExit finalizeMap([&] { DDS_TagSeq_finalize(&prefixMap); });
    return propqos_internal::pluginPrefixMap(&prefixMap, omittedPrefixes, inputProperty,
                                             entityKind) &&
           propqos_internal::pluginNameTables(&prefixMap, validPublicProperties,
                                              validPrivateProperties, publicPropertiesSize,
                                              privatePropertiesSize);
}

int DDS_PropertyQosPolicy_getValidPluginPropertiesSize(int *publicPropertiesSize,
                                                       int *privatePropertiesSize,
                                                       const char *pluginName)
{
    ZYN_PRECONDITION(ZYN_IS_NULL(pluginName), return 0);

    // Every matching row counts: an extending kind takes its base kind's names too.
    for (int row = 0; row < kPluginRows; ++row) {
        const PROPERTYPluginProperty &plugin = PROPERTY_VALID_PLUGIN_PROPERTIES[row];
        if (rowWithinKind(plugin, pluginName)) {
            *publicPropertiesSize += plugin.publicPropertiesSize;
            *privatePropertiesSize += plugin.privatePropertiesSize;
        }
    }
    return 1;
}

int DDS_PropertyQosPolicy_populateValidPluginPropertiesPerPlugin(
    char **validPublicProperties, char **validPrivateProperties, int *publicPropertiesCurrentIndex,
    int *privatePropertiesCurrentIndex, const DDS_Tag *prefixPluginName)
{
    ZYN_PRECONDITION(ZYN_IS_NULL(validPublicProperties), return 0);
    ZYN_PRECONDITION(ZYN_IS_NULL(validPrivateProperties), return 0);
    ZYN_PRECONDITION(ZYN_IS_NULL(prefixPluginName), return 0);

    // Same matching rule as the counting, so the names fill the arrays exactly.
    for (int row = 0; row < kPluginRows; ++row) {
        const PROPERTYPluginProperty &plugin = PROPERTY_VALID_PLUGIN_PROPERTIES[row];
        if (!rowWithinKind(plugin, prefixPluginName->value)) {
            continue;
        }
        if (!writeNames(validPublicProperties, publicPropertiesCurrentIndex, prefixPluginName->name,
                        plugin.publicProperties, plugin.publicPropertiesSize, kPublicEntries) ||
            !writeNames(validPrivateProperties, privatePropertiesCurrentIndex,
                        prefixPluginName->name, plugin.privateProperties,
                        plugin.privatePropertiesSize, kPrivateEntries)) {
            return 0;
        }
    }
    return 1;
}

int DDS_PropertyQosPolicy_addEndOfValidPluginPropertiesArray(char **validPublicProperties,
                                                             char **validPrivateProperties,
                                                             int *publicPropertiesCurrentIndex,
                                                             int *privatePropertiesCurrentIndex)
{
    ZYN_PRECONDITION(ZYN_IS_NULL(validPublicProperties), return 0);
    ZYN_PRECONDITION(ZYN_IS_NULL(validPrivateProperties), return 0);

    validPublicProperties[*publicPropertiesCurrentIndex] = DDS_String_dup("");
    if (validPublicProperties[*publicPropertiesCurrentIndex] == nullptr) {
        ZYN_LOG(ZYN_LOG_LEVEL_ERROR, DDS_LOG_OUT_OF_RESOURCES_s, "validPublicProperties");
        return 0;
    }
    ++*publicPropertiesCurrentIndex;
    validPrivateProperties[*privatePropertiesCurrentIndex] = DDS_String_dup("");
    if (validPrivateProperties[*privatePropertiesCurrentIndex] == nullptr) {
        ZYN_LOG(ZYN_LOG_LEVEL_ERROR, DDS_LOG_OUT_OF_RESOURCES_s, "validPrivateProperties");
        return 0;
    }
    ++*privatePropertiesCurrentIndex;
    return 1;
}

}  // extern "C"
