// Whether the platform's shared-memory semaphores and mutexes are robust mutexes.
//
// On Linux the shared-memory mutexes are process-shared pthread mutexes created with
// pthread_mutexattr_setrobust (in glibc since 2.12): a process that dies holding one does not
// leave the others blocked forever. The other platforms we build for use semaphores that have
// no such recovery, so they answer no.
#include <propqos/testing.h>

namespace {

#if defined(__linux__)
constexpr int kPlatformUsesRobustMutex = 1;
#else
constexpr int kPlatformUsesRobustMutex = 0;
#endif

// Negative: no override, the platform answers.
int g_override = -1;

}  // namespace

extern "C" {

int ZynOsapiSharedMemorySemMutex_useRobustMutex(void)
{
    return g_override >= 0 ? g_override : kPlatformUsesRobustMutex;
}

void ZynOsapiSharedMemorySemMutex_setUseRobustMutex(int useRobust)
{
    g_override = useRobust < 0 ? -1 : (useRobust != 0 ? 1 : 0);
}

}  // extern "C"
