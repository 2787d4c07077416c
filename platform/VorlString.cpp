#include <cstring>

#include <propqos/sys/Strings.h>

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
    const size_t needleLength = std::strlen(needle);
    const size_t haystackLength = std::strlen(haystack);
    if (needleLength > haystackLength) {
        return nullptr;
    }
    if (needleLength == 0) {
        return const_cast<char *>(haystack);
    }
    const unsigned char first = lower(static_cast<unsigned char>(needle[0]));
    const unsigned char firstUpper =
        (first >= 'a' && first <= 'z') ? static_cast<unsigned char>(first - ('a' - 'A')) : first;
    const char *last = haystack + (haystackLength - needleLength);
    for (const char *h = haystack; h <= last; ++h) {
        const auto c = static_cast<unsigned char>(*h);
        if (c != first && c != firstUpper) {
            continue;
        }
        size_t i = 1;
        while (i < needleLength && (h[i] == needle[i] ||
                                    lower(static_cast<unsigned char>(h[i])) ==
                                        lower(static_cast<unsigned char>(needle[i])))) {
            ++i;
        }
        if (i == needleLength) {
            return const_cast<char *>(h);
        }
    }
    return nullptr;
}

}  // extern "C"
