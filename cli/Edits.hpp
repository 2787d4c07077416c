// Byte-exact rewriting: a file's bytes with some ranges replaced and everything else untouched.
#ifndef PROPQOS_CLI_EDITS_HPP
#define PROPQOS_CLI_EDITS_HPP

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace propqos::cli
{

// Bytes [begin, end) of a file's text to be replaced by `text`.
struct Edit {
    std::size_t begin = 0;
    std::size_t end = 0;
    std::string text;
};

// `text` with every edit applied; everything outside the edits stays byte for byte. Edits are
// sorted by position and do not overlap.
std::string applyEdits(std::string_view text, const std::vector<Edit> &edits);
// The same, handed to `write` in pieces: a large file's rewriting is never held whole.
void applyEdits(std::string_view text, const std::vector<Edit> &edits,
                const std::function<void(std::string_view)> &write);

// The content of the element whose start tag opens at text[open] ('<'): from just past its
// start tag to the '<' of its end tag, comments, CDATA sections and nested elements included.
// nullopt for an empty-element tag or when the text ends first.
struct Span {
    std::size_t begin, end;
};
std::optional<Span> elementContent(std::string_view text, std::size_t open);

} // namespace propqos::cli

#endif
