// How the module's strings sit in the heap (private to the library).
//
// Every string from DDS_String_alloc or DDS_String_dup, and every string carved from a shared
// block, is preceded by a header: the room it has for characters (terminator not counted) and
// where its heap block begins. A string alone in its block has `block` 0. Strings made together
// (the strings of one deep copy, of one extraction, the name and value of one new property) are
// carved from one block, each with the distance back to the block's start, where the block keeps
// a count of its live strings: releasing a carved string decrements it, and the block goes back
// to the heap with its last string. Each string thus stays releasable on its own through
// DDS_String_free, while a copy of N properties costs one allocation instead of 2 N.
#ifndef PROPQOS_PLATFORM_STRINGSTORAGE_H
#define PROPQOS_PLATFORM_STRINGSTORAGE_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace propqos_platform {

struct StringHeader {
    uint32_t room;    // characters the string can hold; saturated for 4 GiB and beyond
    uint32_t block;   // 0: alone in its heap block; else the distance back to the block's start
};
constexpr size_t kStringHeader = sizeof(StringHeader);

inline StringHeader headerOf(const char *string)
{
    StringHeader header;
    std::memcpy(&header, string - kStringHeader, sizeof header);
    return header;
}

inline uint32_t roomFor(size_t length)
{
    return length < UINT32_MAX ? static_cast<uint32_t>(length) : UINT32_MAX;
}

// A string of length `length` placed at `at` (its header first); returns the string.
inline char *placeString(char *at, uint32_t block, const char *source, size_t length)
{
    const StringHeader header{roomFor(length), block};
    std::memcpy(at, &header, sizeof header);
    char *string = at + kStringHeader;
    std::memcpy(string, source, length);
    string[length] = '\0';
    return string;
}

// The start of a shared block: the count of its live strings.
struct SharedBlock {
    std::atomic<uint32_t> live;
    uint32_t unused;
};

// Hands `count` references to the block at once (count > 0); frees it with the last one.
void releaseShared(SharedBlock *block, uint32_t count);

inline SharedBlock *sharedBlockOf(char *string, StringHeader header)
{
    return reinterpret_cast<SharedBlock *>(string - kStringHeader - header.block);
}

// Carves strings out of one block. reserve() says how many strings of how many characters in
// all will be carved; carve() copies one in. A string longer than kOwnBlockLength gets a block of
// its own instead (not counted in the reservation), so that a large value replaced by a small
// one gives its memory back at once. The carver's destructor drops its own hold on the block:
// an unused block goes back to the heap then.
class StringCarver {
public:
    static constexpr size_t kOwnBlockLength = 1024;
    static bool shared(size_t length) { return length <= kOwnBlockLength; }

    StringCarver() = default;
    StringCarver(const StringCarver &) = delete;
    StringCarver &operator=(const StringCarver &) = delete;
    ~StringCarver();

    // False when the block could not be had (then carve() makes a block per string). Reserving
    // nothing takes no block.
    bool reserve(size_t count, size_t characters);
    // A copy of `length` characters of `source`; null only when a string of its own could not
    // be allocated.
    char *carve(const char *source, size_t length)
    {
        if (block_ == nullptr || !shared(length) || size_ - used_ < kStringHeader + length + 1) {
            return carveAlone(source, length);
        }
        char *string = placeString(block_ + used_, static_cast<uint32_t>(used_), source, length);
        used_ += kStringHeader + length + 1;
        ++carved_;
        return string;
    }

private:
    static char *carveAlone(const char *source, size_t length);

    char *block_ = nullptr;
    size_t used_ = 0;
    size_t size_ = 0;
    uint32_t carved_ = 0;
};

// Collects releases of strings so that consecutive strings of one shared block cost one
// decrement of its count.
class StringRelease {
public:
    StringRelease() = default;
    StringRelease(const StringRelease &) = delete;
    StringRelease &operator=(const StringRelease &) = delete;
    ~StringRelease() { flush(); }
    void add(char *string)
    {
        if (string == nullptr) {
            return;
        }
        const StringHeader header = headerOf(string);
        if (header.block == 0) {
            freeAlone(string);
            return;
        }
        SharedBlock *block = sharedBlockOf(string, header);
        if (block != pending_) {
            flush();
            pending_ = block;
        }
        ++count_;
    }
    void flush()
    {
        if (pending_ != nullptr) {
            releaseShared(pending_, count_);
            pending_ = nullptr;
            count_ = 0;
        }
    }

private:
    static void freeAlone(char *string);
    SharedBlock *pending_ = nullptr;
    uint32_t count_ = 0;
};

}  // namespace propqos_platform

#endif
