// One XML file given to the tool: its parsed document and the means to turn a node back into a
// line number.
#ifndef PROPQOS_CLI_SOURCE_HPP
#define PROPQOS_CLI_SOURCE_HPP

#include <cstddef>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <pugixml.hpp>

namespace propqos::cli
{

// Input the tool cannot work with (unreadable file, malformed XML): the message is the one line
// to print, and the tool exits with 2.
struct InputError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// A mistake on the command line; exit 2 as well.
struct UsageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

class SourceFile
{
public:
    // Reads and parses `path`. With `keepText` the file's bytes stay available unchanged in
    // text() (the document is parsed in place, so the parse buffer is not the original).
    // Throws InputError.
    static std::unique_ptr<SourceFile> load(const std::string &path, bool keepText = false);

    const std::string &path() const { return path_; }
    const pugi::xml_document &document() const { return document_; }
    const std::string &text() const { return text_; }

    // 1-based line of a byte offset, and of a node (0 when the node has no position).
    std::size_t lineOf(std::ptrdiff_t offset) const;
    std::size_t lineOf(pugi::xml_node node) const;
    // 1-based column (in bytes) of a byte offset.
    std::size_t columnOf(std::ptrdiff_t offset) const;
    // "path:line" of a node.
    std::string where(pugi::xml_node node) const;

private:
    SourceFile() = default;
    std::string path_;
    pugi::xml_document document_;
    std::vector<std::size_t> lineStarts_; // offset of the first byte of each line
    std::string text_;
};

} // namespace propqos::cli

#endif
