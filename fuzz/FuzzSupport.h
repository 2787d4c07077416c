// Shared pieces of the fuzz targets: a quiet log, a policy built from input lines, and a check
// that stops the run when a property of the module does not hold.
#ifndef PROPQOS_FUZZ_FUZZSUPPORT_H
#define PROPQOS_FUZZ_FUZZSUPPORT_H

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include <propqos/PropertyQosPolicy.h>
#include <propqos/testing.h>

#include "infrastructure/PropertyQosPolicyInternal.h"

namespace propqos_fuzz {

// A failed property is a finding just like a crash: print it and abort so libFuzzer keeps the
// input.
#define FUZZ_CHECK(condition)                                                                \
    do {                                                                                     \
        if (!(condition)) {                                                                  \
            std::fprintf(stderr, "%s:%d: check failed: %s\n", __FILE__, __LINE__, #condition);\
            std::abort();                                                                    \
        }                                                                                    \
    } while (0)

// Entries are still rendered (the formatting of hostile names is part of what is fuzzed), but
// dropped instead of flooding standard error.
inline void silenceLog()
{
    static bool done = false;
    if (!done) {
        ZynLog_setSink([](const ZynLogEntry *entry, void *) {
            // Touch the rendered text so a bad pointer in it is seen by the sanitizer.
            volatile size_t n = entry->message != nullptr ? std::strlen(entry->message) : 0;
            (void)n;
        }, nullptr);
        done = true;
    }
}

// One property per input line: "name=value"; a line without '=' has an empty value; a line
// starting with '+' is marked to propagate.
struct Line {
    std::string name;
    std::string value;
    bool propagate;
};

inline std::vector<Line> splitLines(std::string_view text, size_t maxLines = 600)
{
    std::vector<Line> lines;
    while (!text.empty() && lines.size() < maxLines) {
        size_t end = text.find('\n');
        std::string_view line = text.substr(0, end);
        text = end == std::string_view::npos ? std::string_view() : text.substr(end + 1);
        Line parsed{};
        if (!line.empty() && line[0] == '+') {
            parsed.propagate = true;
            line.remove_prefix(1);
        }
        size_t eq = line.find('=');
        parsed.name = std::string(line.substr(0, eq));
        if (eq != std::string_view::npos) {
            parsed.value = std::string(line.substr(eq + 1));
        }
        lines.push_back(std::move(parsed));
    }
    return lines;
}

// A policy owned by the target, finalised on every path.
struct Policy {
    DDS_PropertyQosPolicy policy = DDS_PropertyQosPolicy_INITIALIZER;
    Policy() = default;
    // `unique`: a repeated name replaces the earlier value instead of adding a second property.
    explicit Policy(const std::vector<Line> &lines, bool unique = false)
    {
        for (const Line &line : lines) {
            const DDS_Boolean propagate = line.propagate ? DDS_BOOLEAN_TRUE : DDS_BOOLEAN_FALSE;
            const DDS_ReturnCode_t rc =
                unique ? DDS_PropertyQosPolicyHelper_assert_property(&policy, line.name.c_str(),
                                                                     line.value.c_str(), propagate)
                       : DDS_PropertyQosPolicyHelper_add_property(&policy, line.name.c_str(),
                                                                  line.value.c_str(), propagate);
            FUZZ_CHECK(rc == DDS_RETCODE_OK);
        }
    }
    ~Policy() { DDS_PropertyQosPolicy_finalize(&policy); }
    Policy(const Policy &) = delete;
    Policy &operator=(const Policy &) = delete;
    DDS_PropertyQosPolicy *get() { return &policy; }
    DDS_Long size() const { return DDS_PropertySeq_get_length(&policy.value); }
    const DDS_Property_t &at(DDS_Long i) const
    {
        return *DDS_PropertySeq_get_reference(&policy.value, i);
    }
};

struct Seq {
    DDS_PropertySeq seq = DDS_SEQUENCE_INITIALIZER;
    ~Seq() { DDS_PropertySeq_finalize(&seq); }
    DDS_PropertySeq *get() { return &seq; }
    DDS_Long size() const { return DDS_PropertySeq_get_length(&seq); }
    const DDS_Property_t &at(DDS_Long i) const { return *DDS_PropertySeq_get_reference(&seq, i); }
};

inline char asciiLower(char c) { return (c >= 'A' && c <= 'Z') ? char(c - 'A' + 'a') : c; }

inline bool startsWith(std::string_view name, std::string_view prefix, bool ignoreCase)
{
    if (prefix.size() > name.size()) {
        return false;
    }
    for (size_t i = 0; i < prefix.size(); ++i) {
        char a = name[i], b = prefix[i];
        if (ignoreCase ? asciiLower(a) != asciiLower(b) : a != b) {
            return false;
        }
    }
    return true;
}

// Every allocation made by a call must be returned by the time its results are released.
struct HeapBalance {
    long start = ZynHeap_getOutstanding();
    ~HeapBalance() { FUZZ_CHECK(ZynHeap_getOutstanding() == start); }
};

}  // namespace propqos_fuzz

#endif
