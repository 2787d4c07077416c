/* The XML save helpers: write tags and text elements through a save context, one element per
 * line, indented by 3 blanks per level of `depth`.
 *
 * Where the output goes:
 * - `fout` set: written to the file (`sout` is then ignored);
 * - else `sout` set: appended at sout[outputStringLength], never past `ssize` bytes and always
 *   terminated; a line that does not fit whole is not written at all;
 * - neither: nothing is written, only `outputStringLength` grows, so that a caller can save once
 *   to learn the size of the buffer it needs (the length plus one for the terminator).
 * `outputStringLength` counts the characters written (or measured) in every case.
 *
 * `error` is set, and nothing more is written, when a file write fails, a line does not fit the
 * buffer, the length would not fit its counter, a tag kind is unknown or a tag name is null. A
 * context already in error gets nothing. A null context is ignored. Tag names are written as
 * given: they are the caller's constants, not data. */
#ifndef PROPQOS_XMLSAVE_H
#define PROPQOS_XMLSAVE_H

#include "Export.h"

#include <stdio.h>

#include "Types.h"

PROPQOS_BEGIN_DECLS

typedef struct ZynXMLSaveContext {
    FILE *fout;                           /* output file, or null */
    char *sout;                           /* output buffer, or null */
    DDS_UnsignedLong ssize;               /* size of sout in bytes, terminator included */
    DDS_UnsignedLong outputStringLength;  /* characters written (or measured) so far */
    DDS_Long depth;                       /* nesting depth: indentation in steps of 3 blanks */
    DDS_Long error;                       /* non-zero once a write has failed */
    void *userData;
} ZynXMLSaveContext;

#define ZYN_XML_SAVE_CONTEXT_INITIALIZER {NULL, NULL, 0, 0, 0, 0, NULL}

/* Tag kinds of DDS_XMLHelper_save_tag. */
#define ZYN_XML_TAG_KIND_OPEN 7
#define ZYN_XML_TAG_KIND_CLOSE 27

void DDS_XMLHelper_save_tag(const char *tagName, int tagKind, ZynXMLSaveContext *context);
/* Writes <tagName>text</tagName> on one line, with the five XML special characters of `text`
 * escaped. `omitEmpty` non-zero: write nothing for a null or empty text. `cdata` non-zero: write
 * the text in a CDATA section instead of escaping it. */
void DDS_XMLHelper_save_string(const char *tagName, const char *text, int omitEmpty, int cdata,
                               ZynXMLSaveContext *context);

PROPQOS_END_DECLS

#endif
