// The minimum product version with which a participant's transports stay compatible.
#include "infrastructure/PropertyQosPolicyInternal.h"

namespace {

constexpr const char *kPropertyName = "dds.transport.minimum_compatibility_version";
constexpr DDS_ProductVersion_t kDefaultVersion = {6, 0, 0, 0};
// Shared memory guarded by robust mutexes cannot talk to peers older than this.
constexpr DDS_ProductVersion_t kRobustMutexMinimum = {7, 2, 0, 0};

int field(DDS_Char value) { return static_cast<int>(static_cast<unsigned char>(value)); }

}  // namespace

extern "C" {

void DDS_PropertyQosPolicy_getTransportMinimumCompatibilityVersion(
    const DDS_PropertyQosPolicy *self, DDS_ProductVersion_t *out, int isShmemEnabled)
{
    ZYN_PRECONDITION(ZYN_IS_NULL(self), return);
    ZYN_PRECONDITION(ZYN_IS_NULL(out), return);

    *out = kDefaultVersion;
    const DDS_Property_t *property = DDS_PropertyQosPolicyHelper_lookup_property(self, kPropertyName);
    if (property == nullptr) {
        return;
    }
    // A value that does not parse is reported and the check below still runs on what `out`
    // holds: the parser leaves it untouched, so that is the default.
    if (!DDS_ProductVersion_from_string(out, property->value)) {
        ZYN_LOG(ZYN_LOG_LEVEL_ERROR, ZYN_LOG_PARSER_FAILURE_ss, kPropertyName, property->value);
    }
    // The platform is asked whether or not shared memory is enabled.
    const int useRobustMutex = ZynOsapiSharedMemorySemMutex_useRobustMutex();
    if (useRobustMutex != 0 && isShmemEnabled &&
        DDS_ProductVersion_compare(out, &kRobustMutexMinimum) < 0) {
        // The version is handed on unchanged; what shared memory makes of it is its own affair.
        ZYN_LOG_TEXT(ZYN_LOG_LEVEL_ERROR, ZYN_LOG_BAD_PARAMETER_FAILURE_TEMPLATE,
                     "Transport property '%s' is not supported for SHMEM with a value smaller "
                     "than %d.%d.%d.%d. The value will be ignored.",
                     kPropertyName, field(kRobustMutexMinimum.major),
                     field(kRobustMutexMinimum.minor), field(kRobustMutexMinimum.release),
                     field(kRobustMutexMinimum.revision));
    }
}

}  // extern "C"
