// Single-property operations: count, add, assert (also under a prefix), look up (by name, index,
// under a prefix), remove; their entries and their behaviour when memory runs out.
#include <string>

#include "support/TestSupport.h"

using namespace propqos_test;

namespace {

class PropertyLookupTest : public ModuleTest {};

std::string describe(const DDS_PropertyQosPolicy *policy)
{
    std::string out;
    for (DDS_Long i = 0; i < DDS_PropertySeq_get_length(&policy->value); ++i) {
        const DDS_Property_t *p = DDS_PropertySeq_get_reference(&policy->value, i);
        out += std::string(p->name) + "=" + p->value + (p->propagate ? "+" : "") + ";";
    }
    return out;
}

// An error entry with the policy's name, as the null-policy checks write it.
void expectBadPolicy(const LogCapture &log)
{
    ASSERT_EQ(log.size(), 1u) << log.dump();
    EXPECT_TRUE(log.contains(ZYN_LOG_LEVEL_ERROR, "DDS_LOG_BAD_PARAMETER_s", {"policy"}))
        << log.dump();
    EXPECT_EQ(ZynLog_g_preconditionDetected, 0);
}

}  // namespace

TEST_F(PropertyLookupTest, CountIsTheLengthOrMinusOne)
{
    ScopedPolicy policy;
    EXPECT_EQ(DDS_PropertyQosPolicyHelper_get_number_of_properties(&policy), 0);
    ASSERT_EQ(DDS_PropertyQosPolicyHelper_add_property(&policy, "a", "1", DDS_BOOLEAN_FALSE),
              DDS_RETCODE_OK);
    ASSERT_EQ(DDS_PropertyQosPolicyHelper_add_property(&policy, "b", "2", DDS_BOOLEAN_FALSE),
              DDS_RETCODE_OK);
    EXPECT_EQ(DDS_PropertyQosPolicyHelper_get_number_of_properties(&policy), 2);
    EXPECT_EQ(log.size(), 0u);
    EXPECT_EQ(DDS_PropertyQosPolicyHelper_get_number_of_properties(nullptr), -1);
    expectBadPolicy(log);
}

TEST_F(PropertyLookupTest, AddAppendsWithTheFlagAndReportsFailures)
{
    ScopedPolicy policy;
    ASSERT_EQ(DDS_PropertyQosPolicyHelper_add_property(&policy, "a", "1", DDS_BOOLEAN_TRUE),
              DDS_RETCODE_OK);
    ASSERT_EQ(DDS_PropertyQosPolicyHelper_add_property(&policy, "b", "2", DDS_BOOLEAN_FALSE),
              DDS_RETCODE_OK);
    EXPECT_EQ(describe(&policy.policy), "a=1+;b=2;");
    EXPECT_EQ(log.size(), 0u);

    EXPECT_EQ(DDS_PropertyQosPolicyHelper_add_property(nullptr, "a", "1", DDS_BOOLEAN_TRUE),
              DDS_RETCODE_BAD_PARAMETER);
    expectBadPolicy(log);

    // A value the sequence layer refuses: its code, the entry with the name, nothing added.
    log.clear();
    DDS_ReturnCode_t rc =
        DDS_PropertyQosPolicyHelper_add_property(&policy, "c", nullptr, DDS_BOOLEAN_TRUE);
    EXPECT_NE(rc, DDS_RETCODE_OK);
    expectOnlyEntry(ZYN_LOG_LEVEL_ERROR, "ZYN_LOG_ANY_FAILURE_ss", {"Add property: ", "c"});
    log.clear();
    EXPECT_NE(DDS_PropertyQosPolicyHelper_add_property(&policy, nullptr, "v", DDS_BOOLEAN_TRUE),
              DDS_RETCODE_OK);
    EXPECT_EQ(log.count("ZYN_LOG_ANY_FAILURE_ss"), 1u);
    EXPECT_EQ(describe(&policy.policy), "a=1+;b=2;");

    sweepAllocationFailures([&](long k) {
        log.clear();
        ScopedPolicy target{{"x", "0"}};
        DDS_ReturnCode_t result;
        {
            FailAfter armed(k);
            result = DDS_PropertyQosPolicyHelper_add_property(&target, "dds.name", "value",
                                                              DDS_BOOLEAN_TRUE);
        }
        if (result == DDS_RETCODE_OK) {
            EXPECT_EQ(describe(&target.policy), "x=0;dds.name=value+;");
            EXPECT_EQ(log.size(), 0u);
            return true;
        }
        EXPECT_EQ(result, DDS_RETCODE_OUT_OF_RESOURCES);
        expectOnlyEntry(ZYN_LOG_LEVEL_ERROR, "ZYN_LOG_ANY_FAILURE_ss",
                        {"Add property: ", "dds.name"});
        EXPECT_EQ(describe(&target.policy), "x=0;");
        return false;
    });
}

TEST_F(PropertyLookupTest, AssertReplacesOrAddsAndAlwaysSetsTheFlag)
{
    ScopedPolicy policy{{"a", "1"}, {"b", "2"}};
    ASSERT_EQ(DDS_PropertyQosPolicyHelper_assert_property(&policy, "b", "22", DDS_BOOLEAN_TRUE),
              DDS_RETCODE_OK);
    EXPECT_EQ(describe(&policy.policy), "a=1;b=22+;") << "same count, new value, new flag";
    ASSERT_EQ(DDS_PropertyQosPolicyHelper_assert_property(&policy, "b", "22", DDS_BOOLEAN_FALSE),
              DDS_RETCODE_OK);
    EXPECT_EQ(describe(&policy.policy), "a=1;b=22;") << "the flag is overwritten both ways";
    ASSERT_EQ(DDS_PropertyQosPolicyHelper_assert_property(&policy, "c", "3", DDS_BOOLEAN_TRUE),
              DDS_RETCODE_OK);
    EXPECT_EQ(describe(&policy.policy), "a=1;b=22;c=3+;");
    EXPECT_EQ(log.size(), 0u);

    EXPECT_EQ(DDS_PropertyQosPolicyHelper_assert_property(nullptr, "a", "1", DDS_BOOLEAN_TRUE),
              DDS_RETCODE_BAD_PARAMETER);
    expectBadPolicy(log);
    log.clear();
    EXPECT_NE(DDS_PropertyQosPolicyHelper_assert_property(&policy, "a", nullptr, DDS_BOOLEAN_TRUE),
              DDS_RETCODE_OK);
    expectOnlyEntry(ZYN_LOG_LEVEL_ERROR, "ZYN_LOG_ADD_FAILURE_s", {"element"});
    EXPECT_EQ(describe(&policy.policy), "a=1;b=22;c=3+;") << "a failed assert sets no flag";

    // Failure on the replacing path and on the appending path.
    for (const char *name : {"c", "d"}) {
        SCOPED_TRACE(name);
        sweepAllocationFailures([&](long k) {
            log.clear();
            ScopedPolicy target{{"c", "3"}};
            DDS_PropertySeq_get_reference(&target.policy.value, 0)->propagate = DDS_BOOLEAN_TRUE;
            const std::string before = describe(&target.policy);
            DDS_ReturnCode_t result;
            {
                FailAfter armed(k);
                result = DDS_PropertyQosPolicyHelper_assert_property(&target, name, "new",
                                                                     DDS_BOOLEAN_FALSE);
            }
            if (result == DDS_RETCODE_OK) {
                EXPECT_EQ(describe(&target.policy),
                          std::string(name) == "c" ? "c=new;" : "c=3+;d=new;");
                return true;
            }
            EXPECT_EQ(result, DDS_RETCODE_OUT_OF_RESOURCES);
            expectOnlyEntry(ZYN_LOG_LEVEL_ERROR, "ZYN_LOG_ADD_FAILURE_s", {"element"});
            EXPECT_EQ(describe(&target.policy), before);
            return false;
        });
    }
}

TEST_F(PropertyLookupTest, AssertWithPrefixComposesPrefixDotName)
{
    ScopedPolicy policy;
    struct Case {
        const char *prefix;
        const char *expected;
    };
    for (const Case &c : {Case{"dds.transport.x", "dds.transport.x.mode"},
                          Case{"dds.transport.x.", "dds.transport.x..mode"},
                          Case{"", ".mode"}, Case{nullptr, "mode"}}) {
        ASSERT_EQ(DDS_PropertyQosPolicyHelper_assertPropertyWithPrefix(&policy, c.prefix, "mode",
                                                                       "on", DDS_BOOLEAN_TRUE),
                  DDS_RETCODE_OK);
        const DDS_Property_t *found = DDS_PropertyQosPolicyHelper_lookup_property(&policy,
                                                                                  c.expected);
        ASSERT_NE(found, nullptr) << c.expected;
        EXPECT_STREQ(found->value, "on");
        EXPECT_TRUE(found->propagate);
    }
    EXPECT_EQ(policy.size(), 4);
    // Asserting again replaces and applies the new flag.
    ASSERT_EQ(DDS_PropertyQosPolicyHelper_assertPropertyWithPrefix(&policy, "", "mode", "off",
                                                                   DDS_BOOLEAN_FALSE),
              DDS_RETCODE_OK);
    EXPECT_EQ(policy.size(), 4);
    EXPECT_STREQ(DDS_PropertyQosPolicyHelper_lookup_property(&policy, ".mode")->value, "off");
    EXPECT_FALSE(DDS_PropertyQosPolicyHelper_lookup_property(&policy, ".mode")->propagate);

    // Nothing truncates a long composed name.
    const std::string longPrefix(3000, 'p');
    ASSERT_EQ(DDS_PropertyQosPolicyHelper_assertPropertyWithPrefix(&policy, longPrefix.c_str(), "n",
                                                                   "v", DDS_BOOLEAN_FALSE),
              DDS_RETCODE_OK);
    EXPECT_NE(DDS_PropertyQosPolicyHelper_lookup_property(&policy, (longPrefix + ".n").c_str()),
              nullptr);
    EXPECT_EQ(log.size(), 0u) << log.dump();

    // A null policy is reported by the assert, after the name was composed (and freed).
    EXPECT_EQ(DDS_PropertyQosPolicyHelper_assertPropertyWithPrefix(nullptr, "p", "n", "v",
                                                                   DDS_BOOLEAN_TRUE),
              DDS_RETCODE_BAD_PARAMETER);
    expectBadPolicy(log);

    // A null name under a prefix is refused without harm.
    log.clear();
    EXPECT_NE(DDS_PropertyQosPolicyHelper_assertPropertyWithPrefix(&policy, "p", nullptr, "v",
                                                                   DDS_BOOLEAN_TRUE),
              DDS_RETCODE_OK);
    EXPECT_EQ(policy.size(), 5);
}

TEST_F(PropertyLookupTest, AssertWithPrefixReportsEachAllocationFailure)
{
    sweepAllocationFailures([&](long k) {
        log.clear();
        ScopedPolicy target{{"p.n", "old"}, {"q", "1"}};
        DDS_ReturnCode_t result;
        {
            FailAfter armed(k);
            result = DDS_PropertyQosPolicyHelper_assertPropertyWithPrefix(&target, "p", "n", "new",
                                                                          DDS_BOOLEAN_TRUE);
        }
        if (result == DDS_RETCODE_OK) {
            EXPECT_EQ(describe(&target.policy), "p.n=new+;q=1;");
            EXPECT_EQ(log.size(), 0u);
            return true;
        }
        if (k == 0) {
            EXPECT_EQ(result, DDS_RETCODE_ERROR);
            expectOnlyEntry(ZYN_LOG_LEVEL_ERROR, "ZYN_LOG_FAILED_TO_ALLOCATE_TEMPLATE",
                            {"auxilary property name"});
        } else {
            EXPECT_EQ(result, DDS_RETCODE_OUT_OF_RESOURCES);
            expectOnlyEntry(ZYN_LOG_LEVEL_ERROR, "ZYN_LOG_ADD_FAILURE_s", {"element"});
        }
        EXPECT_EQ(describe(&target.policy), "p.n=old;q=1;");
        return false;
    });
}

TEST_F(PropertyLookupTest, LookupFindsByNameAndIndexWithoutLoggingAbsence)
{
    ScopedPolicy policy{{"a", "1"}, {"b", "2"}};
    const DDS_Property_t *found = DDS_PropertyQosPolicyHelper_lookup_property(&policy, "b");
    EXPECT_EQ(found, DDS_PropertySeq_get_reference(&policy.policy.value, 1)) << "into the policy";
    EXPECT_EQ(DDS_PropertyQosPolicyHelper_lookup_property(&policy, "c"), nullptr);
    EXPECT_EQ(DDS_PropertyQosPolicyHelper_lookup_property(&policy, nullptr), nullptr);

    DDS_Property_t *element = nullptr;
    EXPECT_EQ(DDS_PropertyQosPolicyHelper_lookup_property_index(&policy, "b", &element), 1);
    EXPECT_EQ(element, found);
    EXPECT_EQ(DDS_PropertyQosPolicyHelper_lookup_property_index(&policy, "c", &element), -1);
    EXPECT_EQ(log.size(), 0u) << "absence is not logged";

    EXPECT_EQ(DDS_PropertyQosPolicyHelper_lookup_property(nullptr, "a"), nullptr);
    expectOnlyEntry(ZYN_LOG_LEVEL_ERROR, "ZYN_LOG_BAD_PARAMETER_FAILURE_TEMPLATE",
                    {"Provided policy does not exist.\n"});
    log.clear();
    EXPECT_EQ(DDS_PropertyQosPolicyHelper_lookup_property_index(nullptr, "a", &element), -1);
    expectOnlyEntry(ZYN_LOG_LEVEL_ERROR, "ZYN_LOG_BAD_PARAMETER_FAILURE_TEMPLATE",
                    {"Provided policy does not exist."});
    log.clear();
    EXPECT_EQ(DDS_PropertyQosPolicyHelper_lookup_property_index(&policy, nullptr, &element), -1);
    expectOnlyEntry(ZYN_LOG_LEVEL_ERROR, "ZYN_LOG_BAD_PARAMETER_FAILURE_TEMPLATE",
                    {"Provided name does not exist."});
    log.clear();
    EXPECT_EQ(DDS_PropertyQosPolicyHelper_lookup_property_index(nullptr, nullptr, &element), -1);
    expectOnlyEntry(ZYN_LOG_LEVEL_ERROR, "ZYN_LOG_BAD_PARAMETER_FAILURE_TEMPLATE",
                    {"Provided policy does not exist."});
    EXPECT_EQ(ZynLog_g_preconditionDetected, 0);
}

TEST_F(PropertyLookupTest, LookupWithPrefixWantsTheDotBetween)
{
    ScopedPolicy policy{{"pn", "together"}, {"p.n", "dotted"}, {"p..m", "double"}, {".m", "lead"}};
    const DDS_Property_t *found =
        DDS_PropertyQosPolicyHelper_lookup_property_with_prefix(&policy, "p", "n");
    ASSERT_NE(found, nullptr);
    EXPECT_STREQ(found->value, "dotted");
    EXPECT_EQ(DDS_PropertyQosPolicyHelper_lookup_property_with_prefix(&policy, "p", "m"), nullptr)
        << "the run-together or other names do not match";
    EXPECT_STREQ(DDS_PropertyQosPolicyHelper_lookup_property_with_prefix(&policy, "p.", "m")->value,
                 "double");
    EXPECT_STREQ(DDS_PropertyQosPolicyHelper_lookup_property_with_prefix(&policy, "", "m")->value,
                 "lead");
    EXPECT_STREQ(DDS_PropertyQosPolicyHelper_lookup_property_with_prefix(&policy, nullptr, "pn")
                     ->value,
                 "together");
    EXPECT_EQ(DDS_PropertyQosPolicyHelper_lookup_property_with_prefix(&policy, "p", nullptr),
              nullptr);
    EXPECT_EQ(policy.size(), 4);

    // A null policy is reported as the plain lookup reports it.
    log.clear();
    EXPECT_EQ(DDS_PropertyQosPolicyHelper_lookup_property_with_prefix(nullptr, "p", "n"), nullptr);
    expectOnlyEntry(ZYN_LOG_LEVEL_ERROR, "ZYN_LOG_BAD_PARAMETER_FAILURE_TEMPLATE",
                    {"Provided policy does not exist.\n"});

    sweepAllocationFailures([&](long k) {
        log.clear();
        const DDS_Property_t *result;
        {
            FailAfter armed(k);
            result = DDS_PropertyQosPolicyHelper_lookup_property_with_prefix(&policy, "p", "n");
        }
        if (result != nullptr) {
            EXPECT_STREQ(result->value, "dotted");
            EXPECT_EQ(log.size(), 0u);
            return true;
        }
        expectOnlyEntry(ZYN_LOG_LEVEL_ERROR, "DDS_LOG_OUT_OF_RESOURCES_s", {"property name"});
        return false;
    });
}

TEST_F(PropertyLookupTest, RemoveReturnsTheSequenceCode)
{
    ScopedPolicy policy{{"a", "1"}, {"b", "2"}};
    EXPECT_EQ(DDS_PropertyQosPolicyHelper_remove_property(&policy, "a"), DDS_RETCODE_OK);
    EXPECT_EQ(describe(&policy.policy), "b=2;");
    EXPECT_EQ(DDS_PropertyQosPolicyHelper_remove_property(&policy, "a"), DDS_RETCODE_NO_DATA);
    EXPECT_NE(DDS_PropertyQosPolicyHelper_remove_property(&policy, nullptr), DDS_RETCODE_OK);
    EXPECT_EQ(describe(&policy.policy), "b=2;");
    EXPECT_EQ(log.size(), 0u) << "the sequence's code, no entry of its own";

    EXPECT_EQ(DDS_PropertyQosPolicyHelper_remove_property(nullptr, "b"), DDS_RETCODE_BAD_PARAMETER);
    expectBadPolicy(log);
}
