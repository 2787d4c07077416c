/* Product versions: four small unsigned numbers compared field by field. */
#ifndef PROPQOS_PRODUCTVERSION_H
#define PROPQOS_PRODUCTVERSION_H

#include "Export.h"

#include "Types.h"

PROPQOS_BEGIN_DECLS

typedef struct DDS_ProductVersion_t {
    DDS_Char major;
    DDS_Char minor;
    DDS_Char release;
    DDS_Char revision;
} DDS_ProductVersion_t;

/* Reads "major.minor.release[.revision]" (decimal fields 0..255, no blanks, no sign); a missing
 * revision reads as 0. Non-zero on success; on failure `self` is left untouched. */
DDS_Boolean DDS_ProductVersion_from_string(DDS_ProductVersion_t *self, const char *text);
/* Negative when `left` is older than `right`, zero when equal, positive when newer; fields are
 * compared as unsigned numbers in the order major, minor, release, revision. */
int DDS_ProductVersion_compare(const DDS_ProductVersion_t *left, const DDS_ProductVersion_t *right);

PROPQOS_END_DECLS

#endif
