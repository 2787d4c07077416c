// The text readers on arbitrary text: numbers, durations, product versions, delimited lists and
// the typed property readers built on them. Besides crashes, each result is checked against a
// small reference reading written here from the documented syntax, and the readers against one
// another (a value that reads as a 32-bit integer reads as the same 64-bit one, and so on).
#include <cstdint>
#include <string>

#include "fuzz/FuzzSupport.h"

using namespace propqos_fuzz;

namespace {

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

std::string_view trim(std::string_view s)
{
    while (!s.empty() && isBlank(s.front())) s.remove_prefix(1);
    while (!s.empty() && isBlank(s.back())) s.remove_suffix(1);
    return s;
}

// Reference integer reading: blanks, optional sign, decimal or 0x-hexadecimal digits, blanks.
// Returns false when the syntax is wrong; `overflow` tells a magnitude past 2^64.
bool referenceInteger(std::string_view text, bool &negative, unsigned __int128 &magnitude)
{
    std::string_view s = trim(text);
    negative = false;
    if (!s.empty() && (s[0] == '+' || s[0] == '-')) {
        negative = s[0] == '-';
        s.remove_prefix(1);
    }
    unsigned base = 10;
    if (s.size() >= 2 && s[0] == '0' && (s[1] == 'x' || s[1] == 'X')) {
        base = 16;
        s.remove_prefix(2);
    }
    if (s.empty()) return false;
    magnitude = 0;
    for (char c : s) {
        int d = -1;
        if (c >= '0' && c <= '9') d = c - '0';
        else if (base == 16 && c >= 'a' && c <= 'f') d = c - 'a' + 10;
        else if (base == 16 && c >= 'A' && c <= 'F') d = c - 'A' + 10;
        if (d < 0) return false;
        magnitude = magnitude * base + unsigned(d);
        if (magnitude > (unsigned __int128)1 << 70) magnitude = (unsigned __int128)1 << 70;
    }
    return true;
}

void checkIntegers(const std::string &text)
{
    const char *t = text.c_str();
    const bool wholeText = std::strlen(t) == text.size();
    bool negative = false;
    unsigned __int128 magnitude = 0;
    const bool syntaxOk = wholeText && referenceInteger(text, negative, magnitude);

    DDS_Long l = 0x5a5a5a5a;
    DDS_LongLong ll = 0x5a5a5a5a5a5a5a5aLL;
    DDS_UnsignedLong ul = 0xa5a5a5a5u;
    const int okL = VorlString_strToLong(t, &l);
    const int okLL = VorlString_strToLongLong(t, &ll);
    const int okUL = VorlString_strToUnsignedLong(t, &ul);

    // Failure leaves the output alone.
    if (!okL) FUZZ_CHECK(l == 0x5a5a5a5a);
    if (!okLL) FUZZ_CHECK(ll == 0x5a5a5a5a5a5a5a5aLL);
    if (!okUL) FUZZ_CHECK(ul == 0xa5a5a5a5u);

    if (!wholeText) return;   // an embedded NUL: the readers see only the leading part
    const bool fitsL = syntaxOk && (negative ? magnitude <= ((unsigned __int128)1 << 31)
                                             : magnitude <= 0x7fffffff);
    const bool fitsLL = syntaxOk && (negative ? magnitude <= ((unsigned __int128)1 << 63)
                                              : magnitude <= 0x7fffffffffffffffULL);
    const bool fitsUL = syntaxOk && !negative && magnitude <= 0xffffffffu;
    FUZZ_CHECK(!!okL == fitsL);
    FUZZ_CHECK(!!okLL == fitsLL);
    FUZZ_CHECK(!!okUL == fitsUL);
    if (okL) FUZZ_CHECK((negative ? -(__int128)magnitude : (__int128)magnitude) == l);
    if (okLL) FUZZ_CHECK((negative ? -(__int128)magnitude : (__int128)magnitude) == ll);
    if (okUL) FUZZ_CHECK(magnitude == ul);
}

// Reference duration reading, exact, for numbers short enough for 128-bit arithmetic. Returns
// 1 accepted, 0 refused, -1 "too long for the reference" (not checked).
int referenceDuration(std::string_view text, ZynNtpTime &out)
{
    std::string_view s = trim(text);
    auto iEquals = [](std::string_view a, std::string_view b) {
        return a.size() == b.size() && startsWith(a, b, true);
    };
    if (iEquals(s, "INFINITE") || iEquals(s, "DURATION_INFINITE")) {
        out.sec = ZYN_NTP_TIME_SEC_MAX;
        out.frac = ZYN_NTP_TIME_FRAC_MAX;
        return 1;
    }
    size_t i = 0;
    std::string whole, fraction;
    while (i < s.size() && s[i] >= '0' && s[i] <= '9') whole += s[i++];
    bool point = false;
    if (i < s.size() && s[i] == '.') {
        point = true;
        ++i;
        while (i < s.size() && s[i] >= '0' && s[i] <= '9') fraction += s[i++];
    }
    (void)point;
    if (whole.empty() && fraction.empty()) return 0;
    std::string_view unit = trim(s.substr(i));
    int scale = 0;
    if (unit.empty() || iEquals(unit, "s")) scale = 0;
    else if (iEquals(unit, "ms")) scale = 3;
    else if (iEquals(unit, "us")) scale = 6;
    else if (iEquals(unit, "ns")) scale = 9;
    else return 0;
    // Leading zeros of the whole part carry nothing.
    size_t lead = whole.find_first_not_of('0');
    whole = lead == std::string::npos ? std::string() : whole.substr(lead);
    if (whole.size() + fraction.size() > 27 || fraction.size() + scale > 27) return -1;
    unsigned __int128 n = 0, d = 1;
    for (char c : whole) n = n * 10 + unsigned(c - '0');
    for (char c : fraction) {
        n = n * 10 + unsigned(c - '0');
        d *= 10;
    }
    for (int k = 0; k < scale; ++k) d *= 10;
    unsigned __int128 sec = n / d, rest = n % d;
    unsigned __int128 frac = ((rest << 32) + d / 2) / d;   // halves up
    if (frac >> 32) {
        sec += 1;
        frac = 0;
    }
    if (sec > 2147483647u) return 0;
    out.sec = int64_t(sec);
    out.frac = uint32_t(frac);
    return 1;
}

void checkDuration(const std::string &text)
{
    ZynNtpTime got{-7, 7};
    const int ok = TaviSequenceProperty_parseDurationString(text.c_str(), &got);
    if (!ok) {
        FUZZ_CHECK(got.sec == -7 && got.frac == 7);
    } else {
        FUZZ_CHECK(got.sec >= 0 && got.sec <= ZYN_NTP_TIME_SEC_MAX);
    }
    if (std::strlen(text.c_str()) != text.size()) return;
    ZynNtpTime expected{-7, 7};
    const int reference = referenceDuration(text, expected);
    if (reference < 0) return;
    FUZZ_CHECK(!!ok == !!reference);
    if (ok) FUZZ_CHECK(got.sec == expected.sec && got.frac == expected.frac);
}

void checkVersion(const std::string &text)
{
    DDS_ProductVersion_t got{9, 9, 9, 9};
    const int ok = DDS_ProductVersion_from_string(&got, text.c_str());
    if (!ok) {
        FUZZ_CHECK(got.major == 9 && got.minor == 9 && got.release == 9 && got.revision == 9);
    }
    if (std::strlen(text.c_str()) != text.size()) return;
    // Reference: three or four dot-separated decimal fields of 0..255.
    unsigned fields[4] = {0, 0, 0, 0};
    int count = 0;
    bool valid = true;
    std::string_view s = text;
    while (valid) {
        size_t dot = s.find('.');
        std::string_view field = s.substr(0, dot);
        if (field.empty() || count == 4) {
            valid = false;
            break;
        }
        unsigned value = 0;
        for (char c : field) {
            if (c < '0' || c > '9' || value > 255) {
                valid = false;
                break;
            }
            value = value * 10 + unsigned(c - '0');
        }
        if (value > 255) valid = false;
        fields[count++] = value;
        if (dot == std::string_view::npos) break;
        s = s.substr(dot + 1);
    }
    valid = valid && (count == 3 || count == 4);
    FUZZ_CHECK(!!ok == valid);
    if (ok) {
        FUZZ_CHECK((unsigned char)got.major == fields[0] && (unsigned char)got.minor == fields[1] &&
                   (unsigned char)got.release == fields[2] &&
                   (unsigned char)got.revision == fields[3]);
        DDS_ProductVersion_t same = got;
        FUZZ_CHECK(DDS_ProductVersion_compare(&got, &same) == 0);
    }
}

void checkDelimited(const std::string &text, char delimiter)
{
    HeapBalance balance;
    DDS_StringSeq seq = DDS_SEQUENCE_INITIALIZER;
    const DDS_ReturnCode_t rc = DDS_StringSeq_from_delimited_string(&seq, text.c_str(), delimiter);
    if (rc == DDS_RETCODE_OK) {
        // Reference: trimmed, non-empty pieces in order.
        std::vector<std::string> pieces;
        std::string_view s(text.c_str());
        while (true) {
            size_t at = s.find(delimiter);
            std::string_view piece = trim(s.substr(0, at));
            if (!piece.empty()) pieces.emplace_back(piece);
            if (at == std::string_view::npos) break;
            s = s.substr(at + 1);
        }
        FUZZ_CHECK(DDS_StringSeq_get_length(&seq) == DDS_Long(pieces.size()));
        for (size_t i = 0; i < pieces.size(); ++i) {
            const char *got = DDS_StringSeq_get(&seq, DDS_Long(i));
            FUZZ_CHECK(got != nullptr && pieces[i] == got);
        }
    }
    DDS_StringSeq_finalize(&seq);
}

// The typed readers must agree with the readers they stand on.
void checkTypedReaders(const std::string &text)
{
    HeapBalance balance;
    Policy policy;
    FUZZ_CHECK(DDS_PropertyQosPolicyHelper_add_property(policy.get(), "dds.fuzz.value", text.c_str(),
                                                        DDS_BOOLEAN_FALSE) == DDS_RETCODE_OK);
    const char *value = text.c_str();

    DDS_Long l = 0, lRef = 0;
    FUZZ_CHECK(!!DDS_PropertyQosPolicyHelper_lookup_integer_property(policy.get(), &l, "dds.fuzz.value") ==
               !!VorlString_strToLong(value, &lRef));
    DDS_LongLong ll = 0, llRef = 0;
    FUZZ_CHECK(!!DDS_PropertyQosPolicyHelper_lookup_long_long_property(policy.get(), &ll,
                                                                       "dds.fuzz.value") ==
               !!VorlString_strToLongLong(value, &llRef));
    DDS_UnsignedLong ul = 0, ulRef = 0;
    FUZZ_CHECK(!!DDS_PropertyQosPolicyHelper_lookup_unsigned_integer_property(
                   policy.get(), &ul, "dds.fuzz.value") == !!VorlString_strToUnsignedLong(value, &ulRef));
    FUZZ_CHECK(l == lRef && ll == llRef && ul == ulRef);

    ZynNtpTime d{0, 0}, dRef{0, 0};
    FUZZ_CHECK(!!DDS_PropertyQosPolicyHelper_lookup_duration_property(policy.get(), &d, "dds.fuzz.value") ==
               !!TaviSequenceProperty_parseDurationString(value, &dRef));
    FUZZ_CHECK(d.sec == dRef.sec && d.frac == dRef.frac);

    DDS_Boolean b = 2;
    const DDS_ReturnCode_t rcB = DDS_PropertyQosPolicyHelper_lookup_boolean_property(
        policy.get(), &b, "dds.fuzz.value", DDS_BOOLEAN_FALSE);
    FUZZ_CHECK(rcB == DDS_RETCODE_OK || rcB == DDS_RETCODE_ERROR);
    if (rcB == DDS_RETCODE_OK) FUZZ_CHECK(b == DDS_BOOLEAN_TRUE || b == DDS_BOOLEAN_FALSE);
    int bi = 5;
    const int okBi = DDS_PropertyQosPolicyHelper_lookup_boolean_propertyI(policy.get(), &bi, "dds.fuzz.value");
    FUZZ_CHECK(!!okBi == (rcB == DDS_RETCODE_OK));
    if (okBi) FUZZ_CHECK(bi == b);
    DDS_Boolean bp = 2;
    FUZZ_CHECK(DDSPropertyQosPolicyHelper_lookupBooleanPropertyWithPrefix(
                   policy.get(), &bp, "dds.fuzz", "value", DDS_BOOLEAN_TRUE) == rcB);

    void *pointer = nullptr;
    if (DDS_PropertyQosPolicyHelper_lookup_pointer_property(policy.get(), &pointer, "dds.fuzz.value")) {
        // What reads as a pointer writes back and reads again as the same pointer.
        FUZZ_CHECK(DDS_PropertyQosPolicyHelper_assert_pointer_property(policy.get(), "dds.fuzz.value",
                                                                       pointer) == DDS_RETCODE_OK);
        void *again = nullptr;
        FUZZ_CHECK(DDS_PropertyQosPolicyHelper_lookup_pointer_property(policy.get(), &again,
                                                                       "dds.fuzz.value"));
        FUZZ_CHECK(again == pointer);
    }
    if (VorlString_strToLong(value, &lRef)) {
        // Writing the integer and reading it back is the identity.
        FUZZ_CHECK(DDS_PropertyQosPolicyHelper_add_integer_property(policy.get(), "dds.fuzz.int", lRef) ==
                   DDS_RETCODE_OK);
        DDS_Long back = 0;
        FUZZ_CHECK(DDS_PropertyQosPolicyHelper_lookup_integer_property(policy.get(), &back, "dds.fuzz.int"));
        FUZZ_CHECK(back == lRef);
    }
    if (VorlString_strToUnsignedLong(value, &ulRef)) {
        FUZZ_CHECK(DDS_PropertyQosPolicyHelper_add_unsigned_integer_property(policy.get(), "dds.fuzz.uint",
                                                                             ulRef) == DDS_RETCODE_OK);
        DDS_UnsignedLong back = 0;
        FUZZ_CHECK(DDS_PropertyQosPolicyHelper_lookup_unsigned_integer_property(policy.get(), &back,
                                                                                "dds.fuzz.uint"));
        FUZZ_CHECK(back == ulRef);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    silenceLog();
    if (size > 4096) return 0;
    // The first byte picks the list delimiter; the rest is the text.
    const char delimiter = size > 0 ? char(data[0]) : ',';
    const std::string text(reinterpret_cast<const char *>(data), size);
    checkIntegers(text);
    checkDuration(text);
    checkVersion(text);
    checkDelimited(text.size() > 0 ? text.substr(1) : text, delimiter == '\0' ? ',' : delimiter);
    checkTypedReaders(text);
    return 0;
}
