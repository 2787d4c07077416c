// The number and duration readers of the layers below the module.
#include <cstdint>
#include <string>

#include "support/TestSupport.h"

namespace {

using propqos_test::ModuleTest;

class ParsersTest : public ModuleTest {};

// Reads `text` with `parse` and expects `expected`.
template <typename T, typename Parse>
void reads(Parse parse, const char *text, T expected)
{
    T out = static_cast<T>(expected ^ static_cast<T>(0x5a5a));
    EXPECT_NE(parse(text, &out), 0) << "refused \"" << text << "\"";
    EXPECT_EQ(out, expected) << "\"" << text << "\"";
}

// Expects `text` refused with the output left as it was.
template <typename T, typename Parse>
void refuses(Parse parse, const char *text)
{
    T out = static_cast<T>(0x5a5a);
    EXPECT_EQ(parse(text, &out), 0) << "accepted \"" << (text ? text : "(null)") << "\"";
    EXPECT_EQ(out, static_cast<T>(0x5a5a)) << "output written for \"" << (text ? text : "") << "\"";
}

TEST_F(ParsersTest, NumbersAcceptOneWholeNumberInDecimalOrHex)
{
    for (const char *text : {"42", "+42", "  42", "\t42\n", "0x2a", "0X2A", " +0x2a", "042"}) {
        reads<DDS_Long>(VorlString_strToLong, text, 42);   // "042" is decimal, not octal
        reads<DDS_LongLong>(VorlString_strToLongLong, text, 42);
        reads<DDS_UnsignedLong>(VorlString_strToUnsignedLong, text, 42u);
    }
    reads<DDS_Long>(VorlString_strToLong, "-0x2a", -42);
    reads<DDS_LongLong>(VorlString_strToLongLong, " -42 ", -42);
    reads<DDS_Long>(VorlString_strToLong, "-0", 0);
    const char *const junks[] = {"",  "   ", "12abc", "1 2",  "1.0", "0x", "0xg",
                                 "-", "--1", "+-1",   "- 1", "0x-1", "1-", nullptr};
    for (const char *junk : junks) {
        refuses<DDS_Long>(VorlString_strToLong, junk);
        refuses<DDS_LongLong>(VorlString_strToLongLong, junk);
        refuses<DDS_UnsignedLong>(VorlString_strToUnsignedLong, junk);
    }
    EXPECT_EQ(VorlString_strToLong("1", nullptr), 0);
    EXPECT_EQ(VorlString_strToLongLong("1", nullptr), 0);
    EXPECT_EQ(VorlString_strToUnsignedLong("1", nullptr), 0);
    EXPECT_EQ(log.size(), 0u) << log.dump();
}

TEST_F(ParsersTest, NumbersAreRangeCheckedAtEveryTypesExtremes)
{
    reads<DDS_Long>(VorlString_strToLong, "2147483647", INT32_MAX);
    reads<DDS_Long>(VorlString_strToLong, "-2147483648", INT32_MIN);
    reads<DDS_Long>(VorlString_strToLong, "0x7fffffff", INT32_MAX);
    reads<DDS_Long>(VorlString_strToLong, "-0x80000000", INT32_MIN);
    for (const char *text : {"2147483648", "-2147483649", "0x80000000", "999999999999999999999"}) {
        refuses<DDS_Long>(VorlString_strToLong, text);
    }
    reads<DDS_LongLong>(VorlString_strToLongLong, "9223372036854775807", INT64_MAX);
    reads<DDS_LongLong>(VorlString_strToLongLong, "-9223372036854775808", INT64_MIN);
    reads<DDS_LongLong>(VorlString_strToLongLong, "4294967296", INT64_C(4294967296));
    for (const char *text :
         {"9223372036854775808", "-9223372036854775809", "0x10000000000000000"}) {
        refuses<DDS_LongLong>(VorlString_strToLongLong, text);
    }
    reads<DDS_UnsignedLong>(VorlString_strToUnsignedLong, "4294967295", UINT32_MAX);
    reads<DDS_UnsignedLong>(VorlString_strToUnsignedLong, "0xFFFFFFFF", UINT32_MAX);
    for (const char *text : {"4294967296", "0x100000000", "-1", "-0"}) {
        refuses<DDS_UnsignedLong>(VorlString_strToUnsignedLong, text);
    }
}

// Expects `text` to read as sec + frac * 2^-32 seconds.
void expectDuration(const std::string &text, int64_t sec, uint32_t frac)
{
    ZynNtpTime out{-7, 7};
    EXPECT_NE(TaviSequenceProperty_parseDurationString(text.c_str(), &out), 0) << text;
    EXPECT_TRUE(out.sec == sec && out.frac == frac) << text << ": " << out.sec << " " << out.frac;
}

// numerator / 10^digits of a second in units of 2^-32, to the nearest, halves up.
uint32_t fracOf(uint64_t numerator, int digits)
{
    uint64_t divisor = 1;
    while (digits-- > 0) {
        divisor *= 10;
    }
    return static_cast<uint32_t>(((numerator << 32) + divisor / 2) / divisor);
}

TEST_F(ParsersTest, DurationsReadSecondsAndUnits)
{
    const struct {
        const char *text;
        int64_t sec;
        uint32_t frac;
    } cases[] = {
        {"5", 5, 0}, {".25", 0, 0x40000000u}, {"7.", 7, 0}, {"  3.75 s  ", 3, 0xC0000000u},
        {"3.75S", 3, 0xC0000000u}, {"1500 MS", 1, 0x80000000u}, {"2500000us", 2, 0x80000000u},
        {"1250000000ns", 1, 0x40000000u}, {"0.5ms", 0, fracOf(5, 4)}, {"1 Ns", 0, fracOf(1, 9)},
        {"000000000012", 12, 0}, {"2147483647", INT32_MAX, 0},
        {"2147483647999ms", INT32_MAX, fracOf(999, 3)},
        {"0.000123456789", 0, fracOf(123456789, 12)},
        {"infinite", ZYN_NTP_TIME_SEC_MAX, ZYN_NTP_TIME_FRAC_MAX},
        {"  DURATION_INFINITE \t", ZYN_NTP_TIME_SEC_MAX, ZYN_NTP_TIME_FRAC_MAX}};
    for (const auto &c : cases) {
        expectDuration(c.text, c.sec, c.frac);
    }
}

TEST_F(ParsersTest, DurationsRefuseJunkAndOverflowWithoutWriting)
{
    const char *const refused[] = {"", ".", "s", "-1", "+1", "1e3", "5 sec", "5m", "5 s x",
                                   "5ss", "1.2.3", "0x10", "1,5", "INFINITE s", "INFINITELY",
                                   "5 INFINITE", "2147483648", "2147483648000ms",
                                   "2147483647.9999999999", nullptr};
    for (const char *text : refused) {
        ZynNtpTime out{-7, 7};
        EXPECT_EQ(TaviSequenceProperty_parseDurationString(text, &out), 0) << text;
        EXPECT_TRUE(out.sec == -7 && out.frac == 7u) << text;
    }
    EXPECT_EQ(TaviSequenceProperty_parseDurationString("5", nullptr), 0);
    EXPECT_EQ(log.size(), 0u) << log.dump();
}

}  // namespace
