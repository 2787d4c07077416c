#include <propqos/Heap.h>
#include <propqos/testing.h>

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

// The counters are a test seam. Each is updated with one atomic read-modify-write, so that
// ZynHeap_getOutstanding is exact even while several threads use the module.
std::atomic<long> g_failAfter{-1};   // allocations still allowed before injected failures; <0: none
std::atomic<long> g_outstanding{0};
std::atomic<long> g_allocationCount{0};

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

// Counts the attempt; true when it is to be refused.
bool refused(size_t size)
{
    g_allocationCount.fetch_add(1, std::memory_order_relaxed);
    return injectedFailureDue() || size > holdableBytes();
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
    void *memory = std::malloc(size == 0 ? 1 : size);
    if (memory != nullptr) {
        g_outstanding.fetch_add(1, std::memory_order_relaxed);
    }
    return memory;
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
    // large zeroed block costs nothing until it is used.
    void *memory = std::calloc(bytes == 0 ? 1 : bytes, 1);
    if (memory != nullptr) {
        g_outstanding.fetch_add(1, std::memory_order_relaxed);
    }
    return memory;
}

void *ZynHeap_reallocate(void *memory, size_t size)
{
    if (memory == nullptr) {
        return ZynHeap_allocate(size);
    }
    if (refused(size)) {
        return nullptr;
    }
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
    g_outstanding.fetch_sub(1, std::memory_order_relaxed);
    std::free(memory);
}

void ZynHeap_setFailAfter(long count)
{
    g_failAfter.store(count < 0 ? -1 : count, std::memory_order_relaxed);
}

long ZynHeap_getOutstanding(void) { return g_outstanding.load(std::memory_order_relaxed); }

long ZynHeap_getAllocationCount(void) { return g_allocationCount.load(std::memory_order_relaxed); }

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
