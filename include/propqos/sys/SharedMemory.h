/* The platform's answer on shared-memory mutexes. */
#ifndef PROPQOS_SHAREDMEMORY_H
#define PROPQOS_SHAREDMEMORY_H

#include "../Export.h"

PROPQOS_BEGIN_DECLS

/* Non-zero when the platform's shared-memory semaphores and mutexes are robust mutexes. */
int ZynOsapiSharedMemorySemMutex_useRobustMutex(void);

PROPQOS_END_DECLS

#endif
