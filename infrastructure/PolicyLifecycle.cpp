// Policy lifecycle: default value, initialisation, deep copy, comparison, finalisation, and the
// forwarders to the presentation form.
#include "infrastructure/PropertyQosPolicyInternal.h"

extern "C" {

void DDS_PropertyQosPolicy_get_default(DDS_PropertyQosPolicy *self)
{
    ZYN_PRECONDITION(ZYN_IS_NULL(self), return);
    static const DDS_PropertyQosPolicy kDefault = DDS_PropertyQosPolicy_INITIALIZER;
    *self = kDefault;
}

void DDS_PropertyQosPolicy_initialize(DDS_PropertyQosPolicy *self)
{
    if (self == nullptr) {
        ZYN_LOG(ZYN_LOG_LEVEL_WARNING, ZYN_LOG_ANY_FAILURE_s, "bad parameter");
        return;
    }
    DDS_PropertySeq_initialize(&self->value);
}

DDS_PropertyQosPolicy *DDS_PropertyQosPolicy_copy(DDS_PropertyQosPolicy *out,
                                                  const DDS_PropertyQosPolicy *in)
{
    if (out == nullptr || in == nullptr) {
        ZYN_LOG(ZYN_LOG_LEVEL_WARNING, ZYN_LOG_ANY_FAILURE_s, "bad parameter");
        return nullptr;
    }
    if (DDS_PropertySeq_copy(&out->value, &in->value) == nullptr) {
        ZYN_LOG(ZYN_LOG_LEVEL_WARNING, ZYN_LOG_ANY_FAILURE_s, "copy policy");
        return nullptr;
    }
    return out;
}

DDS_Boolean DDS_PropertyQosPolicy_equals(const DDS_PropertyQosPolicy *left,
                                         const DDS_PropertyQosPolicy *right, DDS_Boolean remote)
{
    if (left == nullptr || right == nullptr) {
        return left == right ? DDS_BOOLEAN_TRUE : DDS_BOOLEAN_FALSE;
    }
    return DDS_PropertySeq_equalsWithParams(&left->value, &right->value, remote);
}

void DDS_PropertyQosPolicy_finalize(DDS_PropertyQosPolicy *self)
{
    if (self == nullptr) {
        ZYN_LOG(ZYN_LOG_LEVEL_WARNING, ZYN_LOG_ANY_FAILURE_s, "bad parameter");
        return;
    }
    // Only storage that the sequence owns may be released; a record that was never initialised
    // or that holds lent storage is reset to empty instead.
    if (self->value._sequence_init == DDS_SEQUENCE_MAGIC_NUMBER &&
        DDS_PropertySeq_has_ownership(&self->value)) {
        DDS_PropertySeq_finalize(&self->value);
    } else {
        DDS_PropertySeq_initialize(&self->value);
    }
}

DDS_ReturnCode_t DDS_PropertyQosPolicy_to_presentation_qos_policy(const DDS_PropertyQosPolicy *self,
                                                                  TaviPropertyQosPolicy *dst)
{
    ZYN_PRECONDITION(ZYN_IS_NULL(self), return DDS_RETCODE_BAD_PARAMETER);
    ZYN_PRECONDITION(ZYN_IS_NULL(dst), return DDS_RETCODE_BAD_PARAMETER);
    return DDS_PropertySeq_to_presentation_sequence(&self->value, dst);
}

DDS_ReturnCode_t DDS_PropertyQosPolicy_from_presentation_qos_policy(DDS_PropertyQosPolicy *self,
                                                                    const TaviPropertyQosPolicy *src)
{
    ZYN_PRECONDITION(ZYN_IS_NULL(self), return DDS_RETCODE_BAD_PARAMETER);
    ZYN_PRECONDITION(ZYN_IS_NULL(src), return DDS_RETCODE_BAD_PARAMETER);
    return DDS_PropertySeq_from_presentation_sequence(&self->value, src);
}

DDS_ReturnCode_t DDS_PropertyQosPolicy_setup_presentation_policyI(TaviPropertyQosPolicy *dst,
                                                                  DDS_Long max_property_length,
                                                                  DDS_Long max_string_length)
{
    return DDS_PropertySeq_setup_presentation_qosI(dst, max_property_length, max_string_length);
}

DDS_ReturnCode_t DDS_PropertyQosPolicy_finalize_presentation_policyI(TaviPropertyQosPolicy *self)
{
    return DDS_PropertySeq_finalize_presentation_qosI(self);
}

void DDS_PropertyQosPolicy_finalize_presentation_policy(TaviPropertyQosPolicy *self)
{
    (void)DDS_PropertyQosPolicy_finalize_presentation_policyI(self);
}

}  // extern "C"
