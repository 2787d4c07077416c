// The number and duration readers of the layers below the module.
#include <cstdint>
#include <random>
#include <string>

#include "support/TestSupport.h"

namespace {

using propqos_test::ModuleTest;

class ParsersTest : public ModuleTest {};

// Reads `text` with `parse`; on failure the output must still hold the sentinel.
template <typename T, typename Parse>
bool reads(Parse parse, const char *text, T expected)
{
    const T sentinel = static_cast<T>(expected ^ static_cast<T>(0x5a5a));
    T out = sentinel;
    if (!parse(text, &out)) {
        ADD_FAILURE() << "refused \"" << text << "\"";
        return false;
    }
    EXPECT_EQ(out, expected) << "\"" << text << "\"";
    return out == expected;
}

template <typename T, typename Parse>
void refuses(Parse parse, const char *text)
{
    const T sentinel = static_cast<T>(0x5a5a);
    T out = sentinel;
    EXPECT_EQ(parse(text, &out), 0) << "accepted \"" << (text ? text : "(null)") << "\"";
    EXPECT_EQ(out, sentinel) << "output written for \"" << (text ? text : "(null)") << "\"";
}

TEST_F(ParsersTest, NumbersAcceptOneWholeNumberInDecimalOrHex)
{
    // Syntax shared by the three readers.
    for (const char *text : {"42", "+42", "  42", "42  ", "\t42\n", "0x2a", "0X2A", "0x2A ",
                             " +0x2a", "042"}) {
        SCOPED_TRACE(text);
        reads<DDS_Long>(VorlString_strToLong, text, 42);   // "042" is decimal, not octal
        reads<DDS_LongLong>(VorlString_strToLongLong, text, 42);
        reads<DDS_UnsignedLong>(VorlString_strToUnsignedLong, text, 42u);
    }
    reads<DDS_Long>(VorlString_strToLong, "-42", -42);
    reads<DDS_Long>(VorlString_strToLong, "-0x2a", -42);
    reads<DDS_LongLong>(VorlString_strToLongLong, " -42 ", -42);
    reads<DDS_Long>(VorlString_strToLong, "0", 0);
    reads<DDS_Long>(VorlString_strToLong, "-0", 0);

    for (const char *junk : {"", "   ", "12abc", "abc", "1 2", "1.0", "1e3", "0x", "0xg", "-",
                             "+", "--1", "+-1", "- 1", "0x-1", "1-", "１"}) {
        SCOPED_TRACE(junk);
        refuses<DDS_Long>(VorlString_strToLong, junk);
        refuses<DDS_LongLong>(VorlString_strToLongLong, junk);
        refuses<DDS_UnsignedLong>(VorlString_strToUnsignedLong, junk);
    }
    // Null text or output: refused without harm.
    refuses<DDS_Long>(VorlString_strToLong, nullptr);
    refuses<DDS_LongLong>(VorlString_strToLongLong, nullptr);
    refuses<DDS_UnsignedLong>(VorlString_strToUnsignedLong, nullptr);
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
    for (const char *text : {"2147483648", "-2147483649", "0x80000000", "4294967295",
                             "99999999999999999999999999"}) {
        refuses<DDS_Long>(VorlString_strToLong, text);
    }

    reads<DDS_LongLong>(VorlString_strToLongLong, "9223372036854775807", INT64_MAX);
    reads<DDS_LongLong>(VorlString_strToLongLong, "-9223372036854775808", INT64_MIN);
    reads<DDS_LongLong>(VorlString_strToLongLong, "4294967296", INT64_C(4294967296));
    reads<DDS_LongLong>(VorlString_strToLongLong, "-0x8000000000000000", INT64_MIN);
    for (const char *text : {"9223372036854775808", "-9223372036854775809",
                             "18446744073709551616", "0x10000000000000000"}) {
        refuses<DDS_LongLong>(VorlString_strToLongLong, text);
    }

    reads<DDS_UnsignedLong>(VorlString_strToUnsignedLong, "4294967295", UINT32_MAX);
    reads<DDS_UnsignedLong>(VorlString_strToUnsignedLong, "0xFFFFFFFF", UINT32_MAX);
    reads<DDS_UnsignedLong>(VorlString_strToUnsignedLong, "+0", 0u);
    for (const char *text : {"4294967296", "0x100000000", "-1", "-0", " -0x1"}) {
        refuses<DDS_UnsignedLong>(VorlString_strToUnsignedLong, text);
    }

    // Every decimal text of a value in range reads back as that value; one past either end of
    // the signed range does not.
    std::mt19937_64 random(7);
    for (int i = 0; i < 2000; ++i) {
        const auto wide = static_cast<int64_t>(random());
        const auto narrow = static_cast<int32_t>(wide);
        const auto unsignedNarrow = static_cast<uint32_t>(wide);
        reads<DDS_LongLong>(VorlString_strToLongLong, std::to_string(wide).c_str(), wide);
        reads<DDS_Long>(VorlString_strToLong, std::to_string(narrow).c_str(), narrow);
        reads<DDS_UnsignedLong>(VorlString_strToUnsignedLong,
                                std::to_string(unsignedNarrow).c_str(), unsignedNarrow);
        if (wide > INT32_MAX || wide < INT32_MIN) {
            refuses<DDS_Long>(VorlString_strToLong, std::to_string(wide).c_str());
        }
    }
}

ZynNtpTime duration(const char *text, bool *accepted = nullptr)
{
    ZynNtpTime out{-7, 7};
    int result = TaviSequenceProperty_parseDurationString(text, &out);
    if (accepted != nullptr) {
        *accepted = result != 0;
    } else {
        EXPECT_NE(result, 0) << "refused \"" << text << "\"";
    }
    return out;
}

void expectDuration(const char *text, int64_t sec, uint32_t frac)
{
    ZynNtpTime out = duration(text);
    EXPECT_EQ(out.sec, sec) << "\"" << text << "\"";
    EXPECT_EQ(out.frac, frac) << "\"" << text << "\"";
}

// numerator / 10^digits of a second in units of 2^-32, to the nearest, halves up
// (numerator < 10^digits).
uint32_t fracOf(uint64_t numerator, int digits)
{
    uint64_t divisor = 1;
    for (int i = 0; i < digits; ++i) {
        divisor *= 10;
    }
    return static_cast<uint32_t>(((numerator << 32) + divisor / 2) / divisor);
}

// The exact decimal text "0.ddd..." of numerator / 2^bits (bits <= 40).
std::string exactBinaryFraction(uint64_t numerator, int bits)
{
    // numerator / 2^bits == numerator * 5^bits / 10^bits
    unsigned __int128 scaled = numerator;
    for (int i = 0; i < bits; ++i) {
        scaled *= 5;
    }
    std::string digits(static_cast<size_t>(bits), '0');
    for (int i = bits - 1; i >= 0; --i) {
        digits[static_cast<size_t>(i)] = static_cast<char>('0' + static_cast<int>(scaled % 10));
        scaled /= 10;
    }
    return "0." + digits;
}

TEST_F(ParsersTest, DurationsReadSecondsAndUnits)
{
    expectDuration("5", 5, 0);
    expectDuration("0.5", 0, 0x80000000u);
    expectDuration(".25", 0, 0x40000000u);
    expectDuration("7.", 7, 0);
    expectDuration("  3.75 s  ", 3, 0xC0000000u);
    expectDuration("3.75S", 3, 0xC0000000u);
    expectDuration("1500ms", 1, 0x80000000u);
    expectDuration("1500 MS", 1, 0x80000000u);
    expectDuration("2500000us", 2, 0x80000000u);
    expectDuration("1250000000ns", 1, 0x40000000u);
    expectDuration("0.5ms", 0, fracOf(5, 4));
    expectDuration("1us", 0, fracOf(1, 6));
    expectDuration("1 Ns", 0, fracOf(1, 9));
    expectDuration("000000000012", 12, 0);
    expectDuration("0", 0, 0);

    // The largest whole second, in seconds and in a smaller unit.
    expectDuration("2147483647", INT32_MAX, 0);
    expectDuration("2147483647999ms", INT32_MAX, fracOf(999, 3));
    expectDuration("0.000123456789", 0, fracOf(123456789, 12));

    for (const char *text : {"INFINITE", "infinite", "Duration_Infinite", "  DURATION_INFINITE \t"}) {
        expectDuration(text, ZYN_NTP_TIME_SEC_MAX, ZYN_NTP_TIME_FRAC_MAX);
    }
}

TEST_F(ParsersTest, DurationsRefuseJunkAndOverflowWithoutWriting)
{
    for (const char *text : {"", "   ", ".", "s", "ms", "-1", "+1", "1.5e-3", "1e3", "5 sec",
                             "5m", "5 s x", "5ss", "1.2.3", "0x10", "1,5", "INFINITE s",
                             "INFINITELY", "DURATION", "5 INFINITE", "2147483648",
                             "99999999999999999999", "2147483648000ms",
                             "2147483647.9999999999"}) {
        bool accepted = true;
        ZynNtpTime out = duration(text, &accepted);
        EXPECT_FALSE(accepted) << "accepted \"" << text << "\"";
        EXPECT_EQ(out.sec, -7) << "\"" << text << "\"";
        EXPECT_EQ(out.frac, 7u) << "\"" << text << "\"";
    }
    ZynNtpTime out{};
    EXPECT_EQ(TaviSequenceProperty_parseDurationString(nullptr, &out), 0);
    EXPECT_EQ(TaviSequenceProperty_parseDurationString("5", nullptr), 0);
    EXPECT_EQ(log.size(), 0u) << log.dump();
}

TEST_F(ParsersTest, DurationFractionIsRoundedExactlyToTheNearestBinaryStep)
{
    // Every 2^-32 step written out in full reads back as itself.
    std::mt19937 random(11);
    for (int i = 0; i < 500; ++i) {
        const uint32_t step = i == 0 ? UINT32_MAX : static_cast<uint32_t>(random());
        std::string text = "9" + exactBinaryFraction(step, 32).substr(1);
        SCOPED_TRACE(text);
        expectDuration(text.c_str(), 9, step);
    }
    // Exactly half-way between two steps rounds up; the smallest amount less rounds down, even
    // 33 digits after the point.
    for (uint64_t step : {uint64_t{0}, uint64_t{1}, uint64_t{0x7fffffff}, uint64_t{0xfffffffe}}) {
        std::string half = exactBinaryFraction(2 * step + 1, 33);
        SCOPED_TRACE(half);
        expectDuration(half.c_str(), 0, static_cast<uint32_t>(step + 1));
        std::string below = half;
        below.back() = static_cast<char>(below.back() - 1);
        below += "99999999999999999999";   // still below the half-way point
        expectDuration(below.c_str(), 0, static_cast<uint32_t>(step));
    }
    // A fraction that rounds to a whole second carries into the seconds.
    expectDuration("0.99999999999", 1, 0);
    expectDuration("2147483646.99999999999", INT32_MAX, 0);
}

}  // namespace
