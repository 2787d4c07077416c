// Reading and writing the validation action property.
#include <cstring>

#include "support/TestSupport.h"

namespace {

using namespace propqos_test;

constexpr const char *kFull = "dds.participant.property_validation_action";
constexpr const char *kShort = "property_validation_action";
constexpr auto add = DDS_PropertyQosPolicy_add_property_validation_action;
constexpr DDS_Long WARNING = DDS_PROPERTY_QOS_POLICY_VALIDATION_ACTION_WARNING;
constexpr DDS_Long EXCEPTION = DDS_PROPERTY_QOS_POLICY_VALIDATION_ACTION_EXCEPTION;
constexpr DDS_Long SKIP = DDS_PROPERTY_QOS_POLICY_VALIDATION_ACTION_SKIP;

DDS_PropertyQosPolicyValidationAction action(DDS_Long value)
{
    return static_cast<DDS_PropertyQosPolicyValidationAction>(value);
}

class ValidationActionTest : public ModuleTest {
protected:
    // Reads the policy on a clear log; `out` gets the output as an integer (a refused number is
    // no enumerator).
    int parse(DDS_PropertyQosPolicy *policy, DDS_Long &out)
    {
        log.clear();
        ZynLog_g_preconditionDetected = 0;
        DDS_PropertyQosPolicyValidationAction read = action(SKIP);
        int ok = DDS_PropertyQosPolicy_parse_property_validation_action(&read, policy);
        std::memcpy(&out, &read, sizeof out);
        return ok;
    }
    int parse(const char *name, const char *value, DDS_Long &out)
    {
        ScopedPolicy policy{{name, value}};
        return parse(&policy, out);
    }
};

TEST_F(ValidationActionTest, ReadsWordsAndNumbers)
{
    DDS_Long read = 99;
    ScopedPolicy none{{"dds.participant.index", "3"}};
    EXPECT_EQ(parse(&none, read), 1);
    EXPECT_EQ(read, EXCEPTION) << "the default without the property";
    const struct {
        const char *name, *value;
        DDS_Long action;
    } cases[] = {{kFull, "VALIDATION_ACTION_WARNING", WARNING},
                 {kFull, "Validation_Action_Exception", EXCEPTION},
                 {kShort, "validation_action_skip", SKIP},
                 {kFull, "-1", WARNING}, {kShort, "0", EXCEPTION}, {kFull, "1", SKIP}};
    for (const auto &c : cases) {
        EXPECT_EQ(parse(c.name, c.value, read), 1) << c.value;
        EXPECT_EQ(read, c.action) << c.value;
    }
    EXPECT_EQ(log.size(), 0u) << log.dump();
    // Both names present: the full one is read, good or bad, and the short one ignored.
    ScopedPolicy both{{kShort, "nonsense"}, {kFull, "VALIDATION_ACTION_WARNING"}};
    EXPECT_EQ(parse(&both, read), 1);
    EXPECT_EQ(read, WARNING);
    ScopedPolicy badFull{{kShort, "1"}, {kFull, "nonsense"}};
    EXPECT_EQ(parse(&badFull, read), 0);
    expectOnlyEntry(ZYN_LOG_LEVEL_ERROR, "ZYN_LOG_BAD_STRING_FORMAT_ss", {kFull, "nonsense"});
}

TEST_F(ValidationActionTest, RefusesNumbersOutOfRangeAndOtherText)
{
    // The number is handed back even when refused; the entries name the full property even when
    // the short name held the value.
    DDS_Long read = 99;
    for (const auto &[name, value] : {std::pair{kFull, 2}, std::pair{kShort, -2}}) {
        EXPECT_EQ(parse(name, std::to_string(value).c_str(), read), 0);
        EXPECT_EQ(read, value);
        expectOnlyEntry(ZYN_LOG_LEVEL_ERROR, "ZYN_LOG_PARSER_VALUE_OUT_OF_RANGE_ss",
                        {kFull, "[-1 , 1]"});
    }
    EXPECT_EQ(parse(kShort, "VALIDATION_ACTION_WARN", read), 0);
    EXPECT_EQ(read, EXCEPTION) << "a failed conversion leaves the default";
    expectOnlyEntry(ZYN_LOG_LEVEL_ERROR, "ZYN_LOG_BAD_STRING_FORMAT_ss",
                    {kFull, "VALIDATION_ACTION_WARN"});

    EXPECT_EQ(parse(nullptr, read), 0);
    EXPECT_EQ(read, EXCEPTION) << "the default is written before the policy is checked";
    // A property without a value can only be held in lent storage.
    DDS_Property_t element = {const_cast<char *>(kFull), nullptr, DDS_BOOLEAN_FALSE};
    DDS_PropertyQosPolicy lent = DDS_PropertyQosPolicy_INITIALIZER;
    ASSERT_TRUE(DDS_PropertySeq_loan_contiguous(&lent.value, &element, 1, 1));
    EXPECT_EQ(parse(&lent, read), 0);
    expectPrecondition("property->value == ((void *)0)");
    DDS_PropertySeq_unloan(&lent.value);
}

TEST_F(ValidationActionTest, WritesTheShortNameOnce)
{
    // -2 stands for any value other than -1 and 0.
    const std::pair<DDS_Long, const char *> cases[] = {{WARNING, "VALIDATION_ACTION_WARNING"},
                                                       {EXCEPTION, "VALIDATION_ACTION_EXCEPTION"},
                                                       {SKIP, "VALIDATION_ACTION_SKIP"},
                                                       {-2, "VALIDATION_ACTION_SKIP"}};
    for (const auto &[value, word] : cases) {
        ScopedPolicy policy;
        EXPECT_EQ(add(&policy, action(value)), 1);
        ASSERT_EQ(policy.size(), 1);
        EXPECT_STREQ(policy.at(0).name, kShort);
        EXPECT_STREQ(policy.at(0).value, word);
        EXPECT_EQ(policy.at(0).propagate, DDS_BOOLEAN_FALSE);
    }
    // Already there under the short name: untouched, whatever its value.
    ScopedPolicy present{{kShort, "garbage"}};
    EXPECT_EQ(add(&present, action(WARNING)), 1);
    EXPECT_TRUE(present.size() == 1 && std::strcmp(present.at(0).value, "garbage") == 0);
    // Only the full name there: the short one is added, and reading still prefers the full.
    ScopedPolicy full{{kFull, "VALIDATION_ACTION_WARNING"}};
    EXPECT_EQ(add(&full, action(SKIP)), 1);
    ASSERT_EQ(full.size(), 2);
    EXPECT_STREQ(full.at(1).name, kShort);
    DDS_Long read = 99;
    EXPECT_EQ(parse(&full, read), 1);
    EXPECT_EQ(read, WARNING);
    EXPECT_EQ(log.size(), 0u) << log.dump();
}

}  // namespace
