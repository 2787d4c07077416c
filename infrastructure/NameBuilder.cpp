#include "infrastructure/NameBuilder.h"

#include <cstring>

#include <propqos/Sequence.h>

namespace propqos_internal {

NameBuilder::~NameBuilder()
{
    if (heap_ != nullptr) {
        DDS_String_free(heap_);
    }
}

NameBuilder &NameBuilder::append(const char *text) noexcept
{
    return append(text, text != nullptr ? std::strlen(text) : 0);
}

NameBuilder &NameBuilder::append(const char *text, std::size_t length) noexcept
{
    ++steps_;
    if (failed()) {
        return *this;
    }
    if (text == nullptr) {
        failure_ = Failure::MissingPiece;
    } else if (!reserve(length_ + length)) {
        failure_ = Failure::OutOfMemory;
    } else {
        std::memcpy(text_ + length_, text, length);
        length_ += length;
        text_[length_] = '\0';
        return *this;
    }
    failedStep_ = steps_;
    return *this;
}

bool NameBuilder::reserve(std::size_t length) noexcept
{
    if (length <= capacity_) {
        return true;
    }
    // Growing by half again of what is needed, at least doubling, keeps a long row of appends
    // linear and lets the short pieces that usually follow a long one fit.
    const std::size_t wanted = length + length / 2;
    const std::size_t capacity = capacity_ * 2 > wanted ? capacity_ * 2 : wanted;
    char *bigger = DDS_String_alloc(capacity);
    if (bigger == nullptr) {
        return false;
    }
    std::memcpy(bigger, text_, length_ + 1);
    if (heap_ != nullptr) {
        DDS_String_free(heap_);
    }
    heap_ = bigger;
    text_ = bigger;
    capacity_ = capacity;
    return true;
}

}  // namespace propqos_internal
