// One implementation of the sequence contract for the property, string and tag families.
#include <propqos/Sequence.h>

#include <cstdint>
#include <cstring>
#include <utility>

#include <propqos/Heap.h>
#include <propqos/sys/Strings.h>

#include "platform/StringStorage.h"

namespace {

using propqos_platform::StringCarver;
using propqos_platform::StringRelease;

constexpr DDS_Long kFirstGrowth = 4;

// ---- what differs between element types: which string slots an element has ----
template <typename Fn>
void forEachString(const DDS_Property_t &element, Fn &&fn)
{
    fn(element.name);
    fn(element.value);
}
template <typename Fn>
void forEachString(char *const &element, Fn &&fn)
{
    fn(element);
}
template <typename Fn>
void forEachString(const DDS_Tag &element, Fn &&fn)
{
    fn(element.name);
    fn(element.value);
}

// Releases an element's strings through `release` (strings of one block cost one decrement
// together); the slots keep their old pointers: the caller clears them or drops the storage.
template <typename Elem>
void releaseStrings(const Elem &element, StringRelease &release)
{
    forEachString(element, [&release](char *string) { release.add(string); });
}

template <typename Elem>
void releaseElement(Elem &element)
{
    StringRelease release;
    releaseStrings(element, release);
    element = Elem{};
}

// Each string slot of a copy `out` with the string of the original `in` it copies.
template <typename Fn>
void forEachPair(DDS_Property_t &out, const DDS_Property_t &in, Fn &&fn)
{
    fn(out.name, in.name);
    fn(out.value, in.value);
    out.propagate = in.propagate;
}
template <typename Fn>
void forEachPair(char *&out, char *const &in, Fn &&fn)
{
    fn(out, in);
}
template <typename Fn>
void forEachPair(DDS_Tag &out, const DDS_Tag &in, Fn &&fn)
{
    fn(out.name, in.name);
    fn(out.value, in.value);
}

// While a deep copy is made, each string slot of the fresh storage first holds the length of
// the string it is to copy, plus one (0 for none): every string is measured once.
void noteLength(char *&slot, const char *string, size_t &count, size_t &characters)
{
    uintptr_t note = 0;
    if (string != nullptr) {
        const size_t length = std::strlen(string);
        note = length + 1;
        if (StringCarver::shared(length)) {
            ++count;
            characters += length;
        }
    }
    std::memcpy(&slot, &note, sizeof note);
}
size_t notedLength(char *const &slot)
{
    uintptr_t note;
    std::memcpy(&note, &slot, sizeof note);
    return static_cast<size_t>(note);
}

// Copies of `name` and `value` (either may be null; the lengths of those that are not) carved
// from one block; false on exhaustion, with nothing left allocated.
bool copyPair(char *&nameOut, char *&valueOut, const char *name, size_t nameLength,
              const char *value, size_t valueLength)
{
    nameOut = valueOut = nullptr;
    size_t count = 0, characters = 0;
    for (auto [string, length] : {std::pair{name, nameLength}, std::pair{value, valueLength}}) {
        if (string != nullptr && StringCarver::shared(length)) {
            ++count;
            characters += length;
        }
    }
    StringCarver carver;
    carver.reserve(count, characters);   // without the block, a block per string
    if (name != nullptr && (nameOut = carver.carve(name, nameLength)) == nullptr) {
        return false;
    }
    if (value != nullptr && (valueOut = carver.carve(value, valueLength)) == nullptr) {
        DDS_String_free(nameOut);
        nameOut = nullptr;
        return false;
    }
    return true;
}

// A pair of strings for a new property or tag, released unless handed over.
struct NewStrings {
    char *name = nullptr;
    char *value = nullptr;
    bool make(const char *n, size_t nLength, const char *v, size_t vLength)
    {
        return copyPair(name, value, n, nLength, v, vLength);
    }
    ~NewStrings()
    {
        StringRelease release;
        release.add(name);
        release.add(value);
    }
};

template <typename Seq, typename Elem>
struct Sequence {
    static bool usable(const Seq *self)
    {
        return self != nullptr && self->_sequence_init == DDS_SEQUENCE_MAGIC_NUMBER;
    }

    static void reset(Seq *self)
    {
        self->_contiguous_buffer = nullptr;
        self->_discontiguous_buffer = nullptr;
        self->_read_token1 = nullptr;
        self->_read_token2 = nullptr;
        self->_maximum = 0;
        self->_length = 0;
        self->_sequence_init = DDS_SEQUENCE_MAGIC_NUMBER;
        self->_owned = DDS_BOOLEAN_TRUE;
        self->_elementAllocParams = {DDS_BOOLEAN_TRUE, DDS_BOOLEAN_FALSE, DDS_BOOLEAN_TRUE};
        self->_absolute_maximum = 0x7fffffff;
        self->_elementDeallocParams = {DDS_BOOLEAN_TRUE, DDS_BOOLEAN_TRUE};
    }

    static DDS_Boolean initialize(Seq *self)
    {
        if (self == nullptr) {
            return DDS_BOOLEAN_FALSE;
        }
        reset(self);
        return DDS_BOOLEAN_TRUE;
    }

    // Takes elements [from, to) out of the sequence: an owning sequence releases their strings;
    // in lent storage they are left where they are, for the lender to release. The slots are
    // cleared unless `clear` is false (storage about to be dropped).
    static void releaseRange(Seq *self, DDS_UnsignedLong from, DDS_UnsignedLong to,
                             bool clear = true)
    {
        if (!self->_owned) {
            return;
        }
        StringRelease release;
        for (DDS_UnsignedLong i = from; i < to; ++i) {
            releaseStrings(self->_contiguous_buffer[i], release);
        }
        release.flush();
        if (clear && to > from) {
            std::memset(static_cast<void *>(self->_contiguous_buffer + from), 0,
                        (to - from) * sizeof(Elem));
        }
    }

    static DDS_Boolean finalize(Seq *self)
    {
        if (!usable(self) || !self->_owned) {
            return DDS_BOOLEAN_FALSE;
        }
        releaseRange(self, 0, self->_length, false);
        ZynHeap_free(self->_contiguous_buffer);
        DDS_UnsignedLong absoluteMaximum = self->_absolute_maximum;
        reset(self);
        self->_absolute_maximum = absoluteMaximum;
        return DDS_BOOLEAN_TRUE;
    }

    static DDS_Boolean hasOwnership(const Seq *self)
    {
        return usable(self) && self->_owned ? DDS_BOOLEAN_TRUE : DDS_BOOLEAN_FALSE;
    }

    static DDS_Long length(const Seq *self)
    {
        return usable(self) ? static_cast<DDS_Long>(self->_length) : 0;
    }

    static DDS_Long maximum(const Seq *self)
    {
        return usable(self) ? static_cast<DDS_Long>(self->_maximum) : 0;
    }

    static DDS_Boolean setMaximum(Seq *self, DDS_Long newMax)
    {
        if (!usable(self) || !self->_owned || newMax < 0 ||
            static_cast<DDS_UnsignedLong>(newMax) > self->_absolute_maximum ||
            static_cast<DDS_UnsignedLong>(newMax) < self->_length) {
            return DDS_BOOLEAN_FALSE;
        }
        auto max = static_cast<DDS_UnsignedLong>(newMax);
        if (max == self->_maximum) {
            return DDS_BOOLEAN_TRUE;
        }
        // Every slot beyond the length holds null strings (releaseRange clears what it takes
        // out). The maximum is exactly what was asked; the storage may keep room beyond it, so
        // that raising the maximum one element at a time costs amortised constant time.
        const DDS_UnsignedLong oldMax = self->_maximum;
        if (max > 0 && self->_contiguous_buffer != nullptr && (max < oldMax || max - oldMax <= oldMax)) {
            // Shrinking, or growing by at most the present size: resized in place where the
            // heap can, and only the new slots are cleared.
            auto *buffer = static_cast<Elem *>(
                ZynHeap_reallocate(self->_contiguous_buffer, max * sizeof(Elem)));
            if (buffer == nullptr) {
                return DDS_BOOLEAN_FALSE;
            }
            if (max > oldMax) {
                std::memset(static_cast<void *>(buffer + oldMax), 0, (max - oldMax) * sizeof(Elem));
            }
            self->_contiguous_buffer = buffer;
            self->_maximum = max;
            return DDS_BOOLEAN_TRUE;
        }
        // A large growth takes fresh zeroed storage, which is not touched until used: copying
        // the present elements costs less than the slots added.
        Elem *buffer = nullptr;
        if (max > 0) {
            buffer = static_cast<Elem *>(ZynHeap_allocateZeroed(max, sizeof(Elem)));
            if (buffer == nullptr) {
                return DDS_BOOLEAN_FALSE;
            }
            if (self->_length > 0) {
                std::memcpy(static_cast<void *>(buffer), self->_contiguous_buffer,
                            self->_length * sizeof(Elem));
            }
        }
        ZynHeap_free(self->_contiguous_buffer);
        self->_contiguous_buffer = buffer;
        self->_maximum = max;
        return DDS_BOOLEAN_TRUE;
    }

    static DDS_Boolean setLength(Seq *self, DDS_Long newLength)
    {
        if (!usable(self) || newLength < 0 ||
            static_cast<DDS_UnsignedLong>(newLength) > self->_maximum) {
            return DDS_BOOLEAN_FALSE;
        }
        auto length = static_cast<DDS_UnsignedLong>(newLength);
        if (length < self->_length) {
            releaseRange(self, length, self->_length);
        } else if (length > self->_length && !self->_owned) {
            // Lent slots beyond the length hold whatever the lender left there: an element
            // brought within the length must hold null strings.
            std::memset(static_cast<void *>(self->_contiguous_buffer + self->_length), 0,
                        (length - self->_length) * sizeof(Elem));
        }
        self->_length = length;
        return DDS_BOOLEAN_TRUE;
    }

    static DDS_Boolean ensureLength(Seq *self, DDS_Long newLength, DDS_Long max)
    {
        if (!usable(self) || newLength < 0) {
            return DDS_BOOLEAN_FALSE;
        }
        if (static_cast<DDS_UnsignedLong>(newLength) > self->_maximum &&
            (max < newLength || !setMaximum(self, max))) {
            return DDS_BOOLEAN_FALSE;
        }
        return setLength(self, newLength);
    }

    static Elem *reference(const Seq *self, DDS_Long i)
    {
        if (!usable(self) || i < 0 || static_cast<DDS_UnsignedLong>(i) >= self->_length) {
            return nullptr;
        }
        return &self->_contiguous_buffer[i];
    }

    static Elem get(const Seq *self, DDS_Long i)
    {
        Elem *element = reference(self, i);
        return element != nullptr ? *element : Elem{};
    }

    // Makes room for one more element, doubling the maximum of an owning sequence.
    static bool makeRoomForOne(Seq *self)
    {
        if (self->_length < self->_maximum) {
            return true;
        }
        if (!self->_owned || self->_maximum >= self->_absolute_maximum) {
            return false;
        }
        DDS_UnsignedLong grown = self->_maximum < static_cast<DDS_UnsignedLong>(kFirstGrowth)
                                     ? kFirstGrowth
                                     : self->_maximum * 2;
        if (grown > self->_absolute_maximum || grown < self->_maximum) {
            grown = self->_absolute_maximum;
        }
        return setMaximum(self, static_cast<DDS_Long>(grown));
    }

    // Deep copies of the first `count` elements of `src` in a fresh buffer (null when `count`
    // is 0), their strings carved from one block; false on exhaustion, with nothing left
    // allocated.
    static bool cloneAll(Elem *&out, const Seq *src, DDS_UnsignedLong count)
    {
        out = nullptr;
        if (count == 0) {
            return true;
        }
        Elem *buffer = static_cast<Elem *>(ZynHeap_allocate(count * sizeof(Elem)));
        if (buffer == nullptr) {
            return false;
        }
        const Elem *from = src->_contiguous_buffer;
        size_t strings = 0, characters = 0;
        for (DDS_UnsignedLong i = 0; i < count; ++i) {
            forEachPair(buffer[i], from[i], [&](char *&slot, const char *string) {
                noteLength(slot, string, strings, characters);
            });
        }
        StringCarver carver;
        carver.reserve(strings, characters);   // without the block, a block per string
        bool ok = true;
        DDS_UnsignedLong made = 0;   // elements whose slots hold strings (or null)
        for (; made < count; ++made) {
            forEachPair(buffer[made], from[made], [&](char *&slot, const char *string) {
                const size_t note = notedLength(slot);
                slot = nullptr;
                if (ok && note != 0) {
                    slot = carver.carve(string, note - 1);
                    ok = slot != nullptr;
                }
            });
            if (!ok) {
                StringRelease release;
                for (DDS_UnsignedLong j = 0; j <= made; ++j) {
                    releaseStrings(buffer[j], release);
                }
                release.flush();
                ZynHeap_free(buffer);
                return false;
            }
        }
        out = buffer;
        return true;
    }

    // Every copy is made before anything of the destination is released, so that a failure
    // leaves the destination as it was.
    static Seq *copy(Seq *self, const Seq *src)
    {
        if (!usable(self) || !usable(src)) {
            return nullptr;
        }
        if (self == src) {
            return self;
        }
        if (src->_length > self->_absolute_maximum ||
            (!self->_owned && src->_length > self->_maximum)) {
            return nullptr;   // lent storage cannot grow
        }
        Elem *copies = nullptr;
        if (!cloneAll(copies, src, src->_length)) {
            return nullptr;
        }
        releaseRange(self, 0, self->_length, false);   // the storage is dropped or overwritten
        if (self->_owned) {
            ZynHeap_free(self->_contiguous_buffer);
            self->_contiguous_buffer = copies;
            self->_maximum = src->_length;
        } else {
            // The copies move into the lent slots; what the slots held is the lender's, and so
            // are the slots beyond the copies.
            if (src->_length > 0) {
                std::memcpy(static_cast<void *>(self->_contiguous_buffer), copies,
                            src->_length * sizeof(Elem));
            }
            ZynHeap_free(copies);
        }
        self->_length = src->_length;
        return self;
    }

    static DDS_Boolean loan(Seq *self, Elem *buffer, DDS_Long newLength, DDS_Long newMax)
    {
        if (!usable(self) || !self->_owned || self->_maximum != 0 || newLength < 0 ||
            newMax < newLength || (buffer == nullptr && newMax != 0) ||
            static_cast<DDS_UnsignedLong>(newMax) > self->_absolute_maximum) {
            return DDS_BOOLEAN_FALSE;
        }
        self->_contiguous_buffer = buffer;
        self->_maximum = static_cast<DDS_UnsignedLong>(newMax);
        self->_length = static_cast<DDS_UnsignedLong>(newLength);
        self->_owned = DDS_BOOLEAN_FALSE;
        return DDS_BOOLEAN_TRUE;
    }

    static DDS_Boolean unloan(Seq *self)
    {
        if (!usable(self) || self->_owned) {
            return DDS_BOOLEAN_FALSE;
        }
        DDS_UnsignedLong absoluteMaximum = self->_absolute_maximum;
        reset(self);
        self->_absolute_maximum = absoluteMaximum;
        return DDS_BOOLEAN_TRUE;
    }

    // Appends a name/value element (property or tag) holding copies of both strings.
    template <typename Element>
    static DDS_ReturnCode_t addPair(Seq *self, Element **element, const char *name,
                                    const char *value, size_t nameLength = SIZE_MAX,
                                    size_t valueLength = SIZE_MAX)
    {
        if (!usable(self) || name == nullptr || value == nullptr) {
            return DDS_RETCODE_BAD_PARAMETER;
        }
        NewStrings strings;
        if (!strings.make(name, nameLength != SIZE_MAX ? nameLength : std::strlen(name), value,
                          valueLength != SIZE_MAX ? valueLength : std::strlen(value)) ||
            !makeRoomForOne(self)) {
            return DDS_RETCODE_OUT_OF_RESOURCES;
        }
        Element &slot = self->_contiguous_buffer[self->_length];
        slot = Element{};
        slot.name = strings.name;
        slot.value = strings.value;
        strings.name = strings.value = nullptr;
        ++self->_length;
        if (element != nullptr) {
            *element = &slot;
        }
        return DDS_RETCODE_OK;
    }
};

using PropertySeq = Sequence<DDS_PropertySeq, DDS_Property_t>;
using StringSeq = Sequence<DDS_StringSeq, char *>;
using TagSeq = Sequence<DDS_TagSeq, DDS_Tag>;

bool startsWith(const char *name, const char *prefix, bool ignoreCase)
{
    size_t length = std::strlen(prefix);
    if (!ignoreCase) {
        return std::strncmp(name, prefix, length) == 0;
    }
    return VorlString_iFindSubString(name, prefix) == name;
}

bool sameString(const char *left, const char *right)
{
    if (left == nullptr || right == nullptr) {
        return left == right;
    }
    return std::strcmp(left, right) == 0;
}

// The next element at or after `from` that takes part in a comparison.
DDS_UnsignedLong nextCompared(const DDS_PropertySeq *seq, DDS_UnsignedLong from, bool remote)
{
    while (from < seq->_length && remote && !seq->_contiguous_buffer[from].propagate) {
        ++from;
    }
    return from;
}

// Whether two strings of `length` characters end alike: names of one length mostly differ in
// their last word, and the test needs no call.
inline bool sameEnd(const char *left, const char *right, size_t length)
{
    if (length < 8) {
        return true;
    }
    uint64_t a, b;
    std::memcpy(&a, left + length - 8, sizeof a);
    std::memcpy(&b, right + length - 8, sizeof b);
    return a == b;
}

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

// The index of the element named `name` (of `length` characters) in a usable sequence, or the
// length when there is none.
DDS_UnsignedLong findName(const DDS_PropertySeq *self, const char *name, size_t length)
{
    const DDS_Property_t *buffer = self->_contiguous_buffer;
    DDS_UnsignedLong found = self->_length;
    if (self->_owned) {
        // The strings of an owning sequence come from the module's allocator, whose header gives
        // each one's room (saturated only past 4 GiB): a name with less room than `name` has
        // characters, or without its terminator at that length, is of another length and is
        // passed over without comparing characters (names share long dotted prefixes).
        for (DDS_UnsignedLong i = 0; i < self->_length; ++i) {
            const char *candidate = buffer[i].name;
            if (candidate != nullptr) {
                const uint32_t room = propqos_platform::headerOf(candidate).room;
                if (room != UINT32_MAX ? room >= length && candidate[length] == '\0' &&
                                             sameEnd(candidate, name, length) &&
                                             std::memcmp(candidate, name, length) == 0
                                       : std::strcmp(candidate, name) == 0) {
                    found = i;
                    break;
                }
            }
        }
    } else {
        // Lent storage may hold strings from anywhere.
        for (DDS_UnsignedLong i = 0; i < self->_length; ++i) {
            const char *candidate = buffer[i].name;
            if (candidate != nullptr && candidate[0] == name[0] && std::strcmp(candidate, name) == 0) {
                found = i;
                break;
            }
        }
    }
    return found;
}

}  // namespace

extern "C" {

// ---- property sequence ----
DDS_Boolean DDS_PropertySeq_initialize(DDS_PropertySeq *self) { return PropertySeq::initialize(self); }
DDS_Boolean DDS_PropertySeq_finalize(DDS_PropertySeq *self) { return PropertySeq::finalize(self); }
DDS_Boolean DDS_PropertySeq_has_ownership(const DDS_PropertySeq *self)
{
    return PropertySeq::hasOwnership(self);
}
DDS_Long DDS_PropertySeq_get_length(const DDS_PropertySeq *self) { return PropertySeq::length(self); }
DDS_Long DDS_PropertySeq_get_maximum(const DDS_PropertySeq *self)
{
    return PropertySeq::maximum(self);
}
DDS_Boolean DDS_PropertySeq_set_maximum(DDS_PropertySeq *self, DDS_Long new_max)
{
    return PropertySeq::setMaximum(self, new_max);
}
DDS_Boolean DDS_PropertySeq_set_length(DDS_PropertySeq *self, DDS_Long new_length)
{
    return PropertySeq::setLength(self, new_length);
}
DDS_Boolean DDS_PropertySeq_ensure_length(DDS_PropertySeq *self, DDS_Long length, DDS_Long max)
{
    return PropertySeq::ensureLength(self, length, max);
}
DDS_Property_t *DDS_PropertySeq_get_reference(const DDS_PropertySeq *self, DDS_Long i)
{
    return PropertySeq::reference(self, i);
}
DDS_Property_t DDS_PropertySeq_get(const DDS_PropertySeq *self, DDS_Long i)
{
    return PropertySeq::get(self, i);
}
DDS_PropertySeq *DDS_PropertySeq_copy(DDS_PropertySeq *self, const DDS_PropertySeq *src)
{
    return PropertySeq::copy(self, src);
}
DDS_Boolean DDS_PropertySeq_loan_contiguous(DDS_PropertySeq *self, DDS_Property_t *buffer,
                                            DDS_Long new_length, DDS_Long new_max)
{
    return PropertySeq::loan(self, buffer, new_length, new_max);
}
DDS_Boolean DDS_PropertySeq_unloan(DDS_PropertySeq *self) { return PropertySeq::unloan(self); }

DDS_Property_t *DDS_PropertySeq_copy_element(DDS_Property_t *dst, const DDS_Property_t *src)
{
    if (dst == nullptr || src == nullptr) {
        return nullptr;
    }
    if (dst == src) {
        return dst;
    }
    DDS_Property_t fresh{};
    if (!copyPair(fresh.name, fresh.value, src->name, src->name != nullptr ? std::strlen(src->name) : 0,
                  src->value, src->value != nullptr ? std::strlen(src->value) : 0)) {
        return nullptr;
    }
    fresh.propagate = src->propagate;
    releaseElement(*dst);
    *dst = fresh;
    return dst;
}

DDS_Property_t *DDS_PropertySeq_copy_property_without_prefix(DDS_Property_t *dst,
                                                             const DDS_Property_t *src,
                                                             const char *prefix,
                                                             DDS_Boolean ignoreCase)
{
    if (dst == nullptr || src == nullptr || prefix == nullptr || src->name == nullptr ||
        dst == src || !startsWith(src->name, prefix, ignoreCase != 0)) {
        return nullptr;
    }
    DDS_Property_t fresh{};
    const char *name = src->name + std::strlen(prefix);
    if (!copyPair(fresh.name, fresh.value, name, std::strlen(name), src->value,
                  src->value != nullptr ? std::strlen(src->value) : 0)) {
        return nullptr;
    }
    fresh.propagate = src->propagate;
    releaseElement(*dst);
    *dst = fresh;
    return dst;
}

DDS_ReturnCode_t DDS_PropertySeq_add_element(DDS_PropertySeq *self, DDS_Property_t **element,
                                             const char *name, const char *value)
{
    return PropertySeq::addPair(self, element, name, value);
}

DDS_Property_t *DDS_PropertySeq_lookup_element(const DDS_PropertySeq *self, const char *name)
{
    DDS_Property_t *element = nullptr;
    return DDS_PropertySeq_lookup_element_index(self, name, &element) >= 0 ? element : nullptr;
}

DDS_Long DDS_PropertySeq_lookup_element_index(const DDS_PropertySeq *self, const char *name,
                                              DDS_Property_t **element)
{
    if (element != nullptr) {
        *element = nullptr;
    }
    if (!PropertySeq::usable(self) || name == nullptr) {
        return -1;
    }
    const DDS_UnsignedLong found = findName(self, name, std::strlen(name));
    if (found == self->_length) {
        return -1;
    }
    if (element != nullptr) {
        *element = &self->_contiguous_buffer[found];
    }
    return static_cast<DDS_Long>(found);
}

DDS_ReturnCode_t DDS_PropertySeq_assert_element(DDS_PropertySeq *self, DDS_Property_t **element,
                                                const char *name, const char *value)
{
    if (!PropertySeq::usable(self) || name == nullptr || value == nullptr) {
        return DDS_RETCODE_BAD_PARAMETER;
    }
    const size_t nameLength = std::strlen(name);
    const size_t length = std::strlen(value);
    const DDS_UnsignedLong index = findName(self, name, nameLength);
    if (index == self->_length) {
        return PropertySeq::addPair(self, element, name, value, nameLength, length);
    }
    DDS_Property_t *existing = &self->_contiguous_buffer[index];
    // A value that fits in the room of the string already held is written over it: replacing
    // a setting with one of about the same size is the common case and needs no allocation. A
    // much shorter one gets a string of its own, so that the larger one is given back.
    const size_t room =
        self->_owned && existing->value != nullptr ? propqos_platform::headerOf(existing->value).room : 0;
    if (self->_owned && existing->value != nullptr && length <= room && room - length <= length + 64) {
        std::memmove(existing->value, value, length + 1);
    } else {
        char *copy = DDS_String_dup(value);
        if (copy == nullptr) {
            return DDS_RETCODE_OUT_OF_RESOURCES;
        }
        if (self->_owned) {
            DDS_String_free(existing->value);
        }
        existing->value = copy;
    }
    if (element != nullptr) {
        *element = existing;
    }
    return DDS_RETCODE_OK;
}

DDS_ReturnCode_t DDS_PropertySeq_remove_element(DDS_PropertySeq *self, const char *name)
{
    if (!PropertySeq::usable(self) || name == nullptr) {
        return DDS_RETCODE_BAD_PARAMETER;
    }
    DDS_Long index = DDS_PropertySeq_lookup_element_index(self, name, nullptr);
    if (index < 0) {
        return DDS_RETCODE_NO_DATA;
    }
    DDS_Property_t *buffer = self->_contiguous_buffer;
    PropertySeq::releaseRange(self, static_cast<DDS_UnsignedLong>(index),
                              static_cast<DDS_UnsignedLong>(index) + 1);
    DDS_UnsignedLong last = self->_length - 1;
    if (static_cast<DDS_UnsignedLong>(index) < last) {
        std::memmove(static_cast<void *>(buffer + index), buffer + index + 1,
                     (last - static_cast<DDS_UnsignedLong>(index)) * sizeof(DDS_Property_t));
    }
    buffer[last] = DDS_Property_t{};
    self->_length = last;
    return DDS_RETCODE_OK;
}

DDS_Boolean DDS_PropertySeq_equalsWithParams(const DDS_PropertySeq *self,
                                             const DDS_PropertySeq *other, DDS_Boolean remote)
{
    bool selfUsable = PropertySeq::usable(self);
    bool otherUsable = PropertySeq::usable(other);
    if (!selfUsable || !otherUsable) {
        return selfUsable == otherUsable ? DDS_BOOLEAN_TRUE : DDS_BOOLEAN_FALSE;
    }
    bool onlyPropagated = remote != 0;
    DDS_UnsignedLong i = nextCompared(self, 0, onlyPropagated);
    DDS_UnsignedLong j = nextCompared(other, 0, onlyPropagated);
    while (i < self->_length && j < other->_length) {
        const DDS_Property_t &a = self->_contiguous_buffer[i];
        const DDS_Property_t &b = other->_contiguous_buffer[j];
        if (!sameString(a.name, b.name) || !sameString(a.value, b.value) ||
            (a.propagate != 0) != (b.propagate != 0)) {
            return DDS_BOOLEAN_FALSE;
        }
        i = nextCompared(self, i + 1, onlyPropagated);
        j = nextCompared(other, j + 1, onlyPropagated);
    }
    return i == self->_length && j == other->_length ? DDS_BOOLEAN_TRUE : DDS_BOOLEAN_FALSE;
}

// ---- string sequence ----
DDS_Boolean DDS_StringSeq_initialize(DDS_StringSeq *self) { return StringSeq::initialize(self); }
DDS_Boolean DDS_StringSeq_finalize(DDS_StringSeq *self) { return StringSeq::finalize(self); }
DDS_Boolean DDS_StringSeq_has_ownership(const DDS_StringSeq *self)
{
    return StringSeq::hasOwnership(self);
}
DDS_Long DDS_StringSeq_get_length(const DDS_StringSeq *self) { return StringSeq::length(self); }
DDS_Long DDS_StringSeq_get_maximum(const DDS_StringSeq *self) { return StringSeq::maximum(self); }
DDS_Boolean DDS_StringSeq_set_maximum(DDS_StringSeq *self, DDS_Long new_max)
{
    return StringSeq::setMaximum(self, new_max);
}
DDS_Boolean DDS_StringSeq_set_length(DDS_StringSeq *self, DDS_Long new_length)
{
    return StringSeq::setLength(self, new_length);
}
DDS_Boolean DDS_StringSeq_ensure_length(DDS_StringSeq *self, DDS_Long length, DDS_Long max)
{
    return StringSeq::ensureLength(self, length, max);
}
char **DDS_StringSeq_get_reference(const DDS_StringSeq *self, DDS_Long i)
{
    return StringSeq::reference(self, i);
}
char *DDS_StringSeq_get(const DDS_StringSeq *self, DDS_Long i) { return StringSeq::get(self, i); }
DDS_StringSeq *DDS_StringSeq_copy(DDS_StringSeq *self, const DDS_StringSeq *src)
{
    return StringSeq::copy(self, src);
}
DDS_Boolean DDS_StringSeq_loan_contiguous(DDS_StringSeq *self, char **buffer, DDS_Long new_length,
                                          DDS_Long new_max)
{
    return StringSeq::loan(self, buffer, new_length, new_max);
}
DDS_Boolean DDS_StringSeq_unloan(DDS_StringSeq *self) { return StringSeq::unloan(self); }

DDS_ReturnCode_t DDS_StringSeq_from_delimited_string(DDS_StringSeq *self, const char *text,
                                                     char delimiter)
{
    if (!StringSeq::usable(self) || text == nullptr || delimiter == '\0') {
        return DDS_RETCODE_BAD_PARAMETER;
    }
    // Each non-empty piece, blanks around it trimmed.
    auto forEachPiece = [text, delimiter](auto &&fn) {
        const char *start = text;
        while (true) {
            const char *end = std::strchr(start, delimiter);
            const char *stop = end != nullptr ? end : start + std::strlen(start);
            const char *first = start;
            while (first < stop && isBlank(*first)) {
                ++first;
            }
            const char *last = stop;
            while (last > first && isBlank(last[-1])) {
                --last;
            }
            if (last > first && !fn(first, static_cast<size_t>(last - first))) {
                return false;
            }
            if (end == nullptr) {
                return true;
            }
            start = end + 1;
        }
    };
    size_t count = 0, shared = 0, characters = 0;
    forEachPiece([&](const char *, size_t length) {
        ++count;
        if (StringCarver::shared(length)) {
            ++shared;
            characters += length;
        }
        return true;
    });
    // Built aside, in storage of the exact size and its strings in one block, and swapped in,
    // so that a failure leaves the caller's sequence as it was.
    DDS_StringSeq pieces = DDS_SEQUENCE_INITIALIZER;
    pieces._absolute_maximum = self->_absolute_maximum;
    if (count > pieces._absolute_maximum ||
        (count > 0 && !StringSeq::setMaximum(&pieces, static_cast<DDS_Long>(count)))) {
        return DDS_RETCODE_OUT_OF_RESOURCES;
    }
    StringCarver carver;
    carver.reserve(shared, characters);   // without the block, a block per string
    const bool made = forEachPiece([&](const char *first, size_t length) {
        char *piece = carver.carve(first, length);
        if (piece == nullptr) {
            return false;
        }
        pieces._contiguous_buffer[pieces._length++] = piece;
        return true;
    });
    if (!made) {
        StringSeq::finalize(&pieces);
        return DDS_RETCODE_OUT_OF_RESOURCES;
    }
    if (!self->_owned) {
        DDS_StringSeq *copied = StringSeq::copy(self, &pieces);
        StringSeq::finalize(&pieces);
        return copied != nullptr ? DDS_RETCODE_OK : DDS_RETCODE_OUT_OF_RESOURCES;
    }
    StringSeq::releaseRange(self, 0, self->_length);
    ZynHeap_free(self->_contiguous_buffer);
    self->_contiguous_buffer = pieces._contiguous_buffer;
    self->_maximum = pieces._maximum;
    self->_length = pieces._length;
    return DDS_RETCODE_OK;
}

// ---- tag sequence ----
DDS_Boolean DDS_TagSeq_initialize(DDS_TagSeq *self) { return TagSeq::initialize(self); }
DDS_Boolean DDS_TagSeq_finalize(DDS_TagSeq *self) { return TagSeq::finalize(self); }
DDS_Boolean DDS_TagSeq_has_ownership(const DDS_TagSeq *self) { return TagSeq::hasOwnership(self); }
DDS_Long DDS_TagSeq_get_length(const DDS_TagSeq *self) { return TagSeq::length(self); }
DDS_Long DDS_TagSeq_get_maximum(const DDS_TagSeq *self) { return TagSeq::maximum(self); }
DDS_Boolean DDS_TagSeq_set_maximum(DDS_TagSeq *self, DDS_Long new_max)
{
    return TagSeq::setMaximum(self, new_max);
}
DDS_Boolean DDS_TagSeq_set_length(DDS_TagSeq *self, DDS_Long new_length)
{
    return TagSeq::setLength(self, new_length);
}
DDS_Boolean DDS_TagSeq_ensure_length(DDS_TagSeq *self, DDS_Long length, DDS_Long max)
{
    return TagSeq::ensureLength(self, length, max);
}
DDS_Tag *DDS_TagSeq_get_reference(const DDS_TagSeq *self, DDS_Long i)
{
    return TagSeq::reference(self, i);
}
DDS_Tag DDS_TagSeq_get(const DDS_TagSeq *self, DDS_Long i) { return TagSeq::get(self, i); }
DDS_TagSeq *DDS_TagSeq_copy(DDS_TagSeq *self, const DDS_TagSeq *src)
{
    return TagSeq::copy(self, src);
}
DDS_Boolean DDS_TagSeq_loan_contiguous(DDS_TagSeq *self, DDS_Tag *buffer, DDS_Long new_length,
                                       DDS_Long new_max)
{
    return TagSeq::loan(self, buffer, new_length, new_max);
}
DDS_Boolean DDS_TagSeq_unloan(DDS_TagSeq *self) { return TagSeq::unloan(self); }
DDS_ReturnCode_t DDS_TagSeq_add_element(DDS_TagSeq *self, DDS_Tag **element, const char *name,
                                        const char *value)
{
    return TagSeq::addPair(self, element, name, value);
}

}  // extern "C"
