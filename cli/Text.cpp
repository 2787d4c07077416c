#include "Text.hpp"

#include <algorithm>
#include <cstdio>
#include <vector>

namespace propqos::cli
{

namespace
{

void appendHex4(std::string &out, unsigned value)
{
    char buffer[8];
    std::snprintf(buffer, sizeof buffer, "\\u%04x", value & 0xFFFFu);
    out += buffer;
}

// Whether the n-byte UTF-8 sequence at text[i] is a character that changes how a terminal
// shows what follows it: a C1 control (U+0080..U+009F), or a bidirectional control or mark
// (U+061C, U+200E, U+200F, U+202A..U+202E, U+2066..U+2069) that can make text read in an order
// other than the one it has. Its code point, or 0.
unsigned controlAt(std::string_view text, std::size_t i, std::size_t n)
{
    const auto byte = [&](std::size_t k) { return static_cast<unsigned char>(text[i + k]); };
    unsigned code = 0;
    if (n == 2) {
        code = ((byte(0) & 0x1Fu) << 6) | (byte(1) & 0x3Fu);
    } else if (n == 3) {
        code = ((byte(0) & 0x0Fu) << 12) | ((byte(1) & 0x3Fu) << 6) | (byte(2) & 0x3Fu);
    }
    const bool control = (code >= 0x80 && code <= 0x9F) || code == 0x61C || code == 0x200E ||
                         code == 0x200F || (code >= 0x202A && code <= 0x202E) ||
                         (code >= 0x2066 && code <= 0x2069);
    return control ? code : 0;
}

// The backslash escape that quoted text and JSON strings share, or null.
const char *sharedEscape(unsigned char c)
{
    switch (c) {
    case '"':
        return "\\\"";
    case '\\':
        return "\\\\";
    case '\n':
        return "\\n";
    case '\r':
        return "\\r";
    case '\t':
        return "\\t";
    default:
        return nullptr;
    }
}

// The walk both escapers share. They differ in what they write for a byte that is not UTF-8
// (`invalid`) and for a C0 control or DEL (`control`); both write C1 and bidirectional controls
// as \uXXXX, since a terminal acts on them (and would on JSON shown raw).
template <typename Invalid, typename Control>
void escapeInto(std::string &out, std::string_view text, Invalid invalid, Control control)
{
    for (std::size_t i = 0; i < text.size();) {
        const auto c = static_cast<unsigned char>(text[i]);
        if (c >= 0x80) {
            unsigned long code = 0;
            const std::size_t n = decodeUtf8(text, i, code);
            if (n == 0) {
                invalid(out, c);
                ++i;
            } else if (const unsigned control1 = controlAt(text, i, n)) {
                appendHex4(out, control1);
                i += n;
            } else {
                out.append(text.substr(i, n));
                i += n;
            }
            continue;
        }
        if (const char *escape = sharedEscape(c)) {
            out += escape;
        } else if (c < 0x20 || c == 0x7F) {
            control(out, c);
        } else {
            out += static_cast<char>(c);
        }
        ++i;
    }
}

void appendHexByte(std::string &out, unsigned char c)
{
    char buffer[8];
    std::snprintf(buffer, sizeof buffer, "\\x%02x", c);
    out += buffer;
}

} // namespace

std::string escaped(std::string_view text)
{
    std::string out;
    out.reserve(text.size());
    escapeInto(out, text, appendHexByte, appendHexByte);
    return out;
}

std::string unescaped(std::string_view text)
{
    std::string out;
    out.reserve(text.size());
    const auto hex = [&](std::size_t at, std::size_t digits, unsigned &value) {
        value = 0;
        if (at + digits > text.size()) {
            return false;
        }
        for (std::size_t k = at; k < at + digits; ++k) {
            const char d = text[k];
            const int v = d >= '0' && d <= '9' ? d - '0' : d >= 'a' && d <= 'f' ? d - 'a' + 10 : -1;
            if (v < 0) {
                return false;
            }
            value = value * 16 + static_cast<unsigned>(v);
        }
        return true;
    };
    for (std::size_t i = 0; i < text.size(); ++i) {
        unsigned value = 0;
        if (text[i] != '\\' || i + 1 == text.size()) {
            out += text[i];
            continue;
        }
        const char e = text[i + 1];
        if (e == '\\' || e == '"') {
            out += e;
        } else if (e == 'n' || e == 'r' || e == 't') {
            out += e == 'n' ? '\n' : e == 'r' ? '\r' : '\t';
        } else if (e == 'x' && hex(i + 2, 2, value)) {
            out += static_cast<char>(value);
            i += 2;
        } else if (e == 'u' && hex(i + 2, 4, value)) {
            // Only the controls escaped() writes this way: U+0080..U+FFFF, so two or three bytes.
            if (value < 0x800) {
                out += static_cast<char>(0xC0 | (value >> 6));
            } else {
                out += static_cast<char>(0xE0 | (value >> 12));
                out += static_cast<char>(0x80 | ((value >> 6) & 0x3F));
            }
            out += static_cast<char>(0x80 | (value & 0x3F));
            i += 4;
        } else {
            out += text[i];
            continue;
        }
        ++i;
    }
    return out;
}

std::string quoted(std::string_view text)
{
    return '"' + escaped(text) + '"';
}

std::string quotedShort(std::string_view text, std::size_t limit)
{
    if (text.size() <= limit) {
        return quoted(text);
    }
    return quoted(text.substr(0, limit)) + "...";
}

std::string jsonString(std::string_view text)
{
    std::string out;
    out.reserve(text.size() + 2);
    out += '"';
    escapeInto(
        out, text, [](std::string &o, unsigned char) { o += "\\ufffd"; },
        [](std::string &o, unsigned char c) { appendHex4(o, c); });
    out += '"';
    return out;
}

bool nearName(std::string_view name, std::string_view candidate)
{
    std::size_t common = 0;
    while (common < name.size() && common < candidate.size() && name[common] == candidate[common]) {
        ++common;
    }
    const std::size_t rest = std::max(name.size(), candidate.size()) - common;
    const std::size_t cutoff = std::max<std::size_t>(1, (rest + 2) / 3);
    std::string_view a = name.substr(common), b = candidate.substr(common);
    while (!a.empty() && !b.empty() && a.back() == b.back()) {
        a.remove_suffix(1);
        b.remove_suffix(1);
    }
    if (a.empty() && b.empty()) {
        return false;
    }
    if ((a.size() > b.size() ? a.size() - b.size() : b.size() - a.size()) > cutoff) {
        return false;
    }
    // Restricted Damerau-Levenshtein distance between the differing parts: two letters swapped
    // are one slip of the fingers, not two. Three rows of the table are enough.
    std::vector<std::size_t> before(b.size() + 1), previous(b.size() + 1), row(b.size() + 1);
    for (std::size_t j = 0; j <= b.size(); ++j) {
        previous[j] = j;
    }
    for (std::size_t i = 1; i <= a.size(); ++i) {
        row[0] = i;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            const std::size_t cost = a[i - 1] == b[j - 1] ? 0 : 1;
            row[j] = std::min({previous[j] + 1, row[j - 1] + 1, previous[j - 1] + cost});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
                row[j] = std::min(row[j], before[j - 2] + 1);
            }
        }
        std::swap(before, previous);
        std::swap(previous, row);
    }
    return previous[b.size()] <= cutoff;
}

std::string_view trimmed(std::string_view text)
{
    const auto blank = [](char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; };
    while (!text.empty() && blank(text.front())) {
        text.remove_prefix(1);
    }
    while (!text.empty() && blank(text.back())) {
        text.remove_suffix(1);
    }
    return text;
}

bool equalsIgnoreCase(std::string_view a, std::string_view b)
{
    if (a.size() != b.size()) {
        return false;
    }
    for (std::size_t i = 0; i < a.size(); ++i) {
        char x = a[i], y = b[i];
        if (x >= 'A' && x <= 'Z')
            x = static_cast<char>(x - 'A' + 'a');
        if (y >= 'A' && y <= 'Z')
            y = static_cast<char>(y - 'A' + 'a');
        if (x != y) {
            return false;
        }
    }
    return true;
}

std::size_t decodeUtf8(std::string_view text, std::size_t i, unsigned long &code)
{
    const auto byte = [&](std::size_t k) { return static_cast<unsigned char>(text[k]); };
    const unsigned char c = byte(i);
    std::size_t n;
    unsigned long minimum;
    if (c < 0x80) {
        code = c;
        return 1;
    } else if (c >= 0xC2 && c <= 0xDF) {
        n = 2, minimum = 0x80, code = c & 0x1Fu;
    } else if (c >= 0xE0 && c <= 0xEF) {
        n = 3, minimum = 0x800, code = c & 0x0Fu;
    } else if (c >= 0xF0 && c <= 0xF4) {
        n = 4, minimum = 0x10000, code = c & 0x07u;
    } else {
        return 0;
    }
    if (i + n > text.size()) {
        return 0;
    }
    for (std::size_t k = 1; k < n; ++k) {
        if ((byte(i + k) & 0xC0u) != 0x80u) {
            return 0;
        }
        code = (code << 6) | (byte(i + k) & 0x3Fu);
    }
    if (code < minimum || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)) {
        return 0;
    }
    return n;
}

} // namespace propqos::cli
