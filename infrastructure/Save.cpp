// Saving a policy as XML, with the values of confidential properties (keys, passwords, pass
// phrases) replaced so that a saved profile never carries them.
#include <cstring>

#include "infrastructure/Findings.h"
#include "infrastructure/PropertyQosPolicyInternal.h"

namespace {

// Name endings that mark a property as confidential. Each begins with '.', so the confidential
// word must be a whole last component of the name: "x.password" is one, "my_password" is not.
constexpr const char *kConfidentialSuffixes[] = {
    ".cryptography.key",
    ".key_material_key",
    ".password",
    ".private_key",
    ".private_key_file",
    ".private_key_password",
    ".rsa_private_key",
    ".rsa_private_key_file",
    ".rtps_psk_secret_passphrase",
};
constexpr const char *kRedacted = "[redacted]";

constexpr const char *kElementTag = "element";
constexpr const char *kNameTag = "name";
constexpr const char *kValueTag = "value";

void saveElement(const DDS_Property_t *property, ZynXMLSaveContext *dst)
{
    DDS_XMLHelper_save_tag(kElementTag, ZYN_XML_TAG_KIND_OPEN, dst);
    DDS_XMLHelper_save_string(kNameTag, property->name, 0, 0, dst);
    const bool confidential =
        property->name != nullptr && propqos_internal::isConfidentialName(property->name);
    DDS_XMLHelper_save_string(kValueTag, confidential ? kRedacted : property->value, 0, 0, dst);
    DDS_XMLHelper_save_tag(kElementTag, ZYN_XML_TAG_KIND_CLOSE, dst);
}

}  // namespace

namespace propqos_internal {

bool isConfidentialName(std::string_view name) noexcept
{
    for (std::string_view suffix : kConfidentialSuffixes) {
        if (suffix.size() <= name.size() &&
            name.compare(name.size() - suffix.size(), suffix.size(), suffix) == 0) {
            return true;
        }
    }
    return false;
}

}  // namespace propqos_internal

extern "C" {

int DDS_PropertyHelper_isConfidentialProperty(const char *propertyName,
                                              const char *confidentialSuffix)
{
    // Without a name there is nothing to keep secret, and without a suffix nothing to match.
    if (propertyName == nullptr || confidentialSuffix == nullptr) {
        return 0;
    }
    size_t nameLength = std::strlen(propertyName);
    size_t suffixLength = std::strlen(confidentialSuffix);
    return suffixLength <= nameLength &&
           std::memcmp(propertyName + nameLength - suffixLength, confidentialSuffix,
                       suffixLength) == 0;
}

void DDS_PropertySeq_saveRedactingConfidentialFields(const DDS_PropertySeq *self,
                                                     const DDS_PropertySeq *base,
                                                     ZynXMLSaveContext *dst,
                                                     const char *policyTagName,
                                                     const char *sequenceTagName)
{
    ZYN_PRECONDITION(ZYN_IS_NULL(self), return);
    ZYN_PRECONDITION(ZYN_IS_NULL(dst), return);
    ZYN_PRECONDITION(ZYN_IS_NULL(policyTagName), return);
    ZYN_PRECONDITION(ZYN_IS_NULL(sequenceTagName), return);
    if (dst->error != 0) {
        return;
    }

    DDS_XMLHelper_save_tag(policyTagName, ZYN_XML_TAG_KIND_OPEN, dst);
    const DDS_Long length = DDS_PropertySeq_get_length(self);
    if (length == 0 ||
        (base != nullptr && DDS_PropertySeq_equalsWithParams(self, base, DDS_BOOLEAN_FALSE))) {
        DDS_XMLHelper_save_tag(policyTagName, ZYN_XML_TAG_KIND_CLOSE, dst);
        return;
    }

    DDS_XMLHelper_save_tag(sequenceTagName, ZYN_XML_TAG_KIND_OPEN, dst);
    for (DDS_Long i = 0; i < length && dst->error == 0; ++i) {
        const DDS_Property_t *property = DDS_PropertySeq_get_reference(self, i);
        // A sound sequence always yields its elements. If this one does not, stop there but still
        // close what was opened: the elements saved so far stay a well-formed document, and the
        // precondition entry tells that the list is cut short.
        bool fetched = true;
        ZYN_PRECONDITION(ZYN_IS_NULL(property), fetched = false);
        if (!fetched) {
            break;
        }
        if (property->name == nullptr || property->value == nullptr) {
            continue;
        }
        saveElement(property, dst);
    }
    DDS_XMLHelper_save_tag(sequenceTagName, ZYN_XML_TAG_KIND_CLOSE, dst);
    DDS_XMLHelper_save_tag(policyTagName, ZYN_XML_TAG_KIND_CLOSE, dst);
}

void DDS_PropertyQosPolicy_save(const DDS_PropertyQosPolicy *self,
                                const DDS_PropertyQosPolicy *base, ZynXMLSaveContext *dst)
{
    ZYN_PRECONDITION(ZYN_IS_NULL(self), return);
    ZYN_PRECONDITION(ZYN_IS_NULL(dst), return);
    // Only a policy that differs from its base appears in the output, and then whole.
    if (base != nullptr && DDS_PropertyQosPolicy_equals(self, base, DDS_BOOLEAN_FALSE)) {
        return;
    }
    DDS_PropertySeq_saveRedactingConfidentialFields(&self->value,
                                                    base != nullptr ? &base->value : nullptr, dst,
                                                    "property", "value");
}

}  // extern "C"
