// The presentation layer's duration parser: decimal seconds (or ms, us, ns) into whole seconds
// and a binary fraction. The fraction is rounded exactly, whatever the number of digits given,
// using a small decimal buffer on the stack instead of floating point.
#include <cstdint>
#include <cstring>

#include <propqos/Presentation.h>
#include <propqos/sys/Strings.h>

namespace {

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }
bool isDigit(char c) { return c >= '0' && c <= '9'; }
char lower(char c) { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c + ('a' - 'A')) : c; }

// Decimal digits of the fraction kept for rounding. Beyond 33 digits the ignored tail can no
// longer move the result across a rounding boundary of 2^-32, so 40 is exact with room to spare.
constexpr int kFractionDigits = 40;
constexpr int kFractionBits = 32;

// The number as written: the digits before and after the point, and the power of ten that the
// unit divides by.
struct DecimalText {
    const char *integer = nullptr;
    int integerLength = 0;
    const char *fraction = nullptr;
    int fractionLength = 0;
    int unitShift = 0;
    // The n-th digit of integer ++ fraction; digits before the first read as 0.
    int digit(long n) const
    {
        if (n < 0) {
            return 0;
        }
        if (n < integerLength) {
            return integer[n] - '0';
        }
        n -= integerLength;
        return n < fractionLength ? fraction[n] - '0' : 0;
    }
};

// True when `p` starts with `word` (ASCII case ignored); `p` is moved past it.
bool skipWord(const char *&p, const char *word)
{
    const char *q = p;
    for (; *word != '\0'; ++word, ++q) {
        if (lower(*q) != *word) {
            return false;
        }
    }
    p = q;
    return true;
}

bool onlyBlanksLeft(const char *p)
{
    while (isBlank(*p)) {
        ++p;
    }
    return *p == '\0';
}

bool readUnit(const char *&p, int &shift)
{
    struct Unit {
        const char *word;
        int shift;
    };
    static constexpr Unit kUnits[] = {{"ms", 3}, {"us", 6}, {"ns", 9}, {"s", 0}};
    for (const Unit &unit : kUnits) {
        if (skipWord(p, unit.word)) {
            shift = unit.shift;
            return true;
        }
    }
    return false;
}

bool scan(const char *p, DecimalText &number)
{
    number.integer = p;
    while (isDigit(*p)) {
        ++p;
    }
    number.integerLength = static_cast<int>(p - number.integer);
    if (*p == '.') {
        ++p;
        number.fraction = p;
        while (isDigit(*p)) {
            ++p;
        }
        number.fractionLength = static_cast<int>(p - number.fraction);
    }
    if (number.integerLength + number.fractionLength == 0) {
        return false;   // "", ".", "s": no digit at all
    }
    while (isBlank(*p)) {
        ++p;
    }
    if (*p != '\0' && !readUnit(p, number.unitShift)) {
        return false;
    }
    return onlyBlanksLeft(p);
}

bool convert(const DecimalText &number, ZynNtpTime &out)
{
    // The point moves left by the unit's power of ten.
    const long point = static_cast<long>(number.integerLength) - number.unitShift;
    int64_t seconds = 0;
    for (long n = 0; n < point; ++n) {
        seconds = seconds * 10 + number.digit(n);
        if (seconds > ZYN_NTP_TIME_SEC_MAX) {
            return false;
        }
    }
    // fraction * 2^32 by doubling the decimal fraction 32 times; each carry out of the first
    // digit is the next bit of the binary fraction.
    unsigned char digits[kFractionDigits];
    for (int i = 0; i < kFractionDigits; ++i) {
        digits[i] = static_cast<unsigned char>(number.digit(point + i));
    }
    uint64_t fraction = 0;
    for (int bit = 0; bit < kFractionBits; ++bit) {
        int carry = 0;
        for (int i = kFractionDigits - 1; i >= 0; --i) {
            int doubled = digits[i] * 2 + carry;
            digits[i] = static_cast<unsigned char>(doubled % 10);
            carry = doubled / 10;
        }
        fraction = fraction * 2 + static_cast<uint64_t>(carry);
    }
    if (digits[0] >= 5) {
        ++fraction;   // to nearest, halves up
    }
    if (fraction > UINT32_MAX) {
        fraction = 0;
        if (++seconds > ZYN_NTP_TIME_SEC_MAX) {
            return false;
        }
    }
    out.sec = seconds;
    out.frac = static_cast<uint32_t>(fraction);
    return true;
}

}  // namespace

extern "C" {

int TaviSequenceProperty_parseDurationString(const char *text, ZynNtpTime *out)
{
    if (text == nullptr || out == nullptr) {
        return 0;
    }
    const char *p = text;
    while (isBlank(*p)) {
        ++p;
    }
    const char *word = p;
    if ((skipWord(word, "duration_infinite") || skipWord(word, "infinite")) && onlyBlanksLeft(word)) {
        out->sec = ZYN_NTP_TIME_SEC_MAX;
        out->frac = ZYN_NTP_TIME_FRAC_MAX;
        return 1;
    }
    DecimalText number;
    ZynNtpTime value{};
    if (!scan(p, number) || !convert(number, value)) {
        return 0;
    }
    *out = value;
    return 1;
}

}  // extern "C"
