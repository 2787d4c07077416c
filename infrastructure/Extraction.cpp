// Extraction by prefix: the engine and its users (get, append, without prefix, the security
// plug-ins' set, into a second policy).
#include <cstdint>
#include <cstring>

#include "infrastructure/PropertyQosPolicyInternal.h"
#include "platform/StringStorage.h"

namespace {

using propqos_platform::StringCarver;

constexpr const char *kSecurityPrefix = "dds.sec.";
constexpr size_t kPrefixCapacity = 1023;
constexpr const char kPrefixName[] = "prefix";
constexpr const char *kEngineFunction = "DDS_PropertyQosPolicyHelper_get_propertiesI";

inline unsigned char lower(unsigned char c)
{
    return (c >= 'A' && c <= 'Z') ? static_cast<unsigned char>(c + ('a' - 'A')) : c;
}

// A name is selected when the prefix occurs at its very start. Comparing only the prefix's
// length gives the same answer as searching for the first occurrence, without scanning the rest.
// `roomKnown`: the name comes from the module's allocator (the source owns its strings), whose
// header gives the room it may be read in; the prefix is then compared a word at a time.
bool beginsWith(const char *name, const char *prefix, size_t prefixLength, bool ignoreCase,
                bool roomKnown = false)
{
    if (name == nullptr) {
        return false;
    }
    if (!ignoreCase && roomKnown) {
        const uint32_t room = propqos_platform::headerOf(name).room;
        if (room != UINT32_MAX) {
            if (room < prefixLength) {
                return false;   // the name is shorter than the prefix
            }
            size_t at = 0;
            for (; at + 8 <= prefixLength; at += 8) {
                uint64_t left, right;
                std::memcpy(&left, name + at, sizeof left);
                std::memcpy(&right, prefix + at, sizeof right);
                if (left != right) {
                    return false;
                }
            }
            for (; at < prefixLength; ++at) {
                if (name[at] != prefix[at]) {
                    return false;
                }
            }
            return true;
        }
    }
    if (!ignoreCase) {
        return std::strncmp(name, prefix, prefixLength) == 0;
    }
    for (size_t i = 0; i < prefixLength; ++i) {
        // Most characters agree exactly; only the others need folding.
        if (name[i] != prefix[i] &&
            lower(static_cast<unsigned char>(name[i])) != lower(static_cast<unsigned char>(prefix[i]))) {
            return false;
        }
    }
    return true;
}

// True when `out` is, or shares its storage with, the sequence `policy` holds: filling it would
// release or move the very elements being read. Null arguments are refused elsewhere.
bool aliasesPolicy(const DDS_PropertySeq *out, const DDS_PropertyQosPolicy *policy)
{
    if (out == nullptr || policy == nullptr) {
        return false;
    }
    return out == &policy->value ||
           (out->_contiguous_buffer != nullptr &&
            out->_contiguous_buffer == policy->value._contiguous_buffer);
}

// Entries of getTrustPluginsProperties are written when the module's masks allow the error
// level, or when the worker's activity asks for errors of a category the log wants.
bool trustEntryEnabled(const VorlWorker *worker)
{
    if (ZynLog_isEnabled(ZYN_LOG_LEVEL_ERROR)) {
        return true;
    }
    return worker != nullptr && worker->_activityContext != nullptr &&
           (worker->_activityContext->categoryMask & ZynLog_getCategoryMask(ZYN_LOG_LEVEL_ERROR)) != 0;
}

// Stores `fresh` in an element's string slot. The old string is released only when the sequence
// owns it: strings in lent storage are the lender's.
void replaceString(const DDS_PropertySeq *sequence, char *&slot, char *fresh)
{
    if (slot != nullptr && DDS_PropertySeq_has_ownership(sequence)) {
        DDS_String_free(slot);
    }
    slot = fresh;
}

// The copy of one selected property, its strings (of the lengths given, SIZE_MAX: to be
// measured) carved by `carver`: what
// DDS_PropertySeq_copy_element (skip 0) or DDS_PropertySeq_copy_property_without_prefix (skip:
// the prefix's length) make, without an allocation per string. Null on exhaustion, with the
// destination as it was.
DDS_Property_t *copySelected(DDS_Property_t *dst, const DDS_Property_t *src, size_t skip,
                             StringCarver &carver, size_t nameLength, size_t valueLength)
{
    const char *name = src->name + skip;
    char *nameCopy = carver.carve(name, nameLength != SIZE_MAX ? nameLength : std::strlen(name));
    if (nameCopy == nullptr) {
        return nullptr;
    }
    char *valueCopy = nullptr;
    if (src->value != nullptr &&
        (valueCopy = carver.carve(src->value, valueLength != SIZE_MAX ? valueLength
                                                                      : std::strlen(src->value))) == nullptr) {
        DDS_String_free(nameCopy);
        return nullptr;
    }
    if (dst->name != nullptr) {
        DDS_String_free(dst->name);
    }
    if (dst->value != nullptr) {
        DDS_String_free(dst->value);
    }
    dst->name = nameCopy;
    dst->value = valueCopy;
    dst->propagate = src->propagate;
    return dst;
}

// Adds a string of `length` characters to what a carver is to share.
void measure(size_t length, size_t &strings, size_t &characters)
{
    if (StringCarver::shared(length)) {
        ++strings;
        characters += length;
    }
}

// The engine. The strings of its copies are carved by `carver`, in a block reserved with room
// for `extraStrings` strings of `extraCharacters` characters more, which the caller carves after.
DDS_ReturnCode_t extract(const DDS_PropertyQosPolicy *policy, DDS_PropertySeq *properties,
                         const char *name_prefix, const char *functionName, int keepPrefix,
                         int ignoreCase, int appendToDst, StringCarver &carver,
                         size_t extraStrings, size_t extraCharacters)
{
    ZYN_PRECONDITION_IN(kEngineFunction, ZYN_IS_NULL(policy), return DDS_RETCODE_BAD_PARAMETER);
    ZYN_PRECONDITION_IN(kEngineFunction, ZYN_IS_NULL(properties), return DDS_RETCODE_BAD_PARAMETER);
    ZYN_PRECONDITION_IN(kEngineFunction, ZYN_IS_NULL(name_prefix), return DDS_RETCODE_BAD_PARAMETER);
    ZYN_PRECONDITION_IN(kEngineFunction, aliasesPolicy(properties, policy), return DDS_RETCODE_BAD_PARAMETER);

    const DDS_PropertySeq *source = &policy->value;
    DDS_Long maximum = DDS_PropertySeq_get_maximum(properties);
    DDS_Long sourceMaximum = DDS_PropertySeq_get_maximum(source);
    if (DDS_PropertySeq_has_ownership(properties) && sourceMaximum > maximum) {
        if (!DDS_PropertySeq_set_maximum(properties, sourceMaximum)) {
            ZYN_LOG_IN(functionName, ZYN_LOG_LEVEL_ERROR, DDS_LOG_SET_FAILURE_s, "maximum");
            return DDS_RETCODE_ERROR;
        }
        maximum = sourceMaximum;
    }
    DDS_Long count = DDS_PropertySeq_get_length(source);
    if (!appendToDst && !DDS_PropertySeq_set_length(properties, 0)) {
        ZYN_LOG_IN(functionName, ZYN_LOG_LEVEL_ERROR, DDS_LOG_SET_FAILURE_s, "length");
        return DDS_RETCODE_ERROR;
    }
    DDS_Long length = DDS_PropertySeq_get_length(properties);
    size_t prefixLength = std::strlen(name_prefix);
    const size_t skip = keepPrefix ? 0 : prefixLength;
    const bool ownedSource = DDS_PropertySeq_has_ownership(source) != 0;

    // The source is taken in windows of kWindow elements. A first pass over a window finds what
    // the loop below will select in it and can hold, and the lengths of the strings to copy; the
    // loop then copies them into one block carved for the window, reading each string once more
    // while it is still in cache, without measuring or matching it again. The last window's
    // block is the caller's `carver`, with room for the extra strings; the others have their own.
    constexpr DDS_Long kWindow = 256;
    uint64_t selected[kWindow / 64];
    size_t nameLengths[kWindow];
    size_t valueLengths[kWindow];
    DDS_Long room = appendToDst ? count : maximum - length;   // selections the output can take
    if (count == 0) {
        carver.reserve(extraStrings, extraCharacters);
    }
    for (DDS_Long start = 0; start < count; start += kWindow) {
        const DDS_Long end = count - start > kWindow ? start + kWindow : count;
        StringCarver own;
        StringCarver &windowCarver = end == count ? carver : own;
        size_t strings = end == count ? extraStrings : 0;
        size_t characters = end == count ? extraCharacters : 0;
        std::memset(selected, 0, sizeof selected);
        DDS_Long examined = start;   // [start, examined) went through the first pass
        for (; examined < end && room > 0; ++examined) {
            // Within the length of a sequence that has one: the element is there.
            const DDS_Property_t *propertySrc = source->_contiguous_buffer + examined;
            if (!beginsWith(propertySrc->name, name_prefix, prefixLength, ignoreCase != 0,
                            ownedSource)) {
                continue;
            }
            --room;
            const DDS_Long at = examined - start;
            selected[at / 64] |= uint64_t{1} << (at % 64);
            nameLengths[at] = std::strlen(propertySrc->name + skip);
            measure(nameLengths[at], strings, characters);
            valueLengths[at] = propertySrc->value != nullptr ? std::strlen(propertySrc->value) : 0;
            if (propertySrc->value != nullptr) {
                measure(valueLengths[at], strings, characters);
            }
        }
        windowCarver.reserve(strings, characters);

        for (DDS_Long i = start; i < end; ++i) {
            const DDS_Long at = i - start;
            if (i < examined && (selected[at / 64] >> (at % 64) & 1) == 0) {
                continue;   // found present and not selected by the first pass
            }
            const DDS_Property_t *propertySrc = DDS_PropertySeq_get_reference(source, i);
            ZYN_PRECONDITION_IN(kEngineFunction, ZYN_IS_NULL(propertySrc), return DDS_RETCODE_ERROR);
            if (i >= examined && !beginsWith(propertySrc->name, name_prefix, prefixLength,
                                             ignoreCase != 0, ownedSource)) {
                continue;
            }
            if (length == maximum) {
                if (!appendToDst) {
                    ZYN_LOG_IN(functionName, ZYN_LOG_LEVEL_WARNING, ZYN_LOG_ANY_FAILURE_s,
                               "sequence out of space");
                    return DDS_RETCODE_OUT_OF_RESOURCES;
                }
                ++maximum;
                if (!DDS_PropertySeq_set_maximum(properties, maximum)) {
                    ZYN_LOG_IN(functionName, ZYN_LOG_LEVEL_ERROR, DDS_LOG_SET_FAILURE_s, "maximum");
                    return DDS_RETCODE_ERROR;
                }
            }
            ++length;
            if (!DDS_PropertySeq_set_length(properties, length)) {
                ZYN_LOG_IN(functionName, ZYN_LOG_LEVEL_ERROR, DDS_LOG_SET_FAILURE_s, "length");
                return DDS_RETCODE_ERROR;
            }
            DDS_Property_t *propertyDst = DDS_PropertySeq_get_reference(properties, length - 1);
            ZYN_PRECONDITION_IN(kEngineFunction, ZYN_IS_NULL(propertyDst), return DDS_RETCODE_ERROR);
            const bool measured = i < examined;
            if (copySelected(propertyDst, propertySrc, skip, windowCarver,
                             measured ? nameLengths[at] : SIZE_MAX,
                             measured ? valueLengths[at] : SIZE_MAX) == nullptr) {
                ZYN_LOG_IN(functionName, ZYN_LOG_LEVEL_ERROR, ZYN_LOG_ANY_FAILURE_s, "copy");
                return DDS_RETCODE_ERROR;
            }
        }
    }
    return DDS_RETCODE_OK;
}

}  // namespace

extern "C" {

DDS_ReturnCode_t DDS_PropertyQosPolicyHelper_get_propertiesI(const DDS_PropertyQosPolicy *policy,
                                                             DDS_PropertySeq *properties,
                                                             const char *name_prefix,
                                                             const char *functionName,
                                                             int keepPrefix, int ignoreCase,
                                                             int appendToDst)
{
    StringCarver carver;
    return extract(policy, properties, name_prefix, functionName, keepPrefix, ignoreCase,
                   appendToDst, carver, 0, 0);
}

DDS_ReturnCode_t DDS_PropertyQosPolicyHelper_get_properties(const DDS_PropertyQosPolicy *policy,
                                                            DDS_PropertySeq *properties,
                                                            const char *name_prefix)
{
    return DDS_PropertyQosPolicyHelper_get_propertiesI(
        policy, properties, name_prefix, "DDS_PropertyQosPolicyHelper_get_properties", 1, 0, 0);
}

DDS_ReturnCode_t DDS_PropertyQosPolicyHelper_append_properties(const DDS_PropertyQosPolicy *policy,
                                                               DDS_PropertySeq *properties,
                                                               const char *name_prefix)
{
    return DDS_PropertyQosPolicyHelper_get_propertiesI(
        policy, properties, name_prefix, "DDS_PropertyQosPolicyHelper_append_properties", 1, 0, 1);
}

DDS_ReturnCode_t DDS_PropertyQosPolicyHelper_get_properties_without_prefix(
    const DDS_PropertyQosPolicy *policy, DDS_PropertySeq *properties, const char *name_prefix,
    DDS_Boolean ignore_case)
{
    // A null prefix is refused the engine's way before it is measured.
    ZYN_PRECONDITION(ZYN_IS_NULL(name_prefix), return DDS_RETCODE_BAD_PARAMETER);
    // The prefix entry below must not be added to a policy that was refused as its own output.
    ZYN_PRECONDITION(aliasesPolicy(properties, policy), return DDS_RETCODE_BAD_PARAMETER);
    char prefix[kPrefixCapacity + 1];
    prefix[0] = '\0';   // the bounded copy terminates what it writes
    size_t prefixLength = std::strlen(name_prefix);
    if (ZynOsapiUtility_strncpy(prefix, kPrefixCapacity, name_prefix, prefixLength) == nullptr) {
        ZYN_LOG_TEXT(ZYN_LOG_LEVEL_ERROR, ZYN_LOG_FAILED_TO_INITIALIZE_TEMPLATE, "Prefix name");
        return DDS_RETCODE_ERROR;
    }
    if ((prefixLength == 0 || name_prefix[prefixLength - 1] != '.') &&
        ZynOsapiUtility_strncat(prefix, kPrefixCapacity, ".", 1) == nullptr) {
        ZYN_LOG_TEXT(ZYN_LOG_LEVEL_ERROR, ZYN_LOG_FAILED_TO_ADD_TEMPLATE, "'.' to the prefix name");
        return DDS_RETCODE_ERROR;
    }
    // The prefix entry's two strings are carved from the engine's block.
    const size_t entryLength = std::strlen(prefix);
    StringCarver carver;
    DDS_ReturnCode_t result = extract(policy, properties, prefix,
                                      "DDS_PropertyQosPolicyHelper_get_properties_without_prefix", 0,
                                      ignore_case, 0, carver, 2, sizeof kPrefixName - 1 + entryLength);
    if (properties == nullptr) {
        return result;
    }

    // The entry "prefix" tells the plug-in what was stripped; failing to add it is only a
    // warning and leaves the engine's result.
    DDS_Long length = DDS_PropertySeq_get_length(properties);
    if (!DDS_PropertySeq_ensure_length(properties, length + 1, length + 1)) {
        ZYN_LOG_TEXT(ZYN_LOG_LEVEL_WARNING, ZYN_LOG_FAILED_TO_ALLOCATE_TEMPLATE, "Prefix property");
        return result;
    }
    DDS_Property_t *entry = DDS_PropertySeq_get_reference(properties, length);
    if (entry == nullptr) {
        ZYN_LOG_TEXT(ZYN_LOG_LEVEL_WARNING, ZYN_LOG_FAILED_TO_ADD_TEMPLATE, "Prefix property");
        return result;
    }
    entry->name = carver.carve(kPrefixName, sizeof kPrefixName - 1);
    if (entry->name == nullptr) {
        ZYN_LOG_TEXT(ZYN_LOG_LEVEL_WARNING, ZYN_LOG_FAILED_TO_ADD_TEMPLATE, "Name of the prefix property");
    } else {
        entry->value = carver.carve(prefix, entryLength);
        if (entry->value != nullptr) {
            return result;
        }
        ZYN_LOG_TEXT(ZYN_LOG_LEVEL_WARNING, ZYN_LOG_FAILED_TO_ADD_TEMPLATE,
                     "Value of the prefix property");
    }
    if (entry->name != nullptr) {
        DDS_String_free(entry->name);
        entry->name = nullptr;
    }
    if (!DDS_PropertySeq_set_length(properties, length)) {
        ZYN_LOG_TEXT(ZYN_LOG_LEVEL_WARNING, ZYN_LOG_FAILED_TO_SET_TEMPLATE, "Length for prefix property");
    }
    return result;
}

DDS_ReturnCode_t DDS_PropertyQosPolicyHelper_getTrustPluginsProperties(
    const DDS_PropertyQosPolicy *policy, DDS_PropertySeq *properties, const char *namePrefix,
    const VorlWorker *worker)
{
    DDS_ReturnCode_t result = DDS_PropertyQosPolicyHelper_get_properties_without_prefix(
        policy, properties, namePrefix, DDS_BOOLEAN_TRUE);
    if (result != DDS_RETCODE_OK) {
        // A null prefix has been refused above; printf is not to be handed it.
        if (trustEntryEnabled(worker)) {
            ZynLogMessageParamString_printWithParams(
                -1, ZYN_LOG_LEVEL_ERROR, ZYN_LOG_MODULE_ID, __FILE__, __LINE__, __func__,
                &ZYN_LOG_FAILED_TO_GET_TEMPLATE, "Properties without prefix %s for security plugin.",
                namePrefix != nullptr ? namePrefix : "NULL");
        }
        return result;
    }
    result = DDS_PropertyQosPolicyHelper_append_properties(policy, properties, kSecurityPrefix);
    if (result != DDS_RETCODE_OK) {
        if (trustEntryEnabled(worker)) {
            ZynLogMessageParamString_printWithParams(
                -1, ZYN_LOG_LEVEL_ERROR, ZYN_LOG_MODULE_ID, __FILE__, __LINE__, __func__,
                &ZYN_LOG_FAILED_TO_ADD_TEMPLATE, "\"%s\" prefix to the security properties.\n",
                kSecurityPrefix);
        }
        return result;
    }
    return DDS_RETCODE_OK;
}

DDS_ReturnCode_t DDS_PropertyQosPolicyHelper_get_properties_into_policy(
    const DDS_PropertyQosPolicy *policy, DDS_PropertyQosPolicy *outPolicy,
    const char *outPropertiesName)
{
    if (policy == nullptr) {
        ZYN_LOG_TEXT(ZYN_LOG_LEVEL_ERROR, ZYN_LOG_BAD_PARAMETER_FAILURE_TEMPLATE, "policy.\n");
        return DDS_RETCODE_BAD_PARAMETER;
    }
    if (outPolicy == nullptr) {
        ZYN_LOG_TEXT(ZYN_LOG_LEVEL_ERROR, ZYN_LOG_BAD_PARAMETER_FAILURE_TEMPLATE, "outPolicy.\n");
        return DDS_RETCODE_BAD_PARAMETER;
    }
    if (outPropertiesName == nullptr) {
        ZYN_LOG_TEXT(ZYN_LOG_LEVEL_ERROR, ZYN_LOG_BAD_PARAMETER_FAILURE_TEMPLATE,
                     "outPropertiesName.\n");
        return DDS_RETCODE_BAD_PARAMETER;
    }
    DDS_PropertySeq selected;
    if (!DDS_PropertySeq_initialize(&selected)) {
        ZYN_LOG_TEXT(ZYN_LOG_LEVEL_ERROR, ZYN_LOG_INITIALIZE_TEMPLATE, "property sequence.\n");
        return DDS_RETCODE_ERROR;
    }
    DDS_ReturnCode_t result = DDS_RETCODE_ERROR;
    const size_t skip = std::strlen(outPropertiesName) + 1;
    DDS_Long count = 0;
    if (DDS_PropertyQosPolicyHelper_get_properties(policy, &selected, outPropertiesName) !=
        DDS_RETCODE_OK) {
        ZYN_LOG_TEXT(ZYN_LOG_LEVEL_ERROR, ZYN_LOG_FAILED_TO_GET_TEMPLATE,
                     "properties for the suffix %s.\n", outPropertiesName);
        goto finish;
    }
    count = DDS_PropertySeq_get_length(&selected);
    if (!DDS_PropertySeq_ensure_length(&outPolicy->value, count, count)) {
        ZYN_LOG_TEXT(ZYN_LOG_LEVEL_ERROR, ZYN_LOG_FAILED_TO_SET_TEMPLATE,
                     "length to the properties sequence for the suffix %s.\n", outPropertiesName);
        goto finish;
    }
    for (DDS_Long i = 0; i < count; ++i) {
        const DDS_Property_t *from = DDS_PropertySeq_get_reference(&selected, i);
        DDS_Property_t *to = DDS_PropertySeq_get_reference(&outPolicy->value, i);
        if (from == nullptr || to == nullptr) {
            continue;
        }
        // The prefix and the one separator character after it are dropped, whatever it is.
        const char *shortName = std::strlen(from->name) >= skip ? from->name + skip : "";
        char *name = DDS_String_dup(shortName);
        if (name == nullptr) {
            ZYN_LOG_TEXT(ZYN_LOG_LEVEL_ERROR, ZYN_LOG_FAILED_TO_COPY_TEMPLATE,
                         "Property name '%s' with the suffix '%s'.\n", shortName, outPropertiesName);
            goto finish;
        }
        // What an owning out policy held in this slot is replaced, not leaked.
        replaceString(&outPolicy->value, to->name, name);
        char *value = nullptr;
        if (from->value != nullptr && (value = DDS_String_dup(from->value)) == nullptr) {
            ZYN_LOG_TEXT(ZYN_LOG_LEVEL_ERROR, ZYN_LOG_FAILED_TO_COPY_TEMPLATE,
                         "Property value '%s' with the suffix '%s'.\n",
                         from->value, outPropertiesName);
            goto finish;
        }
        replaceString(&outPolicy->value, to->value, value);
    }
    result = DDS_RETCODE_OK;
finish:
    if (!DDS_PropertySeq_finalize(&selected)) {
        ZYN_LOG_TEXT(ZYN_LOG_LEVEL_ERROR, ZYN_LOG_FAILED_TO_FINALIZE_TEMPLATE,
                     "Property sequence for the suffix %s.\n", outPropertiesName);
        result = DDS_RETCODE_ERROR;
    }
    return result;
}

}  // extern "C"
