// The sorted string search: exact and partial modes, the comparators' null rules and the ordered
// search underneath.
#include <iterator>

#include "infrastructure/PropertyQosPolicyInternal.h"
#include "support/TestSupport.h"

namespace {

using namespace propqos_test;

class StringSearchTest : public ModuleTest {};

struct Record {  // data after the key, so that the record size matters
    const char *key;
    double payload;
};

TEST_F(StringSearchTest, ExactAndPartialModes)
{
    const Record abc[] = {{"a", 0}, {"a.b", 0}, {"a.c", 0}}, two[] = {{"a.b", 0}, {"x.y", 0}};
    const Record key[] = {{"abc", 0}}, empty[] = {{"", 0}};
    const struct {
        const Record *records;
        DDS_UnsignedLong count;
        const char *target;
        int exact;
        long index;  // -1: not found
    } cases[] = {{abc, 3, "a.b", 1, 1},   {abc, 3, "a.c", 1, 2},  {abc, 3, "a.b.c", 1, -1},
                 {abc, 0, "a", 1, -1},    {abc, 0, "a", 0, -1},   {two, 2, "a.b.c", 0, 0},
                 {two, 2, "x.y.z", 0, 1}, {two, 1, "a", 0, -1},   {key, 1, "abc", 0, 0},
                 {key, 1, "abc.x", 0, 0}, {key, 1, "abcd", 0, 0}, {key, 1, "ab", 0, -1},
                 {empty, 1, "any", 0, 0}};
    for (const auto &c : cases) {
        SCOPED_TRACE(std::string(c.target) + (c.exact ? " exact" : " partial"));
        DDS_UnsignedLong index = 777;
        EXPECT_EQ(DDS_PropertyQosPolicy_binaryStringSearch(&index, c.target, c.records, c.count,
                                                           sizeof(Record), c.exact),
                  c.index >= 0 ? 1 : 0);
        EXPECT_EQ(static_cast<long>(index), c.index >= 0 ? c.index : 777);
    }
    EXPECT_EQ(log.size(), 0u) << log.dump();
}

TEST_F(StringSearchTest, NullKeyIsTheEmptyStringToTheExactComparison)
{
    const Record records[] = {{"m", 0}}, nullKey = {nullptr, 0};
    for (auto compare : {DDS_PropertyQosPolicy_binaryStringSearchExactCompare,
                         DDS_PropertyQosPolicy_binaryStringSearchPartialCompare}) {
        EXPECT_LT(compare("a", &records[0]), 0);
        EXPECT_GT(compare("z", &records[0]), 0);
    }
    EXPECT_EQ(DDS_PropertyQosPolicy_binaryStringSearchExactCompare("", &nullKey), 0);
    EXPECT_GT(DDS_PropertyQosPolicy_binaryStringSearchExactCompare("a", &nullKey), 0);
    EXPECT_EQ(log.size(), 0u) << log.dump();
}

TEST_F(StringSearchTest, OrderedSearchGivesInsertionPointOnlyWhenAsked)
{
    const Record records[] = {{"b", 0}, {"d", 0}, {"f", 0}};
    const auto compare = DDS_PropertyQosPolicy_binaryStringSearchExactCompare;
    const char *const targets[] = {"a", "c", "e", "g", "d"};
    for (DDS_UnsignedLong at = 0; at < 5; ++at) {
        SCOPED_TRACE(targets[at]);
        const void *want = at == 4 ? &records[1] : nullptr;
        for (int insertion : {0, 1}) {
            DDS_UnsignedLong index = 777;
            EXPECT_EQ(VorlOrderedDataType_binarySearch(&index, targets[at], records, 3,
                                                       sizeof(Record), insertion, compare),
                      want);
            EXPECT_EQ(index, want ? 1u : insertion ? at : 777u);
        }
    }
}

}  // namespace
