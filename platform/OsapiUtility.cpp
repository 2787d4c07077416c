#include <cstdarg>
#include <cstdio>
#include <cstring>

#include <propqos/sys/Strings.h>

namespace {
// Length of `src` limited to `count`, without reading past the count.
size_t boundedLength(const char *src, size_t count)
{
    const void *end = std::memchr(src, '\0', count);
    return end != nullptr ? static_cast<size_t>(static_cast<const char *>(end) - src) : count;
}

char *place(char *dst, size_t at, size_t capacity, const char *src, size_t length)
{
    if (length > capacity || at > capacity - length) {
        return nullptr;
    }
    std::memmove(dst + at, src, length);
    dst[at + length] = '\0';
    return dst;
}
}  // namespace

extern "C" {

char *ZynOsapiUtility_strcpy(char *dst, size_t capacity, const char *src)
{
    if (dst == nullptr || src == nullptr) {
        return nullptr;
    }
    return place(dst, 0, capacity, src, std::strlen(src));
}

char *ZynOsapiUtility_strcat(char *dst, size_t capacity, const char *src)
{
    if (dst == nullptr || src == nullptr) {
        return nullptr;
    }
    size_t at = boundedLength(dst, capacity + 1);
    if (at > capacity) {
        return nullptr;   // the destination is not even terminated within its capacity
    }
    return place(dst, at, capacity, src, std::strlen(src));
}

char *ZynOsapiUtility_strncpy(char *dst, size_t capacity, const char *src, size_t count)
{
    if (dst == nullptr || src == nullptr) {
        return nullptr;
    }
    return place(dst, 0, capacity, src, boundedLength(src, count));
}

char *ZynOsapiUtility_strncat(char *dst, size_t capacity, const char *src, size_t count)
{
    if (dst == nullptr || src == nullptr) {
        return nullptr;
    }
    size_t at = boundedLength(dst, capacity + 1);
    if (at > capacity) {
        return nullptr;
    }
    return place(dst, at, capacity, src, boundedLength(src, count));
}

int ZynOsapiUtility_snprintf(char *dst, size_t size, const char *format, ...)
{
    if (dst == nullptr || format == nullptr || size == 0) {
        return -1;
    }
    va_list args;
    va_start(args, format);
    int written = std::vsnprintf(dst, size, format, args);
    va_end(args);
    if (written < 0 || static_cast<size_t>(written) >= size) {
        return -1;
    }
    return written;
}

}  // extern "C"
