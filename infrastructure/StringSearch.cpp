// Binary search over records keyed by a leading string pointer, exact or by key prefix.
#include <cstring>

#include "infrastructure/PropertyQosPolicyInternal.h"
#include <propqos/sys/OrderedSearch.h>

namespace {

// Every searched record starts with its key.
inline const char *recordKey(const void *record)
{
    return *static_cast<const char *const *>(record);
}

}  // namespace

extern "C" {

DDS_Long DDS_PropertyQosPolicy_binaryStringSearchExactCompare(const void *left, const void *right)
{
    ZYN_PRECONDITION(ZYN_IS_NULL(left) && ZYN_IS_NULL(right), return 0);
    ZYN_PRECONDITION(ZYN_IS_NULL(left), return -1);
    ZYN_PRECONDITION(ZYN_IS_NULL(right), return 1);

    const char *itemString = recordKey(right);
    return std::strcmp(static_cast<const char *>(left), itemString != nullptr ? itemString : "");
}

DDS_Long DDS_PropertyQosPolicy_binaryStringSearchPartialCompare(const void *left, const void *right)
{
    ZYN_PRECONDITION(ZYN_IS_NULL(left) && ZYN_IS_NULL(right), return 0);
    ZYN_PRECONDITION(ZYN_IS_NULL(left), return -1);
    ZYN_PRECONDITION(ZYN_IS_NULL(right), return 1);

    const char *itemString = recordKey(right);
    ZYN_PRECONDITION(ZYN_IS_NULL(itemString), return 1);
    // Only the key's length is compared: a key matches every target that starts with it.
    return std::strncmp(static_cast<const char *>(left), itemString, std::strlen(itemString));
}

int DDS_PropertyQosPolicy_binaryStringSearch(DDS_UnsignedLong *targetIndex, const char *target,
                                             const void *list, DDS_UnsignedLong numberOfElements,
                                             size_t elementSize, int exactMatch)
{
    ZYN_PRECONDITION(ZYN_IS_NULL(targetIndex), return 0);
    ZYN_PRECONDITION(ZYN_IS_NULL(target), return 0);
    ZYN_PRECONDITION(ZYN_IS_NULL(list), return 0);

    VorlOrderedDataType_CompareFn compare = exactMatch
                                                ? DDS_PropertyQosPolicy_binaryStringSearchExactCompare
                                                : DDS_PropertyQosPolicy_binaryStringSearchPartialCompare;
    return VorlOrderedDataType_binarySearch(targetIndex, target, list, numberOfElements,
                                            elementSize, 0, compare) != nullptr
               ? 1
               : 0;
}

}  // extern "C"
