/* The test seams in one include: log capture, heap fault injection and accounting, and the
 * shared-memory mutex override. */
#ifndef PROPQOS_PLATFORM_TESTHOOKS_H
#define PROPQOS_PLATFORM_TESTHOOKS_H

#include "platform/Heap.h"
#include "platform/Log.h"
#include "platform/SharedMemory.h"

#endif
