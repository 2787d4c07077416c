// Property mutability: whether a property may change at any time, only until its entity is
// enabled, or never; and the check of a requested policy change against it.
#include <cstddef>
#include <string.h>

#include "infrastructure/Findings.h"
#include "infrastructure/NameIndex.h"
#include "infrastructure/PropertyQosPolicyInternal.h"

using propqos_internal::NameIndex;

// Room on the stack for the index of a policy of up to 512 properties (8 KiB); larger ones are
// indexed on the heap.
constexpr size_t kIndexSlots = 1024;
// The index reads each property's name as the first field of its record.
static_assert(offsetof(DDS_Property_t, name) == 0, "a property's record begins with its name");

namespace {

// The lookup is written for tables of exactly these sizes.
static_assert(PROPERTY_PLUGIN_VALUE_ATTRIBUTES_COUNT == 3, "known plug-ins");
static_assert(PROPERTY_NO_PLUGIN_VALUE_ATTRIBUTES_COUNT == 56, "the middleware's own properties");
static_assert(PROPERTY_LOAD_PLUGINS_ARRAY_COUNT == 4, "load-plugins properties");

// A create function's name: up to 254 characters and the terminator.
constexpr size_t kCreateFunctionBufferSize = 255;

constexpr const char kChangeCheck[] = "DDS_PropertyQosPolicy_isMutabilityConsistent";
constexpr const char kCreateFunctionLookup[] =
    "DDS_PropertyQosPolicy_findPropertyMutabilityUsingPluginCreateFunction";

// Exact search of a table of properties; writes the mutability only when the name is found.
bool findInProperties(DDS_PropertyQosPolicyMutability *mutability, const char *name,
                      const PROPERTYValueAttributes *properties, DDS_Long propertiesSize)
{
    DDS_UnsignedLong index = 0;
    if (!DDS_PropertyQosPolicy_binaryStringSearch(
            &index, name, properties,
            propertiesSize > 0 ? static_cast<DDS_UnsignedLong>(propertiesSize) : 0,
            sizeof(PROPERTYValueAttributes), 1)) {
        return false;
    }
    // The table's values and the result's share their numbers.
    *mutability = static_cast<DDS_PropertyQosPolicyMutability>(properties[index].mutability);
    return true;
}

// The load-plugins properties of a policy, in the order of PROPERTY_LOAD_PLUGINS_ARRAY (null:
// absent). Looked up once per check rather than once per property checked.
struct LoadLists {
    const DDS_Property_t *lists[PROPERTY_LOAD_PLUGINS_ARRAY_COUNT];

    explicit LoadLists(const DDS_PropertyQosPolicy *policy)
    {
        for (int i = 0; i < PROPERTY_LOAD_PLUGINS_ARRAY_COUNT; ++i) {
            lists[i] = DDS_PropertyQosPolicyHelper_lookup_property(policy,
                                                                   PROPERTY_LOAD_PLUGINS_ARRAY[i]);
        }
    }
};

// The plug-ins listed in the load-plugins properties of `policy` whose name `property` lies
// under, by the create function each one names. `pluginNames` is the caller's to finalise.
int findUnderLoadedPlugins(DDS_StringSeq *pluginNames,
                           DDS_PropertyQosPolicyMutability *mutability, const char *property,
                           const DDS_PropertyQosPolicy *policy, const LoadLists &loadLists)
{
    if (property == nullptr) {
        return 0;
    }
    for (const DDS_Property_t *loadPlugins : loadLists.lists) {
        if (loadPlugins == nullptr) {
            continue;
        }
        if (DDS_StringSeq_from_delimited_string(pluginNames, loadPlugins->value, ',') !=
            DDS_RETCODE_OK) {
            ZYN_LOG_IN(kCreateFunctionLookup, ZYN_LOG_LEVEL_ERROR, ZYN_LOG_GET_FAILURE_ss,
                       "plugins names from property qos with value ", loadPlugins->value);
            return 0;
        }
        const DDS_Long count = DDS_StringSeq_get_length(pluginNames);
        for (DDS_Long i = 0; i < count; ++i) {
            const char *pluginName = DDS_StringSeq_get(pluginNames, i);
            if (pluginName == nullptr) {
                ZYN_LOG_IN(kCreateFunctionLookup, ZYN_LOG_LEVEL_ERROR, ZYN_LOG_GET_FAILURE_ss,
                           "plugin name from ", loadPlugins->value);
                return 0;
            }
            const size_t pluginNameLength = strlen(pluginName);
            if (strncmp(property, pluginName, pluginNameLength) != 0 ||
                property[pluginNameLength] != '.') {
                continue;
            }
            char createFunction[kCreateFunctionBufferSize];
            if (!DDS_PropertyQosPolicy_getPluginCreateFunction(createFunction, policy,
                                                               pluginName)) {
                ZYN_LOG_IN(kCreateFunctionLookup, ZYN_LOG_LEVEL_ERROR, ZYN_LOG_GET_FAILURE_ss,
                           "create_function property for plugin ", pluginName);
                return 0;
            }
            // A plug-in without a create function of its own cannot be one of the known ones.
            if (createFunction[0] != '\0' &&
                DDS_PropertyQosPolicy_findPropertyInCustomPlugin(
                    mutability, property + pluginNameLength + 1, createFunction)) {
                return 1;
            }
        }
    }
    return 0;
}

bool sameValue(const char *left, const char *right)
{
    if (left == nullptr || right == nullptr) {
        return left == right;
    }
    return strcmp(left, right) == 0;
}

// The property of the policy in force named `name`, as DDS_PropertyQosPolicyHelper_lookup_property
// finds it (the first of that name), through the index when there is one.
const DDS_Property_t *findOld(const DDS_PropertyQosPolicy *oldProperties, const NameIndex &index,
                              const char *name, uint64_t hash)
{
    if (name == nullptr) {
        return nullptr;
    }
    long position = index.find(name, hash);
    if (position == NameIndex::kNoIndex) {
        return DDS_PropertyQosPolicyHelper_lookup_property(oldProperties, name);
    }
    return position == NameIndex::kNotFound
               ? nullptr
               : DDS_PropertySeq_get_reference(&oldProperties->value, static_cast<DDS_Long>(position));
}


int findUsingCreateFunction(DDS_PropertyQosPolicyMutability *mutability, const char *property,
                            const DDS_PropertyQosPolicy *policy, const LoadLists &loadLists)
{
    DDS_StringSeq pluginNames = DDS_SEQUENCE_INITIALIZER;
    const int found = findUnderLoadedPlugins(&pluginNames, mutability, property, policy, loadLists);
    if (!DDS_StringSeq_finalize(&pluginNames)) {
        ZYN_LOG_IN(kCreateFunctionLookup, ZYN_LOG_LEVEL_WARNING, ZYN_LOG_FINALIZE_s,
                   "pluginPrefixSeq");
    }
    return found;
}

// DDS_PropertyQosPolicyHelper_get_property_mutability with the load-plugins lists found already.
DDS_PropertyQosPolicyMutability mutabilityOf(const char *name, const DDS_PropertyQosPolicy *policy,
                                             const LoadLists &loadLists)
{
    DDS_PropertyQosPolicyMutability mutability = DDS_PROPERTY_QOS_MUTABLE;
    if (DDS_PropertyQosPolicy_findPropertyMutabilityUsingPluginDefaultNames(&mutability, name) ||
        findUsingCreateFunction(&mutability, name, policy, loadLists) ||
        DDS_PropertyQosPolicy_findPropertyMutabilityUsingNonPluginDefaultNames(&mutability, name)) {
        return mutability;
    }
    return DDS_PROPERTY_QOS_MUTABLE;
}

}  // namespace

extern "C" {

int DDS_PropertyQosPolicy_findPropertyMutabilityUsingPluginDefaultNames(
    DDS_PropertyQosPolicyMutability *mutability, const char *property)
{
    ZYN_PRECONDITION(ZYN_IS_NULL(mutability), return 0);
    ZYN_PRECONDITION(ZYN_IS_NULL(property), return 0);

    DDS_UnsignedLong row = 0;
    if (!DDS_PropertyQosPolicy_binaryStringSearch(&row, property, PROPERTY_PLUGIN_VALUE_ATTRIBUTES,
                                                  PROPERTY_PLUGIN_VALUE_ATTRIBUTES_COUNT,
                                                  sizeof(PROPERTYPluginValueAttributes), 0)) {
        return 0;
    }
    const PROPERTYPluginValueAttributes &plugin = PROPERTY_PLUGIN_VALUE_ATTRIBUTES[row];
    const size_t prefixLength = strlen(plugin.prefix);
    // The partial search needs no separator after the prefix; a plug-in property has one, and
    // something after it.
    if (strlen(property) <= prefixLength + 1 || property[prefixLength] != '.') {
        return 0;
    }
    return findInProperties(mutability, property + prefixLength + 1, plugin.properties,
                            plugin.propertiesSize)
               ? 1
               : 0;
}

int DDS_PropertyQosPolicy_findPropertyMutabilityUsingPluginCreateFunction(
    DDS_PropertyQosPolicyMutability *mutability, const char *property,
    const DDS_PropertyQosPolicy *propertyQos)
{
    return findUsingCreateFunction(mutability, property, propertyQos, LoadLists(propertyQos));
}

int DDS_PropertyQosPolicy_findPropertyInCustomPlugin(DDS_PropertyQosPolicyMutability *mutability,
                                                     const char *property,
                                                     const char *loadedCreateFunction)
{
    ZYN_PRECONDITION(ZYN_IS_NULL(mutability), return 0);
    ZYN_PRECONDITION(ZYN_IS_NULL(property), return 0);
    ZYN_PRECONDITION(ZYN_IS_NULL(loadedCreateFunction), return 0);
    ZYN_PRECONDITION(strlen(loadedCreateFunction) <= 0, return 0);

    const size_t length = strlen(loadedCreateFunction);
    for (const PROPERTYPluginValueAttributes &plugin : PROPERTY_PLUGIN_VALUE_ATTRIBUTES) {
        const char *createFunction = plugin.createFunction != nullptr ? plugin.createFunction : "";
        if (strncmp(createFunction, loadedCreateFunction, length) == 0 &&
            findInProperties(mutability, property, plugin.properties, plugin.propertiesSize)) {
            return 1;
        }
    }
    return 0;
}

int DDS_PropertyQosPolicy_findPropertyMutabilityUsingNonPluginDefaultNames(
    DDS_PropertyQosPolicyMutability *mutability, const char *property)
{
    ZYN_PRECONDITION(ZYN_IS_NULL(mutability), return 0);
    ZYN_PRECONDITION(ZYN_IS_NULL(property), return 0);
    return findInProperties(mutability, property, PROPERTY_NO_PLUGIN_VALUE_ATTRIBUTES,
                            PROPERTY_NO_PLUGIN_VALUE_ATTRIBUTES_COUNT)
               ? 1
               : 0;
}

DDS_PropertyQosPolicyMutability DDS_PropertyQosPolicyHelper_get_property_mutability(
    const char *name, const DDS_PropertyQosPolicy *policy)
{
    ZYN_PRECONDITION(ZYN_IS_NULL(name), return DDS_PROPERTY_QOS_MUTABLE);
    ZYN_PRECONDITION(ZYN_IS_NULL(policy), return DDS_PROPERTY_QOS_MUTABLE);

    return mutabilityOf(name, policy, LoadLists(policy));
}

}  // extern "C"

namespace propqos_internal {

int checkChange(const DDS_PropertyQosPolicy *newProperties,
                const DDS_PropertyQosPolicy *oldProperties, int isEntityEnabled,
                Findings &findings)
{
    const DDS_PropertySeq *old = &oldProperties->value;
    // Policies of usual size are indexed on the stack; when the heap cannot hold the index of a
    // larger one, the policy in force is scanned instead.
    NameIndex::Slot slots[kIndexSlots];
    const NameIndex oldNames(old->_contiguous_buffer,
                             static_cast<size_t>(DDS_PropertySeq_get_length(old)),
                             sizeof(DDS_Property_t), slots, kIndexSlots, true);
    const LoadLists loadLists(newProperties);
    const DDS_Long count = DDS_PropertySeq_get_length(&newProperties->value);
    // The hashes of the next names are made ahead, and their slots asked for while the current
    // name is looked up: a large index is out of cache.
    constexpr DDS_Long kAhead = static_cast<DDS_Long>(NameIndex::kAhead);
    uint64_t ahead[kAhead];
    auto hashAhead = [&](DDS_Long i) {
        const char *name = newProperties->value._contiguous_buffer[i].name;
        ahead[i % kAhead] = name != nullptr ? NameIndex::hashOf(name) : 0;
        oldNames.prefetch(ahead[i % kAhead]);
    };
    for (DDS_Long i = 0; i < count && i < kAhead; ++i) {
        hashAhead(i);
    }
    for (DDS_Long i = 0; i < count; ++i) {
        const DDS_Property_t *property = DDS_PropertySeq_get_reference(&newProperties->value, i);
        if (property == nullptr) {
            ZYN_LOG_IN(kChangeCheck, ZYN_LOG_LEVEL_ERROR, DDS_LOG_GET_FAILURE_s, "property");
            return 0;
        }
        const uint64_t hash = ahead[i % kAhead];
        if (i + kAhead < count) {
            hashAhead(i + kAhead);   // within the length of a sequence that has one
        }
        // Only a new property or a new value is a change; the propagate flag alone is not.
        const DDS_Property_t *current = findOld(oldProperties, oldNames, property->name, hash);
        if (current != nullptr && sameValue(current->value, property->value)) {
            continue;
        }
        // The null-name precondition of the per-name function is kept.
        switch (property->name == nullptr
                    ? DDS_PropertyQosPolicyHelper_get_property_mutability(nullptr, newProperties)
                    : mutabilityOf(property->name, newProperties, loadLists)) {
        case DDS_PROPERTY_QOS_IMMUTABLE:
            findings.changeRefused({property->name, "cannot modify because it is immutable"});
            return 0;
        case DDS_PROPERTY_QOS_MUTABLE_UNTIL_ENABLE:
            if (isEntityEnabled) {
                findings.changeRefused(
                    {property->name, "cannot modify because entity is already enabled"});
                return 0;
            }
            break;
        case DDS_PROPERTY_QOS_MUTABLE:
            break;
        }
    }
    return 1;
}

}  // namespace propqos_internal

extern "C" {

int DDS_PropertyQosPolicy_isMutabilityConsistent(const DDS_PropertyQosPolicy *newProperties,
                                                 const DDS_PropertyQosPolicy *oldProperties,
                                                 int isEntityEnabled)
{
    ZYN_PRECONDITION(ZYN_IS_NULL(newProperties), return 0);
    ZYN_PRECONDITION(ZYN_IS_NULL(oldProperties), return 0);
    propqos_internal::LoggedFindings logged(kChangeCheck);
    return propqos_internal::checkChange(newProperties, oldProperties, isEntityEnabled, logged);
}

}  // extern "C"
