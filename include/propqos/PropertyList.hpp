/* propqos C++ API: a thin, owning wrapper over DDS_PropertyQosPolicy.
 *
 * Every operation forwards to the C API in PropertyQosPolicy.h; nothing here decides anything the
 * module does not. What the wrapper adds is ownership (RAII, copy, move), std::string_view and
 * std::optional at the edges, and structured reports for the operations that explain themselves
 * only through log entries (name validation, resource limits, change check): those entries are
 * captured while the call runs and turned into fields.
 *
 * Errors: a failed copy, or a store the module could not make, throws std::bad_alloc (the module's
 * only cause for them is memory). Look-ups and reads report absence with std::optional. */
#ifndef PROPQOS_INFRASTRUCTURE_PROPERTYLIST_HPP
#define PROPQOS_INFRASTRUCTURE_PROPERTYLIST_HPP

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <initializer_list>
#include <iterator>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

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

/* One property as stored in a list: views into the list, valid until the list next changes. */
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

/* One log entry, copied out of the logging service. */
struct LogRecord {
    int level = 0; /* 1 precondition, 2 error, 4 warning */
    std::string templateId;
    std::vector<std::string> args;
    std::string message;
};

namespace detail
{
inline DDS_PropertyQosPolicy emptyPolicy() noexcept
{
    DDS_PropertyQosPolicy policy = DDS_PropertyQosPolicy_INITIALIZER;
    return policy;
}
} // namespace detail

/* Collects the module's log entries while it lives, instead of letting them reach standard
 * error. The masks are opened to `levels` (a mask of level bits, by default precondition, error
 * and warning) and this module's submodule bit; the masks and the previous sink are restored on
 * destruction. Captures nest. */
class ScopedLogCapture
{
public:
    explicit ScopedLogCapture(unsigned int levels = ZYN_LOG_VERBOSITY_WARNING)
        : savedInstrumentation_(DDSLog_g_instrumentationMask), savedSubmodule_(DDSLog_g_submoduleMask)
    {
        ZynLog_getSink(&previousSink_, &previousUserData_);
        DDSLog_g_instrumentationMask = levels;
        DDSLog_g_submoduleMask |= DDS_SUBMODULE_MASK_PROPERTY;
        ZynLog_setSink(&ScopedLogCapture::sink, this);
    }
    ~ScopedLogCapture()
    {
        ZynLog_setSink(previousSink_, previousUserData_);
        DDSLog_g_instrumentationMask = savedInstrumentation_;
        DDSLog_g_submoduleMask = savedSubmodule_;
    }
    ScopedLogCapture(const ScopedLogCapture &) = delete;
    ScopedLogCapture &operator=(const ScopedLogCapture &) = delete;

    const std::vector<LogRecord> &entries() const { return entries_; }
    void clear() { entries_.clear(); }
    /* True when an entry could not be kept for lack of memory. */
    bool lostEntries() const { return lost_; }

private:
    static void sink(const ZynLogEntry *entry, void *self)
    {
        auto *capture = static_cast<ScopedLogCapture *>(self);
        try {
            LogRecord record;
            record.level = entry->level;
            record.templateId = entry->templateId != nullptr ? entry->templateId : "";
            for (int i = 0; i < entry->argCount; ++i) {
                const char *arg = entry->args != nullptr ? entry->args[i] : nullptr;
                record.args.emplace_back(arg != nullptr ? arg : "NULL");
            }
            record.message = entry->message != nullptr ? entry->message : "";
            capture->entries_.push_back(std::move(record));
        } catch (...) {
            /* Called from C: an entry lost to memory exhaustion is dropped, never thrown. */
            capture->lost_ = true;
        }
    }

    std::vector<LogRecord> entries_;
    ZynLogSinkFn previousSink_ = nullptr;
    void *previousUserData_ = nullptr;
    unsigned int savedInstrumentation_;
    unsigned int savedSubmodule_;
    bool lost_ = false;
};

/* A name the validation did not know, with the closest known name. */
struct UnexpectedName {
    std::string name;
    std::string suggestion;
    int level = 0; /* 2 when the action rejects it (exception), 4 when it only warns */
};

struct ValidationReport {
    bool passed = true; /* the module's verdict */
    std::vector<UnexpectedName> unexpected;
    std::vector<LogRecord> other; /* any other entry: failures of the check itself */
};

/* One limit that a list exceeds, as the module words it. */
struct LimitViolation {
    std::string what; /* "number of properties in the property QoS policy", ... */
    long long actual = 0;
    std::string limitName; /* "DDS_DomainParticipantQos.resource_limits...." */
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

class PropertyList
{
public:
    /* A new property for the initializer-list constructor. */
    struct Entry {
        std::string_view name;
        std::string_view value;
        bool propagate = false;
    };

    PropertyList() noexcept : policy_(detail::emptyPolicy()) {}
    PropertyList(std::initializer_list<Entry> entries) : PropertyList()
    {
        for (const Entry &e : entries) {
            assertProperty(e.name, e.value, e.propagate);
        }
    }
    /* A deep copy of a policy that the caller keeps owning. */
    static PropertyList copyOf(const DDS_PropertyQosPolicy &policy)
    {
        PropertyList list;
        list.copyFrom(policy);
        return list;
    }
    /* Takes over the properties of `policy`, leaving it empty and owning nothing. */
    static PropertyList adopt(DDS_PropertyQosPolicy &policy) noexcept
    {
        PropertyList list;
        list.policy_ = policy;
        policy = detail::emptyPolicy();
        return list;
    }

    ~PropertyList() { DDS_PropertyQosPolicy_finalize(&policy_); }
    PropertyList(const PropertyList &other) : PropertyList() { copyFrom(other.policy_); }
    PropertyList(PropertyList &&other) noexcept : policy_(other.policy_)
    {
        other.policy_ = detail::emptyPolicy();
    }
    PropertyList &operator=(const PropertyList &other)
    {
        if (this != &other) {
            PropertyList copy(other);
            swap(copy);
        }
        return *this;
    }
    PropertyList &operator=(PropertyList &&other) noexcept
    {
        if (this != &other) {
            PropertyList taken(std::move(other));
            swap(taken);
        }
        return *this;
    }
    void swap(PropertyList &other) noexcept { std::swap(policy_, other.policy_); }

    DDS_PropertyQosPolicy *get() noexcept { return &policy_; }
    const DDS_PropertyQosPolicy *get() const noexcept { return &policy_; }

    std::size_t size() const noexcept
    {
        const DDS_Long n = DDS_PropertyQosPolicyHelper_get_number_of_properties(&policy_);
        return n > 0 ? static_cast<std::size_t>(n) : 0;
    }
    bool empty() const noexcept { return size() == 0; }
    bool operator==(const PropertyList &other) const
    {
        return DDS_PropertyQosPolicy_equals(&policy_, &other.policy_, DDS_BOOLEAN_FALSE) != 0;
    }
    bool operator!=(const PropertyList &other) const { return !(*this == other); }

    /* ---- single properties ---- */

    std::optional<Property> find(std::string_view name) const
    {
        const std::string key(name);
        const DDS_Property_t *p =
            DDS_PropertyQosPolicyHelper_lookup_property(&policy_, key.c_str());
        if (p == nullptr) {
            return std::nullopt;
        }
        return view(*p);
    }
    bool contains(std::string_view name) const { return find(name).has_value(); }

    /* Sets `name` to `value`, replacing the value (and propagate flag) of a property of that name.
     */
    void assertProperty(std::string_view name, std::string_view value, bool propagate = false)
    {
        const std::string n(name), v(value);
        check(DDS_PropertyQosPolicyHelper_assert_property(
            &policy_, n.c_str(), v.c_str(), propagate ? DDS_BOOLEAN_TRUE : DDS_BOOLEAN_FALSE));
    }
    /* Appends a property without looking for one of the same name. */
    void add(std::string_view name, std::string_view value, bool propagate = false)
    {
        const std::string n(name), v(value);
        check(DDS_PropertyQosPolicyHelper_add_property(
            &policy_, n.c_str(), v.c_str(), propagate ? DDS_BOOLEAN_TRUE : DDS_BOOLEAN_FALSE));
    }
    /* True when a property of that name was there and is gone. */
    bool remove(std::string_view name)
    {
        const std::string n(name);
        return DDS_PropertyQosPolicyHelper_remove_property(&policy_, n.c_str()) == DDS_RETCODE_OK;
    }

    /* ---- typed reads: nullopt when absent or not readable as the type ---- */

    std::optional<bool> getBool(std::string_view name) const
    {
        const std::string n(name);
        DDS_Boolean value = DDS_BOOLEAN_FALSE;
        if (DDS_PropertyQosPolicyHelper_lookup_boolean_property(
                &policy_, &value, n.c_str(), DDS_BOOLEAN_FALSE) != DDS_RETCODE_OK) {
            return std::nullopt;
        }
        return value != DDS_BOOLEAN_FALSE;
    }
    std::optional<std::int32_t> getInt32(std::string_view name) const
    {
        const std::string n(name);
        DDS_Long value = 0;
        if (!DDS_PropertyQosPolicyHelper_lookup_integer_property(&policy_, &value, n.c_str())) {
            return std::nullopt;
        }
        return value;
    }
    std::optional<std::int64_t> getInt64(std::string_view name) const
    {
        const std::string n(name);
        DDS_LongLong value = 0;
        if (!DDS_PropertyQosPolicyHelper_lookup_long_long_property(&policy_, &value, n.c_str())) {
            return std::nullopt;
        }
        return value;
    }
    std::optional<std::uint32_t> getUInt32(std::string_view name) const
    {
        const std::string n(name);
        DDS_UnsignedLong value = 0;
        if (!DDS_PropertyQosPolicyHelper_lookup_unsigned_integer_property(&policy_, &value,
                                                                          n.c_str())) {
            return std::nullopt;
        }
        return value;
    }
    std::optional<Duration> getDuration(std::string_view name) const
    {
        const std::string n(name);
        ZynNtpTime value{0, 0};
        if (!DDS_PropertyQosPolicyHelper_lookup_duration_property(&policy_, &value, n.c_str())) {
            return std::nullopt;
        }
        return Duration{value.sec, value.frac};
    }

    /* ---- iteration, in the list's order ---- */

    class const_iterator
    {
    public:
        using iterator_category = std::forward_iterator_tag;
        using value_type = Property;
        using difference_type = std::ptrdiff_t;
        using pointer = void;
        using reference = Property;

        const_iterator() = default;
        Property operator*() const
        {
            const DDS_Property_t *p = DDS_PropertySeq_get_reference(&list_->policy_.value, index_);
            return p != nullptr ? view(*p) : Property{};
        }
        const_iterator &operator++()
        {
            ++index_;
            return *this;
        }
        const_iterator operator++(int)
        {
            const_iterator before = *this;
            ++index_;
            return before;
        }
        bool operator==(const const_iterator &o) const
        {
            return list_ == o.list_ && index_ == o.index_;
        }
        bool operator!=(const const_iterator &o) const { return !(*this == o); }

    private:
        friend class PropertyList;
        const_iterator(const PropertyList *list, DDS_Long index) : list_(list), index_(index) {}
        const PropertyList *list_ = nullptr;
        DDS_Long index_ = 0;
    };
    const_iterator begin() const { return const_iterator(this, 0); }
    const_iterator end() const { return const_iterator(this, static_cast<DDS_Long>(size())); }

    /* ---- extraction by prefix: nullopt when the module refuses (e.g. an oversized prefix) ---- */

    /* The properties whose names begin with `prefix` (letter case counts), names kept whole. */
    std::optional<PropertyList> withPrefix(std::string_view prefix) const
    {
        const std::string p(prefix);
        PropertyList out;
        if (DDS_PropertyQosPolicyHelper_get_properties(&policy_, &out.policy_.value, p.c_str()) !=
            DDS_RETCODE_OK) {
            return std::nullopt;
        }
        return out;
    }
    /* The properties under `prefix` named without it and its '.', followed by the module's own
     * entry "prefix" that holds the prefix stripped (with its trailing '.'). */
    std::optional<PropertyList> withoutPrefix(std::string_view prefix,
                                              bool ignoreCase = false) const
    {
        const std::string p(prefix);
        PropertyList out;
        if (DDS_PropertyQosPolicyHelper_get_properties_without_prefix(
                &policy_, &out.policy_.value, p.c_str(),
                ignoreCase ? DDS_BOOLEAN_TRUE : DDS_BOOLEAN_FALSE) != DDS_RETCODE_OK) {
            return std::nullopt;
        }
        return out;
    }

    /* ---- checks ---- */

    /* Property names of an entity of `kind`, checked against the names the middleware and the
     * plug-ins configured by this list understand. */
    ValidationReport validate(EntityKind kind, ValidationAction action) const
    {
        ValidationReport report;
        ScopedLogCapture capture;
        report.passed = DDS_PropertyQosPolicy_validate_property_names_per_entity(
                            &policy_, static_cast<DDS_EntityKind_t>(kind),
                            static_cast<DDS_PropertyQosPolicyValidationAction>(action)) != 0;
        for (const LogRecord &e : capture.entries()) {
            /* Arguments: "", name, "", suggestion, where it was checked. */
            if (e.templateId == "ZYN_LOG_UNEXPECTED_PROPERTY_sssss" && e.args.size() == 5) {
                report.unexpected.push_back(UnexpectedName{e.args[1], e.args[3], e.level});
            } else {
                report.other.push_back(e);
            }
        }
        return report;
    }

    /* The list against the participant's limits for an entity of `kind`. */
    LimitReport checkLimits(EntityKind kind, std::int32_t maxProperties,
                            std::int32_t maxStringLength) const
    {
        LimitReport report;
        ScopedLogCapture capture;
        report.consistent =
            DDS_PropertyQosPolicy_is_consistentI(&policy_, static_cast<DDS_EntityKind_t>(kind),
                                                 maxProperties, maxStringLength) != 0;
        for (const LogRecord &e : capture.entries()) {
            const bool withAdvice = e.templateId == "DDS_LOG_INCONSISTENT_POLICIES_sdsds";
            if ((withAdvice && e.args.size() == 5) ||
                (e.templateId == "DDS_LOG_INCONSISTENT_POLICIES_sdsd" && e.args.size() == 4)) {
                LimitViolation v;
                v.what = e.args[0];
                v.actual = std::strtoll(e.args[1].c_str(), nullptr, 10);
                v.limitName = e.args[2];
                v.limit = std::strtoll(e.args[3].c_str(), nullptr, 10);
                if (withAdvice) {
                    v.advice = e.args[4];
                }
                report.violations.push_back(std::move(v));
            } else {
                report.other.push_back(e);
            }
        }
        return report;
    }

    /* The mutability of `name`, with this list consulted for the plug-ins it loads. */
    Mutability mutability(std::string_view name) const
    {
        const std::string n(name);
        return static_cast<Mutability>(
            DDS_PropertyQosPolicyHelper_get_property_mutability(n.c_str(), &policy_));
    }

    /* Whether an entity whose list is `current` may take this list instead. */
    ChangeCheck checkChangeFrom(const PropertyList &current, bool entityEnabled) const
    {
        ChangeCheck result;
        ScopedLogCapture capture;
        result.accepted = DDS_PropertyQosPolicy_isMutabilityConsistent(&policy_, &current.policy_,
                                                                       entityEnabled ? 1 : 0) != 0;
        for (const LogRecord &e : capture.entries()) {
            /* Arguments: "entity", the property's name, the reason. */
            if (e.templateId == "DDS_LOG_INCONSISTENT_PROPERTY_sss" && e.args.size() == 3 &&
                result.property.empty()) {
                result.property = e.args[1];
                result.reason = e.args[2];
            } else {
                result.other.push_back(e);
            }
        }
        return result;
    }

    /* The validation action this list asks for; nullopt when its value is not one. */
    std::optional<ValidationAction> validationAction() const
    {
        ScopedLogCapture quiet;
        DDS_PropertyQosPolicyValidationAction action =
            DDS_PROPERTY_QOS_POLICY_VALIDATION_ACTION_EXCEPTION;
        if (!DDS_PropertyQosPolicy_parse_property_validation_action(&action, &policy_)) {
            return std::nullopt;
        }
        return static_cast<ValidationAction>(action);
    }

    /* ---- saving ---- */

    /* The list as XML, confidential values redacted; empty when equal to `base`. nullopt when the
     * save failed. The module is run twice: once to measure, once into a buffer of that size. */
    std::optional<std::string> save(const PropertyList *base = nullptr) const
    {
        const DDS_PropertyQosPolicy *basePolicy = base != nullptr ? &base->policy_ : nullptr;
        ZynXMLSaveContext measure = ZYN_XML_SAVE_CONTEXT_INITIALIZER;
        DDS_PropertyQosPolicy_save(&policy_, basePolicy, &measure);
        if (measure.error != 0) {
            return std::nullopt;
        }
        std::string text(static_cast<std::size_t>(measure.outputStringLength) + 1, '\0');
        ZynXMLSaveContext write = ZYN_XML_SAVE_CONTEXT_INITIALIZER;
        write.sout = text.data();
        write.ssize = static_cast<DDS_UnsignedLong>(text.size());
        DDS_PropertyQosPolicy_save(&policy_, basePolicy, &write);
        if (write.error != 0 || write.outputStringLength != measure.outputStringLength) {
            return std::nullopt;
        }
        text.resize(write.outputStringLength);
        return text;
    }

    /* Whether saving redacts the value of a property of this name. Asked of the saving itself,
     * so that the answer can never drift from what a saved file carries. */
    static bool isConfidential(std::string_view name)
    {
        PropertyList probe;
        probe.add(name, "v");
        const std::optional<std::string> saved = probe.save();
        return saved.has_value() && saved->find("<value>[redacted]</value>") != std::string::npos;
    }

private:
    static Property view(const DDS_Property_t &p)
    {
        return Property{p.name != nullptr ? std::string_view(p.name) : std::string_view(),
                        p.value != nullptr ? std::string_view(p.value) : std::string_view(),
                        p.propagate != DDS_BOOLEAN_FALSE};
    }
    static void check(DDS_ReturnCode_t rc)
    {
        if (rc != DDS_RETCODE_OK) {
            throw std::bad_alloc();
        }
    }
    void copyFrom(const DDS_PropertyQosPolicy &source)
    {
        if (DDS_PropertyQosPolicy_copy(&policy_, &source) == nullptr) {
            DDS_PropertyQosPolicy_finalize(&policy_);
            throw std::bad_alloc();
        }
    }

    DDS_PropertyQosPolicy policy_;
};

inline void swap(PropertyList &a, PropertyList &b) noexcept
{
    a.swap(b);
}

inline const char *toString(Mutability m)
{
    switch (m) {
    case Mutability::Mutable:
        return "mutable";
    case Mutability::MutableUntilEnable:
        return "mutable until enable";
    case Mutability::Immutable:
        return "immutable";
    }
    return "unknown";
}

} // namespace propqos

#endif
