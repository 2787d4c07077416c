// Text to integer conversions: a strict reading that refuses anything but one whole number that
// fits the target type. Hand-written rather than strtol so that the result does not depend on
// errno, the locale or the width of long.
#include <cstdint>

#include <propqos/sys/Strings.h>

namespace {

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

int digitValue(char c, unsigned base)
{
    int value = -1;
    if (c >= '0' && c <= '9') {
        value = c - '0';
    } else if (c >= 'a' && c <= 'f') {
        value = c - 'a' + 10;
    } else if (c >= 'A' && c <= 'F') {
        value = c - 'A' + 10;
    }
    return value >= 0 && static_cast<unsigned>(value) < base ? value : -1;
}

// Reads the whole text as a sign and a magnitude no greater than the limit for that sign.
// A '-' is accepted only when `negativeLimit` is non-zero.
bool readInteger(const char *text, uint64_t positiveLimit, uint64_t negativeLimit,
                 bool &negative, uint64_t &magnitude)
{
    if (text == nullptr) {
        return false;
    }
    const char *p = text;
    while (isBlank(*p)) {
        ++p;
    }
    negative = false;
    if (*p == '+' || *p == '-') {
        negative = *p == '-';
        ++p;
    }
    if (negative && negativeLimit == 0) {
        return false;
    }
    unsigned base = 10;
    if (p[0] == '0' && (p[1] == 'x' || p[1] == 'X')) {
        base = 16;
        p += 2;
    }
    const uint64_t limit = negative ? negativeLimit : positiveLimit;
    uint64_t value = 0;
    const char *digits = p;
    for (int digit; (digit = digitValue(*p, base)) >= 0; ++p) {
        if (value > (limit - static_cast<uint64_t>(digit)) / base) {
            return false;   // the next step would pass the limit
        }
        value = value * base + static_cast<uint64_t>(digit);
    }
    if (p == digits) {
        return false;   // "", "-", "0x": no digit at all
    }
    while (isBlank(*p)) {
        ++p;
    }
    if (*p != '\0') {
        return false;
    }
    magnitude = value;
    return true;
}

}  // namespace

extern "C" {

int VorlString_strToLong(const char *text, DDS_Long *out)
{
    bool negative = false;
    uint64_t magnitude = 0;
    if (out == nullptr || !readInteger(text, INT32_MAX, uint64_t{INT32_MAX} + 1, negative, magnitude)) {
        return 0;
    }
    // Negating in 64 bits keeps INT32_MIN representable on the way.
    const int64_t value = negative ? -static_cast<int64_t>(magnitude) : static_cast<int64_t>(magnitude);
    *out = static_cast<DDS_Long>(value);
    return 1;
}

int VorlString_strToLongLong(const char *text, DDS_LongLong *out)
{
    bool negative = false;
    uint64_t magnitude = 0;
    if (out == nullptr || !readInteger(text, INT64_MAX, uint64_t{INT64_MAX} + 1, negative, magnitude)) {
        return 0;
    }
    // 2^63 has no positive int64 form: build the negative values from -(m - 1) - 1.
    *out = negative ? -static_cast<int64_t>(magnitude - 1) - 1 : static_cast<int64_t>(magnitude);
    return 1;
}

int VorlString_strToUnsignedLong(const char *text, DDS_UnsignedLong *out)
{
    bool negative = false;
    uint64_t magnitude = 0;
    if (out == nullptr || !readInteger(text, UINT32_MAX, 0, negative, magnitude)) {
        return 0;
    }
    *out = static_cast<DDS_UnsignedLong>(magnitude);
    return 1;
}

}  // extern "C"
