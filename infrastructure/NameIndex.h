// A hash index of names to the position of their first occurrence, built for one call.
//
// Checking one list of names against another is quadratic when done by scanning; the policies
// and tables the module compares hold hundreds of names. The index lives only for the call that
// builds it (the module keeps no state between calls) and comes from the module's heap; when it
// cannot be allocated, find() says so and the caller scans instead, so an answer never depends
// on memory.
#ifndef PROPQOS_INFRASTRUCTURE_NAMEINDEX_H
#define PROPQOS_INFRASTRUCTURE_NAMEINDEX_H

#include <cstdint>
#include <cstring>

#include "platform/Heap.h"

namespace propqos_internal {

class NameIndex {
public:
    static constexpr long kNotFound = -1;
    static constexpr long kNoIndex = -2;   // the index could not be built: scan instead

    static uint64_t hashOf(const char *text)
    {
        uint64_t hash = 1469598103934665603ull;   // FNV-1a
        for (const unsigned char *c = reinterpret_cast<const unsigned char *>(text); *c != 0; ++c) {
            hash = (hash ^ *c) * 1099511628211ull;
        }
        return hash;
    }

    // `nameAt(i)` gives the i-th name (null names are left out).
    template <typename NameAt>
    NameIndex(size_t count, NameAt nameAt)
    {
        size_t capacity = 16;
        while (capacity < 2 * count) {
            capacity *= 2;
        }
        slots_ = static_cast<Slot *>(ZynHeap_allocateZeroed(capacity, sizeof(Slot)));
        if (slots_ == nullptr) {
            return;
        }
        mask_ = capacity - 1;
        for (size_t i = 0; i < count; ++i) {
            const char *name = nameAt(i);
            if (name == nullptr) {
                continue;
            }
            uint64_t hash = hashOf(name);
            size_t at = static_cast<size_t>(hash) & mask_;
            while (slots_[at].name != nullptr && !same(slots_[at], name, hash)) {
                at = (at + 1) & mask_;
            }
            if (slots_[at].name == nullptr) {   // a repeated name keeps its first position
                slots_[at] = Slot{hash, name, static_cast<long>(i)};
            }
        }
    }
    ~NameIndex() { ZynHeap_free(slots_); }
    NameIndex(const NameIndex &) = delete;
    NameIndex &operator=(const NameIndex &) = delete;

    // Position of the first occurrence of `name` (whose hashOf is `hash`), kNotFound, or
    // kNoIndex when the caller must scan.
    long find(const char *name, uint64_t hash) const
    {
        if (slots_ == nullptr) {
            return kNoIndex;
        }
        for (size_t at = static_cast<size_t>(hash) & mask_; slots_[at].name != nullptr;
             at = (at + 1) & mask_) {
            if (same(slots_[at], name, hash)) {
                return slots_[at].position;
            }
        }
        return kNotFound;
    }

private:
    struct Slot {
        uint64_t hash;
        const char *name;
        long position;
    };
    static bool same(const Slot &slot, const char *name, uint64_t hash)
    {
        return slot.hash == hash && std::strcmp(slot.name, name) == 0;
    }

    Slot *slots_ = nullptr;
    size_t mask_ = 0;
};

}  // namespace propqos_internal

#endif
