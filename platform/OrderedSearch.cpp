// Binary search over an array of sorted records.
#include <propqos/sys/OrderedSearch.h>

extern "C" {

const void *VorlOrderedDataType_binarySearch(DDS_UnsignedLong *outIndex, const void *target,
                                             const void *array, DDS_UnsignedLong count,
                                             size_t elementSize, int insertionIndex,
                                             VorlOrderedDataType_CompareFn compare)
{
    if (array == nullptr || compare == nullptr) {
        if (insertionIndex && outIndex != nullptr) {
            *outIndex = 0;
        }
        return nullptr;
    }
    const char *records = static_cast<const char *>(array);
    // Half-open range [low, high): no signed arithmetic, so a count of 0 or 1 needs no care.
    DDS_UnsignedLong low = 0;
    DDS_UnsignedLong high = count;
    while (low < high) {
        DDS_UnsignedLong middle = low + (high - low) / 2;
        const void *record = records + static_cast<size_t>(middle) * elementSize;
        DDS_Long order = compare(target, record);
        if (order == 0) {
            if (outIndex != nullptr) {
                *outIndex = middle;
            }
            return record;
        }
        if (order < 0) {
            high = middle;
        } else {
            low = middle + 1;
        }
    }
    if (insertionIndex && outIndex != nullptr) {
        *outIndex = low;
    }
    return nullptr;
}

}  // extern "C"
