// The XML save helpers: one element per line, indented by depth, into a FILE, a caller's buffer
// or nowhere (measuring).
#include <cstdint>
#include <cstdio>
#include <cstring>

#include <propqos/XmlSave.h>

namespace {

constexpr int kIndentStep = 3;
constexpr char kBlanks[] = "                                ";
constexpr size_t kBlanksLength = sizeof kBlanks - 1;

// The replacement of one XML special character, or null for an ordinary one.
const char *entityFor(char c)
{
    switch (c) {
    case '&':
        return "&amp;";
    case '<':
        return "&lt;";
    case '>':
        return "&gt;";
    case '"':
        return "&quot;";
    case '\'':
        return "&apos;";
    default:
        return nullptr;
    }
}

// Counts the characters of a line without writing them.
struct Measure {
    uint64_t length = 0;
    void put(const char *, size_t length) { this->length += length; }
};

// Appends to the context's output. Only used once the whole line is known to fit a buffer, so a
// buffer write cannot fail here; a FILE write can, and then the context is marked in error.
struct Emit {
    ZynXMLSaveContext *context;
    void put(const char *text, size_t length)
    {
        if (length == 0 || context->error != 0) {
            return;
        }
        if (context->fout != nullptr) {
            if (std::fwrite(text, 1, length, context->fout) != length) {
                context->error = 1;
                return;
            }
        } else if (context->sout != nullptr) {
            std::memcpy(context->sout + context->outputStringLength, text, length);
            context->sout[context->outputStringLength + length] = '\0';
        }
        context->outputStringLength += static_cast<DDS_UnsignedLong>(length);
    }
};

template <typename Out>
void putString(Out &out, const char *text)
{
    out.put(text, std::strlen(text));
}

template <typename Out>
void putIndent(Out &out, DDS_Long depth)
{
    size_t blanks = depth > 0 ? static_cast<size_t>(depth) * kIndentStep : 0;
    while (blanks > 0) {
        size_t n = blanks < kBlanksLength ? blanks : kBlanksLength;
        out.put(kBlanks, n);
        blanks -= n;
    }
}

template <typename Out>
void putEscaped(Out &out, const char *text)
{
    const char *run = text;
    for (const char *p = text; *p != '\0'; ++p) {
        const char *entity = entityFor(*p);
        if (entity != nullptr) {
            out.put(run, static_cast<size_t>(p - run));
            putString(out, entity);
            run = p + 1;
        }
    }
    putString(out, run);
}

// A CDATA section cannot hold "]]>": each one is split across two sections.
template <typename Out>
void putCdata(Out &out, const char *text)
{
    putString(out, "<![CDATA[");
    const char *run = text;
    for (const char *end = std::strstr(run, "]]>"); end != nullptr; end = std::strstr(run, "]]>")) {
        out.put(run, static_cast<size_t>(end - run) + 2);
        putString(out, "]]><![CDATA[");
        run = end + 2;
    }
    putString(out, run);
    putString(out, "]]>");
}

struct TagLine {
    DDS_Long depth;
    const char *tagName;
    bool closing;
    template <typename Out>
    void render(Out &out) const
    {
        putIndent(out, depth);
        putString(out, closing ? "</" : "<");
        putString(out, tagName);
        putString(out, ">\n");
    }
};

struct ElementLine {
    DDS_Long depth;
    const char *tagName;
    const char *text;
    bool cdata;
    template <typename Out>
    void render(Out &out) const
    {
        putIndent(out, depth);
        putString(out, "<");
        putString(out, tagName);
        putString(out, ">");
        if (text != nullptr && *text != '\0') {
            if (cdata) {
                putCdata(out, text);
            } else {
                putEscaped(out, text);
            }
        }
        putString(out, "</");
        putString(out, tagName);
        putString(out, ">\n");
    }
};

// Writes one line whole or not at all: it is measured first, so a buffer that cannot hold it
// (with the terminator) and a length counter that cannot count it mark the context in error
// before anything is written. Returns false when the context is (now) in error.
template <typename Line>
bool writeLine(ZynXMLSaveContext *context, const Line &line)
{
    Measure measure;
    line.render(measure);
    uint64_t total = context->outputStringLength + measure.length;
    if (total > UINT32_MAX) {
        context->error = 1;
        return false;
    }
    if (context->fout == nullptr && context->sout != nullptr) {
        if (total + 1 > context->ssize) {
            // Leave what was written terminated, as long as the buffer has room for that.
            if (context->outputStringLength < context->ssize) {
                context->sout[context->outputStringLength] = '\0';
            }
            context->error = 1;
            return false;
        }
    }
    Emit emit{context};
    line.render(emit);
    return context->error == 0;
}

}  // namespace

extern "C" {

void DDS_XMLHelper_save_tag(const char *tagName, int tagKind, ZynXMLSaveContext *context)
{
    if (context == nullptr || context->error != 0) {
        return;
    }
    // A missing name or an unknown kind is the caller's fault; marking the context makes it show
    // instead of leaving a document with a hole in it.
    if (tagName == nullptr) {
        context->error = 1;
        return;
    }
    switch (tagKind) {
    case ZYN_XML_TAG_KIND_OPEN:
        if (writeLine(context, TagLine{context->depth, tagName, false})) {
            ++context->depth;
        }
        return;
    case ZYN_XML_TAG_KIND_CLOSE: {
        DDS_Long depth = context->depth > 0 ? context->depth - 1 : 0;
        if (writeLine(context, TagLine{depth, tagName, true})) {
            context->depth = depth;
        }
        return;
    }
    default:
        context->error = 1;
        return;
    }
}

void DDS_XMLHelper_save_string(const char *tagName, const char *text, int omitEmpty, int cdata,
                               ZynXMLSaveContext *context)
{
    if (context == nullptr || context->error != 0) {
        return;
    }
    if (tagName == nullptr) {
        context->error = 1;
        return;
    }
    if (omitEmpty != 0 && (text == nullptr || *text == '\0')) {
        return;
    }
    writeLine(context, ElementLine{context->depth, tagName, text, cdata != 0});
}

}  // extern "C"
