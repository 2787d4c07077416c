#include "Rules.hpp"

#include "Commands.hpp"

namespace propqos::cli
{

const std::vector<Rule> &rules()
{
    static const std::vector<Rule> all = {
        {"unknown-property", Level::Error, "Property name unknown to the middleware",
         "A property name under a checked prefix that neither the middleware nor a plug-in the "
         "QoS loads knows; the closest known name is suggested. An error or a warning as the "
         "profile's dds.participant.property_validation_action says (error by default)."},
        {"resource-limit", Level::Error, "Property list over the participant's resource limits",
         "The QoS holds more properties, or more characters of names and values, than the "
         "participant's <resource_limits> allow (64 properties and 8192 characters unless set)."},
        {"invalid-value", Level::Error, "Setting the check depends on has an unusable value",
         "A validation action or a resource limit that is not one of its accepted forms; the "
         "check goes on with the default."},
        {"confidential-propagated", Level::Warning, "Confidential property sent to remote peers",
         "A key, password or pass phrase marked <propagate>true</propagate>: every remote peer "
         "would receive its value."},
        {"duplicate-property", Level::Warning, "Property name given twice in one QoS",
         "The same name appears twice in one QoS of one profile; only the later value is used."},
        {"malformed-element", Level::Error, "Element the middleware would not read",
         "An <element> of a <property> list lacks its <name> or <value>, or has two of either; "
         "a list or an endpoint is where it is not read (an <element> outside <value>, a "
         "misspelt <property>, a <data_writer> outside a <publisher>, a QoS of another kind in "
         "an endpoint); or a library, profile, participant, publisher, subscriber, writer or "
         "reader has no name, so that nothing can refer to it. What it holds is not checked."},
        {"duplicate-qos", Level::Error, "QoS given twice in one profile",
         "A profile or participant holds two participant QoS, two writer or reader QoS of the "
         "same name or topic filter, two endpoints of one name in a publisher or subscriber, or "
         "a writer or reader two QoS: which one applies is unclear. Both are checked."},
        {"missing-base", Level::Error, "Base profile missing from its library",
         "A base_name names a profile of a library that the files given hold, but that library "
         "has no such profile (or, for a bare name, no profile of that name is defined), or it "
         "names a QoS of another kind: most likely a misspelt or removed profile. What it would "
         "set is not checked."},
        {"unknown-base", Level::Warning, "Base profile not in the files given",
         "A base_name names a profile of a library that none of the files given holds (typically "
         "one the middleware ships built in); what it sets is not checked, the profile's own "
         "properties are. Said once per base. --external-base PATTERN declares such bases "
         "known."},
        {"inheritance-cycle", Level::Error, "Profiles inherit from each other in a cycle",
         "Following base_name from a profile comes back to it."},
        {"duplicate-profile", Level::Error, "Profile defined twice",
         "Two qos_profile (or domain_participant) elements have the same library and name; the "
         "later is ignored."},
        {"unusable-file", Level::Error, "File cannot be read as a DDS-XML document",
         "The file cannot be opened, is not well-formed XML (characters XML forbids included), "
         "is in an encoding other than UTF-8, UTF-16 or ISO-8859-1, or its root is not <dds>. "
         "The other files are still checked; the exit status is 2. Cannot be disabled."},
        {"no-profiles", Level::Warning, "File without any QoS profile",
         "A DDS-XML file with no <qos_profile>, under <dds> or a <qos_library>, and no "
         "<domain_participant> of a <domain_participant_library>: nothing in it was checked."},
        {"unknown-rule", Level::Warning, "Ignore comment naming no rule",
         "A <!-- propqos: ignore RULE --> comment names a rule that does not exist (a misspelt "
         "code): it silences nothing. The rules it names that exist still apply."},
        {"internal", Level::Error, "The check itself failed",
         "The property names of a QoS could not be checked; the message says why."},
        {"removed-profile", Level::Warning, "Profile of OLD missing from NEW",
         "Reported by diff: a profile of OLD that NEW does not define (removed or renamed)."},
        {"removed-qos", Level::Warning, "QoS of OLD missing from NEW",
         "Reported by diff: a participant, datawriter or datareader QoS that a profile of OLD "
         "has and the same profile in NEW no longer has."},
        {"unknown-change", Level::Warning, "Change of a property name nobody knows",
         "Reported by diff: a property added or changed from OLD to NEW whose name the "
         "middleware does not know; it has no mutability, so whether an existing entity "
         "accepts the change cannot be told."},
        {"refused-change", Level::Error, "Property change an existing entity would refuse",
         "Reported by diff: a property added or changed from OLD to NEW that is not mutable "
         "(or is mutable only until the entity is enabled)."},
    };
    return all;
}

const Rule *findRule(std::string_view code)
{
    for (const Rule &rule : rules()) {
        if (code == rule.code) {
            return &rule;
        }
    }
    return nullptr;
}

int runListRules()
{
    std::string text;
    for (const Rule &rule : rules()) {
        std::string code = rule.code;
        code.resize(std::max<std::size_t>(code.size(), 24), ' ');
        text += code + (rule.level == Level::Error ? "error    " : "warning  ") + rule.summary +
                "\n";
    }
    out(text);
    return kExitClean;
}

} // namespace propqos::cli
