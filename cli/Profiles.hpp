// QoS profiles read from DDS-XML files, their inheritance, and the properties that each
// participant, writer or reader QoS ends up with.
#ifndef PROPQOS_CLI_PROFILES_HPP
#define PROPQOS_CLI_PROFILES_HPP

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include <pugixml.hpp>

#include "Source.hpp"
#include <propqos/PropertyList.hpp>

namespace propqos::cli
{

enum class Entity : std::uint8_t { Participant = 0, DataWriter = 1, DataReader = 2 };
constexpr std::array<Entity, 3> kEntities = {Entity::Participant, Entity::DataWriter,
                                             Entity::DataReader};

const char *entityLabel(Entity e); // "participant", "datawriter", "datareader"
EntityKind entityKind(Entity e);
std::optional<Entity> entityFromLabel(std::string_view label);

enum class Level : std::uint8_t { Error, Warning };

// A NUL-terminated text kept elsewhere (a literal, a profile's name, a file's path, a text the
// findings keep): one word where a view takes two.
class TextRef
{
public:
    TextRef() = default;
    TextRef(const char *text) : text_(text) {}
    TextRef(const std::string &text) : text_(text.c_str()) {}
    std::string_view view() const { return text_ != nullptr ? text_ : std::string_view(); }
    operator std::string_view() const { return view(); }
    bool empty() const { return text_ == nullptr || *text_ == '\0'; }
    friend bool operator==(TextRef a, TextRef b) { return a.view() == b.view(); }
    friend bool operator==(TextRef a, std::string_view b) { return a.view() == b; }
    friend bool operator==(TextRef a, const char *b) { return a.view() == b; }
    friend bool operator==(TextRef a, const std::string &b) { return a.view() == b; }
    friend bool operator==(std::string_view a, TextRef b) { return a == b.view(); }
    friend bool operator==(const std::string &a, TextRef b) { return a == b.view(); }
    friend bool operator!=(TextRef a, const char *b) { return a.view() != b; }

private:
    const char *text_ = nullptr;
};

// A text of its own in one allocation (a word, where a string takes four), copied with its owner.
class OwnedText
{
public:
    OwnedText() = default;
    OwnedText(std::string_view text) { assign(text); }
    OwnedText(const std::string &text) { assign(text); }
    OwnedText(const char *text) { assign(text); }
    OwnedText(const OwnedText &other) { assign(other.view()); }
    OwnedText(OwnedText &&other) noexcept : block_(other.block_) { other.block_ = nullptr; }
    OwnedText &operator=(OwnedText other) noexcept
    {
        std::swap(block_, other.block_);
        return *this;
    }
    ~OwnedText() { delete[] block_; }
    std::string_view view() const;
    bool empty() const { return block_ == nullptr; }

private:
    void assign(std::string_view text);
    char *block_ = nullptr; // the length, then the text
};

struct Qos;
struct Profile;

// How a finding's message is made: held as written, or made from the finding's fields when it is
// printed (on a large input the findings of these kinds are many; their messages are not held).
enum class Form : std::uint8_t {
    Text,             // `message`
    UnknownProperty,  // `property` in `qos`, with `suggestion` when there is one
    ResourceLimit,    // `qos`: `what` (`actual`) exceeds `property` (`limit`)
    PropagatedSecret, // confidential `property` in `qos` marked to propagate
};

// One thing the tool has to say about an input, at a place in it. Texts are views of what lives
// as long as the findings: the files, the profiles, literals, or what Findings keeps.
struct Finding {
    const SourceFile *file = nullptr; // the file, when it could be read
    TextRef path;
    std::ptrdiff_t offset = -1;  // of the node at fault (the name of its element), when known
    TextRef code;                // stable identifier: "unknown-property", "unknown-base", ...
    TextRef profile;             // "Lib::Profile", when it concerns one
    TextRef entity;              // "participant", "datawriter", "datareader", when it concerns one
    std::string_view property;
    TextRef suggestion;
    OwnedText message;           // Form::Text: one line, without the location
    const Qos *qos = nullptr;    // the QoS the message names, when it names one
    TextRef what;                // Form::ResourceLimit: what is counted
    std::uint32_t line = 0;
    std::uint32_t column = 0;
    std::uint32_t inheritedBy = 0; // further profiles in which the same finding holds
    std::uint32_t inheritedByEntities = 0; // participants defined in a file that inherit it
    TextRef raisedBy;            // the first inheritor that makes a warning an error
    std::uint32_t raisers = 0;   // how many inheritors make it an error
    std::uint32_t fileIndex = UINT32_MAX; // order of the file among those given
    std::int32_t actual = 0, limit = 0;   // Form::ResourceLimit
    Level level = Level::Error;
    Form form = Form::Text;

    // The message: one line, without the location.
    std::string text() const;
};

// Findings in a deque: many of them on a large input, and no copy of them all when it grows.
using FindingList = std::deque<Finding>;

// What makes a finding the same as one already made: its rule, its place (a node, an element),
// and a text and number that tell findings at one place apart.
struct FindingKey {
    std::string_view code;
    const void *where = nullptr;
    std::string_view text; // kept by the findings (Findings::intern) or a literal
    long long number = 0;
    bool operator==(const FindingKey &o) const
    {
        return code == o.code && where == o.where && text == o.text && number == o.number;
    }
};
struct FindingKeyHash {
    std::size_t operator()(const FindingKey &k) const;
};

// The findings of a run. A finding added again under the same key (the same fault at the same
// place, met again in a profile that inherits it) is counted, not repeated.
class Findings
{
public:
    void add(Finding f);
    // Said once under `key`; added again, `by` (when given) counts towards the first.
    void add(Finding f, const FindingKey &key, const Profile *by = nullptr);
    // Another profile (or participant) in which the finding `index` holds; `error` raises it
    // to an error, and the first profile that does so is named.
    void inherit(std::size_t index, const Profile &by, bool error);
    FindingList &list() { return list_; }
    const FindingList &list() const { return list_; }
    // Index of the finding added under `key`, or SIZE_MAX.
    std::size_t find(const FindingKey &key) const;
    // By file (in the order given), line, column.
    void sort();
    // A copy of `text` that lives as long as these findings.
    TextRef keep(std::string text);
    // The same, one copy for equal texts (names that many findings share).
    TextRef intern(std::string_view text);

private:
    FindingList list_;
    std::vector<const Profile *> lastProfile_;
    std::unordered_map<FindingKey, std::size_t, FindingKeyHash> byKey_;
    std::deque<std::string> kept_;
    std::unordered_set<std::string> interned_;
};

// One <element> of a property list, as written in a file. Name and value are the element's text
// (comments left out, trimmed); they point into the document or into the set's own storage.
struct ElementRef {
    std::string_view name;
    std::string_view value;
    pugi::xml_node node;     // the <element>
    const Qos *owner = nullptr;
    std::uint32_t index = 0; // among all the elements of the set, from 0
    bool propagate = false;
    bool confidential = false;
    // Whether it sets what the module's name check reads besides the names: the plug-ins a
    // list loads (load lists, create functions, sub-transports), flow controllers, the writer
    // history plug-in.
    bool context = false;
    // Its <name>, where findings about the name are placed.
    pugi::xml_node nameNode() const { return childNamed(node, "name"); }
};

// The elements a QoS writes: a run of the set's elements, in document order.
struct ElementSpan {
    const ElementRef *first = nullptr;
    std::uint32_t count = 0;
    const ElementRef *begin() const { return first; }
    const ElementRef *end() const { return first + count; }
    std::size_t size() const { return count; }
    bool empty() const { return count == 0; }
};

// The bases of a profile or QoS, in order. Nearly all have none or one: that one is held in
// place, more on the heap (a vector would take a heap block for a single pointer).
template <typename T>
class BaseList
{
public:
    BaseList() = default;
    BaseList(const BaseList &other)
    {
        for (T item : other) {
            push_back(item);
        }
    }
    BaseList(BaseList &&other) noexcept { swap(other); }
    BaseList &operator=(BaseList other) noexcept
    {
        swap(other);
        return *this;
    }
    ~BaseList()
    {
        if (capacity_ > 1) {
            delete[] data_.many;
        }
    }
    T *begin() { return capacity_ > 1 ? data_.many : &data_.one; }
    T *end() { return begin() + size_; }
    const T *begin() const { return capacity_ > 1 ? data_.many : &data_.one; }
    const T *end() const { return begin() + size_; }
    std::size_t size() const { return size_; }
    bool empty() const { return size_ == 0; }
    T operator[](std::size_t i) const { return begin()[i]; }
    void push_back(T item)
    {
        if (size_ == capacity_) {
            T *grown = new T[2 * capacity_];
            std::copy(begin(), end(), grown);
            if (capacity_ > 1) {
                delete[] data_.many;
            }
            data_.many = grown;
            capacity_ *= 2;
        }
        begin()[size_++] = item;
    }
    T *erase(T *at)
    {
        std::copy(at + 1, end(), at);
        --size_;
        return at;
    }

private:
    void swap(BaseList &other) noexcept
    {
        std::swap(size_, other.size_);
        std::swap(capacity_, other.capacity_);
        std::swap(data_, other.data_);
    }
    std::uint32_t size_ = 0;
    std::uint32_t capacity_ = 1;
    union {
        T one;
        T *many;
    } data_{};
};

// A participant resource limit as set, with where.
struct SetValue {
    std::string_view text;
    pugi::xml_node node;
    const Qos *owner = nullptr;
};
constexpr std::size_t kLimitFields = 6;
extern const char *const kLimitFieldNames[kLimitFields];

// One participant, writer or reader QoS of a profile: one written in the file, or the one a
// profile has by inheritance only (no node).
struct Qos {
    const Profile *profile = nullptr;
    pugi::xml_node node;
    std::string_view label;               // how it is told apart from the profile's other ones
    BaseList<const Qos *> bases;          // in the order they apply
    ElementSpan own;                      // its own elements, in document order
    // Participant: the resource limits in force after inheritance, shared with the base that set
    // them; null when none is set.
    std::shared_ptr<const std::array<SetValue, kLimitFields>> limits;
    std::uint32_t dependents = 0;         // QoS that have this one as a base
    Entity entity = Entity::Participant;
    bool exists = false;                  // written here or in a base
    bool endpoint = false;                // of a writer or reader of a participant: the label
                                          // is its place, "Publisher/Writer"
    // "participant QoS of Lib::Profile", with the label when there is one;
    // "datawriter QoS of Lib::Participant/Publisher/Writer" for an endpoint's.
    std::string describe() const;
};

// What a record of the set stands for: a <qos_profile>, or a <domain_participant> of a
// <domain_participant_library> with the QoS written inside it (its own, and those of the
// writers and readers of its publishers and subscribers).
enum class RecordKind : std::uint8_t { QosProfile = 0, Participant = 1 };

struct Profile {
    const SourceFile *file = nullptr;
    pugi::xml_node node;
    std::string_view library; // empty for a profile directly under <dds> (a view of the document)
    std::string qualified;    // "Lib::Profile", or "Profile" without a library
    BaseList<const Profile *> bases;
    std::array<Qos *, 3> slot{}; // by Entity: the default QoS; null when it has none
    std::uint32_t fileIndex = 0;
    std::uint32_t index = 0;     // among the set's profiles
    bool duplicate = false;      // a later definition of a name already defined
    // A QoS element written directly in a library (<qos_library><datawriter_qos name=...>):
    // a record of one QoS, which is `node` itself.
    bool standalone = false;
    RecordKind kind = RecordKind::QosProfile;
    const char *noun() const
    {
        return standalone ? "QoS" : kind == RecordKind::QosProfile ? "profile" : "participant";
    }
};

// A finding at `node` of profile `p`'s file, filed under `p`.
Finding findingAt(const Profile &p, pugi::xml_node node, Level level, const char *code,
                  std::string message);

class ProfileSet
{
public:
    // Bases matching one of these patterns ('*' and '?' wildcards) are known to exist elsewhere.
    void setExternalBases(std::vector<std::string> patterns) { external_ = std::move(patterns); }
    // Takes a loaded file and records its profiles; false (and nothing kept) when the same file
    // was already added.
    bool add(std::unique_ptr<SourceFile> file, std::size_t fileIndex);
    // Links profiles and QoS to their bases, reads the elements. Unknown bases, cycles, profiles
    // defined twice and malformed elements are reported in `findings`.
    void resolve(Findings &findings);

    const std::vector<std::unique_ptr<SourceFile>> &files() const { return files_; }
    const std::deque<Profile> &profiles() const { return profiles_; }
    // A profile, else a participant, else a QoS written alone in a library, of that qualified
    // name ("::" in front: the same).
    const Profile *find(std::string_view qualified) const;
    const Profile *find(std::string_view qualified, RecordKind kind) const;
    // Profiles (not participants) defined, each name once.
    std::size_t profileCount() const;
    std::size_t participantCount() const;
    std::size_t elementCount() const { return elements_; }

    // The elements in force for each existing QoS of entity `e`, bases before the QoS that
    // inherit from them: the bases' first, in order, each later one adding or replacing by name,
    // then the QoS's own. Each list is computed once and released once no QoS needs it.
    void forEachEffective(
        Entity e,
        const std::function<void(const Qos &, const std::vector<const ElementRef *> &)> &fn) const;
    // The elements in force for one QoS.
    static std::vector<const ElementRef *> effective(const Qos &qos);
    // A property list holding those elements, in that order, leaving out `skip` ones.
    static PropertyList toList(const std::vector<const ElementRef *> &elements,
                               const std::function<bool(const ElementRef &)> &skip = nullptr);
    // All QoS of an entity, in topological order (bases first).
    const std::vector<Qos *> &order(Entity e) const { return order_[static_cast<int>(e)]; }

private:
    // The record of kind `kind` that a base_name written in `from` names.
    const Profile *resolveName(std::string_view name, const Profile &from, RecordKind kind) const;
    void readElements(Qos &qos, Findings &findings);
    void readEndpoints(Profile &participant, Findings &findings,
                       std::vector<std::pair<Qos *, std::string>> &qosBases);
    Qos &newQos(Profile &p, Entity e);

    std::vector<std::unique_ptr<SourceFile>> files_;
    std::deque<Profile> profiles_;
    std::deque<Qos> qos_;
    std::deque<std::string> texts_; // element texts assembled from several pieces
    std::vector<ElementRef> elementPool_; // every QoS's own elements, one run per QoS
    // By kind, views of Profile::qualified.
    std::array<std::unordered_map<std::string_view, std::size_t>, 2> byName_;
    // QoS written alone in a library, by entity: a writer QoS and a reader QoS may share a name.
    std::array<std::unordered_map<std::string_view, std::size_t>, 3> lone_;
    // The lone QoS of entity `e` that a base_name written in `from` names.
    const Profile *findLone(std::string_view name, const Profile &from, Entity e) const;
    // Libraries, profiles and participants without a name: reported, not used.
    struct Unnamed {
        const SourceFile *file;
        std::uint32_t fileIndex;
        pugi::xml_node node;
    };
    std::vector<Unnamed> unnamed_;
    // The bases each profile names, as written, in order; needed only until resolved.
    struct BaseName {
        std::uint32_t profile;
        std::string_view name;
        pugi::xml_node node;
    };
    std::vector<BaseName> baseNames_;
    std::vector<std::string> external_;
    std::size_t elements_ = 0;
    std::array<std::vector<Qos *>, 3> order_;
};

// A DDS-XML boolean (true/false, 1/0, yes/no, BOOLEAN_TRUE/DDS_BOOLEAN_TRUE and their FALSE
// forms, any letter case); nullopt for anything else.
std::optional<bool> parseXmlBoolean(std::string_view text);

} // namespace propqos::cli

#endif
