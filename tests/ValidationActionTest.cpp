// Reading and writing the validation action property.
#include <cstring>

#include "support/TestSupport.h"

namespace {

using propqos_test::FailAfter;
using propqos_test::ModuleTest;
using propqos_test::ScopedPolicy;
using propqos_test::sweepAllocationFailures;

constexpr const char *kFull = "dds.participant.property_validation_action";
constexpr const char *kShort = "property_validation_action";

constexpr DDS_PropertyQosPolicyValidationAction WARNING =
    DDS_PROPERTY_QOS_POLICY_VALIDATION_ACTION_WARNING;
constexpr DDS_PropertyQosPolicyValidationAction EXCEPTION =
    DDS_PROPERTY_QOS_POLICY_VALIDATION_ACTION_EXCEPTION;
constexpr DDS_PropertyQosPolicyValidationAction SKIP = DDS_PROPERTY_QOS_POLICY_VALIDATION_ACTION_SKIP;

// The output read back as the integer it holds: an out-of-range number is no enumerator.
DDS_Long raw(const DDS_PropertyQosPolicyValidationAction &action)
{
    DDS_Long value;
    std::memcpy(&value, &action, sizeof value);
    return value;
}

class ValidationActionTest : public ModuleTest {
protected:
    // Reads a policy holding `name` = `value`; the output as an integer.
    int parse(const char *name, const char *value, DDS_Long &out)
    {
        ScopedPolicy policy{{name, value}};
        DDS_PropertyQosPolicyValidationAction action = SKIP;
        int ok = DDS_PropertyQosPolicy_parse_property_validation_action(&action, &policy);
        out = raw(action);
        return ok;
    }
};

TEST_F(ValidationActionTest, ReadsWordsAndNumbers)
{
    DDS_Long action = 99;
    {
        ScopedPolicy none{{"dds.participant.index", "3"}};
        DDS_PropertyQosPolicyValidationAction read = SKIP;
        EXPECT_EQ(DDS_PropertyQosPolicy_parse_property_validation_action(&read, &none), 1);
        EXPECT_EQ(read, EXCEPTION) << "the default without the property";
    }

    EXPECT_EQ(parse(kFull, "VALIDATION_ACTION_WARNING", action), 1);
    EXPECT_EQ(action, WARNING);
    EXPECT_EQ(parse(kFull, "Validation_Action_Exception", action), 1);
    EXPECT_EQ(action, EXCEPTION);
    EXPECT_EQ(parse(kShort, "validation_action_skip", action), 1);
    EXPECT_EQ(action, SKIP);

    EXPECT_EQ(parse(kFull, "-1", action), 1);
    EXPECT_EQ(action, WARNING);
    EXPECT_EQ(parse(kShort, "0", action), 1);
    EXPECT_EQ(action, EXCEPTION);
    EXPECT_EQ(parse(kFull, "1", action), 1);
    EXPECT_EQ(action, SKIP);
    EXPECT_EQ(log.size(), 0u) << log.dump();
}

TEST_F(ValidationActionTest, RefusesNumbersOutOfRangeAndOtherText)
{
    DDS_Long action = 99;
    EXPECT_EQ(parse(kFull, "2", action), 0);
    EXPECT_EQ(action, 2) << "the number is handed back even when refused";
    expectOnlyEntry(ZYN_LOG_LEVEL_ERROR, "ZYN_LOG_PARSER_VALUE_OUT_OF_RANGE_ss",
                    {kFull, "[-1 , 1]"});

    log.clear();
    EXPECT_EQ(parse(kShort, "-2", action), 0);
    EXPECT_EQ(action, -2);
    // The entry names the full property even when the short name held the value.
    expectOnlyEntry(ZYN_LOG_LEVEL_ERROR, "ZYN_LOG_PARSER_VALUE_OUT_OF_RANGE_ss",
                    {kFull, "[-1 , 1]"});

    log.clear();
    EXPECT_EQ(parse(kShort, "VALIDATION_ACTION_WARN", action), 0);
    EXPECT_EQ(action, EXCEPTION) << "a failed conversion leaves the default";
    expectOnlyEntry(ZYN_LOG_LEVEL_ERROR, "ZYN_LOG_BAD_STRING_FORMAT_ss",
                    {kFull, "VALIDATION_ACTION_WARN"});

    log.clear();
    EXPECT_EQ(parse(kFull, "", action), 0);
    expectOnlyEntry(ZYN_LOG_LEVEL_ERROR, "ZYN_LOG_BAD_STRING_FORMAT_ss", {kFull, ""});
}

TEST_F(ValidationActionTest, FullNameIsReadBeforeShortName)
{
    ScopedPolicy both{{kShort, "VALIDATION_ACTION_SKIP"}, {kFull, "VALIDATION_ACTION_WARNING"}};
    DDS_PropertyQosPolicyValidationAction action = EXCEPTION;
    EXPECT_EQ(DDS_PropertyQosPolicy_parse_property_validation_action(&action, &both), 1);
    EXPECT_EQ(action, WARNING);

    // A bad short value does not matter while the full name is good...
    ScopedPolicy badShort{{kShort, "nonsense"}, {kFull, "1"}};
    EXPECT_EQ(DDS_PropertyQosPolicy_parse_property_validation_action(&action, &badShort), 1);
    EXPECT_EQ(action, SKIP);
    // ...and a bad full value is not rescued by a good short one.
    ScopedPolicy badFull{{kShort, "1"}, {kFull, "nonsense"}};
    EXPECT_EQ(DDS_PropertyQosPolicy_parse_property_validation_action(&action, &badFull), 0);
    expectOnlyEntry(ZYN_LOG_LEVEL_ERROR, "ZYN_LOG_BAD_STRING_FORMAT_ss", {kFull, "nonsense"});
}

TEST_F(ValidationActionTest, ReadingPreconditions)
{
    ScopedPolicy policy;
    EXPECT_EQ(DDS_PropertyQosPolicy_parse_property_validation_action(nullptr, &policy), 0);
    expectPrecondition("validationAction == ((void *)0)");

    log.clear();
    ZynLog_g_preconditionDetected = 0;
    DDS_PropertyQosPolicyValidationAction action = SKIP;
    EXPECT_EQ(DDS_PropertyQosPolicy_parse_property_validation_action(&action, nullptr), 0);
    EXPECT_EQ(action, EXCEPTION) << "the default is written before the policy is checked";
    expectPrecondition("inputProperty == ((void *)0)");

    // A property without a value: a lent element is the only way to hold one.
    log.clear();
    ZynLog_g_preconditionDetected = 0;
    DDS_Property_t element = {const_cast<char *>(kFull), nullptr, DDS_BOOLEAN_FALSE};
    DDS_PropertyQosPolicy lent = DDS_PropertyQosPolicy_INITIALIZER;
    ASSERT_TRUE(DDS_PropertySeq_loan_contiguous(&lent.value, &element, 1, 1));
    EXPECT_EQ(DDS_PropertyQosPolicy_parse_property_validation_action(&action, &lent), 0);
    expectPrecondition("property->value == ((void *)0)");
    DDS_PropertySeq_unloan(&lent.value);
}

TEST_F(ValidationActionTest, WritesTheShortNameOnce)
{
    struct Case {
        DDS_PropertyQosPolicyValidationAction action;
        const char *word;
    };
    // -2 stands for any value other than -1 and 0.
    const Case cases[] = {{WARNING, "VALIDATION_ACTION_WARNING"},
                          {EXCEPTION, "VALIDATION_ACTION_EXCEPTION"},
                          {SKIP, "VALIDATION_ACTION_SKIP"},
                          {static_cast<DDS_PropertyQosPolicyValidationAction>(-2),
                           "VALIDATION_ACTION_SKIP"}};
    for (const Case &c : cases) {
        ScopedPolicy policy;
        EXPECT_EQ(DDS_PropertyQosPolicy_add_property_validation_action(&policy, c.action), 1);
        ASSERT_EQ(policy.size(), 1);
        EXPECT_STREQ(policy.at(0).name, kShort);
        EXPECT_STREQ(policy.at(0).value, c.word);
        EXPECT_EQ(policy.at(0).propagate, DDS_BOOLEAN_FALSE);

        // What was written reads back as the same action.
        DDS_PropertyQosPolicyValidationAction read = EXCEPTION;
        EXPECT_EQ(DDS_PropertyQosPolicy_parse_property_validation_action(&read, &policy), 1);
        EXPECT_EQ(raw(read), c.action == WARNING || c.action == EXCEPTION ? c.action : SKIP);
    }

    // Already present under the short name: untouched, whatever its value.
    ScopedPolicy present{{kShort, "garbage"}};
    EXPECT_EQ(DDS_PropertyQosPolicy_add_property_validation_action(&present, WARNING), 1);
    ASSERT_EQ(present.size(), 1);
    EXPECT_STREQ(present.at(0).value, "garbage");

    // Only the full name present: the short one is added, and reading still prefers the full.
    ScopedPolicy full{{kFull, "VALIDATION_ACTION_WARNING"}};
    EXPECT_EQ(DDS_PropertyQosPolicy_add_property_validation_action(&full, SKIP), 1);
    ASSERT_EQ(full.size(), 2);
    EXPECT_STREQ(full.at(1).name, kShort);
    EXPECT_STREQ(full.at(1).value, "VALIDATION_ACTION_SKIP");
    DDS_PropertyQosPolicyValidationAction read = EXCEPTION;
    EXPECT_EQ(DDS_PropertyQosPolicy_parse_property_validation_action(&read, &full), 1);
    EXPECT_EQ(read, WARNING);
    EXPECT_EQ(log.size(), 0u) << log.dump();

    EXPECT_EQ(DDS_PropertyQosPolicy_add_property_validation_action(nullptr, SKIP), 0);
    expectPrecondition("properties == ((void *)0)");
}

TEST_F(ValidationActionTest, WritingSurvivesAllocationFailures)
{
    sweepAllocationFailures([&](long k) {
        ScopedPolicy policy{{"dds.participant.index", "1"}};
        log.clear();
        int ok;
        {
            FailAfter armed(k);
            ok = DDS_PropertyQosPolicy_add_property_validation_action(&policy, WARNING);
        }
        if (!ok) {
            EXPECT_TRUE(log.contains(ZYN_LOG_LEVEL_ERROR, "ZYN_LOG_ADD_FAILURE_s",
                                     {"property_validation_action"}))
                << log.dump();
            EXPECT_EQ(policy.size(), 1) << "a failed addition leaves the policy as it was";
            return false;
        }
        EXPECT_EQ(policy.size(), 2);
        return true;
    });
}

}  // namespace
