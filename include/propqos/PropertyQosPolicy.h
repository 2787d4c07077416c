/* propqos: the property-list policy module.
 *
 * A DDS_PropertyQosPolicy is a list of name/value string pairs, each with a flag that says
 * whether it travels to remote peers. This header declares every exported operation on it:
 * lifecycle and presentation form, single properties, typed values, extraction by prefix,
 * resource-limit check, saving with redaction, the transport minimum compatibility version,
 * sorted search, the plug-in prefix map and valid plug-in names, property-name validation and
 * the validation action, and mutability. Usable from C11 and C++17.
 *
 * Conventions
 * - Results. Operations that change a policy or fill an output return a DDS_ReturnCode_t
 *   (DDS_RETCODE_OK on success; NO_DATA when a name to remove is absent). The typed lookups
 *   (integer, long long, unsigned, duration, pointer) and the comparison return a DDS_Boolean:
 *   TRUE when the value was found and read. The checks, the name validation, the plug-in
 *   operations, is_consistentI, isMutabilityConsistent and lookup_boolean_propertyI return an int,
 *   1 for true or success and 0 otherwise. DDS_PropertyQosPolicy_copy returns its output, or null.
 * - Failures are also logged: a null argument is a precondition entry (<propqos/Log.h>); nothing
 *   is thrown and partial output is not rolled back.
 * - Buffers the caller provides: DDS_PropertyQosPolicy_getPluginCreateFunction writes into a
 *   caller's buffer of 255 bytes (at most 254 characters and the terminator).
 * - Ownership. The caller owns every policy and every output sequence; a sequence owns its
 *   elements' strings (DDS_String_alloc / DDS_String_dup, released by the sequence). A property
 *   returned by a lookup points into the policy: do not free it; it is valid until the policy
 *   next changes. The valid plug-in property arrays belong to the caller: free each non-null slot
 *   below the returned count with DDS_String_free, then the array with ZynOsapiHeap_freeArray.
 *   The module keeps no reference to anything after a call returns.
 * - Threads. The module has no state between calls. Calls on distinct policies may run
 *   concurrently from any number of threads; one policy is used by one thread at a time (reading
 *   calls on a policy that no thread changes may share it). The only global state is the logging
 *   service's (<propqos/Log.h>: the sink, the masks and the precondition flags), which is safe
 *   to change while other threads call the module. */
#ifndef PROPQOS_PROPERTYQOSPOLICY_H
#define PROPQOS_PROPERTYQOSPOLICY_H

#include "Export.h"

#include "Heap.h"
#include "Presentation.h"
#include "ProductVersion.h"
#include "Sequence.h"
#include "Types.h"
#include "Worker.h"
#include "XmlSave.h"

PROPQOS_BEGIN_DECLS

typedef struct DDS_PropertyQosPolicy {
    DDS_PropertySeq value;
} DDS_PropertyQosPolicy;

/* The default policy: empty, owning, initialised. Usable as a static initializer. */
#define DDS_PropertyQosPolicy_INITIALIZER {DDS_SEQUENCE_INITIALIZER}

typedef enum DDS_PropertyQosPolicyValidationAction {
    DDS_PROPERTY_QOS_POLICY_VALIDATION_ACTION_WARNING = -1,
    DDS_PROPERTY_QOS_POLICY_VALIDATION_ACTION_EXCEPTION = 0,
    DDS_PROPERTY_QOS_POLICY_VALIDATION_ACTION_SKIP = 1
} DDS_PropertyQosPolicyValidationAction;

typedef enum DDS_PropertyQosPolicyMutability {
    DDS_PROPERTY_QOS_MUTABLE = 0,
    DDS_PROPERTY_QOS_MUTABLE_UNTIL_ENABLE = 1,
    DDS_PROPERTY_QOS_IMMUTABLE = 2
} DDS_PropertyQosPolicyMutability;

/* ---- lifecycle and presentation form ---- */
void DDS_PropertyQosPolicy_get_default(DDS_PropertyQosPolicy *self);
void DDS_PropertyQosPolicy_initialize(DDS_PropertyQosPolicy *self);
DDS_PropertyQosPolicy *DDS_PropertyQosPolicy_copy(DDS_PropertyQosPolicy *out,
                                                  const DDS_PropertyQosPolicy *in);
DDS_Boolean DDS_PropertyQosPolicy_equals(const DDS_PropertyQosPolicy *left,
                                         const DDS_PropertyQosPolicy *right, DDS_Boolean remote);
void DDS_PropertyQosPolicy_finalize(DDS_PropertyQosPolicy *self);
DDS_ReturnCode_t DDS_PropertyQosPolicy_to_presentation_qos_policy(const DDS_PropertyQosPolicy *self,
                                                                  TaviPropertyQosPolicy *dst);
DDS_ReturnCode_t DDS_PropertyQosPolicy_from_presentation_qos_policy(
    DDS_PropertyQosPolicy *self, const TaviPropertyQosPolicy *src);
DDS_ReturnCode_t DDS_PropertyQosPolicy_setup_presentation_policyI(TaviPropertyQosPolicy *dst,
                                                                  DDS_Long max_property_length,
                                                                  DDS_Long max_string_length);
DDS_ReturnCode_t DDS_PropertyQosPolicy_finalize_presentation_policyI(TaviPropertyQosPolicy *self);
void DDS_PropertyQosPolicy_finalize_presentation_policy(TaviPropertyQosPolicy *self);

/* ---- single properties ---- */
DDS_Long DDS_PropertyQosPolicyHelper_get_number_of_properties(const DDS_PropertyQosPolicy *policy);
DDS_ReturnCode_t DDS_PropertyQosPolicyHelper_add_property(DDS_PropertyQosPolicy *policy,
                                                          const char *name, const char *value,
                                                          DDS_Boolean propagate);
DDS_ReturnCode_t DDS_PropertyQosPolicyHelper_assert_property(DDS_PropertyQosPolicy *policy,
                                                             const char *name, const char *value,
                                                             DDS_Boolean propagate);
DDS_ReturnCode_t DDS_PropertyQosPolicyHelper_assertPropertyWithPrefix(DDS_PropertyQosPolicy *policy,
                                                                      const char *prefix,
                                                                      const char *name,
                                                                      const char *value,
                                                                      DDS_Boolean propagate);
DDS_Property_t *DDS_PropertyQosPolicyHelper_lookup_property(const DDS_PropertyQosPolicy *policy,
                                                            const char *name);
DDS_Long DDS_PropertyQosPolicyHelper_lookup_property_index(const DDS_PropertyQosPolicy *self,
                                                           const char *name,
                                                           DDS_Property_t **outElementPtr);
DDS_Property_t *DDS_PropertyQosPolicyHelper_lookup_property_with_prefix(
    const DDS_PropertyQosPolicy *policy, const char *prefix, const char *name);
DDS_ReturnCode_t DDS_PropertyQosPolicyHelper_remove_property(DDS_PropertyQosPolicy *policy,
                                                             const char *name);

/* ---- typed values ---- */
DDS_ReturnCode_t DDS_PropertyQosPolicyHelper_add_integer_property(DDS_PropertyQosPolicy *policy,
                                                                  const char *name,
                                                                  DDS_Long integer);
DDS_ReturnCode_t DDS_PropertyQosPolicyHelper_add_unsigned_integer_property(
    DDS_PropertyQosPolicy *policy, const char *name, DDS_UnsignedLong integer);
DDS_ReturnCode_t DDS_PropertyQosPolicyHelper_add_pointer_property(DDS_PropertyQosPolicy *policy,
                                                                  const char *name,
                                                                  const void *pointer);
DDS_ReturnCode_t DDS_PropertyQosPolicyHelper_assert_pointer_property(DDS_PropertyQosPolicy *policy,
                                                                     const char *name,
                                                                     const void *pointer);
DDS_ReturnCode_t DDS_PropertyQosPolicyHelper_lookup_boolean_property(
    const DDS_PropertyQosPolicy *self, DDS_Boolean *value, const char *name,
    DDS_Boolean default_value);
int DDS_PropertyQosPolicyHelper_lookup_boolean_propertyI(const DDS_PropertyQosPolicy *self,
                                                         int *value, const char *name);
DDS_ReturnCode_t DDSPropertyQosPolicyHelper_lookupBooleanPropertyWithPrefix(
    const DDS_PropertyQosPolicy *self, DDS_Boolean *value, const char *prefix, const char *name,
    DDS_Boolean default_value);
DDS_Boolean DDS_PropertyQosPolicyHelper_lookup_integer_property(const DDS_PropertyQosPolicy *self,
                                                                DDS_Long *value, const char *name);
DDS_Boolean DDS_PropertyQosPolicyHelper_lookup_long_long_property(
    const DDS_PropertyQosPolicy *self, DDS_LongLong *value, const char *name);
DDS_Boolean DDS_PropertyQosPolicyHelper_lookup_unsigned_integer_property(
    const DDS_PropertyQosPolicy *self, DDS_UnsignedLong *value, const char *name);
DDS_Boolean DDS_PropertyQosPolicyHelper_lookup_duration_property(const DDS_PropertyQosPolicy *self,
                                                                 ZynNtpTime *value,
                                                                 const char *name);
DDS_Boolean DDS_PropertyQosPolicyHelper_lookup_pointer_property(const DDS_PropertyQosPolicy *self,
                                                                void **value, const char *name);

/* ---- extraction by prefix ---- */
DDS_ReturnCode_t DDS_PropertyQosPolicyHelper_get_properties(const DDS_PropertyQosPolicy *policy,
                                                            DDS_PropertySeq *properties,
                                                            const char *name_prefix);
DDS_ReturnCode_t DDS_PropertyQosPolicyHelper_append_properties(const DDS_PropertyQosPolicy *policy,
                                                               DDS_PropertySeq *properties,
                                                               const char *name_prefix);
DDS_ReturnCode_t DDS_PropertyQosPolicyHelper_get_properties_without_prefix(
    const DDS_PropertyQosPolicy *policy, DDS_PropertySeq *properties, const char *name_prefix,
    DDS_Boolean ignore_case);
DDS_ReturnCode_t DDS_PropertyQosPolicyHelper_getTrustPluginsProperties(
    const DDS_PropertyQosPolicy *policy, DDS_PropertySeq *properties, const char *namePrefix,
    const VorlWorker *worker);
DDS_ReturnCode_t DDS_PropertyQosPolicyHelper_get_properties_into_policy(
    const DDS_PropertyQosPolicy *policy, DDS_PropertyQosPolicy *outPolicy,
    const char *outPropertiesName);

/* ---- resource limits ---- */
int DDS_PropertyQosPolicy_is_consistentI(const DDS_PropertyQosPolicy *me,
                                         DDS_EntityKind_t entity_kind,
                                         DDS_Long property_list_max_length,
                                         DDS_Long property_string_max_length);

/* ---- saving ---- */
void DDS_PropertyQosPolicy_save(const DDS_PropertyQosPolicy *self,
                                const DDS_PropertyQosPolicy *base, ZynXMLSaveContext *dst);

/* ---- transport minimum compatibility version ---- */
void DDS_PropertyQosPolicy_getTransportMinimumCompatibilityVersion(
    const DDS_PropertyQosPolicy *self, DDS_ProductVersion_t *out, int isShmemEnabled);

/* ---- sorted search ---- */
int DDS_PropertyQosPolicy_binaryStringSearch(DDS_UnsignedLong *targetIndex, const char *target,
                                             const void *list, DDS_UnsignedLong numberOfElements,
                                             size_t elementSize, int exactMatch);

/* ---- plug-in prefix map ---- */
int DDS_PropertyQosPolicy_getPluginCreateFunction(char *createFunction,
                                                  const DDS_PropertyQosPolicy *inputProperty,
                                                  const char *pluginName);
int DDS_PropertyQosPolicy_populateTransportPluginPrefixes(DDS_TagSeq *prefixMap,
                                                          DDS_StringSeq *omittedPrefixes,
                                                          const DDS_PropertyQosPolicy *inputProperty,
                                                          const char *prefix,
                                                          const char *comparePrefix);
int DDS_PropertyQosPolicy_populatePluginPrefixesPerLoadedPlugin(
    DDS_TagSeq *prefixMap, DDS_StringSeq *omittedPrefixes,
    const DDS_PropertyQosPolicy *inputProperty);
int DDS_PropertyQosPolicy_populatePluginPrefixesPerSubtransport(
    DDS_TagSeq *prefixMap, DDS_StringSeq *omittedPrefixes,
    const DDS_PropertyQosPolicy *inputProperty);
int DDS_PropertyQosPolicy_populateBuiltinTransportPluginPrefixes(DDS_TagSeq *prefixMap);
int DDS_PropertyQosPolicy_populateFlowControllerPrefixes(DDS_TagSeq *prefixMap,
                                                         const DDS_PropertyQosPolicy *inputProperty);
int DDS_PropertyQosPolicy_populateWriterHistoryPrefixes(DDS_TagSeq *prefixMap,
                                                        const DDS_PropertyQosPolicy *inputProperty);

/* ---- valid plug-in property arrays ---- */
int DDS_PropertyQosPolicy_populatePluginProperties(char ***validPublicProperties,
                                                   char ***validPrivateProperties,
                                                   int *publicPropertiesSize,
                                                   int *privatePropertiesSize,
                                                   DDS_StringSeq *omittedPrefixes,
                                                   const DDS_PropertyQosPolicy *inputProperty,
                                                   DDS_EntityKind_t entityKind);
int DDS_PropertyQosPolicy_getValidPluginPropertiesSize(int *publicPropertiesSize,
                                                       int *privatePropertiesSize,
                                                       const char *pluginName);
int DDS_PropertyQosPolicy_populateValidPluginPropertiesPerPlugin(
    char **validPublicProperties, char **validPrivateProperties, int *publicPropertiesCurrentIndex,
    int *privatePropertiesCurrentIndex, const DDS_Tag *prefixPluginName);
int DDS_PropertyQosPolicy_addEndOfValidPluginPropertiesArray(char **validPublicProperties,
                                                             char **validPrivateProperties,
                                                             int *publicPropertiesCurrentIndex,
                                                             int *privatePropertiesCurrentIndex);

/* ---- property-name validation ---- */
int DDS_PropertyQosPolicy_validate_property_names_per_entity(
    const DDS_PropertyQosPolicy *inputProperty, DDS_EntityKind_t entityKind,
    DDS_PropertyQosPolicyValidationAction validationAction);
int DDS_PropertyQosPolicy_validate_plugin_property_suffixes(
    const DDS_PropertyQosPolicy *inputProperty, const char *prefix,
    const char *const *validPublicPluginPropertySuffixes,
    const char *const *validPrivatePluginPropertySuffixes, const char *omittedPrefix,
    DDS_PropertyQosPolicyValidationAction validationAction);
int DDS_PropertyQosPolicy_isPropertyPrivate(const char *propertyName,
                                            const char *const *validPrivatePropertyNames,
                                            const char *const *validPrivatePluginPropertyNames);
int DDS_PropertyQosPolicy_isPrefixOmitted(const char *propertyName,
                                          const DDS_StringSeq *omittedPrefixes);

/* ---- validation action ---- */
int DDS_PropertyQosPolicy_parse_property_validation_action(
    DDS_PropertyQosPolicyValidationAction *validationAction,
    const DDS_PropertyQosPolicy *inputProperty);
int DDS_PropertyQosPolicy_add_property_validation_action(
    DDS_PropertyQosPolicy *properties, DDS_PropertyQosPolicyValidationAction validationAction);

/* ---- mutability ---- */
DDS_PropertyQosPolicyMutability DDS_PropertyQosPolicyHelper_get_property_mutability(
    const char *name, const DDS_PropertyQosPolicy *policy);
int DDS_PropertyQosPolicy_isMutabilityConsistent(const DDS_PropertyQosPolicy *newProperties,
                                                 const DDS_PropertyQosPolicy *oldProperties,
                                                 int isEntityEnabled);

PROPQOS_END_DECLS

#endif
