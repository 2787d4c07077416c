#include "Fix.hpp"

#include <climits>
#include <cstring>

#include <propqos/sys/Strings.h>

#include "Text.hpp"
#include "tables/Tables.h"

namespace propqos::cli
{

namespace
{

const char *const *publicNames(std::string_view entity)
{
    if (entity == "participant") {
        return PROPERTY_VALID_PUBLIC_PROPERTIES_DOMAINPARTICIPANT;
    }
    if (entity == "datawriter") {
        return PROPERTY_VALID_PUBLIC_PROPERTIES_DATAWRITER;
    }
    if (entity == "datareader") {
        return PROPERTY_VALID_PUBLIC_PROPERTIES_DATAREADER;
    }
    return nullptr;
}

// Whether `name` is a typo of `suggestion`: a few edits away, and no other public name of the
// entity as close (that would make the choice a guess).
bool isTypoOf(const std::string &name, const std::string &suggestion, std::string_view entity)
{
    const char *const alone[] = {suggestion.c_str(), ""};
    DDS_Long index = 0, distance = INT_MAX;
    if (VorlString_validateName(&index, &distance, name.c_str(), alone, 1) ||
        distance > kMaxFixDistance || static_cast<std::size_t>(distance) * 4 > name.size()) {
        return false;
    }
    const char *const *table = publicNames(entity);
    if (table == nullptr) {
        return false;
    }
    for (const char *const *from = table; **from != '\0';) {
        DDS_Long at = -1, found = distance + 1;
        if (VorlString_validateName(&at, &found, name.c_str(), from, 1)) {
            return false;
        }
        if (at < 0 || found > distance) {
            break;
        }
        if (suggestion != from[at]) {
            return false;
        }
        from += at + 1;
    }
    return true;
}

} // namespace

std::optional<Edit> typoFix(const Finding &f)
{
    // The suggestion is written in the file's own encoding, which only ASCII is sure to have.
    for (const char c : f.suggestion.view()) {
        if (static_cast<unsigned char>(c) >= 0x80) {
            return std::nullopt;
        }
    }
    if (f.code != "unknown-property" || f.suggestion.empty() || f.file == nullptr ||
        f.offset <= 0 ||
        !isTypoOf(std::string(f.property), std::string(f.suggestion), f.entity)) {
        return std::nullopt;
    }
    // <name ...>  text  </name>, the offset being that of "name" in the start tag.
    const std::string_view t = f.file->text();
    const auto start = static_cast<std::size_t>(f.offset);
    if (start > t.size() || t[start - 1] != '<') {
        return std::nullopt;
    }
    std::size_t gt = start;
    for (char quote = 0; gt < t.size() && (quote != 0 || t[gt] != '>'); ++gt) {
        if (quote != 0 && t[gt] == quote) {
            quote = 0;
        } else if (quote == 0 && (t[gt] == '"' || t[gt] == '\'')) {
            quote = t[gt];
        }
    }
    if (gt >= t.size() || t[gt - 1] == '/') {
        return std::nullopt;
    }
    const std::size_t close = t.find('<', gt + 1);
    if (close == std::string_view::npos || t.compare(close, 2, "</") != 0) {
        return std::nullopt;
    }
    const std::string_view content(t.data() + gt + 1, close - gt - 1);
    const std::string_view name = trimmed(content);
    if (name != f.property || name.find('\n') != std::string_view::npos) {
        return std::nullopt;
    }
    const std::size_t begin = static_cast<std::size_t>(name.data() - t.data());
    return Edit{begin, begin + name.size(), std::string(f.suggestion)};
}

std::string unifiedDiff(const std::string &path, const std::string &before,
                        const std::string &after)
{
    const auto lines = [](const std::string &text) {
        std::vector<std::string_view> out;
        for (std::size_t at = 0; at < text.size();) {
            const std::size_t nl = text.find('\n', at);
            const std::size_t end = nl == std::string::npos ? text.size() : nl + 1;
            out.emplace_back(text.data() + at, end - at);
            at = end;
        }
        return out;
    };
    const std::vector<std::string_view> a = lines(before), b = lines(after);
    if (a.size() != b.size()) {
        return std::string();
    }
    constexpr std::size_t kContext = 3;
    std::vector<std::size_t> changed;
    for (std::size_t i = 0; i < a.size(); ++i) {
        if (a[i] != b[i]) {
            changed.push_back(i);
        }
    }
    if (changed.empty()) {
        return std::string();
    }
    const auto put = [](std::string &out, char mark, std::string_view line) {
        out += mark;
        out.append(line);
        if (line.empty() || line.back() != '\n') {
            out += "\n\\ No newline at end of file\n";
        }
    };
    std::string out = "--- " + path + "\n+++ " + path + "\n";
    for (std::size_t k = 0; k < changed.size();) {
        const std::size_t first = changed[k] >= kContext ? changed[k] - kContext : 0;
        std::size_t last = changed[k];
        std::size_t m = k;
        while (m + 1 < changed.size() && changed[m + 1] <= last + 2 * kContext + 1) {
            last = changed[++m];
        }
        const std::size_t end = std::min(a.size(), last + kContext + 1);
        const std::string range = std::to_string(first + 1) + "," + std::to_string(end - first);
        out += "@@ -" + range + " +" + range + " @@\n";
        for (std::size_t i = first; i < end; ++i) {
            if (a[i] == b[i]) {
                put(out, ' ', a[i]);
            } else {
                put(out, '-', a[i]);
                put(out, '+', b[i]);
            }
        }
        k = m + 1;
    }
    return out;
}

} // namespace propqos::cli
