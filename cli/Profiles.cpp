#include "Profiles.hpp"

#include <cstring>

#include "Text.hpp"

namespace propqos::cli
{

const char *entityTag(Entity e)
{
    switch (e) {
    case Entity::Participant:
        return "domain_participant_qos";
    case Entity::DataWriter:
        return "datawriter_qos";
    case Entity::DataReader:
        return "datareader_qos";
    }
    return "";
}

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

void ProfileSet::add(std::unique_ptr<SourceFile> file)
{
    const SourceFile *source = file.get();
    files_.push_back(std::move(file));
    const pugi::xml_node root = source->document().document_element();
    for (pugi::xml_node library = root.child("qos_library"); library;
         library = library.next_sibling("qos_library")) {
        const char *libraryName = library.attribute("name").value();
        for (pugi::xml_node node = library.child("qos_profile"); node;
             node = node.next_sibling("qos_profile")) {
            Profile profile;
            profile.file = source;
            profile.node = node;
            profile.library = libraryName;
            profile.name = node.attribute("name").value();
            profile.qualified = profile.library + "::" + profile.name;
            profile.baseName = std::string(trimmed(node.attribute("base_name").value()));
            for (Entity e : kEntities) {
                profile.qos[static_cast<int>(e)] = node.child(entityTag(e));
            }
            profiles_.push_back(std::move(profile));
        }
    }
}

const Profile *ProfileSet::find(std::string_view qualified) const
{
    if (qualified.substr(0, 2) == "::") {
        qualified.remove_prefix(2);
    }
    const auto it = byName_.find(std::string(qualified));
    return it == byName_.end() ? nullptr : &profiles_[it->second];
}

void ProfileSet::resolve(std::vector<Finding> &findings)
{
    byName_.clear();
    for (std::size_t i = 0; i < profiles_.size(); ++i) {
        const Profile &p = profiles_[i];
        profiles_[i].duplicate = false;
        const auto [it, inserted] = byName_.emplace(p.qualified, i);
        if (!inserted) {
            profiles_[i].duplicate = true;
            const Profile &first = profiles_[it->second];
            findings.push_back(
                Finding{p.file, p.file->lineOf(p.node), Level::Error, "duplicate-profile",
                        "profile " + quoted(p.qualified) + " is defined again (first at " +
                            first.file->where(first.node) + "); this definition is ignored",
                        p.qualified, "", "", ""});
        }
    }
    for (Profile &p : profiles_) {
        p.base = nullptr;
        if (p.baseName.empty()) {
            continue;
        }
        std::string_view name = p.baseName;
        if (name.substr(0, 2) == "::") {
            name.remove_prefix(2);
        }
        const Profile *base = nullptr;
        if (name.find("::") == std::string_view::npos) {
            base = find(p.library + "::" + std::string(name));
        } else {
            base = find(name);
        }
        if (base == nullptr) {
            findings.push_back(Finding{p.file, p.file->lineOf(p.node), Level::Error, "missing-base",
                                       "base profile " + quoted(p.baseName) + " of " +
                                           quoted(p.qualified) + " is not defined",
                                       p.qualified, "", "", ""});
            continue;
        }
        p.base = base;
    }
    // Every profile has at most one base, so a cycle is found by walking the chain. States:
    // 0 not visited, 1 on the walk in progress, 2 known to end.
    std::vector<int> state(profiles_.size(), 0);
    const auto indexOf = [&](const Profile *p) {
        return static_cast<std::size_t>(p - profiles_.data());
    };
    for (std::size_t start = 0; start < profiles_.size(); ++start) {
        std::vector<std::size_t> walk;
        std::size_t i = start;
        for (;;) {
            if (state[i] == 2) {
                break;
            }
            if (state[i] == 1) {
                // The walk came back to i: the cycle is i .. end of walk.
                std::string path;
                bool inCycle = false;
                for (std::size_t k : walk) {
                    inCycle = inCycle || k == i;
                    if (inCycle) {
                        path += profiles_[k].qualified + " -> ";
                    }
                }
                path += profiles_[i].qualified;
                Profile &first = profiles_[i];
                findings.push_back(Finding{
                    first.file, first.file->lineOf(first.node), Level::Error, "inheritance-cycle",
                    "base_name inheritance cycle: " + path, first.qualified, "", "", ""});
                // Cut the cycle so that every later walk ends.
                first.base = nullptr;
                break;
            }
            state[i] = 1;
            walk.push_back(i);
            if (profiles_[i].base == nullptr) {
                break;
            }
            i = indexOf(profiles_[i].base);
        }
        for (std::size_t k : walk) {
            state[k] = 2;
        }
    }
}

std::vector<const Profile *> ProfileSet::chain(const Profile &profile)
{
    std::vector<const Profile *> out;
    for (const Profile *p = &profile; p != nullptr; p = p->base) {
        out.push_back(p);
    }
    return std::vector<const Profile *>(out.rbegin(), out.rend());
}

bool ProfileSet::hasQos(const Profile &profile, Entity e)
{
    for (const Profile *p = &profile; p != nullptr; p = p->base) {
        if (p->qos[static_cast<int>(e)]) {
            return true;
        }
    }
    return false;
}

std::vector<ElementRef> ProfileSet::ownElements(const Profile &profile, Entity e,
                                                std::vector<Finding> *findings)
{
    std::vector<ElementRef> out;
    const pugi::xml_node qos = profile.qos[static_cast<int>(e)];
    if (!qos) {
        return out;
    }
    const auto report = [&](pugi::xml_node node, std::string message, std::string property) {
        if (findings != nullptr) {
            findings->push_back(Finding{
                profile.file, profile.file->lineOf(node), Level::Error, "malformed-element",
                std::move(message) + " in " + entityLabel(e) + " QoS of " + profile.qualified,
                profile.qualified, entityLabel(e), std::move(property), "", node.offset_debug()});
        }
    };
    for (pugi::xml_node property = qos.child("property"); property;
         property = property.next_sibling("property")) {
        for (pugi::xml_node value = property.child("value"); value;
             value = value.next_sibling("value")) {
            for (pugi::xml_node element = value.child("element"); element;
                 element = element.next_sibling("element")) {
                const pugi::xml_node name = element.child("name");
                const pugi::xml_node text = element.child("value");
                if (!name || *name.child_value() == '\0') {
                    report(element, "property element without a <name>", "");
                    continue;
                }
                if (!text) {
                    report(element,
                           "property " + quotedShort(name.child_value(), 4096) +
                               " without a <value>",
                           name.child_value());
                    continue;
                }
                ElementRef ref;
                ref.name = name.child_value();
                ref.value = text.child_value();
                ref.node = element;
                ref.owner = &profile;
                if (const pugi::xml_node propagate = element.child("propagate")) {
                    const std::optional<bool> flag = parseXmlBoolean(propagate.child_value());
                    if (!flag) {
                        report(propagate,
                               "invalid <propagate> " + quotedShort(propagate.child_value()) +
                                   " of property " + quotedShort(ref.name, 4096) +
                                   " (expected true or false)",
                               ref.name);
                    }
                    ref.propagate = flag.value_or(false);
                }
                out.push_back(ref);
            }
        }
    }
    return out;
}

std::vector<ElementRef> ProfileSet::effectiveElements(const Profile &profile, Entity e)
{
    std::vector<ElementRef> out;
    std::unordered_map<std::string_view, std::size_t> index; // name -> position in out
    for (const Profile *p : chain(profile)) {
        for (const ElementRef &ref : ownElements(*p, e, nullptr)) {
            const auto [it, added] = index.emplace(ref.name, out.size());
            if (added) {
                out.push_back(ref);
            } else {
                out[it->second] = ref;
            }
        }
    }
    return out;
}

PropertyList ProfileSet::toList(const std::vector<ElementRef> &elements)
{
    PropertyList list;
    for (const ElementRef &ref : elements) {
        // Names are unique here, so appending is enough.
        if (DDS_PropertyQosPolicyHelper_add_property(
                list.get(), ref.name, ref.value,
                ref.propagate ? DDS_BOOLEAN_TRUE : DDS_BOOLEAN_FALSE) != DDS_RETCODE_OK) {
            throw std::bad_alloc();
        }
    }
    return list;
}

std::optional<SetValue> ProfileSet::resourceLimit(const Profile &profile, const char *field)
{
    for (const Profile *p = &profile; p != nullptr; p = p->base) {
        const pugi::xml_node qos = p->qos[static_cast<int>(Entity::Participant)];
        const pugi::xml_node node = qos.child("resource_limits").child(field);
        if (node) {
            return SetValue{std::string(trimmed(node.child_value())), node, p};
        }
    }
    return std::nullopt;
}

} // namespace propqos::cli
