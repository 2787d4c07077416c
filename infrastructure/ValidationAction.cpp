// The validation action: how a participant reacts to property names it does not know, read from
// and written to its own property list.
#include <cstring>

#include "infrastructure/PropertyQosPolicyInternal.h"

namespace {

constexpr const char *kFullName = "dds.participant.property_validation_action";
constexpr const char *kShortName = "property_validation_action";

struct ActionWord {
    const char *word;
    DDS_PropertyQosPolicyValidationAction action;
};

constexpr ActionWord kActionWords[] = {
    {"VALIDATION_ACTION_WARNING", DDS_PROPERTY_QOS_POLICY_VALIDATION_ACTION_WARNING},
    {"VALIDATION_ACTION_EXCEPTION", DDS_PROPERTY_QOS_POLICY_VALIDATION_ACTION_EXCEPTION},
    {"VALIDATION_ACTION_SKIP", DDS_PROPERTY_QOS_POLICY_VALIDATION_ACTION_SKIP},
};

// A number out of range is still handed back through the output, as C callers expect; it is
// stored as the integer it is, since it is no value of the enumeration.
static_assert(sizeof(DDS_PropertyQosPolicyValidationAction) == sizeof(DDS_Long),
              "the action is stored as a 32-bit integer");
void storeNumber(DDS_PropertyQosPolicyValidationAction *out, DDS_Long number)
{
    std::memcpy(out, &number, sizeof number);
}

}  // namespace

extern "C" {

int DDS_PropertyQosPolicy_parse_property_validation_action(
    DDS_PropertyQosPolicyValidationAction *validationAction,
    const DDS_PropertyQosPolicy *inputProperty)
{
    ZYN_PRECONDITION(ZYN_IS_NULL(validationAction), return 0);
    *validationAction = DDS_PROPERTY_QOS_POLICY_VALIDATION_ACTION_EXCEPTION;
    ZYN_PRECONDITION(ZYN_IS_NULL(inputProperty), return 0);

    const DDS_Property_t *property = DDS_PropertyQosPolicyHelper_lookup_property(inputProperty,
                                                                                 kFullName);
    if (property == nullptr) {
        property = DDS_PropertyQosPolicyHelper_lookup_property(inputProperty, kShortName);
        if (property == nullptr) {
            return 1;
        }
    }
    ZYN_PRECONDITION(ZYN_IS_NULL(property->value), return 0);

    for (const ActionWord &word : kActionWords) {
        if (VorlString_iCompare(property->value, word.word) == 0) {
            *validationAction = word.action;
            return 1;
        }
    }
    DDS_Long number = 0;
    if (!VorlString_strToLong(property->value, &number)) {
        ZYN_LOG(ZYN_LOG_LEVEL_ERROR, ZYN_LOG_BAD_STRING_FORMAT_ss, kFullName, property->value);
        return 0;
    }
    storeNumber(validationAction, number);
    if (number < DDS_PROPERTY_QOS_POLICY_VALIDATION_ACTION_WARNING ||
        number > DDS_PROPERTY_QOS_POLICY_VALIDATION_ACTION_SKIP) {
        ZYN_LOG(ZYN_LOG_LEVEL_ERROR, ZYN_LOG_PARSER_VALUE_OUT_OF_RANGE_ss, kFullName, "[-1 , 1]");
        return 0;
    }
    return 1;
}

int DDS_PropertyQosPolicy_add_property_validation_action(
    DDS_PropertyQosPolicy *properties, DDS_PropertyQosPolicyValidationAction validationAction)
{
    ZYN_PRECONDITION(ZYN_IS_NULL(properties), return 0);

    // Only the short name is looked for: a policy that names the action in full gains the short
    // form too, and reading still prefers the full one, so the recorded action is unchanged.
    if (DDS_PropertyQosPolicyHelper_lookup_property(properties, kShortName) != nullptr) {
        return 1;
    }
    const char *word = kActionWords[2].word;
    if (validationAction == DDS_PROPERTY_QOS_POLICY_VALIDATION_ACTION_WARNING) {
        word = kActionWords[0].word;
    } else if (validationAction == DDS_PROPERTY_QOS_POLICY_VALIDATION_ACTION_EXCEPTION) {
        word = kActionWords[1].word;
    }
    if (DDS_PropertyQosPolicyHelper_add_property(properties, kShortName, word, DDS_BOOLEAN_FALSE) !=
        DDS_RETCODE_OK) {
        ZYN_LOG(ZYN_LOG_LEVEL_ERROR, ZYN_LOG_ADD_FAILURE_s, kShortName);
        return 0;
    }
    return 1;
}

}  // extern "C"
