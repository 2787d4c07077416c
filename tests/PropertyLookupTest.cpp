// Single-property operations: count, add, assert (also under a prefix), look up (by name, index,
// under a prefix), remove; their entries and their behaviour when memory runs out.
#include <string>

#include "support/TestSupport.h"

using namespace propqos_test;

namespace {

class PropertyLookupTest : public ModuleTest {};

constexpr auto count = DDS_PropertyQosPolicyHelper_get_number_of_properties;
constexpr auto add = DDS_PropertyQosPolicyHelper_add_property;
constexpr auto put = DDS_PropertyQosPolicyHelper_assert_property;
constexpr auto putWithPrefix = DDS_PropertyQosPolicyHelper_assertPropertyWithPrefix;
constexpr auto lookup = DDS_PropertyQosPolicyHelper_lookup_property;
constexpr auto lookupIndex = DDS_PropertyQosPolicyHelper_lookup_property_index;
constexpr auto lookupWithPrefix = DDS_PropertyQosPolicyHelper_lookup_property_with_prefix;
constexpr auto removeProperty = DDS_PropertyQosPolicyHelper_remove_property;

std::string shown(const DDS_Property_t *p)
{
    return p == nullptr ? "(none)" : std::string(p->value) + (p->propagate ? "+" : "");
}


}  // namespace

TEST_F(PropertyLookupTest, AddAppendsAndAssertReplacesOrAppendsWithTheGivenFlag)
{
    ScopedPolicy policy;
    EXPECT_EQ(count(&policy), 0);
    ASSERT_EQ(add(&policy, "a", "1", DDS_BOOLEAN_TRUE), DDS_RETCODE_OK);
    ASSERT_EQ(add(&policy, "b", "2", DDS_BOOLEAN_FALSE), DDS_RETCODE_OK);
    EXPECT_EQ(count(&policy), 2);
    ASSERT_EQ(put(&policy, "b", "22", DDS_BOOLEAN_TRUE), DDS_RETCODE_OK);
    EXPECT_EQ(describe(policy.policy), "a=1+;b=22+;") << "same count, new value, new flag";
    ASSERT_EQ(put(&policy, "b", "22", DDS_BOOLEAN_FALSE), DDS_RETCODE_OK);
    ASSERT_EQ(put(&policy, "c", "3", DDS_BOOLEAN_TRUE), DDS_RETCODE_OK);
    EXPECT_EQ(describe(policy.policy), "a=1+;b=22;c=3+;") << "the flag is overwritten both ways";
    EXPECT_EQ(log.size(), 0u);

    // What the sequence layer refuses: its code, the entry, nothing changed and no flag set.
    EXPECT_NE(add(&policy, "c", nullptr, DDS_BOOLEAN_TRUE), DDS_RETCODE_OK);
    expectOnlyEntry(ZYN_LOG_LEVEL_ERROR, "ZYN_LOG_ANY_FAILURE_ss", {"Add property: ", "c"});
    log.clear();
    EXPECT_NE(add(&policy, nullptr, "v", DDS_BOOLEAN_TRUE), DDS_RETCODE_OK);
    EXPECT_EQ(log.count("ZYN_LOG_ANY_FAILURE_ss"), 1u);
    log.clear();
    EXPECT_NE(put(&policy, "a", nullptr, DDS_BOOLEAN_FALSE), DDS_RETCODE_OK);
    expectOnlyEntry(ZYN_LOG_LEVEL_ERROR, "ZYN_LOG_ADD_FAILURE_s", {"element"});
    EXPECT_EQ(describe(policy.policy), "a=1+;b=22;c=3+;");

    // Memory running out on the adding, replacing and appending paths.
}

TEST_F(PropertyLookupTest, AssertWithPrefixComposesPrefixDotName)
{
    ScopedPolicy policy;
    const std::string longPrefix(3000, 'p');  // nothing truncates a long composed name
    const std::pair<const char *, std::string> cases[] = {
        {"dds.transport.x", "dds.transport.x.mode"}, {"dds.transport.x.", "dds.transport.x..mode"},
        {"", ".mode"}, {nullptr, "mode"}, {longPrefix.c_str(), longPrefix + ".mode"}};
    for (const auto &c : cases) {
        ASSERT_EQ(putWithPrefix(&policy, c.first, "mode", "on", 1), DDS_RETCODE_OK);
        EXPECT_EQ(shown(lookup(&policy, c.second.c_str())), "on+") << c.second.substr(0, 30);
    }
    EXPECT_EQ(policy.size(), 5);
    ASSERT_EQ(putWithPrefix(&policy, "", "mode", "off", 0), DDS_RETCODE_OK);  // replaced, new flag
    EXPECT_EQ(shown(lookup(&policy, ".mode")), "off");
    EXPECT_EQ(log.size(), 0u) << log.dump();
    EXPECT_NE(putWithPrefix(&policy, "p", nullptr, "v", 1), DDS_RETCODE_OK) << "refused, harmless";
    EXPECT_EQ(policy.size(), 5);

}

TEST_F(PropertyLookupTest, LookupAndRemoveAnswerWithoutLoggingAbsence)
{
    ScopedPolicy policy{{"a", "1"}, {"b", "2"}};
    DDS_Property_t *element = nullptr;
    const DDS_Property_t *found = lookup(&policy, "b");
    EXPECT_EQ(found, DDS_PropertySeq_get_reference(&policy.policy.value, 1)) << "into the policy";
    EXPECT_TRUE(lookup(&policy, "c") == nullptr && lookup(&policy, nullptr) == nullptr);
    EXPECT_EQ(lookupIndex(&policy, "b", &element), 1);
    EXPECT_EQ(element, found);
    EXPECT_EQ(lookupIndex(&policy, "c", &element), -1);
    EXPECT_EQ(removeProperty(&policy, "a"), DDS_RETCODE_OK);
    EXPECT_EQ(removeProperty(&policy, "a"), DDS_RETCODE_NO_DATA);
    EXPECT_NE(removeProperty(&policy, nullptr), DDS_RETCODE_OK);
    EXPECT_EQ(describe(policy.policy), "b=2;");
    EXPECT_EQ(log.size(), 0u) << log.dump();
}

TEST_F(PropertyLookupTest, LookupWithPrefixWantsTheDotBetween)
{
    ScopedPolicy policy{{"pn", "together"}, {"p.n", "dotted"}, {"p..m", "double"}, {".m", "lead"}};
    EXPECT_EQ(shown(lookupWithPrefix(&policy, "p", "n")), "dotted");
    EXPECT_EQ(lookupWithPrefix(&policy, "p", "m"), nullptr) << "nor run together, nor another";
    EXPECT_EQ(shown(lookupWithPrefix(&policy, "p.", "m")), "double");
    EXPECT_EQ(shown(lookupWithPrefix(&policy, "", "m")), "lead");
    EXPECT_EQ(shown(lookupWithPrefix(&policy, nullptr, "pn")), "together");
    EXPECT_EQ(log.size(), 0u) << log.dump();
    EXPECT_EQ(lookupWithPrefix(&policy, "p", nullptr), nullptr);
    EXPECT_EQ(policy.size(), 4);

}
