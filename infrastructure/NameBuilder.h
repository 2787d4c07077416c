// A name built from pieces appended in a row and checked once: the first step that fails is
// remembered, with its cause, and every later step does nothing. Short names stay inside the
// builder; a longer one moves to the platform heap, released with the builder.
#ifndef PROPQOS_INFRASTRUCTURE_NAMEBUILDER_H
#define PROPQOS_INFRASTRUCTURE_NAMEBUILDER_H

#include <cstddef>

namespace propqos_internal {

class NameBuilder {
public:
    enum class Failure {
        None,
        OutOfMemory,  // the heap could not hold the name
        MissingPiece, // a null piece: nothing to compose from
    };
    // Names up to this many characters need no allocation: every name met in practice.
    static constexpr std::size_t kInlineCapacity = 1024;

    NameBuilder() noexcept { inline_[0] = '\0'; }
    ~NameBuilder();
    NameBuilder(const NameBuilder &) = delete;
    NameBuilder &operator=(const NameBuilder &) = delete;

    // Appends a terminated text; a null one fails the step.
    NameBuilder &append(const char *text) noexcept;
    // Appends the first `length` characters of `text`, which need not be terminated.
    NameBuilder &append(const char *text, std::size_t length) noexcept;

    bool failed() const noexcept { return failure_ != Failure::None; }
    Failure failure() const noexcept { return failure_; }
    // The step that failed, counting appends from 1; 0 while none has.
    int failedStep() const noexcept { return failedStep_; }

    // The name so far: whole while nothing failed.
    const char *c_str() const noexcept { return text_; }
    std::size_t length() const noexcept { return length_; }

private:
    bool reserve(std::size_t length) noexcept;

    char inline_[kInlineCapacity + 1];
    char *text_ = inline_;
    char *heap_ = nullptr;
    std::size_t length_ = 0;
    std::size_t capacity_ = kInlineCapacity;
    Failure failure_ = Failure::None;
    int steps_ = 0;
    int failedStep_ = 0;
};

}  // namespace propqos_internal

#endif
