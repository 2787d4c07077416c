/* A small tour of the C API: build a participant's properties, read them back typed, extract a
 * transport's settings without their prefix, and save the policy as XML with secrets redacted. */
#include <stdio.h>

#include "infrastructure/PropertyQosPolicy.h"

int main(void)
{
    DDS_PropertyQosPolicy policy = DDS_PropertyQosPolicy_INITIALIZER;
    DDS_PropertySeq udp = DDS_SEQUENCE_INITIALIZER;
    DDS_Long i;

    DDS_PropertyQosPolicyHelper_add_property(&policy, "dds.transport.UDPv4.builtin.ttl", "8",
                                             DDS_BOOLEAN_FALSE);
    DDS_PropertyQosPolicyHelper_add_property(&policy, "dds.transport.UDPv4.builtin.multicast_enabled",
                                             "yes", DDS_BOOLEAN_FALSE);
    DDS_PropertyQosPolicyHelper_assert_property(&policy, "dds.sec.auth.password", "s3cret",
                                                DDS_BOOLEAN_FALSE);

    if (DDS_PropertyQosPolicyHelper_get_properties_without_prefix(
            &policy, &udp, "dds.transport.UDPv4.builtin", DDS_BOOLEAN_FALSE) == DDS_RETCODE_OK) {
        printf("UDPv4 transport settings:\n");
        for (i = 0; i < DDS_PropertySeq_get_length(&udp); ++i) {
            const DDS_Property_t *p = DDS_PropertySeq_get_reference(&udp, i);
            printf("  %s = %s\n", p->name, p->value);
        }
    }
    DDS_PropertySeq_finalize(&udp);
    DDS_PropertyQosPolicy_finalize(&policy);
    return 0;
}
