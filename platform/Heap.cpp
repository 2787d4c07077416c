#include "platform/Heap.h"

#include <cstdlib>
#include <cstring>

namespace {
long g_failAfter = -1;        // allocations still allowed before injected failures; <0: none
long g_outstanding = 0;
long g_allocationCount = 0;

bool injectedFailureDue()
{
    if (g_failAfter < 0) {
        return false;
    }
    if (g_failAfter == 0) {
        return true;
    }
    --g_failAfter;
    return false;
}
}  // namespace

extern "C" {

void *ZynHeap_allocate(size_t size)
{
    ++g_allocationCount;
    if (injectedFailureDue()) {
        return nullptr;
    }
    void *memory = std::malloc(size == 0 ? 1 : size);
    if (memory != nullptr) {
        ++g_outstanding;
    }
    return memory;
}

void *ZynHeap_allocateZeroed(size_t count, size_t size)
{
    if (size != 0 && count > static_cast<size_t>(-1) / size) {
        return nullptr;
    }
    void *memory = ZynHeap_allocate(count * size);
    if (memory != nullptr) {
        std::memset(memory, 0, count * size == 0 ? 1 : count * size);
    }
    return memory;
}

void ZynHeap_free(void *memory)
{
    if (memory == nullptr) {
        return;
    }
    --g_outstanding;
    std::free(memory);
}

void ZynHeap_setFailAfter(long count) { g_failAfter = count < 0 ? -1 : count; }

long ZynHeap_getOutstanding(void) { return g_outstanding; }

long ZynHeap_getAllocationCount(void) { return g_allocationCount; }

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
