#include <cstring>
#include <new>

#include <propqos/Heap.h>
#include <propqos/Sequence.h>

#include "platform/StringStorage.h"

namespace propqos_platform {

namespace {

// A shared block starts with this many references held by its carver, far above any count of
// strings it can hold: a string released while carving goes on cannot take the count to zero.
// When carving ends, the hold less the strings carved is given back in one step.
constexpr uint32_t kCarverHold = 0x80000000u;

// A shared block's offsets are 32-bit.
constexpr size_t kLargestSharedBlock = UINT32_MAX;

}  // namespace

void releaseShared(SharedBlock *block, uint32_t count)
{
    // When the caller holds every live string of the block (a deep copy finalized, a property
    // removed), no other thread can touch the count: the block goes without a locked decrement.
    if (block->live.load(std::memory_order_acquire) == count ||
        block->live.fetch_sub(count, std::memory_order_acq_rel) == count) {
        ZynHeap_free(block);
    }
}

// The carver's hold is dropped without an atomic read-modify-write: while carving goes on, the
// carved strings are in storage that only the carving thread may use (the operation's output),
// so only that thread can have released any of them.
StringCarver::~StringCarver()
{
    if (block_ != nullptr) {
        auto *shared = reinterpret_cast<SharedBlock *>(block_);
        const uint32_t live = shared->live.load(std::memory_order_relaxed) - (kCarverHold - carved_);
        if (live == 0) {
            ZynHeap_free(block_);
        } else {
            shared->live.store(live, std::memory_order_release);
        }
    }
}

bool StringCarver::reserve(size_t count, size_t characters)
{
    if (count == 0) {
        return true;
    }
    const size_t perString = kStringHeader + 1;
    if (count > (kLargestSharedBlock - sizeof(SharedBlock)) / perString ||
        characters > kLargestSharedBlock - sizeof(SharedBlock) - count * perString) {
        return false;
    }
    const size_t size = sizeof(SharedBlock) + count * perString + characters;
    auto *block = static_cast<char *>(ZynHeap_allocate(size));
    if (block == nullptr) {
        return false;
    }
    new (block) SharedBlock{{kCarverHold}, 0};
    block_ = block;
    used_ = sizeof(SharedBlock);
    size_ = size;
    return true;
}

char *StringCarver::carveAlone(const char *source, size_t length)
{
    auto *at = static_cast<char *>(ZynHeap_allocate(kStringHeader + length + 1));
    return at != nullptr ? placeString(at, 0, source, length) : nullptr;
}

void StringRelease::freeAlone(char *string) { ZynHeap_free(string - kStringHeader); }

}  // namespace propqos_platform

using propqos_platform::kStringHeader;

extern "C" {

char *DDS_String_alloc(size_t length)
{
    if (length > SIZE_MAX - kStringHeader - 1) {
        return nullptr;
    }
    auto *at = static_cast<char *>(ZynHeap_allocateZeroed(kStringHeader + length + 1, 1));
    if (at == nullptr) {
        return nullptr;
    }
    const propqos_platform::StringHeader header{propqos_platform::roomFor(length), 0};
    std::memcpy(at, &header, sizeof header);
    return at + kStringHeader;
}

char *DDS_String_dup(const char *string)
{
    if (string == nullptr) {
        return nullptr;
    }
    const size_t length = std::strlen(string);
    auto *at = static_cast<char *>(ZynHeap_allocate(kStringHeader + length + 1));
    return at != nullptr ? propqos_platform::placeString(at, 0, string, length) : nullptr;
}

void DDS_String_free(char *string)
{
    propqos_platform::StringRelease release;
    release.add(string);
}

}  // extern "C"
