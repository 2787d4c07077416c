// The policy's life: default value, initialisation, deep copy, comparison, finalisation.
#include <cstring>
#include <string>
#include <tuple>

#include "support/TestSupport.h"

using namespace propqos_test;

namespace {

class PolicyLifecycleTest : public ModuleTest {};

// Empty, owning and initialised: the fields the sequence operations read.
void expectEmpty(const DDS_PropertyQosPolicy &policy, bool = false)
{
    const DDS_PropertySeq &s = policy.value;
    EXPECT_EQ(std::make_tuple(s._contiguous_buffer, s._length, s._maximum, s._sequence_init,
                              s._owned, s._absolute_maximum),
              std::make_tuple(nullptr, 0u, 0u, 0x7344, 1, 0x7fffffffu));
}

}  // namespace

TEST_F(PolicyLifecycleTest, DefaultIsTheInitializerAndReleasesNothing)
{
    DDS_PropertyQosPolicy policy;
    std::memset(static_cast<void *>(&policy), 0xEE, sizeof policy);
    DDS_PropertyQosPolicy_get_default(&policy);
    expectEmpty(policy, true);
    EXPECT_EQ(DDS_PropertyQosPolicyHelper_get_number_of_properties(&policy), 0);
    const long allocations = ZynHeap_getAllocationCount(), outstanding = ZynHeap_getOutstanding();
    DDS_PropertyQosPolicy_finalize(&policy);
    EXPECT_EQ(std::make_pair(ZynHeap_getAllocationCount(), ZynHeap_getOutstanding()),
              std::make_pair(allocations, outstanding));
    expectEmpty(policy);

    // Over a policy that holds properties it releases nothing: the caller still owns them.
    ScopedPolicy held{{"a", "1"}, {"b", "2"}};
    DDS_PropertyQosPolicy saved = held.policy;
    DDS_PropertyQosPolicy_get_default(&held.policy);
    EXPECT_EQ(ZynHeap_getOutstanding(), outstanding + 3) << "buffer and a name/value block per property held";
    EXPECT_EQ(held.size(), 0);
    DDS_PropertyQosPolicy_finalize(&saved);
    EXPECT_EQ(log.size(), 0u);
}

TEST_F(PolicyLifecycleTest, FinalizeFreesOnlyWhatTheInitialisedPolicyOwns)
{
    DDS_PropertyQosPolicy policy;
    std::memset(static_cast<void *>(&policy), 0x77, sizeof policy);
    DDS_PropertyQosPolicy_initialize(&policy);  // any record becomes empty and usable
    expectEmpty(policy);
    const long outstanding = ZynHeap_getOutstanding();
    ASSERT_EQ(DDS_PropertyQosPolicyHelper_add_property(&policy, "a", "1", 1), DDS_RETCODE_OK);
    ASSERT_EQ(DDS_PropertyQosPolicyHelper_add_property(&policy, "b", "2", 1), DDS_RETCODE_OK);
    DDS_PropertyQosPolicy_finalize(&policy);
    EXPECT_EQ(ZynHeap_getOutstanding(), outstanding);
    expectEmpty(policy);
    DDS_PropertyQosPolicy_finalize(&policy);  // twice is harmless
    expectEmpty(policy);
    EXPECT_EQ(log.size(), 0u) << log.dump();
}

TEST_F(PolicyLifecycleTest, CopyIsDeep)
{
    ScopedPolicy in{{"a", "1"}, {"b", "2"}}, out{{"old", "x"}};
    DDS_PropertySeq_get_reference(&in.policy.value, 1)->propagate = DDS_BOOLEAN_TRUE;
    ASSERT_EQ(DDS_PropertyQosPolicy_copy(&out, &in), &out.policy);
    EXPECT_EQ(describe(out.policy), "a=1;b=2+;");
    EXPECT_NE(out.at(0).name, in.at(0).name);
    EXPECT_EQ(log.size(), 0u);
}

TEST_F(PolicyLifecycleTest, EqualsTreatsNullAsAValueAndPassesRemoteThrough)
{
    ScopedPolicy a{{"x", "1"}}, b{{"x", "1"}};
    EXPECT_TRUE(DDS_PropertyQosPolicy_equals(nullptr, nullptr, DDS_BOOLEAN_FALSE));
    EXPECT_FALSE(DDS_PropertyQosPolicy_equals(&a, nullptr, DDS_BOOLEAN_FALSE));
    EXPECT_FALSE(DDS_PropertyQosPolicy_equals(nullptr, &a, DDS_BOOLEAN_TRUE));
    // A difference in a local-only property: visible locally, not to a remote peer.
    ASSERT_EQ(DDS_PropertyQosPolicyHelper_add_property(&b, "local", "z", 0), DDS_RETCODE_OK);
    EXPECT_FALSE(DDS_PropertyQosPolicy_equals(&a, &b, DDS_BOOLEAN_FALSE));
    EXPECT_TRUE(DDS_PropertyQosPolicy_equals(&a, &b, DDS_BOOLEAN_TRUE));
    EXPECT_EQ(log.size(), 0u) << "no entry in any case";
}
