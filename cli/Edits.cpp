#include "Edits.hpp"

#include <cstring>

namespace propqos::cli
{

void applyEdits(std::string_view original, const std::vector<Edit> &edits,
                const std::function<void(std::string_view)> &write)
{
    std::size_t at = 0;
    for (const Edit &e : edits) {
        // Edits come sorted and apart; one overlapping the last is not made, rather than
        // have bytes written twice.
        if (e.begin < at || e.end < e.begin) {
            continue;
        }
        write(original.substr(at, e.begin - at));
        write(e.text);
        at = e.end;
    }
    write(original.substr(at));
}

std::string applyEdits(std::string_view original, const std::vector<Edit> &edits)
{
    std::size_t size = original.size(); // at most what is written
    for (const Edit &e : edits) {
        size += e.text.size();
    }
    std::string out;
    out.reserve(size);
    applyEdits(original, edits, [&](std::string_view piece) { out.append(piece); });
    return out;
}

namespace
{

// Offset just past the tag that opens at text[lt]; quoted attribute values are stepped over.
std::optional<std::size_t> tagEnd(std::string_view t, std::size_t lt)
{
    char quote = 0;
    for (std::size_t j = lt + 1; j < t.size(); ++j) {
        const char c = t[j];
        if (quote != 0) {
            quote = c == quote ? 0 : quote;
        } else if (c == '"' || c == '\'') {
            quote = c;
        } else if (c == '>') {
            return j + 1;
        }
    }
    return std::nullopt;
}

} // namespace

std::optional<Span> elementContent(std::string_view t, std::size_t open)
{
    const std::optional<std::size_t> start = tagEnd(t, open);
    if (!start || t[*start - 2] == '/') {
        return std::nullopt;
    }
    // The document parsed, so counting tags is enough; comments, CDATA sections and processing
    // instructions are stepped over whole.
    long depth = 0;
    std::size_t i = *start;
    while (i < t.size()) {
        const std::size_t lt = t.find('<', i);
        if (lt == std::string_view::npos) {
            return std::nullopt;
        }
        const char *close = t.compare(lt, 4, "<!--") == 0        ? "-->"
                            : t.compare(lt, 9, "<![CDATA[") == 0 ? "]]>"
                            : t.compare(lt, 2, "<?") == 0        ? "?>"
                                                                 : nullptr;
        if (close != nullptr) {
            const std::size_t e = t.find(close, lt + 2);
            if (e == std::string_view::npos) {
                return std::nullopt;
            }
            i = e + std::strlen(close);
            continue;
        }
        const std::optional<std::size_t> end = tagEnd(t, lt);
        if (!end) {
            return std::nullopt;
        }
        if (t[lt + 1] == '/') {
            if (depth-- == 0) {
                return Span{*start, lt};
            }
        } else if (t[*end - 2] != '/') {
            ++depth;
        }
        i = *end;
    }
    return std::nullopt;
}

} // namespace propqos::cli
