// Property-name validation, mutability, saving and the presentation form on policies built from
// the input. Besides crashes and leaks, the results are held to relations that must hold
// whatever the names: the validation actions order their verdicts, a policy is always
// mutability-consistent with itself, a saved policy measures what it writes, and the
// presentation form gives back what it was given.
#include <fuzzer/FuzzedDataProvider.h>

#include <string>

#include "fuzz/FuzzSupport.h"

using namespace propqos_fuzz;

namespace {

size_t countOccurrences(std::string_view text, std::string_view needle)
{
    size_t n = 0;
    for (size_t at = text.find(needle); at != std::string_view::npos; at = text.find(needle, at + 1)) ++n;
    return n;
}

void checkValidation(Policy &policy, DDS_EntityKind_t kind)
{
    HeapBalance balance;
    const int skip = DDS_PropertyQosPolicy_validate_property_names_per_entity(
        policy.get(), kind, DDS_PROPERTY_QOS_POLICY_VALIDATION_ACTION_SKIP);
    const int warning = DDS_PropertyQosPolicy_validate_property_names_per_entity(
        policy.get(), kind, DDS_PROPERTY_QOS_POLICY_VALIDATION_ACTION_WARNING);
    const int exception = DDS_PropertyQosPolicy_validate_property_names_per_entity(
        policy.get(), kind, DDS_PROPERTY_QOS_POLICY_VALIDATION_ACTION_EXCEPTION);
    FUZZ_CHECK(skip == 0 || skip == 1);
    // Skipping and warning fail only when the valid names could not be built; rejecting fails
    // on that and on an unknown name besides.
    FUZZ_CHECK(skip == warning);
    FUZZ_CHECK(exception <= warning);
    if (kind != DDS_PARTICIPANT_ENTITY_KIND && kind != DDS_DATAWRITER_ENTITY_KIND &&
        kind != DDS_DATAREADER_ENTITY_KIND) {
        FUZZ_CHECK(exception == 1);
    }
    // A name from the kind's own list changes nothing.
    if (kind == DDS_PARTICIPANT_ENTITY_KIND &&
        DDS_PropertyQosPolicyHelper_lookup_property(policy.get(), "dds.participant.index") == nullptr) {
        Policy more;
        FUZZ_CHECK(DDS_PropertyQosPolicy_copy(more.get(), policy.get()) == more.get());
        FUZZ_CHECK(DDS_PropertyQosPolicyHelper_add_property(more.get(), "dds.participant.index", "1",
                                                            DDS_BOOLEAN_FALSE) == DDS_RETCODE_OK);
        FUZZ_CHECK(DDS_PropertyQosPolicy_validate_property_names_per_entity(
                       more.get(), kind, DDS_PROPERTY_QOS_POLICY_VALIDATION_ACTION_EXCEPTION) ==
                   exception);
    }

    // The per-entity check knows plug-in names by their parts; the check of each prefix with the
    // composed name tables must come to the same verdict.
    const char *const *prefixes = nullptr, *const *publicNames = nullptr, *const *privateNames = nullptr;
    if (kind == DDS_PARTICIPANT_ENTITY_KIND) {
        prefixes = PROPERTY_VALID_PROPERTY_PREFIXES_DOMAINPARTICIPANT;
        publicNames = PROPERTY_VALID_PUBLIC_PROPERTIES_DOMAINPARTICIPANT;
        privateNames = PROPERTY_VALID_PRIVATE_PROPERTIES_DOMAINPARTICIPANT;
    } else if (kind == DDS_DATAWRITER_ENTITY_KIND) {
        prefixes = PROPERTY_VALID_PROPERTY_PREFIXES_DATAWRITER;
        publicNames = PROPERTY_VALID_PUBLIC_PROPERTIES_DATAWRITER;
        privateNames = PROPERTY_VALID_PRIVATE_PROPERTIES_DATAWRITER;
    }
    if (prefixes != nullptr) {
        char **open = nullptr, **secret = nullptr;
        int openSize = 1, secretSize = 1;
        DDS_StringSeq omitted = DDS_SEQUENCE_INITIALIZER;
        if (DDS_PropertyQosPolicy_populatePluginProperties(&open, &secret, &openSize, &secretSize,
                                                           &omitted, policy.get(), kind)) {
            int composed = 1;
            for (const char *const *prefix = prefixes; composed && (*prefix)[0] != '\0'; ++prefix) {
                composed = DDS_PropertyQosPolicy_validateEntityPropertyNames(
                    policy.get(), *prefix, publicNames, privateNames, open, secret, &omitted,
                    DDS_PROPERTY_QOS_POLICY_VALIDATION_ACTION_EXCEPTION);
            }
            FUZZ_CHECK(composed == exception);
        }
        for (int i = 0; open != nullptr && i < openSize; ++i) DDS_String_free(open[i]);
        for (int i = 0; secret != nullptr && i < secretSize; ++i) DDS_String_free(secret[i]);
        ZynOsapiHeap_freeArray(open);
        ZynOsapiHeap_freeArray(secret);
        DDS_StringSeq_finalize(&omitted);
    }

    DDS_PropertyQosPolicyValidationAction action = DDS_PROPERTY_QOS_POLICY_VALIDATION_ACTION_SKIP;
    if (DDS_PropertyQosPolicy_parse_property_validation_action(&action, policy.get())) {
        FUZZ_CHECK(action == DDS_PROPERTY_QOS_POLICY_VALIDATION_ACTION_WARNING ||
                   action == DDS_PROPERTY_QOS_POLICY_VALIDATION_ACTION_EXCEPTION ||
                   action == DDS_PROPERTY_QOS_POLICY_VALIDATION_ACTION_SKIP);
    }
}

void checkPluginSuffixes(Policy &policy, const std::string &prefix)
{
    HeapBalance balance;
    Seq relative;
    DDS_PropertyQosPolicyHelper_get_properties_without_prefix(policy.get(), relative.get(),
                                                              prefix.c_str(), DDS_BOOLEAN_FALSE);
    DDS_PropertyQosPolicy plugin = DDS_PropertyQosPolicy_INITIALIZER;
    DDS_PropertySeq_copy(&plugin.value, relative.get());
    static const char *const publicSuffixes[] = {"socket.send_buffer_size", "aliases", "library", ""};
    static const char *const privateSuffixes[] = {"private_key", ""};
    const int warning = DDS_PropertyQosPolicy_validate_plugin_property_suffixes(
        &plugin, prefix.c_str(), publicSuffixes, privateSuffixes, nullptr,
        DDS_PROPERTY_QOS_POLICY_VALIDATION_ACTION_WARNING);
    const int exception = DDS_PropertyQosPolicy_validate_plugin_property_suffixes(
        &plugin, prefix.c_str(), publicSuffixes, privateSuffixes, "omitted",
        DDS_PROPERTY_QOS_POLICY_VALIDATION_ACTION_EXCEPTION);
    FUZZ_CHECK(warning == 1);
    FUZZ_CHECK(exception == 0 || exception == 1);
    DDS_PropertyQosPolicy_finalize(&plugin);
}

void checkMutability(Policy &policy, const std::string &changedValue, bool enabled)
{
    HeapBalance balance;
    // A policy never conflicts with itself: nothing in it is new or changed.
    FUZZ_CHECK(DDS_PropertyQosPolicy_isMutabilityConsistent(policy.get(), policy.get(), enabled) == 1);
    for (DDS_Long i = 0; i < policy.size() && i < 64; ++i) {
        const char *name = policy.at(i).name;
        if (name == nullptr) continue;
        const DDS_PropertyQosPolicyMutability m =
            DDS_PropertyQosPolicyHelper_get_property_mutability(name, policy.get());
        FUZZ_CHECK(m == DDS_PROPERTY_QOS_MUTABLE || m == DDS_PROPERTY_QOS_MUTABLE_UNTIL_ENABLE ||
                   m == DDS_PROPERTY_QOS_IMMUTABLE);
    }
    if (policy.size() == 0) return;
    // One value changed: refused exactly when that property may not change now.
    Policy changed;
    DDS_PropertyQosPolicy_copy(changed.get(), policy.get());
    DDS_Property_t *first = DDS_PropertySeq_get_reference(&changed.get()->value, 0);
    const std::string name = first->name;
    const bool sameValue = changedValue == first->value;
    DDS_String_free(first->value);
    first->value = DDS_String_dup(changedValue.c_str());
    FUZZ_CHECK(first->value != nullptr);
    const int consistent = DDS_PropertyQosPolicy_isMutabilityConsistent(changed.get(), policy.get(), enabled);
    FUZZ_CHECK(consistent == 0 || consistent == 1);
    if (sameValue) FUZZ_CHECK(consistent == 1);
}

void checkSave(Policy &policy)
{
    HeapBalance balance;
    ZynXMLSaveContext measure = ZYN_XML_SAVE_CONTEXT_INITIALIZER;
    DDS_PropertyQosPolicy_save(policy.get(), nullptr, &measure);
    FUZZ_CHECK(measure.error == 0);
    std::string buffer(measure.outputStringLength + 1, '\x7f');
    ZynXMLSaveContext write = ZYN_XML_SAVE_CONTEXT_INITIALIZER;
    write.sout = buffer.data();
    write.ssize = DDS_UnsignedLong(buffer.size());
    DDS_PropertyQosPolicy_save(policy.get(), nullptr, &write);
    FUZZ_CHECK(write.error == 0);
    FUZZ_CHECK(write.outputStringLength == measure.outputStringLength);
    FUZZ_CHECK(std::strlen(buffer.c_str()) == measure.outputStringLength);
    // Names and values are escaped, so the element tags are exactly those written.
    size_t elements = 0;
    for (DDS_Long i = 0; i < policy.size(); ++i) {
        if (policy.at(i).name != nullptr && policy.at(i).value != nullptr) ++elements;
    }
    FUZZ_CHECK(countOccurrences(buffer.c_str(), "<element>") == elements);
    // Saving against an equal base writes nothing.
    ZynXMLSaveContext same = ZYN_XML_SAVE_CONTEXT_INITIALIZER;
    DDS_PropertyQosPolicy_save(policy.get(), policy.get(), &same);
    FUZZ_CHECK(same.outputStringLength == 0);
    // A buffer one character short is refused, not overrun.
    if (measure.outputStringLength > 0) {
        std::string small(measure.outputStringLength, '\0');
        ZynXMLSaveContext shortWrite = ZYN_XML_SAVE_CONTEXT_INITIALIZER;
        shortWrite.sout = small.data();
        shortWrite.ssize = DDS_UnsignedLong(small.size());
        DDS_PropertyQosPolicy_save(policy.get(), nullptr, &shortWrite);
        FUZZ_CHECK(shortWrite.error != 0);
    }
}

void checkPresentation(Policy &policy)
{
    HeapBalance balance;
    long characters = 0;
    for (DDS_Long i = 0; i < policy.size(); ++i) {
        characters += long(std::strlen(policy.at(i).name)) + long(std::strlen(policy.at(i).value)) + 2;
    }
    TaviPropertyQosPolicy form{};
    FUZZ_CHECK(DDS_PropertyQosPolicy_setup_presentation_policyI(&form, policy.size(), DDS_Long(characters)) ==
               DDS_RETCODE_OK);
    FUZZ_CHECK(DDS_PropertyQosPolicy_to_presentation_qos_policy(policy.get(), &form) == DDS_RETCODE_OK);
    Policy back;
    FUZZ_CHECK(DDS_PropertyQosPolicy_from_presentation_qos_policy(back.get(), &form) == DDS_RETCODE_OK);
    FUZZ_CHECK(DDS_PropertyQosPolicy_equals(back.get(), policy.get(), DDS_BOOLEAN_FALSE));
    DDS_PropertyQosPolicy_finalize_presentation_policy(&form);
    // One character too few is refused.
    if (characters > 0) {
        TaviPropertyQosPolicy tight{};
        FUZZ_CHECK(DDS_PropertyQosPolicy_setup_presentation_policyI(&tight, policy.size(),
                                                                    DDS_Long(characters - 1)) ==
                   DDS_RETCODE_OK);
        FUZZ_CHECK(DDS_PropertyQosPolicy_to_presentation_qos_policy(policy.get(), &tight) ==
                   DDS_RETCODE_OUT_OF_RESOURCES);
        DDS_PropertyQosPolicy_finalize_presentation_policy(&tight);
    }
}

void checkRest(Policy &policy, uint8_t flags)
{
    HeapBalance balance;
    const DDS_Long count = policy.size();
    FUZZ_CHECK(DDS_PropertyQosPolicy_is_consistentI(policy.get(), DDS_PARTICIPANT_ENTITY_KIND, count, 1 << 30) ==
               1);
    if (count > 0) {
        FUZZ_CHECK(DDS_PropertyQosPolicy_is_consistentI(policy.get(), DDS_PARTICIPANT_ENTITY_KIND, count - 1,
                                                        1 << 30) == 0);
    }
    DDS_ProductVersion_t version{0, 0, 0, 0};
    DDS_PropertyQosPolicy_getTransportMinimumCompatibilityVersion(policy.get(), &version, flags & 1);
    Policy copy;
    FUZZ_CHECK(DDS_PropertyQosPolicy_copy(copy.get(), policy.get()) == copy.get());
    FUZZ_CHECK(DDS_PropertyQosPolicy_equals(copy.get(), policy.get(), DDS_BOOLEAN_FALSE));
    FUZZ_CHECK(DDS_PropertyQosPolicy_equals(copy.get(), policy.get(), DDS_BOOLEAN_TRUE));
    DDS_PropertyQosPolicyValidationAction action = DDS_PropertyQosPolicyValidationAction(int(flags % 3) - 1);
    // Written under the short name; read from the full name first, then the short one.
    const bool had =
        DDS_PropertyQosPolicyHelper_lookup_property(copy.get(), "dds.participant.property_validation_action") ||
        DDS_PropertyQosPolicyHelper_lookup_property(copy.get(), "property_validation_action");
    if (DDS_PropertyQosPolicy_add_property_validation_action(copy.get(), action) && !had) {
        DDS_PropertyQosPolicyValidationAction read = DDS_PROPERTY_QOS_POLICY_VALIDATION_ACTION_SKIP;
        FUZZ_CHECK(DDS_PropertyQosPolicy_parse_property_validation_action(&read, copy.get()));
        FUZZ_CHECK(read == action);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    silenceLog();
    if (size > 16384) return 0;
    FuzzedDataProvider input(data, size);
    const DDS_EntityKind_t kind = DDS_EntityKind_t(input.ConsumeIntegralInRange<int>(0, 6));
    const uint8_t flags = input.ConsumeIntegral<uint8_t>();
    const std::string prefix = input.ConsumeRandomLengthString(80);
    const std::string changedValue = input.ConsumeRandomLengthString(40);
    const std::string rest = input.ConsumeRemainingBytesAsString();

    HeapBalance balance;
    Policy policy(splitLines(rest, 200), true);
    checkValidation(policy, kind);
    checkPluginSuffixes(policy, prefix);
    checkMutability(policy, changedValue.c_str(), (flags & 2) != 0);
    checkSave(policy);
    checkPresentation(policy);
    checkRest(policy, flags);
    return 0;
}
