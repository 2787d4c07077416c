// Conversion between a property sequence and the presentation layer's compact form, in which
// names and values live back to back in one character buffer.
#include <propqos/Presentation.h>

#include <cstring>

#include <propqos/Heap.h>

namespace {
void clear(TaviPropertyQosPolicy *policy) { policy->data = TaviSequenceProperty{}; }

// Characters one property takes in the string buffer: name and value, each with a terminator.
size_t charactersOf(const DDS_Property_t &property)
{
    return std::strlen(property.name) + 1 + std::strlen(property.value) + 1;
}

char *append(TaviSequenceProperty &form, size_t &used, const char *text)
{
    size_t length = std::strlen(text) + 1;
    char *at = form._string_buffer + used;
    std::memcpy(at, text, length);
    used += length;
    return at;
}

// True when `text` is a terminated string lying inside the form's used characters.
bool insideStrings(const TaviSequenceProperty &form, const char *text)
{
    if (text == nullptr || form._string_buffer == nullptr || text < form._string_buffer ||
        text >= form._string_buffer + form._string_length) {
        return false;
    }
    size_t room = static_cast<size_t>(form._string_buffer + form._string_length - text);
    return std::memchr(text, '\0', room) != nullptr;
}
}  // namespace

extern "C" {

DDS_ReturnCode_t DDS_PropertySeq_setup_presentation_qosI(TaviPropertyQosPolicy *dst,
                                                         DDS_Long max_property_length,
                                                         DDS_Long max_string_length)
{
    if (dst == nullptr || max_property_length < 0 || max_string_length < 0) {
        return DDS_RETCODE_BAD_PARAMETER;
    }
    clear(dst);
    TaviProperty *buffer = nullptr;
    char *strings = nullptr;
    if (max_property_length > 0) {
        buffer = static_cast<TaviProperty *>(
            ZynHeap_allocateZeroed(static_cast<size_t>(max_property_length), sizeof(TaviProperty)));
    }
    if (max_string_length > 0) {
        strings = static_cast<char *>(ZynHeap_allocateZeroed(static_cast<size_t>(max_string_length), 1));
    }
    if ((max_property_length > 0 && buffer == nullptr) ||
        (max_string_length > 0 && strings == nullptr)) {
        ZynHeap_free(buffer);
        ZynHeap_free(strings);
        return DDS_RETCODE_OUT_OF_RESOURCES;
    }
    dst->data._maximum = static_cast<uint32_t>(max_property_length);
    dst->data._buffer = buffer;
    dst->data._string_maximum = static_cast<uint32_t>(max_string_length);
    dst->data._string_buffer = strings;
    return DDS_RETCODE_OK;
}

DDS_ReturnCode_t DDS_PropertySeq_finalize_presentation_qosI(TaviPropertyQosPolicy *self)
{
    if (self == nullptr) {
        return DDS_RETCODE_BAD_PARAMETER;
    }
    ZynHeap_free(self->data._buffer);
    ZynHeap_free(self->data._string_buffer);
    clear(self);
    return DDS_RETCODE_OK;
}

DDS_ReturnCode_t DDS_PropertySeq_to_presentation_sequence(const DDS_PropertySeq *self,
                                                          TaviPropertyQosPolicy *dst)
{
    if (self == nullptr || dst == nullptr) {
        return DDS_RETCODE_BAD_PARAMETER;
    }
    DDS_Long length = DDS_PropertySeq_get_length(self);
    size_t characters = 0;
    for (DDS_Long i = 0; i < length; ++i) {
        const DDS_Property_t *property = DDS_PropertySeq_get_reference(self, i);
        if (property->name == nullptr || property->value == nullptr) {
            return DDS_RETCODE_BAD_PARAMETER;
        }
        characters += charactersOf(*property);
    }
    TaviSequenceProperty &form = dst->data;
    if (static_cast<uint32_t>(length) > form._maximum || characters > form._string_maximum ||
        (length > 0 && form._buffer == nullptr) ||
        (characters > 0 && form._string_buffer == nullptr)) {
        return DDS_RETCODE_OUT_OF_RESOURCES;
    }
    size_t used = 0;
    for (DDS_Long i = 0; i < length; ++i) {
        const DDS_Property_t *property = DDS_PropertySeq_get_reference(self, i);
        TaviProperty &out = form._buffer[i];
        out.name = append(form, used, property->name);
        out.value = append(form, used, property->value);
        out.propagate = property->propagate ? 1 : 0;
    }
    form._length = static_cast<uint32_t>(length);
    form._string_length = static_cast<uint32_t>(used);
    return DDS_RETCODE_OK;
}

DDS_ReturnCode_t DDS_PropertySeq_from_presentation_sequence(DDS_PropertySeq *self,
                                                            const TaviPropertyQosPolicy *src)
{
    if (self == nullptr || src == nullptr || self->_sequence_init != DDS_SEQUENCE_MAGIC_NUMBER) {
        return DDS_RETCODE_BAD_PARAMETER;
    }
    const TaviSequenceProperty &form = src->data;
    if (form._length > form._maximum || form._string_length > form._string_maximum ||
        form._length > 0x7fffffffu || (form._length > 0 && form._buffer == nullptr)) {
        return DDS_RETCODE_BAD_PARAMETER;
    }
    for (uint32_t i = 0; i < form._length; ++i) {
        if (!insideStrings(form, form._buffer[i].name) ||
            !insideStrings(form, form._buffer[i].value)) {
            return DDS_RETCODE_BAD_PARAMETER;
        }
    }
    // Filled aside and copied in, so that `self` keeps its properties when memory runs out.
    DDS_PropertySeq incoming = DDS_SEQUENCE_INITIALIZER;
    DDS_ReturnCode_t result = DDS_RETCODE_OK;
    if (!DDS_PropertySeq_set_maximum(&incoming, static_cast<DDS_Long>(form._length))) {
        result = DDS_RETCODE_OUT_OF_RESOURCES;
    }
    for (uint32_t i = 0; result == DDS_RETCODE_OK && i < form._length; ++i) {
        DDS_Property_t *added = nullptr;
        if (DDS_PropertySeq_add_element(&incoming, &added, form._buffer[i].name,
                                        form._buffer[i].value) != DDS_RETCODE_OK) {
            result = DDS_RETCODE_OUT_OF_RESOURCES;
        } else {
            added->propagate = form._buffer[i].propagate != 0 ? DDS_BOOLEAN_TRUE : DDS_BOOLEAN_FALSE;
        }
    }
    if (result == DDS_RETCODE_OK && DDS_PropertySeq_copy(self, &incoming) == nullptr) {
        result = DDS_RETCODE_OUT_OF_RESOURCES;
    }
    DDS_PropertySeq_finalize(&incoming);
    return result;
}

}  // extern "C"
