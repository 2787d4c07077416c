/* Uses the installed API from C: a property added, read back as an integer, a name validated. */
#include <stdio.h>
#include <string.h>

#include <propqos/Log.h>
#include <propqos/PropertyQosPolicy.h>

int main(void)
{
    DDS_PropertyQosPolicy policy = DDS_PropertyQosPolicy_INITIALIZER;
    DDS_Long ttl = 0;
    int ok;

    DDSLog_g_instrumentationMask = 0; /* the typo below is expected: keep standard error quiet */
    DDS_PropertyQosPolicyHelper_add_property(&policy, "dds.transport.UDPv4.builtin.multicast.ttl",
                                             "8", DDS_BOOLEAN_FALSE);
    DDS_PropertyQosPolicyHelper_add_property(&policy, "dds.transport.UDPv4.builtin.multicst.ttl",
                                             "9", DDS_BOOLEAN_FALSE);
    ok = DDS_PropertyQosPolicyHelper_lookup_integer_property(
             &policy, &ttl, "dds.transport.UDPv4.builtin.multicast.ttl") &&
         ttl == 8 &&
         !DDS_PropertyQosPolicy_validate_property_names_per_entity(
             &policy, DDS_PARTICIPANT_ENTITY_KIND,
             DDS_PROPERTY_QOS_POLICY_VALIDATION_ACTION_EXCEPTION);
    DDS_PropertyQosPolicy_finalize(&policy);
    puts(ok ? "consumer: ok" : "consumer: FAILED");
    return ok ? 0 : 1;
}
