// Every checked null argument: the result, and the one entry written. A precondition entry names
// the failed test in double quotes and raises the flag and the assertion hook; the error and
// warning entries of the operations that report a null argument in their own way do neither.
// Where an operation checks several arguments, the first null one in its order is the one named.
#include <functional>
#include <string>
#include <vector>

#include "support/TestSupport.h"

using namespace propqos_test;

namespace {

struct Row {
    const char *operation;
    std::function<long()> call;
    long result;
    int level;            // 1 precondition, 2 error, 4 warning
    std::string templateId;
    std::string argument;  // for a precondition: the test, without its quotes
};

DDS_PropertyQosPolicy g_policy = DDS_PropertyQosPolicy_INITIALIZER;
DDS_PropertySeq g_seq = DDS_SEQUENCE_INITIALIZER;
DDS_TagSeq g_map = DDS_SEQUENCE_INITIALIZER;
DDS_StringSeq g_names = DDS_SEQUENCE_INITIALIZER;
char g_buffer[255];
const char *const g_table[] = {""};
DDS_Long g_long;
DDS_Boolean g_bool;
int g_int;
char **g_array;
DDS_PropertyQosPolicyValidationAction g_action;
DDS_PropertyQosPolicyMutability g_mutability;

constexpr int P = ZYN_LOG_LEVEL_PRECONDITION, E = ZYN_LOG_LEVEL_ERROR, W = ZYN_LOG_LEVEL_WARNING;
const char *const kPre = "ZYN_LOG_PRECONDITION_FAILURE_s";
const char *const kBad = "DDS_LOG_BAD_PARAMETER_s";
const char *const kBadText = "ZYN_LOG_BAD_PARAMETER_FAILURE_TEMPLATE";
#define L(expr) [] { return static_cast<long>(expr); }
#define PTR(expr) [] { return static_cast<long>((expr) != nullptr); }

const std::vector<Row> kRows = {
    // lifecycle: warnings, not precondition failures
    {"initialize", [] { DDS_PropertyQosPolicy_initialize(nullptr); return 0L; }, 0, W, "ZYN_LOG_ANY_FAILURE_s", "bad parameter"},
    {"finalize", [] { DDS_PropertyQosPolicy_finalize(nullptr); return 0L; }, 0, W, "ZYN_LOG_ANY_FAILURE_s", "bad parameter"},
    {"copy out", PTR(DDS_PropertyQosPolicy_copy(nullptr, &g_policy)), 0, W, "ZYN_LOG_ANY_FAILURE_s", "bad parameter"},
    {"copy in", PTR(DDS_PropertyQosPolicy_copy(&g_policy, nullptr)), 0, W, "ZYN_LOG_ANY_FAILURE_s", "bad parameter"},
    {"get_default", [] { DDS_PropertyQosPolicy_get_default(nullptr); return 0L; }, 0, P, kPre, "self == ((void *)0)"},
    {"to_presentation self", L(DDS_PropertyQosPolicy_to_presentation_qos_policy(nullptr, nullptr)), 3, P, kPre, "self == ((void *)0)"},
    {"to_presentation dst", L(DDS_PropertyQosPolicy_to_presentation_qos_policy(&g_policy, nullptr)), 3, P, kPre, "dst == ((void *)0)"},
    {"from_presentation src", L(DDS_PropertyQosPolicy_from_presentation_qos_policy(&g_policy, nullptr)), 3, P, kPre, "src == ((void *)0)"},
    // single properties: error entries
    {"get_number_of_properties", L(DDS_PropertyQosPolicyHelper_get_number_of_properties(nullptr)), -1, E, kBad, "policy"},
    {"add_property", L(DDS_PropertyQosPolicyHelper_add_property(nullptr, "a", "1", 0)), 3, E, kBad, "policy"},
    {"assert_property", L(DDS_PropertyQosPolicyHelper_assert_property(nullptr, "a", "1", 0)), 3, E, kBad, "policy"},
    {"remove_property", L(DDS_PropertyQosPolicyHelper_remove_property(nullptr, "a")), 3, E, kBad, "policy"},
    {"lookup_property", PTR(DDS_PropertyQosPolicyHelper_lookup_property(nullptr, "a")), 0, E, kBadText, "Provided policy does not exist.\n"},
    {"lookup_property_index self", L(DDS_PropertyQosPolicyHelper_lookup_property_index(nullptr, "a", nullptr)), -1, E, kBadText, "Provided policy does not exist."},
    {"lookup_property_index name", L(DDS_PropertyQosPolicyHelper_lookup_property_index(&g_policy, nullptr, nullptr)), -1, E, kBadText, "Provided name does not exist."},
    {"assertPropertyWithPrefix", L(DDS_PropertyQosPolicyHelper_assertPropertyWithPrefix(nullptr, "p", "n", "v", 0)), 3, E, kBad, "policy"},
    {"lookup_property_with_prefix", PTR(DDS_PropertyQosPolicyHelper_lookup_property_with_prefix(nullptr, "p", "n")), 0, E, kBadText, "Provided policy does not exist.\n"},
    {"lookup_property_index both", L(DDS_PropertyQosPolicyHelper_lookup_property_index(nullptr, nullptr, nullptr)), -1, E, kBadText, "Provided policy does not exist."},
    // typed values: precondition failures answering ERROR
    {"lookup_boolean_property self", L(DDS_PropertyQosPolicyHelper_lookup_boolean_property(nullptr, &g_bool, "a", 0)), 1, P, kPre, "self == ((void *)0)"},
    {"lookup_boolean_property value", L(DDS_PropertyQosPolicyHelper_lookup_boolean_property(&g_policy, nullptr, "a", 0)), 1, P, kPre, "value == ((void *)0)"},
    {"lookup_boolean_property name", L(DDS_PropertyQosPolicyHelper_lookup_boolean_property(&g_policy, &g_bool, nullptr, 0)), 1, P, kPre, "name == ((void *)0)"},
    {"lookupBooleanPropertyWithPrefix name", L(DDSPropertyQosPolicyHelper_lookupBooleanPropertyWithPrefix(&g_policy, &g_bool, "p", nullptr, 0)), 1, P, kPre, "name == ((void *)0)"},
    {"lookup_boolean_propertyI", L(DDS_PropertyQosPolicyHelper_lookup_boolean_propertyI(&g_policy, nullptr, "a")), 0, P, kPre, "value == ((void *)0)"},
    {"lookup_integer_property", L(DDS_PropertyQosPolicyHelper_lookup_integer_property(&g_policy, nullptr, "a")), 0, P, kPre, "value == ((void *)0)"},
    {"lookup_pointer_property", L(DDS_PropertyQosPolicyHelper_lookup_pointer_property(&g_policy, nullptr, "a")), 0, P, kPre, "value == ((void *)0)"},
    // extraction
    {"get_propertiesI policy", L(DDS_PropertyQosPolicyHelper_get_propertiesI(nullptr, nullptr, nullptr, "f", 1, 0, 0)), 3, P, kPre, "policy == ((void *)0)"},
    {"get_propertiesI properties", L(DDS_PropertyQosPolicyHelper_get_propertiesI(&g_policy, nullptr, nullptr, "f", 1, 0, 0)), 3, P, kPre, "properties == ((void *)0)"},
    {"get_propertiesI name_prefix", L(DDS_PropertyQosPolicyHelper_get_propertiesI(&g_policy, &g_seq, nullptr, "f", 1, 0, 0)), 3, P, kPre, "name_prefix == ((void *)0)"},
    {"get_properties_without_prefix", L(DDS_PropertyQosPolicyHelper_get_properties_without_prefix(&g_policy, &g_seq, nullptr, 1)), 3, P, kPre, "name_prefix == ((void *)0)"},
    {"get_properties_without_prefix out", L(DDS_PropertyQosPolicyHelper_get_properties_without_prefix(&g_policy, nullptr, "a", 1)), 3, P, kPre, "properties == ((void *)0)"},
    {"get_properties_into_policy", L(DDS_PropertyQosPolicyHelper_get_properties_into_policy(nullptr, nullptr, nullptr)), 3, E, kBadText, "policy.\n"},
    {"get_properties_into_policy out", L(DDS_PropertyQosPolicyHelper_get_properties_into_policy(&g_policy, nullptr, "q")), 3, E, kBadText, "outPolicy.\n"},
    {"get_properties_into_policy name", L(DDS_PropertyQosPolicyHelper_get_properties_into_policy(&g_policy, &g_policy, nullptr)), 3, E, kBadText, "outPropertiesName.\n"},
    {"getTransportMinimumCompatibilityVersion", [] { DDS_ProductVersion_t v; DDS_PropertyQosPolicy_getTransportMinimumCompatibilityVersion(nullptr, &v, 1); return 0L; }, 0, P, kPre, "self == ((void *)0)"},
    {"getTransportMinimumCompatibilityVersion out", [] { DDS_PropertyQosPolicy_getTransportMinimumCompatibilityVersion(&g_policy, nullptr, 1); return 0L; }, 0, P, kPre, "out == ((void *)0)"},
    {"save", [] { ZynXMLSaveContext c = ZYN_XML_SAVE_CONTEXT_INITIALIZER; DDS_PropertyQosPolicy_save(nullptr, nullptr, &c); return 0L; }, 0, P, kPre, "self == ((void *)0)"},
    {"saveRedactingConfidentialFields", [] { ZynXMLSaveContext c = ZYN_XML_SAVE_CONTEXT_INITIALIZER; DDS_PropertySeq_saveRedactingConfidentialFields(&g_seq, nullptr, &c, "p", nullptr); return 0L; }, 0, P, kPre, "sequenceTagName == ((void *)0)"},
    {"is_consistentI", L(DDS_PropertyQosPolicy_is_consistentI(nullptr, DDS_PARTICIPANT_ENTITY_KIND, 9, 9)), 0, P, kPre, "me == ((void *)0)"},
    // ordered search and its comparison
    {"binaryStringSearch targetIndex", L(DDS_PropertyQosPolicy_binaryStringSearch(nullptr, "a", g_table, 0, sizeof(char *), 0)), 0, P, kPre, "targetIndex == ((void *)0)"},
    {"binaryStringSearch target", L(DDS_PropertyQosPolicy_binaryStringSearch(reinterpret_cast<DDS_UnsignedLong *>(&g_long), nullptr, nullptr, 0, sizeof(char *), 0)), 0, P, kPre, "target == ((void *)0)"},
    {"exact compare both", L(DDS_PropertyQosPolicy_binaryStringSearchExactCompare(nullptr, nullptr)), 0, P, kPre, "left == ((void *)0) && right == ((void *)0)"},
    {"exact compare left", L(DDS_PropertyQosPolicy_binaryStringSearchExactCompare(nullptr, g_table)), -1, P, kPre, "left == ((void *)0)"},
    {"partial compare right", L(DDS_PropertyQosPolicy_binaryStringSearchPartialCompare("a", nullptr)), 1, P, kPre, "right == ((void *)0)"},
    {"partial compare null key", [] { const char *key[] = {nullptr}; return static_cast<long>(DDS_PropertyQosPolicy_binaryStringSearchPartialCompare("a", key)); }, 1, P, kPre, "itemString == ((void *)0)"},
    {"binaryStringSearch list", L(DDS_PropertyQosPolicy_binaryStringSearch(reinterpret_cast<DDS_UnsignedLong *>(&g_long), "a", nullptr, 0, sizeof(char *), 0)), 0, P, kPre, "list == ((void *)0)"},
    // prefix map
    {"getPluginCreateFunction buffer", L(DDS_PropertyQosPolicy_getPluginCreateFunction(nullptr, nullptr, nullptr)), 0, P, kPre, "createFunction == ((void *)0)"},
    {"getPluginCreateFunction", L(DDS_PropertyQosPolicy_getPluginCreateFunction(g_buffer, nullptr, "p")), 0, P, kPre, "inputProperty == ((void *)0)"},
    {"getPluginCreateFunction name", L(DDS_PropertyQosPolicy_getPluginCreateFunction(g_buffer, &g_policy, nullptr)), 0, P, kPre, "pluginName == ((void *)0)"},
    {"populateTransportPluginPrefixes", L(DDS_PropertyQosPolicy_populateTransportPluginPrefixes(&g_map, nullptr, &g_policy, "p", "p")), 0, P, kPre, "omittedPrefixes == ((void *)0)"},
    {"populatePluginPrefixesPerLoadedPlugin", L(DDS_PropertyQosPolicy_populatePluginPrefixesPerLoadedPlugin(nullptr, &g_names, &g_policy)), 0, P, kPre, "prefixMap == ((void *)0)"},
    {"populatePluginPrefixesPerSubtransport", L(DDS_PropertyQosPolicy_populatePluginPrefixesPerSubtransport(&g_map, &g_names, nullptr)), 0, P, kPre, "inputProperty == ((void *)0)"},
    {"populateBuiltinTransportPluginPrefixes", L(DDS_PropertyQosPolicy_populateBuiltinTransportPluginPrefixes(nullptr)), 0, P, kPre, "prefixMap == ((void *)0)"},
    {"populateFlowControllerPrefixes", L(DDS_PropertyQosPolicy_populateFlowControllerPrefixes(&g_map, nullptr)), 0, P, kPre, "inputProperty == ((void *)0)"},
    // valid plug-in property arrays
    {"populatePluginProperties", L(DDS_PropertyQosPolicy_populatePluginProperties(nullptr, nullptr, &g_int, &g_int, nullptr, nullptr, DDS_PARTICIPANT_ENTITY_KIND)), 0, P, kPre, "validPublicProperties == ((void *)0)"},
    {"populatePluginProperties omitted", L(DDS_PropertyQosPolicy_populatePluginProperties(&g_array, &g_array, &g_int, &g_int, nullptr, nullptr, DDS_PARTICIPANT_ENTITY_KIND)), 0, P, kPre, "omittedPrefixes == ((void *)0)"},
    {"populatePluginProperties policy", L(DDS_PropertyQosPolicy_populatePluginProperties(&g_array, &g_array, &g_int, &g_int, &g_names, nullptr, DDS_PARTICIPANT_ENTITY_KIND)), 0, P, kPre, "inputProperty == ((void *)0)"},
    {"populateValidPluginPropertiesPerPlugin", L(DDS_PropertyQosPolicy_populateValidPluginPropertiesPerPlugin(g_array, g_array, &g_int, &g_int, nullptr)), 0, P, kPre, "validPublicProperties == ((void *)0)"},
    {"getValidPluginPropertiesSize", L(DDS_PropertyQosPolicy_getValidPluginPropertiesSize(&g_int, &g_int, nullptr)), 0, P, kPre, "pluginName == ((void *)0)"},
    {"addEndOfValidPluginPropertiesArray", L(DDS_PropertyQosPolicy_addEndOfValidPluginPropertiesArray(g_array, nullptr, &g_int, &g_int)), 0, P, kPre, "validPublicProperties == ((void *)0)"},
    // name validation
    {"validate_property_names_per_entity", L(DDS_PropertyQosPolicy_validate_property_names_per_entity(nullptr, DDS_PARTICIPANT_ENTITY_KIND, DDS_PROPERTY_QOS_POLICY_VALIDATION_ACTION_SKIP)), 0, P, kPre, "inputProperty == ((void *)0)"},
    {"validateEntityPropertyNames prefix", L(DDS_PropertyQosPolicy_validateEntityPropertyNames(&g_policy, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, DDS_PROPERTY_QOS_POLICY_VALIDATION_ACTION_SKIP)), 0, P, kPre, "prefix == ((void *)0)"},
    {"validateEntityPropertyNames private", L(DDS_PropertyQosPolicy_validateEntityPropertyNames(&g_policy, "a.", g_table, nullptr, nullptr, nullptr, nullptr, DDS_PROPERTY_QOS_POLICY_VALIDATION_ACTION_SKIP)), 0, P, kPre, "validPrivatePropertyNames == ((void *)0)"},
    {"validateEntityPropertyNames omitted", L(DDS_PropertyQosPolicy_validateEntityPropertyNames(&g_policy, "a.", g_table, g_table, nullptr, nullptr, nullptr, DDS_PROPERTY_QOS_POLICY_VALIDATION_ACTION_SKIP)), 0, P, kPre, "omittedPrefixes == ((void *)0)"},
    {"validate_plugin_property_suffixes prefix", L(DDS_PropertyQosPolicy_validate_plugin_property_suffixes(&g_policy, nullptr, nullptr, nullptr, nullptr, DDS_PROPERTY_QOS_POLICY_VALIDATION_ACTION_SKIP)), 0, P, kPre, "prefix == ((void *)0)"},
    {"isPropertyIgnored", L(DDS_PropertyQosPolicy_isPropertyIgnored(nullptr)), 0, P, kPre, "propertyName == ((void *)0)"},
    {"isPrefixOmitted omitted", L(DDS_PropertyQosPolicy_isPrefixOmitted("x", nullptr)), 0, P, kPre, "omittedPrefixes == ((void *)0)"},
    {"validate_plugin_property_suffixes", L(DDS_PropertyQosPolicy_validate_plugin_property_suffixes(&g_policy, "p", g_table, nullptr, nullptr, DDS_PROPERTY_QOS_POLICY_VALIDATION_ACTION_EXCEPTION)), 0, P, kPre, "validPrivatePluginPropertySuffixes == ((void *)0)"},
    {"isPropertyPrivate", L(DDS_PropertyQosPolicy_isPropertyPrivate("a", nullptr, g_table)), 0, P, kPre, "validPrivatePropertyNames == ((void *)0)"},
    {"isPrefixOmitted", L(DDS_PropertyQosPolicy_isPrefixOmitted(nullptr, &g_names)), 0, P, kPre, "propertyName == ((void *)0)"},
    // validation action
    {"parse_property_validation_action", L(DDS_PropertyQosPolicy_parse_property_validation_action(nullptr, &g_policy)), 0, P, kPre, "validationAction == ((void *)0)"},
    {"parse_property_validation_action policy", L(DDS_PropertyQosPolicy_parse_property_validation_action(&g_action, nullptr)), 0, P, kPre, "inputProperty == ((void *)0)"},
    {"add_property_validation_action", L(DDS_PropertyQosPolicy_add_property_validation_action(nullptr, DDS_PROPERTY_QOS_POLICY_VALIDATION_ACTION_SKIP)), 0, P, kPre, "properties == ((void *)0)"},
    // mutability
    {"get_property_mutability name", L(DDS_PropertyQosPolicyHelper_get_property_mutability(nullptr, &g_policy)), 0, P, kPre, "name == ((void *)0)"},
    {"get_property_mutability policy", L(DDS_PropertyQosPolicyHelper_get_property_mutability("a", nullptr)), 0, P, kPre, "policy == ((void *)0)"},
    {"findPropertyMutabilityUsingPluginDefaultNames", L(DDS_PropertyQosPolicy_findPropertyMutabilityUsingPluginDefaultNames(nullptr, nullptr)), 0, P, kPre, "mutability == ((void *)0)"},
    {"findPropertyMutabilityUsingNonPluginDefaultNames", L(DDS_PropertyQosPolicy_findPropertyMutabilityUsingNonPluginDefaultNames(&g_mutability, nullptr)), 0, P, kPre, "property == ((void *)0)"},
    {"findPropertyInCustomPlugin", L(DDS_PropertyQosPolicy_findPropertyInCustomPlugin(&g_mutability, "a", nullptr)), 0, P, kPre, "loadedCreateFunction == ((void *)0)"},
    {"findPropertyInCustomPlugin empty", L(DDS_PropertyQosPolicy_findPropertyInCustomPlugin(&g_mutability, "a", "")), 0, P, kPre, "strlen(loadedCreateFunction) <= 0"},
    {"isMutabilityConsistent new", L(DDS_PropertyQosPolicy_isMutabilityConsistent(nullptr, &g_policy, 1)), 0, P, kPre, "newProperties == ((void *)0)"},
    {"isMutabilityConsistent old", L(DDS_PropertyQosPolicy_isMutabilityConsistent(&g_policy, nullptr, 1)), 0, P, kPre, "oldProperties == ((void *)0)"},
};

class NullArgumentTest : public ModuleTest {};

TEST_F(NullArgumentTest, EachCheckedArgumentGivesItsResultAndItsOneEntry)
{
    for (const Row &row : kRows) {
        SCOPED_TRACE(row.operation);
        log.clear();
        ZynLog_g_preconditionDetected = 0;
        const unsigned int hooks = ZynLog_g_assertBreakpointCount;
        EXPECT_EQ(row.call(), row.result);
        const bool precondition = row.level == P;
        expectOnlyEntry(row.level, row.templateId,
                        {precondition ? "\"" + row.argument + "\"" : row.argument});
        EXPECT_EQ(ZynLog_g_preconditionDetected, precondition ? 1 : 0);
        EXPECT_EQ(ZynLog_g_assertBreakpointCount - hooks, precondition ? 1u : 0u);
    }
    // The flag follows its switch; the entry follows the masks, read anew for every entry (level
    // bits, this module's submodule bit), the hook does not.
    ZynLog_g_detectPrecondition = 0;
    ZynLog_g_preconditionDetected = 0;
    const struct {
        unsigned int instrumentation, submodules;
        size_t entries;  // of a precondition, an error and a warning entry
    } masks[] = {{0, ~0u, 0}, {ZYN_LOG_VERBOSITY_ERROR, ~0u, 2}, {ZYN_LOG_LEVEL_WARNING, ~0u, 1},
                 {ZYN_LOG_VERBOSITY_WARNING, ~0u, 3}, {ZYN_LOG_VERBOSITY_WARNING, ~static_cast<unsigned int>(DDS_SUBMODULE_MASK_PROPERTY), 0}};
    for (const auto &m : masks) {
        DDSLog_g_instrumentationMask = m.instrumentation;
        DDSLog_g_submoduleMask = m.submodules;
        const unsigned int hooks = ZynLog_g_assertBreakpointCount;
        log.clear();
        EXPECT_EQ(DDS_PropertyQosPolicy_isMutabilityConsistent(nullptr, &g_policy, 1), 0);
        DDS_PropertyQosPolicyHelper_get_number_of_properties(nullptr);
        DDS_PropertyQosPolicy_initialize(nullptr);
        EXPECT_EQ(log.size(), m.entries) << m.instrumentation << " " << m.submodules;
        EXPECT_EQ(ZynLog_g_preconditionDetected, 0);
        EXPECT_EQ(ZynLog_g_assertBreakpointCount - hooks, 1u);
    }
}

}  // namespace
