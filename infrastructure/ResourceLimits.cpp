// The check of a policy against the participant's resource limits on the number of properties
// and on their total string length, with an entry that names the limit to raise.
#include <cstring>

#include "infrastructure/Findings.h"
#include "infrastructure/PropertyQosPolicyInternal.h"

namespace {

constexpr const char *kFunction = "DDS_PropertyQosPolicy_is_consistentI";
constexpr size_t kBufferCapacity = 255;
constexpr size_t kInt32Maximum = 2147483647;

constexpr const char *kParticipantPrefix = "DDS_DomainParticipantQos.resource_limits.participant_";
constexpr const char *kReaderPrefix = "DDS_DomainParticipantQos.resource_limits.reader_";
constexpr const char *kWriterPrefix = "DDS_DomainParticipantQos.resource_limits.writer_";
constexpr const char *kParticipantAdvice =
    "By default, the property QoS policy in a participant QoS is populated with some system "
    "properties. Delete these properties or increase the resource limit ";

// The explanation of a violated limit: the limit's field name and, for a participant, the advice
// to make room among the system properties that it carries by default.
struct Explanation {
    bool participant = false;
    char fieldName[kBufferCapacity + 1] = {0};
    char advice[kBufferCapacity + 1] = {0};

    bool prepare(DDS_EntityKind_t kind)
    {
        participant = kind == DDS_PARTICIPANT_ENTITY_KIND;
        const char *prefix = participant                          ? kParticipantPrefix
                             : kind == DDS_DATAREADER_ENTITY_KIND ? kReaderPrefix
                                                                  : kWriterPrefix;
        if (ZynOsapiUtility_strcpy(fieldName, kBufferCapacity, prefix) == nullptr) {
            ZYN_LOG_IN(kFunction, ZYN_LOG_LEVEL_ERROR, DDS_LOG_CONCATENATE_STRING_ssd, fieldName,
                       prefix, static_cast<int>(kBufferCapacity));
            return false;
        }
        if (participant &&
            ZynOsapiUtility_strcpy(advice, kBufferCapacity, kParticipantAdvice) == nullptr) {
            ZYN_LOG_IN(kFunction, ZYN_LOG_LEVEL_ERROR, DDS_LOG_CONCATENATE_STRING_ssd, advice,
                       kParticipantAdvice, static_cast<int>(kBufferCapacity));
            return false;
        }
        return true;
    }

    // Completes the explanation with the limit's name and hands over the violation. Called at
    // most once per check: the buffers are appended to.
    void report(propqos_internal::Findings &findings, const char *limitName, const char *what,
                DDS_Long actual, DDS_Long limit)
    {
        if (ZynOsapiUtility_strcat(fieldName, kBufferCapacity, limitName) == nullptr) {
            ZYN_LOG_IN(kFunction, ZYN_LOG_LEVEL_ERROR, DDS_LOG_CONCATENATE_STRING_ssd, fieldName,
                       limitName, static_cast<int>(kBufferCapacity));
            return;
        }
        if (!participant) {
            findings.limitExceeded({what, actual, fieldName, limit, nullptr});
            return;
        }
        if (ZynOsapiUtility_strcat(advice, kBufferCapacity, fieldName) == nullptr) {
            ZYN_LOG_IN(kFunction, ZYN_LOG_LEVEL_ERROR, DDS_LOG_CONCATENATE_STRING_ssd, advice,
                       fieldName, static_cast<int>(kBufferCapacity));
            return;
        }
        findings.limitExceeded({what, actual, fieldName, limit, advice});
    }
};

// Adds one string and its terminator to the running total; false (with its entry) once the total
// no longer fits the signed 32-bit length that the limit is compared with. The counter is
// size-wide so that the sum itself cannot wrap before the test sees it.
bool addLength(size_t *counter, const char *text)
{
    *counter += std::strlen(text) + 1;
    if (*counter > kInt32Maximum) {
        ZYN_LOG_TEXT_IN(kFunction, ZYN_LOG_LEVEL_ERROR, ZYN_LOG_FAILED_TO_CONVERT_TYPE_TEMPLATE,
                        "cumulative string length of the properties (%zu) exceeds max. "
                        "representable INT32",
                        *counter);
        return false;
    }
    return true;
}

}  // namespace

namespace propqos_internal {

int checkResourceLimits(const DDS_PropertyQosPolicy *me, DDS_EntityKind_t entity_kind,
                        DDS_Long property_list_max_length, DDS_Long property_string_max_length,
                        Findings &findings)
{
    Explanation explanation;
    if (!explanation.prepare(entity_kind)) {
        return 0;
    }

    // The count is tested before any property is looked at.
    const DDS_Long length = DDS_PropertySeq_get_length(&me->value);
    const bool countExceeded = length > property_list_max_length;
    if (countExceeded) {
        explanation.report(findings, "property_list_max_length",
                           "number of properties in the property QoS policy", length,
                           property_list_max_length);
        if (!findings.wantsEveryExcess()) {
            return 0;
        }
        // The explanation's buffers hold the first limit's name now.
        explanation = Explanation();
        if (!explanation.prepare(entity_kind)) {
            return 0;
        }
    }

    size_t counter = 0;
    for (DDS_Long i = 0; i < length; ++i) {
        const DDS_Property_t *property = DDS_PropertySeq_get_reference(&me->value, i);
        ZYN_PRECONDITION_IN(kFunction, ZYN_IS_NULL(property), return 0);
        if (property->name == nullptr || property->value == nullptr) {
            ZYN_LOG_TEXT_IN(kFunction, ZYN_LOG_LEVEL_ERROR, ZYN_LOG_INCONSISTENT_QOS_TEMPLATE,
                            "Invalid property provided with (name=%s, value=%s) at index %d of the "
                            "PropertyQosPolicy sequence with length %d.",
                            property->name != nullptr ? property->name : "NULL",
                            property->value != nullptr ? property->value : "NULL",
                            static_cast<int>(i), static_cast<int>(length));
            return 0;
        }
        if (!addLength(&counter, property->name) || !addLength(&counter, property->value)) {
            return 0;
        }
    }

    const DDS_Long stringLength = static_cast<DDS_Long>(counter);
    if (stringLength > property_string_max_length) {
        explanation.report(findings, "property_string_max_length",
                           "cumulative string length of the properties in the property QoS policy",
                           stringLength, property_string_max_length);
        return 0;
    }
    return countExceeded ? 0 : 1;
}

}  // namespace propqos_internal

extern "C" {

int DDS_PropertyQosPolicy_is_consistentI(const DDS_PropertyQosPolicy *me,
                                         DDS_EntityKind_t entity_kind,
                                         DDS_Long property_list_max_length,
                                         DDS_Long property_string_max_length)
{
    ZYN_PRECONDITION(ZYN_IS_NULL(me), return 0);
    propqos_internal::LoggedFindings logged(kFunction);
    return propqos_internal::checkResourceLimits(me, entity_kind, property_list_max_length,
                                                 property_string_max_length, logged);
}

}  // extern "C"
