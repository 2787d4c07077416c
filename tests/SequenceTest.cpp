// The platform layer under the module: the three sequence families, the string allocator, the
// bounded string utilities, the string searches, the presentation form and the logging service.
#include <pthread.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "support/TestSupport.h"

using namespace propqos_test;

namespace {

class SequenceTest : public ModuleTest {};

// The operations of one family under common names, for the contract the families share.
#define PROPQOS_FAMILY(Name, Element)                                                       \
    struct Name {                                                                           \
        using Seq = DDS_##Name;                                                             \
        using Elem = Element;                                                               \
        static constexpr auto initialize = DDS_##Name##_initialize, copy = DDS_##Name##_copy; \
        static constexpr auto finalize = DDS_##Name##_finalize, unloan = DDS_##Name##_unloan; \
        static constexpr auto hasOwnership = DDS_##Name##_has_ownership;                    \
        static constexpr auto length = DDS_##Name##_get_length;                             \
        static constexpr auto maximum = DDS_##Name##_get_maximum;                           \
        static constexpr auto setMaximum = DDS_##Name##_set_maximum;                        \
        static constexpr auto setLength = DDS_##Name##_set_length;                          \
        static constexpr auto ensureLength = DDS_##Name##_ensure_length;                    \
        static constexpr auto reference = DDS_##Name##_get_reference;                       \
        static constexpr auto loan = DDS_##Name##_loan_contiguous;                          \
    };
PROPQOS_FAMILY(PropertySeq, DDS_Property_t)
PROPQOS_FAMILY(StringSeq, char *)
PROPQOS_FAMILY(TagSeq, DDS_Tag)
#undef PROPQOS_FAMILY

// Elements written as "name=value", "+" marking a propagated property, "~" a null string; a
// string element is the text itself.
std::string str(const char *s) { return s != nullptr ? s : "~"; }
std::string show(const DDS_Property_t &p)
{
    return str(p.name) + "=" + str(p.value) + (p.propagate ? "+" : "");
}
std::string show(const DDS_Tag &t) { return str(t.name) + "=" + str(t.value); }
std::string show(char *const &s) { return str(s); }
void release(char *&s) { DDS_String_free(s); }
template <typename E> void release(E &e) { DDS_String_free(e.name), DDS_String_free(e.value); }
// The lender releases what lent storage holds: nothing is freed through a loan.
template <typename E, size_t N> void releaseAll(E (&elements)[N])
{
    for (E &e : elements) {
        release(e);
        e = E{};
    }
}

// The elements within the length, read from the fields themselves.
template <typename Seq> std::string describe(const Seq &seq)
{
    std::string out;
    for (DDS_UnsignedLong i = 0; i < seq._length; ++i)
        out += show(seq._contiguous_buffer[i]) + ";";
    return out;
}

// One more element, as each family's callers append.
bool append(DDS_PropertySeq *seq, std::string text)
{
    const bool propagate = text.back() == '+';
    text.resize(text.size() - (propagate ? 1 : 0));
    const size_t eq = text.find('=');
    DDS_Property_t *e = nullptr;
    if (DDS_PropertySeq_add_element(seq, &e, text.substr(0, eq).c_str(),
                                    text.substr(eq + 1).c_str()) != DDS_RETCODE_OK)
        return false;
    e->propagate = propagate;
    return true;
}
bool append(DDS_TagSeq *seq, const std::string &text)
{
    const size_t eq = text.find('=');
    return DDS_TagSeq_add_element(seq, nullptr, text.substr(0, eq).c_str(),
                                  text.substr(eq + 1).c_str()) == DDS_RETCODE_OK;
}
bool append(DDS_StringSeq *seq, const std::string &text)
{
    const DDS_Long n = DDS_StringSeq_get_length(seq);
    if (!DDS_StringSeq_ensure_length(seq, n + 1, n + 1))
        return false;
    *DDS_StringSeq_get_reference(seq, n) = DDS_String_dup(text.c_str());
    return true;
}
template <typename Seq> void fill(Seq *seq, std::initializer_list<const char *> texts)
{
    for (const char *text : texts)
        ASSERT_TRUE(append(seq, text)) << text;
}

// What `op` returns while allocations fail after `k` successful ones.
template <typename Op> auto failingAfter(long k, Op op)
{
    FailAfter armed(k);
    return op();
}

template <typename Seq> void expectInitializerFields(const Seq &s)
{
    EXPECT_EQ(std::make_tuple(s._contiguous_buffer == nullptr, s._maximum, s._length,
                              s._sequence_init, s._owned, s._absolute_maximum),
              std::make_tuple(true, 0u, 0u, 0x7344, 1, 0x7fffffffu));
}

template <typename F> struct Scoped {
    typename F::Seq seq = DDS_SEQUENCE_INITIALIZER;
    ~Scoped() { F::finalize(&seq); }
};

template <typename F> class FamilyTest : public ModuleTest {};
using Families = ::testing::Types<PropertySeq, StringSeq, TagSeq>;
TYPED_TEST_SUITE(FamilyTest, Families);

}  // namespace

TYPED_TEST(FamilyTest, InitialiseAndFinaliseOnlyWhatIsOwnedAndMarked)
{
    using F = TypeParam;
    Scoped<F> s;
    expectInitializerFields(s.seq);
    std::memset(static_cast<void *>(&s.seq), 0xA5, sizeof s.seq);  // initialize writes it all
    EXPECT_TRUE(F::initialize(&s.seq) && F::hasOwnership(&s.seq));
    expectInitializerFields(s.seq);
    EXPECT_EQ(std::make_pair(F::length(&s.seq), F::maximum(&s.seq)), std::make_pair(0, 0));
    EXPECT_FALSE(F::initialize(nullptr) || F::finalize(nullptr));
    fill(&s.seq, {"a=1", "b=2"});
    const long outstanding = ZynHeap_getOutstanding();
    EXPECT_TRUE(F::finalize(&s.seq));
    EXPECT_LT(ZynHeap_getOutstanding(), outstanding);
    expectInitializerFields(s.seq);

    // Never initialised: no marker, so nothing may be freed through its fields.
    typename F::Seq zero;
    std::memset(static_cast<void *>(&zero), 0, sizeof zero);
    zero._contiguous_buffer = reinterpret_cast<typename F::Elem *>(0x10);  // would crash if freed
    zero._length = 3;
    zero._owned = DDS_BOOLEAN_TRUE;
    EXPECT_FALSE(F::finalize(&zero) || F::hasOwnership(&zero));
    EXPECT_EQ(F::length(&zero), 0) << "no marker: nothing in it counts";
}

TYPED_TEST(FamilyTest, LengthAndCapacityRules)
{
    using F = TypeParam;
    Scoped<F> s;
    fill(&s.seq, {"a=1", "b=2", "c=3"});
    const std::string empty = show(typename F::Elem{});
    EXPECT_TRUE(F::reference(&s.seq, 2) && !F::reference(&s.seq, 3) && !F::reference(&s.seq, -1))
        << "references only below the length";
    ASSERT_TRUE(F::setMaximum(&s.seq, 10));
    EXPECT_FALSE(F::setMaximum(&s.seq, 2) || F::setMaximum(&s.seq, -1)) << "below the length";
    EXPECT_TRUE(F::setMaximum(&s.seq, 3)) << "equal to the length";
    EXPECT_EQ(F::maximum(&s.seq), 3);
    EXPECT_EQ(describe(s.seq), "a=1;b=2;c=3;");
    // Shrinking releases the strings; every slot brought back within the length holds nothing,
    // the released ones within the maximum as much as the fresh ones beyond it.
    ASSERT_TRUE(F::setLength(&s.seq, 1) && F::ensureLength(&s.seq, 3, 3) &&
                F::ensureLength(&s.seq, 9, 9));
    std::string expected = "a=1;";
    for (int i = 1; i < 9; ++i)
        expected += empty + ";";
    EXPECT_EQ(describe(s.seq), expected);
    EXPECT_EQ(F::maximum(&s.seq), 9);
    EXPECT_FALSE(F::setLength(&s.seq, 10) || F::ensureLength(&s.seq, 12, 11) ||
                 F::setLength(&s.seq, -1))
        << "beyond the maximum, a maximum below the length, negative";
    EXPECT_EQ(F::length(&s.seq), 9);
    // Growth stops at the absolute maximum.
    ASSERT_TRUE(F::setLength(&s.seq, 3) && F::setMaximum(&s.seq, 3));
    s.seq._absolute_maximum = 5;
    EXPECT_TRUE(F::setMaximum(&s.seq, 5));
    EXPECT_FALSE(F::setMaximum(&s.seq, 6)) << "above the absolute maximum";
    fill(&s.seq, {"d=4", "e=5"});
    EXPECT_FALSE(append(&s.seq, "f=6"));
    EXPECT_EQ(std::make_pair(F::length(&s.seq), F::maximum(&s.seq)), std::make_pair(5, 5));

}

TYPED_TEST(FamilyTest, LentStorageIsUsedAsItIsAndHandedBack)
{
    using F = TypeParam;
    typename F::Elem lent[3];
    std::memset(static_cast<void *>(lent), 0x5A, sizeof lent);  // whatever the lender left
    const std::string empty = show(typename F::Elem{});
    typename F::Seq seq = DDS_SEQUENCE_INITIALIZER;
    EXPECT_FALSE(F::loan(&seq, lent, 4, 3) || F::loan(&seq, nullptr, 0, 3))
        << "length above maximum, no storage";
    ASSERT_TRUE(F::loan(&seq, lent, 0, 3));
    EXPECT_FALSE(F::loan(&seq, lent, 0, 3) || F::hasOwnership(&seq)) << "already lent";
    ASSERT_TRUE(F::ensureLength(&seq, 2, 2));
    EXPECT_EQ(describe(seq), empty + ";" + empty + ";") << "the lender's leftovers do not show";
    ASSERT_TRUE(F::setLength(&seq, 0));
    fill(&seq, {"a=1", "b=2", "c=3"});
    EXPECT_FALSE(append(&seq, "d=4") || F::setMaximum(&seq, 4) || F::setMaximum(&seq, 1))
        << "filled up to its size, never resized";
    EXPECT_EQ(F::reference(&seq, 0), &lent[0]);
    ASSERT_TRUE(F::setLength(&seq, 1));
    EXPECT_EQ(show(lent[1]), "b=2") << "dropped strings stay for the lender";
    EXPECT_FALSE(F::finalize(&seq)) << "lent storage is left to its lender";
    EXPECT_EQ(seq._contiguous_buffer, lent);
    EXPECT_TRUE(F::unloan(&seq));
    EXPECT_EQ(show(lent[0]), "a=1") << "unloan hands the storage back as it is";
    EXPECT_FALSE(F::unloan(&seq)) << "nothing lent any more";
    expectInitializerFields(seq);
    releaseAll(lent);

    Scoped<F> owning;
    fill(&owning.seq, {"a=1"});
    EXPECT_FALSE(F::loan(&owning.seq, lent, 0, 3)) << "storage of its own";
}

TYPED_TEST(FamilyTest, CopyIsDeepAndReplacesTheDestinationWholeOrNotAtAll)
{
    using F = TypeParam;
    Scoped<F> src, dst, none;
    fill(&src.seq, {"a=1+", "b=2", "c=3"});
    fill(&dst.seq, {"old=x"});
    ASSERT_EQ(F::copy(&dst.seq, &src.seq), &dst.seq);
    EXPECT_EQ(describe(dst.seq), "a=1+;b=2;c=3;");
    EXPECT_NE(std::memcmp(F::reference(&dst.seq, 0), F::reference(&src.seq, 0),
                          sizeof(typename F::Elem)),
              0)
        << "the strings are duplicated";
    EXPECT_EQ(F::copy(&dst.seq, &dst.seq), &dst.seq);
    EXPECT_EQ(describe(dst.seq), "a=1+;b=2;c=3;");
    ASSERT_EQ(F::copy(&dst.seq, &none.seq), &dst.seq);
    EXPECT_EQ(F::length(&dst.seq), 0);

    // Lent storage too small for the source: refused, nothing replaced.
    typename F::Elem small[2] = {};
    ASSERT_TRUE(F::loan(&none.seq, small, 0, 2));
    fill(&none.seq, {"old=x"});
    EXPECT_EQ(F::copy(&none.seq, &src.seq), nullptr);
    EXPECT_EQ(describe(none.seq), "old=x;");
    EXPECT_TRUE(F::unloan(&none.seq));
    releaseAll(small);
    // Exactly the source's length: copied into the lender's storage.
    typename F::Elem exact[3] = {};
    ASSERT_TRUE(F::loan(&none.seq, exact, 0, 3));
    ASSERT_EQ(F::copy(&none.seq, &src.seq), &none.seq);
    EXPECT_EQ(describe(none.seq), "a=1+;b=2;c=3;");
    EXPECT_EQ(none.seq._contiguous_buffer, exact);
    EXPECT_TRUE(F::unloan(&none.seq));
    releaseAll(exact);
}

TEST_F(SequenceTest, AssertLookupAndRemoveGoByTheFirstElementOfAName)
{
    ScopedSeq props;
    fill(props.get(), {"a=1+", "b=2+"});
    DDS_Property_t *element = nullptr;
    ASSERT_EQ(DDS_PropertySeq_assert_element(props.get(), &element, "b", "22"), DDS_RETCODE_OK);
    EXPECT_EQ(element, DDS_PropertySeq_get_reference(props.get(), 1));
    ASSERT_EQ(DDS_PropertySeq_assert_element(props.get(), &element, "c", "3"), DDS_RETCODE_OK);
    EXPECT_EQ(element, DDS_PropertySeq_get_reference(props.get(), 2));
    // Names are compared with letter case: "B" is another property. The flag is left alone.
    ASSERT_EQ(DDS_PropertySeq_assert_element(props.get(), &element, "B", "x"), DDS_RETCODE_OK);
    EXPECT_EQ(describe(props.seq), "a=1+;b=22+;c=3;B=x;");

    fill(props.get(), {"ab=4", "a=5"});
    EXPECT_EQ(DDS_PropertySeq_lookup_element_index(props.get(), "a", &element), 0);
    EXPECT_EQ(element, DDS_PropertySeq_get_reference(props.get(), 0));
    EXPECT_EQ(DDS_PropertySeq_lookup_element_index(props.get(), "ab", &element), 4);
    for (const char *absent : {"", "abc", "A"})
        EXPECT_EQ(DDS_PropertySeq_lookup_element_index(props.get(), absent, nullptr), -1) << absent;
    EXPECT_EQ(DDS_PropertySeq_lookup_element(props.get(), nullptr), nullptr);
    EXPECT_EQ(show(*DDS_PropertySeq_lookup_element(props.get(), "a")), "a=1+");
    EXPECT_EQ(show(DDS_PropertySeq_get(props.get(), 5)) + show(DDS_PropertySeq_get(props.get(), 6)),
              "a=5~=~");

    EXPECT_EQ(DDS_PropertySeq_remove_element(props.get(), "a"), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_PropertySeq_remove_element(props.get(), "a"), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_PropertySeq_remove_element(props.get(), "a"), DDS_RETCODE_NO_DATA);
    EXPECT_EQ(DDS_PropertySeq_remove_element(props.get(), nullptr), DDS_RETCODE_BAD_PARAMETER);
    // A shorter value is written over the one held.
    ASSERT_EQ(DDS_PropertySeq_assert_element(props.get(), &element, "ab", ""), DDS_RETCODE_OK);
    EXPECT_EQ(describe(props.seq), "b=22+;c=3;B=x;ab=;") << "the others keep their order";
    ASSERT_TRUE(DDS_PropertySeq_set_length(props.get(), 5));
    EXPECT_EQ(show(props.at(4)), "~=~") << "the slot freed at the end holds nothing";
}

TEST_F(SequenceTest, EqualsComparesInOrderAndRemoteSeesOnlyPropagated)
{
    ScopedSeq left, right, flagged, withLocal, reordered, changed, shorter;
    fill(left.get(), {"a=1", "b=2"});
    fill(right.get(), {"a=1", "b=2"});
    fill(flagged.get(), {"a=1", "b=2+"});
    fill(withLocal.get(), {"a=1", "local=z", "b=2+"});
    fill(reordered.get(), {"b=2", "a=1"});
    fill(changed.get(), {"a=1", "b=3"});
    fill(shorter.get(), {"a=1"});
    auto eq = [](ScopedSeq &l, ScopedSeq &r, bool remote) {
        return DDS_PropertySeq_equalsWithParams(l.get(), r.get(), remote) != 0;
    };
    EXPECT_TRUE(eq(left, right, false) && eq(left, right, true));
    EXPECT_FALSE(eq(left, flagged, false)) << "the flag differs";
    EXPECT_FALSE(eq(left, flagged, true)) << "a remote peer sees b on one side only";
    EXPECT_FALSE(eq(flagged, left, true));
    EXPECT_TRUE(eq(withLocal, flagged, true)) << "a local-only property is invisible remotely";
    EXPECT_TRUE(eq(flagged, withLocal, true));
    EXPECT_FALSE(eq(withLocal, flagged, false));
    EXPECT_FALSE(eq(left, reordered, false));
    EXPECT_FALSE(eq(left, changed, false));
    EXPECT_FALSE(eq(left, shorter, false));
    EXPECT_FALSE(eq(shorter, left, false));
    EXPECT_TRUE(eq(shorter, left, true)) << "everything local: nothing to compare remotely";
}

TEST_F(SequenceTest, FromDelimitedStringSplitsTrimsAndDropsEmptyPieces)
{
    Scoped<StringSeq> seq;
    std::string many, manyPieces;
    for (int i = 0; i < 30; ++i) {
        many += "p" + std::to_string(i) + ",";
        manyPieces += "p" + std::to_string(i) + ";";
    }
    const std::pair<std::string, std::string> cases[] = {
        {"a, b,,c", "a;b;c;"}, {" \tmy plugin \r\n,x", "my plugin;x;"}, {"single", "single;"},
        {",, ,", ""},          {"", ""},                                 {many, manyPieces}};
    for (const auto &c : cases) {
        ASSERT_EQ(DDS_StringSeq_from_delimited_string(&seq.seq, c.first.c_str(), ','),
                  DDS_RETCODE_OK);
        EXPECT_EQ(describe(seq.seq), c.second) << "replaces what was there: " << c.first;
    }
    EXPECT_NE(DDS_StringSeq_from_delimited_string(&seq.seq, nullptr, ','), DDS_RETCODE_OK);


}

// The maximum is exactly what was asked, whatever room the storage keeps: growth one slot at a
// time, large growth and shrinking keep the elements and leave every slot beyond them empty.
TYPED_TEST(FamilyTest, MaximumIsExactWhateverTheStorageKeeps)
{
    using F = TypeParam;
    Scoped<F> s;
    fill(&s.seq, {"a=1", "b=2", "c=3"});
    const std::string empty = show(typename F::Elem{});
    for (DDS_Long max = 4; max <= 300; ++max) {
        ASSERT_TRUE(F::setMaximum(&s.seq, max));
        ASSERT_EQ(F::maximum(&s.seq), max);
    }
    for (DDS_Long max : {100000, 120, 3, 5000}) {
        ASSERT_TRUE(F::setMaximum(&s.seq, max));
        ASSERT_TRUE(F::setLength(&s.seq, max) && F::setLength(&s.seq, 3));
        EXPECT_EQ(F::maximum(&s.seq), max);
    }
    ASSERT_TRUE(F::ensureLength(&s.seq, 5000, 5000));
    std::string expected = "a=1;b=2;c=3;";
    for (int i = 3; i < 5000; ++i)
        expected += empty + ";";
    EXPECT_EQ(describe(s.seq), expected);
}

// The heap: resizing keeps the contents and a failed one the block; sizes no machine holds fail
// at once; the accounting stays exact while threads allocate and release at once, and when
// policies are finalized by thread-exit destructors (the fixture checks that nothing is left).
TEST_F(SequenceTest, HeapResizesRefusesTheImpossibleAndCountsExactlyUnderThreads)
{
    auto *block = static_cast<unsigned char *>(ZynHeap_allocate(1));
    block[0] = 7;
    for (size_t previous = 1, size = 2; size <= 100000; previous = size, size += size / 8 + 1) {
        block = static_cast<unsigned char *>(ZynHeap_reallocate(block, size));
        ASSERT_NE(block, nullptr);
        EXPECT_EQ(block[previous - 1], 7 + (previous - 1) % 5) << size;
        for (size_t i = size / 2; i < size; ++i)
            block[i] = static_cast<unsigned char>(7 + i % 5);
    }
    {
        FailAfter armed(0);
        EXPECT_EQ(ZynHeap_reallocate(block, 1 << 20), nullptr);
    }
    block = static_cast<unsigned char *>(ZynHeap_reallocate(block, 3));
    EXPECT_EQ(block[0], 7);
    ZynHeap_free(block);
    EXPECT_TRUE(!ZynHeap_allocate(SIZE_MAX / 2) && !ZynHeap_allocateZeroed(SIZE_MAX / 4, 2) &&
                !ZynHeap_allocateZeroed(3, SIZE_MAX / 2));

    pthread_key_t key;
    ASSERT_EQ(pthread_key_create(&key, [](void *p) {
                  DDS_PropertyQosPolicy_finalize(static_cast<DDS_PropertyQosPolicy *>(p));
                  delete static_cast<DDS_PropertyQosPolicy *>(p);
              }),
              0);
    std::vector<std::thread> threads;
    for (int t = 0; t < 16; ++t) {
        threads.emplace_back([key] {
            auto *policy = new DDS_PropertyQosPolicy DDS_PropertyQosPolicy_INITIALIZER;
            for (int i = 0; i < 200; ++i) {
                const std::string name = "p." + std::to_string(i);
                DDS_PropertyQosPolicyHelper_assert_property(policy, name.c_str(), "v", 0);
                DDS_PropertyQosPolicy copy = DDS_PropertyQosPolicy_INITIALIZER;
                DDS_PropertyQosPolicy_copy(&copy, policy);
                DDS_PropertyQosPolicy_finalize(&copy);
            }
            pthread_setspecific(key, policy);
        });
    }
    for (auto &thread : threads)
        thread.join();
    pthread_key_delete(key);
}

TEST_F(SequenceTest, BoundedStringsCountCapacityWithoutTheTerminator)
{
    char dst[8] = "";
    // The result (dst or null) and what dst holds afterwards; a failure leaves dst untouched.
    auto check = [&](char *result, bool fits, const char *holds) {
        EXPECT_EQ(result, fits ? dst : nullptr) << holds;
        EXPECT_STREQ(dst, holds);
    };
    check(ZynOsapiUtility_strcpy(dst, 3, "abc"), true, "abc");  // exactly the capacity fits
    check(ZynOsapiUtility_strcpy(dst, 3, "wxyz"), false, "abc");
    check(ZynOsapiUtility_strcpy(dst, 0, ""), true, "");
    check(ZynOsapiUtility_strcpy(nullptr, 3, "a"), false, "");
    check(ZynOsapiUtility_strcpy(dst, 3, nullptr), false, "");
    check(ZynOsapiUtility_strcpy(dst, 2, "ab"), true, "ab");
    check(ZynOsapiUtility_strcat(dst, 4, "cd"), true, "abcd");  // the whole result counts
    check(ZynOsapiUtility_strcat(dst, 4, "e"), false, "abcd");
    check(ZynOsapiUtility_strcat(dst, 7, "efg"), true, "abcdefg");
    check(ZynOsapiUtility_strncpy(dst, 7, "hello world", 5), true, "hello");
    check(ZynOsapiUtility_strncpy(dst, 4, "hello", 5), false, "hello");
    check(ZynOsapiUtility_strncpy(dst, 7, "hi", 5), true, "hi");  // a short source is fine
    check(ZynOsapiUtility_strncat(dst, 5, ".create", 3), true, "hi.cr");
    check(ZynOsapiUtility_strncat(dst, 5, "x", 1), false, "hi.cr");
    check(ZynOsapiUtility_strncat(dst, 5, "x", 0), true, "hi.cr");
    // snprintf: size includes the terminator; -1 when the text did not fit.
    char out[6];
    EXPECT_EQ(ZynOsapiUtility_snprintf(out, sizeof out, "%s%s%s", "ab", ".", "cd"), 5);
    EXPECT_STREQ(out, "ab.cd");
    EXPECT_EQ(ZynOsapiUtility_snprintf(out, sizeof out, "%d", 123456), -1);
    EXPECT_EQ(ZynOsapiUtility_snprintf(out, 0, "x"), -1);
}

TEST_F(SequenceTest, StringComparisonsAndCaseBlindSearch)
{
    const std::tuple<int (*)(const char *, const char *), const char *, const char *, int>
        comparisons[] = {
            {VorlString_compare, "abc", "abc", 0},      {VorlString_compare, "abc", "abd", -1},
            {VorlString_compare, "ABC", "abc", -1},     {VorlString_compare, nullptr, "", -1},
            {VorlString_compare, "", nullptr, 1},       {VorlString_compare, nullptr, nullptr, 0},
            {VorlString_iCompare, "UDPv4", "udpV4", 0}, {VorlString_iCompare, "a", "B", -1},
            {VorlString_iCompare, "ab", "A", 1}, {VorlString_iCompare, "XYZ", "xyz", 0}};
    for (const auto &c : comparisons) {
        const int sign = std::get<0>(c)(std::get<1>(c), std::get<2>(c));
        EXPECT_EQ((sign > 0) - (sign < 0), std::get<3>(c))
            << str(std::get<1>(c)) << " / " << str(std::get<2>(c));
    }
    const char *hay = "dds.transport.UDPv4.builtin", *aaab = "aaab", *abAB = "abAB";
    const std::tuple<const char *, const char *, const char *> finds[] = {
        {hay, "udpv4", hay + 14},   {hay, "DDS.", hay},     {hay, "BUILTIN", hay + 20},
        {hay, "builtins", nullptr}, {hay, "", hay},         {"", "a", nullptr},
        {aaab, "aab", aaab + 1},    {abAB, "bA", abAB + 1}, {nullptr, "a", nullptr},
        {hay, nullptr, nullptr}};
    for (const auto &f : finds)
        EXPECT_EQ(VorlString_iFindSubString(std::get<0>(f), std::get<1>(f)), std::get<2>(f))
            << str(std::get<0>(f)) << " / " << str(std::get<1>(f));
}

TEST_F(SequenceTest, PresentationFormHoldsBothLimitsExactly)
{
    ScopedSeq props, back, empty;
    fill(props.get(), {"ab=c+", "d="});  // characters: 3+2 + 2+1 = 8
    fill(back.get(), {"x=y"});
    TaviPropertyQosPolicy form{};
    ASSERT_EQ(DDS_PropertySeq_setup_presentation_qosI(&form, 2, 8), DDS_RETCODE_OK);
    ASSERT_EQ(DDS_PropertySeq_to_presentation_sequence(props.get(), &form), DDS_RETCODE_OK);
    const TaviSequenceProperty &data = form.data;
    std::string shown = std::to_string(data._length) + "/" + std::to_string(data._string_length);
    for (uint32_t i = 0; i < data._length; ++i)
        shown += ";" + str(data._buffer[i].name) + "=" + str(data._buffer[i].value) + "/" +
                 std::to_string(data._buffer[i].propagate);
    EXPECT_EQ(shown, "2/8;ab=c/1;d=/0");
    // And back, into a sequence that held something else.
    ASSERT_EQ(DDS_PropertySeq_from_presentation_sequence(back.get(), &form), DDS_RETCODE_OK);
    EXPECT_EQ(describe(back.seq), "ab=c+;d=;");
    // A malformed form, or a destination never initialised, is refused untouched.
    TaviPropertyQosPolicy bad = form;
    bad.data._length = bad.data._maximum + 1;
    EXPECT_EQ(DDS_PropertySeq_from_presentation_sequence(back.get(), &bad),
              DDS_RETCODE_BAD_PARAMETER);
    EXPECT_EQ(describe(back.seq), "ab=c+;d=;");
    DDS_PropertySeq never{};
    EXPECT_EQ(DDS_PropertySeq_from_presentation_sequence(&never, &form), DDS_RETCODE_BAD_PARAMETER);
    DDS_PropertySeq_finalize_presentation_qosI(&form);

    for (auto limits : {std::pair<DDS_Long, DDS_Long>{1, 8}, {2, 7}, {0, 0}}) {
        SCOPED_TRACE(std::to_string(limits.first) + " properties, " +
                     std::to_string(limits.second) + " characters");
        ASSERT_EQ(DDS_PropertySeq_setup_presentation_qosI(&form, limits.first, limits.second),
                  DDS_RETCODE_OK);
        EXPECT_EQ(DDS_PropertySeq_to_presentation_sequence(props.get(), &form),
                  DDS_RETCODE_OUT_OF_RESOURCES);
        EXPECT_EQ(form.data._length + form.data._string_length, 0u) << "nothing written";
        EXPECT_EQ(DDS_PropertySeq_to_presentation_sequence(empty.get(), &form), DDS_RETCODE_OK);
        DDS_PropertySeq_finalize_presentation_qosI(&form);
    }
    EXPECT_EQ(DDS_PropertySeq_setup_presentation_qosI(&form, -1, 4), DDS_RETCODE_BAD_PARAMETER);
}

// ---- the logging service ----

TEST_F(SequenceTest, PrintersHandTheSinkTheTemplateAndItsArguments)
{
    struct Raw {
        int level = 0, moduleId = 0, line = 0;
        std::string file, function, templateId, message;
        std::vector<std::string> args;
    } raw;
    auto sink = [](const ZynLogEntry *e, void *out) {
        *static_cast<Raw *>(out) = {e->level,   e->moduleId, e->line,
                                    e->file,    e->function, e->templateId,
                                    e->message, {e->args, e->args + e->argCount}};
    };
    ZynLog_setSink(sink, &raw);
    ZynLogMessage_printWithParams(-1, ZYN_LOG_LEVEL_ERROR, ZYN_LOG_MODULE_ID, "f.cpp", 12, "fn",
                                  &DDS_LOG_CONCATENATE_STRING_ssd, "a", nullptr, -7);
    EXPECT_EQ(std::make_tuple(raw.level, raw.moduleId, raw.file, raw.line, raw.function,
                              raw.templateId),
              std::make_tuple(ZYN_LOG_LEVEL_ERROR, 0xF0000, "f.cpp", 12, "fn",
                              "DDS_LOG_CONCATENATE_STRING_ssd"));
    EXPECT_EQ(raw.args, (std::vector<std::string>{"a", "NULL", "-7"}));
    EXPECT_NE(raw.message.find("-7"), std::string::npos) << raw.message;

    // A _TEMPLATE identifier carries its formatted text as the one argument, however long: also
    // one of exactly the printer's buffer size (2048) and one character less or more.
    for (size_t length : {2047, 2048, 2049, 5000}) {
        const std::string text(length - 3, 'L');
        ZynLogMessageParamString_printWithParams(-1, ZYN_LOG_LEVEL_WARNING, ZYN_LOG_MODULE_ID, "g.cpp",
                                                 3, "gn", &ZYN_LOG_FAILED_TO_ALLOCATE_TEMPLATE,
                                                 "%s #%d", text.c_str(), 4);
        EXPECT_EQ(std::make_tuple(raw.level, raw.templateId),
                  std::make_tuple(ZYN_LOG_LEVEL_WARNING, "ZYN_LOG_FAILED_TO_ALLOCATE_TEMPLATE"));
        EXPECT_EQ(raw.args, (std::vector<std::string>{text + " #4"})) << length;
        EXPECT_NE(raw.message.find(text + " #4"), std::string::npos) << length;
    }
    // Without a sink, each entry is one line on standard error, named by its level.
    ZynLog_setSink(nullptr, nullptr);
    ::testing::internal::CaptureStderr();
    for (int level : {ZYN_LOG_LEVEL_PRECONDITION, ZYN_LOG_LEVEL_ERROR, ZYN_LOG_LEVEL_WARNING, 8})
        ZynLogMessage_printWithParams(-1, level, ZYN_LOG_MODULE_ID, "f.cpp", 1, "fn",
                                      &ZYN_LOG_ANY_FAILURE_s, "x");
    EXPECT_EQ(::testing::internal::GetCapturedStderr(),
              "propqos PRECONDITION fn: failure: x\npropqos ERROR fn: failure: x\n"
              "propqos WARNING fn: failure: x\npropqos STATUS fn: failure: x\n");
}
