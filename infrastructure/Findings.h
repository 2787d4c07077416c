// What the checks find, as data: the unknown names of the name validation, the exceeded limits of
// the resource-limit check and the refused properties of the change check. Each check hands its
// findings, in the order it makes them, to a Findings object: the C entry points write each one
// as the log entry they have always written (LoggedFindings), the C++ API keeps them in its
// reports. The texts are views that live only during the call.
#ifndef PROPQOS_INFRASTRUCTURE_FINDINGS_H
#define PROPQOS_INFRASTRUCTURE_FINDINGS_H

#include <string_view>

#include <propqos/PropertyQosPolicy.h>

namespace propqos_internal {

// A property name that none of the known names matches: the first one under a prefix.
struct UnknownName {
    const char *name;
    const char *suggestion;  // the closest known name
    const char *underPrefix; // the prefix of the entity (or plug-in) the name was found under
    // As the entry words it: `prefix` is printed before the name and the suggestion ("" for an
    // entity's own names), `scope` where it was checked.
    const char *prefix;
    const char *scope;
    int level; // ZYN_LOG_LEVEL_ERROR when the action rejects the policy, else ..._WARNING
};

// A resource limit that the policy exceeds.
struct LimitExceeded {
    const char *what; // "number of properties in the property QoS policy", ...
    DDS_Long actual;
    const char *limitName; // "DDS_DomainParticipantQos.resource_limits.participant_...", ...
    DDS_Long limit;
    const char *advice; // for a participant, what to do about it; null otherwise
};

// A property that a change may not set.
struct ChangeRefused {
    const char *name;
    const char *reason; // "cannot modify because it is immutable", ...
};

class Findings {
public:
    virtual void unknownName(const UnknownName &) {}
    virtual void limitExceeded(const LimitExceeded &) {}
    virtual void changeRefused(const ChangeRefused &) {}
    // Whether the resource-limit check goes on after the first limit exceeded: the C entry
    // point reports the first only, as its one log entry; a report can carry each of them.
    virtual bool wantsEveryExcess() const { return false; }

protected:
    ~Findings() = default;
};

// Writes every finding as its entry, filed under `function`.
class LoggedFindings final : public Findings {
public:
    explicit LoggedFindings(const char *function) : function_(function) {}
    void unknownName(const UnknownName &finding) override;
    void limitExceeded(const LimitExceeded &finding) override;
    void changeRefused(const ChangeRefused &finding) override;

private:
    const char *function_;
};

// The checks behind DDS_PropertyQosPolicy_validate_property_names_per_entity,
// DDS_PropertyQosPolicy_is_consistentI and DDS_PropertyQosPolicy_isMutabilityConsistent: the
// same results, the findings handed to `findings` instead of logged. A failure of the check
// itself (memory, a broken policy) is still logged where it happens.
int validateNamesPerEntity(const DDS_PropertyQosPolicy *policy, DDS_EntityKind_t kind,
                           DDS_PropertyQosPolicyValidationAction action, Findings &findings);
int checkResourceLimits(const DDS_PropertyQosPolicy *policy, DDS_EntityKind_t kind,
                        DDS_Long maxProperties, DDS_Long maxStringLength, Findings &findings);
int checkChange(const DDS_PropertyQosPolicy *newProperties,
                const DDS_PropertyQosPolicy *oldProperties, int isEntityEnabled,
                Findings &findings);

// Whether saving replaces the value of a property of this name.
bool isConfidentialName(std::string_view name) noexcept;

}  // namespace propqos_internal

#endif
