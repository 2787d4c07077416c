// Memory at thread exit: THREADS threads (default 500, 50 at a time) each fill a policy of
// PROPERTIES properties (default 200) and leave it to be finalized by a thread-exit destructor
// (a pthread key's), plus a second one in a thread_local object, as a middleware that keeps a
// policy per thread does. Prints the growth of the resident set over the run and the module's
// outstanding allocations; exits 1 when anything is still outstanding.
//
//   propqos_thread_exit [THREADS [PROPERTIES]]
//   valgrind --leak-check=full propqos_thread_exit 500 200
#include <pthread.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include <propqos/PropertyQosPolicy.h>
#include <propqos/testing.h>

namespace {

int g_properties = 200;
pthread_key_t g_key;

DDS_PropertyQosPolicy *filledPolicy()
{
    auto *policy = new DDS_PropertyQosPolicy DDS_PropertyQosPolicy_INITIALIZER;
    for (int i = 0; i < g_properties; ++i) {
        const std::string name = "dds.transport.UDPv4.builtin.setting_" + std::to_string(i);
        DDS_PropertyQosPolicyHelper_add_property(policy, name.c_str(), "some value of a setting",
                                                 DDS_BOOLEAN_FALSE);
    }
    return policy;
}

void finalizePolicy(void *policy)
{
    DDS_PropertyQosPolicy_finalize(static_cast<DDS_PropertyQosPolicy *>(policy));
    delete static_cast<DDS_PropertyQosPolicy *>(policy);
}

struct ThreadPolicy {
    DDS_PropertyQosPolicy *policy = nullptr;
    ~ThreadPolicy()
    {
        if (policy != nullptr) finalizePolicy(policy);
    }
};
thread_local ThreadPolicy t_policy;

void worker()
{
    pthread_setspecific(g_key, filledPolicy());
    t_policy.policy = filledPolicy();
}

long residentKiB()
{
    long pages = 0;
    long resident = 0;
    if (FILE *f = std::fopen("/proc/self/statm", "r")) {
        if (std::fscanf(f, "%ld %ld", &pages, &resident) != 2) resident = 0;
        std::fclose(f);
    }
    return resident * 4;
}

}  // namespace

int main(int argc, char **argv)
{
    const int threads = argc > 1 ? std::atoi(argv[1]) : 500;
    g_properties = argc > 2 ? std::atoi(argv[2]) : 200;
    pthread_key_create(&g_key, finalizePolicy);

    // One wave first, so that the process's own start-up allocations are not counted.
    const auto wave = [](int count) {
        std::vector<std::thread> running;
        for (int i = 0; i < count; ++i) running.emplace_back(worker);
        for (auto &t : running) t.join();
    };
    wave(50);
    const long before = residentKiB();
    for (int done = 0; done < threads; done += 50) wave(threads - done < 50 ? threads - done : 50);
    const long after = residentKiB();

    std::printf("%d threads, %d properties each: resident set %+ld KiB, outstanding allocations %ld\n",
                threads, g_properties, after - before, ZynHeap_getOutstanding());
    return ZynHeap_getOutstanding() == 0 ? 0 : 1;
}
