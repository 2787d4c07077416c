// propqos redact: the file byte for byte, except the value of every confidential property.
#include <cstring>

#include "Commands.hpp"
#include "Edits.hpp"
#include "Text.hpp"

namespace propqos::cli
{

const char *const kRedactHelp =
    "usage: propqos redact FILE\n"
    "\n"
    "Prints FILE as it is, byte for byte (encoding, byte-order mark, line ends, comments,\n"
    "entities, CDATA sections, order and blanks), except the content of the <value> of every\n"
    "confidential property (of every element with a confidential <name> among its names,\n"
    "wherever it sits: <value> and <binary_value> lists alike), which becomes \"[redacted]\".\n"
    "A property is confidential when the middleware's saving would redact it: a name (the\n"
    "text of its <name>, comments left out, blanks around it trimmed) ending in .password,\n"
    ".private_key, .private_key_file, .private_key_password, .rsa_private_key,\n"
    ".rsa_private_key_file, .key_material_key, .cryptography.key or\n"
    ".rtps_psk_secret_passphrase.\n"
    "\n"
    "options:\n"
    "  -h, --help   this help\n"
    "\n"
    "exit status: 0 done, 2 unusable input or usage.\n";

namespace
{

// The edits that redact one element's values; whether it is confidential. It fails closed: an element that names a
// confidential property in any of its <name> children has every one of its <value> children
// redacted, since a reader that takes the last <name> or the last <value> would see the one
// left in clear.
bool redactElement(const SourceFile &source, pugi::xml_node element, std::vector<Edit> &edits)
{
    std::string scratch;
    const std::string_view text = source.text();
    bool confidential = false;
    for (pugi::xml_node child = element.first_child(); child && !confidential;
         child = child.next_sibling()) {
        confidential = child.type() == pugi::node_element && localName(child) == "name" &&
                       PropertyList::isConfidential(textOf(child, scratch));
    }
    for (pugi::xml_node value = element.first_child(); confidential && value;
         value = value.next_sibling()) {
        if (value.type() != pugi::node_element || localName(value) != "value") {
            continue;
        }
        // The element's name starts just after its '<'.
        const std::ptrdiff_t offset = value.offset_debug();
        if (offset <= 0 || static_cast<std::size_t>(offset) > text.size() ||
            text[static_cast<std::size_t>(offset) - 1] != '<') {
            throw InputError(source.where(value) + ": error: cannot locate the <value>");
        }
        const std::optional<Span> content =
            elementContent(text, static_cast<std::size_t>(offset) - 1);
        if (content && content->end > content->begin) {
            edits.push_back(Edit{content->begin, content->end, "[redacted]"});
        }
    }
    return confidential;
}

} // namespace

int runRedact(const std::string &file)
{
    const std::unique_ptr<SourceFile> source = SourceFile::load(file, KeepBytes::Yes);

    std::vector<Edit> edits;
    // Every element with a confidential <name>, wherever it sits, not only the <element>s of
    // well-formed property lists: a list written without its <value> level, under
    // <binary_value> or a misspelt <property>, or in another layout of name/value pairs still
    // holds the secret. Document order, without recursion: nesting depth is the input's to
    // choose.
    pugi::xml_node node = source->document().document_element();
    while (node) {
        // Below an element whose values are redacted there is nothing left to show.
        const bool redacted =
            node.type() == pugi::node_element && redactElement(*source, node, edits);
        node = nextInDocument(node, !redacted);
    }

    // Offsets are into the decoded text; the output is the file's own bytes.
    std::vector<std::size_t> offsets;
    offsets.reserve(edits.size() * 2);
    for (const Edit &e : edits) {
        offsets.push_back(e.begin);
        offsets.push_back(e.end);
    }
    const std::vector<std::size_t> original = source->originalOffsets(offsets);
    const std::string replacement = source->encodeAscii("[redacted]");
    for (std::size_t i = 0; i < edits.size(); ++i) {
        edits[i] = Edit{original[2 * i], original[2 * i + 1], replacement};
    }
    applyEdits(source->bytes(), edits, [](std::string_view piece) { out(piece); });
    return kExitClean;
}

} // namespace propqos::cli
