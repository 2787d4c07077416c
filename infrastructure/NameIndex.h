// A hash index of names to the position of their first occurrence, built for one call.
//
// Checking one list of names against another is quadratic when done by scanning; the policies
// and tables the module compares hold hundreds of names. The index lives only for the call that
// builds it (the module keeps no state between calls), in the caller's storage or on the module's
// heap; when it has neither, find() says so and the caller scans instead, so an answer never
// depends on memory.
#ifndef PROPQOS_INFRASTRUCTURE_NAMEINDEX_H
#define PROPQOS_INFRASTRUCTURE_NAMEINDEX_H

#include <cstdint>
#include <cstring>

#include <propqos/Heap.h>

namespace propqos_internal {

class NameIndex {
public:
    static constexpr long kNotFound = -1;
    static constexpr long kNoIndex = -2;   // the index could not be built: scan instead

    // Eight bytes a step: the names compared here are long and share long prefixes.
    static uint64_t hashOf(const char *text)
    {
        size_t length = std::strlen(text);
        uint64_t hash = 0x9E3779B97F4A7C15ull ^ length;
        size_t at = 0;
        for (; at + 8 <= length; at += 8) {
            uint64_t word;
            std::memcpy(&word, text + at, sizeof word);
            hash = (hash ^ word) * 0xFF51AFD7ED558CCDull;
            hash ^= hash >> 32;
        }
        uint64_t tail = 0;
        std::memcpy(&tail, text + at, length - at);
        // A full final mix: the slot is taken from the low bits, and names that differ in one
        // character of a middle word (numbered instances) must still spread over all of them.
        hash ^= tail;
        hash ^= hash >> 33;
        hash *= 0xFF51AFD7ED558CCDull;
        hash ^= hash >> 33;
        hash *= 0xC4CEB9FE1A85EC53ull;
        return hash ^ (hash >> 33);
    }

    // Indexes `count` records of `stride` bytes from `records`, each beginning with a pointer to
    // its name (a name table: stride sizeof(char *); a property sequence's storage: stride
    // sizeof(DDS_Property_t)). Null names are left out.
    // Eight bytes: the low half of the name's hash and its position plus one (0: empty).
    struct Slot {
        uint32_t hash;
        uint32_t positionPlusOne;
    };

    // The slots come from `storage` (`storageSlots` of them, the caller's, often on its stack)
    // when they fit there, else from the module's heap when `useHeap`; without either the
    // caller scans. `room` (at least `count`) is how many names add() may bring to the index in
    // all; the records they name must then be at their positions in the same storage.
    NameIndex(const void *records, size_t count, size_t stride, Slot *storage = nullptr,
              size_t storageSlots = 0, bool useHeap = true, size_t room = 0)
        : records_(static_cast<const unsigned char *>(records)), stride_(stride)
    {
        if (room < count) {
            room = count;
        }
        size_t capacity = 16;
        while (capacity < 2 * room) {
            capacity *= 2;
        }
        if (room > 0xFFFFFFFEu) {
            return;   // positions are kept in 32 bits; the caller scans instead
        }
        if (storage != nullptr && capacity <= storageSlots) {
            std::memset(static_cast<void *>(storage), 0, capacity * sizeof(Slot));
            slots_ = storage;
        } else if (useHeap) {
            slots_ = static_cast<Slot *>(ZynHeap_allocateZeroed(capacity, sizeof(Slot)));
            owned_ = slots_ != nullptr;
        }
        if (slots_ == nullptr) {
            return;
        }
        mask_ = capacity - 1;
        // The slots of a large index are out of cache: each is asked for kAhead names before it
        // is written, the hashes in between kept in a ring.
        uint64_t ahead[kAhead];
        for (size_t i = 0; i < count + kAhead; ++i) {
            if (i >= kAhead) {
                const size_t at = i - kAhead;
                const char *name = nameAt(at);
                if (name != nullptr) {
                    add(name, ahead[at % kAhead], at);
                }
            }
            if (i < count) {
                const char *name = nameAt(i);
                ahead[i % kAhead] = name != nullptr ? hashOf(name) : 0;
                prefetch(ahead[i % kAhead]);
            }
        }
    }

    static constexpr size_t kAhead = 8;

    // Asks for the slot where a name of this hash is looked for first.
    void prefetch(uint64_t hash) const
    {
#if defined(__GNUC__)
        if (slots_ != nullptr) {
            __builtin_prefetch(&slots_[static_cast<size_t>(hash) & mask_]);
        }
#else
        (void)hash;
#endif
    }
    ~NameIndex()
    {
        if (owned_) {
            ZynHeap_free(slots_);
        }
    }
    NameIndex(const NameIndex &) = delete;
    NameIndex &operator=(const NameIndex &) = delete;

    // Position of the first occurrence of `name` (whose hashOf is `hash`), kNotFound, or
    // kNoIndex when the caller must scan.
    long find(const char *name, uint64_t hash) const
    {
        if (slots_ == nullptr) {
            return kNoIndex;
        }
        for (size_t at = static_cast<size_t>(hash) & mask_; slots_[at].positionPlusOne != 0;
             at = (at + 1) & mask_) {
            if (same(slots_[at], name, hash)) {
                return static_cast<long>(slots_[at].positionPlusOne) - 1;
            }
        }
        return kNotFound;
    }

    // Brings the record at `position`, named `name` (hash `hash`), into the index; a name already
    // there keeps its first position. Nothing happens when the index could not be built.
    void add(const char *name, uint64_t hash, size_t position)
    {
        if (slots_ == nullptr) {
            return;
        }
        size_t at = static_cast<size_t>(hash) & mask_;
        while (slots_[at].positionPlusOne != 0 && !same(slots_[at], name, hash)) {
            at = (at + 1) & mask_;
        }
        if (slots_[at].positionPlusOne == 0) {
            slots_[at] = Slot{static_cast<uint32_t>(hash), static_cast<uint32_t>(position + 1)};
        }
    }

private:
    const char *nameAt(size_t i) const
    {
        const char *name;
        std::memcpy(&name, records_ + i * stride_, sizeof name);
        return name;
    }
    bool same(const Slot &slot, const char *name, uint64_t hash) const
    {
        return slot.hash == static_cast<uint32_t>(hash) &&
               std::strcmp(nameAt(slot.positionPlusOne - 1), name) == 0;
    }

    const unsigned char *records_;
    size_t stride_;
    Slot *slots_ = nullptr;
    bool owned_ = false;
    size_t mask_ = 0;
};

}  // namespace propqos_internal

#endif
