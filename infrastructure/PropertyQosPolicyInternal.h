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
#include <cstring>

namespace propqos_internal {

// A null string has no characters. The copies that follow refuse a null one, so a null name
// ends in the failure of its composition rather than in a crash.
inline size_t lengthOf(const char *text) { return text != nullptr ? std::strlen(text) : 0; }

// The two halves of DDS_PropertyQosPolicy_populatePluginProperties, with its entries: the prefix
// map of the plug-in instances in use (and the omitted prefixes), then the name tables composed
// from it. Validation composes the tables only when an unknown name needs a suggestion.
int pluginPrefixMap(DDS_TagSeq *prefixMap, DDS_StringSeq *omittedPrefixes,
                    const DDS_PropertyQosPolicy *inputProperty, DDS_EntityKind_t entityKind);
int pluginNameTables(const DDS_TagSeq *prefixMap, char ***validPublicProperties,
                     char ***validPrivateProperties, int *publicPropertiesSize,
                     int *privatePropertiesSize);

}  // namespace propqos_internal
#endif

#endif
