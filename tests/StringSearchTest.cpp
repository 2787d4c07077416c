// The sorted string search: exact and partial modes, the comparators' null rules and the ordered
// search underneath.
#include "infrastructure/PropertyQosPolicyInternal.h"
#include "support/TestSupport.h"

namespace {

using namespace propqos_test;

class StringSearchTest : public ModuleTest {};

// A key followed by data of its own, so that the record size matters.
struct Record {
    const char *key;
    double payload;
};

const char *const kPrecondition = "ZYN_LOG_PRECONDITION_FAILURE_s";

TEST_F(StringSearchTest, ExactAndPartialModes)
{
    const Record abc[] = {{"a", 0}, {"a.b", 0}, {"a.c", 0}};
    const Record two[] = {{"a.b", 0}, {"x.y", 0}};
    const Record key[] = {{"abc", 0}};
    const Record empty[] = {{"", 0}};
    const struct {
        const Record *records;
        DDS_UnsignedLong count;
        const char *target;
        int exact;
        long index;  // -1: not found
    } cases[] = {
        {abc, 3, "a.b", 1, 1},        {abc, 3, "a.c", 1, 2},  {abc, 3, "a.b.c", 1, -1},
        {abc, 0, "a", 1, -1},         {abc, 0, "a", 0, -1},   {two, 2, "a.b.c", 0, 0},
        {two, 2, "x.y.z", 0, 1},      {two, 1, "a", 0, -1},   {key, 1, "abc", 0, 0},
        {key, 1, "abc.x", 0, 0},      {key, 1, "abcd", 0, 0}, {key, 1, "ab", 0, -1},
        {empty, 1, "any.name", 0, 0},
    };
    for (const auto &c : cases) {
        DDS_UnsignedLong index = 777;
        int found = DDS_PropertyQosPolicy_binaryStringSearch(&index, c.target, c.records, c.count,
                                                             sizeof(Record), c.exact);
        EXPECT_EQ(found, c.index >= 0 ? 1 : 0) << c.target << " exact=" << c.exact;
        if (c.index >= 0) {
            EXPECT_EQ(static_cast<long>(index), c.index) << c.target;
        }
    }
    EXPECT_EQ(log.size(), 0u) << log.dump();
}

TEST_F(StringSearchTest, NullArgumentsAndNullKeys)
{
    const Record records[] = {{"m", 0}};
    DDS_UnsignedLong index = 777;
    EXPECT_EQ(DDS_PropertyQosPolicy_binaryStringSearch(nullptr, "a", records, 1, sizeof(Record), 1),
              0);
    EXPECT_EQ(
        DDS_PropertyQosPolicy_binaryStringSearch(&index, nullptr, records, 1, sizeof(Record), 1),
        0);
    EXPECT_EQ(DDS_PropertyQosPolicy_binaryStringSearch(&index, "a", nullptr, 1, sizeof(Record), 0),
              0);
    EXPECT_EQ(index, 777u);
    ASSERT_EQ(log.size(), 3u) << log.dump();
    EXPECT_TRUE(log.contains(1, kPrecondition, {"\"targetIndex == ((void *)0)\""}));
    EXPECT_TRUE(log.contains(1, kPrecondition, {"\"target == ((void *)0)\""}));
    EXPECT_TRUE(log.contains(1, kPrecondition, {"\"list == ((void *)0)\""}));

    for (auto compare : {DDS_PropertyQosPolicy_binaryStringSearchExactCompare,
                         DDS_PropertyQosPolicy_binaryStringSearchPartialCompare}) {
        log.clear();
        EXPECT_EQ(compare(nullptr, nullptr), 0);
        EXPECT_EQ(compare(nullptr, &records[0]), -1);
        EXPECT_EQ(compare("m", nullptr), 1);
        EXPECT_LT(compare("a", &records[0]), 0);
        EXPECT_GT(compare("z", &records[0]), 0);
        ASSERT_EQ(log.size(), 3u) << log.dump();
        EXPECT_EQ(log.entries()[0].args[0], "\"left == ((void *)0) && right == ((void *)0)\"");
        EXPECT_EQ(log.entries()[1].args[0], "\"left == ((void *)0)\"");
        EXPECT_EQ(log.entries()[2].args[0], "\"right == ((void *)0)\"");
    }

    // A null key is the empty string to the exact comparator, a precondition to the partial one.
    log.clear();
    const Record nullKey = {nullptr, 0};
    EXPECT_EQ(DDS_PropertyQosPolicy_binaryStringSearchExactCompare("", &nullKey), 0);
    EXPECT_GT(DDS_PropertyQosPolicy_binaryStringSearchExactCompare("a", &nullKey), 0);
    EXPECT_EQ(DDS_PropertyQosPolicy_binaryStringSearchPartialCompare("a", &nullKey), 1);
    expectOnlyEntry(1, kPrecondition, {"\"itemString == ((void *)0)\""});
}

TEST_F(StringSearchTest, OrderedSearchGivesInsertionPointOnlyWhenAsked)
{
    const Record records[] = {{"b", 0}, {"d", 0}, {"f", 0}};
    auto compare = DDS_PropertyQosPolicy_binaryStringSearchExactCompare;
    const char *absent[] = {"a", "c", "e", "g"};
    for (DDS_UnsignedLong insertAt = 0; insertAt < 4; ++insertAt) {
        DDS_UnsignedLong index = 777;
        EXPECT_EQ(VorlOrderedDataType_binarySearch(&index, absent[insertAt], records, 3,
                                                   sizeof(Record), 0, compare),
                  nullptr);
        EXPECT_EQ(index, 777u);
        EXPECT_EQ(VorlOrderedDataType_binarySearch(&index, absent[insertAt], records, 3,
                                                   sizeof(Record), 1, compare),
                  nullptr);
        EXPECT_EQ(index, insertAt);
    }
    DDS_UnsignedLong index = 777;
    EXPECT_EQ(VorlOrderedDataType_binarySearch(&index, "d", records, 3, sizeof(Record), 1, compare),
              &records[1]);
    EXPECT_EQ(index, 1u);
}

}  // namespace
