// String helpers usable at compile time, for the tables' invariants checked by static_assert.
#ifndef PROPQOS_TABLES_CONSTEXPRSTRINGS_H
#define PROPQOS_TABLES_CONSTEXPRSTRINGS_H

#include <cstddef>

namespace propqos_tables {

constexpr std::size_t length(const char *s)
{
    std::size_t n = 0;
    while (s[n] != '\0') ++n;
    return n;
}

/* strcmp's order: bytes compared as unsigned char. */
constexpr int compare(const char *a, const char *b)
{
    std::size_t i = 0;
    while (a[i] != '\0' && a[i] == b[i]) ++i;
    return static_cast<int>(static_cast<unsigned char>(a[i])) -
           static_cast<int>(static_cast<unsigned char>(b[i]));
}

constexpr bool equal(const char *a, const char *b) { return compare(a, b) == 0; }

constexpr char lower(char c) { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c; }

/* Whether `needle` occurs in `haystack`, letter case ignored: the runtime matcher's rule. */
constexpr bool iContains(const char *haystack, const char *needle)
{
    const std::size_t h = length(haystack), n = length(needle);
    for (std::size_t start = 0; start + n <= h; ++start) {
        std::size_t i = 0;
        while (i < n && lower(haystack[start + i]) == lower(needle[i])) ++i;
        if (i == n) return true;
    }
    return false;
}

}  // namespace propqos_tables

#endif
