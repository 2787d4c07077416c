#include <propqos/Heap.h>
#include <propqos/testing.h>

#include <pthread.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#if defined(__GLIBC__)
#include <malloc.h>
#include <sys/sysinfo.h>
#endif

// Every block comes straight from the C allocator at its exact size, without a header: property
// lists are many small strings, and a per-thread cache of released blocks (tried before) won
// only while one policy at a time was copied and released; with many policies alive it lost,
// and blocks released after a thread's cache was drained at thread exit were lost with it.
// The C allocator keeps its own per-thread caches, released properly.
namespace {

// The counters are a test seam, exact even while several threads use the module. An atomic
// read-modify-write of one shared counter per allocation would cost more than the allocation
// itself, so each thread counts in its own counters (written only by that thread, read by any)
// and ZynHeap_getOutstanding adds them up. A thread's counts move into the shared ones when it
// ends; what it allocates or releases after that (in a destructor running later at its exit)
// is counted in the shared ones directly.
std::atomic<long> g_failAfter{-1}; // allocations still allowed before injected failures; <0: none

// Zeroed blocks up to this size are malloc'd and cleared (see ZynHeap_allocateZeroed).
constexpr size_t kSmallZeroed = 1024;

struct Counts {
    std::atomic<long> outstanding{0};
    std::atomic<long> allocations{0};
    Counts *next = nullptr;
};

Counts g_shared;                                             // ended threads, and late counts
pthread_mutex_t g_threadsLock = PTHREAD_MUTEX_INITIALIZER;   // never destroyed: threads may end late
Counts *g_threads = nullptr;                                 // the counts of running threads

thread_local Counts t_counts;
#if defined(__GNUC__)
__attribute__((tls_model("initial-exec")))
#endif
thread_local Counts *t_mine = nullptr;   // &t_counts once registered, &g_shared once retired

struct Retirement {
    ~Retirement()
    {
        pthread_mutex_lock(&g_threadsLock);
        for (Counts **link = &g_threads; *link != nullptr; link = &(*link)->next) {
            if (*link == &t_counts) {
                *link = t_counts.next;
                break;
            }
        }
        g_shared.outstanding.fetch_add(t_counts.outstanding.load(std::memory_order_relaxed),
                                       std::memory_order_relaxed);
        g_shared.allocations.fetch_add(t_counts.allocations.load(std::memory_order_relaxed),
                                       std::memory_order_relaxed);
        t_mine = &g_shared;
        pthread_mutex_unlock(&g_threadsLock);
    }
};

Counts &myCounts()
{
    Counts *mine = t_mine;
    if (mine == nullptr) {
        static thread_local Retirement retirement;   // registers the move at thread exit
        (void)retirement;
        pthread_mutex_lock(&g_threadsLock);
        t_counts.next = g_threads;
        g_threads = &t_counts;
        t_mine = mine = &t_counts;
        pthread_mutex_unlock(&g_threadsLock);
    }
    return *mine;
}

void add(Counts &mine, std::atomic<long> Counts::*counter, long by)
{
    if (&mine == &g_shared) {
        (mine.*counter).fetch_add(by, std::memory_order_relaxed);
    } else {   // only this thread writes it
        (mine.*counter).store((mine.*counter).load(std::memory_order_relaxed) + by,
                              std::memory_order_relaxed);
    }
}

void bump(std::atomic<long> Counts::*counter, long by) { add(myCounts(), counter, by); }

// Counts an attempt that reached the C allocator, and its block if it got one.
void *counted(void *memory)
{
    Counts &mine = myCounts();
    add(mine, &Counts::allocations, 1);
    if (memory != nullptr) {
        add(mine, &Counts::outstanding, 1);
    }
    return memory;
}

long total(std::atomic<long> Counts::*counter)
{
    pthread_mutex_lock(&g_threadsLock);
    long sum = (g_shared.*counter).load(std::memory_order_relaxed);
    for (const Counts *c = g_threads; c != nullptr; c = c->next) {
        sum += (c->*counter).load(std::memory_order_relaxed);
    }
    pthread_mutex_unlock(&g_threadsLock);
    return sum;
}

bool injectedFailureDue()
{
    long left = g_failAfter.load(std::memory_order_relaxed);
    while (left > 0) {
        if (g_failAfter.compare_exchange_weak(left, left - 1, std::memory_order_relaxed)) {
            return false;
        }
    }
    return left == 0;
}

// The largest block worth asking for: what the machine could hold in memory and swap. A larger
// request fails at once instead of being granted on credit and failing page by page later.
size_t holdableBytes()
{
    static const size_t holdable = [] {
        size_t limit = static_cast<size_t>(PTRDIFF_MAX);
#if defined(__GLIBC__)
        struct sysinfo info {};
        if (sysinfo(&info) == 0) {
            const unsigned long long total =
                (static_cast<unsigned long long>(info.totalram) + info.totalswap) * info.mem_unit;
            if (total > 0 && total < limit) {
                limit = static_cast<size_t>(total);
            }
        }
#endif
        return limit;
    }();
    return holdable;
}

// True when the attempt is to be refused, which is then counted; one that goes on is counted by
// counted().
bool refused(size_t size)
{
    if (injectedFailureDue() || size > holdableBytes()) {
        bump(&Counts::allocations, 1);
        return true;
    }
    return false;
}

size_t usableSize(void *memory)
{
#if defined(__GLIBC__)
    return malloc_usable_size(memory);
#else
    (void)memory;
    return 0;   // unknown: every resize goes to the allocator
#endif
}

}  // namespace

extern "C" {

void *ZynHeap_allocate(size_t size)
{
    if (refused(size)) {
        return nullptr;
    }
    return counted(std::malloc(size == 0 ? 1 : size));
}

void *ZynHeap_allocateZeroed(size_t count, size_t size)
{
    if (size != 0 && count > static_cast<size_t>(-1) / size) {
        return nullptr;
    }
    const size_t bytes = count * size;
    if (refused(bytes)) {
        return nullptr;
    }
    // calloc takes fresh pages from the system already zeroed and leaves them untouched, so a
    // large zeroed block costs nothing until it is used. A small block is cleared here instead:
    // the C allocator's per-thread cache of recently released blocks serves malloc, not calloc.
    void *memory = nullptr;
    if (bytes <= kSmallZeroed) {
        memory = std::malloc(bytes == 0 ? 1 : bytes);
        if (memory != nullptr) {
            std::memset(memory, 0, bytes);
        }
    } else {
        memory = std::calloc(bytes, 1);
    }
    return counted(memory);
}

void *ZynHeap_reallocate(void *memory, size_t size)
{
    if (memory == nullptr) {
        return ZynHeap_allocate(size);
    }
    if (refused(size)) {
        return nullptr;
    }
    bump(&Counts::allocations, 1);   // a resize holds the same one block
    const size_t wanted = size == 0 ? 1 : size;
    const size_t usable = usableSize(memory);
    // Within the block and not much smaller than it: nothing to do. A block grown by the unit
    // (a sequence whose maximum rises by one per element) thus moves only now and then.
    if (wanted <= usable && usable - wanted <= usable / 2 + 64) {
        return memory;
    }
    void *resized = nullptr;
    if (wanted > usable && usable != 0) {
        // Growth: room for half as much again, so that repeated growth is amortised linear.
        const size_t roomy = usable + usable / 2;
        if (roomy > wanted && roomy <= holdableBytes()) {
            resized = std::realloc(memory, roomy);
        }
    }
    if (resized == nullptr) {
        resized = std::realloc(memory, wanted);
    }
    return resized;
}

void ZynHeap_free(void *memory)
{
    if (memory == nullptr) {
        return;
    }
    bump(&Counts::outstanding, -1);
    std::free(memory);
}

void ZynHeap_setFailAfter(long count)
{
    g_failAfter.store(count < 0 ? -1 : count, std::memory_order_relaxed);
}

long ZynHeap_getOutstanding(void) { return total(&Counts::outstanding); }

long ZynHeap_getAllocationCount(void) { return total(&Counts::allocations); }

void ZynOsapiHeap_allocateArray(void *arrayAddress, DDS_Long count, size_t slotSize)
{
    if (arrayAddress == nullptr) {
        return;
    }
    void *array = nullptr;
    if (count > 0) {
        array = ZynHeap_allocateZeroed(static_cast<size_t>(count), slotSize);
    }
    // The caller's pointer may be of any object-pointer type: write it byte-wise.
    std::memcpy(arrayAddress, &array, sizeof array);
}

void ZynOsapiHeap_freeArray(void *array) { ZynHeap_free(array); }

}  // extern "C"
