// Typed property values: the integer and pointer writers and the boolean, integer, duration and
// pointer readers.
#include <cctype>
#include <cstdint>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "infrastructure/PropertyQosPolicyInternal.h"
#include "support/TestSupport.h"

namespace {

using propqos_test::FailAfter;
using propqos_test::ModuleTest;
using propqos_test::ScopedPolicy;
using propqos_test::sweepAllocationFailures;

class TypedValuesTest : public ModuleTest {};

// Every upper/lower-case spelling of an ASCII word.
std::vector<std::string> everyCaseMix(const std::string &word)
{
    std::vector<std::string> mixes;
    for (unsigned mask = 0; mask < (1u << word.size()); ++mask) {
        std::string mix = word;
        for (size_t i = 0; i < word.size(); ++i) {
            if (mask & (1u << i)) {
                mix[i] = static_cast<char>(std::toupper(static_cast<unsigned char>(mix[i])));
            }
        }
        mixes.push_back(mix);
    }
    return mixes;
}

// Leaves the property `name` in place with a null value text.
void clearValueText(DDS_PropertyQosPolicy *policy, const char *name)
{
    DDS_Property_t *property = DDS_PropertyQosPolicyHelper_lookup_property(policy, name);
    ASSERT_NE(property, nullptr);
    DDS_String_free(property->value);
    property->value = nullptr;
}

constexpr DDS_Boolean kUntouched = 7;

TEST_F(TypedValuesTest, BooleanWordsInEveryCaseAndTheirNearMisses)
{
    struct Word {
        const char *text;
        DDS_Boolean reading;
    };
    std::vector<std::pair<std::string, DDS_Boolean>> words = {{"1", DDS_BOOLEAN_TRUE},
                                                              {"0", DDS_BOOLEAN_FALSE}};
    for (Word word : {Word{"true", DDS_BOOLEAN_TRUE}, Word{"yes", DDS_BOOLEAN_TRUE},
                      Word{"false", DDS_BOOLEAN_FALSE}, Word{"no", DDS_BOOLEAN_FALSE}}) {
        for (const std::string &mix : everyCaseMix(word.text)) {
            words.emplace_back(mix, word.reading);
        }
    }
    ASSERT_EQ(words.size(), 2u + 16u + 8u + 32u + 4u);
    for (const auto &[text, reading] : words) {
        SCOPED_TRACE(text);
        DDS_Boolean direct = kUntouched;
        EXPECT_EQ(DDSPropertyQosPolicy_propertyValueToBoolean(text.c_str(), &direct), DDS_RETCODE_OK);
        EXPECT_EQ(direct, reading);

        ScopedPolicy policy{{"flag", text.c_str()}};
        DDS_Boolean read = kUntouched;
        EXPECT_EQ(DDS_PropertyQosPolicyHelper_lookup_boolean_property(&policy, &read, "flag",
                                                                      !reading),
                  DDS_RETCODE_OK);
        EXPECT_EQ(read, reading);
        int readI = 5;
        EXPECT_EQ(DDS_PropertyQosPolicyHelper_lookup_boolean_propertyI(&policy, &readI, "flag"), 1);
        EXPECT_EQ(readI, reading ? 1 : 0);
    }

    for (const char *miss : {" 1", "1 ", "01", "00", "2", "-1", "on", "off", "", " true",
                             "true ", "tru", "truee", "yes!", "n", "y", "t", "0x1", "1.0",
                             "TRUE\n", "nein"}) {
        SCOPED_TRACE(std::string("\"") + miss + "\"");
        DDS_Boolean direct = kUntouched;
        EXPECT_EQ(DDSPropertyQosPolicy_propertyValueToBoolean(miss, &direct), DDS_RETCODE_ERROR);
        EXPECT_EQ(direct, kUntouched);

        ScopedPolicy policy{{"flag", miss}};
        DDS_Boolean read = kUntouched;
        EXPECT_EQ(DDS_PropertyQosPolicyHelper_lookup_boolean_property(&policy, &read, "flag",
                                                                      DDS_BOOLEAN_TRUE),
                  DDS_RETCODE_ERROR);
        EXPECT_EQ(read, kUntouched);
        EXPECT_EQ(DDSPropertyQosPolicyHelper_lookupBooleanPropertyWithPrefix(
                      &policy, &read, nullptr, "flag", DDS_BOOLEAN_TRUE),
                  DDS_RETCODE_ERROR);
        EXPECT_EQ(read, kUntouched);
        int readI = 5;
        EXPECT_EQ(DDS_PropertyQosPolicyHelper_lookup_boolean_propertyI(&policy, &readI, "flag"), 0);
        EXPECT_EQ(readI, 5);
    }

    DDS_Boolean direct = kUntouched;
    EXPECT_EQ(DDSPropertyQosPolicy_propertyValueToBoolean(nullptr, &direct),
              DDS_RETCODE_BAD_PARAMETER);
    EXPECT_EQ(direct, kUntouched);
    EXPECT_EQ(DDSPropertyQosPolicy_propertyValueToBoolean("yes", nullptr),
              DDS_RETCODE_BAD_PARAMETER);
    // An unreadable word is the caller's to report.
    EXPECT_EQ(log.size(), 0u) << log.dump();
}

TEST_F(TypedValuesTest, BooleanReadersOnAbsentNamesAndUnderPrefixes)
{
    ScopedPolicy policy{{"dds.transport.shmem.enabled", "Yes"},
                        {"dds.transport.shmem", "no"},
                        {"enabled", "false"}};
    for (DDS_Boolean fallback : {DDS_BOOLEAN_TRUE, DDS_BOOLEAN_FALSE}) {
        DDS_Boolean read = kUntouched;
        EXPECT_EQ(DDS_PropertyQosPolicyHelper_lookup_boolean_property(&policy, &read, "absent",
                                                                      fallback),
                  DDS_RETCODE_NO_DATA);
        EXPECT_EQ(read, fallback);
        read = kUntouched;
        EXPECT_EQ(DDSPropertyQosPolicyHelper_lookupBooleanPropertyWithPrefix(
                      &policy, &read, "dds.transport.shmem", "absent", fallback),
                  DDS_RETCODE_NO_DATA);
        EXPECT_EQ(read, fallback);
    }
    int readI = 5;
    EXPECT_EQ(DDS_PropertyQosPolicyHelper_lookup_boolean_propertyI(&policy, &readI, "absent"), 0);
    EXPECT_EQ(readI, 5);

    // The prefix and the name are joined by a "."; without a prefix the name stands alone.
    DDS_Boolean read = DDS_BOOLEAN_FALSE;
    EXPECT_EQ(DDSPropertyQosPolicyHelper_lookupBooleanPropertyWithPrefix(
                  &policy, &read, "dds.transport.shmem", "enabled", DDS_BOOLEAN_FALSE),
              DDS_RETCODE_OK);
    EXPECT_EQ(read, DDS_BOOLEAN_TRUE);
    read = DDS_BOOLEAN_TRUE;
    EXPECT_EQ(DDSPropertyQosPolicyHelper_lookupBooleanPropertyWithPrefix(
                  &policy, &read, nullptr, "enabled", DDS_BOOLEAN_TRUE),
              DDS_RETCODE_OK);
    EXPECT_EQ(read, DDS_BOOLEAN_FALSE);
    read = kUntouched;
    EXPECT_EQ(DDSPropertyQosPolicyHelper_lookupBooleanPropertyWithPrefix(
                  &policy, &read, "dds.transport", "shmem", DDS_BOOLEAN_TRUE),
              DDS_RETCODE_OK);
    EXPECT_EQ(read, DDS_BOOLEAN_FALSE);
    EXPECT_EQ(log.size(), 0u) << log.dump();

    // A composed name that cannot be allocated reads as an absent property, after the lookup's
    // own error entry.
    {
        FailAfter armed(0);
        read = kUntouched;
        EXPECT_EQ(DDSPropertyQosPolicyHelper_lookupBooleanPropertyWithPrefix(
                      &policy, &read, "dds.transport.shmem", "enabled", DDS_BOOLEAN_FALSE),
                  DDS_RETCODE_NO_DATA);
    }
    EXPECT_EQ(read, DDS_BOOLEAN_FALSE);
    expectOnlyEntry(ZYN_LOG_LEVEL_ERROR, "DDS_LOG_OUT_OF_RESOURCES_s", {"property name"});
}

TEST_F(TypedValuesTest, PropertyWithNullTextIsReadWithoutHarm)
{
    ScopedPolicy policy{{"p", "1"}};
    clearValueText(&policy, "p");

    DDS_Boolean flag = kUntouched;
    EXPECT_EQ(DDS_PropertyQosPolicyHelper_lookup_boolean_property(&policy, &flag, "p",
                                                                  DDS_BOOLEAN_TRUE),
              DDS_RETCODE_BAD_PARAMETER);
    EXPECT_EQ(DDSPropertyQosPolicyHelper_lookupBooleanPropertyWithPrefix(&policy, &flag, nullptr,
                                                                         "p", DDS_BOOLEAN_TRUE),
              DDS_RETCODE_BAD_PARAMETER);
    EXPECT_EQ(flag, kUntouched);
    int flagI = 5;
    EXPECT_EQ(DDS_PropertyQosPolicyHelper_lookup_boolean_propertyI(&policy, &flagI, "p"), 0);
    EXPECT_EQ(flagI, 5);

    DDS_Long integer = 9;
    DDS_LongLong longLong = 9;
    DDS_UnsignedLong unsignedInteger = 9;
    ZynNtpTime time{9, 9};
    int target = 0;
    void *pointer = &target;
    EXPECT_FALSE(DDS_PropertyQosPolicyHelper_lookup_integer_property(&policy, &integer, "p"));
    EXPECT_FALSE(DDS_PropertyQosPolicyHelper_lookup_long_long_property(&policy, &longLong, "p"));
    EXPECT_FALSE(
        DDS_PropertyQosPolicyHelper_lookup_unsigned_integer_property(&policy, &unsignedInteger, "p"));
    EXPECT_FALSE(DDS_PropertyQosPolicyHelper_lookup_duration_property(&policy, &time, "p"));
    EXPECT_FALSE(DDS_PropertyQosPolicyHelper_lookup_pointer_property(&policy, &pointer, "p"));
    EXPECT_EQ(integer, 9);
    EXPECT_EQ(longLong, 9);
    EXPECT_EQ(unsignedInteger, 9u);
    EXPECT_EQ(time.sec, 9);
    EXPECT_EQ(time.frac, 9u);
    EXPECT_EQ(pointer, &target);
    EXPECT_EQ(log.size(), 0u) << log.dump();
}

TEST_F(TypedValuesTest, IntegerWritersRoundTripAtTheExtremes)
{
    ScopedPolicy policy;
    for (DDS_Long written : {INT32_MIN, INT32_MIN + 1, -1, 0, 1, INT32_MAX}) {
        const std::string name = "signed." + std::to_string(written);
        ASSERT_EQ(DDS_PropertyQosPolicyHelper_add_integer_property(&policy, name.c_str(), written),
                  DDS_RETCODE_OK);
        const DDS_Property_t *stored =
            DDS_PropertyQosPolicyHelper_lookup_property(&policy, name.c_str());
        ASSERT_NE(stored, nullptr);
        EXPECT_STREQ(stored->value, std::to_string(written).c_str());
        EXPECT_EQ(stored->propagate, DDS_BOOLEAN_FALSE);
        DDS_Long read = written ^ 0x55;
        EXPECT_TRUE(DDS_PropertyQosPolicyHelper_lookup_integer_property(&policy, &read, name.c_str()));
        EXPECT_EQ(read, written);
        DDS_LongLong readWide = 0;
        EXPECT_TRUE(
            DDS_PropertyQosPolicyHelper_lookup_long_long_property(&policy, &readWide, name.c_str()));
        EXPECT_EQ(readWide, written);
    }
    EXPECT_EQ(std::strlen(DDS_PropertyQosPolicyHelper_lookup_property(&policy, "signed.-2147483648")
                              ->value),
              11u);

    for (DDS_UnsignedLong written : {0u, 1u, 2147483648u, UINT32_MAX}) {
        const std::string name = "unsigned." + std::to_string(written);
        ASSERT_EQ(DDS_PropertyQosPolicyHelper_add_unsigned_integer_property(&policy, name.c_str(),
                                                                            written),
                  DDS_RETCODE_OK);
        const DDS_Property_t *stored =
            DDS_PropertyQosPolicyHelper_lookup_property(&policy, name.c_str());
        ASSERT_NE(stored, nullptr);
        EXPECT_STREQ(stored->value, std::to_string(written).c_str());
        EXPECT_EQ(stored->propagate, DDS_BOOLEAN_FALSE);
        DDS_UnsignedLong read = written ^ 0x55u;
        EXPECT_TRUE(DDS_PropertyQosPolicyHelper_lookup_unsigned_integer_property(&policy, &read,
                                                                                 name.c_str()));
        EXPECT_EQ(read, written);
    }

    // Each reader refuses what does not fit its type, and leaves the caller's value.
    DDS_Long narrow = 3;
    EXPECT_FALSE(DDS_PropertyQosPolicyHelper_lookup_integer_property(&policy, &narrow,
                                                                     "unsigned.4294967295"));
    EXPECT_EQ(narrow, 3);
    DDS_UnsignedLong unsignedNarrow = 3;
    EXPECT_FALSE(DDS_PropertyQosPolicyHelper_lookup_unsigned_integer_property(
        &policy, &unsignedNarrow, "signed.-1"));
    EXPECT_EQ(unsignedNarrow, 3u);
    ASSERT_EQ(DDS_PropertyQosPolicyHelper_add_property(&policy, "wide", "-9223372036854775808",
                                                       DDS_BOOLEAN_FALSE),
              DDS_RETCODE_OK);
    DDS_LongLong wide = 0;
    EXPECT_TRUE(DDS_PropertyQosPolicyHelper_lookup_long_long_property(&policy, &wide, "wide"));
    EXPECT_EQ(wide, INT64_MIN);
    EXPECT_FALSE(DDS_PropertyQosPolicyHelper_lookup_integer_property(&policy, &narrow, "wide"));
    EXPECT_FALSE(DDS_PropertyQosPolicyHelper_lookup_integer_property(&policy, &narrow, "absent"));
    EXPECT_EQ(narrow, 3);
    EXPECT_EQ(log.size(), 0u) << log.dump();
}

TEST_F(TypedValuesTest, PointerWritersRoundTripAndAssertReplaces)
{
    ScopedPolicy policy;
    int first = 1;
    double second = 2;
    ASSERT_EQ(DDS_PropertyQosPolicyHelper_add_pointer_property(&policy, "ptr", &first),
              DDS_RETCODE_OK);
    void *read = nullptr;
    EXPECT_TRUE(DDS_PropertyQosPolicyHelper_lookup_pointer_property(&policy, &read, "ptr"));
    EXPECT_EQ(read, static_cast<void *>(&first));
    EXPECT_EQ(policy.at(0).propagate, DDS_BOOLEAN_FALSE);

    // The widest address fits the writer's buffer; null survives the trip as well.
    const void *widest = reinterpret_cast<const void *>(UINTPTR_MAX);
    ASSERT_EQ(DDS_PropertyQosPolicyHelper_add_pointer_property(&policy, "widest", widest),
              DDS_RETCODE_OK);
    EXPECT_TRUE(DDS_PropertyQosPolicyHelper_lookup_pointer_property(&policy, &read, "widest"));
    EXPECT_EQ(read, widest);
    ASSERT_EQ(DDS_PropertyQosPolicyHelper_add_pointer_property(&policy, "none", nullptr),
              DDS_RETCODE_OK);
    EXPECT_TRUE(DDS_PropertyQosPolicyHelper_lookup_pointer_property(&policy, &read, "none"));
    EXPECT_EQ(read, nullptr);

    // add appends even under a name already present; assert keeps one property per name.
    ASSERT_EQ(DDS_PropertyQosPolicyHelper_add_pointer_property(&policy, "ptr", &second),
              DDS_RETCODE_OK);
    EXPECT_EQ(policy.size(), 4);
    ASSERT_EQ(DDS_PropertyQosPolicyHelper_assert_pointer_property(&policy, "asserted", &first),
              DDS_RETCODE_OK);
    ASSERT_EQ(DDS_PropertyQosPolicyHelper_assert_pointer_property(&policy, "asserted", &second),
              DDS_RETCODE_OK);
    EXPECT_EQ(policy.size(), 5);
    EXPECT_TRUE(DDS_PropertyQosPolicyHelper_lookup_pointer_property(&policy, &read, "asserted"));
    EXPECT_EQ(read, static_cast<void *>(&second));
    EXPECT_EQ(policy.at(4).propagate, DDS_BOOLEAN_FALSE);

    ASSERT_EQ(DDS_PropertyQosPolicyHelper_add_property(&policy, "junk", "pointer",
                                                       DDS_BOOLEAN_FALSE),
              DDS_RETCODE_OK);
    read = &first;
    EXPECT_FALSE(DDS_PropertyQosPolicyHelper_lookup_pointer_property(&policy, &read, "junk"));
    EXPECT_FALSE(DDS_PropertyQosPolicyHelper_lookup_pointer_property(&policy, &read, "absent"));
    EXPECT_EQ(read, static_cast<void *>(&first));
    EXPECT_EQ(log.size(), 0u) << log.dump();
}

TEST_F(TypedValuesTest, DurationReader)
{
    ScopedPolicy policy{{"period", "1.5"}, {"forever", "infinite"}, {"junk", "1.5 h"}};
    ZynNtpTime time{0, 0};
    EXPECT_TRUE(DDS_PropertyQosPolicyHelper_lookup_duration_property(&policy, &time, "period"));
    EXPECT_EQ(time.sec, 1);
    EXPECT_EQ(time.frac, 0x80000000u);
    EXPECT_TRUE(DDS_PropertyQosPolicyHelper_lookup_duration_property(&policy, &time, "forever"));
    EXPECT_EQ(time.sec, ZYN_NTP_TIME_SEC_MAX);
    EXPECT_EQ(time.frac, ZYN_NTP_TIME_FRAC_MAX);
    time = ZynNtpTime{4, 4};
    EXPECT_FALSE(DDS_PropertyQosPolicyHelper_lookup_duration_property(&policy, &time, "junk"));
    EXPECT_FALSE(DDS_PropertyQosPolicyHelper_lookup_duration_property(&policy, &time, "absent"));
    EXPECT_EQ(time.sec, 4);
    EXPECT_EQ(time.frac, 4u);
    EXPECT_EQ(log.size(), 0u) << log.dump();
}

TEST_F(TypedValuesTest, NullArgumentsOfReadersAreCheckedInOrder)
{
    ScopedPolicy policy{{"x", "1"}};
    DDS_Boolean flag = kUntouched;
    int flagI = 5;
    DDS_Long integer = 0;
    DDS_LongLong longLong = 0;
    DDS_UnsignedLong unsignedInteger = 0;
    ZynNtpTime time{};
    void *pointer = nullptr;

    // Each reader with (self, value, name); `nullSelf` etc. say which are null. The expected
    // result is the reader's failure value.
    struct Reader {
        const char *what;
        long failure;
        std::function<long(bool nullSelf, bool nullValue, bool nullName)> call;
    };
    auto self = [&](bool isNull) { return isNull ? nullptr : &policy.policy; };
    auto name = [](bool isNull) { return isNull ? nullptr : "x"; };
    std::vector<Reader> readers = {
        {"boolean", DDS_RETCODE_ERROR,
         [&](bool s, bool v, bool n) {
             return DDS_PropertyQosPolicyHelper_lookup_boolean_property(
                 self(s), v ? nullptr : &flag, name(n), DDS_BOOLEAN_TRUE);
         }},
        {"boolean with prefix", DDS_RETCODE_ERROR,
         [&](bool s, bool v, bool n) {
             return DDSPropertyQosPolicyHelper_lookupBooleanPropertyWithPrefix(
                 self(s), v ? nullptr : &flag, nullptr, name(n), DDS_BOOLEAN_TRUE);
         }},
        {"booleanI", 0,
         [&](bool s, bool v, bool n) {
             return DDS_PropertyQosPolicyHelper_lookup_boolean_propertyI(self(s),
                                                                         v ? nullptr : &flagI, name(n));
         }},
        {"integer", DDS_BOOLEAN_FALSE,
         [&](bool s, bool v, bool n) {
             return DDS_PropertyQosPolicyHelper_lookup_integer_property(
                 self(s), v ? nullptr : &integer, name(n));
         }},
        {"long long", DDS_BOOLEAN_FALSE,
         [&](bool s, bool v, bool n) {
             return DDS_PropertyQosPolicyHelper_lookup_long_long_property(
                 self(s), v ? nullptr : &longLong, name(n));
         }},
        {"unsigned", DDS_BOOLEAN_FALSE,
         [&](bool s, bool v, bool n) {
             return DDS_PropertyQosPolicyHelper_lookup_unsigned_integer_property(
                 self(s), v ? nullptr : &unsignedInteger, name(n));
         }},
        {"duration", DDS_BOOLEAN_FALSE,
         [&](bool s, bool v, bool n) {
             return DDS_PropertyQosPolicyHelper_lookup_duration_property(
                 self(s), v ? nullptr : &time, name(n));
         }},
        {"pointer", DDS_BOOLEAN_FALSE,
         [&](bool s, bool v, bool n) {
             return DDS_PropertyQosPolicyHelper_lookup_pointer_property(
                 self(s), v ? nullptr : &pointer, name(n));
         }},
    };
    struct Case {
        bool nullSelf, nullValue, nullName;
        const char *test;
    };
    for (const Reader &reader : readers) {
        SCOPED_TRACE(reader.what);
        for (Case c : {Case{true, true, true, "self == ((void *)0)"},
                       Case{false, true, true, "value == ((void *)0)"},
                       Case{false, false, true, "name == ((void *)0)"}}) {
            SCOPED_TRACE(c.test);
            log.clear();
            ZynLog_g_preconditionDetected = 0;
            const unsigned hits = ZynLog_g_assertBreakpointCount;
            EXPECT_EQ(reader.call(c.nullSelf, c.nullValue, c.nullName), reader.failure);
            expectOnlyEntry(ZYN_LOG_LEVEL_PRECONDITION, "ZYN_LOG_PRECONDITION_FAILURE_s",
                            {std::string("\"") + c.test + "\""});
            expectPrecondition(c.test);
            EXPECT_EQ(ZynLog_g_assertBreakpointCount, hits + 1);
        }
    }
    EXPECT_EQ(flag, kUntouched);
    EXPECT_EQ(flagI, 5);
}

TEST_F(TypedValuesTest, WritersLeaveNullPolicyAndExhaustionToTheSingleOperations)
{
    int target = 0;
    EXPECT_EQ(DDS_PropertyQosPolicyHelper_add_integer_property(nullptr, "n", 1),
              DDS_RETCODE_BAD_PARAMETER);
    EXPECT_EQ(DDS_PropertyQosPolicyHelper_add_unsigned_integer_property(nullptr, "n", 1),
              DDS_RETCODE_BAD_PARAMETER);
    EXPECT_EQ(DDS_PropertyQosPolicyHelper_add_pointer_property(nullptr, "n", &target),
              DDS_RETCODE_BAD_PARAMETER);
    EXPECT_EQ(DDS_PropertyQosPolicyHelper_assert_pointer_property(nullptr, "n", &target),
              DDS_RETCODE_BAD_PARAMETER);
    ASSERT_EQ(log.size(), 4u) << log.dump();
    for (const auto &entry : log.entries()) {
        EXPECT_EQ(entry.level, ZYN_LOG_LEVEL_ERROR);
        EXPECT_EQ(entry.templateId, "DDS_LOG_BAD_PARAMETER_s");
        EXPECT_EQ(entry.args, std::vector<std::string>{"policy"});
    }
    EXPECT_EQ(ZynLog_g_preconditionDetected, 0);

    // Memory running out at any step of the store: the single operation's entry and code,
    // nothing left behind, and the policy unchanged.
    struct Writer {
        const char *what;
        std::function<DDS_ReturnCode_t(DDS_PropertyQosPolicy *)> write;
        const char *templateId;
        std::vector<std::string> args;
    };
    const std::vector<Writer> writers = {
        {"integer",
         [](DDS_PropertyQosPolicy *p) {
             return DDS_PropertyQosPolicyHelper_add_integer_property(p, "count", -5);
         },
         "ZYN_LOG_ANY_FAILURE_ss", {"Add property: ", "count"}},
        {"unsigned",
         [](DDS_PropertyQosPolicy *p) {
             return DDS_PropertyQosPolicyHelper_add_unsigned_integer_property(p, "count", 5u);
         },
         "ZYN_LOG_ANY_FAILURE_ss", {"Add property: ", "count"}},
        {"pointer",
         [&](DDS_PropertyQosPolicy *p) {
             return DDS_PropertyQosPolicyHelper_add_pointer_property(p, "count", &target);
         },
         "ZYN_LOG_ANY_FAILURE_ss", {"Add property: ", "count"}},
        {"asserted pointer",
         [&](DDS_PropertyQosPolicy *p) {
             return DDS_PropertyQosPolicyHelper_assert_pointer_property(p, "count", &target);
         },
         "ZYN_LOG_ADD_FAILURE_s", {"element"}},
    };
    for (const Writer &writer : writers) {
        SCOPED_TRACE(writer.what);
        long tried = sweepAllocationFailures([&](long k) {
            ScopedPolicy policy{{"other", "x"}};
            log.clear();
            DDS_ReturnCode_t result;
            {
                FailAfter armed(k);
                result = writer.write(&policy);
            }
            if (result == DDS_RETCODE_OK) {
                EXPECT_EQ(policy.size(), 2);
                return true;
            }
            EXPECT_EQ(result, DDS_RETCODE_OUT_OF_RESOURCES);
            EXPECT_EQ(policy.size(), 1);
            if (log.size() != 1u) {
                ADD_FAILURE() << "allocation " << k << ":\n" << log.dump();
                return false;
            }
            EXPECT_EQ(log.entries()[0].level, ZYN_LOG_LEVEL_ERROR);
            EXPECT_EQ(log.entries()[0].templateId, writer.templateId);
            EXPECT_EQ(log.entries()[0].args, writer.args);
            return false;
        });
        EXPECT_GT(tried, 0);
    }
}

}  // namespace
