/* The presentation layer's form of a property policy, its conversion from and to a property
 * sequence, and its duration parser. */
#ifndef PROPQOS_PRESENTATION_H
#define PROPQOS_PRESENTATION_H

#include "Export.h"

#include "Sequence.h"

PROPQOS_BEGIN_DECLS

typedef struct TaviProperty {
    char *name;
    char *value;
    int32_t propagate;
} TaviProperty;

typedef struct TaviSequenceProperty {
    uint32_t _maximum;
    uint32_t _length;
    TaviProperty *_buffer;
    uint32_t _string_maximum;
    uint32_t _string_length;
    char *_string_buffer;
} TaviSequenceProperty;

typedef struct TaviPropertyQosPolicy {
    TaviSequenceProperty data;
} TaviPropertyQosPolicy;

/* Prepares `dst` (whatever it held) for up to `max_property_length` properties and
 * `max_string_length` characters of names and values, each counted with its terminator.
 * BAD_PARAMETER for a null `dst` or a negative limit, OUT_OF_RESOURCES when memory is short
 * (then `dst` is left empty). */
DDS_ReturnCode_t DDS_PropertySeq_setup_presentation_qosI(TaviPropertyQosPolicy *dst,
                                                         DDS_Long max_property_length,
                                                         DDS_Long max_string_length);
/* Releases what setup prepared and leaves `self` empty. BAD_PARAMETER for null. */
DDS_ReturnCode_t DDS_PropertySeq_finalize_presentation_qosI(TaviPropertyQosPolicy *self);
/* Fills `dst` from `self`. OUT_OF_RESOURCES when the properties or their characters exceed what
 * `dst` was set up for, BAD_PARAMETER for a null argument or a property without name or value;
 * on failure `dst` keeps what it held. */
DDS_ReturnCode_t DDS_PropertySeq_to_presentation_sequence(const DDS_PropertySeq *self,
                                                          TaviPropertyQosPolicy *dst);
/* Replaces the properties of `self` with copies of those of `src`. BAD_PARAMETER for a null
 * argument, a never-initialised `self` or a malformed form, OUT_OF_RESOURCES when memory is
 * short; on failure `self` keeps what it held. */
DDS_ReturnCode_t DDS_PropertySeq_from_presentation_sequence(DDS_PropertySeq *self,
                                                            const TaviPropertyQosPolicy *src);

/* A duration: whole seconds and a fraction in units of 2^-32 second. */
typedef struct ZynNtpTime {
    int64_t sec;
    uint32_t frac;
} ZynNtpTime;

/* The infinite duration written by the parser for "INFINITE" and "DURATION_INFINITE". */
#define ZYN_NTP_TIME_SEC_MAX ((int64_t)0x7fffffff)
#define ZYN_NTP_TIME_FRAC_MAX ((uint32_t)0xffffffff)

/* Reads a duration: optional blanks, then either a word for infinity ("INFINITE",
 * "DURATION_INFINITE", any letter case) or a non-negative decimal number of seconds with an
 * optional fraction ("5", "0.25", "5." and ".5" too; no sign, "1.5e-3" is refused) followed by
 * an optional unit: "s", "ms", "us" or "ns" (any letter case, blanks allowed before it); then
 * optional blanks. The fraction is rounded to the nearest 2^-32 second (halves up), exactly
 * whatever the number of digits. Whole seconds beyond 2147483647, rounding included, are an
 * overflow. Non-zero on success; on failure `out` is left untouched. */
int TaviSequenceProperty_parseDurationString(const char *text, ZynNtpTime *out);

PROPQOS_END_DECLS

#endif
