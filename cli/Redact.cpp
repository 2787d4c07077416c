// propqos redact: the file as it is, except that every property list is written again by the
// module's saving, which replaces the values of confidential properties by "[redacted]".
#include <cstring>
#include <optional>

#include "Commands.hpp"
#include "Text.hpp"

namespace propqos::cli
{

const char *const kRedactHelp =
    "usage: propqos redact FILE\n"
    "\n"
    "Prints FILE with the elements of every <property> list written anew by the\n"
    "module's saving: the value of every confidential property (a name ending in .password,\n"
    ".private_key, .private_key_file, .private_key_password, .rsa_private_key,\n"
    ".rsa_private_key_file, .key_material_key, .cryptography.key or\n"
    ".rtps_psk_secret_passphrase) becomes \"[redacted]\". Everything outside those lists is\n"
    "printed unchanged: comments and text between elements, propagate flags, and elements\n"
    "without a <name> or a <value>, which are not properties.\n"
    "\n"
    "options:\n"
    "  -h, --help   this help\n"
    "\n"
    "exit status: 0 done, 2 unusable input or usage.\n";

namespace
{

struct Replacement {
    std::size_t begin;
    std::size_t end;
    std::string text;
};

// Offset just past the element whose start tag opens at text[begin]. The document is known to
// be well formed (it parsed), so counting tags is enough; comments, CDATA sections, processing
// instructions and quoted attribute values are stepped over whole.
std::optional<std::size_t> elementEnd(const std::string &t, std::size_t begin)
{
    long depth = 0;
    std::size_t i = begin;
    while (i < t.size()) {
        const std::size_t lt = t.find('<', i);
        if (lt == std::string::npos) {
            return std::nullopt;
        }
        const auto skipTo = [&](const char *close, std::size_t from) -> std::optional<std::size_t> {
            const std::size_t e = t.find(close, from);
            if (e == std::string::npos) {
                return std::nullopt;
            }
            return e + std::strlen(close);
        };
        std::optional<std::size_t> next;
        if (t.compare(lt, 4, "<!--") == 0) {
            next = skipTo("-->", lt + 4);
        } else if (t.compare(lt, 9, "<![CDATA[") == 0) {
            next = skipTo("]]>", lt + 9);
        } else if (t.compare(lt, 2, "<?") == 0) {
            next = skipTo("?>", lt + 2);
        } else if (t.compare(lt, 2, "<!") == 0) {
            next = skipTo(">", lt + 2);
        }
        if (next || t.compare(lt, 2, "<!") == 0 || t.compare(lt, 2, "<?") == 0) {
            if (!next) {
                return std::nullopt;
            }
            i = *next;
            continue;
        }
        std::size_t j = lt + 1;
        char quote = 0;
        for (; j < t.size(); ++j) {
            const char c = t[j];
            if (quote != 0) {
                if (c == quote) {
                    quote = 0;
                }
            } else if (c == '"' || c == '\'') {
                quote = c;
            } else if (c == '>') {
                break;
            }
        }
        if (j >= t.size()) {
            return std::nullopt;
        }
        if (t[lt + 1] == '/') {
            if (--depth <= 0) {
                return j + 1;
            }
        } else if (t[j - 1] == '/') {
            if (depth == 0) {
                return j + 1;
            }
        } else {
            ++depth;
        }
        i = j + 1;
    }
    return std::nullopt;
}

std::string lineIndent(const std::string &t, std::size_t at)
{
    std::size_t start = at;
    while (start > 0 && t[start - 1] != '\n') {
        --start;
    }
    for (std::size_t k = start; k < at; ++k) {
        if (t[k] != ' ' && t[k] != '\t') {
            return std::string();
        }
    }
    return t.substr(start, at - start);
}

// The saved list cut into its <element> blocks, each a list of lines without their indentation
// and with the nesting level below <element> (0 for <element> itself).
using Block = std::vector<std::pair<std::size_t, std::string_view>>;
std::vector<Block> elementBlocks(const std::string &saved)
{
    std::vector<Block> blocks;
    std::string_view rest = saved;
    bool inside = false;
    while (!rest.empty()) {
        const std::size_t nl = rest.find('\n');
        const std::string_view line = rest.substr(0, nl);
        rest = nl == std::string_view::npos ? std::string_view() : rest.substr(nl + 1);
        std::size_t blanks = 0;
        while (blanks < line.size() && line[blanks] == ' ') {
            ++blanks;
        }
        const std::string_view body = line.substr(blanks);
        // The module indents by 3 blanks a level; <element> is at level 2 under <property>.
        const std::size_t level = blanks / 3 >= 2 ? blanks / 3 - 2 : 0;
        if (body == "<element>") {
            blocks.emplace_back();
            inside = true;
        }
        if (inside) {
            blocks.back().emplace_back(level, body);
        }
        if (body == "</element>") {
            inside = false;
        }
    }
    return blocks;
}

// One saved element in place of the original: on one line when the original was, else one
// element per line, indented like the original.
std::string render(const Block &block, bool propagate, bool oneLine, const std::string &indent,
                   const std::string &step, const std::string &newline)
{
    std::string out;
    for (std::size_t k = 0; k < block.size(); ++k) {
        const auto &[level, body] = block[k];
        const auto put = [&](std::size_t lvl, std::string_view text) {
            if (!out.empty() && !oneLine) {
                out += newline + indent;
                for (std::size_t n = 0; n < lvl; ++n) {
                    out += step;
                }
            }
            out.append(text);
        };
        if (k + 1 == block.size() && propagate) {
            put(level + 1, "<propagate>true</propagate>");
        }
        put(level, body);
    }
    return out;
}

// Saves the list of one <value> and puts each saved element in place of its original. An element
// without a name or a value is not part of the list and stays as written; so does everything
// between the elements.
void redactList(const SourceFile &source, pugi::xml_node value, const std::string &newline,
                std::vector<Replacement> &replacements)
{
    const std::string &text = source.text();
    PropertyList list;
    std::vector<pugi::xml_node> elements;
    std::vector<bool> propagate;
    for (pugi::xml_node element = value.child("element"); element;
         element = element.next_sibling("element")) {
        const pugi::xml_node name = element.child("name");
        const pugi::xml_node v = element.child("value");
        if (!name || *name.child_value() == '\0' || !v) {
            continue;
        }
        const bool flag = parseXmlBoolean(element.child("propagate").child_value()).value_or(false);
        list.add(name.child_value(), v.child_value(), flag);
        elements.push_back(element);
        propagate.push_back(flag);
    }
    if (elements.empty()) {
        return;
    }
    const std::optional<std::string> saved = list.save();
    const std::vector<Block> blocks = saved ? elementBlocks(*saved) : std::vector<Block>();
    if (blocks.size() != elements.size()) {
        throw InputError(source.where(value) + ": error: the property list could not be saved");
    }
    for (std::size_t i = 0; i < elements.size(); ++i) {
        const std::ptrdiff_t offset = elements[i].offset_debug();
        if (offset <= 0 || static_cast<std::size_t>(offset) > text.size() ||
            text[static_cast<std::size_t>(offset) - 1] != '<') {
            throw InputError(source.where(elements[i]) + ": error: cannot locate the element");
        }
        const std::size_t begin = static_cast<std::size_t>(offset) - 1;
        const std::optional<std::size_t> end = elementEnd(text, begin);
        if (!end || (!replacements.empty() && begin < replacements.back().end)) {
            throw InputError(source.where(elements[i]) + ": error: cannot locate the element");
        }
        const bool oneLine = text.find('\n', begin) >= *end;
        const std::string indent = lineIndent(text, begin);
        std::string step = "   ";
        const std::ptrdiff_t inner = elements[i].first_child().offset_debug();
        if (inner > 0 && static_cast<std::size_t>(inner) <= *end) {
            const std::string innerIndent = lineIndent(text, static_cast<std::size_t>(inner) - 1);
            if (innerIndent.size() > indent.size() &&
                innerIndent.compare(0, indent.size(), indent) == 0) {
                step = innerIndent.substr(indent.size());
            }
        }
        replacements.push_back(Replacement{
            begin, *end, render(blocks[i], propagate[i], oneLine, indent, step, newline)});
    }
}

} // namespace

int runRedact(const std::string &file)
{
    const std::unique_ptr<SourceFile> source = SourceFile::load(file, true);
    const std::string &text = source->text();
    const std::size_t crlf = text.find('\n');
    const std::string newline =
        crlf != std::string::npos && crlf > 0 && text[crlf - 1] == '\r' ? "\r\n" : "\n";

    std::vector<Replacement> replacements;
    // Document order, without recursion: nesting depth is the input's to choose.
    pugi::xml_node node = source->document().document_element();
    while (node) {
        const bool isProperty =
            node.type() == pugi::node_element && std::strcmp(node.name(), "property") == 0;
        if (isProperty) {
            for (pugi::xml_node value = node.child("value"); value;
                 value = value.next_sibling("value")) {
                redactList(*source, value, newline, replacements);
            }
        }
        // Next in document order: first child (not within a list already handled), else the
        // next sibling of the node or of its nearest ancestor that has one.
        if (!isProperty && node.first_child()) {
            node = node.first_child();
            continue;
        }
        while (node && !node.next_sibling()) {
            node = node.parent();
        }
        if (node) {
            node = node.next_sibling();
        }
    }

    std::string result;
    result.reserve(text.size());
    std::size_t at = 0;
    for (const Replacement &r : replacements) {
        result.append(text, at, r.begin - at);
        result += r.text;
        at = r.end;
    }
    result.append(text, at, std::string::npos);
    out(result);
    return kExitClean;
}

} // namespace propqos::cli
