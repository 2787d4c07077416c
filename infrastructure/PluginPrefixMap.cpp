// The plug-in prefix map: which plug-in instances a policy configures, under which prefix each
// reads its settings and of which kind it is. Five sources append to the map; the classification
// of one loaded instance is shared by two of them.
#include <cstring>

#include "infrastructure/NameBuilder.h"
#include "infrastructure/NameIndex.h"
#include "infrastructure/PropertyQosPolicyInternal.h"
#include "infrastructure/ScopeExit.h"

using propqos_internal::lengthOf;
using propqos_internal::NameBuilder;
using propqos_internal::NameIndex;
using propqos_internal::ScopeExit;

namespace {

constexpr int kPluginRows = PROPERTY_VALID_PLUGIN_PROPERTIES_COUNT;
constexpr size_t kCreateFunctionBufferSize = 255;
constexpr size_t kCreateFunctionCapacity = kCreateFunctionBufferSize - 1;

constexpr const char kCreateFunctionSuffix[] = ".create_function";
constexpr const char kSubtransportSuffix[] = ".subtransport";
constexpr const char kTransportPrefix[] = "dds.transport.";
constexpr const char kFlowControllerPrefix[] = "dds.flow_controller.token_bucket.";
constexpr const char kWriterHistoryPluginName[] = "dds.data_writer.history.plugin_name";
template <size_t N>
constexpr size_t literalLength(const char (&)[N])
{
    return N - 1;
}

struct BuiltinTransport {
    const char *prefix;
    const char *kind;
};
constexpr BuiltinTransport kBuiltinTransports[] = {
    {"dds.transport.UDPv4.builtin", "UDPV4"},
    {"dds.transport.UDPv4_WAN.builtin", "UDPV4_WAN"},
    {"dds.transport.shmem.builtin", "SHMEM"},
    {"dds.transport.UDPv6.builtin", "UDPV6"},
};

constexpr const char kWriterHistoryKind[] = "WRITER_HISTORY";
constexpr const char kFlowControllerKind[] = "FLOW_CONTROLLER";

// The names of the policy a source reads, indexed for the duration of the source: a source
// looks up a property for every instance it finds, and a scan per lookup would make it quadratic
// in the instances. The index is reached through a per-thread pointer so that the functions the
// sources call keep their signatures; it is set only while its source runs, on the source's
// own thread, and only for the policy it indexes.
class PolicyNames;
thread_local const PolicyNames *t_policyNames = nullptr;

class PolicyNames {
public:
    explicit PolicyNames(const DDS_PropertyQosPolicy *policy)
        : policy_(policy),
          index_(policy->value._contiguous_buffer,
                 static_cast<size_t>(DDS_PropertySeq_get_length(&policy->value)),
                 sizeof(DDS_Property_t)),
          outer_(t_policyNames)
    {
        t_policyNames = this;
    }
    ~PolicyNames() { t_policyNames = outer_; }
    PolicyNames(const PolicyNames &) = delete;
    PolicyNames &operator=(const PolicyNames &) = delete;

    // As DDS_PropertyQosPolicyHelper_lookup_property: the first property of that name, through
    // the index when one is set for `policy`.
    static const DDS_Property_t *lookup(const DDS_PropertyQosPolicy *policy, const char *name)
    {
        const PolicyNames *names = t_policyNames;
        long position = NameIndex::kNoIndex;
        if (names != nullptr && names->policy_ == policy && name != nullptr) {
            position = names->index_.find(name, NameIndex::hashOf(name));
        }
        if (position == NameIndex::kNoIndex) {
            return DDS_PropertyQosPolicyHelper_lookup_property(policy, name);
        }
        return position == NameIndex::kNotFound
                   ? nullptr
                   : DDS_PropertySeq_get_reference(&policy->value, static_cast<DDS_Long>(position));
    }

private:
    const DDS_PropertyQosPolicy *policy_;
    NameIndex index_;
    const PolicyNames *outer_;
};

// The first row whose kind occurs in `kind`, letter case ignored; null when none does.
const PROPERTYPluginProperty *firstRowWithinKind(const char *kind)
{
    for (int row = 0; row < kPluginRows; ++row) {
        if (VorlString_iFindSubString(kind, PROPERTY_VALID_PLUGIN_PROPERTIES[row].name) != nullptr) {
            return &PROPERTY_VALID_PLUGIN_PROPERTIES[row];
        }
    }
    return nullptr;
}

}  // namespace

extern "C" {

int DDS_PropertyQosPolicy_getPluginCreateFunction(char *createFunction,
                                                  const DDS_PropertyQosPolicy *inputProperty,
                                                  const char *pluginName)
{
    ZYN_PRECONDITION(ZYN_IS_NULL(createFunction), return 0);
    ZYN_PRECONDITION(ZYN_IS_NULL(inputProperty), return 0);
    ZYN_PRECONDITION(ZYN_IS_NULL(pluginName), return 0);

    std::memset(createFunction, 0, kCreateFunctionBufferSize);

    NameBuilder propertyName;
    propertyName.append(pluginName).append(kCreateFunctionSuffix);
    if (propertyName.failure() == NameBuilder::Failure::OutOfMemory) {
        ZYN_LOG(ZYN_LOG_LEVEL_ERROR, DDS_LOG_OUT_OF_RESOURCES_s, "propertyNamePtr");
        return 0;
    }
    if (propertyName.failed()) {
        ZYN_LOG(ZYN_LOG_LEVEL_ERROR, DDS_LOG_COPY_FAILURE_s, "propertyNamePtr");
        return 0;
    }

    const DDS_Property_t *property = PolicyNames::lookup(inputProperty, propertyName.c_str());
    if (property != nullptr &&
        ZynOsapiUtility_strcpy(createFunction, kCreateFunctionCapacity, property->value) == nullptr) {
        ZYN_LOG(ZYN_LOG_LEVEL_ERROR, DDS_LOG_COPY_FAILURE_s, "createFunction");
        return 0;
    }
    return 1;
}

int DDS_PropertyQosPolicy_populateTransportPluginPrefixes(DDS_TagSeq *prefixMap,
                                                          DDS_StringSeq *omittedPrefixes,
                                                          const DDS_PropertyQosPolicy *inputProperty,
                                                          const char *prefix,
                                                          const char *comparePrefix)
{
    ZYN_PRECONDITION(ZYN_IS_NULL(prefixMap), return 0);
    ZYN_PRECONDITION(ZYN_IS_NULL(omittedPrefixes), return 0);
    ZYN_PRECONDITION(ZYN_IS_NULL(inputProperty), return 0);

    char createFunction[kCreateFunctionBufferSize];
    if (!DDS_PropertyQosPolicy_getPluginCreateFunction(createFunction, inputProperty, prefix)) {
        ZYN_LOG(ZYN_LOG_LEVEL_ERROR, ZYN_LOG_GET_FAILURE_s, "Create_function property");
        return 0;
    }

    // The first row wins: the table orders kinds whose prefixes contain one another.
    const PROPERTYPluginProperty *match = nullptr;
    for (int row = 0; row < kPluginRows && match == nullptr; ++row) {
        const PROPERTYPluginProperty &candidate = PROPERTY_VALID_PLUGIN_PROPERTIES[row];
        if (VorlString_iFindSubString(comparePrefix, candidate.prefix) != nullptr ||
            (createFunction[0] != '\0' &&
             VorlString_compare(createFunction, candidate.createFunction) == 0)) {
            match = &candidate;
        }
    }

    if (match != nullptr) {
        if (DDS_TagSeq_add_element(prefixMap, nullptr, prefix, match->name) != DDS_RETCODE_OK) {
            ZYN_LOG(ZYN_LOG_LEVEL_ERROR, ZYN_LOG_ADD_FAILURE_s, prefix);
            return 0;
        }
        return 1;
    }

    // An unknown plug-in: its properties are left unvalidated rather than all reported.
    DDS_Long n = DDS_StringSeq_get_length(omittedPrefixes);
    if (!DDS_StringSeq_ensure_length(omittedPrefixes, n + 1, n + 1)) {
        ZYN_LOG(ZYN_LOG_LEVEL_ERROR, DDS_LOG_OUT_OF_RESOURCES_s, "omittedPrefixes");
        return 0;
    }
    char **slot = DDS_StringSeq_get_reference(omittedPrefixes, n);
    if (slot == nullptr) {
        ZYN_LOG(ZYN_LOG_LEVEL_ERROR, ZYN_LOG_GET_FAILURE_s, "reference from omitted prefixes");
        return 0;
    }
    size_t prefixLength = lengthOf(prefix);
    *slot = DDS_String_alloc(prefixLength);
    if (*slot == nullptr) {
        ZYN_LOG(ZYN_LOG_LEVEL_ERROR, DDS_LOG_OUT_OF_RESOURCES_s, "omittedPrefix");
        return 0;
    }
    if (ZynOsapiUtility_strcpy(*slot, prefixLength, prefix) == nullptr) {
        ZYN_LOG(ZYN_LOG_LEVEL_ERROR, DDS_LOG_COPY_FAILURE_s, "omittedPrefix");
        return 0;
    }
    return 1;
}

int DDS_PropertyQosPolicy_populatePluginPrefixesPerLoadedPlugin(
    DDS_TagSeq *prefixMap, DDS_StringSeq *omittedPrefixes,
    const DDS_PropertyQosPolicy *inputProperty)
{
    ZYN_PRECONDITION(ZYN_IS_NULL(prefixMap), return 0);
    ZYN_PRECONDITION(ZYN_IS_NULL(omittedPrefixes), return 0);
    ZYN_PRECONDITION(ZYN_IS_NULL(inputProperty), return 0);

    const PolicyNames names(inputProperty);
    DDS_StringSeq pluginNames = DDS_SEQUENCE_INITIALIZER;
    const ScopeExit finalizeNames([&] { DDS_StringSeq_finalize(&pluginNames); });
    // The order in which the load lists are read decides the order of the map's entries.
    for (const char *listName : PROPERTY_LOAD_PLUGINS_ARRAY) {
        if (!DDS_StringSeq_ensure_length(&pluginNames, 0, 0)) {
            ZYN_LOG(ZYN_LOG_LEVEL_ERROR, DDS_LOG_OUT_OF_RESOURCES_s, "pluginNameSeq");
            return 0;
        }
        const DDS_Property_t *list =
            DDS_PropertyQosPolicyHelper_lookup_property(inputProperty, listName);
        if (list == nullptr) {
            continue;
        }
        if (DDS_StringSeq_from_delimited_string(&pluginNames, list->value, ',') !=
            DDS_RETCODE_OK) {
            ZYN_LOG(ZYN_LOG_LEVEL_ERROR, ZYN_LOG_GET_FAILURE_ss, "plugins names from ", list->value);
            return 0;
        }
        DDS_Long count = DDS_StringSeq_get_length(&pluginNames);
        for (DDS_Long i = 0; i < count; ++i) {
            const char *pluginName = DDS_StringSeq_get(&pluginNames, i);
            if (pluginName == nullptr) {
                ZYN_LOG(ZYN_LOG_LEVEL_ERROR, ZYN_LOG_GET_FAILURE_s, "plugin name");
                return 0;
            }
            // A loaded plug-in reads its settings under its own name.
            if (!DDS_PropertyQosPolicy_populateTransportPluginPrefixes(
                    prefixMap, omittedPrefixes, inputProperty, pluginName, pluginName)) {
                ZYN_LOG(ZYN_LOG_LEVEL_ERROR, ZYN_LOG_ADD_FAILURE_s, "Plugin Name");
                return 0;
            }
        }
    }
    return 1;
}

int DDS_PropertyQosPolicy_populatePluginPrefixesPerSubtransport(
    DDS_TagSeq *prefixMap, DDS_StringSeq *omittedPrefixes,
    const DDS_PropertyQosPolicy *inputProperty)
{
    ZYN_PRECONDITION(ZYN_IS_NULL(prefixMap), return 0);
    ZYN_PRECONDITION(ZYN_IS_NULL(omittedPrefixes), return 0);
    ZYN_PRECONDITION(ZYN_IS_NULL(inputProperty), return 0);

    const PolicyNames names(inputProperty);
    // The length is read anew on every turn: the instances found here are scanned in their turn,
    // so a chain of sub-transports is followed to its end.
    for (DDS_Long i = 0; i < DDS_TagSeq_get_length(prefixMap); ++i) {
        const DDS_Tag *entry = DDS_TagSeq_get_reference(prefixMap, i);
        if (entry == nullptr) {
            ZYN_LOG(ZYN_LOG_LEVEL_ERROR, ZYN_LOG_GET_FAILURE_s, "reference from prefixMap");
            return 0;
        }
        if (firstRowWithinKind(entry->value) == nullptr) {
            continue;
        }

        NameBuilder subtransportProperty;
        subtransportProperty.append(entry->name).append(kSubtransportSuffix);
        if (subtransportProperty.failure() == NameBuilder::Failure::OutOfMemory) {
            ZYN_LOG(ZYN_LOG_LEVEL_ERROR, DDS_LOG_OUT_OF_RESOURCES_s, "subTransportPropertyPtr");
            return 0;
        }
        if (subtransportProperty.failedStep() == 1) {
            ZYN_LOG(ZYN_LOG_LEVEL_ERROR, DDS_LOG_COPY_FAILURE_s, "subTransportPropertyPtr: prefix");
            return 0;
        }
        if (subtransportProperty.failed()) {
            ZYN_LOG(ZYN_LOG_LEVEL_ERROR, ZYN_LOG_ADD_FAILURE_s, "subTransportPropertyPtr: suffix");
            return 0;
        }

        const DDS_Property_t *subtransport =
            PolicyNames::lookup(inputProperty, subtransportProperty.c_str());
        if (subtransport == nullptr) {
            continue;
        }

        // The sub-transport reads its settings below its parent's prefix.
        NameBuilder newPrefix;
        newPrefix.append(entry->name).append(".").append(subtransport->value);
        if (newPrefix.failure() == NameBuilder::Failure::OutOfMemory) {
            ZYN_LOG(ZYN_LOG_LEVEL_ERROR, DDS_LOG_OUT_OF_RESOURCES_s, "newPrefix");
            return 0;
        }
        if (newPrefix.failedStep() == 1) {
            ZYN_LOG(ZYN_LOG_LEVEL_ERROR, DDS_LOG_COPY_FAILURE_s, "newPrefix");
            return 0;
        }
        if (newPrefix.failed()) {
            ZYN_LOG(ZYN_LOG_LEVEL_ERROR, ZYN_LOG_ADD_FAILURE_s, "newPrefix");
            return 0;
        }

        // Its kind is recognised as if it had been loaded as a transport of that name.
        NameBuilder comparePrefix;
        comparePrefix.append(kTransportPrefix).append(subtransport->value);
        if (comparePrefix.failure() == NameBuilder::Failure::OutOfMemory) {
            ZYN_LOG(ZYN_LOG_LEVEL_ERROR, DDS_LOG_OUT_OF_RESOURCES_s, "comparePrefixPtr");
            return 0;
        }
        if (comparePrefix.failed()) {
            ZYN_LOG(ZYN_LOG_LEVEL_ERROR, ZYN_LOG_ADD_FAILURE_s, "newPrefix: property->value");
            return 0;
        }

        // `entry` may move once the map grows: it is not used after this point.
        if (!DDS_PropertyQosPolicy_populateTransportPluginPrefixes(
                prefixMap, omittedPrefixes, inputProperty, newPrefix.c_str(),
                comparePrefix.c_str())) {
            ZYN_LOG(ZYN_LOG_LEVEL_ERROR, ZYN_LOG_ADD_FAILURE_s, "Plugin Name");
            return 0;
        }
    }
    return 1;
}

int DDS_PropertyQosPolicy_populateBuiltinTransportPluginPrefixes(DDS_TagSeq *prefixMap)
{
    ZYN_PRECONDITION(ZYN_IS_NULL(prefixMap), return 0);

    for (const BuiltinTransport &transport : kBuiltinTransports) {
        if (DDS_TagSeq_add_element(prefixMap, nullptr, transport.prefix, transport.kind) !=
            DDS_RETCODE_OK) {
            ZYN_LOG(ZYN_LOG_LEVEL_ERROR, ZYN_LOG_ADD_FAILURE_s, transport.prefix);
            return 0;
        }
    }
    return 1;
}

int DDS_PropertyQosPolicy_populateFlowControllerPrefixes(DDS_TagSeq *prefixMap,
                                                         const DDS_PropertyQosPolicy *inputProperty)
{
    ZYN_PRECONDITION(ZYN_IS_NULL(prefixMap), return 0);
    ZYN_PRECONDITION(ZYN_IS_NULL(inputProperty), return 0);

    const DDS_Long firstOwnEntry = DDS_TagSeq_get_length(prefixMap);
    const size_t commonPrefixLength = literalLength(kFlowControllerPrefix);

    DDS_PropertyQosPolicy controllers = DDS_PropertyQosPolicy_INITIALIZER;
    const ScopeExit finalizeControllers([&] { DDS_PropertyQosPolicy_finalize(&controllers); });
    if (DDS_PropertyQosPolicyHelper_get_propertiesI(
            inputProperty, &controllers.value, kFlowControllerPrefix,
            "DDS_PropertyQosPolicy_populateFlowControllerPrefixes", 1, 1, 0) != DDS_RETCODE_OK) {
        ZYN_LOG(ZYN_LOG_LEVEL_ERROR, ZYN_LOG_GET_FAILURE_ss, kFlowControllerPrefix,
                "properties from property qos");
        return 0;
    }
    const DDS_Long propertyCount = DDS_PropertySeq_get_length(&controllers.value);
    if (!DDS_TagSeq_set_maximum(prefixMap, firstOwnEntry + propertyCount)) {
        ZYN_LOG(ZYN_LOG_LEVEL_ERROR, DDS_LOG_SET_FAILURE_s, "maximum prefixMap");
        return 0;
    }

    // The source's own entries, by name: a controller has several settings, and only these
    // entries can repeat it. The map's storage holds every entry added below (its maximum was
    // just raised), so the index's records stay where they are.
    NameIndex recordedNames(prefixMap->_contiguous_buffer, 0, sizeof(DDS_Tag), nullptr,
                            0, true, static_cast<size_t>(firstOwnEntry + propertyCount));
    DDS_Long ownEntries = 0;
    for (DDS_Long i = 0; i < propertyCount; ++i) {
        const DDS_Property_t *property = DDS_PropertySeq_get_reference(&controllers.value, i);
        // Every copied name starts with the common prefix, so it is at least that long.
        const char *end = std::strchr(property->name + commonPrefixLength, '.');
        if (end == nullptr) {
            break;   // a name without a setting after the controller's name ends the scan
        }

        size_t nameLength = static_cast<size_t>(end - property->name);
        NameBuilder controllerPrefix;
        if (controllerPrefix.append(property->name, nameLength).failed()) {
            ZYN_LOG(ZYN_LOG_LEVEL_ERROR, DDS_LOG_OUT_OF_RESOURCES_s, "flowControllerNamePtr");
            return 0;
        }

        const uint64_t hash = NameIndex::hashOf(controllerPrefix.c_str());
        const long found = recordedNames.find(controllerPrefix.c_str(), hash);
        bool recorded = found >= 0;
        // Without an index (the heap could not hold one) the entries are scanned.
        for (DDS_Long k = firstOwnEntry;
             found == NameIndex::kNoIndex && k < firstOwnEntry + ownEntries && !recorded; ++k) {
            const DDS_Tag *entry = DDS_TagSeq_get_reference(prefixMap, k);
            if (entry == nullptr) {
                ZYN_LOG(ZYN_LOG_LEVEL_ERROR, ZYN_LOG_GET_FAILURE_s, "reference from prefixMap");
                return 0;
            }
            recorded = VorlString_compare(entry->name, controllerPrefix.c_str()) == 0;
        }
        if (recorded) {
            continue;
        }
        if (DDS_TagSeq_add_element(prefixMap, nullptr, controllerPrefix.c_str(), kFlowControllerKind) !=
            DDS_RETCODE_OK) {
            ZYN_LOG(ZYN_LOG_LEVEL_ERROR, ZYN_LOG_ADD_FAILURE_s, controllerPrefix.c_str());
            return 0;
        }
        recordedNames.add(controllerPrefix.c_str(), hash,
                          static_cast<size_t>(firstOwnEntry + ownEntries));
        ++ownEntries;
    }
    return 1;
}

int DDS_PropertyQosPolicy_populateWriterHistoryPrefixes(DDS_TagSeq *prefixMap,
                                                        const DDS_PropertyQosPolicy *inputProperty)
{
    const DDS_Property_t *property =
        DDS_PropertyQosPolicyHelper_lookup_property(inputProperty, kWriterHistoryPluginName);
    if (property == nullptr) {
        return 1;
    }

    // The plug-in's name is also the prefix of its settings.
    NameBuilder pluginName;
    pluginName.append(property->value);
    if (pluginName.failure() == NameBuilder::Failure::OutOfMemory) {
        ZYN_LOG(ZYN_LOG_LEVEL_ERROR, DDS_LOG_OUT_OF_RESOURCES_s, "pluginNamePtr");
        return 0;
    }
    if (pluginName.failed()) {
        ZYN_LOG(ZYN_LOG_LEVEL_ERROR, DDS_LOG_COPY_FAILURE_s, "pluginNamePtr");
        return 0;
    }
    if (DDS_TagSeq_add_element(prefixMap, nullptr, pluginName.c_str(), kWriterHistoryKind) !=
        DDS_RETCODE_OK) {
        ZYN_LOG(ZYN_LOG_LEVEL_ERROR, ZYN_LOG_ADD_FAILURE_s, pluginName.c_str());
        return 0;
    }
    return 1;
}

}  // extern "C"
