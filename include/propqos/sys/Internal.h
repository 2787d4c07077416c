/* The module's internal operations: for the middleware's other layers and for tests. They are
 * exported so that those callers can link them, but they are not part of the stable API. */
#ifndef PROPQOS_SYS_INTERNAL_H
#define PROPQOS_SYS_INTERNAL_H

#include "../PropertyQosPolicy.h"

PROPQOS_BEGIN_DECLS

/* Extraction engine behind the get/append/without-prefix operations. */
DDS_ReturnCode_t DDS_PropertyQosPolicyHelper_get_propertiesI(const DDS_PropertyQosPolicy *policy,
                                                             DDS_PropertySeq *properties,
                                                             const char *name_prefix,
                                                             const char *functionName,
                                                             int keepPrefix, int ignoreCase,
                                                             int appendToDst);

/* Reads a boolean word ("true", "yes", "1", "false", "no", "0"). */
DDS_ReturnCode_t DDSPropertyQosPolicy_propertyValueToBoolean(const char *value,
                                                             DDS_Boolean *result);

/* Saving. */
void DDS_PropertySeq_saveRedactingConfidentialFields(const DDS_PropertySeq *self,
                                                     const DDS_PropertySeq *base,
                                                     ZynXMLSaveContext *dst,
                                                     const char *policyTagName,
                                                     const char *sequenceTagName);
int DDS_PropertyHelper_isConfidentialProperty(const char *propertyName,
                                              const char *confidentialSuffix);

/* Comparators of DDS_PropertyQosPolicy_binaryStringSearch. */
DDS_Long DDS_PropertyQosPolicy_binaryStringSearchExactCompare(const void *left, const void *right);
DDS_Long DDS_PropertyQosPolicy_binaryStringSearchPartialCompare(const void *left,
                                                                const void *right);

/* Validation. */
int DDS_PropertyQosPolicy_validateEntityPropertyNames(
    const DDS_PropertyQosPolicy *inputProperty, const char *prefix,
    const char *const *validPublicPropertyNames, const char *const *validPrivatePropertyNames,
    const char *const *validPublicPluginPropertyNames,
    const char *const *validPrivatePluginPropertyNames, const DDS_StringSeq *omittedPrefixes,
    DDS_PropertyQosPolicyValidationAction validationAction);
int DDS_PropertyQosPolicy_isPropertyIgnored(const char *propertyName);

/* Mutability lookups: true when found, with the mutability written then only. */
int DDS_PropertyQosPolicy_findPropertyMutabilityUsingPluginDefaultNames(
    DDS_PropertyQosPolicyMutability *mutability, const char *property);
int DDS_PropertyQosPolicy_findPropertyMutabilityUsingPluginCreateFunction(
    DDS_PropertyQosPolicyMutability *mutability, const char *property,
    const DDS_PropertyQosPolicy *propertyQos);
int DDS_PropertyQosPolicy_findPropertyMutabilityUsingNonPluginDefaultNames(
    DDS_PropertyQosPolicyMutability *mutability, const char *property);
int DDS_PropertyQosPolicy_findPropertyInCustomPlugin(DDS_PropertyQosPolicyMutability *mutability,
                                                     const char *property,
                                                     const char *loadedCreateFunction);

PROPQOS_END_DECLS

#endif
