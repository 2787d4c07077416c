/* The one allocator under the module and the platform layer.
 *
 * Every allocation of the module goes through ZynHeap_allocate so that a test can make the k-th
 * allocation fail (ZynHeap_setFailAfter) and can check that everything acquired was released
 * (ZynHeap_getOutstanding). The accounting is process-wide and not thread-safe, like the module. */
#ifndef PROPQOS_PLATFORM_HEAP_H
#define PROPQOS_PLATFORM_HEAP_H

#include "platform/Types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Returns null when memory is exhausted or an injected failure is due. A size of 0 is served
 * as 1 byte so that a successful result is never null. */
void *ZynHeap_allocate(size_t size);
/* Zero-filled allocation of count * size bytes; null on overflow of the product. */
void *ZynHeap_allocateZeroed(size_t count, size_t size);
/* Releases memory from ZynHeap_allocate or ZynHeap_allocateZeroed; null is ignored. */
void ZynHeap_free(void *memory);

/* The next `count` allocations succeed, later ones fail; negative: none fails (the default). */
void ZynHeap_setFailAfter(long count);
/* Allocations not yet released. */
long ZynHeap_getOutstanding(void);
/* Allocations attempted since the process started (failed ones included). */
long ZynHeap_getAllocationCount(void);

/* Heap arrays. `arrayAddress` is the address of the caller's array pointer; the slot type is
 * given by its size (sizeof(char *) for a name table). Stores a new array of `count` slots, every
 * byte zero (so pointer slots are null), or leaves the pointer null when memory is short or
 * `count` is not positive. */
void ZynOsapiHeap_allocateArray(void *arrayAddress, DDS_Long count, size_t slotSize);
/* Releases an array from ZynOsapiHeap_allocateArray (not its slots' contents); null is ignored. */
void ZynOsapiHeap_freeArray(void *array);

#ifdef __cplusplus
}
#endif

#endif
