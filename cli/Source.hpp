// One XML file given to the tool: its parsed document, its bytes as read, and the means to turn
// a place in the document back into a line and column.
#ifndef PROPQOS_CLI_SOURCE_HPP
#define PROPQOS_CLI_SOURCE_HPP

#include <cstddef>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <pugixml.hpp>

namespace propqos::cli
{

// Input the tool cannot work with (unreadable file, malformed XML). `what()` is the one line to
// print; the parts are kept for findings.
struct InputError : std::runtime_error {
    explicit InputError(const std::string &line) : std::runtime_error(line), message(line) {}
    InputError(std::string path_, std::size_t line_, std::size_t column_, std::string message_);
    std::string path;
    std::size_t line = 0;
    std::size_t column = 0;
    std::string message; // without the location
};

// A mistake on the command line; exit 2 as well.
struct UsageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

enum class Encoding { Utf8, Utf16LE, Utf16BE, Latin1, Windows1252 };

// What becomes of a file's bytes once it is parsed: dropped, kept, or read again from the file
// when first asked for (edits that are seldom made; standard input, which cannot be read again,
// is kept).
enum class KeepBytes { No, Yes, WhenAsked };

class SourceFile
{
public:
    // Reads, decodes and parses `path`. UTF-8, UTF-16 (by its byte-order mark or its first
    // characters) and a declared ISO-8859-1 are read; text that XML forbids (control
    // characters, bytes that are not of the encoding, references to such characters) is an error
    // at its place. Unless `keep` is No the file's bytes are available unchanged in bytes().
    // Throws InputError.
    static std::unique_ptr<SourceFile> load(const std::string &path,
                                            KeepBytes keep = KeepBytes::No);

    const std::string &path() const { return path_; }
    const pugi::xml_document &document() const { return document_; }
    // Throws InputError when bytes read again are not those parsed.
    const std::string &bytes() const
    {
        readAgain();
        return bytes_;
    }
    Encoding encoding() const { return encoding_; }
    // Identity of the file on disk, to read a file given twice only once.
    unsigned long long device() const { return device_; }
    unsigned long long inode() const { return inode_; }

    // Offsets are into the decoded (UTF-8) text the document was parsed from.
    std::ptrdiff_t offsetOf(const char *text) const { return text - base_; }
    std::size_t lineOf(std::ptrdiff_t offset) const;
    std::size_t lineOf(pugi::xml_node node) const { return lineOf(node.offset_debug()); }
    // 1-based column in characters.
    std::size_t columnOf(std::ptrdiff_t offset) const;
    // "path:line" of a node.
    std::string where(pugi::xml_node node) const;
    // The decoded text from `offset` on (the parse rewrote the text of elements and attribute
    // values in place; markup and everything outside them is as read).
    std::string_view decodedFrom(std::ptrdiff_t offset) const;

    // The offsets in bytes() of ascending offsets of the decoded text.
    std::vector<std::size_t> originalOffsets(const std::vector<std::size_t> &decoded) const;
    // The text as read, decoded to UTF-8, before the parser rewrote it.
    std::string_view text() const;
    // ASCII text in the file's encoding.
    std::string encodeAscii(std::string_view text) const;

private:
    SourceFile() = default;
    std::string path_;
    pugi::xml_document document_;
    const char *base_ = nullptr;          // the decoded text, owned by the document
    std::size_t size_ = 0;
    // Offset of the first byte of each line: 32 bits, half the table of a file of short lines.
    std::vector<std::uint32_t> lineStarts_;
    void readAgain() const;
    mutable std::string bytes_;
    mutable std::string converted_;
    // KeepBytes::WhenAsked: the bytes are to be read again, and must then be these.
    mutable bool rereadable_ = false;
    std::size_t readSize_ = 0;
    std::size_t readHash_ = 0;
    Encoding encoding_ = Encoding::Utf8;
    std::size_t bomSize_ = 0;
    unsigned long long device_ = 0, inode_ = 0;
};

// Local name of an element: without a namespace prefix.
std::string_view localName(pugi::xml_node node);
// The first child element of that local name, or an empty node.
pugi::xml_node childNamed(pugi::xml_node node, std::string_view name);
// What a document that holds no DDS-XML QoS profile looks like instead, as a note to append to
// a message ("" when nothing is recognised).
std::string otherLayout(pugi::xml_node root);
// The text of an element: its character data and CDATA sections joined, comments left out,
// surrounding blanks trimmed. Points into the document unless the text is in several pieces,
// in which case it is assembled in `scratch`.
std::string_view textOf(pugi::xml_node node, std::string &scratch);

// The node after `node` and its descendants in document order, or a null node at the end.
// Walking with it needs no recursion, so nesting depth (the input's to choose) costs no stack.
inline pugi::xml_node nextAfter(pugi::xml_node node)
{
    while (node && !node.next_sibling()) {
        node = node.parent();
    }
    return node ? node.next_sibling() : pugi::xml_node();
}

// The node after `node` in document order: its first child when `descend` and it has one.
inline pugi::xml_node nextInDocument(pugi::xml_node node, bool descend = true)
{
    return descend && node.first_child() ? node.first_child() : nextAfter(node);
}

} // namespace propqos::cli

#endif
