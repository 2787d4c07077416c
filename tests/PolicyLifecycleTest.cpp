// The policy's life: default value, initialisation, deep copy, comparison, finalisation, and the
// forwarders to the presentation form.
#include <cstring>
#include <string>

#include "support/TestSupport.h"

using namespace propqos_test;

namespace {

class PolicyLifecycleTest : public ModuleTest {};

std::string describe(const DDS_PropertyQosPolicy *policy)
{
    std::string out;
    for (DDS_Long i = 0; i < DDS_PropertySeq_get_length(&policy->value); ++i) {
        const DDS_Property_t *p = DDS_PropertySeq_get_reference(&policy->value, i);
        out += std::string(p->name) + "=" + p->value + (p->propagate ? "+" : "") + ";";
    }
    return out;
}

void expectEmptyOwningInitialised(const DDS_PropertyQosPolicy &policy)
{
    EXPECT_EQ(policy.value._contiguous_buffer, nullptr);
    EXPECT_EQ(policy.value._length, 0u);
    EXPECT_EQ(policy.value._maximum, 0u);
    EXPECT_EQ(policy.value._sequence_init, 0x7344);
    EXPECT_EQ(policy.value._owned, DDS_BOOLEAN_TRUE);
}

void expectWarningBadParameter(const LogCapture &log)
{
    ASSERT_EQ(log.size(), 1u) << log.dump();
    EXPECT_TRUE(log.contains(ZYN_LOG_LEVEL_WARNING, "ZYN_LOG_ANY_FAILURE_s", {"bad parameter"}))
        << log.dump();
    EXPECT_EQ(ZynLog_g_preconditionDetected, 0) << "not a precondition failure";
}

}  // namespace

TEST_F(PolicyLifecycleTest, DefaultIsTheInitializerAndReleasesNothing)
{
    DDS_PropertyQosPolicy policy;
    std::memset(static_cast<void *>(&policy), 0xEE, sizeof policy);
    DDS_PropertyQosPolicy_get_default(&policy);
    const DDS_PropertySeq &seq = policy.value;
    EXPECT_EQ(seq._discontiguous_buffer, nullptr);
    EXPECT_EQ(seq._read_token1, nullptr);
    EXPECT_EQ(seq._read_token2, nullptr);
    EXPECT_EQ(seq._elementAllocParams.allocate_pointers, DDS_BOOLEAN_TRUE);
    EXPECT_EQ(seq._elementAllocParams.allocate_optional_members, DDS_BOOLEAN_FALSE);
    EXPECT_EQ(seq._elementAllocParams.allocate_memory, DDS_BOOLEAN_TRUE);
    EXPECT_EQ(seq._absolute_maximum, 0x7fffffffu);
    EXPECT_EQ(seq._elementDeallocParams.delete_pointers, DDS_BOOLEAN_TRUE);
    EXPECT_EQ(seq._elementDeallocParams.delete_optional_members, DDS_BOOLEAN_TRUE);
    expectEmptyOwningInitialised(policy);
    EXPECT_EQ(DDS_PropertyQosPolicyHelper_get_number_of_properties(&policy), 0);

    const long allocations = ZynHeap_getAllocationCount();
    const long outstanding = ZynHeap_getOutstanding();
    DDS_PropertyQosPolicy_finalize(&policy);
    EXPECT_EQ(ZynHeap_getOutstanding(), outstanding);
    EXPECT_EQ(ZynHeap_getAllocationCount(), allocations);
    expectEmptyOwningInitialised(policy);
    EXPECT_EQ(log.size(), 0u);

    // Over a policy that holds properties it releases nothing: the caller still owns them.
    ScopedPolicy held{{"a", "1"}, {"b", "2"}};
    DDS_PropertyQosPolicy saved = held.policy;
    DDS_PropertyQosPolicy_get_default(&held.policy);
    EXPECT_EQ(ZynHeap_getOutstanding(), outstanding + 5) << "buffer and four strings still held";
    EXPECT_EQ(held.size(), 0);
    DDS_PropertyQosPolicy_finalize(&saved);

    // Null: a precondition failure and nothing else.
    const unsigned int hits = ZynLog_g_assertBreakpointCount;
    DDS_PropertyQosPolicy_get_default(nullptr);
    expectOnlyEntry(ZYN_LOG_LEVEL_PRECONDITION, "ZYN_LOG_PRECONDITION_FAILURE_s",
                    {"\"self == ((void *)0)\""});
    EXPECT_EQ(ZynLog_g_preconditionDetected, 1);
    EXPECT_EQ(ZynLog_g_assertBreakpointCount, hits + 1);
}

TEST_F(PolicyLifecycleTest, InitializeMakesAnyRecordEmptyAndRefusesNullWithAWarning)
{
    DDS_PropertyQosPolicy policy;
    std::memset(static_cast<void *>(&policy), 0x77, sizeof policy);
    DDS_PropertyQosPolicy_initialize(&policy);
    expectEmptyOwningInitialised(policy);
    EXPECT_EQ(DDS_PropertyQosPolicyHelper_add_property(&policy, "a", "1", DDS_BOOLEAN_FALSE),
              DDS_RETCODE_OK);
    DDS_PropertyQosPolicy_finalize(&policy);

    const unsigned int hits = ZynLog_g_assertBreakpointCount;
    DDS_PropertyQosPolicy_initialize(nullptr);
    expectWarningBadParameter(log);
    EXPECT_EQ(ZynLog_g_assertBreakpointCount, hits) << "no assertion hook";

    log.clear();
    DDS_PropertyQosPolicy_finalize(nullptr);
    expectWarningBadParameter(log);
    EXPECT_EQ(ZynLog_g_assertBreakpointCount, hits);
}

TEST_F(PolicyLifecycleTest, FinalizeFreesOnlyWhatTheInitialisedPolicyOwns)
{
    // Owned properties are released; the policy is empty afterwards.
    {
        DDS_PropertyQosPolicy policy = DDS_PropertyQosPolicy_INITIALIZER;
        const long outstanding = ZynHeap_getOutstanding();
        DDS_PropertyQosPolicyHelper_add_property(&policy, "a", "1", DDS_BOOLEAN_TRUE);
        DDS_PropertyQosPolicyHelper_add_property(&policy, "b", "2", DDS_BOOLEAN_TRUE);
        DDS_PropertyQosPolicy_finalize(&policy);
        EXPECT_EQ(ZynHeap_getOutstanding(), outstanding);
        expectEmptyOwningInitialised(policy);
        DDS_PropertyQosPolicy_finalize(&policy);  // twice is harmless
        expectEmptyOwningInitialised(policy);
    }
    // Zero-filled: no marker, so the pointers are not trusted and nothing is released.
    {
        DDS_PropertyQosPolicy policy;
        std::memset(static_cast<void *>(&policy), 0, sizeof policy);
        policy.value._contiguous_buffer = reinterpret_cast<DDS_Property_t *>(0x40);
        policy.value._length = 2;
        policy.value._owned = DDS_BOOLEAN_TRUE;
        const long allocations = ZynHeap_getAllocationCount();
        DDS_PropertyQosPolicy_finalize(&policy);
        EXPECT_EQ(ZynHeap_getAllocationCount(), allocations);
        expectEmptyOwningInitialised(policy);
    }
    // Lent storage: left exactly as the lender gave it, the policy emptied and owning.
    {
        char name[] = "lent.name";
        char value[] = "lent.value";
        DDS_Property_t storage[2] = {{name, value, DDS_BOOLEAN_TRUE}, {nullptr, nullptr, 0}};
        DDS_PropertyQosPolicy policy = DDS_PropertyQosPolicy_INITIALIZER;
        ASSERT_TRUE(DDS_PropertySeq_loan_contiguous(&policy.value, storage, 1, 2));
        DDS_PropertyQosPolicy_finalize(&policy);
        EXPECT_EQ(storage[0].name, name);
        EXPECT_EQ(storage[0].value, value);
        EXPECT_STREQ(storage[0].name, "lent.name");
        expectEmptyOwningInitialised(policy);
    }
    EXPECT_EQ(log.size(), 0u) << log.dump();
}

TEST_F(PolicyLifecycleTest, CopyIsDeepAndReportsEachFailure)
{
    ScopedPolicy in{{"a", "1"}, {"b", "2"}};
    DDS_PropertySeq_get_reference(&in.policy.value, 1)->propagate = DDS_BOOLEAN_TRUE;
    {
        ScopedPolicy out{{"old", "x"}};
        ASSERT_EQ(DDS_PropertyQosPolicy_copy(&out, &in), &out.policy);
        EXPECT_EQ(describe(&out.policy), "a=1;b=2+;");
        EXPECT_NE(out.at(0).name, in.at(0).name);
        EXPECT_TRUE(DDS_PropertyQosPolicy_equals(&out, &in, DDS_BOOLEAN_FALSE));
        EXPECT_EQ(log.size(), 0u);
    }

    // Null either side: one warning entry and null.
    ScopedPolicy out;
    EXPECT_EQ(DDS_PropertyQosPolicy_copy(nullptr, &in), nullptr);
    expectWarningBadParameter(log);
    log.clear();
    EXPECT_EQ(DDS_PropertyQosPolicy_copy(&out, nullptr), nullptr);
    expectWarningBadParameter(log);
    log.clear();
    EXPECT_EQ(DDS_PropertyQosPolicy_copy(nullptr, nullptr), nullptr);
    expectWarningBadParameter(log);

    // Exhausted memory: the "copy policy" entry, null, and the destination still valid.
    long points = sweepAllocationFailures([&](long k) {
        log.clear();
        ScopedPolicy dst{{"keep", "me"}};
        DDS_PropertyQosPolicy *result;
        {
            FailAfter armed(k);
            result = DDS_PropertyQosPolicy_copy(&dst, &in);
        }
        if (result == nullptr) {
            expectOnlyEntry(ZYN_LOG_LEVEL_WARNING, "ZYN_LOG_ANY_FAILURE_s", {"copy policy"});
            EXPECT_EQ(describe(&dst.policy), "keep=me;");
            return false;
        }
        EXPECT_EQ(result, &dst.policy);
        EXPECT_EQ(log.size(), 0u);
        EXPECT_EQ(describe(&dst.policy), "a=1;b=2+;");
        return true;
    });
    EXPECT_GE(points, 5) << "a buffer and four strings";
}

TEST_F(PolicyLifecycleTest, EqualsTreatsNullAsAValueAndPassesRemoteThrough)
{
    ScopedPolicy a{{"x", "1"}}, b{{"x", "1"}};
    EXPECT_TRUE(DDS_PropertyQosPolicy_equals(nullptr, nullptr, DDS_BOOLEAN_FALSE));
    EXPECT_FALSE(DDS_PropertyQosPolicy_equals(&a, nullptr, DDS_BOOLEAN_FALSE));
    EXPECT_FALSE(DDS_PropertyQosPolicy_equals(nullptr, &a, DDS_BOOLEAN_TRUE));
    EXPECT_TRUE(DDS_PropertyQosPolicy_equals(&a, &b, DDS_BOOLEAN_FALSE));

    // A difference in a local-only property: visible locally, not to a remote peer.
    ASSERT_EQ(DDS_PropertyQosPolicyHelper_add_property(&b, "local", "z", DDS_BOOLEAN_FALSE),
              DDS_RETCODE_OK);
    EXPECT_FALSE(DDS_PropertyQosPolicy_equals(&a, &b, DDS_BOOLEAN_FALSE));
    EXPECT_TRUE(DDS_PropertyQosPolicy_equals(&a, &b, DDS_BOOLEAN_TRUE));
    ASSERT_EQ(DDS_PropertyQosPolicyHelper_add_property(&b, "shared", "z", DDS_BOOLEAN_TRUE),
              DDS_RETCODE_OK);
    EXPECT_FALSE(DDS_PropertyQosPolicy_equals(&a, &b, DDS_BOOLEAN_TRUE));
    EXPECT_EQ(log.size(), 0u) << "no entry in any case";
}

TEST_F(PolicyLifecycleTest, PresentationForwardersCheckTheirArgumentsInOrder)
{
    ScopedPolicy policy{{"a", "1"}};
    TaviPropertyQosPolicy form{};
    struct Case {
        const char *what;
        DDS_ReturnCode_t (*call)(DDS_PropertyQosPolicy *, TaviPropertyQosPolicy *);
        bool nullPolicy;
        const char *test;
    };
    const Case cases[] = {
        {"to, null self",
         [](DDS_PropertyQosPolicy *, TaviPropertyQosPolicy *f) {
             return DDS_PropertyQosPolicy_to_presentation_qos_policy(nullptr, f);
         },
         true, "self == ((void *)0)"},
        {"to, null dst",
         [](DDS_PropertyQosPolicy *p, TaviPropertyQosPolicy *) {
             return DDS_PropertyQosPolicy_to_presentation_qos_policy(p, nullptr);
         },
         false, "dst == ((void *)0)"},
        {"to, both null: self first",
         [](DDS_PropertyQosPolicy *, TaviPropertyQosPolicy *) {
             return DDS_PropertyQosPolicy_to_presentation_qos_policy(nullptr, nullptr);
         },
         true, "self == ((void *)0)"},
        {"from, null self",
         [](DDS_PropertyQosPolicy *, TaviPropertyQosPolicy *f) {
             return DDS_PropertyQosPolicy_from_presentation_qos_policy(nullptr, f);
         },
         true, "self == ((void *)0)"},
        {"from, null src",
         [](DDS_PropertyQosPolicy *p, TaviPropertyQosPolicy *) {
             return DDS_PropertyQosPolicy_from_presentation_qos_policy(p, nullptr);
         },
         false, "src == ((void *)0)"},
        {"from, both null: self first",
         [](DDS_PropertyQosPolicy *, TaviPropertyQosPolicy *) {
             return DDS_PropertyQosPolicy_from_presentation_qos_policy(nullptr, nullptr);
         },
         true, "self == ((void *)0)"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.what);
        log.clear();
        ZynLog_g_preconditionDetected = 0;
        const unsigned int hits = ZynLog_g_assertBreakpointCount;
        EXPECT_EQ(c.call(&policy.policy, &form), DDS_RETCODE_BAD_PARAMETER);
        expectOnlyEntry(ZYN_LOG_LEVEL_PRECONDITION, "ZYN_LOG_PRECONDITION_FAILURE_s",
                        {"\"" + std::string(c.test) + "\""});
        EXPECT_EQ(ZynLog_g_preconditionDetected, 1);
        EXPECT_EQ(ZynLog_g_assertBreakpointCount, hits + 1);
    }
    EXPECT_EQ(describe(&policy.policy), "a=1;");
}

TEST_F(PolicyLifecycleTest, PresentationRoundTripThroughThePolicyOperations)
{
    ScopedPolicy policy{{"dds.a", "1"}, {"dds.b", "two"}};
    DDS_PropertySeq_get_reference(&policy.policy.value, 0)->propagate = DDS_BOOLEAN_TRUE;
    TaviPropertyQosPolicy form{};
    // "dds.a" 6 + "1" 2 + "dds.b" 6 + "two" 4 = 18 characters: the limits hold it exactly.
    ASSERT_EQ(DDS_PropertyQosPolicy_setup_presentation_policyI(&form, 2, 18), DDS_RETCODE_OK);
    EXPECT_EQ(form.data._maximum, 2u);
    EXPECT_EQ(form.data._string_maximum, 18u);
    ASSERT_EQ(DDS_PropertyQosPolicy_to_presentation_qos_policy(&policy, &form), DDS_RETCODE_OK);
    EXPECT_EQ(form.data._length, 2u);

    ScopedPolicy back{{"other", "x"}};
    ASSERT_EQ(DDS_PropertyQosPolicy_from_presentation_qos_policy(&back, &form), DDS_RETCODE_OK);
    EXPECT_EQ(describe(&back.policy), "dds.a=1+;dds.b=two;");
    EXPECT_TRUE(DDS_PropertyQosPolicy_equals(&back, &policy, DDS_BOOLEAN_FALSE));

    // One more character than the form holds: the sequence layer's code comes back unchanged.
    ASSERT_EQ(DDS_PropertyQosPolicyHelper_assert_property(&policy, "dds.b", "twoo",
                                                          DDS_BOOLEAN_FALSE),
              DDS_RETCODE_OK);
    EXPECT_EQ(DDS_PropertyQosPolicy_to_presentation_qos_policy(&policy, &form),
              DDS_RETCODE_OUT_OF_RESOURCES);
    EXPECT_EQ(DDS_PropertyQosPolicy_finalize_presentation_policyI(&form), DDS_RETCODE_OK);
    EXPECT_EQ(form.data._buffer, nullptr);
    EXPECT_EQ(log.size(), 0u) << log.dump();

    // The forwarders make no checks of their own: the sequence layer answers.
    EXPECT_EQ(DDS_PropertyQosPolicy_setup_presentation_policyI(nullptr, 1, 1),
              DDS_RETCODE_BAD_PARAMETER);
    EXPECT_EQ(DDS_PropertyQosPolicy_finalize_presentation_policyI(nullptr),
              DDS_RETCODE_BAD_PARAMETER);
    DDS_PropertyQosPolicy_finalize_presentation_policy(nullptr);
    EXPECT_EQ(log.size(), 0u);

    // Setup, then a conversion back, under every allocation failure.
    sweepAllocationFailures([&](long k) {
        TaviPropertyQosPolicy sized{};
        DDS_ReturnCode_t rc;
        {
            FailAfter armed(k);
            rc = DDS_PropertyQosPolicy_setup_presentation_policyI(&sized, 4, 40);
        }
        if (rc != DDS_RETCODE_OK) {
            EXPECT_EQ(rc, DDS_RETCODE_OUT_OF_RESOURCES);
            return false;
        }
        DDS_PropertyQosPolicy_finalize_presentation_policy(&sized);
        return true;
    });
    ASSERT_EQ(DDS_PropertyQosPolicy_setup_presentation_policyI(&form, 2, 18), DDS_RETCODE_OK);
    ASSERT_EQ(DDS_PropertyQosPolicy_to_presentation_qos_policy(&back, &form), DDS_RETCODE_OK);
    sweepAllocationFailures([&](long k) {
        ScopedPolicy target{{"keep", "me"}};
        DDS_ReturnCode_t rc;
        {
            FailAfter armed(k);
            rc = DDS_PropertyQosPolicy_from_presentation_qos_policy(&target, &form);
        }
        EXPECT_EQ(describe(&target.policy), rc == DDS_RETCODE_OK ? "dds.a=1+;dds.b=two;"
                                                                 : "keep=me;");
        return rc == DDS_RETCODE_OK;
    });
    DDS_PropertyQosPolicy_finalize_presentation_policy(&form);
}
