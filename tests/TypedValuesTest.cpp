// Typed property values: the integer and pointer writers and the boolean, integer, duration and
// pointer readers.
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "infrastructure/PropertyQosPolicyInternal.h"
#include "support/TestSupport.h"

namespace {

using namespace propqos_test;

constexpr auto addProperty = DDS_PropertyQosPolicyHelper_add_property;
constexpr auto addInteger = DDS_PropertyQosPolicyHelper_add_integer_property;
constexpr auto addUnsigned = DDS_PropertyQosPolicyHelper_add_unsigned_integer_property;
constexpr auto addPointer = DDS_PropertyQosPolicyHelper_add_pointer_property;
constexpr auto assertPointer = DDS_PropertyQosPolicyHelper_assert_pointer_property;
constexpr auto toBoolean = DDSPropertyQosPolicy_propertyValueToBoolean;
constexpr auto readBoolean = DDS_PropertyQosPolicyHelper_lookup_boolean_property;
constexpr auto readBooleanI = DDS_PropertyQosPolicyHelper_lookup_boolean_propertyI;
constexpr auto readPrefixed = DDSPropertyQosPolicyHelper_lookupBooleanPropertyWithPrefix;
constexpr auto readInteger = DDS_PropertyQosPolicyHelper_lookup_integer_property;
constexpr auto readLongLong = DDS_PropertyQosPolicyHelper_lookup_long_long_property;
constexpr auto readUnsigned = DDS_PropertyQosPolicyHelper_lookup_unsigned_integer_property;
constexpr auto readDuration = DDS_PropertyQosPolicyHelper_lookup_duration_property;
constexpr auto readPointer = DDS_PropertyQosPolicyHelper_lookup_pointer_property;
constexpr DDS_Boolean kUntouched = 7;

class TypedValuesTest : public ModuleTest {};

TEST_F(TypedValuesTest, BooleanWordsNearMissesAndAbsentNames)
{
    const std::pair<const char *, DDS_Boolean> words[] = {
        {"true", 1},  {"TRUE", 1},  {"tRuE", 1},  {"yes", 1}, {"YES", 1}, {"yEs", 1}, {"1", 1},
        {"false", 0}, {"FALSE", 0}, {"fAlSe", 0}, {"no", 0},  {"NO", 0},  {"nO", 0},  {"0", 0}};
    for (const auto &[text, reading] : words) {
        ScopedPolicy policy{{"flag", text}};
        DDS_Boolean read = kUntouched;
        int readI = 5;
        EXPECT_EQ(readBoolean(&policy, &read, "flag", !reading), DDS_RETCODE_OK) << text;
        EXPECT_EQ(readBooleanI(&policy, &readI, "flag"), 1) << text;
        EXPECT_TRUE(read == reading && readI == reading) << text;
    }
    for (const char *miss : {" 1", "1 ", "01", "2", "-1", "on", "", " true", "true ", "tru",
                             "truee", "y", "n", "0x1", "TRUE\n", "nein"}) {
        ScopedPolicy policy{{"flag", miss}};
        DDS_Boolean read = kUntouched;
        int readI = 5;
        EXPECT_EQ(readBoolean(&policy, &read, "flag", 1), DDS_RETCODE_ERROR) << miss;
        EXPECT_EQ(readPrefixed(&policy, &read, nullptr, "flag", 1), DDS_RETCODE_ERROR) << miss;
        EXPECT_EQ(readBooleanI(&policy, &readI, "flag"), 0) << miss;
        EXPECT_TRUE(read == kUntouched && readI == 5) << miss;
    }
    DDS_Boolean read = kUntouched;
    EXPECT_EQ(toBoolean(nullptr, &read), DDS_RETCODE_BAD_PARAMETER);
    EXPECT_EQ(toBoolean("yes", nullptr), DDS_RETCODE_BAD_PARAMETER);
    EXPECT_EQ(read, kUntouched);

    // Absent: the default and NO_DATA, except for the I form, which leaves the value alone.
    ScopedPolicy policy{{"dds.transport.shmem.enabled", "Yes"}, {"enabled", "false"}};
    for (DDS_Boolean fallback : {DDS_BOOLEAN_TRUE, DDS_BOOLEAN_FALSE}) {
        EXPECT_EQ(readBoolean(&policy, &read, "absent", fallback), DDS_RETCODE_NO_DATA);
        EXPECT_EQ(read, fallback);
        read = kUntouched;
        EXPECT_EQ(readPrefixed(&policy, &read, "dds.transport.shmem", "absent", fallback),
                  DDS_RETCODE_NO_DATA);
        EXPECT_EQ(read, fallback);
    }
    int readI = 5;
    EXPECT_EQ(readBooleanI(&policy, &readI, "absent"), 0);
    EXPECT_EQ(readI, 5);
    // The prefix and the name are joined by a "."; without a prefix the name stands alone.
    EXPECT_EQ(readPrefixed(&policy, &read, "dds.transport.shmem", "enabled", 0), DDS_RETCODE_OK);
    EXPECT_EQ(read, DDS_BOOLEAN_TRUE);
    EXPECT_EQ(readPrefixed(&policy, &read, nullptr, "enabled", 1), DDS_RETCODE_OK);
    EXPECT_EQ(read, DDS_BOOLEAN_FALSE);
    EXPECT_EQ(log.size(), 0u) << log.dump();   // an unreadable word is the caller's to report

    // A composed name that cannot be allocated (one too long for the stack) reads as absent,
    // after the lookup's own entry.
    read = kUntouched;
    {
        const std::string longPrefix(2000, 'p');
        FailAfter armed(0);
        EXPECT_EQ(readPrefixed(&policy, &read, longPrefix.c_str(), "enabled", 0),
                  DDS_RETCODE_NO_DATA);
    }
    EXPECT_EQ(read, DDS_BOOLEAN_FALSE);
    expectOnlyEntry(ZYN_LOG_LEVEL_ERROR, "DDS_LOG_OUT_OF_RESOURCES_s", {"property name"});
}

TEST_F(TypedValuesTest, NumbersAndDurationsRoundTripAtTheExtremes)
{
    ScopedPolicy policy{{"wide", "-9223372036854775808"}, {"period", "1.5"},
                        {"forever", "infinite"}, {"junk", "1.5 h"}};
    auto stored = [&](const std::string &name) {
        auto p = DDS_PropertyQosPolicyHelper_lookup_property(&policy, name.c_str());
        EXPECT_TRUE(p != nullptr && p->propagate == DDS_BOOLEAN_FALSE) << name;
        return p ? std::string(p->value) : std::string();
    };
    for (DDS_Long written : {INT32_MIN, -1, 0, INT32_MAX}) {
        const std::string name = "signed." + std::to_string(written);
        ASSERT_EQ(addInteger(&policy, name.c_str(), written), DDS_RETCODE_OK);
        EXPECT_EQ(stored(name), std::to_string(written));
        DDS_Long read = written ^ 0x55;
        EXPECT_TRUE(readInteger(&policy, &read, name.c_str()));
        EXPECT_EQ(read, written);
    }
    for (DDS_UnsignedLong written : {0u, 2147483648u, UINT32_MAX}) {
        const std::string name = "unsigned." + std::to_string(written);
        ASSERT_EQ(addUnsigned(&policy, name.c_str(), written), DDS_RETCODE_OK);
        EXPECT_EQ(stored(name), std::to_string(written));
        DDS_UnsignedLong read = written ^ 0x55u;
        EXPECT_TRUE(readUnsigned(&policy, &read, name.c_str()));
        EXPECT_EQ(read, written);
    }
    DDS_LongLong wide = 0;
    EXPECT_TRUE(readLongLong(&policy, &wide, "wide"));
    EXPECT_EQ(wide, INT64_MIN);
    // Each reader refuses what does not fit its type, and leaves the caller's value.
    DDS_Long narrow = 3;
    DDS_UnsignedLong unsignedNarrow = 3;
    for (const char *name : {"unsigned.4294967295", "wide", "absent"}) {
        EXPECT_FALSE(readInteger(&policy, &narrow, name)) << name;
    }
    EXPECT_FALSE(readUnsigned(&policy, &unsignedNarrow, "signed.-1"));
    EXPECT_TRUE(narrow == 3 && unsignedNarrow == 3);

    ZynNtpTime time{0, 0};
    EXPECT_TRUE(readDuration(&policy, &time, "period"));
    EXPECT_TRUE(time.sec == 1 && time.frac == 0x80000000u);
    time = ZynNtpTime{4, 4};
    EXPECT_FALSE(readDuration(&policy, &time, "junk"));
    EXPECT_FALSE(readDuration(&policy, &time, "absent"));
    EXPECT_TRUE(time.sec == 4 && time.frac == 4u);
    EXPECT_EQ(log.size(), 0u) << log.dump();
}

TEST_F(TypedValuesTest, PointersRoundTripAndAssertReplaces)
{
    ScopedPolicy policy{{"junk", "pointer"}};
    int first = 1;
    double second = 2;
    // Any address fits the writer's buffer, the widest and null too.
    const void *widest = reinterpret_cast<const void *>(UINTPTR_MAX);
    const std::pair<const char *, const void *> pointers[] = {
        {"ptr", &first}, {"widest", widest}, {"none", nullptr}};
    for (const auto &[name, pointer] : pointers) {
        ASSERT_EQ(addPointer(&policy, name, pointer), DDS_RETCODE_OK);
        void *read = &second;
        EXPECT_TRUE(readPointer(&policy, &read, name));
        EXPECT_EQ(read, pointer) << name;
    }
    // add appends even under a name already present.
    ASSERT_EQ(addPointer(&policy, "ptr", &second), DDS_RETCODE_OK);
    EXPECT_TRUE(policy.size() == 5 && policy.at(4).propagate == DDS_BOOLEAN_FALSE);
    // assert keeps one property per name.
    ASSERT_EQ(assertPointer(&policy, "asserted", &first), DDS_RETCODE_OK);
    ASSERT_EQ(assertPointer(&policy, "asserted", &second), DDS_RETCODE_OK);
    void *read = nullptr;
    EXPECT_TRUE(readPointer(&policy, &read, "asserted"));
    EXPECT_EQ(read, static_cast<void *>(&second));
    EXPECT_TRUE(policy.size() == 6 && policy.at(5).propagate == DDS_BOOLEAN_FALSE);

    read = &first;
    EXPECT_FALSE(readPointer(&policy, &read, "junk"));
    EXPECT_FALSE(readPointer(&policy, &read, "absent"));
    EXPECT_EQ(read, static_cast<void *>(&first));
    EXPECT_EQ(log.size(), 0u) << log.dump();
}

}  // namespace
