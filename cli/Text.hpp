// Text helpers of the tool: quoting names for diagnostics and escaping JSON strings.
#ifndef PROPQOS_CLI_TEXT_HPP
#define PROPQOS_CLI_TEXT_HPP

#include <string>
#include <string_view>

namespace propqos::cli
{

// Number of bytes of the UTF-8 sequence at text[i] and its code point; 0 when the bytes there
// are not valid UTF-8 (overlong forms and surrogates included).
std::size_t decodeUtf8(std::string_view text, std::size_t i, unsigned long &code);

// `text` made safe for a terminal and one line: '"', '\\', control characters (C0, DEL, C1),
// bidirectional controls and bytes that are not UTF-8 escaped.
std::string escaped(std::string_view text);

// The real text of what escaped() pieces and plain text (without backslashes) were joined into:
// every escape undone. For machine-readable output of messages written for the terminal.
std::string unescaped(std::string_view text);

// escaped() `text` between double quotes: a diagnostic stays on one line whatever a name holds.
std::string quoted(std::string_view text);

// quoted(), shortened to its first `limit` bytes (and "...") when longer.
std::string quotedShort(std::string_view text, std::size_t limit = 80);

// `text` as a JSON string literal, quotes included. Bytes that are not valid UTF-8 become
// U+FFFD, so the output is always valid JSON.
std::string jsonString(std::string_view text);

// Whether `candidate` is near enough to `name` to offer as what was meant: what differs after
// the start the two share (a shared "dds.participant." alone makes no two names alike) is at
// most a third of that rest in edits, and at least one edit; two neighbouring letters swapped
// count as one edit.
bool nearName(std::string_view name, std::string_view candidate);

// Leading and trailing XML blanks removed.
std::string_view trimmed(std::string_view text);

// Case-insensitive ASCII comparison.
bool equalsIgnoreCase(std::string_view a, std::string_view b);

} // namespace propqos::cli

#endif
