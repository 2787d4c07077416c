// One implementation of the sequence contract for the property, string and tag families.
#include <propqos/Sequence.h>

#include <cstring>

#include <propqos/Heap.h>
#include <propqos/sys/Strings.h>

namespace {

constexpr DDS_Long kFirstGrowth = 4;

// ---- what differs between element types: how an element's strings are released and copied ----
void releaseElement(DDS_Property_t &element)
{
    DDS_String_free(element.name);
    DDS_String_free(element.value);
    element = DDS_Property_t{};
}
void releaseElement(char *&element)
{
    DDS_String_free(element);
    element = nullptr;
}
void releaseElement(DDS_Tag &element)
{
    DDS_String_free(element.name);
    DDS_String_free(element.value);
    element = DDS_Tag{};
}

// Duplicates a string that may be null; false only when a non-null one could not be copied.
bool dupOptional(char *&out, const char *in)
{
    out = nullptr;
    if (in == nullptr) {
        return true;
    }
    out = DDS_String_dup(in);
    return out != nullptr;
}

// Deep copy into a fresh element (`out` is overwritten without release); false on exhaustion,
// with nothing left allocated.
bool cloneElement(DDS_Property_t &out, const DDS_Property_t &in)
{
    DDS_Property_t copy{};
    if (!dupOptional(copy.name, in.name) || !dupOptional(copy.value, in.value)) {
        releaseElement(copy);
        return false;
    }
    copy.propagate = in.propagate;
    out = copy;
    return true;
}
bool cloneElement(char *&out, const char *const &in) { return dupOptional(out, in); }
bool cloneElement(DDS_Tag &out, const DDS_Tag &in)
{
    DDS_Tag copy{};
    if (!dupOptional(copy.name, in.name) || !dupOptional(copy.value, in.value)) {
        releaseElement(copy);
        return false;
    }
    out = copy;
    return true;
}

// A pair of strings for a new property or tag, released unless handed over.
struct NewStrings {
    char *name = nullptr;
    char *value = nullptr;
    bool make(const char *n, const char *v)
    {
        name = DDS_String_dup(n);
        value = DDS_String_dup(v);
        return name != nullptr && value != nullptr;
    }
    ~NewStrings()
    {
        DDS_String_free(name);
        DDS_String_free(value);
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
    // in lent storage they are left where they are, for the lender to release.
    static void releaseRange(Seq *self, DDS_UnsignedLong from, DDS_UnsignedLong to)
    {
        if (!self->_owned) {
            return;
        }
        for (DDS_UnsignedLong i = from; i < to; ++i) {
            releaseElement(self->_contiguous_buffer[i]);
        }
    }

    static DDS_Boolean finalize(Seq *self)
    {
        if (!usable(self) || !self->_owned) {
            return DDS_BOOLEAN_FALSE;
        }
        releaseRange(self, 0, self->_length);
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
    // is 0); false on exhaustion, with nothing left allocated.
    static bool cloneAll(Elem *&out, const Seq *src, DDS_UnsignedLong count)
    {
        out = nullptr;
        if (count == 0) {
            return true;
        }
        Elem *buffer = static_cast<Elem *>(ZynHeap_allocateZeroed(count, sizeof(Elem)));
        if (buffer == nullptr) {
            return false;
        }
        for (DDS_UnsignedLong i = 0; i < count; ++i) {
            if (!cloneElement(buffer[i], src->_contiguous_buffer[i])) {
                for (DDS_UnsignedLong j = 0; j < i; ++j) {
                    releaseElement(buffer[j]);
                }
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
        releaseRange(self, 0, self->_length);
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
                                    const char *value)
    {
        if (!usable(self) || name == nullptr || value == nullptr) {
            return DDS_RETCODE_BAD_PARAMETER;
        }
        NewStrings strings;
        if (!strings.make(name, value) || !makeRoomForOne(self)) {
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

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

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
    DDS_Property_t fresh;
    if (!cloneElement(fresh, *src)) {
        return nullptr;
    }
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
    if (!dupOptional(fresh.name, src->name + std::strlen(prefix)) ||
        !dupOptional(fresh.value, src->value)) {
        releaseElement(fresh);
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
    const DDS_Property_t *buffer = self->_contiguous_buffer;
    for (DDS_UnsignedLong i = 0; i < self->_length; ++i) {
        const char *candidate = buffer[i].name;
        // The first-character test keeps the common miss cheap.
        if (candidate != nullptr && candidate[0] == name[0] && std::strcmp(candidate, name) == 0) {
            if (element != nullptr) {
                *element = &self->_contiguous_buffer[i];
            }
            return static_cast<DDS_Long>(i);
        }
    }
    return -1;
}

DDS_ReturnCode_t DDS_PropertySeq_assert_element(DDS_PropertySeq *self, DDS_Property_t **element,
                                                const char *name, const char *value)
{
    if (!PropertySeq::usable(self) || name == nullptr || value == nullptr) {
        return DDS_RETCODE_BAD_PARAMETER;
    }
    DDS_Property_t *existing = DDS_PropertySeq_lookup_element(self, name);
    if (existing == nullptr) {
        return DDS_PropertySeq_add_element(self, element, name, value);
    }
    // A value that fits in the string already held is written over it: replacing a setting
    // with one of about the same size is the common case and needs no allocation. A much
    // shorter one gets a string of its own, so that the larger one is given back.
    size_t length = std::strlen(value);
    size_t held = self->_owned && existing->value != nullptr ? std::strlen(existing->value) : 0;
    if (self->_owned && existing->value != nullptr && length <= held &&
        held - length <= length + 64) {
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
    // Built aside and swapped in, so that a failure leaves the caller's sequence as it was.
    DDS_StringSeq pieces = DDS_SEQUENCE_INITIALIZER;
    pieces._absolute_maximum = self->_absolute_maximum;
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
        if (last > first) {
            DDS_Long n = StringSeq::length(&pieces);
            char *piece = DDS_String_alloc(static_cast<size_t>(last - first));
            if (piece == nullptr || !StringSeq::makeRoomForOne(&pieces) ||
                !StringSeq::setLength(&pieces, n + 1)) {
                DDS_String_free(piece);
                StringSeq::finalize(&pieces);
                return DDS_RETCODE_OUT_OF_RESOURCES;
            }
            std::memcpy(piece, first, static_cast<size_t>(last - first));
            pieces._contiguous_buffer[n] = piece;
        }
        if (end == nullptr) {
            break;
        }
        start = end + 1;
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
