/* Test seams: for test programs only, never for production code. They change process-wide state
 * and none of them may run while another thread uses the library.
 *
 * - every written log entry goes to the sink of <propqos/Log.h> when one is set;
 * - heap fault injection and accounting, for every allocation of the module and platform;
 * - a fixed answer to the shared-memory mutex question. */
#ifndef PROPQOS_TESTING_H
#define PROPQOS_TESTING_H

#include "Heap.h"
#include "Log.h"
#include "sys/SharedMemory.h"

PROPQOS_BEGIN_DECLS

/* The next `count` allocations succeed, later ones fail; negative: none fails (the default). */
void ZynHeap_setFailAfter(long count);
/* Allocations not yet released: exact, also while other threads allocate and release. */
long ZynHeap_getOutstanding(void);
/* Allocations attempted since the process started (failed ones included). */
long ZynHeap_getAllocationCount(void);

/* 0 or 1 fixes the answer of ZynOsapiSharedMemorySemMutex_useRobustMutex; a negative value
 * returns to the platform's own. */
void ZynOsapiSharedMemorySemMutex_setUseRobustMutex(int useRobust);

PROPQOS_END_DECLS

#endif
