/* The generic sequence layer: the property, string and tag sequences and the string allocator.
 *
 * Contract shared by the three families (one implementation, platform/Sequence.cpp):
 * - Lengths, maxima and indices are DDS_Long and compared as signed numbers; a negative one fails.
 * - A sequence owns its storage (_owned TRUE) unless storage was lent with *_loan_contiguous;
 *   lent storage is never grown, shrunk or freed (set_maximum fails, finalize returns FALSE).
 * - An owning sequence owns its elements' strings (from DDS_String_alloc/DDS_String_dup) and
 *   releases them when they are replaced or the length drops below them. Nothing is ever freed
 *   through lent storage: its strings stay the lender's, also those the sequence stored there;
 *   slots dropped below the length keep their strings for the lender to release, and a string
 *   replaced in place (assert, copy) or removed is the lender's to have kept. An element brought
 *   within the length holds null strings, in lent storage too (the slot is cleared).
 * - Growth of a full sequence (add/assert) doubles the maximum (at least 4 slots), within
 *   _absolute_maximum.
 * - A failed operation leaves the sequence as it was.
 * - Names compare case-sensitively; the first element with a name is the one found.
 * - add_element appends even when the name is present; remove_element of an absent name returns
 *   DDS_RETCODE_NO_DATA and a null name DDS_RETCODE_BAD_PARAMETER.
 * - equalsWithParams compares element by element, in order: names and values as strings (null
 *   equal only to null) and propagate flags. With `remote` TRUE only the properties marked to
 *   propagate take part, as a remote peer would see them.
 * - from_delimited_string trims blanks (space, tab, CR, LF) around each piece and drops empty
 *   pieces: "a, b,,c" gives a, b, c; an empty text gives an empty sequence. */
#ifndef PROPQOS_SEQUENCE_H
#define PROPQOS_SEQUENCE_H

#include "Export.h"

#include "Types.h"

PROPQOS_BEGIN_DECLS

/* The initialised marker held in _sequence_init. */
#define DDS_SEQUENCE_MAGIC_NUMBER 0x7344

typedef struct DDS_SeqElementTypeAllocationParams_t {
    DDS_Boolean allocate_pointers;
    DDS_Boolean allocate_optional_members;
    DDS_Boolean allocate_memory;
} DDS_SeqElementTypeAllocationParams_t;

typedef struct DDS_SeqElementTypeDeallocationParams_t {
    DDS_Boolean delete_pointers;
    DDS_Boolean delete_optional_members;
} DDS_SeqElementTypeDeallocationParams_t;

/* Field values of an empty, owning, initialised sequence; usable as a static initializer. */
#define DDS_SEQUENCE_INITIALIZER                                                          \
    {                                                                                     \
        NULL, NULL, NULL, NULL, 0, 0, DDS_SEQUENCE_MAGIC_NUMBER, 1, {1, 0, 1}, 0x7fffffff,\
            {1, 1}                                                                        \
    }

typedef struct DDS_Property_t {
    char *name;
    char *value;
    DDS_Boolean propagate;
} DDS_Property_t;

typedef struct DDS_Tag {
    char *name;
    char *value;
} DDS_Tag;

typedef struct DDS_PropertySeq {
    DDS_Property_t *_contiguous_buffer;
    DDS_Property_t **_discontiguous_buffer;
    void *_read_token1;
    void *_read_token2;
    DDS_UnsignedLong _maximum;
    DDS_UnsignedLong _length;
    DDS_Long _sequence_init;
    DDS_Boolean _owned;
    DDS_SeqElementTypeAllocationParams_t _elementAllocParams;
    DDS_UnsignedLong _absolute_maximum;
    DDS_SeqElementTypeDeallocationParams_t _elementDeallocParams;
} DDS_PropertySeq;

typedef struct DDS_StringSeq {
    char **_contiguous_buffer;
    char ***_discontiguous_buffer;
    void *_read_token1;
    void *_read_token2;
    DDS_UnsignedLong _maximum;
    DDS_UnsignedLong _length;
    DDS_Long _sequence_init;
    DDS_Boolean _owned;
    DDS_SeqElementTypeAllocationParams_t _elementAllocParams;
    DDS_UnsignedLong _absolute_maximum;
    DDS_SeqElementTypeDeallocationParams_t _elementDeallocParams;
} DDS_StringSeq;

typedef struct DDS_TagSeq {
    DDS_Tag *_contiguous_buffer;
    DDS_Tag **_discontiguous_buffer;
    void *_read_token1;
    void *_read_token2;
    DDS_UnsignedLong _maximum;
    DDS_UnsignedLong _length;
    DDS_Long _sequence_init;
    DDS_Boolean _owned;
    DDS_SeqElementTypeAllocationParams_t _elementAllocParams;
    DDS_UnsignedLong _absolute_maximum;
    DDS_SeqElementTypeDeallocationParams_t _elementDeallocParams;
} DDS_TagSeq;

/* ---- string allocator ---- */
/* Room for `length` characters and the terminator, zero-filled; null when memory is short. */
char *DDS_String_alloc(size_t length);
/* A new copy; null when memory is short or `string` is null. */
char *DDS_String_dup(const char *string);
/* Releases a string from DDS_String_alloc or DDS_String_dup; null is ignored. */
void DDS_String_free(char *string);

/* ---- property sequence ---- */
DDS_Boolean DDS_PropertySeq_initialize(DDS_PropertySeq *self);
DDS_Boolean DDS_PropertySeq_finalize(DDS_PropertySeq *self);
DDS_Boolean DDS_PropertySeq_has_ownership(const DDS_PropertySeq *self);
DDS_Long DDS_PropertySeq_get_length(const DDS_PropertySeq *self);
DDS_Long DDS_PropertySeq_get_maximum(const DDS_PropertySeq *self);
DDS_Boolean DDS_PropertySeq_set_maximum(DDS_PropertySeq *self, DDS_Long new_max);
DDS_Boolean DDS_PropertySeq_set_length(DDS_PropertySeq *self, DDS_Long new_length);
DDS_Boolean DDS_PropertySeq_ensure_length(DDS_PropertySeq *self, DDS_Long length, DDS_Long max);
DDS_Property_t *DDS_PropertySeq_get_reference(const DDS_PropertySeq *self, DDS_Long i);
/* A shallow copy; an index out of range gives an element with null strings. */
DDS_Property_t DDS_PropertySeq_get(const DDS_PropertySeq *self, DDS_Long i);
DDS_PropertySeq *DDS_PropertySeq_copy(DDS_PropertySeq *self, const DDS_PropertySeq *src);
/* Lends `buffer` (new_max elements, new_length in use) to an empty owning sequence. */
DDS_Boolean DDS_PropertySeq_loan_contiguous(DDS_PropertySeq *self, DDS_Property_t *buffer,
                                            DDS_Long new_length, DDS_Long new_max);
/* Returns lent storage to its owner; the sequence becomes empty and owning. */
DDS_Boolean DDS_PropertySeq_unloan(DDS_PropertySeq *self);
DDS_Property_t *DDS_PropertySeq_copy_element(DDS_Property_t *dst, const DDS_Property_t *src);
DDS_Property_t *DDS_PropertySeq_copy_property_without_prefix(DDS_Property_t *dst,
                                                             const DDS_Property_t *src,
                                                             const char *prefix,
                                                             DDS_Boolean ignoreCase);
DDS_ReturnCode_t DDS_PropertySeq_add_element(DDS_PropertySeq *self, DDS_Property_t **element,
                                             const char *name, const char *value);
DDS_ReturnCode_t DDS_PropertySeq_assert_element(DDS_PropertySeq *self, DDS_Property_t **element,
                                                const char *name, const char *value);
DDS_Property_t *DDS_PropertySeq_lookup_element(const DDS_PropertySeq *self, const char *name);
DDS_Long DDS_PropertySeq_lookup_element_index(const DDS_PropertySeq *self, const char *name,
                                              DDS_Property_t **element);
DDS_ReturnCode_t DDS_PropertySeq_remove_element(DDS_PropertySeq *self, const char *name);
DDS_Boolean DDS_PropertySeq_equalsWithParams(const DDS_PropertySeq *self,
                                             const DDS_PropertySeq *other, DDS_Boolean remote);

/* ---- string sequence ---- */
DDS_Boolean DDS_StringSeq_initialize(DDS_StringSeq *self);
DDS_Boolean DDS_StringSeq_finalize(DDS_StringSeq *self);
DDS_Boolean DDS_StringSeq_has_ownership(const DDS_StringSeq *self);
DDS_Long DDS_StringSeq_get_length(const DDS_StringSeq *self);
DDS_Long DDS_StringSeq_get_maximum(const DDS_StringSeq *self);
DDS_Boolean DDS_StringSeq_set_maximum(DDS_StringSeq *self, DDS_Long new_max);
DDS_Boolean DDS_StringSeq_set_length(DDS_StringSeq *self, DDS_Long new_length);
DDS_Boolean DDS_StringSeq_ensure_length(DDS_StringSeq *self, DDS_Long length, DDS_Long max);
char **DDS_StringSeq_get_reference(const DDS_StringSeq *self, DDS_Long i);
char *DDS_StringSeq_get(const DDS_StringSeq *self, DDS_Long i);
DDS_StringSeq *DDS_StringSeq_copy(DDS_StringSeq *self, const DDS_StringSeq *src);
DDS_Boolean DDS_StringSeq_loan_contiguous(DDS_StringSeq *self, char **buffer, DDS_Long new_length,
                                          DDS_Long new_max);
DDS_Boolean DDS_StringSeq_unloan(DDS_StringSeq *self);
DDS_ReturnCode_t DDS_StringSeq_from_delimited_string(DDS_StringSeq *self, const char *text,
                                                     char delimiter);

/* ---- tag sequence ---- */
DDS_Boolean DDS_TagSeq_initialize(DDS_TagSeq *self);
DDS_Boolean DDS_TagSeq_finalize(DDS_TagSeq *self);
DDS_Boolean DDS_TagSeq_has_ownership(const DDS_TagSeq *self);
DDS_Long DDS_TagSeq_get_length(const DDS_TagSeq *self);
DDS_Long DDS_TagSeq_get_maximum(const DDS_TagSeq *self);
DDS_Boolean DDS_TagSeq_set_maximum(DDS_TagSeq *self, DDS_Long new_max);
DDS_Boolean DDS_TagSeq_set_length(DDS_TagSeq *self, DDS_Long new_length);
DDS_Boolean DDS_TagSeq_ensure_length(DDS_TagSeq *self, DDS_Long length, DDS_Long max);
DDS_Tag *DDS_TagSeq_get_reference(const DDS_TagSeq *self, DDS_Long i);
DDS_Tag DDS_TagSeq_get(const DDS_TagSeq *self, DDS_Long i);
DDS_TagSeq *DDS_TagSeq_copy(DDS_TagSeq *self, const DDS_TagSeq *src);
DDS_Boolean DDS_TagSeq_loan_contiguous(DDS_TagSeq *self, DDS_Tag *buffer, DDS_Long new_length,
                                       DDS_Long new_max);
DDS_Boolean DDS_TagSeq_unloan(DDS_TagSeq *self);
/* `element` may be null. */
DDS_ReturnCode_t DDS_TagSeq_add_element(DDS_TagSeq *self, DDS_Tag **element, const char *name,
                                        const char *value);

PROPQOS_END_DECLS

#endif
