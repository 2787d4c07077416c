#include "Profiles.hpp"

#include <algorithm>
#include <array>
#include <cstring>

#include <fnmatch.h>

#include "Text.hpp"

namespace propqos::cli
{

const char *entityLabel(Entity e)
{
    switch (e) {
    case Entity::Participant:
        return "participant";
    case Entity::DataWriter:
        return "datawriter";
    case Entity::DataReader:
        return "datareader";
    }
    return "";
}

EntityKind entityKind(Entity e)
{
    switch (e) {
    case Entity::Participant:
        return EntityKind::Participant;
    case Entity::DataWriter:
        return EntityKind::DataWriter;
    case Entity::DataReader:
        return EntityKind::DataReader;
    }
    return EntityKind::Participant;
}

std::optional<Entity> entityFromLabel(std::string_view label)
{
    for (Entity e : kEntities) {
        if (label == entityLabel(e)) {
            return e;
        }
    }
    return std::nullopt;
}

std::optional<bool> parseXmlBoolean(std::string_view text)
{
    text = trimmed(text);
    for (const char *word : {"true", "1", "yes", "BOOLEAN_TRUE", "DDS_BOOLEAN_TRUE"}) {
        if (equalsIgnoreCase(text, word)) {
            return true;
        }
    }
    for (const char *word : {"false", "0", "no", "BOOLEAN_FALSE", "DDS_BOOLEAN_FALSE"}) {
        if (equalsIgnoreCase(text, word)) {
            return false;
        }
    }
    return std::nullopt;
}

const char *const kLimitFieldNames[kLimitFields] = {
    "participant_property_list_max_length", "participant_property_string_max_length",
    "writer_property_list_max_length",      "writer_property_string_max_length",
    "reader_property_list_max_length",      "reader_property_string_max_length"};

// ---- findings ----

std::string_view OwnedText::view() const
{
    if (block_ == nullptr) {
        return {};
    }
    std::size_t size;
    std::memcpy(&size, block_, sizeof size);
    return std::string_view(block_ + sizeof size, size);
}

void OwnedText::assign(std::string_view text)
{
    delete[] block_;
    block_ = nullptr;
    if (text.empty()) {
        return;
    }
    const std::size_t size = text.size();
    block_ = new char[sizeof size + size];
    std::memcpy(block_, &size, sizeof size);
    std::memcpy(block_ + sizeof size, text.data(), size);
}

std::string Finding::text() const
{
    switch (form) {
    case Form::Text:
        return std::string(message.view());
    case Form::UnknownProperty:
        return "unknown property " + quoted(property) + " in " + qos->describe() +
               (suggestion.empty() ? std::string()
                                   : "; did you mean " + quoted(suggestion) + "?");
    case Form::ResourceLimit:
        return qos->describe() + ": " + std::string(what) + " (" + std::to_string(actual) +
               ") exceeds " + std::string(property) + " (" + std::to_string(limit) + ")";
    case Form::PropagatedSecret:
        return "confidential property " + quotedShort(property, 4096) + " in " + qos->describe() +
               " is marked to propagate: remote peers would receive its value";
    }
    return std::string();
}

std::size_t FindingKeyHash::operator()(const FindingKey &k) const
{
    const std::hash<std::string_view> text;
    std::size_t h = text(k.code);
    for (const std::size_t part : {std::hash<const void *>()(k.where), text(k.text),
                                   std::hash<long long>()(k.number)}) {
        h ^= part + 0x9e3779b97f4a7c15ull + (h << 6) + (h >> 2);
    }
    return h;
}

void Findings::add(Finding f)
{
    list_.push_back(std::move(f));
    lastProfile_.push_back(nullptr);
}

void Findings::add(Finding f, const FindingKey &key, const Profile *by)
{
    const auto [it, added] = byKey_.emplace(key, list_.size());
    if (!added) {
        if (by != nullptr) {
            inherit(it->second, *by, f.level == Level::Error);
        }
        return;
    }
    add(std::move(f));
}

std::size_t Findings::find(const FindingKey &key) const
{
    const auto it = byKey_.find(key);
    return it == byKey_.end() ? SIZE_MAX : it->second;
}

void Findings::inherit(std::size_t index, const Profile &by, bool error)
{
    Finding &f = list_[index];
    // A profile's QoS are met one after another: counted once per profile.
    const bool again = lastProfile_[index] == &by;
    if (!again) {
        lastProfile_[index] = &by;
        ++(by.kind == RecordKind::QosProfile ? f.inheritedBy : f.inheritedByEntities);
    }
    if (!error) {
        return;
    }
    // Where it is written it may be a warning; a profile that inherits it with a stricter
    // validation action makes it an error, and is named.
    if (f.level == Level::Warning) {
        f.level = Level::Error;
        f.raisedBy = by.qualified;
        f.raisers = 1;
    } else if (!f.raisedBy.empty() && !again) {
        ++f.raisers;
    }
}

TextRef Findings::keep(std::string text)
{
    kept_.push_back(std::move(text));
    return kept_.back();
}

TextRef Findings::intern(std::string_view text)
{
    return *interned_.emplace(text).first;
}

void Findings::sort()
{
    // Indices are sorted, then the findings moved into place along the permutation's cycles:
    // no second copy of the findings, which can be many.
    std::vector<std::size_t> order(list_.size());
    for (std::size_t i = 0; i < order.size(); ++i) {
        order[i] = i;
    }
    std::stable_sort(order.begin(), order.end(), [this](std::size_t x, std::size_t y) {
        const Finding &a = list_[x], &b = list_[y];
        if (a.fileIndex != b.fileIndex) {
            return a.fileIndex < b.fileIndex;
        }
        return a.line != b.line ? a.line < b.line : a.column < b.column;
    });
    // Position i receives the finding at order[i].
    for (std::size_t i = 0; i < order.size(); ++i) {
        if (order[i] == i) {
            continue;
        }
        Finding held = std::move(list_[i]);
        std::size_t at = i;
        while (order[at] != i) {
            const std::size_t from = order[at];
            list_[at] = std::move(list_[from]);
            order[at] = at;
            at = from;
        }
        list_[at] = std::move(held);
        order[at] = at;
    }
}

// ---- reading profiles ----

std::string Qos::describe() const
{
    if (endpoint) {
        return std::string(entityLabel(entity)) + " QoS of " +
               escaped(profile->qualified + "/" + std::string(label));
    }
    return std::string(entityLabel(entity)) + " QoS" +
           (label.empty() ? std::string() : " " + std::string(label)) + " of " +
           escaped(profile->qualified);
}

namespace
{

std::optional<Entity> qosEntity(std::string_view tag)
{
    if (tag == "domain_participant_qos" || tag == "domainparticipant_qos" ||
        tag == "participant_qos") {
        return Entity::Participant;
    }
    if (tag == "datawriter_qos") {
        return Entity::DataWriter;
    }
    if (tag == "datareader_qos") {
        return Entity::DataReader;
    }
    return std::nullopt;
}

std::string_view withoutRootScope(std::string_view name)
{
    return name.substr(0, 2) == "::" ? name.substr(2) : name;
}

} // namespace

bool ProfileSet::add(std::unique_ptr<SourceFile> file, std::size_t fileIndex)
{
    for (const auto &known : files_) {
        if (known->inode() != 0 && known->device() == file->device() &&
            known->inode() == file->inode()) {
            return false;
        }
    }
    const SourceFile *source = file.get();
    files_.push_back(std::move(file));
    const auto named = [&](pugi::xml_node node) {
        const std::string_view name = trimmed(node.attribute("name").value());
        if (name.empty()) {
            unnamed_.push_back({source, static_cast<std::uint32_t>(fileIndex), node});
        }
        return name;
    };
    const auto record = [&](pugi::xml_node node, std::string_view library, RecordKind kind,
                            bool standalone = false) {
        const std::string_view name = named(node);
        if (name.empty()) {
            return;
        }
        Profile profile;
        profile.file = source;
        profile.fileIndex = static_cast<std::uint32_t>(fileIndex);
        profile.index = static_cast<std::uint32_t>(profiles_.size());
        profile.node = node;
        profile.library = library;
        profile.kind = kind;
        profile.standalone = standalone;
        profile.qualified = library.empty() ? std::string(name)
                                            : std::string(library) + "::" + std::string(name);
        // A lone QoS's base_name is that of its QoS, taken with the QoS.
        const std::string_view base =
            standalone ? std::string_view() : trimmed(node.attribute("base_name").value());
        if (!base.empty()) {
            baseNames_.push_back({profile.index, base, node});
        }
        // Composition: <base_name><element>Lib::A</element>...</base_name>, applied in order.
        std::string scratch;
        const pugi::xml_node list =
            kind == RecordKind::QosProfile ? childNamed(node, "base_name") : pugi::xml_node();
        if (list) {
            for (pugi::xml_node e = list.first_child(); e; e = e.next_sibling()) {
                if (e.type() == pugi::node_element && localName(e) == "element") {
                    std::string_view text = textOf(e, scratch);
                    if (text.data() == scratch.data() && !text.empty()) {
                        texts_.emplace_back(text);
                        text = texts_.back();
                    }
                    if (!text.empty()) {
                        baseNames_.push_back({profile.index, text, e});
                    }
                }
            }
        }
        profiles_.push_back(std::move(profile));
    };
    const pugi::xml_node root = source->document().document_element();
    for (pugi::xml_node child = root.first_child(); child; child = child.next_sibling()) {
        if (child.type() != pugi::node_element) {
            continue;
        }
        const std::string_view tag = localName(child);
        if (tag == "qos_profile") {
            record(child, "", RecordKind::QosProfile);
            continue;
        }
        // A library's members, named "Library::Member".
        const RecordKind kind =
            tag == "qos_library" ? RecordKind::QosProfile : RecordKind::Participant;
        const char *member = kind == RecordKind::QosProfile ? "qos_profile" : "domain_participant";
        if (tag != "qos_library" && tag != "domain_participant_library") {
            continue;
        }
        const std::string_view library = named(child);
        if (library.empty()) {
            continue;
        }
        for (pugi::xml_node node = child.first_child(); node; node = node.next_sibling()) {
            if (node.type() != pugi::node_element) {
                continue;
            }
            if (localName(node) == member) {
                record(node, library, kind);
            } else if (kind == RecordKind::QosProfile && qosEntity(localName(node))) {
                // A named QoS beside the profiles, a base for QoS of its kind as "Lib::Name".
                record(node, library, kind, true);
            }
        }
    }
    return true;
}

const Profile *ProfileSet::find(std::string_view qualified, RecordKind kind) const
{
    const auto &names = byName_[static_cast<int>(kind)];
    const auto it = names.find(withoutRootScope(qualified));
    return it == names.end() ? nullptr : &profiles_[it->second];
}

const Profile *ProfileSet::find(std::string_view qualified) const
{
    const Profile *p = find(qualified, RecordKind::QosProfile);
    p = p != nullptr ? p : find(qualified, RecordKind::Participant);
    for (const auto &lone : lone_) {
        const auto it = lone.find(withoutRootScope(qualified));
        p = p != nullptr || it == lone.end() ? p : &profiles_[it->second];
    }
    return p;
}

namespace
{

// The record a base_name written in `from` names, among `names`. "::A" is A at the root of the
// files, outside every library; a bare "A" is first looked for in the library of the one naming
// it, when `ownLibrary` allows.
const Profile *resolveIn(const std::unordered_map<std::string_view, std::size_t> &names,
                         const std::deque<Profile> &profiles, std::string_view name,
                         const Profile &from, bool ownLibrary)
{
    const bool absolute = name.substr(0, 2) == "::";
    name = withoutRootScope(name);
    if (!absolute && ownLibrary && name.find("::") == std::string_view::npos &&
        !from.library.empty()) {
        const auto it = names.find(std::string(from.library) + "::" + std::string(name));
        if (it != names.end()) {
            return &profiles[it->second];
        }
    }
    const auto it = names.find(name);
    return it == names.end() ? nullptr : &profiles[it->second];
}

} // namespace

const Profile *ProfileSet::findLone(std::string_view name, const Profile &from, Entity e) const
{
    return resolveIn(lone_[static_cast<int>(e)], profiles_, name, from,
                     from.kind == RecordKind::QosProfile);
}

std::size_t ProfileSet::profileCount() const
{
    // A QoS written alone in a library is counted with the QoS, not as a profile.
    return byName_[static_cast<int>(RecordKind::QosProfile)].size();
}

std::size_t ProfileSet::participantCount() const
{
    return byName_[static_cast<int>(RecordKind::Participant)].size();
}

const Profile *ProfileSet::resolveName(std::string_view name, const Profile &from,
                                       RecordKind kind) const
{
    // Of the same kind only: a participant's QoS names profiles by their full names.
    return resolveIn(byName_[static_cast<int>(kind)], profiles_, name, from, from.kind == kind);
}

namespace
{

// The second child element of `node` called `tag`, if any.
pugi::xml_node secondChildNamed(pugi::xml_node node, std::string_view tag)
{
    bool seen = false;
    for (pugi::xml_node child = node.first_child(); child && !tag.empty();
         child = child.next_sibling()) {
        if (child.type() == pugi::node_element && localName(child) == tag) {
            if (seen) {
                return child;
            }
            seen = true;
        }
    }
    return {};
}

// Each <element> of the <property><value> lists of a QoS element, in document order.
template <typename Fn>
void forEachElement(pugi::xml_node qos, Fn fn)
{
    for (pugi::xml_node property = qos.first_child(); property;
         property = property.next_sibling()) {
        if (property.type() != pugi::node_element || localName(property) != "property") {
            continue;
        }
        for (pugi::xml_node value = property.first_child(); value; value = value.next_sibling()) {
            if (value.type() != pugi::node_element || localName(value) != "value") {
                continue;
            }
            for (pugi::xml_node element = value.first_child(); element;
                 element = element.next_sibling()) {
                if (element.type() == pugi::node_element && localName(element) == "element") {
                    fn(element);
                }
            }
        }
    }
}

// A QoS child that is most likely a misspelt <property>: its list would be dropped unread by
// the middleware, and by these checks.
bool looksLikeProperty(std::string_view name)
{
    constexpr std::string_view kProperty = "property";
    if (name == kProperty || name.size() < 6 || name.size() > 12) {
        return false;
    }
    std::string lower(name);
    for (char &c : lower) {
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return lower == kProperty || lower == "properties" || nearName(lower, kProperty);
}

} // namespace

void ProfileSet::readElements(Qos &qos, Findings &findings)
{
    const Profile &profile = *qos.profile;
    const auto report = [&](pugi::xml_node node, std::string message, std::string_view property) {
        Finding f = findingAt(profile, node, Level::Error, "malformed-element",
                       std::move(message) + " in " + qos.describe());
        f.entity = entityLabel(qos.entity);
        f.property = property;
        findings.add(std::move(f));
    };
    std::string scratch;
    const auto text = [&](pugi::xml_node node) {
        std::string_view t = textOf(node, scratch);
        if (t.data() == scratch.data() && !t.empty()) {
            texts_.emplace_back(t);
            t = texts_.back();
        }
        return t;
    };
    // Lists the middleware would not read: they are not read here either, so say so.
    for (pugi::xml_node child = qos.node.first_child(); child; child = child.next_sibling()) {
        if (child.type() != pugi::node_element) {
            continue;
        }
        const std::string_view tag = localName(child);
        if (looksLikeProperty(tag)) {
            report(child, "<" + escaped(tag) + "> is not read (did you mean <property>?)", "");
            continue;
        }
        for (pugi::xml_node list = tag == "property" ? child.first_child() : pugi::xml_node();
             list; list = list.next_sibling()) {
            const std::string_view inner = list.type() == pugi::node_element ? localName(list) : "value";
            if (inner == "element") {
                report(list, "<element> directly under <property> is not read (a list is "
                             "<property><value><element>)", "");
            } else if (inner != "value" && inner != "binary_value") {
                report(list, "<" + escaped(inner) +
                                 "> under <property> is not read (expected <value> or <binary_value>)",
                       "");
            }
        }
    }
    forEachElement(qos.node, [&](pugi::xml_node element) {
        const pugi::xml_node name = childNamed(element, "name");
        const pugi::xml_node v = childNamed(element, "value");
        ElementRef ref;
        ref.name = name ? text(name) : std::string_view();
        if (ref.name.empty()) {
            report(element, "property element without a <name>", "");
            return;
        }
        // Readers disagree on which of two <name>s or <value>s counts, so neither does.
        if (const pugi::xml_node again = secondChildNamed(element, name ? "name" : "")) {
            report(again, "property element with more than one <name>", ref.name);
            return;
        }
        if (const pugi::xml_node again = secondChildNamed(element, v ? "value" : "")) {
            report(again,
                   "property " + quotedShort(ref.name, 4096) + " with more than one <value>",
                   ref.name);
            return;
        }
        if (!v) {
            report(element, "property " + quotedShort(ref.name, 4096) + " without a <value>",
                   ref.name);
            return;
        }
        ref.value = text(v);
        ref.node = element;
        ref.owner = &qos;
        ref.confidential = PropertyList::isConfidential(ref.name);
        {
            std::string lower(ref.name);
            for (char &c : lower) {
                c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
            }
            for (const char *part : {"load_plugin", ".create_function", ".subtransport",
                                     "flow_controller", "plugin_name"}) {
                ref.context = ref.context || lower.find(part) != std::string::npos;
            }
        }
        if (const pugi::xml_node propagate = childNamed(element, "propagate")) {
            const std::string_view flagText = text(propagate);
            const std::optional<bool> flag = parseXmlBoolean(flagText);
            if (!flag) {
                report(propagate,
                       "invalid <propagate> " + quotedShort(flagText) + " of property " +
                           quotedShort(ref.name, 4096) + " (expected true or false)",
                       ref.name);
            }
            ref.propagate = flag.value_or(false);
        }
        ref.index = static_cast<std::uint32_t>(elements_++);
        elementPool_.push_back(ref);
        ++qos.own.count;
    });
}

Qos &ProfileSet::newQos(Profile &p, Entity e)
{
    qos_.emplace_back();
    qos_.back().profile = &p;
    qos_.back().entity = e;
    return qos_.back();
}

// The QoS written in a participant's publishers' writers and subscribers' readers, each named
// by its place: "Publisher/Writer".
void ProfileSet::readEndpoints(Profile &participant, Findings &findings,
                               std::vector<std::pair<Qos *, std::string>> &qosBases)
{
    const auto nameOf = [&](pugi::xml_node node) {
        const std::string_view name = trimmed(node.attribute("name").value());
        if (name.empty()) {
            findings.add(findingAt(participant, node, Level::Error, "malformed-element",
                                   "<" + std::string(localName(node)) + "> of participant " +
                                       quoted(participant.qualified) +
                                       " without a name: what it holds is not checked"));
        }
        return name;
    };
    // What the middleware would not create as written: said, since its QoS is not read.
    const auto misplaced = [&](pugi::xml_node node, std::string_view where) {
        findings.add(findingAt(participant, node, Level::Error, "malformed-element",
                               "<" + std::string(localName(node)) + "> " + std::string(where) +
                                   " of participant " + quoted(participant.qualified) +
                                   " is not read"));
    };
    const auto isElement = [](pugi::xml_node node, std::string_view tag) {
        return node.type() == pugi::node_element && localName(node) == tag;
    };
    for (pugi::xml_node group = participant.node.first_child(); group;
         group = group.next_sibling()) {
        if (isElement(group, "data_writer") || isElement(group, "data_reader")) {
            misplaced(group, isElement(group, "data_writer") ? "outside a <publisher>"
                                                             : "outside a <subscriber>");
            continue;
        }
        const bool publisher = isElement(group, "publisher");
        if (!publisher && !isElement(group, "subscriber")) {
            continue;
        }
        const std::string_view groupName = nameOf(group);
        if (groupName.empty()) {
            continue;
        }
        const char *member = publisher ? "data_writer" : "data_reader";
        const Entity entity = publisher ? Entity::DataWriter : Entity::DataReader;
        std::unordered_map<std::string_view, pugi::xml_node> endpoints; // by name
        for (pugi::xml_node endpoint = group.first_child(); endpoint;
             endpoint = endpoint.next_sibling()) {
            if (isElement(endpoint, publisher ? "data_reader" : "data_writer")) {
                misplaced(endpoint, publisher ? "in a <publisher>" : "in a <subscriber>");
                continue;
            }
            if (!isElement(endpoint, member)) {
                continue;
            }
            const std::string_view endpointName = nameOf(endpoint);
            if (endpointName.empty()) {
                continue;
            }
            std::string place = std::string(groupName) + "/" + std::string(endpointName);
            const auto [same, added] = endpoints.try_emplace(endpointName, endpoint);
            if (!added) {
                findings.add(findingAt(
                    participant, endpoint, Level::Error, "duplicate-qos",
                    "a second <" + std::string(member) + "> named " + quoted(endpointName) +
                        " in " + escaped(participant.qualified + "/" + std::string(groupName)) +
                        " (first at line " + std::to_string(participant.file->lineOf(same->second)) +
                        "); which one applies is unclear (both are checked)"));
                place += " at line " + std::to_string(participant.file->lineOf(endpoint));
            }
            pugi::xml_node first;
            for (pugi::xml_node child = endpoint.first_child(); child;
                 child = child.next_sibling()) {
                const std::optional<Entity> kind =
                    child.type() == pugi::node_element ? qosEntity(localName(child)) : std::nullopt;
                if (!kind) {
                    continue;
                }
                if (*kind != entity) {
                    misplaced(child, "in a <" + std::string(member) + ">");
                    continue;
                }
                std::string label = place;
                if (first) {
                    findings.add(findingAt(
                        participant, child, Level::Error, "duplicate-qos",
                        "a second " + std::string(entityLabel(entity)) + " QoS in " +
                            escaped(participant.qualified + "/" + place) + " (first at line " +
                            std::to_string(participant.file->lineOf(first)) +
                            "); which one applies is unclear (both are checked)"));
                    label += " at line " + std::to_string(participant.file->lineOf(child));
                } else {
                    first = child;
                }
                Qos &qos = newQos(participant, entity);
                qos.endpoint = true;
                qos.node = child;
                texts_.push_back(std::move(label));
                qos.label = texts_.back();
                const std::string base(trimmed(child.attribute("base_name").value()));
                if (!base.empty()) {
                    qosBases.emplace_back(&qos, base);
                }
            }
        }
    }
}

void ProfileSet::resolve(Findings &findings)
{
    for (const Unnamed &u : unnamed_) {
        Finding f;
        f.file = u.file;
        f.path = u.file->path();
        f.fileIndex = u.fileIndex;
        f.line = static_cast<std::uint32_t>(u.file->lineOf(u.node));
        f.offset = u.node.offset_debug();
        f.code = "malformed-element";
        f.message = "<" + std::string(localName(u.node)) +
                    "> without a name: nothing can refer to it, and what it holds is not checked";
        findings.add(std::move(f));
    }
    std::vector<Unnamed>().swap(unnamed_);
    for (auto &names : byName_) {
        names.clear();
    }
    for (auto &names : lone_) {
        names.clear();
    }
    for (std::size_t i = 0; i < profiles_.size(); ++i) {
        Profile &p = profiles_[i];
        auto &names = p.standalone ? lone_[static_cast<int>(*qosEntity(localName(p.node)))]
                                   : byName_[static_cast<int>(p.kind)];
        const auto [it, inserted] = names.emplace(p.qualified, i);
        if (!inserted) {
            p.duplicate = true;
            const Profile &first = profiles_[it->second];
            findings.add(findingAt(p, p.node, Level::Error, "duplicate-profile",
                            p.noun() + (" " + quoted(p.qualified)) +
                                " is defined again (first at " +
                                escaped(first.file->where(first.node)) +
                                "); this definition is ignored"));
        }
    }

    // Bases by name. A missing one is said once, at its first mention.
    const auto isExternal = [&](std::string_view name, const Profile &from, RecordKind kind) {
        const bool absolute = name.substr(0, 2) == "::";
        name = withoutRootScope(name);
        const std::string full = std::string(name);
        const std::string scoped =
            absolute || from.kind != kind || from.library.empty() ||
                    name.find("::") != std::string::npos
                ? full
                : std::string(from.library) + "::" + full;
        for (const std::string &pattern : external_) {
            if (fnmatch(pattern.c_str(), full.c_str(), 0) == 0 ||
                fnmatch(pattern.c_str(), scoped.c_str(), 0) == 0) {
                return true;
            }
        }
        return false;
    };
    std::array<std::unordered_set<std::string_view>, 2> libraries;
    for (const Profile &p : profiles_) {
        libraries[static_cast<int>(p.kind)].insert(p.library);
    }
    // `entity`: the QoS whose base_name it is, when it is not the profile's.
    const auto lookUp = [&](std::string_view name, pugi::xml_node node, const Profile &from,
                            RecordKind kind, const Qos *qos = nullptr) -> const Profile * {
        if (const Profile *base = resolveName(name, from, kind)) {
            return base;
        }
        if (isExternal(name, from, kind)) {
            return nullptr;
        }
        // A QoS written alone in a library is the base of a QoS of its own kind only (those
        // are looked for before this).
        for (Entity e : kEntities) {
            if (kind == RecordKind::QosProfile && findLone(name, from, e) != nullptr) {
                Finding f = findingAt(
                    from, node, Level::Error, "missing-base",
                    "base " + quoted(name) + " of " +
                        (qos != nullptr ? qos->describe() : quoted(from.qualified)) + " is a " +
                        entityLabel(e) + " QoS" +
                        (qos != nullptr ? ", not a " + std::string(entityLabel(qos->entity)) + " QoS"
                                        : ", not a profile (name it in base_name of a " +
                                              std::string(entityLabel(e)) + " QoS)") +
                        "; nothing is inherited from it");
                if (qos != nullptr) {
                    f.entity = entityLabel(qos->entity);
                }
                findings.add(std::move(f));
                return nullptr;
            }
        }
        // A participant's base is a participant; its QoS name their base profiles.
        if (kind == RecordKind::Participant) {
            if (find(name, RecordKind::QosProfile) != nullptr) {
                findings.add(findingAt(from, node, Level::Error, "missing-base",
                                       "base participant " + quoted(name) + " of " +
                                           quoted(from.qualified) +
                                           " is a QoS profile, not a participant (a "
                                           "participant's QoS names its base profile with "
                                           "base_name on <domain_participant_qos>)"));
                return nullptr;
            }
        }
        // A base in a library none of the files holds is most likely one the middleware ships;
        // a missing profile of a library that is here is a mistake.
        const bool absolute = name.substr(0, 2) == "::";
        const std::string_view bare = withoutRootScope(name);
        const std::size_t scope = bare.rfind("::");
        const std::string library =
            scope != std::string_view::npos ? std::string(bare.substr(0, scope))
            : absolute || from.kind != kind ? std::string()
                                            : std::string(from.library);
        const bool libraryHere = libraries[static_cast<int>(kind)].count(library) != 0;
        const char *code = libraryHere ? "missing-base" : "unknown-base";
        static const char participantBases = 0;
        const FindingKey key{code, kind == RecordKind::Participant ? &participantBases : nullptr,
                             findings.intern(bare)};
        const std::size_t index = findings.find(key);
        if (index != SIZE_MAX) {
            findings.inherit(index, from, libraryHere);
            return nullptr;
        }
        const std::string what = std::string("base ") +
                                 (kind == RecordKind::QosProfile ? "profile " : "participant ") +
                                 quoted(name) + " of " +
                                 (qos != nullptr ? qos->describe() : quoted(from.qualified));
        Finding f =
            libraryHere
                ? findingAt(from, node, Level::Error, code,
                     what + " is not defined" +
                         (library.empty() ? std::string() : " in library " + quoted(library)))
                : findingAt(from, node, Level::Warning, code,
                     what + " is not in the files given; what it sets is not checked (declare it "
                         "with --external-base)");
        f.property = findings.intern(name);
        if (qos != nullptr) {
            f.entity = entityLabel(qos->entity);
        }
        findings.add(std::move(f), key);
        return nullptr;
    };
    for (const BaseName &named : baseNames_) {
        Profile &p = profiles_[named.profile];
        if (p.duplicate) {
            continue;
        }
        const Profile *base = lookUp(named.name, named.node, p, p.kind);
        // A base named twice applies once, at its first place.
        if (base != nullptr && std::find(p.bases.begin(), p.bases.end(), base) == p.bases.end()) {
            p.bases.push_back(base);
        }
    }
    std::vector<BaseName>().swap(baseNames_);

    // Cycles among profiles: a depth-first walk, without recursion; an edge back to a profile on
    // the walk closes a cycle, which is reported and cut there.
    {
        std::unordered_map<const Profile *, int> state; // 1 on the walk, 2 done
        for (Profile &start : profiles_) {
            if (start.duplicate || state[&start] != 0) {
                continue;
            }
            std::vector<std::pair<Profile *, std::size_t>> walk{{&start, 0}};
            state[&start] = 1;
            while (!walk.empty()) {
                auto &[p, next] = walk.back();
                if (next == p->bases.size()) {
                    state[p] = 2;
                    walk.pop_back();
                    continue;
                }
                Profile *base = const_cast<Profile *>(p->bases[next]);
                const int s = state[base];
                if (s == 1) {
                    // Cut where the cycle was entered, so that the profiles deriving from it
                    // along the walk keep their bases.
                    std::string path;
                    bool inCycle = false;
                    for (const auto &step : walk) {
                        inCycle = inCycle || step.first == base;
                        if (inCycle) {
                            path += escaped(step.first->qualified) + " -> ";
                        }
                    }
                    path += escaped(base->qualified);
                    findings.add(findingAt(*base, base->node, Level::Error, "inheritance-cycle",
                                    "base_name inheritance cycle: " + path));
                    if (p == base) {
                        p->bases.erase(p->bases.begin() + static_cast<std::ptrdiff_t>(next));
                        continue;
                    }
                    for (auto &step : walk) {
                        if (step.first == base) {
                            base->bases.erase(base->bases.begin() +
                                              static_cast<std::ptrdiff_t>(step.second - 1));
                            --step.second;
                            break;
                        }
                    }
                    // What remains of a cycle through another path is cut among the QoS.
                    ++next;
                    continue;
                }
                ++next;
                if (s == 0) {
                    state[base] = 1;
                    walk.emplace_back(base, 0);
                }
            }
        }
    }

    // The QoS of every profile: the first of each entity without a topic filter is the
    // profile's default one (also when the profile writes none and only inherits it).
    // A profile has a default QoS of an entity when it writes one or one of its bases has one;
    // bases come first in this walk. A participant has its own QoS only; its writers' and
    // readers' are endpoints, read below.
    // The QoS elements of a record: a profile's or participant's children, or a lone QoS.
    const auto firstQosNode = [](const Profile &p) {
        return p.standalone ? p.node : p.node.first_child();
    };
    const auto nextQosNode = [](const Profile &p, pugi::xml_node node) {
        return p.standalone ? pugi::xml_node() : node.next_sibling();
    };
    const auto ownQos = [](const Profile &p, pugi::xml_node child) -> std::optional<Entity> {
        const std::optional<Entity> e =
            child.type() == pugi::node_element ? qosEntity(localName(child)) : std::nullopt;
        return p.kind == RecordKind::Participant && e != Entity::Participant ? std::nullopt : e;
    };
    std::unordered_map<const Profile *, std::array<bool, 3>> has;
    for (Profile &start : profiles_) {
        if (start.duplicate || has.count(&start) != 0) {
            continue;
        }
        std::vector<std::pair<const Profile *, std::size_t>> walk{{&start, 0}};
        std::unordered_set<const Profile *> onWalk{&start};
        while (!walk.empty()) {
            auto &[p, next] = walk.back();
            if (next < p->bases.size()) {
                const Profile *base = p->bases[next++];
                if (has.count(base) == 0 && onWalk.insert(base).second) {
                    walk.emplace_back(base, 0);
                }
                continue;
            }
            std::array<bool, 3> mine{};
            for (pugi::xml_node child = firstQosNode(*p); child; child = nextQosNode(*p, child)) {
                if (const std::optional<Entity> e = ownQos(*p, child)) {
                    mine[static_cast<int>(*e)] = true;
                }
            }
            for (const Profile *base : p->bases) {
                const auto it = has.find(base);
                for (int k = 0; k < 3 && it != has.end(); ++k) {
                    mine[k] = mine[k] || it->second[k];
                }
            }
            has[p] = mine;
            walk.pop_back();
        }
    }
    std::vector<std::pair<Qos *, std::string>> qosBases; // a base_name on the QoS element
    for (Profile &p : profiles_) {
        if (p.duplicate) {
            continue;
        }
        for (Entity e : kEntities) {
            if (has[&p][static_cast<int>(e)]) {
                p.slot[static_cast<int>(e)] = &newQos(p, e);
            }
        }
        // A profile has one participant QoS; writer and reader QoS are told apart by name.
        pugi::xml_node firstParticipant;
        // By entity: a writer QoS and a reader QoS may share a name or a filter.
        std::array<std::unordered_map<std::string_view, pugi::xml_node>, 3> names, filters;
        for (pugi::xml_node child = firstQosNode(p); child; child = nextQosNode(p, child)) {
            const std::optional<Entity> e = ownQos(p, child);
            if (!e) {
                continue; // topic, publisher and subscriber QoS carry no property list
            }
            const char *name = child.attribute("name").value();
            const char *filter = child.attribute("topic_filter").value();
            pugi::xml_node *first = nullptr;
            if (*e == Entity::Participant) {
                first = &firstParticipant;
            } else if (*name != '\0') {
                first = &names[static_cast<int>(*e)].try_emplace(name).first->second;
            } else if (*filter != '\0') {
                first = &filters[static_cast<int>(*e)].try_emplace(filter).first->second;
            }
            if (first != nullptr && *first) {
                findings.add(findingAt(p, child, Level::Error, "duplicate-qos",
                                       "a second " + std::string(entityLabel(*e)) + " QoS" +
                                           (*e == Entity::Participant ? std::string()
                                            : *name != '\0' ? " named " + quoted(name)
                                                            : " for topics " + quoted(filter)) +
                                           " in " + p.noun() + " " + quoted(p.qualified) +
                                           " (first at line " +
                                           std::to_string(p.file->lineOf(*first)) +
                                           "); which one applies is unclear (both are checked)"));
            } else if (first != nullptr) {
                *first = child;
            }
            Qos *qos = p.slot[static_cast<int>(*e)];
            if (qos->node || *filter != '\0') {
                qos = &newQos(p, *e);
            }
            // A writer or reader QoS by its name and its topic filter, those it has; one
            // with neither that is not the default one (or a second participant QoS) by its
            // line.
            const bool isDefault = qos == p.slot[static_cast<int>(*e)];
            std::string label;
            if (!p.standalone && (*e != Entity::Participant || !isDefault)) {
                label = *name != '\0' ? quoted(name) : std::string();
                if (*filter != '\0') {
                    label += (label.empty() ? "" : " ") + ("for topics " + quoted(filter));
                }
                if (label.empty() && !isDefault) {
                    label = "at line " + std::to_string(p.file->lineOf(child));
                }
            }
            if (!label.empty()) {
                texts_.push_back(std::move(label));
                qos->label = texts_.back();
            }
            qos->node = child;
            const std::string base(trimmed(child.attribute("base_name").value()));
            if (!base.empty()) {
                qosBases.emplace_back(qos, base);
            }
        }
        if (p.kind == RecordKind::Participant) {
            readEndpoints(p, findings, qosBases);
        }
    }
    std::unordered_set<const Qos *> ownBase;
    for (const auto &[qos, name] : qosBases) {
        ownBase.insert(qos);
        if (const Profile *lone = findLone(name, *qos->profile, qos->entity)) {
            if (Qos *slot = lone->slot[static_cast<int>(qos->entity)]) {
                qos->bases.push_back(slot);
            }
            continue;
        }
        const Profile *base =
            lookUp(name, qos->node, *qos->profile, RecordKind::QosProfile, qos);
        if (base != nullptr && base->slot[static_cast<int>(qos->entity)] != nullptr) {
            qos->bases.push_back(base->slot[static_cast<int>(qos->entity)]);
        }
    }
    for (Qos &qos : qos_) {
        // An endpoint's QoS has no base but its own base_name.
        if (ownBase.count(&qos) == 0 && !qos.endpoint) {
            for (const Profile *base : qos.profile->bases) {
                if (Qos *slot = base->slot[static_cast<int>(qos.entity)]) {
                    qos.bases.push_back(slot);
                }
            }
        }
    }

    // Bases before the QoS that inherit from them. What is left over lies on a cycle made by
    // base_name attributes of QoS elements: reported and cut at one of its QoS.
    std::unordered_map<const Qos *, std::vector<Qos *>> derived;
    std::unordered_map<const Qos *, std::size_t> waiting;
    for (Qos &qos : qos_) {
        waiting[&qos] = qos.bases.size();
        for (const Qos *base : qos.bases) {
            derived[base].push_back(&qos);
            ++const_cast<Qos *>(base)->dependents;
        }
    }
    // The pool is sized once: the QoS's runs are placed in it as they are read.
    std::size_t elementNodes = 0;
    for (const Qos &qos : qos_) {
        forEachElement(qos.node, [&](pugi::xml_node) { ++elementNodes; });
    }
    elementPool_.reserve(elementNodes);
    std::vector<std::pair<Qos *, std::size_t>> ownStarts;
    for (Entity e : kEntities) {
        std::vector<Qos *> &order = order_[static_cast<int>(e)];
        std::vector<Qos *> ready;
        for (Qos &qos : qos_) {
            if (qos.entity == e && qos.bases.empty()) {
                ready.push_back(&qos);
            }
        }
        std::size_t total = 0;
        for (Qos &qos : qos_) {
            total += qos.entity == e ? 1 : 0;
        }
        while (order.size() < total) {
            if (ready.empty()) {
                // Follow waiting bases from any waiting QoS until one comes again: it is on a
                // cycle; the edge to its next is cut.
                Qos *q = nullptr;
                for (Qos &candidate : qos_) {
                    if (candidate.entity == e && waiting[&candidate] > 0) {
                        q = &candidate;
                        break;
                    }
                }
                std::unordered_set<const Qos *> visited;
                const Qos *next = nullptr;
                for (;;) {
                    next = nullptr;
                    for (const Qos *base : q->bases) {
                        if (waiting[base] > 0) {
                            next = base;
                            break;
                        }
                    }
                    if (!visited.insert(q).second) {
                        break;
                    }
                    q = const_cast<Qos *>(next);
                }
                findings.add(findingAt(*q->profile, q->node ? q->node : q->profile->node, Level::Error,
                                "inheritance-cycle",
                                "base_name inheritance cycle through " + q->describe()));
                q->bases.erase(std::find(q->bases.begin(), q->bases.end(), next));
                auto &list = derived[next];
                list.erase(std::find(list.begin(), list.end(), q));
                --const_cast<Qos *>(next)->dependents;
                if (--waiting[q] == 0) {
                    ready.push_back(q);
                }
                continue;
            }
            Qos *qos = ready.back();
            ready.pop_back();
            order.push_back(qos);
            for (Qos *next : derived[qos]) {
                if (--waiting[next] == 0) {
                    ready.push_back(next);
                }
            }
        }
        for (Qos *qos : order) {
            qos->exists = static_cast<bool>(qos->node);
            using Limits = std::array<SetValue, kLimitFields>;
            for (const Qos *base : qos->bases) {
                qos->exists = qos->exists || base->exists;
                if (!base->limits) {
                    continue;
                }
                if (!qos->limits) {
                    qos->limits = base->limits;
                    continue;
                }
                // A later base's limits win over an earlier one's.
                auto merged = std::make_shared<Limits>(*qos->limits);
                for (std::size_t k = 0; k < kLimitFields; ++k) {
                    if ((*base->limits)[k].node) {
                        (*merged)[k] = (*base->limits)[k];
                    }
                }
                qos->limits = std::move(merged);
            }
            if (!qos->node) {
                continue;
            }
            // The run's place is known once the pool stops growing.
            ownStarts.emplace_back(qos, elementPool_.size());
            readElements(*qos, findings);
            if (e == Entity::Participant) {
                const pugi::xml_node limits = childNamed(qos->node, "resource_limits");
                std::shared_ptr<Limits> own;
                for (std::size_t k = 0; k < kLimitFields; ++k) {
                    if (const pugi::xml_node node = childNamed(limits, kLimitFieldNames[k])) {
                        std::string scratch;
                        std::string_view t = textOf(node, scratch);
                        if (t.data() == scratch.data()) {
                            texts_.emplace_back(t);
                            t = texts_.back();
                        }
                        if (!own) {
                            own = qos->limits ? std::make_shared<Limits>(*qos->limits)
                                              : std::make_shared<Limits>();
                        }
                        (*own)[k] = SetValue{t, node, qos};
                    }
                }
                if (own) {
                    qos->limits = std::move(own);
                }
            }
        }
    }
    for (const auto &[qos, start] : ownStarts) {
        qos->own.first = elementPool_.data() + start;
    }
}

// ---- effective lists ----

namespace
{

// Adds or replaces by name, keeping the first position of a name.
struct Merger {
    std::vector<const ElementRef *> list;
    std::unordered_map<std::string_view, std::size_t> index;
    void take(const ElementRef *ref)
    {
        const auto [it, added] = index.emplace(ref->name, list.size());
        if (added) {
            list.push_back(ref);
        } else {
            list[it->second] = ref;
        }
    }
};

std::vector<const ElementRef *>
merge(const Qos &qos, const std::function<const std::vector<const ElementRef *> &(const Qos *)> &of)
{
    std::vector<const Qos *> bases;
    for (const Qos *base : qos.bases) {
        if (base->exists) {
            bases.push_back(base);
        }
    }
    if (bases.size() == 1 && qos.own.empty()) {
        return of(bases[0]);
    }
    // One base and a few elements of its own (a chain of profiles, each adding a little): the
    // base's list, each own element replacing the one of its name or added at the end. Looking
    // a few names up along the list costs less than indexing every name the chain has gathered.
    constexpr std::size_t kFewOwn = 4;
    if (bases.size() == 1 && qos.own.size() <= kFewOwn) {
        std::vector<const ElementRef *> list = of(bases[0]);
        for (const ElementRef &ref : qos.own) {
            const auto same = std::find_if(list.begin(), list.end(), [&](const ElementRef *r) {
                return r->name == ref.name;
            });
            if (same != list.end()) {
                *same = &ref;
            } else {
                list.push_back(&ref);
            }
        }
        return list;
    }
    Merger m;
    for (const Qos *base : bases) {
        for (const ElementRef *ref : of(base)) {
            m.take(ref);
        }
    }
    for (const ElementRef &ref : qos.own) {
        m.take(&ref);
    }
    return std::move(m.list);
}

} // namespace

void ProfileSet::forEachEffective(
    Entity e,
    const std::function<void(const Qos &, const std::vector<const ElementRef *> &)> &fn) const
{
    std::unordered_map<const Qos *, std::vector<const ElementRef *>> memo;
    std::unordered_map<const Qos *, std::size_t> remaining;
    const auto of = [&](const Qos *q) -> const std::vector<const ElementRef *> & {
        return memo[q];
    };
    for (const Qos *qos : order(e)) {
        if (qos->exists) {
            std::vector<const ElementRef *> list = merge(*qos, of);
            fn(*qos, list);
            if (qos->dependents > 0) {
                remaining[qos] = qos->dependents;
                memo[qos] = std::move(list);
            }
        }
        for (const Qos *base : qos->bases) {
            const auto it = remaining.find(base);
            if (it != remaining.end() && --it->second == 0) {
                remaining.erase(it);
                memo.erase(base);
            }
        }
    }
}

std::vector<const ElementRef *> ProfileSet::effective(const Qos &qos)
{
    // The QoS's bases, all of them, bases first (a walk without recursion).
    std::vector<const Qos *> post;
    std::unordered_set<const Qos *> seen{&qos};
    std::vector<std::pair<const Qos *, std::size_t>> walk{{&qos, 0}};
    while (!walk.empty()) {
        auto &[q, next] = walk.back();
        if (next == q->bases.size()) {
            post.push_back(q);
            walk.pop_back();
            continue;
        }
        const Qos *base = q->bases[next++];
        if (seen.insert(base).second) {
            walk.emplace_back(base, 0);
        }
    }
    std::unordered_map<const Qos *, std::vector<const ElementRef *>> memo;
    const auto of = [&](const Qos *q) -> const std::vector<const ElementRef *> & {
        return memo[q];
    };
    for (const Qos *q : post) {
        if (q->exists) {
            memo[q] = merge(*q, of);
        }
    }
    return memo[&qos];
}

PropertyList ProfileSet::toList(const std::vector<const ElementRef *> &elements,
                                const std::function<bool(const ElementRef &)> &skip)
{
    PropertyList list;
    std::string name, value;
    for (const ElementRef *ref : elements) {
        if (skip && skip(*ref)) {
            continue;
        }
        // Names are unique here, so appending is enough.
        name.assign(ref->name);
        value.assign(ref->value);
        if (DDS_PropertyQosPolicyHelper_add_property(
                list.get(), name.c_str(), value.c_str(),
                ref->propagate ? DDS_BOOLEAN_TRUE : DDS_BOOLEAN_FALSE) != DDS_RETCODE_OK) {
            throw std::bad_alloc();
        }
    }
    return list;
}

Finding findingAt(const Profile &p, pugi::xml_node node, Level level, const char *code,
           std::string message)
{
    Finding f;
    f.file = p.file;
    f.path = p.file->path();
    f.fileIndex = p.fileIndex;
    f.line = p.file->lineOf(node);
    f.offset = node.offset_debug();
    f.level = level;
    f.code = code;
    f.message = std::move(message);
    f.profile = p.qualified;
    return f;
}

} // namespace propqos::cli
