// The platform layer under the module: the three sequence families, the string allocator, the
// bounded string utilities, the string searches, the presentation form and the logging service.
#include <cstring>
#include <string>

#include "support/TestSupport.h"

using namespace propqos_test;

namespace {

class SequenceTest : public ModuleTest {};

// The fields every family must hold once built from the initializer or initialised.
template <typename Seq>
void expectInitializerFields(const Seq &seq)
{
    EXPECT_EQ(seq._contiguous_buffer, nullptr);
    EXPECT_EQ(seq._discontiguous_buffer, nullptr);
    EXPECT_EQ(seq._read_token1, nullptr);
    EXPECT_EQ(seq._read_token2, nullptr);
    EXPECT_EQ(seq._maximum, 0u);
    EXPECT_EQ(seq._length, 0u);
    EXPECT_EQ(seq._sequence_init, 0x7344);
    EXPECT_EQ(seq._owned, DDS_BOOLEAN_TRUE);
    EXPECT_EQ(seq._elementAllocParams.allocate_pointers, DDS_BOOLEAN_TRUE);
    EXPECT_EQ(seq._elementAllocParams.allocate_optional_members, DDS_BOOLEAN_FALSE);
    EXPECT_EQ(seq._elementAllocParams.allocate_memory, DDS_BOOLEAN_TRUE);
    EXPECT_EQ(seq._absolute_maximum, 0x7fffffffu);
    EXPECT_EQ(seq._elementDeallocParams.delete_pointers, DDS_BOOLEAN_TRUE);
    EXPECT_EQ(seq._elementDeallocParams.delete_optional_members, DDS_BOOLEAN_TRUE);
}

template <typename Seq>
Seq garbageFilled()
{
    Seq seq;
    std::memset(static_cast<void *>(&seq), 0xA5, sizeof seq);
    return seq;
}

// A sequence of properties given as name/value pairs, all with the same propagate flag.
void fill(DDS_PropertySeq *seq, std::initializer_list<std::pair<const char *, const char *>> items,
          DDS_Boolean propagate = DDS_BOOLEAN_FALSE)
{
    for (const auto &item : items) {
        DDS_Property_t *element = nullptr;
        ASSERT_EQ(DDS_PropertySeq_add_element(seq, &element, item.first, item.second),
                  DDS_RETCODE_OK);
        element->propagate = propagate;
    }
}

std::string describe(const DDS_PropertySeq *seq)
{
    std::string out;
    for (DDS_Long i = 0; i < DDS_PropertySeq_get_length(seq); ++i) {
        const DDS_Property_t *p = DDS_PropertySeq_get_reference(seq, i);
        out += std::string(p->name ? p->name : "(null)") + "=" + (p->value ? p->value : "(null)") +
               (p->propagate ? "+" : "") + ";";
    }
    return out;
}

std::string describe(const DDS_StringSeq *seq)
{
    std::string out;
    for (DDS_Long i = 0; i < DDS_StringSeq_get_length(seq); ++i) {
        const char *s = DDS_StringSeq_get(seq, i);
        out += std::string("[") + (s ? s : "(null)") + "]";
    }
    return out;
}

struct ScopedStringSeq {
    DDS_StringSeq seq = DDS_SEQUENCE_INITIALIZER;
    ~ScopedStringSeq() { DDS_StringSeq_finalize(&seq); }
};

struct ScopedTagSeq {
    DDS_TagSeq seq = DDS_SEQUENCE_INITIALIZER;
    ~ScopedTagSeq() { DDS_TagSeq_finalize(&seq); }
};

}  // namespace

TEST_F(SequenceTest, InitializerAndInitializeGiveAnEmptyOwningMarkedSequence)
{
    DDS_PropertySeq properties = DDS_SEQUENCE_INITIALIZER;
    DDS_StringSeq strings = DDS_SEQUENCE_INITIALIZER;
    DDS_TagSeq tags = DDS_SEQUENCE_INITIALIZER;
    expectInitializerFields(properties);
    expectInitializerFields(strings);
    expectInitializerFields(tags);

    // initialize must write every field, whatever the memory held.
    auto p = garbageFilled<DDS_PropertySeq>();
    auto s = garbageFilled<DDS_StringSeq>();
    auto t = garbageFilled<DDS_TagSeq>();
    EXPECT_TRUE(DDS_PropertySeq_initialize(&p));
    EXPECT_TRUE(DDS_StringSeq_initialize(&s));
    EXPECT_TRUE(DDS_TagSeq_initialize(&t));
    expectInitializerFields(p);
    expectInitializerFields(s);
    expectInitializerFields(t);
    EXPECT_TRUE(DDS_PropertySeq_has_ownership(&p));
    EXPECT_EQ(DDS_PropertySeq_get_length(&p), 0);
    EXPECT_EQ(DDS_PropertySeq_get_maximum(&p), 0);
    EXPECT_FALSE(DDS_PropertySeq_initialize(nullptr));
}

TEST_F(SequenceTest, ReferencesExistOnlyBelowTheLength)
{
    ScopedSeq props;
    fill(props.get(), {{"a", "1"}, {"b", "2"}});
    ASSERT_TRUE(DDS_PropertySeq_set_maximum(props.get(), 8));
    EXPECT_NE(DDS_PropertySeq_get_reference(props.get(), 1), nullptr);
    EXPECT_EQ(DDS_PropertySeq_get_reference(props.get(), 2), nullptr) << "index equal to length";
    EXPECT_EQ(DDS_PropertySeq_get_reference(props.get(), -1), nullptr);
    EXPECT_EQ(DDS_PropertySeq_get(props.get(), 2).name, nullptr);
    EXPECT_STREQ(DDS_PropertySeq_get(props.get(), 1).value, "2");

    ScopedStringSeq strings;
    ASSERT_TRUE(DDS_StringSeq_ensure_length(&strings.seq, 1, 1));
    EXPECT_NE(DDS_StringSeq_get_reference(&strings.seq, 0), nullptr);
    EXPECT_EQ(DDS_StringSeq_get_reference(&strings.seq, 1), nullptr);
    EXPECT_EQ(DDS_StringSeq_get(&strings.seq, 0), nullptr) << "a new slot holds null";
    EXPECT_EQ(DDS_StringSeq_get(&strings.seq, 1), nullptr);

    ScopedTagSeq tags;
    EXPECT_EQ(DDS_TagSeq_get_reference(&tags.seq, 0), nullptr);
}

TEST_F(SequenceTest, AddAppendsCopiesGrowingFromMaximumZero)
{
    ScopedSeq props;
    char name[] = "dds.x";
    char value[] = "v";
    DDS_Property_t *element = nullptr;
    ASSERT_EQ(DDS_PropertySeq_add_element(props.get(), &element, name, value), DDS_RETCODE_OK);
    EXPECT_EQ(props.size(), 1);
    EXPECT_GE(DDS_PropertySeq_get_maximum(props.get()), 1);
    EXPECT_EQ(element, DDS_PropertySeq_get_reference(props.get(), 0));
    // The caller's strings are not kept.
    std::strcpy(name, "zzzzz");
    std::strcpy(value, "w");
    EXPECT_STREQ(element->name, "dds.x");
    EXPECT_STREQ(element->value, "v");

    // Many adds keep every element and its order across growth.
    for (int i = 0; i < 40; ++i) {
        std::string n = "n" + std::to_string(i);
        ASSERT_EQ(DDS_PropertySeq_add_element(props.get(), &element, n.c_str(), "x"),
                  DDS_RETCODE_OK);
    }
    ASSERT_EQ(props.size(), 41);
    EXPECT_STREQ(props.at(0).name, "dds.x");
    EXPECT_STREQ(props.at(40).name, "n39");
    EXPECT_LE(DDS_PropertySeq_get_length(props.get()), DDS_PropertySeq_get_maximum(props.get()));

    // The tag family takes a null element pointer.
    ScopedTagSeq tags;
    EXPECT_EQ(DDS_TagSeq_add_element(&tags.seq, nullptr, "dds.transport.x", "UDPV4"),
              DDS_RETCODE_OK);
    ASSERT_EQ(DDS_TagSeq_get_length(&tags.seq), 1);
    EXPECT_STREQ(DDS_TagSeq_get_reference(&tags.seq, 0)->name, "dds.transport.x");
    EXPECT_STREQ(DDS_TagSeq_get_reference(&tags.seq, 0)->value, "UDPV4");

    // Null strings are refused and change nothing.
    EXPECT_NE(DDS_PropertySeq_add_element(props.get(), &element, nullptr, "v"), DDS_RETCODE_OK);
    EXPECT_NE(DDS_PropertySeq_add_element(props.get(), &element, "n", nullptr), DDS_RETCODE_OK);
    EXPECT_NE(DDS_TagSeq_add_element(&tags.seq, nullptr, nullptr, "v"), DDS_RETCODE_OK);
    EXPECT_EQ(props.size(), 41);
    EXPECT_EQ(DDS_TagSeq_get_length(&tags.seq), 1);
}

TEST_F(SequenceTest, AddAndAssertFailuresLeaveTheSequenceAsItWas)
{
    for (bool useAssert : {false, true}) {
        SCOPED_TRACE(useAssert ? "assert" : "add");
        sweepAllocationFailures([&](long k) {
            ScopedSeq props;
            fill(props.get(), {{"a", "1"}, {"b", "2"}, {"c", "3"}, {"d", "4"}});
            EXPECT_TRUE(DDS_PropertySeq_set_maximum(props.get(), 4));  // full: the next grows
            const std::string before = describe(props.get());
            DDS_Property_t *element = nullptr;
            DDS_ReturnCode_t rc;
            {
                FailAfter armed(k);
                rc = useAssert ? DDS_PropertySeq_assert_element(props.get(), &element, "e", "5")
                               : DDS_PropertySeq_add_element(props.get(), &element, "e", "5");
            }
            if (rc == DDS_RETCODE_OK) {
                EXPECT_EQ(describe(props.get()), before + "e=5;");
                return true;
            }
            EXPECT_EQ(describe(props.get()), before);
            return false;
        });
    }
    // Replacing a value fails without touching the old one.
    sweepAllocationFailures([&](long k) {
        ScopedSeq props;
        fill(props.get(), {{"a", "1"}});
        DDS_Property_t *element = nullptr;
        DDS_ReturnCode_t rc;
        {
            FailAfter armed(k);
            rc = DDS_PropertySeq_assert_element(props.get(), &element, "a", "2");
        }
        EXPECT_STREQ(props.at(0).value, rc == DDS_RETCODE_OK ? "2" : "1");
        return rc == DDS_RETCODE_OK;
    });
}

TEST_F(SequenceTest, AssertReplacesInPlaceOrAppends)
{
    ScopedSeq props;
    fill(props.get(), {{"a", "1"}, {"b", "2"}}, DDS_BOOLEAN_TRUE);
    DDS_Property_t *existing = DDS_PropertySeq_get_reference(props.get(), 1);
    DDS_Property_t *element = nullptr;
    ASSERT_EQ(DDS_PropertySeq_assert_element(props.get(), &element, "b", "22"), DDS_RETCODE_OK);
    EXPECT_EQ(props.size(), 2);
    EXPECT_EQ(element, existing);
    EXPECT_STREQ(element->value, "22");
    EXPECT_TRUE(element->propagate) << "the flag is the caller's business";

    ASSERT_EQ(DDS_PropertySeq_assert_element(props.get(), &element, "c", "3"), DDS_RETCODE_OK);
    EXPECT_EQ(props.size(), 3);
    EXPECT_EQ(element, DDS_PropertySeq_get_reference(props.get(), 2));
    EXPECT_STREQ(element->name, "c");

    // Names are compared with letter case: "B" is another property.
    ASSERT_EQ(DDS_PropertySeq_assert_element(props.get(), &element, "B", "x"), DDS_RETCODE_OK);
    EXPECT_EQ(props.size(), 4);
    EXPECT_STREQ(props.at(1).value, "22");
}

TEST_F(SequenceTest, LookupFindsTheFirstElementOfAName)
{
    ScopedSeq props;
    fill(props.get(), {{"a", "1"}, {"ab", "2"}, {"a", "3"}});
    DDS_Property_t *element = nullptr;
    EXPECT_EQ(DDS_PropertySeq_lookup_element_index(props.get(), "a", &element), 0);
    EXPECT_STREQ(element->value, "1");
    EXPECT_EQ(DDS_PropertySeq_lookup_element_index(props.get(), "ab", &element), 1);
    EXPECT_EQ(element, DDS_PropertySeq_get_reference(props.get(), 1));
    EXPECT_EQ(DDS_PropertySeq_lookup_element_index(props.get(), "", &element), -1);
    EXPECT_EQ(DDS_PropertySeq_lookup_element_index(props.get(), "abc", nullptr), -1);
    EXPECT_EQ(DDS_PropertySeq_lookup_element(props.get(), "A"), nullptr);
    EXPECT_EQ(DDS_PropertySeq_lookup_element(props.get(), nullptr), nullptr);
    EXPECT_STREQ(DDS_PropertySeq_lookup_element(props.get(), "a")->value, "1");
}

TEST_F(SequenceTest, ElementsBroughtWithinTheLengthHoldNullStrings)
{
    // Owned storage: shrinking releases the strings, growing again shows empty slots.
    ScopedSeq props;
    fill(props.get(), {{"a", "1"}, {"b", "2"}, {"c", "3"}});
    ASSERT_TRUE(DDS_PropertySeq_set_length(props.get(), 1));
    ASSERT_TRUE(DDS_PropertySeq_ensure_length(props.get(), 3, 3));
    EXPECT_EQ(props.at(1).name, nullptr);
    EXPECT_EQ(props.at(2).value, nullptr);
    // Growth beyond the maximum through ensure_length.
    ASSERT_TRUE(DDS_PropertySeq_ensure_length(props.get(), 9, 9));
    EXPECT_EQ(DDS_PropertySeq_get_maximum(props.get()), 9);
    EXPECT_STREQ(props.at(0).name, "a");
    for (DDS_Long i = 1; i < 9; ++i) {
        EXPECT_EQ(props.at(i).name, nullptr) << i;
    }
    EXPECT_FALSE(DDS_PropertySeq_set_length(props.get(), 10)) << "beyond the maximum";
    EXPECT_FALSE(DDS_PropertySeq_ensure_length(props.get(), 12, 11)) << "maximum below length";
    EXPECT_FALSE(DDS_PropertySeq_set_length(props.get(), -1));
    EXPECT_EQ(props.size(), 9);

    // Lent storage: whatever the lender left beyond the length does not show.
    DDS_Property_t lent[3];
    std::memset(static_cast<void *>(lent), 0x5A, sizeof lent);
    DDS_PropertySeq seq = DDS_SEQUENCE_INITIALIZER;
    ASSERT_TRUE(DDS_PropertySeq_loan_contiguous(&seq, lent, 0, 3));
    ASSERT_TRUE(DDS_PropertySeq_ensure_length(&seq, 2, 2));
    EXPECT_EQ(DDS_PropertySeq_get_reference(&seq, 0)->name, nullptr);
    EXPECT_EQ(DDS_PropertySeq_get_reference(&seq, 1)->value, nullptr);
    EXPECT_TRUE(DDS_PropertySeq_unloan(&seq));

    // The string family, as its callers open one slot at a time.
    ScopedStringSeq strings;
    for (DDS_Long n = 0; n < 6; ++n) {
        ASSERT_TRUE(DDS_StringSeq_ensure_length(&strings.seq, n + 1, n + 1));
        EXPECT_EQ(DDS_StringSeq_get(&strings.seq, n), nullptr);
        *DDS_StringSeq_get_reference(&strings.seq, n) = DDS_String_dup("s");
    }
    ASSERT_TRUE(DDS_StringSeq_ensure_length(&strings.seq, 0, 0));
    EXPECT_EQ(DDS_StringSeq_get_length(&strings.seq), 0);
    ASSERT_TRUE(DDS_StringSeq_ensure_length(&strings.seq, 2, 2));
    EXPECT_EQ(DDS_StringSeq_get(&strings.seq, 1), nullptr);
}

TEST_F(SequenceTest, FinalizeReleasesOnlyOwnedStorageOfAnInitialisedSequence)
{
    ScopedSeq props;
    fill(props.get(), {{"a", "1"}, {"b", "2"}});
    const long outstanding = ZynHeap_getOutstanding();
    EXPECT_TRUE(DDS_PropertySeq_finalize(props.get()));
    EXPECT_LT(ZynHeap_getOutstanding(), outstanding);
    expectInitializerFields(props.seq);

    // Never initialised: the zero-filled record has no marker, nothing may be freed.
    DDS_PropertySeq zero;
    std::memset(static_cast<void *>(&zero), 0, sizeof zero);
    zero._contiguous_buffer = reinterpret_cast<DDS_Property_t *>(0x10);  // would crash if freed
    zero._length = 3;
    EXPECT_FALSE(DDS_PropertySeq_finalize(&zero));
    EXPECT_FALSE(DDS_PropertySeq_has_ownership(&zero));
    EXPECT_EQ(DDS_PropertySeq_get_length(&zero), 0) << "no marker: nothing in it counts";
    DDS_StringSeq zeroStrings;
    std::memset(static_cast<void *>(&zeroStrings), 0, sizeof zeroStrings);
    EXPECT_FALSE(DDS_StringSeq_finalize(&zeroStrings));
    DDS_TagSeq zeroTags;
    std::memset(static_cast<void *>(&zeroTags), 0, sizeof zeroTags);
    EXPECT_FALSE(DDS_TagSeq_finalize(&zeroTags));
    EXPECT_FALSE(DDS_PropertySeq_finalize(nullptr));

    // Lent storage is left to its lender.
    char lentName[] = "lent";
    DDS_Property_t lent[2] = {{lentName, lentName, 1}, {nullptr, nullptr, 0}};
    DDS_PropertySeq seq = DDS_SEQUENCE_INITIALIZER;
    ASSERT_TRUE(DDS_PropertySeq_loan_contiguous(&seq, lent, 1, 2));
    EXPECT_FALSE(DDS_PropertySeq_has_ownership(&seq));
    EXPECT_FALSE(DDS_PropertySeq_finalize(&seq));
    EXPECT_EQ(seq._contiguous_buffer, lent);
    EXPECT_EQ(lent[0].name, lentName);
    EXPECT_TRUE(DDS_PropertySeq_unloan(&seq));
    EXPECT_EQ(lent[0].name, lentName) << "unloan hands the storage back as it is";
    expectInitializerFields(seq);
}

TEST_F(SequenceTest, SetMaximumRefusesWhatItCannotDo)
{
    ScopedSeq props;
    fill(props.get(), {{"a", "1"}, {"b", "2"}, {"c", "3"}});
    ASSERT_TRUE(DDS_PropertySeq_set_maximum(props.get(), 10));
    EXPECT_EQ(DDS_PropertySeq_get_maximum(props.get()), 10);
    EXPECT_EQ(describe(props.get()), "a=1;b=2;c=3;");

    EXPECT_FALSE(DDS_PropertySeq_set_maximum(props.get(), 2)) << "below the length";
    EXPECT_TRUE(DDS_PropertySeq_set_maximum(props.get(), 3)) << "equal to the length";
    EXPECT_EQ(describe(props.get()), "a=1;b=2;c=3;");
    EXPECT_FALSE(DDS_PropertySeq_set_maximum(props.get(), -1));

    props.seq._absolute_maximum = 5;
    EXPECT_TRUE(DDS_PropertySeq_set_maximum(props.get(), 5));
    EXPECT_FALSE(DDS_PropertySeq_set_maximum(props.get(), 6)) << "above the absolute maximum";
    EXPECT_EQ(DDS_PropertySeq_get_maximum(props.get()), 5);

    // Add stops growing at the absolute maximum.
    fill(props.get(), {{"d", "4"}, {"e", "5"}});
    DDS_Property_t *element = nullptr;
    EXPECT_NE(DDS_PropertySeq_add_element(props.get(), &element, "f", "6"), DDS_RETCODE_OK);
    EXPECT_EQ(props.size(), 5);

    // Lent storage keeps its size.
    DDS_Tag lent[2] = {};
    DDS_TagSeq tags = DDS_SEQUENCE_INITIALIZER;
    ASSERT_TRUE(DDS_TagSeq_loan_contiguous(&tags, lent, 0, 2));
    EXPECT_FALSE(DDS_TagSeq_set_maximum(&tags, 4));
    EXPECT_FALSE(DDS_TagSeq_set_maximum(&tags, 1));
    EXPECT_EQ(DDS_TagSeq_get_maximum(&tags), 2);
    // It is filled up to its size, not beyond.
    EXPECT_EQ(DDS_TagSeq_add_element(&tags, nullptr, "a", "1"), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_TagSeq_add_element(&tags, nullptr, "b", "2"), DDS_RETCODE_OK);
    EXPECT_NE(DDS_TagSeq_add_element(&tags, nullptr, "c", "3"), DDS_RETCODE_OK);
    EXPECT_STREQ(lent[1].value, "2");
    // The strings within the length belong to the sequence: shrinking releases them.
    EXPECT_TRUE(DDS_TagSeq_set_length(&tags, 0));
    EXPECT_EQ(lent[0].name, nullptr);
    EXPECT_TRUE(DDS_TagSeq_unloan(&tags));

    // Memory failure keeps what was there.
    sweepAllocationFailures([&](long k) {
        ScopedSeq seq;
        fill(seq.get(), {{"a", "1"}});
        const DDS_Long before = DDS_PropertySeq_get_maximum(seq.get());
        DDS_Boolean ok;
        {
            FailAfter armed(k);
            ok = DDS_PropertySeq_set_maximum(seq.get(), 50);
        }
        EXPECT_EQ(describe(seq.get()), "a=1;");
        EXPECT_EQ(DDS_PropertySeq_get_maximum(seq.get()), ok ? 50 : before);
        return ok != 0;
    });
}

TEST_F(SequenceTest, CopyIsDeepAndAFailedCopyLeavesTheDestination)
{
    ScopedSeq src;
    fill(src.get(), {{"a", "1"}, {"b", "2"}, {"c", "3"}}, DDS_BOOLEAN_TRUE);
    src.seq._contiguous_buffer[1].propagate = DDS_BOOLEAN_FALSE;
    {
        ScopedSeq dst;
        fill(dst.get(), {{"old", "x"}});
        ASSERT_EQ(DDS_PropertySeq_copy(dst.get(), src.get()), dst.get());
        EXPECT_EQ(describe(dst.get()), "a=1+;b=2;c=3+;");
        EXPECT_NE(dst.at(0).name, src.at(0).name) << "names must be duplicated";
        EXPECT_NE(dst.at(0).value, src.at(0).value);
        EXPECT_EQ(DDS_PropertySeq_copy(dst.get(), dst.get()), dst.get());
        EXPECT_EQ(describe(dst.get()), "a=1+;b=2;c=3+;");
        // An empty source empties the destination.
        ScopedSeq empty;
        ASSERT_EQ(DDS_PropertySeq_copy(dst.get(), empty.get()), dst.get());
        EXPECT_EQ(dst.size(), 0);
    }

    sweepAllocationFailures([&](long k) {
        ScopedSeq dst;
        fill(dst.get(), {{"old", "x"}, {"older", "y"}});
        DDS_PropertySeq *result;
        {
            FailAfter armed(k);
            result = DDS_PropertySeq_copy(dst.get(), src.get());
        }
        if (result == nullptr) {
            EXPECT_EQ(describe(dst.get()), "old=x;older=y;");
            return false;
        }
        EXPECT_EQ(describe(dst.get()), "a=1+;b=2;c=3+;");
        return true;
    });

    // Into lent storage: it cannot grow, and a failure replaces nothing.
    sweepAllocationFailures([&](long k) {
        DDS_Property_t lent[4] = {};
        DDS_PropertySeq dst = DDS_SEQUENCE_INITIALIZER;
        EXPECT_TRUE(DDS_PropertySeq_loan_contiguous(&dst, lent, 0, 4));
        fill(&dst, {{"old", "x"}});
        DDS_PropertySeq *result;
        {
            FailAfter armed(k);
            result = DDS_PropertySeq_copy(&dst, src.get());
        }
        EXPECT_EQ(describe(&dst), result ? "a=1+;b=2;c=3+;" : "old=x;");
        EXPECT_EQ(dst._contiguous_buffer, lent);
        DDS_PropertySeq_set_length(&dst, 0);  // releases the strings the sequence owns
        DDS_PropertySeq_unloan(&dst);
        return result != nullptr;
    });
    DDS_Property_t small[2] = {};
    DDS_PropertySeq lentSmall = DDS_SEQUENCE_INITIALIZER;
    ASSERT_TRUE(DDS_PropertySeq_loan_contiguous(&lentSmall, small, 0, 2));
    EXPECT_EQ(DDS_PropertySeq_copy(&lentSmall, src.get()), nullptr);
    EXPECT_EQ(DDS_PropertySeq_get_length(&lentSmall), 0);
    EXPECT_TRUE(DDS_PropertySeq_unloan(&lentSmall));

    // The string and tag families copy deeply too.
    ScopedStringSeq strings, stringsCopy;
    ASSERT_EQ(DDS_StringSeq_from_delimited_string(&strings.seq, "x,y", ','), DDS_RETCODE_OK);
    ASSERT_EQ(DDS_StringSeq_copy(&stringsCopy.seq, &strings.seq), &stringsCopy.seq);
    EXPECT_EQ(describe(&stringsCopy.seq), "[x][y]");
    EXPECT_NE(DDS_StringSeq_get(&stringsCopy.seq, 0), DDS_StringSeq_get(&strings.seq, 0));
    ScopedTagSeq tags, tagsCopy;
    ASSERT_EQ(DDS_TagSeq_add_element(&tags.seq, nullptr, "p", "K"), DDS_RETCODE_OK);
    ASSERT_EQ(DDS_TagSeq_copy(&tagsCopy.seq, &tags.seq), &tagsCopy.seq);
    EXPECT_STREQ(DDS_TagSeq_get(&tagsCopy.seq, 0).value, "K");
}

TEST_F(SequenceTest, RemoveTakesOutOneElementAndKeepsTheOrder)
{
    ScopedSeq props;
    fill(props.get(), {{"a", "1"}, {"b", "2"}, {"c", "3"}, {"d", "4"}});
    EXPECT_EQ(DDS_PropertySeq_remove_element(props.get(), "b"), DDS_RETCODE_OK);
    EXPECT_EQ(describe(props.get()), "a=1;c=3;d=4;");
    EXPECT_EQ(DDS_PropertySeq_remove_element(props.get(), "d"), DDS_RETCODE_OK);
    EXPECT_EQ(describe(props.get()), "a=1;c=3;");
    EXPECT_EQ(DDS_PropertySeq_remove_element(props.get(), "b"), DDS_RETCODE_NO_DATA);
    EXPECT_EQ(DDS_PropertySeq_remove_element(props.get(), nullptr), DDS_RETCODE_BAD_PARAMETER);
    EXPECT_EQ(describe(props.get()), "a=1;c=3;");
    // The slot freed at the end holds nothing when brought back.
    ASSERT_TRUE(DDS_PropertySeq_set_length(props.get(), 3));
    EXPECT_EQ(props.at(2).name, nullptr);
}

TEST_F(SequenceTest, EqualsComparesInOrderAndRemoteSeesOnlyPropagated)
{
    ScopedSeq left, right;
    fill(left.get(), {{"a", "1"}, {"b", "2"}});
    fill(right.get(), {{"a", "1"}, {"b", "2"}});
    EXPECT_TRUE(DDS_PropertySeq_equalsWithParams(left.get(), right.get(), DDS_BOOLEAN_FALSE));
    EXPECT_TRUE(DDS_PropertySeq_equalsWithParams(left.get(), right.get(), DDS_BOOLEAN_TRUE));

    right.seq._contiguous_buffer[1].propagate = DDS_BOOLEAN_TRUE;
    EXPECT_FALSE(DDS_PropertySeq_equalsWithParams(left.get(), right.get(), DDS_BOOLEAN_FALSE))
        << "the flag differs";
    EXPECT_FALSE(DDS_PropertySeq_equalsWithParams(left.get(), right.get(), DDS_BOOLEAN_TRUE))
        << "a remote peer sees b on the right only";
    EXPECT_FALSE(DDS_PropertySeq_equalsWithParams(right.get(), left.get(), DDS_BOOLEAN_TRUE));

    // A local-only property is invisible remotely, wherever it stands.
    ScopedSeq withLocal;
    fill(withLocal.get(), {{"a", "1"}, {"local", "z"}, {"b", "2"}});
    withLocal.seq._contiguous_buffer[2].propagate = DDS_BOOLEAN_TRUE;
    EXPECT_TRUE(DDS_PropertySeq_equalsWithParams(withLocal.get(), right.get(), DDS_BOOLEAN_TRUE));
    EXPECT_TRUE(DDS_PropertySeq_equalsWithParams(right.get(), withLocal.get(), DDS_BOOLEAN_TRUE));
    EXPECT_FALSE(DDS_PropertySeq_equalsWithParams(withLocal.get(), right.get(), DDS_BOOLEAN_FALSE));

    ScopedSeq reordered, changed, shorter;
    fill(reordered.get(), {{"b", "2"}, {"a", "1"}});
    fill(changed.get(), {{"a", "1"}, {"b", "3"}});
    fill(shorter.get(), {{"a", "1"}});
    EXPECT_FALSE(DDS_PropertySeq_equalsWithParams(left.get(), reordered.get(), DDS_BOOLEAN_FALSE));
    EXPECT_FALSE(DDS_PropertySeq_equalsWithParams(left.get(), changed.get(), DDS_BOOLEAN_FALSE));
    EXPECT_FALSE(DDS_PropertySeq_equalsWithParams(left.get(), shorter.get(), DDS_BOOLEAN_FALSE));
    EXPECT_FALSE(DDS_PropertySeq_equalsWithParams(shorter.get(), left.get(), DDS_BOOLEAN_FALSE));
    // Everything local on both sides: nothing to compare remotely.
    EXPECT_TRUE(DDS_PropertySeq_equalsWithParams(shorter.get(), left.get(), DDS_BOOLEAN_TRUE));
}

TEST_F(SequenceTest, FromDelimitedStringSplitsTrimsAndDropsEmptyPieces)
{
    ScopedStringSeq seq;
    ASSERT_EQ(DDS_StringSeq_from_delimited_string(&seq.seq, "a, b,,c", ','), DDS_RETCODE_OK);
    EXPECT_EQ(describe(&seq.seq), "[a][b][c]");
    ASSERT_EQ(DDS_StringSeq_from_delimited_string(&seq.seq, " \tmy plugin \r\n,x", ','),
              DDS_RETCODE_OK);
    EXPECT_EQ(describe(&seq.seq), "[my plugin][x]") << "replaces, inner blanks kept";
    ASSERT_EQ(DDS_StringSeq_from_delimited_string(&seq.seq, "single", ','), DDS_RETCODE_OK);
    EXPECT_EQ(describe(&seq.seq), "[single]");
    ASSERT_EQ(DDS_StringSeq_from_delimited_string(&seq.seq, ",, ,", ','), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_StringSeq_get_length(&seq.seq), 0);
    ASSERT_EQ(DDS_StringSeq_from_delimited_string(&seq.seq, "", ','), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_StringSeq_get_length(&seq.seq), 0);
    EXPECT_NE(DDS_StringSeq_from_delimited_string(&seq.seq, nullptr, ','), DDS_RETCODE_OK);

    // Many pieces need growth; the order stays.
    std::string text;
    for (int i = 0; i < 30; ++i) {
        text += "p" + std::to_string(i) + ",";
    }
    ASSERT_EQ(DDS_StringSeq_from_delimited_string(&seq.seq, text.c_str(), ','), DDS_RETCODE_OK);
    ASSERT_EQ(DDS_StringSeq_get_length(&seq.seq), 30);
    EXPECT_STREQ(DDS_StringSeq_get(&seq.seq, 29), "p29");

    // The bound of the sequence holds.
    ScopedStringSeq bounded;
    bounded.seq._absolute_maximum = 2;
    EXPECT_EQ(DDS_StringSeq_from_delimited_string(&bounded.seq, "a,b", ','), DDS_RETCODE_OK);
    EXPECT_NE(DDS_StringSeq_from_delimited_string(&bounded.seq, "a,b,c", ','), DDS_RETCODE_OK);
    EXPECT_EQ(describe(&bounded.seq), "[a][b]");
    EXPECT_LE(DDS_StringSeq_get_maximum(&bounded.seq), 2);

    // Exhausted memory keeps the previous contents.
    sweepAllocationFailures([&](long k) {
        ScopedStringSeq target;
        EXPECT_EQ(DDS_StringSeq_from_delimited_string(&target.seq, "old", ','), DDS_RETCODE_OK);
        DDS_ReturnCode_t rc;
        {
            FailAfter armed(k);
            rc = DDS_StringSeq_from_delimited_string(&target.seq, "u,v,w,x,y", ',');
        }
        EXPECT_EQ(describe(&target.seq), rc == DDS_RETCODE_OK ? "[u][v][w][x][y]" : "[old]");
        return rc == DDS_RETCODE_OK;
    });
}

TEST_F(SequenceTest, LoanLendsStorageToAnEmptyOwningSequenceOnly)
{
    DDS_Property_t buffer[3] = {};
    DDS_PropertySeq seq = DDS_SEQUENCE_INITIALIZER;
    EXPECT_FALSE(DDS_PropertySeq_loan_contiguous(&seq, buffer, 4, 3)) << "length above maximum";
    EXPECT_FALSE(DDS_PropertySeq_loan_contiguous(&seq, nullptr, 0, 3));
    ASSERT_TRUE(DDS_PropertySeq_loan_contiguous(&seq, buffer, 0, 3));
    EXPECT_EQ(DDS_PropertySeq_get_maximum(&seq), 3);
    EXPECT_FALSE(DDS_PropertySeq_loan_contiguous(&seq, buffer, 0, 3)) << "already lent";
    fill(&seq, {{"a", "1"}});
    EXPECT_EQ(buffer[0].name, DDS_PropertySeq_get_reference(&seq, 0)->name);
    EXPECT_TRUE(DDS_PropertySeq_unloan(&seq));
    EXPECT_FALSE(DDS_PropertySeq_unloan(&seq)) << "nothing lent any more";
    EXPECT_TRUE(DDS_PropertySeq_has_ownership(&seq));
    EXPECT_EQ(DDS_PropertySeq_get_length(&seq), 0);
    // The lender takes the strings back.
    DDS_String_free(buffer[0].name);
    DDS_String_free(buffer[0].value);

    ScopedSeq owning;
    fill(owning.get(), {{"a", "1"}});
    EXPECT_FALSE(DDS_PropertySeq_loan_contiguous(owning.get(), buffer, 0, 3))
        << "storage of its own";
}

TEST_F(SequenceTest, StringAllocatorGivesRoomForLengthCharacters)
{
    for (size_t n : {size_t{0}, size_t{1}, size_t{7}, size_t{1024}}) {
        char *s = DDS_String_alloc(n);
        ASSERT_NE(s, nullptr);
        EXPECT_EQ(s[0], '\0') << "a fresh string is empty";
        const std::string text(n, 'q');
        std::memcpy(s, text.c_str(), n + 1);  // exactly n characters and the terminator
        EXPECT_EQ(std::string(s), text);
        DDS_String_free(s);
    }
    char *dup = DDS_String_dup("abc");
    ASSERT_NE(dup, nullptr);
    EXPECT_STREQ(dup, "abc");
    DDS_String_free(dup);
    EXPECT_EQ(DDS_String_dup(nullptr), nullptr);

    FailAfter armed(0);
    EXPECT_EQ(DDS_String_alloc(3), nullptr);
    EXPECT_EQ(DDS_String_dup("abc"), nullptr);
}

TEST_F(SequenceTest, BoundedStringsCountCapacityWithoutTheTerminator)
{
    char dst[8];
    // strcpy: a text of exactly `capacity` characters fits; one more does not.
    EXPECT_EQ(ZynOsapiUtility_strcpy(dst, 3, "abc"), dst);
    EXPECT_STREQ(dst, "abc");
    EXPECT_EQ(ZynOsapiUtility_strcpy(dst, 3, "wxyz"), nullptr);
    EXPECT_STREQ(dst, "abc") << "untouched on failure";
    EXPECT_EQ(ZynOsapiUtility_strcpy(dst, 0, ""), dst);
    EXPECT_STREQ(dst, "");
    EXPECT_EQ(ZynOsapiUtility_strcpy(nullptr, 3, "a"), nullptr);
    EXPECT_EQ(ZynOsapiUtility_strcpy(dst, 3, nullptr), nullptr);

    // strcat: the whole result counts against the capacity.
    std::strcpy(dst, "ab");
    EXPECT_EQ(ZynOsapiUtility_strcat(dst, 4, "cd"), dst);
    EXPECT_STREQ(dst, "abcd");
    EXPECT_EQ(ZynOsapiUtility_strcat(dst, 4, "e"), nullptr);
    EXPECT_STREQ(dst, "abcd");
    EXPECT_EQ(ZynOsapiUtility_strcat(dst, 7, "efg"), dst);
    EXPECT_STREQ(dst, "abcdefg");

    // strncpy / strncat take at most `count` characters of the source.
    EXPECT_EQ(ZynOsapiUtility_strncpy(dst, 7, "hello world", 5), dst);
    EXPECT_STREQ(dst, "hello");
    EXPECT_EQ(ZynOsapiUtility_strncpy(dst, 4, "hello", 5), nullptr);
    EXPECT_STREQ(dst, "hello");
    EXPECT_EQ(ZynOsapiUtility_strncpy(dst, 7, "hi", 5), dst) << "a short source is fine";
    EXPECT_STREQ(dst, "hi");
    EXPECT_EQ(ZynOsapiUtility_strncat(dst, 5, ".create", 3), dst);
    EXPECT_STREQ(dst, "hi.cr");
    EXPECT_EQ(ZynOsapiUtility_strncat(dst, 5, "x", 1), nullptr);
    EXPECT_STREQ(dst, "hi.cr");
    EXPECT_EQ(ZynOsapiUtility_strncat(dst, 5, "x", 0), dst);

    // snprintf: size includes the terminator; -1 when the text did not fit.
    char out[6];
    EXPECT_EQ(ZynOsapiUtility_snprintf(out, sizeof out, "%s%s%s", "ab", ".", "cd"), 5);
    EXPECT_STREQ(out, "ab.cd");
    EXPECT_EQ(ZynOsapiUtility_snprintf(out, sizeof out, "%d", 123456), -1);
    EXPECT_EQ(ZynOsapiUtility_snprintf(out, 0, "x"), -1);
}

TEST_F(SequenceTest, StringComparisonsAndCaseBlindSearch)
{
    EXPECT_EQ(VorlString_compare("abc", "abc"), 0);
    EXPECT_LT(VorlString_compare("abc", "abd"), 0);
    EXPECT_NE(VorlString_compare("abc", "ABC"), 0);
    EXPECT_LT(VorlString_compare(nullptr, ""), 0);
    EXPECT_GT(VorlString_compare("", nullptr), 0);
    EXPECT_EQ(VorlString_compare(nullptr, nullptr), 0);
    EXPECT_EQ(VorlString_iCompare("UDPv4", "udpV4"), 0);
    EXPECT_LT(VorlString_iCompare("a", "B"), 0);
    EXPECT_GT(VorlString_iCompare("ab", "A"), 0);

    const char *hay = "dds.transport.UDPv4.builtin";
    EXPECT_EQ(VorlString_iFindSubString(hay, "udpv4"), hay + 14);
    EXPECT_EQ(VorlString_iFindSubString(hay, "DDS."), hay);
    EXPECT_EQ(VorlString_iFindSubString(hay, "BUILTIN"), hay + 20);
    EXPECT_EQ(VorlString_iFindSubString(hay, "builtins"), nullptr) << "runs past the end";
    EXPECT_EQ(VorlString_iFindSubString(hay, ""), hay);
    EXPECT_EQ(VorlString_iFindSubString("", "a"), nullptr);
    EXPECT_EQ(VorlString_iFindSubString("aaab", "aab"), static_cast<const char *>("aaab") + 1)
        << "a partial match must not skip the real one";
    const char *repeated = "abAB";
    EXPECT_EQ(VorlString_iFindSubString(repeated, "bA"), repeated + 1);
    EXPECT_EQ(VorlString_iFindSubString(nullptr, "a"), nullptr);
    EXPECT_EQ(VorlString_iFindSubString(hay, nullptr), nullptr);
}

namespace {

// A presentation form set up for the test and released on every path.
struct ScopedForm {
    TaviPropertyQosPolicy form{};
    ScopedForm(DDS_Long properties, DDS_Long characters)
    {
        EXPECT_EQ(DDS_PropertySeq_setup_presentation_qosI(&form, properties, characters),
                  DDS_RETCODE_OK);
    }
    ~ScopedForm() { DDS_PropertySeq_finalize_presentation_qosI(&form); }
};

}  // namespace

TEST_F(SequenceTest, PresentationFormRespectsBothLimitsExactly)
{
    ScopedSeq props;
    fill(props.get(), {{"ab", "c"}, {"d", ""}});  // characters: 3+2 + 2+1 = 8
    props.seq._contiguous_buffer[0].propagate = DDS_BOOLEAN_TRUE;

    {
        ScopedForm exact(2, 8);
        ASSERT_EQ(DDS_PropertySeq_to_presentation_sequence(props.get(), &exact.form),
                  DDS_RETCODE_OK);
        const TaviSequenceProperty &data = exact.form.data;
        EXPECT_EQ(data._length, 2u);
        EXPECT_EQ(data._string_length, 8u);
        EXPECT_STREQ(data._buffer[0].name, "ab");
        EXPECT_STREQ(data._buffer[0].value, "c");
        EXPECT_EQ(data._buffer[0].propagate, 1);
        EXPECT_STREQ(data._buffer[1].name, "d");
        EXPECT_STREQ(data._buffer[1].value, "");
        EXPECT_EQ(data._buffer[1].propagate, 0);

        // And back, into a sequence that held something else.
        ScopedSeq back;
        fill(back.get(), {{"x", "y"}});
        ASSERT_EQ(DDS_PropertySeq_from_presentation_sequence(back.get(), &exact.form),
                  DDS_RETCODE_OK);
        EXPECT_EQ(describe(back.get()), "ab=c+;d=;");
    }
    for (auto limits : {std::pair<DDS_Long, DDS_Long>{1, 8}, {2, 7}}) {
        ScopedForm tight(limits.first, limits.second);
        EXPECT_EQ(DDS_PropertySeq_to_presentation_sequence(props.get(), &tight.form),
                  DDS_RETCODE_OUT_OF_RESOURCES)
            << limits.first << " properties, " << limits.second << " characters";
        EXPECT_EQ(tight.form.data._length, 0u) << "nothing written on failure";
        EXPECT_EQ(tight.form.data._string_length, 0u);
    }
    // A form set up for nothing takes an empty sequence.
    {
        ScopedForm none(0, 0);
        ScopedSeq empty;
        EXPECT_EQ(DDS_PropertySeq_to_presentation_sequence(empty.get(), &none.form),
                  DDS_RETCODE_OK);
        EXPECT_EQ(DDS_PropertySeq_to_presentation_sequence(props.get(), &none.form),
                  DDS_RETCODE_OUT_OF_RESOURCES);
    }
    TaviPropertyQosPolicy form{};
    EXPECT_EQ(DDS_PropertySeq_setup_presentation_qosI(&form, -1, 4), DDS_RETCODE_BAD_PARAMETER);
    EXPECT_EQ(DDS_PropertySeq_setup_presentation_qosI(nullptr, 1, 4), DDS_RETCODE_BAD_PARAMETER);
    EXPECT_EQ(DDS_PropertySeq_finalize_presentation_qosI(nullptr), DDS_RETCODE_BAD_PARAMETER);
    EXPECT_EQ(DDS_PropertySeq_to_presentation_sequence(props.get(), nullptr),
              DDS_RETCODE_BAD_PARAMETER);
}

TEST_F(SequenceTest, PresentationConversionsLoseNothingWhenMemoryRunsOut)
{
    sweepAllocationFailures([&](long k) {
        TaviPropertyQosPolicy form;
        std::memset(static_cast<void *>(&form), 0x33, sizeof form);
        DDS_ReturnCode_t rc;
        {
            FailAfter armed(k);
            rc = DDS_PropertySeq_setup_presentation_qosI(&form, 4, 64);
        }
        if (rc != DDS_RETCODE_OK) {
            EXPECT_EQ(rc, DDS_RETCODE_OUT_OF_RESOURCES);
            EXPECT_EQ(form.data._buffer, nullptr) << "left empty";
            EXPECT_EQ(form.data._string_buffer, nullptr);
            return false;
        }
        EXPECT_EQ(form.data._maximum, 4u);
        EXPECT_EQ(form.data._string_maximum, 64u);
        DDS_PropertySeq_finalize_presentation_qosI(&form);
        return true;
    });

    ScopedSeq props;
    fill(props.get(), {{"a", "1"}, {"bb", "22"}, {"ccc", "333"}});
    ScopedForm form(3, 64);
    ASSERT_EQ(DDS_PropertySeq_to_presentation_sequence(props.get(), &form.form), DDS_RETCODE_OK);
    sweepAllocationFailures([&](long k) {
        ScopedSeq target;
        fill(target.get(), {{"keep", "me"}});
        DDS_ReturnCode_t rc;
        {
            FailAfter armed(k);
            rc = DDS_PropertySeq_from_presentation_sequence(target.get(), &form.form);
        }
        if (rc != DDS_RETCODE_OK) {
            EXPECT_EQ(rc, DDS_RETCODE_OUT_OF_RESOURCES);
            EXPECT_EQ(describe(target.get()), "keep=me;");
            return false;
        }
        EXPECT_EQ(describe(target.get()), "a=1;bb=22;ccc=333;");
        return true;
    });

    // A malformed form is refused without touching the sequence.
    TaviPropertyQosPolicy bad = form.form;
    bad.data._length = bad.data._maximum + 1;
    EXPECT_EQ(DDS_PropertySeq_from_presentation_sequence(props.get(), &bad),
              DDS_RETCODE_BAD_PARAMETER);
    EXPECT_EQ(props.size(), 3);
}

// ---- the logging service ----

TEST_F(SequenceTest, MasksGateEveryEntryAndAreReadAnewEachTime)
{
    // An error entry (null policy count) and a warning entry (null policy initialise).
    auto writeBoth = [] {
        DDS_PropertyQosPolicyHelper_get_number_of_properties(nullptr);
        DDS_PropertyQosPolicy_initialize(nullptr);
    };
    writeBoth();
    EXPECT_EQ(log.size(), 2u) << "WARNING verbosity shows both";

    log.clear();
    DDSLog_g_instrumentationMask = ZYN_LOG_VERBOSITY_ERROR;
    writeBoth();
    ASSERT_EQ(log.size(), 1u);
    EXPECT_EQ(log.entries()[0].level, ZYN_LOG_LEVEL_ERROR);

    log.clear();
    DDSLog_g_instrumentationMask = ZYN_LOG_LEVEL_WARNING;  // the bit alone, not a verbosity
    writeBoth();
    ASSERT_EQ(log.size(), 1u);
    EXPECT_EQ(log.entries()[0].level, ZYN_LOG_LEVEL_WARNING);

    log.clear();
    DDSLog_g_instrumentationMask = ZYN_LOG_VERBOSITY_STATUS_LOCAL;
    DDSLog_g_submoduleMask = ~static_cast<unsigned int>(DDS_SUBMODULE_MASK_PROPERTY);
    writeBoth();
    EXPECT_EQ(log.size(), 0u) << "another submodule's bit does not let ours through";

    DDSLog_g_submoduleMask = DDS_SUBMODULE_MASK_PROPERTY;
    writeBoth();
    EXPECT_EQ(log.size(), 2u);

    log.clear();
    DDSLog_g_instrumentationMask = ZYN_LOG_VERBOSITY_SILENT;
    writeBoth();
    EXPECT_EQ(log.size(), 0u);
}

TEST_F(SequenceTest, PreconditionFailureRaisesTheFlagAndCallsTheHookWhateverTheMasks)
{
    const unsigned int hits = ZynLog_g_assertBreakpointCount;
    DDS_PropertyQosPolicy_get_default(nullptr);
    expectOnlyEntry(ZYN_LOG_LEVEL_PRECONDITION, "ZYN_LOG_PRECONDITION_FAILURE_s",
                    {"\"self == ((void *)0)\""});
    EXPECT_EQ(ZynLog_g_preconditionDetected, 1);
    EXPECT_EQ(ZynLog_g_assertBreakpointCount, hits + 1);

    // Masks closed: no entry, but the flag and the hook all the same.
    log.clear();
    ZynLog_g_preconditionDetected = 0;
    DDSLog_g_instrumentationMask = ZYN_LOG_VERBOSITY_SILENT;
    DDS_PropertyQosPolicy_get_default(nullptr);
    EXPECT_EQ(log.size(), 0u);
    EXPECT_EQ(ZynLog_g_preconditionDetected, 1);
    EXPECT_EQ(ZynLog_g_assertBreakpointCount, hits + 2);

    // Detection switched off: the entry and the hook, not the flag.
    DDSLog_g_instrumentationMask = ZYN_LOG_VERBOSITY_WARNING;
    ZynLog_g_preconditionDetected = 0;
    ZynLog_g_detectPrecondition = 0;
    DDS_PropertyQosPolicy_get_default(nullptr);
    ZynLog_g_detectPrecondition = 1;
    EXPECT_EQ(log.size(), 1u);
    EXPECT_EQ(ZynLog_g_preconditionDetected, 0);
    EXPECT_EQ(ZynLog_g_assertBreakpointCount, hits + 3);
}

namespace {

struct RawEntry {
    int level = 0;
    int moduleId = 0;
    std::string file, function, templateId, message;
    std::vector<std::string> args;
    int line = 0;
};

void rawSink(const ZynLogEntry *entry, void *out)
{
    RawEntry &raw = *static_cast<RawEntry *>(out);
    raw.level = entry->level;
    raw.moduleId = entry->moduleId;
    raw.file = entry->file;
    raw.line = entry->line;
    raw.function = entry->function;
    raw.templateId = entry->templateId;
    raw.message = entry->message;
    raw.args.assign(entry->args, entry->args + entry->argCount);
}

}  // namespace

TEST_F(SequenceTest, PrintersHandTheSinkTheTemplateAndItsArguments)
{
    RawEntry raw;
    ZynLog_setSink(&rawSink, &raw);
    ZynLogMessage_printWithParams(-1, ZYN_LOG_LEVEL_ERROR, ZYN_LOG_MODULE_ID, "f.cpp", 12, "fn",
                                  &DDS_LOG_CONCATENATE_STRING_ssd, "a", nullptr, -7);
    EXPECT_EQ(raw.level, ZYN_LOG_LEVEL_ERROR);
    EXPECT_EQ(raw.moduleId, 0xF0000);
    EXPECT_EQ(raw.file, "f.cpp");
    EXPECT_EQ(raw.line, 12);
    EXPECT_EQ(raw.function, "fn");
    EXPECT_EQ(raw.templateId, "DDS_LOG_CONCATENATE_STRING_ssd");
    EXPECT_EQ(raw.args, (std::vector<std::string>{"a", "NULL", "-7"}));
    EXPECT_NE(raw.message.find("-7"), std::string::npos) << raw.message;

    // A _TEMPLATE identifier carries its formatted text as the one argument, however long.
    const std::string longText(5000, 'L');
    ZynLogMessageParamString_printWithParams(-1, ZYN_LOG_LEVEL_WARNING, ZYN_LOG_MODULE_ID, "g.cpp",
                                             3, "gn", &ZYN_LOG_FAILED_TO_ALLOCATE_TEMPLATE,
                                             "%s #%d", longText.c_str(), 4);
    EXPECT_EQ(raw.level, ZYN_LOG_LEVEL_WARNING);
    EXPECT_EQ(raw.templateId, "ZYN_LOG_FAILED_TO_ALLOCATE_TEMPLATE");
    EXPECT_EQ(raw.args, (std::vector<std::string>{longText + " #4"}));
    EXPECT_NE(raw.message.find(longText + " #4"), std::string::npos);
    ZynLog_setSink(nullptr, nullptr);
}
