/* What the module's own code shares: the internal operations, the constant tables, the logging
 * macros and the string utilities. Never installed. */
#ifndef PROPQOS_INFRASTRUCTURE_PROPERTYQOSPOLICYINTERNAL_H
#define PROPQOS_INFRASTRUCTURE_PROPERTYQOSPOLICYINTERNAL_H

#include <propqos/PropertyQosPolicy.h>
#include <propqos/sys/Internal.h>
#include <propqos/sys/OrderedSearch.h>
#include <propqos/sys/SharedMemory.h>
#include <propqos/sys/Strings.h>

#include "platform/Log.h"
#include "tables/Tables.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Name fragments whose properties are never checked; closed by "". */
extern const char *const g_ignoreProperties[];

#ifdef __cplusplus
}
#endif

#endif
