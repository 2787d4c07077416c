// Single-property operations: count, add, assert, look up (by name, index, under a prefix),
// remove.
#include <cstring>

#include "infrastructure/NameBuilder.h"
#include "infrastructure/PropertyQosPolicyInternal.h"

using propqos_internal::NameBuilder;

extern "C" {

DDS_Long DDS_PropertyQosPolicyHelper_get_number_of_properties(const DDS_PropertyQosPolicy *policy)
{
    if (policy == nullptr) {
        ZYN_LOG(ZYN_LOG_LEVEL_ERROR, DDS_LOG_BAD_PARAMETER_s, "policy");
        return -1;
    }
    return DDS_PropertySeq_get_length(&policy->value);
}

DDS_ReturnCode_t DDS_PropertyQosPolicyHelper_add_property(DDS_PropertyQosPolicy *policy,
                                                          const char *name, const char *value,
                                                          DDS_Boolean propagate)
{
    if (policy == nullptr) {
        ZYN_LOG(ZYN_LOG_LEVEL_ERROR, DDS_LOG_BAD_PARAMETER_s, "policy");
        return DDS_RETCODE_BAD_PARAMETER;
    }
    DDS_Property_t *element = nullptr;
    DDS_ReturnCode_t result = DDS_PropertySeq_add_element(&policy->value, &element, name, value);
    if (result != DDS_RETCODE_OK) {
        ZYN_LOG(ZYN_LOG_LEVEL_ERROR, ZYN_LOG_ANY_FAILURE_ss, "Add property: ", name);
        return result;
    }
    element->propagate = propagate;
    return DDS_RETCODE_OK;
}

DDS_ReturnCode_t DDS_PropertyQosPolicyHelper_assert_property(DDS_PropertyQosPolicy *policy,
                                                             const char *name, const char *value,
                                                             DDS_Boolean propagate)
{
    if (policy == nullptr) {
        ZYN_LOG(ZYN_LOG_LEVEL_ERROR, DDS_LOG_BAD_PARAMETER_s, "policy");
        return DDS_RETCODE_BAD_PARAMETER;
    }
    DDS_Property_t *element = nullptr;
    DDS_ReturnCode_t result = DDS_PropertySeq_assert_element(&policy->value, &element, name, value);
    if (result != DDS_RETCODE_OK) {
        ZYN_LOG(ZYN_LOG_LEVEL_ERROR, ZYN_LOG_ADD_FAILURE_s, "element");
        return result;
    }
    element->propagate = propagate;
    return DDS_RETCODE_OK;
}

DDS_ReturnCode_t DDS_PropertyQosPolicyHelper_assertPropertyWithPrefix(DDS_PropertyQosPolicy *policy,
                                                                      const char *prefix,
                                                                      const char *name,
                                                                      const char *value,
                                                                      DDS_Boolean propagate)
{
    if (prefix == nullptr) {
        return DDS_PropertyQosPolicyHelper_assert_property(policy, name, value, propagate);
    }
    // No name, or no memory for the composed one: refused alike.
    NameBuilder composed;
    if (composed.append(prefix).append(".").append(name).failed()) {
        ZYN_LOG_TEXT(ZYN_LOG_LEVEL_ERROR, ZYN_LOG_FAILED_TO_ALLOCATE_TEMPLATE, "auxilary property name");
        return DDS_RETCODE_ERROR;
    }
    return DDS_PropertyQosPolicyHelper_assert_property(policy, composed.c_str(), value, propagate);
}

DDS_Property_t *DDS_PropertyQosPolicyHelper_lookup_property(const DDS_PropertyQosPolicy *policy,
                                                            const char *name)
{
    if (policy == nullptr) {
        ZYN_LOG_TEXT(ZYN_LOG_LEVEL_ERROR, ZYN_LOG_BAD_PARAMETER_FAILURE_TEMPLATE,
                     "Provided policy does not exist.\n");
        return nullptr;
    }
    return DDS_PropertySeq_lookup_element(&policy->value, name);
}

DDS_Long DDS_PropertyQosPolicyHelper_lookup_property_index(const DDS_PropertyQosPolicy *self,
                                                           const char *name,
                                                           DDS_Property_t **outElementPtr)
{
    if (self == nullptr) {
        ZYN_LOG_TEXT(ZYN_LOG_LEVEL_ERROR, ZYN_LOG_BAD_PARAMETER_FAILURE_TEMPLATE,
                     "Provided policy does not exist.");
        return -1;
    }
    if (name == nullptr) {
        ZYN_LOG_TEXT(ZYN_LOG_LEVEL_ERROR, ZYN_LOG_BAD_PARAMETER_FAILURE_TEMPLATE,
                     "Provided name does not exist.");
        return -1;
    }
    return DDS_PropertySeq_lookup_element_index(&self->value, name, outElementPtr);
}

DDS_Property_t *DDS_PropertyQosPolicyHelper_lookup_property_with_prefix(
    const DDS_PropertyQosPolicy *policy, const char *prefix, const char *name)
{
    if (prefix == nullptr) {
        return DDS_PropertyQosPolicyHelper_lookup_property(policy, name);
    }
    NameBuilder composed;
    if (composed.append(prefix).append(".").append(name).failed()) {
        ZYN_LOG(ZYN_LOG_LEVEL_ERROR, DDS_LOG_OUT_OF_RESOURCES_s, "property name");
        return nullptr;
    }
    return DDS_PropertyQosPolicyHelper_lookup_property(policy, composed.c_str());
}

DDS_ReturnCode_t DDS_PropertyQosPolicyHelper_remove_property(DDS_PropertyQosPolicy *policy,
                                                             const char *name)
{
    if (policy == nullptr) {
        ZYN_LOG(ZYN_LOG_LEVEL_ERROR, DDS_LOG_BAD_PARAMETER_s, "policy");
        return DDS_RETCODE_BAD_PARAMETER;
    }
    return DDS_PropertySeq_remove_element(&policy->value, name);
}

}  // extern "C"
