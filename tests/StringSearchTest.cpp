// The sorted string search: exact and partial modes, the comparators' null rules, the ordered
// search underneath, and lookups over the real mutability tables.
#include <cstring>
#include <string>

#include "infrastructure/PropertyQosPolicyInternal.h"
#include "support/TestSupport.h"

namespace {

using namespace propqos_test;

class StringSearchTest : public ModuleTest {};

// A record whose key is followed by data of its own, so that elementSize matters.
struct Record {
    const char *key;
    int payload;
    double padding;
};

constexpr DDS_UnsignedLong kUntouched = 777;

// Index found for `target`, or -1; asserts that the search logged nothing.
long find(const char *target, const Record *records, DDS_UnsignedLong count,
          int exact, LogCapture &log)
{
    DDS_UnsignedLong index = kUntouched;
    int found = DDS_PropertyQosPolicy_binaryStringSearch(&index, target, records, count,
                                                         sizeof(Record), exact);
    EXPECT_EQ(log.size(), 0u) << log.dump();
    if (!found) {
        return -1;
    }
    EXPECT_LT(index, count);
    EXPECT_EQ(records[index].payload, static_cast<int>(index) + 100);
    return static_cast<long>(index);
}

TEST_F(StringSearchTest, ExactModeFindsOnlyEqualKeys)
{
    const Record records[] = {{"a", 100, 0}, {"a.b", 101, 0}, {"a.c", 102, 0}};

    EXPECT_EQ(find("a.b", records, 3, 1, log), 1);
    EXPECT_EQ(find("a", records, 3, 1, log), 0);
    EXPECT_EQ(find("a.c", records, 3, 1, log), 2);
    // A name below a key is not the key.
    EXPECT_EQ(find("a.b.c", records, 3, 1, log), -1);
    EXPECT_EQ(find("", records, 3, 1, log), -1);
    EXPECT_EQ(find("b", records, 3, 1, log), -1);
    // An empty array holds nothing.
    EXPECT_EQ(find("a", records, 0, 1, log), -1);
    EXPECT_EQ(find("a", records, 0, 0, log), -1);
}

TEST_F(StringSearchTest, PartialModeMatchesKeysThatStartTheTarget)
{
    const Record records[] = {{"a.b", 100, 0}, {"x.y", 101, 0}};
    EXPECT_EQ(find("a.b.c", records, 2, 0, log), 0);
    EXPECT_EQ(find("x.y.z", records, 2, 0, log), 1);
    EXPECT_EQ(find("m", records, 2, 0, log), -1);

    // A target shorter than the key does not match it.
    const Record single[] = {{"a.b", 100, 0}};
    EXPECT_EQ(find("a", single, 1, 0, log), -1);

    // No separator is required after the key.
    const Record abc[] = {{"abc", 100, 0}};
    EXPECT_EQ(find("abc", abc, 1, 0, log), 0);
    EXPECT_EQ(find("abc.x", abc, 1, 0, log), 0);
    EXPECT_EQ(find("abcd", abc, 1, 0, log), 0);
    EXPECT_EQ(find("ab", abc, 1, 0, log), -1);

    // The empty key starts every target.
    const Record empty[] = {{"", 100, 0}};
    EXPECT_EQ(find("anything.at.all", empty, 1, 0, log), 0);
    EXPECT_EQ(find("", empty, 1, 0, log), 0);
}

TEST_F(StringSearchTest, NullArgumentsAreRefusedWithTheirTestText)
{
    const Record records[] = {{"a", 100, 0}};
    DDS_UnsignedLong index = kUntouched;

    EXPECT_EQ(DDS_PropertyQosPolicy_binaryStringSearch(nullptr, "a", records, 1, sizeof(Record), 1), 0);
    expectOnlyEntry(ZYN_LOG_LEVEL_PRECONDITION, "ZYN_LOG_PRECONDITION_FAILURE_s",
                    {"\"targetIndex == ((void *)0)\""});
    expectPrecondition("targetIndex == ((void *)0)");

    log.clear();
    EXPECT_EQ(DDS_PropertyQosPolicy_binaryStringSearch(&index, nullptr, records, 1, sizeof(Record), 1), 0);
    expectOnlyEntry(ZYN_LOG_LEVEL_PRECONDITION, "ZYN_LOG_PRECONDITION_FAILURE_s",
                    {"\"target == ((void *)0)\""});

    log.clear();
    EXPECT_EQ(DDS_PropertyQosPolicy_binaryStringSearch(&index, "a", nullptr, 1, sizeof(Record), 0), 0);
    expectOnlyEntry(ZYN_LOG_LEVEL_PRECONDITION, "ZYN_LOG_PRECONDITION_FAILURE_s",
                    {"\"list == ((void *)0)\""});
    EXPECT_EQ(index, kUntouched);
}

TEST_F(StringSearchTest, ComparatorsOrderNullsAndNullKeys)
{
    using Compare = DDS_Long (*)(const void *, const void *);
    const Compare comparators[] = {DDS_PropertyQosPolicy_binaryStringSearchExactCompare,
                                   DDS_PropertyQosPolicy_binaryStringSearchPartialCompare};
    const Record record = {"m", 0, 0};
    for (Compare compare : comparators) {
        log.clear();
        EXPECT_EQ(compare(nullptr, nullptr), 0);
        expectOnlyEntry(ZYN_LOG_LEVEL_PRECONDITION, "ZYN_LOG_PRECONDITION_FAILURE_s",
                        {"\"left == ((void *)0) && right == ((void *)0)\""});
        log.clear();
        EXPECT_EQ(compare(nullptr, &record), -1);
        expectOnlyEntry(ZYN_LOG_LEVEL_PRECONDITION, "ZYN_LOG_PRECONDITION_FAILURE_s",
                        {"\"left == ((void *)0)\""});
        log.clear();
        EXPECT_EQ(compare("m", nullptr), 1);
        expectOnlyEntry(ZYN_LOG_LEVEL_PRECONDITION, "ZYN_LOG_PRECONDITION_FAILURE_s",
                        {"\"right == ((void *)0)\""});
        log.clear();
        // The sign follows the target's place relative to the key.
        EXPECT_LT(compare("a", &record), 0);
        EXPECT_GT(compare("z", &record), 0);
        EXPECT_EQ(compare("m", &record), 0);
        EXPECT_EQ(log.size(), 0u) << log.dump();
    }

    // A null key is the empty string to the exact comparator, silently.
    const Record nullKey = {nullptr, 0, 0};
    EXPECT_EQ(DDS_PropertyQosPolicy_binaryStringSearchExactCompare("", &nullKey), 0);
    EXPECT_GT(DDS_PropertyQosPolicy_binaryStringSearchExactCompare("a", &nullKey), 0);
    EXPECT_EQ(log.size(), 0u) << log.dump();

    // ... and a precondition failure to the partial one, which sorts it before the target.
    EXPECT_EQ(DDS_PropertyQosPolicy_binaryStringSearchPartialCompare("a", &nullKey), 1);
    expectOnlyEntry(ZYN_LOG_LEVEL_PRECONDITION, "ZYN_LOG_PRECONDITION_FAILURE_s",
                    {"\"itemString == ((void *)0)\""});
}

TEST_F(StringSearchTest, OrderedSearchReportsInsertionPointOnlyWhenAsked)
{
    const Record records[] = {{"b", 100, 0}, {"d", 101, 0}, {"f", 102, 0}};
    auto compare = DDS_PropertyQosPolicy_binaryStringSearchExactCompare;
    const struct {
        const char *target;
        DDS_UnsignedLong insertAt;
    } absent[] = {{"a", 0}, {"c", 1}, {"e", 2}, {"g", 3}};
    for (const auto &c : absent) {
        DDS_UnsignedLong index = kUntouched;
        EXPECT_EQ(VorlOrderedDataType_binarySearch(&index, c.target, records, 3, sizeof(Record), 0,
                                                   compare),
                  nullptr);
        EXPECT_EQ(index, kUntouched) << c.target;
        EXPECT_EQ(VorlOrderedDataType_binarySearch(&index, c.target, records, 3, sizeof(Record), 1,
                                                   compare),
                  nullptr);
        EXPECT_EQ(index, c.insertAt) << c.target;
    }
    DDS_UnsignedLong index = kUntouched;
    EXPECT_EQ(VorlOrderedDataType_binarySearch(&index, "f", records, 3, sizeof(Record), 1, compare),
              &records[2]);
    EXPECT_EQ(index, 2u);
}

TEST_F(StringSearchTest, EveryKeyOfTheMutabilityTablesIsFoundAtItsOwnIndex)
{
    // Exact mode over the sorted property names: each name at its index, a longer one nowhere.
    for (DDS_UnsignedLong i = 0; i < PROPERTY_NO_PLUGIN_VALUE_ATTRIBUTES_COUNT; ++i) {
        const char *name = PROPERTY_NO_PLUGIN_VALUE_ATTRIBUTES[i].propertyName;
        DDS_UnsignedLong index = kUntouched;
        EXPECT_EQ(DDS_PropertyQosPolicy_binaryStringSearch(
                      &index, name, PROPERTY_NO_PLUGIN_VALUE_ATTRIBUTES,
                      PROPERTY_NO_PLUGIN_VALUE_ATTRIBUTES_COUNT, sizeof(PROPERTYValueAttributes), 1),
                  1)
            << name;
        EXPECT_EQ(index, i) << name;
        std::string longer = std::string(name) + "x";
        EXPECT_EQ(DDS_PropertyQosPolicy_binaryStringSearch(
                      &index, longer.c_str(), PROPERTY_NO_PLUGIN_VALUE_ATTRIBUTES,
                      PROPERTY_NO_PLUGIN_VALUE_ATTRIBUTES_COUNT, sizeof(PROPERTYValueAttributes), 1),
                  0)
            << longer;
    }
    // Partial mode over the plug-in prefixes: a setting below a prefix finds that prefix.
    for (DDS_UnsignedLong i = 0; i < PROPERTY_PLUGIN_VALUE_ATTRIBUTES_COUNT; ++i) {
        std::string setting = std::string(PROPERTY_PLUGIN_VALUE_ATTRIBUTES[i].prefix) + ".some.setting";
        DDS_UnsignedLong index = kUntouched;
        EXPECT_EQ(DDS_PropertyQosPolicy_binaryStringSearch(
                      &index, setting.c_str(), PROPERTY_PLUGIN_VALUE_ATTRIBUTES,
                      PROPERTY_PLUGIN_VALUE_ATTRIBUTES_COUNT, sizeof(PROPERTYPluginValueAttributes), 0),
                  1)
            << setting;
        EXPECT_EQ(index, i) << setting;
    }
    EXPECT_EQ(log.size(), 0u) << log.dump();
}

}  // namespace
