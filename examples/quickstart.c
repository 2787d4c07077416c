/* A small tour of the C API: set a participant's properties, read one back typed, extract the
 * UDPv4 transport's settings without their prefix, check the names, and save the policy as XML
 * with the secret redacted. */
#include <stdio.h>

#include <propqos/PropertyQosPolicy.h>

int main(void)
{
    DDS_PropertyQosPolicy policy = DDS_PropertyQosPolicy_INITIALIZER;
    DDS_PropertySeq udp = DDS_SEQUENCE_INITIALIZER;
    ZynXMLSaveContext xml = ZYN_XML_SAVE_CONTEXT_INITIALIZER;
    DDS_Long ttl = 0;
    DDS_Long i;

    DDS_PropertyQosPolicyHelper_add_property(&policy, "dds.transport.UDPv4.builtin.multicast.ttl",
                                             "8", DDS_BOOLEAN_FALSE);
    DDS_PropertyQosPolicyHelper_add_property(&policy, "dds.transport.UDPv4.builtin.multicast.enabled",
                                             "yes", DDS_BOOLEAN_FALSE);
    DDS_PropertyQosPolicyHelper_assert_property(&policy, "dds.sec.auth.password", "s3cret",
                                                DDS_BOOLEAN_FALSE);

    if (DDS_PropertyQosPolicyHelper_lookup_integer_property(
            &policy, &ttl, "dds.transport.UDPv4.builtin.multicast.ttl")) {
        printf("multicast TTL: %d\n", ttl);
    }

    if (DDS_PropertyQosPolicyHelper_get_properties_without_prefix(
            &policy, &udp, "dds.transport.UDPv4.builtin", DDS_BOOLEAN_FALSE) == DDS_RETCODE_OK) {
        printf("UDPv4 transport settings:\n");
        for (i = 0; i < DDS_PropertySeq_get_length(&udp); ++i) {
            const DDS_Property_t *p = DDS_PropertySeq_get_reference(&udp, i);
            printf("  %s = %s\n", p->name, p->value);
        }
    }

    printf("names valid for a participant: %s\n",
           DDS_PropertyQosPolicy_validate_property_names_per_entity(
               &policy, DDS_PARTICIPANT_ENTITY_KIND,
               DDS_PROPERTY_QOS_POLICY_VALIDATION_ACTION_EXCEPTION)
               ? "yes"
               : "no");

    printf("saved:\n");
    xml.fout = stdout;
    DDS_PropertyQosPolicy_save(&policy, NULL, &xml);

    DDS_PropertySeq_finalize(&udp);
    DDS_PropertyQosPolicy_finalize(&policy);
    return xml.error != 0;
}
