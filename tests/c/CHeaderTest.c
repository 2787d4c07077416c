/* The public header compiles as C11 and its operations work from C. */
#include <stdio.h>
#include <string.h>

#include <propqos/PropertyQosPolicy.h>
#include <propqos/testing.h>

static int failures = 0;
#define CHECK(condition)                                                   \
    do {                                                                   \
        if (!(condition)) {                                                \
            fprintf(stderr, "%s:%d: %s\n", __FILE__, __LINE__, #condition); \
            ++failures;                                                    \
        }                                                                  \
    } while (0)

int main(void)
{
    DDS_PropertyQosPolicy policy = DDS_PropertyQosPolicy_INITIALIZER;
    DDS_PropertyQosPolicy copy = DDS_PropertyQosPolicy_INITIALIZER;
    DDS_Property_t *found;

    CHECK(DDS_PropertyQosPolicyHelper_add_property(&policy, "dds.transport.UDPv4.builtin.ttl", "4",
                                                   DDS_BOOLEAN_FALSE) == DDS_RETCODE_OK);
    CHECK(DDS_PropertyQosPolicyHelper_assert_property(&policy, "app.mode", "fast",
                                                      DDS_BOOLEAN_TRUE) == DDS_RETCODE_OK);
    CHECK(DDS_PropertyQosPolicyHelper_get_number_of_properties(&policy) == 2);
    found = DDS_PropertyQosPolicyHelper_lookup_property(&policy, "app.mode");
    CHECK(found != NULL && strcmp(found->value, "fast") == 0 && found->propagate);
    CHECK(DDS_PropertyQosPolicy_copy(&copy, &policy) == &copy);
    CHECK(DDS_PropertyQosPolicy_equals(&copy, &policy, DDS_BOOLEAN_FALSE));
    CHECK(DDS_PropertyQosPolicyHelper_remove_property(&copy, "app.mode") == DDS_RETCODE_OK);
    CHECK(!DDS_PropertyQosPolicy_equals(&copy, &policy, DDS_BOOLEAN_FALSE));
    DDS_PropertyQosPolicy_finalize(&copy);
    DDS_PropertyQosPolicy_finalize(&policy);
    CHECK(ZynHeap_getOutstanding() == 0);
    if (failures == 0) {
        printf("C header test passed\n");
    }
    return failures == 0 ? 0 : 1;
}
