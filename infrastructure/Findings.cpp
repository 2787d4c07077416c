#include "infrastructure/Findings.h"

#include "platform/Log.h"

namespace propqos_internal {

void LoggedFindings::unknownName(const UnknownName &f)
{
    ZYN_LOG_IN(function_, f.level, ZYN_LOG_UNEXPECTED_PROPERTY_sssss, f.prefix, f.name, f.prefix,
               f.suggestion, f.scope);
}

void LoggedFindings::limitExceeded(const LimitExceeded &f)
{
    if (f.advice == nullptr) {
        ZYN_LOG_IN(function_, ZYN_LOG_LEVEL_ERROR, DDS_LOG_INCONSISTENT_POLICIES_sdsd, f.what,
                   f.actual, f.limitName, f.limit);
    } else {
        ZYN_LOG_IN(function_, ZYN_LOG_LEVEL_ERROR, DDS_LOG_INCONSISTENT_POLICIES_sdsds, f.what,
                   f.actual, f.limitName, f.limit, f.advice);
    }
}

void LoggedFindings::changeRefused(const ChangeRefused &f)
{
    ZYN_LOG_IN(function_, ZYN_LOG_LEVEL_ERROR, DDS_LOG_INCONSISTENT_PROPERTY_sss, "entity", f.name,
               f.reason);
}

}  // namespace propqos_internal
