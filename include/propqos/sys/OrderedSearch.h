/* Binary search over an array of records sorted by a caller's comparator. */
#ifndef PROPQOS_ORDEREDSEARCH_H
#define PROPQOS_ORDEREDSEARCH_H

#include "../Export.h"

#include "../Types.h"

PROPQOS_BEGIN_DECLS

/* Negative when `target` sorts before `record`, zero when it matches, positive after. */
typedef DDS_Long (*VorlOrderedDataType_CompareFn)(const void *target, const void *record);

/* Searches `count` records of `elementSize` bytes at `array`, sorted ascending for `compare`.
 * Returns a record that compares equal and writes its index through `outIndex` (when not null);
 * null when none does. `insertionIndex` non-zero: when nothing matches, the index at which the
 * target would be inserted is written through `outIndex`; zero: `outIndex` is then untouched. */
const void *VorlOrderedDataType_binarySearch(DDS_UnsignedLong *outIndex, const void *target,
                                             const void *array, DDS_UnsignedLong count,
                                             size_t elementSize, int insertionIndex,
                                             VorlOrderedDataType_CompareFn compare);

PROPQOS_END_DECLS

#endif
