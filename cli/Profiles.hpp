// QoS profiles read from DDS-XML files, their base_name inheritance, and the properties that a
// profile's participant, writer or reader QoS ends up with.
#ifndef PROPQOS_CLI_PROFILES_HPP
#define PROPQOS_CLI_PROFILES_HPP

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include <pugixml.hpp>

#include "Source.hpp"
#include <propqos/PropertyList.hpp>

namespace propqos::cli
{

enum class Entity : int { Participant = 0, DataWriter = 1, DataReader = 2 };
constexpr std::array<Entity, 3> kEntities = {Entity::Participant, Entity::DataWriter,
                                             Entity::DataReader};

const char *entityTag(Entity e);   // "domain_participant_qos", ...
const char *entityLabel(Entity e); // "participant", "datawriter", "datareader"
EntityKind entityKind(Entity e);
std::optional<Entity> entityFromLabel(std::string_view label);

enum class Level { Error, Warning };

// One thing the tool has to say about an input, at a place in it.
struct Finding {
    const SourceFile *file = nullptr;
    std::size_t line = 0;
    Level level = Level::Error;
    std::string code;    // stable identifier: "unknown-property", "missing-base", ...
    std::string message; // one line, without the location
    std::string profile; // "Lib::Profile", when it concerns one
    std::string entity;  // "participant", "datawriter", "datareader", when it concerns one
    std::string property;
    std::string suggestion;
    std::ptrdiff_t offset = -1; // of the node at fault, when the line alone does not tell it
};

struct Profile {
    const SourceFile *file = nullptr;
    pugi::xml_node node;
    std::string library;
    std::string name;
    std::string qualified;               // "Lib::Profile"
    std::string baseName;                // the base_name attribute as written, or empty
    std::array<pugi::xml_node, 3> qos{}; // by Entity; empty when the profile has none
    const Profile *base = nullptr;       // resolved base, when there is a usable one
    bool duplicate = false;              // a later definition of a name already defined
};

// A value set in a profile's QoS, with where it was written.
struct SetValue {
    std::string text; // trimmed
    pugi::xml_node node;
    const Profile *owner = nullptr;
};

// One <element> of a property list, as written in a file. The strings point into the document.
struct ElementRef {
    const char *name = "";
    const char *value = "";
    bool propagate = false;
    pugi::xml_node node;
    const Profile *owner = nullptr;
};

class ProfileSet
{
public:
    // Takes a loaded file and records its profiles.
    void add(std::unique_ptr<SourceFile> file);
    // Links every profile to its base; missing bases, cycles and profiles defined twice are
    // reported in `findings`.
    void resolve(std::vector<Finding> &findings);

    const std::vector<std::unique_ptr<SourceFile>> &files() const { return files_; }
    const std::vector<Profile> &profiles() const { return profiles_; }
    const Profile *find(std::string_view qualified) const;

    // The profile and its bases, the most basic first.
    static std::vector<const Profile *> chain(const Profile &profile);
    // Whether the profile or one of its bases has a QoS for `e`.
    static bool hasQos(const Profile &profile, Entity e);

    // The <element>s of the profile's own QoS for `e`, in document order. Malformed elements are
    // skipped and, when `findings` is given, reported.
    static std::vector<ElementRef> ownElements(const Profile &profile, Entity e,
                                               std::vector<Finding> *findings);
    // The elements in force for `e`: the bases' first, each profile's adding to them or
    // replacing them by name, the last definition of a name winning.
    static std::vector<ElementRef> effectiveElements(const Profile &profile, Entity e);
    // A property list holding those elements, in that order.
    static PropertyList toList(const std::vector<ElementRef> &elements);

    // A participant resource limit ("participant_property_list_max_length", ...) as set by the
    // profile or its nearest base, with the node that set it; nullopt when none does.
    static std::optional<SetValue> resourceLimit(const Profile &profile, const char *field);

private:
    std::vector<std::unique_ptr<SourceFile>> files_;
    std::vector<Profile> profiles_;
    std::unordered_map<std::string, std::size_t> byName_; // first definition of each name
};

// A DDS-XML boolean (true/false, 1/0, yes/no, BOOLEAN_TRUE/DDS_BOOLEAN_TRUE and their FALSE
// forms, any letter case); nullopt for anything else.
std::optional<bool> parseXmlBoolean(std::string_view text);

} // namespace propqos::cli

#endif
