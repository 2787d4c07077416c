#include <cstring>

#include "platform/Strings.h"

namespace {
inline unsigned char lower(unsigned char c)
{
    return (c >= 'A' && c <= 'Z') ? static_cast<unsigned char>(c + ('a' - 'A')) : c;
}
}  // namespace

extern "C" {

int VorlString_compare(const char *left, const char *right)
{
    if (left == nullptr || right == nullptr) {
        return (left != nullptr) - (right != nullptr);
    }
    return std::strcmp(left, right);
}

int VorlString_iCompare(const char *left, const char *right)
{
    if (left == nullptr || right == nullptr) {
        return (left != nullptr) - (right != nullptr);
    }
    const auto *a = reinterpret_cast<const unsigned char *>(left);
    const auto *b = reinterpret_cast<const unsigned char *>(right);
    while (*a != '\0' && lower(*a) == lower(*b)) {
        ++a;
        ++b;
    }
    return static_cast<int>(lower(*a)) - static_cast<int>(lower(*b));
}

char *VorlString_iFindSubString(const char *haystack, const char *needle)
{
    if (haystack == nullptr || needle == nullptr) {
        return nullptr;
    }
    if (needle[0] == '\0') {
        return const_cast<char *>(haystack);
    }
    const unsigned char first = lower(static_cast<unsigned char>(needle[0]));
    for (const char *h = haystack; *h != '\0'; ++h) {
        if (lower(static_cast<unsigned char>(*h)) != first) {
            continue;
        }
        const char *a = h + 1;
        const char *b = needle + 1;
        while (*b != '\0' && lower(static_cast<unsigned char>(*a)) ==
                                 lower(static_cast<unsigned char>(*b))) {
            ++a;
            ++b;
        }
        if (*b == '\0') {
            return const_cast<char *>(h);
        }
        if (*a == '\0') {
            return nullptr;   // the rest of the haystack is shorter than the needle
        }
    }
    return nullptr;
}

}  // extern "C"
