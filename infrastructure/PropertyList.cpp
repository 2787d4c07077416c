// The C++ API: each member forwards to the C API or to the checks behind it. The module's words
// about a failure are diverted from the log into the Error thrown or the report returned.
#include <propqos/PropertyList.hpp>

#include <cstring>
#include <new>
#include <utility>

#include "infrastructure/Findings.h"
#include "infrastructure/NameBuilder.h"
#include "platform/Log.h"

namespace propqos
{

namespace
{

using propqos_internal::NameBuilder;

DDS_PropertyQosPolicy emptyPolicy() noexcept
{
    DDS_PropertyQosPolicy policy = DDS_PropertyQosPolicy_INITIALIZER;
    return policy;
}

Property view(const DDS_Property_t &p) noexcept
{
    return Property{p.name != nullptr ? std::string_view(p.name) : std::string_view(),
                    p.value != nullptr ? std::string_view(p.value) : std::string_view(),
                    p.propagate != DDS_BOOLEAN_FALSE};
}

// The entries the module writes on this thread while it lives, kept instead of logged.
class Diverted
{
public:
    Diverted() noexcept : diversion_(&Diverted::receive, this) {}
    Diverted(const Diverted &) = delete;
    Diverted &operator=(const Diverted &) = delete;

    std::vector<LogRecord> take()
    {
        if (lost_) {
            throw std::bad_alloc();
        }
        return std::move(records_);
    }
    // The first entry's text, for an error message.
    std::string firstMessage() const { return records_.empty() ? "" : records_.front().message; }

private:
    // Called from the module's C code: nothing may escape.
    static void receive(const ZynLogEntry *entry, void *self) noexcept
    {
        auto *diverted = static_cast<Diverted *>(self);
        try {
            LogRecord record;
            record.level = static_cast<Severity>(entry->level);
            record.templateId = entry->templateId != nullptr ? entry->templateId : "";
            for (int i = 0; i < entry->argCount; ++i) {
                const char *arg = entry->args != nullptr ? entry->args[i] : nullptr;
                record.args.emplace_back(arg != nullptr ? arg : "NULL");
            }
            record.message = entry->message != nullptr ? entry->message : "";
            diverted->records_.push_back(std::move(record));
        } catch (...) {
            diverted->lost_ = true;
        }
    }

    std::vector<LogRecord> records_;
    bool lost_ = false;
    propqos_internal::LogDiversion diversion_;
};

[[noreturn]] void fail(DDS_ReturnCode_t code, const char *operation, const Diverted &diverted)
{
    std::string message = std::string(operation) + " failed";
    const std::string said = diverted.firstMessage();
    if (!said.empty()) {
        message += ": " + said;
    }
    throw Error(code, message);
}

// A terminated copy of a view: on the stack for names of ordinary length, on the platform heap
// beyond. A view with an embedded NUL is refused: the C API would read only its first part.
class CName
{
public:
    explicit CName(std::string_view text) noexcept
        : refused_(std::memchr(text.data(), '\0', text.size()) != nullptr)
    {
        if (!refused_) {
            builder_.append(text.data(), text.size());
        }
    }
    // A name with an embedded NUL: no property has it.
    bool refused() const noexcept { return refused_; }
    // The terminated text; throws when there is none (refused, or memory ran out).
    const char *get(const char *operation) const
    {
        if (refused_) {
            throw Error(DDS_RETCODE_BAD_PARAMETER,
                        std::string(operation) + ": a name or value has an embedded NUL");
        }
        if (builder_.failed()) {
            throw Error(DDS_RETCODE_OUT_OF_RESOURCES,
                        std::string(operation) + ": out of memory");
        }
        return builder_.c_str();
    }

private:
    bool refused_;
    NameBuilder builder_;
};

// Keeps a check's findings in its report. Memory for the report running out inside the check is
// remembered and thrown once the check is over, never through the module's code.
class Collector final : public propqos_internal::Findings
{
public:
    explicit Collector(ValidationReport *v = nullptr, LimitReport *l = nullptr,
                       ChangeCheck *c = nullptr) noexcept
        : validation_(v), limits_(l), change_(c)
    {
    }
    void unknownName(const propqos_internal::UnknownName &f) noexcept override
    {
        keep([&] {
            validation_->unexpected.push_back(UnexpectedName{text(f.name), text(f.suggestion),
                                                             text(f.underPrefix),
                                                             static_cast<Severity>(f.level)});
        });
    }
    void limitExceeded(const propqos_internal::LimitExceeded &f) noexcept override
    {
        keep([&] {
            limits_->violations.push_back(LimitViolation{text(f.what), f.actual, text(f.limitName),
                                                         f.limit, text(f.advice)});
        });
    }
    bool wantsEveryExcess() const noexcept override { return limits_ != nullptr; }
    void changeRefused(const propqos_internal::ChangeRefused &f) noexcept override
    {
        keep([&] {
            if (change_->property.empty()) {
                change_->property = text(f.name);
                change_->reason = text(f.reason);
            }
        });
    }
    void rethrow() const
    {
        if (lost_) {
            throw std::bad_alloc();
        }
    }

private:
    static const char *text(const char *t) noexcept { return t != nullptr ? t : ""; }
    template <typename Keep>
    void keep(Keep k) noexcept
    {
        try {
            k();
        } catch (...) {
            lost_ = true;
        }
    }
    ValidationReport *validation_;
    LimitReport *limits_;
    ChangeCheck *change_;
    bool lost_ = false;
};

} // namespace

Error::Error(DDS_ReturnCode_t code, const std::string &message)
    : std::runtime_error(message), code_(code)
{
}

Error::~Error() = default;

PropertyList::PropertyList() noexcept : policy_(emptyPolicy()) {}

PropertyList::PropertyList(std::initializer_list<Entry> entries) : PropertyList()
{
    for (const Entry &e : entries) {
        assertProperty(e.name, e.value, e.propagate);
    }
}

PropertyList PropertyList::copyOf(const DDS_PropertyQosPolicy &policy)
{
    PropertyList list;
    Diverted diverted;
    if (DDS_PropertyQosPolicy_copy(&list.policy_, &policy) == nullptr) {
        fail(DDS_RETCODE_OUT_OF_RESOURCES, "copy", diverted);
    }
    return list;
}

PropertyList PropertyList::adopt(DDS_PropertyQosPolicy &policy) noexcept
{
    PropertyList list;
    list.policy_ = policy;
    policy = emptyPolicy();
    return list;
}

DDS_PropertyQosPolicy PropertyList::release() noexcept
{
    DDS_PropertyQosPolicy out = policy_;
    policy_ = emptyPolicy();
    return out;
}

PropertyList::~PropertyList()
{
    Diverted diverted;
    DDS_PropertyQosPolicy_finalize(&policy_);
}

PropertyList::PropertyList(const PropertyList &other) : PropertyList(copyOf(other.policy_)) {}

PropertyList::PropertyList(PropertyList &&other) noexcept : policy_(other.policy_)
{
    other.policy_ = emptyPolicy();
}

PropertyList &PropertyList::operator=(const PropertyList &other)
{
    if (this != &other) {
        PropertyList copy(other);
        swap(copy);
    }
    return *this;
}

PropertyList &PropertyList::operator=(PropertyList &&other) noexcept
{
    if (this != &other) {
        PropertyList taken(std::move(other));
        swap(taken);
    }
    return *this;
}

void PropertyList::swap(PropertyList &other) noexcept { std::swap(policy_, other.policy_); }

DDS_PropertyQosPolicy *PropertyList::get() noexcept { return &policy_; }
const DDS_PropertyQosPolicy *PropertyList::get() const noexcept { return &policy_; }

std::size_t PropertyList::size() const noexcept
{
    const DDS_Long n = DDS_PropertySeq_get_length(&policy_.value);
    return n > 0 ? static_cast<std::size_t>(n) : 0;
}

bool PropertyList::empty() const noexcept { return size() == 0; }

bool PropertyList::operator==(const PropertyList &other) const noexcept
{
    Diverted diverted;
    return DDS_PropertyQosPolicy_equals(&policy_, &other.policy_, DDS_BOOLEAN_FALSE) != 0;
}

bool PropertyList::operator!=(const PropertyList &other) const noexcept { return !(*this == other); }

std::optional<Property> PropertyList::find(std::string_view name) const
{
    const CName key(name);
    if (key.refused()) {
        return std::nullopt;
    }
    const DDS_Property_t *p =
        DDS_PropertyQosPolicyHelper_lookup_property(&policy_, key.get("find"));
    if (p == nullptr) {
        return std::nullopt;
    }
    return view(*p);
}

bool PropertyList::contains(std::string_view name) const { return find(name).has_value(); }

void PropertyList::assertProperty(std::string_view name, std::string_view value, bool propagate)
{
    const CName n(name), v(value);
    Diverted diverted;
    const DDS_ReturnCode_t rc = DDS_PropertyQosPolicyHelper_assert_property(
        &policy_, n.get("assertProperty"), v.get("assertProperty"),
        propagate ? DDS_BOOLEAN_TRUE : DDS_BOOLEAN_FALSE);
    if (rc != DDS_RETCODE_OK) {
        fail(rc, "assertProperty", diverted);
    }
}

void PropertyList::add(std::string_view name, std::string_view value, bool propagate)
{
    const CName n(name), v(value);
    Diverted diverted;
    const DDS_ReturnCode_t rc = DDS_PropertyQosPolicyHelper_add_property(
        &policy_, n.get("add"), v.get("add"), propagate ? DDS_BOOLEAN_TRUE : DDS_BOOLEAN_FALSE);
    if (rc != DDS_RETCODE_OK) {
        fail(rc, "add", diverted);
    }
}

bool PropertyList::remove(std::string_view name)
{
    const CName n(name);
    if (n.refused()) {
        return false;
    }
    Diverted diverted;
    return DDS_PropertyQosPolicyHelper_remove_property(&policy_, n.get("remove")) ==
           DDS_RETCODE_OK;
}

namespace
{

// Runs a typed read of the C API on a usable name; nullopt when the name cannot be there.
template <typename Read>
auto typedRead(std::string_view name, const char *operation, Read read) -> decltype(read(""))
{
    const CName n(name);
    if (n.refused()) {
        return std::nullopt;
    }
    const char *terminated = n.get(operation);
    Diverted diverted;
    return read(terminated);
}

} // namespace

std::optional<bool> PropertyList::getBool(std::string_view name) const
{
    return typedRead(name, "getBool", [&](const char *n) -> std::optional<bool> {
        DDS_Boolean value = DDS_BOOLEAN_FALSE;
        if (DDS_PropertyQosPolicyHelper_lookup_boolean_property(&policy_, &value, n,
                                                                DDS_BOOLEAN_FALSE) !=
            DDS_RETCODE_OK) {
            return std::nullopt;
        }
        return value != DDS_BOOLEAN_FALSE;
    });
}

std::optional<std::int32_t> PropertyList::getInt32(std::string_view name) const
{
    return typedRead(name, "getInt32", [&](const char *n) -> std::optional<std::int32_t> {
        DDS_Long value = 0;
        if (!DDS_PropertyQosPolicyHelper_lookup_integer_property(&policy_, &value, n)) {
            return std::nullopt;
        }
        return value;
    });
}

std::optional<std::int64_t> PropertyList::getInt64(std::string_view name) const
{
    return typedRead(name, "getInt64", [&](const char *n) -> std::optional<std::int64_t> {
        DDS_LongLong value = 0;
        if (!DDS_PropertyQosPolicyHelper_lookup_long_long_property(&policy_, &value, n)) {
            return std::nullopt;
        }
        return value;
    });
}

std::optional<std::uint32_t> PropertyList::getUInt32(std::string_view name) const
{
    return typedRead(name, "getUInt32", [&](const char *n) -> std::optional<std::uint32_t> {
        DDS_UnsignedLong value = 0;
        if (!DDS_PropertyQosPolicyHelper_lookup_unsigned_integer_property(&policy_, &value, n)) {
            return std::nullopt;
        }
        return value;
    });
}

std::optional<Duration> PropertyList::getDuration(std::string_view name) const
{
    return typedRead(name, "getDuration", [&](const char *n) -> std::optional<Duration> {
        ZynNtpTime value{0, 0};
        if (!DDS_PropertyQosPolicyHelper_lookup_duration_property(&policy_, &value, n)) {
            return std::nullopt;
        }
        return Duration{value.sec, value.frac};
    });
}

Property PropertyList::const_iterator::operator*() const noexcept
{
    const DDS_Property_t *p = DDS_PropertySeq_get_reference(&list_->policy_.value, index_);
    return p != nullptr ? view(*p) : Property{};
}

PropertyList::const_iterator PropertyList::begin() const noexcept
{
    return const_iterator(this, 0);
}

PropertyList::const_iterator PropertyList::end() const noexcept
{
    return const_iterator(this, static_cast<DDS_Long>(size()));
}

std::optional<PropertyList> PropertyList::withPrefix(std::string_view prefix) const
{
    const CName p(prefix);
    if (p.refused()) {
        return std::nullopt;
    }
    const char *terminated = p.get("withPrefix");
    PropertyList out;
    Diverted diverted;
    if (DDS_PropertyQosPolicyHelper_get_properties(&policy_, &out.policy_.value, terminated) !=
        DDS_RETCODE_OK) {
        return std::nullopt;
    }
    return out;
}

std::optional<PropertyList> PropertyList::withoutPrefix(std::string_view prefix,
                                                        bool ignoreCase) const
{
    const CName p(prefix);
    if (p.refused()) {
        return std::nullopt;
    }
    const char *terminated = p.get("withoutPrefix");
    PropertyList out;
    Diverted diverted;
    if (DDS_PropertyQosPolicyHelper_get_properties_without_prefix(
            &policy_, &out.policy_.value, terminated,
            ignoreCase ? DDS_BOOLEAN_TRUE : DDS_BOOLEAN_FALSE) != DDS_RETCODE_OK) {
        return std::nullopt;
    }
    return out;
}

ValidationReport PropertyList::validate(EntityKind kind, ValidationAction action) const
{
    ValidationReport report;
    Collector found(&report);
    Diverted diverted;
    report.passed = propqos_internal::validateNamesPerEntity(
                        &policy_, static_cast<DDS_EntityKind_t>(kind),
                        static_cast<DDS_PropertyQosPolicyValidationAction>(action), found) != 0;
    found.rethrow();
    report.other = diverted.take();
    return report;
}

LimitReport PropertyList::checkLimits(EntityKind kind, std::int32_t maxProperties,
                                      std::int32_t maxStringLength) const
{
    LimitReport report;
    Collector found(nullptr, &report);
    Diverted diverted;
    report.consistent =
        propqos_internal::checkResourceLimits(&policy_, static_cast<DDS_EntityKind_t>(kind),
                                              maxProperties, maxStringLength, found) != 0;
    found.rethrow();
    report.other = diverted.take();
    return report;
}

Mutability PropertyList::mutability(std::string_view name) const
{
    const CName n(name);
    Diverted diverted;
    return static_cast<Mutability>(
        DDS_PropertyQosPolicyHelper_get_property_mutability(n.get("mutability"), &policy_));
}

ChangeCheck PropertyList::checkChangeFrom(const PropertyList &current, bool entityEnabled) const
{
    ChangeCheck result;
    Collector found(nullptr, nullptr, &result);
    Diverted diverted;
    result.accepted = propqos_internal::checkChange(&policy_, &current.policy_,
                                                    entityEnabled ? 1 : 0, found) != 0;
    found.rethrow();
    result.other = diverted.take();
    return result;
}

std::optional<ValidationAction> PropertyList::validationAction() const
{
    Diverted diverted;
    DDS_PropertyQosPolicyValidationAction action =
        DDS_PROPERTY_QOS_POLICY_VALIDATION_ACTION_EXCEPTION;
    if (!DDS_PropertyQosPolicy_parse_property_validation_action(&action, &policy_)) {
        return std::nullopt;
    }
    return static_cast<ValidationAction>(action);
}

std::optional<std::string> PropertyList::save(const PropertyList *base) const
{
    // The module is run twice: once to measure, once into a buffer of that size.
    const DDS_PropertyQosPolicy *basePolicy = base != nullptr ? &base->policy_ : nullptr;
    Diverted diverted;
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

bool PropertyList::isConfidential(std::string_view name) noexcept
{
    return propqos_internal::isConfidentialName(name);
}

const char *toString(Mutability m) noexcept
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
