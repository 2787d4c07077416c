/* The one allocator under the module and the platform layer.
 *
 * Every allocation of the module goes through ZynHeap_allocate, so that a test can make the k-th
 * allocation fail and check that everything acquired was released (<propqos/testing.h>). */
#ifndef PROPQOS_HEAP_H
#define PROPQOS_HEAP_H

#include "Export.h"

#include "Types.h"

PROPQOS_BEGIN_DECLS

/* Returns null when memory is exhausted, the size exceeds what the machine could ever hold, or
 * an injected failure is due. A size of 0 is served as 1 byte so that a successful result is
 * never null. Safe to call from any thread. */
void *ZynHeap_allocate(size_t size);
/* Zero-filled allocation of count * size bytes; null on overflow of the product. Pages fresh
 * from the system are not touched, so a large block costs nothing until it is written. */
void *ZynHeap_allocateZeroed(size_t count, size_t size);
/* Resizes a block from this heap, keeping its first min(old, new) bytes; the bytes beyond are
 * unspecified. Null `memory` allocates. On failure returns null and `memory` is unchanged and
 * still the caller's. A block may keep room beyond `size`, so that growing it again by a little
 * is free: growth by one unit at a time is amortised linear. A block asked to become much
 * smaller gives its excess back. */
void *ZynHeap_reallocate(void *memory, size_t size);
/* Releases memory from ZynHeap_allocate, ZynHeap_allocateZeroed or ZynHeap_reallocate; null is
 * ignored. */
void ZynHeap_free(void *memory);

/* Heap arrays. `arrayAddress` is the address of the caller's array pointer; the slot type is
 * given by its size (sizeof(char *) for a name table). Stores a new array of `count` slots, every
 * byte zero (so pointer slots are null), or leaves the pointer null when memory is short or
 * `count` is not positive. */
void ZynOsapiHeap_allocateArray(void *arrayAddress, DDS_Long count, size_t slotSize);
/* Releases an array from ZynOsapiHeap_allocateArray (not its slots' contents); null is ignored. */
void ZynOsapiHeap_freeArray(void *array);

PROPQOS_END_DECLS

#endif
