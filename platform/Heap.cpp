#include <propqos/Heap.h>
#include <propqos/testing.h>

#include <atomic>
#include <cstdlib>
#include <cstring>

namespace {

// The counters are a test seam: exact for one thread, and free of data races (though not exact)
// when several threads use the module on their own policies at once.
std::atomic<long> g_failAfter{-1};   // allocations still allowed before injected failures; <0: none
std::atomic<long> g_outstanding{0};
std::atomic<long> g_allocationCount{0};

void bump(std::atomic<long> &counter, long by)
{
    counter.store(counter.load(std::memory_order_relaxed) + by, std::memory_order_relaxed);
}

bool injectedFailureDue()
{
    long left = g_failAfter.load(std::memory_order_relaxed);
    if (left < 0) {
        return false;
    }
    if (left == 0) {
        return true;
    }
    g_failAfter.store(left - 1, std::memory_order_relaxed);
    return false;
}

// Property lists are made of many small strings that are allocated and released together (a
// deep copy, an extraction, a finalize). Each thread keeps the small blocks it releases in
// per-size free lists and hands them out again, which spares the general allocator most of its
// work. Every block carries a header with its size class so that release knows where it goes.
// Sanitizer builds leave pooling out so that every release reaches the checked allocator.
constexpr size_t kHeader = 16;            // keeps the caller's memory 16-byte aligned
// Strings: blocks of 16 to 128 bytes in steps of 16, many of each kept aside. Sequence storage
// and per-call indexes: blocks of 256 bytes to 16 KiB in powers of two, a few of each.
constexpr size_t kClassStep = 16;
constexpr size_t kSmallClasses = 8;
constexpr size_t kLargeClasses = 7;
constexpr size_t kClassCount = kSmallClasses + kLargeClasses;
constexpr size_t kMaxPooledSmall = 512;    // bounds what a thread keeps aside
constexpr size_t kMaxPooledLarge = 8;

// The size class of a request, or kClassCount when it is not pooled.
size_t classFor(size_t size)
{
    if (size <= kSmallClasses * kClassStep) {
        return size == 0 ? 0 : (size - 1) / kClassStep;
    }
    size_t large = 0;
    for (size_t capacity = 256; capacity < size; capacity *= 2) {
        if (++large == kLargeClasses) {
            return kClassCount;
        }
    }
    return kSmallClasses + large;
}

size_t capacityOf(size_t sizeClass)
{
    return sizeClass < kSmallClasses ? (sizeClass + 1) * kClassStep
                                     : size_t{256} << (sizeClass - kSmallClasses);
}
constexpr unsigned char kUnpooled = 0xFF;

#if defined(PROPQOS_HEAP_NO_POOL)
constexpr bool kPooling = false;
#else
constexpr bool kPooling = true;
#endif

struct FreeBlock {
    FreeBlock *next;
};

// Plain data, so that reaching it costs no initialisation check; the initial-exec model keeps
// it one instruction away even in position-independent code.
struct PoolLists {
    FreeBlock *head[kClassCount];
    size_t count[kClassCount];
    bool drainAtExit;
};
#if defined(__GNUC__)
__attribute__((tls_model("initial-exec")))
#endif
thread_local PoolLists t_pool;

// Gives the blocks a thread kept aside back to the system when the thread ends.
struct PoolDrain {
    ~PoolDrain()
    {
        for (size_t sizeClass = 0; sizeClass < kClassCount; ++sizeClass) {
            while (FreeBlock *block = t_pool.head[sizeClass]) {
                t_pool.head[sizeClass] = block->next;
                std::free(reinterpret_cast<unsigned char *>(block) - kHeader);
            }
            t_pool.count[sizeClass] = 0;
        }
    }
};

void *takePooled(size_t sizeClass)
{
    FreeBlock *block = t_pool.head[sizeClass];
    if (block != nullptr) {
        t_pool.head[sizeClass] = block->next;
        --t_pool.count[sizeClass];
    }
    return block;
}

bool givePooled(size_t sizeClass, void *memory)
{
    if (t_pool.count[sizeClass] >= (sizeClass < kSmallClasses ? kMaxPooledSmall : kMaxPooledLarge)) {
        return false;
    }
    if (!t_pool.drainAtExit) {
        static thread_local PoolDrain drain;   // constructed once per thread, on first use
        (void)drain;
        t_pool.drainAtExit = true;
    }
    auto *block = static_cast<FreeBlock *>(memory);
    block->next = t_pool.head[sizeClass];
    t_pool.head[sizeClass] = block;
    ++t_pool.count[sizeClass];
    return true;
}

unsigned char &classOf(void *memory)
{
    return *(static_cast<unsigned char *>(memory) - kHeader);
}

}  // namespace

extern "C" {

void *ZynHeap_allocate(size_t size)
{
    bump(g_allocationCount, 1);
    if (injectedFailureDue() || size > static_cast<size_t>(-1) - kHeader) {
        return nullptr;
    }
    size_t sizeClass = kPooling ? classFor(size) : kClassCount;
    void *memory = sizeClass < kClassCount ? takePooled(sizeClass) : nullptr;
    if (memory == nullptr) {
        size_t payload = sizeClass < kClassCount ? capacityOf(sizeClass) : size;
        auto *block = static_cast<unsigned char *>(std::malloc(kHeader + (payload == 0 ? 1 : payload)));
        if (block == nullptr) {
            return nullptr;
        }
        memory = block + kHeader;
        classOf(memory) =
            sizeClass < kClassCount ? static_cast<unsigned char>(sizeClass) : kUnpooled;
    }
    bump(g_outstanding, 1);
    return memory;
}

void *ZynHeap_allocateZeroed(size_t count, size_t size)
{
    if (size != 0 && count > static_cast<size_t>(-1) / size) {
        return nullptr;
    }
    void *memory = ZynHeap_allocate(count * size);
    if (memory != nullptr) {
        std::memset(memory, 0, count * size);
    }
    return memory;
}

void ZynHeap_free(void *memory)
{
    if (memory == nullptr) {
        return;
    }
    bump(g_outstanding, -1);
    unsigned char sizeClass = classOf(memory);
    if (sizeClass != kUnpooled && givePooled(sizeClass, memory)) {
        return;
    }
    std::free(static_cast<unsigned char *>(memory) - kHeader);
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
