// Log calls whose arguments do not match their template: each CASE but 0 must not compile.
#include <cstddef>

#include "platform/Log.h"

void logSomething(const char *text, char *buffer, DDS_Long count, std::size_t size, long wide)
{
#if CASE == 0
    ZYN_LOG(ZYN_LOG_LEVEL_ERROR, DDS_LOG_CONCATENATE_STRING_ssd, text, buffer, count);
    ZYN_LOG(ZYN_LOG_LEVEL_ERROR, DDS_LOG_INCONSISTENT_POLICIES_sdsd, "a", 1, nullptr, count);
    ZYN_LOG_TEXT(ZYN_LOG_LEVEL_ERROR, ZYN_LOG_INCONSISTENT_QOS_TEMPLATE, "%zu %ld", size, wide);
#elif CASE == 1 // letters swapped
    ZYN_LOG(ZYN_LOG_LEVEL_ERROR, DDS_LOG_CONCATENATE_STRING_ssd, text, count, buffer);
#elif CASE == 2 // one argument short
    ZYN_LOG(ZYN_LOG_LEVEL_ERROR, DDS_LOG_CONCATENATE_STRING_ssd, text, buffer);
#elif CASE == 3 // one too many
    ZYN_LOG(ZYN_LOG_LEVEL_ERROR, DDS_LOG_BAD_PARAMETER_s, text, text);
#elif CASE == 4 // an integer wider than the printer's int
    ZYN_LOG(ZYN_LOG_LEVEL_ERROR, DDS_LOG_CONCATENATE_STRING_ssd, text, buffer, size);
#elif CASE == 5 // a printf-style template through the lettered macro
    ZYN_LOG(ZYN_LOG_LEVEL_ERROR, ZYN_LOG_INCONSISTENT_QOS_TEMPLATE, text);
#elif CASE == 6 // a lettered template through the printf-style macro
    ZYN_LOG_TEXT(ZYN_LOG_LEVEL_ERROR, DDS_LOG_BAD_PARAMETER_s, "%s", text);
#endif
    (void)text, (void)buffer, (void)count, (void)size, (void)wide;
}
