/* String utilities of the layers below: bounded copies and formatting (ZynOsapiUtility_*),
 * comparisons, searches, number conversions and name validation (VorlString_*). */
#ifndef PROPQOS_STRINGS_H
#define PROPQOS_STRINGS_H

#include "../Export.h"

#include "../Types.h"

PROPQOS_BEGIN_DECLS

/* ---- bounded strings ----
 * `capacity` counts characters without the terminator: the destination holds capacity + 1
 * bytes. Each returns `dst`, or null when the result would not fit, in which case `dst` is left
 * as it was. A null `dst` or `src` fails. */
char *ZynOsapiUtility_strcpy(char *dst, size_t capacity, const char *src);
char *ZynOsapiUtility_strcat(char *dst, size_t capacity, const char *src);
/* Copies / appends at most `count` characters of `src`. */
char *ZynOsapiUtility_strncpy(char *dst, size_t capacity, const char *src, size_t count);
char *ZynOsapiUtility_strncat(char *dst, size_t capacity, const char *src, size_t count);
/* Formats into `dst` of `size` bytes (terminator included). Returns the number of characters
 * written, or -1 when the text did not fit (then `dst` holds the truncated text) or the
 * arguments are unusable. */
int ZynOsapiUtility_snprintf(char *dst, size_t size, const char *format, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 3, 4)))
#endif
    ;

/* ---- comparisons and searches (a null string sorts before every string) ---- */
int VorlString_compare(const char *left, const char *right);
/* As VorlString_compare, ignoring ASCII letter case. */
int VorlString_iCompare(const char *left, const char *right);
/* First position of `needle` in `haystack` ignoring ASCII letter case; null when absent or when
 * either is null. An empty needle is found at the start. */
char *VorlString_iFindSubString(const char *haystack, const char *needle);

/* ---- number conversions ----
 * Syntax: optional blanks, an optional sign ('-' refused for the unsigned reading), then a
 * decimal number, or a hexadecimal one after "0x"/"0X", then optional blanks; nothing else.
 * The value must fit the target type. Return non-zero on success; on failure `out` is left
 * untouched. A null text or `out` fails. */
int VorlString_strToLong(const char *text, DDS_Long *out);
int VorlString_strToLongLong(const char *text, DDS_LongLong *out);
int VorlString_strToUnsignedLong(const char *text, DDS_UnsignedLong *out);

/* ---- name validation ----
 * Valid (non-zero) when `name` equals an entry of the name table `validNames` (closed by ""),
 * compared with letter case when `caseSensitive` is non-zero, without it otherwise. A valid
 * name costs no distance computation; `index` and `distance` are then left as they were.
 * Otherwise zero, with `index` set to the first entry at the smallest edit distance
 * (Levenshtein: insertions, deletions and substitutions of one character each cost 1) and
 * `distance` to that distance. The distance is exact when either name has at most 256
 * characters; beyond that it is an upper bound computed piecewise on the stack (no allocation). Entries are considered only when strictly closer than the
 * `distance` passed in, so a caller starts with a large value. An empty table leaves both
 * untouched. Null arguments give zero. */
int VorlString_validateName(DDS_Long *index, DDS_Long *distance, const char *name,
                            const char *const *validNames, int caseSensitive);

PROPQOS_END_DECLS

#endif
