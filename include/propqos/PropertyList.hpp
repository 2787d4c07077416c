/* propqos C++ API: an owning value type over DDS_PropertyQosPolicy.
 *
 * Every operation does what the C API of <propqos/PropertyQosPolicy.h> does; what this layer adds
 * is ownership (RAII, copy, move, adopt/release), std::string_view and std::optional at the
 * edges, errors as exceptions, and the checks' findings as structured reports.
 *
 * Errors. An operation that cannot do its work throws propqos::Error, which carries the C API's
 * DDS_ReturnCode_t (DDS_RETCODE_OUT_OF_RESOURCES when memory ran out, DDS_RETCODE_BAD_PARAMETER
 * for a name or value with an embedded NUL, which the C API could only truncate) and a message
 * in the module's words. Building a report or a std::string may also throw std::bad_alloc.
 * Look-ups and typed reads report absence with std::optional; a name with an embedded NUL is
 * never found.
 *
 * Logging. Nothing here writes to the log, reads the masks or uses the sink: what the module says
 * about a failed call travels in the Error, or in a report's `other`.
 *
 * Threads. A PropertyList is a value. Different lists may be used from different threads at
 * once, every check included. One list may be read (through const members) from several threads
 * at once, but not while a thread modifies, assigns or destroys it. The static members may run
 * from any thread. Views (Property, iterators) are valid until their list next changes. */
#ifndef PROPQOS_PROPERTYLIST_HPP
#define PROPQOS_PROPERTYLIST_HPP

#if !defined(__cplusplus) || __cplusplus < 201703L
#error "propqos/PropertyList.hpp needs C++17; C and older C++ include propqos/PropertyQosPolicy.h"
#endif

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <iterator>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "Export.h"
#include "Log.h"
#include "PropertyQosPolicy.h"

namespace propqos
{

enum class EntityKind : int {
    Participant = DDS_PARTICIPANT_ENTITY_KIND,
    DataReader = DDS_DATAREADER_ENTITY_KIND,
    DataWriter = DDS_DATAWRITER_ENTITY_KIND,
};

enum class ValidationAction : int {
    Warning = DDS_PROPERTY_QOS_POLICY_VALIDATION_ACTION_WARNING,
    Exception = DDS_PROPERTY_QOS_POLICY_VALIDATION_ACTION_EXCEPTION,
    Skip = DDS_PROPERTY_QOS_POLICY_VALIDATION_ACTION_SKIP,
};

enum class Mutability : int {
    Mutable = DDS_PROPERTY_QOS_MUTABLE,
    MutableUntilEnable = DDS_PROPERTY_QOS_MUTABLE_UNTIL_ENABLE,
    Immutable = DDS_PROPERTY_QOS_IMMUTABLE,
};

/* How grave a finding or a message is; the values are the log levels. */
enum class Severity : int {
    Precondition = ZYN_LOG_LEVEL_PRECONDITION,
    Error = ZYN_LOG_LEVEL_ERROR,
    Warning = ZYN_LOG_LEVEL_WARNING,
};

/* A failed operation: the C API's result code and what went wrong. */
class PROPQOS_API Error : public std::runtime_error
{
public:
    Error(DDS_ReturnCode_t code, const std::string &message);
    ~Error() override; /* out of line: one type identity, the library's */
    DDS_ReturnCode_t code() const noexcept { return code_; }

private:
    DDS_ReturnCode_t code_;
};

/* One property as stored in a list: views into the list. */
struct Property {
    std::string_view name;
    std::string_view value;
    bool propagate = false;
};

/* A duration as the module reads it: seconds and a fraction in units of 2^-32 second. */
struct Duration {
    std::int64_t sec = 0;
    std::uint32_t frac = 0;
    bool operator==(const Duration &o) const { return sec == o.sec && frac == o.frac; }
    bool operator!=(const Duration &o) const { return !(*this == o); }
};

/* What the module said about a failure of a check itself (memory ran out, a property without a
 * name or value, ...): the entry it would have logged, kept for the caller instead. */
struct LogRecord {
    Severity level = Severity::Error;
    std::string templateId;
    std::vector<std::string> args;
    std::string message;
};

/* A name the validation did not know: the first one under one of the entity's prefixes. */
struct UnexpectedName {
    std::string name;
    std::string suggestion;   /* the closest known name */
    std::string checkedUnder; /* the prefix it was found under, e.g. "dds.transport." */
    Severity level = Severity::Error; /* Error when the action rejects it, Warning when it warns */
};

struct ValidationReport {
    bool passed = true; /* the module's verdict */
    std::vector<UnexpectedName> unexpected;
    std::vector<LogRecord> other; /* failures of the check itself */
};

/* One limit that a list exceeds, as the module words it. */
struct LimitViolation {
    std::string what; /* "number of properties in the property QoS policy", ... */
    long long actual = 0;
    std::string limitName; /* "DDS_DomainParticipantQos.resource_limits.participant_...", ... */
    long long limit = 0;
    std::string advice; /* participant only, else empty */
};

struct LimitReport {
    bool consistent = true;
    std::vector<LimitViolation> violations;
    std::vector<LogRecord> other; /* e.g. a property without a name or value */
};

/* The verdict on replacing one list by another on an entity. */
struct ChangeCheck {
    bool accepted = true;
    std::string property; /* the first property that may not change */
    std::string reason;   /* "cannot modify because it is immutable", ... */
    std::vector<LogRecord> other;
};

class PROPQOS_API PropertyList
{
public:
    /* A new property for the initializer-list constructor. */
    struct Entry {
        std::string_view name;
        std::string_view value;
        bool propagate = false;
    };

    PropertyList() noexcept;
    PropertyList(std::initializer_list<Entry> entries);
    /* A deep copy of a policy that the caller keeps owning. */
    static PropertyList copyOf(const DDS_PropertyQosPolicy &policy);
    /* Takes over the properties of `policy`, leaving it empty and owning nothing. */
    static PropertyList adopt(DDS_PropertyQosPolicy &policy) noexcept;
    /* Hands the properties over to the caller, who finalizes the policy returned; this list is
     * left empty. The reverse of adopt(). */
    DDS_PropertyQosPolicy release() noexcept;

    ~PropertyList();
    PropertyList(const PropertyList &other);
    PropertyList(PropertyList &&other) noexcept;
    PropertyList &operator=(const PropertyList &other);
    PropertyList &operator=(PropertyList &&other) noexcept;
    void swap(PropertyList &other) noexcept;

    DDS_PropertyQosPolicy *get() noexcept;
    const DDS_PropertyQosPolicy *get() const noexcept;

    std::size_t size() const noexcept;
    bool empty() const noexcept;
    /* Same properties in the same order, propagate flags included. */
    bool operator==(const PropertyList &other) const noexcept;
    bool operator!=(const PropertyList &other) const noexcept;

    /* ---- single properties ---- */

    std::optional<Property> find(std::string_view name) const;
    bool contains(std::string_view name) const;
    /* Sets `name` to `value`, replacing the value (and propagate flag) of a property of that name.
     */
    void assertProperty(std::string_view name, std::string_view value, bool propagate = false);
    /* Appends a property without looking for one of the same name. */
    void add(std::string_view name, std::string_view value, bool propagate = false);
    /* True when a property of that name was there and is gone. */
    bool remove(std::string_view name);

    /* ---- typed reads: nullopt when absent or not readable as the type ---- */

    std::optional<bool> getBool(std::string_view name) const;
    std::optional<std::int32_t> getInt32(std::string_view name) const;
    std::optional<std::int64_t> getInt64(std::string_view name) const;
    std::optional<std::uint32_t> getUInt32(std::string_view name) const;
    std::optional<Duration> getDuration(std::string_view name) const;

    /* ---- iteration, in the list's order ----
     * The properties are views made on the fly, so the iterator is an input iterator by the
     * standard's definition (its reference is not a Property&), though it may be copied and
     * walked again. */
    class const_iterator
    {
    public:
        /* What operator-> returns: holds the view that the arrow reaches into. */
        class arrow
        {
        public:
            const Property *operator->() const noexcept { return &property_; }

        private:
            friend class const_iterator;
            explicit arrow(const Property &property) noexcept : property_(property) {}
            Property property_;
        };

        using iterator_category = std::input_iterator_tag;
        using value_type = Property;
        using difference_type = std::ptrdiff_t;
        using pointer = arrow;
        using reference = Property;

        const_iterator() noexcept = default;
        Property operator*() const noexcept;
        arrow operator->() const noexcept { return arrow(**this); }
        const_iterator &operator++() noexcept
        {
            ++index_;
            return *this;
        }
        const_iterator operator++(int) noexcept
        {
            const_iterator before = *this;
            ++index_;
            return before;
        }
        bool operator==(const const_iterator &o) const noexcept
        {
            return list_ == o.list_ && index_ == o.index_;
        }
        bool operator!=(const const_iterator &o) const noexcept { return !(*this == o); }

    private:
        friend class PropertyList;
        const_iterator(const PropertyList *list, DDS_Long index) noexcept
            : list_(list), index_(index)
        {
        }
        const PropertyList *list_ = nullptr;
        DDS_Long index_ = 0;
    };
    const_iterator begin() const noexcept;
    const_iterator end() const noexcept;

    /* ---- extraction by prefix: nullopt when the module refuses (e.g. an oversized prefix) ---- */

    /* The properties whose names begin with `prefix` (letter case counts), names kept whole. */
    std::optional<PropertyList> withPrefix(std::string_view prefix) const;
    /* The properties under `prefix` named without it and its '.', followed by the module's own
     * entry "prefix" that holds the prefix stripped (with its trailing '.'). */
    std::optional<PropertyList> withoutPrefix(std::string_view prefix,
                                              bool ignoreCase = false) const;

    /* ---- checks: the module's verdict and its findings ---- */

    /* Property names of an entity of `kind`, checked against the names the middleware and the
     * plug-ins configured by this list understand. */
    ValidationReport validate(EntityKind kind, ValidationAction action) const;
    /* The list against the participant's limits for an entity of `kind`: one violation for each
     * limit exceeded (DDS_PropertyQosPolicy_is_consistentI logs the first only). */
    LimitReport checkLimits(EntityKind kind, std::int32_t maxProperties,
                            std::int32_t maxStringLength) const;
    /* The mutability of `name`, with this list consulted for the plug-ins it loads. */
    Mutability mutability(std::string_view name) const;
    /* Whether an entity whose list is `current` may take this list instead. */
    ChangeCheck checkChangeFrom(const PropertyList &current, bool entityEnabled) const;
    /* The validation action this list asks for; nullopt when its value is not one. */
    std::optional<ValidationAction> validationAction() const;

    /* ---- saving ---- */

    /* The list as XML, confidential values redacted; empty when equal to `base`. nullopt when the
     * save failed. */
    std::optional<std::string> save(const PropertyList *base = nullptr) const;
    /* Whether saving redacts the value of a property of this name. */
    static bool isConfidential(std::string_view name) noexcept;

private:
    DDS_PropertyQosPolicy policy_;
};

inline void swap(PropertyList &a, PropertyList &b) noexcept
{
    a.swap(b);
}

PROPQOS_API const char *toString(Mutability m) noexcept;

} // namespace propqos

#endif
