/* The platform's answer on shared-memory mutexes. */
#ifndef PROPQOS_PLATFORM_SHAREDMEMORY_H
#define PROPQOS_PLATFORM_SHAREDMEMORY_H

#ifdef __cplusplus
extern "C" {
#endif

/* Non-zero when the platform's shared-memory semaphores and mutexes are robust mutexes. */
int ZynOsapiSharedMemorySemMutex_useRobustMutex(void);
/* Test override: 0 or 1 fixes the answer; a negative value returns to the platform's own. */
void ZynOsapiSharedMemorySemMutex_setUseRobustMutex(int useRobust);

#ifdef __cplusplus
}
#endif

#endif
