// Typed views of property values: integers and pointers written as text, and booleans,
// integers, durations and pointers read back from it.
#include <cstdio>

#include "infrastructure/PropertyQosPolicyInternal.h"

namespace {

// Wide enough for any 32-bit integer in decimal, sign included.
constexpr size_t kIntegerBufferSize = 32;
// "0x" and 16 hexadecimal digits of a 64-bit address, and the terminator.
constexpr size_t kPointerBufferSize = 19;

bool isTrueWord(const char *text)
{
    return VorlString_iCompare(text, "true") == 0 || VorlString_iCompare(text, "yes") == 0 ||
           VorlString_compare(text, "1") == 0;
}

bool isFalseWord(const char *text)
{
    return VorlString_iCompare(text, "false") == 0 || VorlString_iCompare(text, "no") == 0 ||
           VorlString_compare(text, "0") == 0;
}

// The value text of the property `name`, and whether the property exists at all.
struct Found {
    bool present;
    const char *text;
};

Found findText(const DDS_PropertyQosPolicy *self, const char *name)
{
    const DDS_Property_t *property = DDS_PropertyQosPolicyHelper_lookup_property(self, name);
    return property != nullptr ? Found{true, property->value} : Found{false, nullptr};
}

using PointerStore = DDS_ReturnCode_t (*)(DDS_PropertyQosPolicy *, const char *, const char *,
                                          DDS_Boolean);

// `function` is the writer's name, under which its entry is filed.
DDS_ReturnCode_t storePointer(const char *function, DDS_PropertyQosPolicy *policy,
                              const char *name, const void *pointer, PointerStore store)
{
    char buffer[kPointerBufferSize];
    if (ZynOsapiUtility_snprintf(buffer, kPointerBufferSize, "%p", pointer) < 1) {
        ZYN_LOG_IN(function, ZYN_LOG_LEVEL_ERROR, ZYN_LOG_ANY_FAILURE_s, "snprintf");
        return DDS_RETCODE_ERROR;
    }
    return store(policy, name, buffer, DDS_BOOLEAN_FALSE);
}

}  // namespace

extern "C" {

DDS_ReturnCode_t DDS_PropertyQosPolicyHelper_add_integer_property(DDS_PropertyQosPolicy *policy,
                                                                  const char *name,
                                                                  DDS_Long integer)
{
    char buffer[kIntegerBufferSize];
    int written = ZynOsapiUtility_snprintf(buffer, kIntegerBufferSize, "%d", integer);
    if (written < 1) {
        ZYN_LOG(ZYN_LOG_LEVEL_ERROR, ZYN_OSAPI_UTILITY_LOG_SNPRINTF_INT_FAILURE_ddd,
                static_cast<int>(kIntegerBufferSize), static_cast<int>(integer), written);
        return DDS_RETCODE_ERROR;
    }
    return DDS_PropertyQosPolicyHelper_add_property(policy, name, buffer, DDS_BOOLEAN_FALSE);
}

DDS_ReturnCode_t DDS_PropertyQosPolicyHelper_add_unsigned_integer_property(
    DDS_PropertyQosPolicy *policy, const char *name, DDS_UnsignedLong integer)
{
    char buffer[kIntegerBufferSize];
    int written = ZynOsapiUtility_snprintf(buffer, kIntegerBufferSize, "%u", integer);
    if (written < 1) {
        ZYN_LOG(ZYN_LOG_LEVEL_ERROR, ZYN_OSAPI_UTILITY_LOG_SNPRINTF_INT_FAILURE_ddd,
                static_cast<int>(kIntegerBufferSize), static_cast<int>(integer), written);
        return DDS_RETCODE_ERROR;
    }
    return DDS_PropertyQosPolicyHelper_add_property(policy, name, buffer, DDS_BOOLEAN_FALSE);
}

DDS_ReturnCode_t DDS_PropertyQosPolicyHelper_add_pointer_property(DDS_PropertyQosPolicy *policy,
                                                                  const char *name,
                                                                  const void *pointer)
{
    return storePointer(__func__, policy, name, pointer, &DDS_PropertyQosPolicyHelper_add_property);
}

DDS_ReturnCode_t DDS_PropertyQosPolicyHelper_assert_pointer_property(DDS_PropertyQosPolicy *policy,
                                                                     const char *name,
                                                                     const void *pointer)
{
    return storePointer(__func__, policy, name, pointer,
                        &DDS_PropertyQosPolicyHelper_assert_property);
}

DDS_ReturnCode_t DDSPropertyQosPolicy_propertyValueToBoolean(const char *value,
                                                             DDS_Boolean *result)
{
    if (value == nullptr || result == nullptr) {
        return DDS_RETCODE_BAD_PARAMETER;
    }
    if (isTrueWord(value)) {
        *result = DDS_BOOLEAN_TRUE;
        return DDS_RETCODE_OK;
    }
    if (isFalseWord(value)) {
        *result = DDS_BOOLEAN_FALSE;
        return DDS_RETCODE_OK;
    }
    return DDS_RETCODE_ERROR;
}

DDS_ReturnCode_t DDS_PropertyQosPolicyHelper_lookup_boolean_property(
    const DDS_PropertyQosPolicy *self, DDS_Boolean *value, const char *name,
    DDS_Boolean default_value)
{
    ZYN_PRECONDITION(ZYN_IS_NULL(self), return DDS_RETCODE_ERROR);
    ZYN_PRECONDITION(ZYN_IS_NULL(value), return DDS_RETCODE_ERROR);
    ZYN_PRECONDITION(ZYN_IS_NULL(name), return DDS_RETCODE_ERROR);
    const DDS_Property_t *property = DDS_PropertyQosPolicyHelper_lookup_property(self, name);
    if (property == nullptr) {
        *value = default_value;
        return DDS_RETCODE_NO_DATA;
    }
    return DDSPropertyQosPolicy_propertyValueToBoolean(property->value, value);
}

int DDS_PropertyQosPolicyHelper_lookup_boolean_propertyI(const DDS_PropertyQosPolicy *self,
                                                         int *value, const char *name)
{
    ZYN_PRECONDITION(ZYN_IS_NULL(self), return 0);
    ZYN_PRECONDITION(ZYN_IS_NULL(value), return 0);
    ZYN_PRECONDITION(ZYN_IS_NULL(name), return 0);
    DDS_Boolean read = DDS_BOOLEAN_FALSE;
    if (DDS_PropertyQosPolicyHelper_lookup_boolean_property(self, &read, name, DDS_BOOLEAN_FALSE) !=
        DDS_RETCODE_OK) {
        return 0;
    }
    *value = read ? 1 : 0;
    return 1;
}

DDS_ReturnCode_t DDSPropertyQosPolicyHelper_lookupBooleanPropertyWithPrefix(
    const DDS_PropertyQosPolicy *self, DDS_Boolean *value, const char *prefix, const char *name,
    DDS_Boolean default_value)
{
    ZYN_PRECONDITION(ZYN_IS_NULL(self), return DDS_RETCODE_ERROR);
    ZYN_PRECONDITION(ZYN_IS_NULL(value), return DDS_RETCODE_ERROR);
    ZYN_PRECONDITION(ZYN_IS_NULL(name), return DDS_RETCODE_ERROR);
    // A composed name that could not be allocated comes back as null, read here as absence.
    const DDS_Property_t *property =
        DDS_PropertyQosPolicyHelper_lookup_property_with_prefix(self, prefix, name);
    if (property == nullptr) {
        *value = default_value;
        return DDS_RETCODE_NO_DATA;
    }
    return DDSPropertyQosPolicy_propertyValueToBoolean(property->value, value);
}

DDS_Boolean DDS_PropertyQosPolicyHelper_lookup_integer_property(const DDS_PropertyQosPolicy *self,
                                                                DDS_Long *value, const char *name)
{
    ZYN_PRECONDITION(ZYN_IS_NULL(self), return DDS_BOOLEAN_FALSE);
    ZYN_PRECONDITION(ZYN_IS_NULL(value), return DDS_BOOLEAN_FALSE);
    ZYN_PRECONDITION(ZYN_IS_NULL(name), return DDS_BOOLEAN_FALSE);
    Found found = findText(self, name);
    return found.present && VorlString_strToLong(found.text, value) ? DDS_BOOLEAN_TRUE
                                                                     : DDS_BOOLEAN_FALSE;
}

DDS_Boolean DDS_PropertyQosPolicyHelper_lookup_long_long_property(
    const DDS_PropertyQosPolicy *self, DDS_LongLong *value, const char *name)
{
    ZYN_PRECONDITION(ZYN_IS_NULL(self), return DDS_BOOLEAN_FALSE);
    ZYN_PRECONDITION(ZYN_IS_NULL(value), return DDS_BOOLEAN_FALSE);
    ZYN_PRECONDITION(ZYN_IS_NULL(name), return DDS_BOOLEAN_FALSE);
    Found found = findText(self, name);
    return found.present && VorlString_strToLongLong(found.text, value) ? DDS_BOOLEAN_TRUE
                                                                         : DDS_BOOLEAN_FALSE;
}

DDS_Boolean DDS_PropertyQosPolicyHelper_lookup_unsigned_integer_property(
    const DDS_PropertyQosPolicy *self, DDS_UnsignedLong *value, const char *name)
{
    ZYN_PRECONDITION(ZYN_IS_NULL(self), return DDS_BOOLEAN_FALSE);
    ZYN_PRECONDITION(ZYN_IS_NULL(value), return DDS_BOOLEAN_FALSE);
    ZYN_PRECONDITION(ZYN_IS_NULL(name), return DDS_BOOLEAN_FALSE);
    Found found = findText(self, name);
    return found.present && VorlString_strToUnsignedLong(found.text, value) ? DDS_BOOLEAN_TRUE
                                                                             : DDS_BOOLEAN_FALSE;
}

DDS_Boolean DDS_PropertyQosPolicyHelper_lookup_duration_property(const DDS_PropertyQosPolicy *self,
                                                                 ZynNtpTime *value,
                                                                 const char *name)
{
    ZYN_PRECONDITION(ZYN_IS_NULL(self), return DDS_BOOLEAN_FALSE);
    ZYN_PRECONDITION(ZYN_IS_NULL(value), return DDS_BOOLEAN_FALSE);
    ZYN_PRECONDITION(ZYN_IS_NULL(name), return DDS_BOOLEAN_FALSE);
    Found found = findText(self, name);
    return found.present && TaviSequenceProperty_parseDurationString(found.text, value)
               ? DDS_BOOLEAN_TRUE
               : DDS_BOOLEAN_FALSE;
}

DDS_Boolean DDS_PropertyQosPolicyHelper_lookup_pointer_property(const DDS_PropertyQosPolicy *self,
                                                                void **value, const char *name)
{
    ZYN_PRECONDITION(ZYN_IS_NULL(self), return DDS_BOOLEAN_FALSE);
    ZYN_PRECONDITION(ZYN_IS_NULL(value), return DDS_BOOLEAN_FALSE);
    ZYN_PRECONDITION(ZYN_IS_NULL(name), return DDS_BOOLEAN_FALSE);
    Found found = findText(self, name);
    // sscanf has no answer of its own for a null text.
    if (!found.present || found.text == nullptr) {
        return DDS_BOOLEAN_FALSE;
    }
    return std::sscanf(found.text, "%p", value) == 1 ? DDS_BOOLEAN_TRUE : DDS_BOOLEAN_FALSE;
}

}  // extern "C"
