#include <cstring>

#include <propqos/Heap.h>
#include <propqos/Sequence.h>

extern "C" {

char *DDS_String_alloc(size_t length)
{
    if (length == static_cast<size_t>(-1)) {
        return nullptr;
    }
    return static_cast<char *>(ZynHeap_allocateZeroed(length + 1, 1));
}

char *DDS_String_dup(const char *string)
{
    if (string == nullptr) {
        return nullptr;
    }
    size_t length = std::strlen(string);
    char *copy = static_cast<char *>(ZynHeap_allocate(length + 1));
    if (copy != nullptr) {
        std::memcpy(copy, string, length + 1);
    }
    return copy;
}

void DDS_String_free(char *string) { ZynHeap_free(string); }

}  // extern "C"
