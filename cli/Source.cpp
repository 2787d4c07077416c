#include "Source.hpp"
#include "Text.hpp"

#include <algorithm>
#include <optional>
#include <unordered_map>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include <sys/stat.h>

namespace propqos::cli
{

InputError::InputError(std::string path_, std::size_t line_, std::size_t column_,
                       std::string message_)
    : std::runtime_error(path_ + (line_ > 0 ? ":" + std::to_string(line_) : std::string()) +
                         (column_ > 0 ? ":" + std::to_string(column_) : std::string()) +
                         ": error: " + message_),
      path(std::move(path_)), line(line_), column(column_), message(std::move(message_))
{
}

namespace
{

// What a profile file needs: escapes, CDATA, end-of-line normalisation; the text of a leaf
// element kept in the element itself (one node less per name and value). Comments are kept
// (they may silence findings); no PIs, declarations or blank text nodes. Text is trimmed after
// its pieces are joined, not piece by piece.
constexpr unsigned kParseOptions = pugi::parse_cdata | pugi::parse_escapes | pugi::parse_eol |
                                   pugi::parse_comments | pugi::parse_wconv_attribute |
                                   pugi::parse_embed_pcdata;

struct FileCloser {
    void operator()(std::FILE *f) const
    {
        if (f != stdin) {
            std::fclose(f);
        }
    }
};

std::string readAll(const std::string &name, struct stat &status)
{
    const std::string path = name == "-" ? "<stdin>" : name;
    errno = 0;
    // "-" is standard input, left open for whatever else reads it.
    std::unique_ptr<std::FILE, FileCloser> file(name == "-" ? stdin
                                                            : std::fopen(name.c_str(), "rb"));
    if (!file) {
        throw InputError(path, 0, 0,
                         std::string("cannot open: ") + std::strerror(errno ? errno : ENOENT));
    }
    if (fstat(fileno(file.get()), &status) != 0) {
        throw InputError(path, 0, 0, std::string("cannot read: ") + std::strerror(errno));
    }
    if (S_ISDIR(status.st_mode)) {
        throw InputError(path, 0, 0, std::string("cannot read: ") + std::strerror(EISDIR));
    }
    std::string bytes;
    if (S_ISREG(status.st_mode) && status.st_size > 0) {
        bytes.reserve(static_cast<std::size_t>(status.st_size));
    }
    // A pipe or a device may never end: what cannot begin an XML document (a BOM, '<' or a
    // blank, in UTF-8 or UTF-16) stops the reading at once, and so does more than can be held.
    const auto canStartXml = [](std::string_view head) {
        if (head.compare(0, 2, "\xFF\xFE") == 0 || head.compare(0, 2, "\xFE\xFF") == 0 ||
            head.compare(0, 2, std::string_view("\0<", 2)) == 0 ||
            head.compare(0, 2, std::string_view("<\0", 2)) == 0) {
            return true; // UTF-16
        }
        // Outside UTF-16 a NUL is never XML.
        const char c = head.empty() ? '<' : head[0];
        return (c == '<' || c == ' ' || c == '\t' || c == '\r' || c == '\n' ||
                head.compare(0, 3, "\xEF\xBB\xBF") == 0) &&
               head.find('\0') == std::string_view::npos;
    };
    char chunk[1 << 16];
    for (;;) {
        const std::size_t n = std::fread(chunk, 1, sizeof chunk, file.get());
        if (bytes.empty() && !S_ISREG(status.st_mode) && !canStartXml(std::string_view(chunk, n))) {
            throw InputError(path, 1, 1, "does not begin as an XML document does (reading stopped)");
        }
        if (bytes.size() + n > UINT32_MAX) {
            throw InputError(path, 0, 0, "too large (files of up to 4 GiB are read)");
        }
        bytes.append(chunk, n);
        if (n < sizeof chunk) {
            if (std::ferror(file.get())) {
                const int error = errno;
                throw InputError(path, 0, 0,
                                 std::string("cannot read: ") + std::strerror(error ? error : EIO));
            }
            break;
        }
    }
    return bytes;
}

bool startsWith(std::string_view s, std::string_view prefix)
{
    return s.size() >= prefix.size() && s.compare(0, prefix.size(), prefix) == 0;
}

std::string upper(std::string_view s)
{
    std::string out(s);
    for (char &c : out) {
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    }
    return out;
}

// The encoding named by an XML declaration at the start of `bytes`, upper-cased; empty when none.
// The value of an attribute of the XML declaration, as written ("" when absent).
std::string declaredAttribute(std::string_view bytes, std::string_view attribute)
{
    if (!startsWith(bytes, "<?xml")) {
        return "";
    }
    const std::string_view decl = bytes.substr(0, bytes.find("?>", 0));
    const std::size_t at = decl.find(attribute);
    if (at == std::string_view::npos) {
        return "";
    }
    std::size_t i = decl.find_first_of("\"'", at);
    if (i == std::string_view::npos) {
        return "";
    }
    const std::size_t end = decl.find(decl[i], i + 1);
    return end == std::string_view::npos ? "" : std::string(decl.substr(i + 1, end - i - 1));
}

std::string declaredEncoding(std::string_view bytes)
{
    return upper(declaredAttribute(bytes, "encoding"));
}

void appendUtf8(std::string &out, unsigned long code)
{
    if (code < 0x80) {
        out += static_cast<char>(code);
    } else if (code < 0x800) {
        out += static_cast<char>(0xC0 | (code >> 6));
        out += static_cast<char>(0x80 | (code & 0x3F));
    } else if (code < 0x10000) {
        out += static_cast<char>(0xE0 | (code >> 12));
        out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (code & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (code >> 18));
        out += static_cast<char>(0x80 | ((code >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (code & 0x3F));
    }
}

bool isXmlChar(unsigned long c)
{
    return c == 0x9 || c == 0xA || c == 0xD || (c >= 0x20 && c <= 0xD7FF) ||
           (c >= 0xE000 && c <= 0xFFFD) || (c >= 0x10000 && c <= 0x10FFFF);
}

std::string hexCode(unsigned long c)
{
    char buffer[16];
    std::snprintf(buffer, sizeof buffer, "U+%04lX", c);
    return buffer;
}

std::string hexByte(unsigned char byte)
{
    char buffer[8];
    std::snprintf(buffer, sizeof buffer, "0x%02X", byte);
    return buffer;
}

// Where a check found a fault: an offset into the decoded text and what is wrong there.
struct Fault {
    std::size_t offset;
    std::string message;
    bool malformed = true; // false: well-formed, but not something the tool reads
};

// The character a byte of a single-byte encoding stands for; 0 for none. Windows-1252 is
// ISO-8859-1 except for 0x80 to 0x9F, where it has printable characters.
unsigned long singleByteCode(Encoding encoding, unsigned char byte)
{
    static constexpr unsigned short kWindows1252[32] = {
        0x20AC, 0,      0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,
        0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0,      0x017D, 0,
        0,      0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,
        0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0,      0x017E, 0x0178};
    if (encoding == Encoding::Windows1252 && byte >= 0x80 && byte <= 0x9F) {
        return kWindows1252[byte - 0x80];
    }
    return byte;
}

// The decoded text as UTF-8, from UTF-16, ISO-8859-1 or Windows-1252; an unpaired surrogate,
// or a byte the encoding leaves undefined, is a fault.
std::string decode(const std::string &bytes, Encoding encoding, std::size_t bom, Fault *&fault,
                   Fault &storage)
{
    std::string out;
    out.reserve(bytes.size() + bytes.size() / 2);
    if (encoding == Encoding::Latin1 || encoding == Encoding::Windows1252) {
        for (std::size_t i = bom; i < bytes.size(); ++i) {
            const auto byte = static_cast<unsigned char>(bytes[i]);
            const unsigned long code = singleByteCode(encoding, byte);
            if (code == 0 && byte != 0) {
                storage = Fault{out.size(), "byte " + hexByte(byte) + " is not defined in windows-1252"};
                fault = &storage;
                return out;
            }
            appendUtf8(out, code);
        }
        return out;
    }
    const bool little = encoding == Encoding::Utf16LE;
    const auto unit = [&](std::size_t i) {
        const auto a = static_cast<unsigned char>(bytes[i]);
        const auto b = static_cast<unsigned char>(bytes[i + 1]);
        return little ? static_cast<unsigned long>(a | (b << 8))
                      : static_cast<unsigned long>((a << 8) | b);
    };
    std::size_t i = bom;
    for (; i + 1 < bytes.size(); i += 2) {
        unsigned long code = unit(i);
        if (code >= 0xD800 && code <= 0xDBFF && i + 3 < bytes.size()) {
            const unsigned long low = unit(i + 2);
            if (low >= 0xDC00 && low <= 0xDFFF) {
                code = 0x10000 + ((code - 0xD800) << 10) + (low - 0xDC00);
                i += 2;
            }
        }
        if (code >= 0xD800 && code <= 0xDFFF) {
            storage = Fault{out.size(), "unpaired UTF-16 surrogate " + hexCode(code)};
            fault = &storage;
            return out;
        }
        appendUtf8(out, code);
    }
    if (i < bytes.size()) {
        storage = Fault{out.size(), "odd number of bytes in UTF-16 text"};
        fault = &storage;
    }
    return out;
}

bool isNameChar(char c)
{
    return std::isalnum(static_cast<unsigned char>(c)) || c == '_' || c == ':' || c == '-' ||
           c == '.' || (static_cast<unsigned char>(c) & 0x80u) != 0;
}

// The end of a DOCTYPE declaration starting at `at`, or the offset of the first entity
// declaration in its internal subset (then `declaration` is set). Quoted literals and comments
// in the subset may hold anything.
std::size_t scanDoctype(std::string_view text, std::size_t at, bool &declaration)
{
    declaration = false;
    int depth = 0;
    for (std::size_t i = at + 9; i < text.size(); ++i) {
        const char c = text[i];
        if (c == '"' || c == '\'') {
            const std::size_t end = text.find(c, i + 1);
            i = end == std::string_view::npos ? text.size() : end;
        } else if (c == '<' && text.compare(i, 4, "<!--") == 0) {
            const std::size_t end = text.find("-->", i + 4);
            i = end == std::string_view::npos ? text.size() : end + 2;
        } else if (c == '<' && text.compare(i, 2, "<?") == 0) {
            const std::size_t end = text.find("?>", i + 2);
            i = end == std::string_view::npos ? text.size() : end + 1;
        } else if (c == '<' && text.compare(i, 8, "<!ENTITY") == 0) {
            declaration = true;
            return i;
        } else if (c == '[') {
            ++depth;
        } else if (c == ']') {
            --depth;
        } else if (c == '>' && depth <= 0) {
            return i + 1;
        }
    }
    return text.size();
}

// What XML forbids in its text, and what the parser does not check: characters outside the
// XML character range, whether written out or referred to (&#...;), and bytes that are not
// UTF-8. Comments and CDATA sections hold no references. Entities are never expanded: a
// declared one could hide a confidential name from the checks, or grow without bound, or name
// an outside file; so a file declaring or using one is refused at that place.
//
// The parser is also lenient about the document's shape; what it lets through is collected in
// `shape` (the first such fault), to be reported only once the parser has found the markup
// otherwise sound, since a mismatched tag explains a stray one better: text or a second
// element after the root (two files pasted together), an XML declaration that is not the
// first thing in the file or names a version other than 1.x, "--" inside a comment, and '<'
// in an attribute value.
bool checkCharacters(std::string_view text, Fault &fault, std::optional<Fault> &shape)
{
    enum { Markup, Tag, Comment, Cdata, Instruction } state = Markup;
    const auto deviation = [&](std::size_t at, std::string message) {
        if (!shape) {
            shape = Fault{at, std::move(message)};
        }
    };
    std::size_t depth = 0;
    bool rootSeen = false;
    bool doctypeSeen = false;
    bool endTag = false;
    char quote = 0;
    char last = 0; // the last character of a tag outside quotes and blanks
    for (std::size_t i = 0; i < text.size();) {
        unsigned long code = 0;
        const std::size_t n = decodeUtf8(text, i, code);
        if (n == 0) {
            fault = Fault{i, "invalid UTF-8 byte " + hexByte(static_cast<unsigned char>(text[i]))};
            return false;
        }
        if (!isXmlChar(code)) {
            fault = Fault{i, "character " + hexCode(code) + " is not allowed in XML"};
            return false;
        }
        const char c = text[i];
        if (state == Comment) {
            if (c == '-' && text.compare(i, 3, "-->") == 0) {
                state = Markup, i += 3;
                continue;
            }
            if (c == '-' && text.compare(i, 2, "--") == 0) {
                deviation(i, "\"--\" inside a comment");
            }
            i += n;
            continue;
        }
        if (state == Cdata || state == Instruction) {
            const std::string_view close = state == Cdata ? "]]>" : "?>";
            if (c == close[0] && text.compare(i, close.size(), close) == 0) {
                state = Markup, i += close.size();
                continue;
            }
            i += n;
            continue;
        }
        if (state == Tag) {
            if (quote != 0) {
                if (c == quote) {
                    quote = 0;
                } else if (c == '<') {
                    deviation(i, "'<' in an attribute value (write &lt;)");
                }
            } else if (c == '"' || c == '\'') {
                quote = c;
            } else if (c == '>') {
                state = Markup;
                if (endTag) {
                    depth -= depth > 0 ? 1 : 0;
                } else if (last != '/') {
                    ++depth;
                }
                ++i;
                continue;
            } else if (c != ' ' && c != '\t' && c != '\r' && c != '\n') {
                last = c;
            }
        } else if (c == '<' && text.compare(i, 4, "<!--") == 0) {
            state = Comment, i += 4;
            continue;
        } else if (c == '<' && text.compare(i, 9, "<![CDATA[") == 0) {
            if (depth == 0) {
                deviation(i, "a CDATA section outside the root element");
            }
            state = Cdata, i += 9;
            continue;
        } else if (c == '<' && i + 1 < text.size() && text[i + 1] == '?') {
            std::size_t k = i + 2;
            while (k < text.size() && isNameChar(text[k])) {
                ++k;
            }
            const std::string target = upper(text.substr(i + 2, k - i - 2));
            if (target == "XML" && (i != 0 || text.compare(i + 2, 3, "xml") != 0)) {
                deviation(i, i != 0 ? "the XML declaration must be the first thing in the file"
                                    : "\"" + std::string(text.substr(i + 2, 3)) +
                                          "\" is reserved (the declaration is written <?xml)");
            } else if (i == 0 && target == "XML") {
                const std::string version = declaredAttribute(text, "version");
                if (version.size() < 3 || version.compare(0, 2, "1.") != 0 ||
                    version.find_first_not_of("0123456789", 2) != std::string::npos) {
                    deviation(i, "XML version \"" + version + "\" (1.0 is read)");
                }
            }
            state = Instruction, i += 2;
            continue;
        } else if (c == '<' && text.compare(i, 9, "<!DOCTYPE") == 0) {
            if (rootSeen || doctypeSeen) {
                deviation(i, rootSeen ? "a DOCTYPE after the root element" : "a second DOCTYPE");
            }
            doctypeSeen = true;
            bool declaration = false;
            const std::size_t end = scanDoctype(text, i, declaration);
            if (declaration) {
                fault = Fault{end, "entity declarations are not supported", false};
                return false;
            }
            // The declaration's own characters are checked like any other text.
            for (std::size_t k = i; k < end;) {
                const std::size_t m = decodeUtf8(text, k, code);
                if (m == 0 || !isXmlChar(code)) {
                    break;
                }
                k += m;
                i = k;
            }
            continue;
        } else if (c == '<') {
            endTag = i + 1 < text.size() && text[i + 1] == '/';
            if (!endTag && depth == 0 && rootSeen) {
                deviation(i, "a second element after the root element");
            }
            rootSeen = rootSeen || !endTag;
            state = Tag, quote = 0, last = 0;
            i += endTag ? 2 : 1;
            continue;
        } else if (c == ']' && text.compare(i, 3, "]]>") == 0) {
            deviation(i, "\"]]>\" in text (write ]]&gt;)");
        } else if (depth == 0 && c != ' ' && c != '\t' && c != '\r' && c != '\n') {
            deviation(i, rootSeen ? "text after the root element" : "text before the root element");
        }
        if (c == '&' && (i + 1 == text.size() || text[i + 1] != '#')) {
            std::size_t k = i + 1;
            while (k < text.size() && k < i + 256 && isNameChar(text[k])) {
                ++k;
            }
            const std::string_view name = text.substr(i + 1, k - i - 1);
            if (k >= text.size() || text[k] != ';' || name.empty()) {
                deviation(i, "'&' that starts no reference (write &amp;)");
            } else if (name != "amp" && name != "lt" && name != "gt" && name != "quot" &&
                       name != "apos") {
                fault = Fault{i,
                              "reference to entity \"" + std::string(name) +
                                  "\" is not supported (entities are not expanded)",
                              false};
                return false;
            }
        } else if (c == '&' && i + 1 < text.size() && text[i + 1] == '#') {
            const bool hex = i + 2 < text.size() && text[i + 2] == 'x';
            std::size_t k = i + (hex ? 3 : 2);
            unsigned long value = 0;
            bool digits = false;
            // Leading zeros are allowed in any number; past them, eight digits exceed every
            // character.
            for (; k < text.size() && text[k] == '0'; ++k) {
                digits = true;
            }
            for (const std::size_t first = k; k < text.size() && k < first + 8; ++k) {
                const char d = text[k];
                int v = -1;
                if (d >= '0' && d <= '9') {
                    v = d - '0';
                } else if (hex && d >= 'a' && d <= 'f') {
                    v = d - 'a' + 10;
                } else if (hex && d >= 'A' && d <= 'F') {
                    v = d - 'A' + 10;
                }
                if (v < 0) {
                    break;
                }
                value = value * (hex ? 16 : 10) + static_cast<unsigned long>(v);
                digits = true;
            }
            if (!digits || k >= text.size() || text[k] != ';' || !isXmlChar(value)) {
                fault = Fault{i, "character reference " +
                                     std::string(text.substr(i, std::min<std::size_t>(k + 1, text.size()) - i)) +
                                     " is not to an XML character"};
                return false;
            }
        }
        i += n;
    }
    return true;
}

// What the parser leaves unchecked in names: an attribute given twice on one element, and a
// namespace prefix that no enclosing element declares. One walk in document order; the
// declared prefixes are counted so that each lookup is constant whatever the nesting.
void checkNames(const SourceFile &source)
{
    constexpr std::string_view kXmlNamespace = "http://www.w3.org/XML/1998/namespace";
    const auto fail = [&](pugi::xml_node node, const std::string &message) {
        const std::ptrdiff_t at = node.offset_debug() - 1;
        throw InputError(source.path(), source.lineOf(at), source.columnOf(at),
                         "malformed XML: " + message);
    };
    // Each prefix's namespaces, innermost last; and what to undo on leaving each element.
    std::unordered_map<std::string_view, std::vector<std::string_view>> bound;
    std::vector<std::pair<std::size_t, std::string_view>> declared; // (depth, prefix)
    // The namespace of a qualified name's prefix ("" without one); fails on what is no
    // qualified name or names an undeclared prefix.
    const auto namespaceOf = [&](pugi::xml_node node, std::string_view name,
                                 const char *what) -> std::string_view {
        const std::size_t colon = name.find(':');
        if (colon == std::string_view::npos) {
            return {};
        }
        if (colon == 0 || colon + 1 == name.size() ||
            name.find(':', colon + 1) != std::string_view::npos) {
            fail(node, std::string(what) + " \"" + escaped(name) + "\" is not a qualified name");
        }
        const std::string_view prefix = name.substr(0, colon);
        if (prefix == "xml") {
            return kXmlNamespace;
        }
        const auto it = bound.find(prefix);
        if (prefix == "xmlns" || it == bound.end() || it->second.empty()) {
            fail(node, "namespace prefix of " + std::string(what) + " \"" + escaped(name) +
                           "\" is not declared");
        }
        return it->second.back();
    };
    std::vector<std::string_view> names;
    std::vector<std::pair<std::string_view, std::string_view>> expanded; // (namespace, local)
    std::size_t depth = 0;
    pugi::xml_node node = source.document().first_child();
    while (node) {
        if (node.type() == pugi::node_element) {
            names.clear();
            for (pugi::xml_attribute a = node.first_attribute(); a; a = a.next_attribute()) {
                const std::string_view name = a.name();
                names.push_back(name);
                if (name.compare(0, 6, "xmlns:") != 0) {
                    continue;
                }
                const std::string_view prefix = name.substr(6);
                const std::string_view uri = a.value();
                if (prefix == "xmlns" || (prefix == "xml") != (uri == kXmlNamespace) ||
                    uri.empty()) {
                    fail(node, uri.empty() ? "namespace prefix \"" + escaped(prefix) +
                                                 "\" declared empty"
                                           : "namespace prefix \"" + escaped(prefix) +
                                                 "\" declared for a namespace it cannot have");
                }
                bound[prefix].push_back(uri);
                declared.emplace_back(depth, prefix);
            }
            std::sort(names.begin(), names.end());
            const auto twice = std::adjacent_find(names.begin(), names.end());
            if (twice != names.end()) {
                fail(node, "attribute \"" + escaped(*twice) + "\" given twice");
            }
            namespaceOf(node, node.name(), "element");
            // Two prefixes of one namespace make two spellings of one attribute.
            expanded.clear();
            for (const std::string_view name : names) {
                if (name.compare(0, 6, "xmlns:") == 0) {
                    continue; // a declaration, checked above
                }
                const std::string_view uri = namespaceOf(node, name, "attribute");
                if (!uri.empty()) {
                    expanded.emplace_back(uri, name.substr(name.find(':') + 1));
                }
            }
            std::sort(expanded.begin(), expanded.end());
            if (std::adjacent_find(expanded.begin(), expanded.end()) != expanded.end()) {
                fail(node, "one attribute given twice under two prefixes of its namespace");
            }
            if (node.first_child()) {
                node = node.first_child();
                ++depth;
                continue;
            }
        }
        // Leaving nodes, up to the next sibling: their declarations go out of scope.
        for (;;) {
            while (!declared.empty() && declared.back().first >= depth) {
                bound[declared.back().second].pop_back();
                declared.pop_back();
            }
            if (node.next_sibling()) {
                node = node.next_sibling();
                break;
            }
            node = node.parent();
            if (!node || node.type() == pugi::node_document) {
                node = pugi::xml_node();
                break;
            }
            --depth;
        }
    }
}

} // namespace

std::unique_ptr<SourceFile> SourceFile::load(const std::string &path, KeepBytes keep)
{
    std::unique_ptr<SourceFile> source(new SourceFile());
    source->path_ = path == "-" ? "<stdin>" : path;
    const std::string &shown = source->path_;
    struct stat status;
    std::string bytes = readAll(path, status);
    source->device_ = static_cast<unsigned long long>(status.st_dev);
    source->inode_ = static_cast<unsigned long long>(status.st_ino);

    // The encoding: a byte-order mark, else the first characters, else the declaration.
    const std::string_view head(bytes.data(), std::min<std::size_t>(bytes.size(), 4096));
    Encoding encoding = Encoding::Utf8;
    std::size_t bom = 0;
    bool ascii = false;
    constexpr const char *kRead = "(UTF-8, UTF-16, ISO-8859-1 and windows-1252 are read)";
    if (startsWith(head, "\xEF\xBB\xBF")) {
        bom = 3;
    } else if (startsWith(head, std::string_view("\xFF\xFE\0\0", 4)) ||
               startsWith(head, std::string_view("\0\0\xFE\xFF", 4))) {
        throw InputError(shown, 1, 1, std::string("unsupported encoding UTF-32 ") + kRead);
    } else if (startsWith(head, "\xFF\xFE")) {
        encoding = Encoding::Utf16LE, bom = 2;
    } else if (startsWith(head, "\xFE\xFF")) {
        encoding = Encoding::Utf16BE, bom = 2;
    } else if (startsWith(head, std::string_view("<\0?\0", 4))) {
        encoding = Encoding::Utf16LE;
    } else if (startsWith(head, std::string_view("\0<\0?", 4))) {
        encoding = Encoding::Utf16BE;
    } else {
        const std::string declared = declaredEncoding(head);
        if (declared == "ISO-8859-1" || declared == "ISO_8859-1" || declared == "LATIN1" ||
            declared == "ISO8859-1" || declared == "L1") {
            encoding = Encoding::Latin1;
        } else if (declared == "WINDOWS-1252" || declared == "CP1252") {
            encoding = Encoding::Windows1252;
        } else if (declared.compare(0, 6, "UTF-16") == 0 || declared.compare(0, 6, "UTF-32") == 0 ||
                   declared == "UCS-2" || declared == "UCS-4") {
            throw InputError(shown, 1, 1,
                             "declares encoding \"" + declared +
                                 "\" but is written in a single-byte encoding (a UTF-16 file "
                                 "starts with a byte-order mark or \"<?\" in UTF-16)");
        } else if (declared == "US-ASCII" || declared == "ASCII") {
            ascii = true;
        } else if (!declared.empty() && declared != "UTF-8" && declared != "UTF8") {
            throw InputError(shown, 1, 1, "unsupported encoding \"" + declared + "\" " + kRead);
        }
    }
    source->encoding_ = encoding;
    source->bomSize_ = bom;

    Fault storage;
    Fault *fault = nullptr;
    std::string converted;
    if (encoding != Encoding::Utf8) {
        converted = decode(bytes, encoding, bom, fault, storage);
    }
    const std::string_view decoded = encoding == Encoding::Utf8
                                         ? std::string_view(bytes).substr(bom)
                                         : std::string_view(converted);
    for (std::size_t i = 0; ascii && fault == nullptr && i < decoded.size(); ++i) {
        if ((static_cast<unsigned char>(decoded[i]) & 0x80u) != 0) {
            storage = Fault{i, "byte " + hexByte(static_cast<unsigned char>(decoded[i])) +
                                   " is not ASCII, the declared encoding"};
            fault = &storage;
        }
    }

    // The parser takes a buffer of its own allocator, and rewrites it.
    const std::size_t size = decoded.size();
    if (size > UINT32_MAX) {
        throw InputError(shown, 0, 0, "too large (files of up to 4 GiB are read)");
    }
    char *buffer = static_cast<char *>(pugi::get_memory_allocation_function()(size + 1));
    if (buffer == nullptr) {
        throw std::bad_alloc();
    }
    std::memcpy(buffer, decoded.data(), size);
    source->base_ = buffer;
    source->size_ = size;
    if (keep == KeepBytes::WhenAsked && S_ISREG(status.st_mode) && path != "-") {
        source->rereadable_ = true;
        source->readSize_ = bytes.size();
        source->readHash_ = std::hash<std::string_view>()(bytes);
    }
    const bool keepBytes =
        keep == KeepBytes::Yes || (keep == KeepBytes::WhenAsked && !source->rereadable_);
    if (keepBytes) {
        source->converted_ = std::move(converted);
    }
    std::string().swap(converted);
    if (keepBytes) {
        source->bytes_ = std::move(bytes);
    } else {
        std::string().swap(bytes);
    }

    // Line starts, from the text before the parser rewrites it. A line ends at LF, CR LF or a
    // CR alone, as XML reads them. Counted first: a large file has many lines, and a growing
    // vector would hold up to twice their offsets.
    const bool anyCr = std::memchr(buffer, '\r', size) != nullptr;
    const auto forEachLineStart = [&](auto fn) {
        if (!anyCr) {
            for (const char *p = buffer, *end = buffer + size;
                 (p = static_cast<const char *>(
                      std::memchr(p, '\n', static_cast<std::size_t>(end - p)))) != nullptr;) {
                fn(static_cast<std::uint32_t>(++p - buffer));
            }
            return;
        }
        for (std::size_t i = 0; i < size; ++i) {
            if (buffer[i] == '\n' || (buffer[i] == '\r' && (i + 1 == size || buffer[i + 1] != '\n'))) {
                fn(static_cast<std::uint32_t>(i + 1));
            }
        }
    };
    std::size_t lines = 1;
    forEachLineStart([&](std::uint32_t) { ++lines; });
    source->lineStarts_.reserve(lines);
    source->lineStarts_.push_back(0);
    forEachLineStart([&](std::uint32_t start) { source->lineStarts_.push_back(start); });
    std::optional<Fault> shape;
    if (fault == nullptr && !checkCharacters(std::string_view(buffer, size), storage, shape)) {
        fault = &storage;
    }
    // Located against the text as read, before the parser rewrites it.
    const auto located = [&](const Fault &f) {
        const std::size_t line = source->lineOf(static_cast<std::ptrdiff_t>(f.offset));
        std::size_t column = 1;
        for (std::size_t k = source->lineStarts_[line - 1]; k < f.offset; ++k) {
            column += (static_cast<unsigned char>(buffer[k]) & 0xC0u) != 0x80u ? 1 : 0;
        }
        return InputError(shown, line, column, (f.malformed ? "malformed XML: " : "") + f.message);
    };
    if (fault != nullptr) {
        InputError error = located(*fault);
        pugi::get_memory_deallocation_function()(buffer);
        throw error;
    }
    std::optional<InputError> shapeError;
    if (shape) {
        shapeError = located(*shape);
    }
    const pugi::xml_parse_result result =
        source->document_.load_buffer_inplace_own(buffer, size, kParseOptions, pugi::encoding_utf8);
    if (!result) {
        std::string description = result.description();
        if (!description.empty()) {
            description[0] =
                static_cast<char>(std::tolower(static_cast<unsigned char>(description[0])));
        }
        throw InputError(shown, source->lineOf(result.offset), source->columnOf(result.offset),
                         "malformed XML: " + description);
    }
    if (shapeError) {
        throw *shapeError;
    }
    checkNames(*source);
    const pugi::xml_node root = source->document_.document_element();
    if (localName(root) != "dds") {
        throw InputError(shown, source->lineOf(root), 0,
                         "the root element is <" + escaped(root.name()) + ">, not <dds>" +
                             otherLayout(root));
    }
    return source;
}

std::string otherLayout(pugi::xml_node root)
{
    if (localName(root) == "profiles" || childNamed(root, "profiles")) {
        return ": it is a Fast DDS profiles file (<profiles>), not DDS-XML";
    }
    return "";
}

std::size_t SourceFile::lineOf(std::ptrdiff_t offset) const
{
    if (offset < 0) {
        return 0;
    }
    if (static_cast<std::size_t>(offset) > UINT32_MAX) {
        return lineStarts_.size();
    }
    const auto it = std::upper_bound(lineStarts_.begin(), lineStarts_.end(),
                                     static_cast<std::uint32_t>(offset));
    return static_cast<std::size_t>(it - lineStarts_.begin());
}

std::size_t SourceFile::columnOf(std::ptrdiff_t offset) const
{
    const std::size_t line = lineOf(offset);
    if (line == 0) {
        return 0;
    }
    // Characters, not bytes. The parser may have shortened text before `offset` on this line;
    // markup keeps its place, so columns of elements are exact.
    std::size_t column = 1;
    for (std::size_t k = lineStarts_[line - 1]; k < static_cast<std::size_t>(offset) && k < size_;
         ++k) {
        column += (static_cast<unsigned char>(base_[k]) & 0xC0u) != 0x80u ? 1 : 0;
    }
    return column;
}

std::string SourceFile::where(pugi::xml_node node) const
{
    return path_ + ":" + std::to_string(lineOf(node));
}

std::string_view SourceFile::decodedFrom(std::ptrdiff_t offset) const
{
    if (offset < 0 || static_cast<std::size_t>(offset) > size_) {
        return {};
    }
    return std::string_view(base_ + offset, size_ - static_cast<std::size_t>(offset));
}

std::vector<std::size_t> SourceFile::originalOffsets(const std::vector<std::size_t> &decoded) const
{
    std::vector<std::size_t> out;
    out.reserve(decoded.size());
    if (encoding_ == Encoding::Utf8) {
        for (std::size_t d : decoded) {
            out.push_back(d + bomSize_);
        }
        return out;
    }
    // Walk the bytes once, counting the UTF-8 bytes each character decodes to.
    readAgain();
    std::size_t at = bomSize_, produced = 0;
    for (std::size_t d : decoded) {
        while (produced < d && at < bytes_.size()) {
            unsigned long code;
            std::size_t width;
            if (encoding_ == Encoding::Latin1 || encoding_ == Encoding::Windows1252) {
                code = singleByteCode(encoding_, static_cast<unsigned char>(bytes_[at])), width = 1;
            } else {
                const auto unit = [&](std::size_t i) {
                    const auto a = static_cast<unsigned char>(bytes_[i]);
                    const auto b = static_cast<unsigned char>(bytes_[i + 1]);
                    return encoding_ == Encoding::Utf16LE ? static_cast<unsigned long>(a | (b << 8))
                                                          : static_cast<unsigned long>((a << 8) | b);
                };
                code = unit(at), width = 2;
                if (code >= 0xD800 && code <= 0xDBFF && at + 3 < bytes_.size()) {
                    code = 0x10000, width = 4;
                }
            }
            produced += code < 0x80 ? 1 : code < 0x800 ? 2 : code < 0x10000 ? 3 : 4;
            at += width;
        }
        out.push_back(at);
    }
    return out;
}

void SourceFile::readAgain() const
{
    if (!rereadable_) {
        return;
    }
    struct stat status;
    std::string bytes = readAll(path_, status);
    if (bytes.size() != readSize_ || std::hash<std::string_view>()(bytes) != readHash_) {
        throw InputError(path_ + ": error: the file changed while it was being checked");
    }
    if (encoding_ != Encoding::Utf8) {
        Fault storage;
        Fault *fault = nullptr;
        converted_ = decode(bytes, encoding_, bomSize_, fault, storage);
    }
    bytes_ = std::move(bytes);
    rereadable_ = false;
}

std::string_view SourceFile::text() const
{
    readAgain();
    return encoding_ == Encoding::Utf8 ? std::string_view(bytes_).substr(bomSize_)
                                       : std::string_view(converted_);
}

std::string SourceFile::encodeAscii(std::string_view text) const
{
    if (encoding_ != Encoding::Utf16LE && encoding_ != Encoding::Utf16BE) {
        return std::string(text);
    }
    std::string out;
    for (char c : text) {
        if (encoding_ == Encoding::Utf16LE) {
            out += c, out += '\0';
        } else {
            out += '\0', out += c;
        }
    }
    return out;
}

std::string_view localName(pugi::xml_node node)
{
    const std::string_view name = node.name();
    const std::size_t colon = name.find(':');
    return colon == std::string_view::npos ? name : name.substr(colon + 1);
}

pugi::xml_node childNamed(pugi::xml_node node, std::string_view name)
{
    for (pugi::xml_node child = node.first_child(); child; child = child.next_sibling()) {
        if (child.type() == pugi::node_element && localName(child) == name) {
            return child;
        }
    }
    return pugi::xml_node();
}

std::string_view textOf(pugi::xml_node node, std::string &scratch)
{
    // The first piece of character data is kept in the element itself; later pieces (after a
    // comment, around a CDATA section) are child nodes.
    std::string_view single = node.value();
    std::size_t pieces = *node.value() != '\0' ? 1 : 0;
    for (pugi::xml_node child = node.first_child(); child; child = child.next_sibling()) {
        if (child.type() == pugi::node_pcdata || child.type() == pugi::node_cdata) {
            single = child.value();
            ++pieces;
        }
    }
    if (pieces <= 1) {
        return trimmed(single);
    }
    scratch.assign(node.value());
    for (pugi::xml_node child = node.first_child(); child; child = child.next_sibling()) {
        if (child.type() == pugi::node_pcdata || child.type() == pugi::node_cdata) {
            scratch += child.value();
        }
    }
    return trimmed(scratch);
}

} // namespace propqos::cli
