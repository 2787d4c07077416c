#include "Report.hpp"

#include <algorithm>
#include <cstdio>
#include <filesystem>

#include <nlohmann/json.hpp>

#include "Commands.hpp"
#include "Rules.hpp"
#include "Text.hpp"

#ifndef PROPQOS_VERSION
#define PROPQOS_VERSION "0.0.0"
#endif
#ifndef PROPQOS_INFORMATION_URI
#define PROPQOS_INFORMATION_URI ""
#endif
#ifndef PROPQOS_DOC_FROM_BIN
#define PROPQOS_DOC_FROM_BIN "../share/doc/propqos"
#endif

namespace propqos::cli
{

namespace
{

using Json = nlohmann::ordered_json;

const char *levelName(Level level)
{
    return level == Level::Error ? "error" : "warning";
}

std::string percentEncoded(const std::string &text)
{
    std::string out;
    for (const char ch : text) {
        const auto c = static_cast<unsigned char>(ch);
        if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
            c == '-' || c == '.' || c == '_' || c == '~' || c == '/') {
            out += ch;
        } else {
            char buffer[4];
            std::snprintf(buffer, sizeof buffer, "%%%02X", c);
            out += buffer;
        }
    }
    return out;
}

// The columns of every place the log names, found in one pass along each line:
// SourceFile::columnOf counts from the start of the line each time, which on a file written
// on one line would make the log quadratic.
class Columns
{
public:
    void want(const SourceFile *file, std::size_t offset) { wanted_.emplace_back(file, offset); }

    void compute()
    {
        std::sort(wanted_.begin(), wanted_.end());
        wanted_.erase(std::unique(wanted_.begin(), wanted_.end()), wanted_.end());
        columns_.resize(wanted_.size());
        const SourceFile *file = nullptr;
        std::size_t line = 0, at = 0, column = 0;
        for (std::size_t i = 0; i < wanted_.size(); ++i) {
            const auto [f, offset] = wanted_[i];
            const std::size_t l = f->lineOf(static_cast<std::ptrdiff_t>(offset));
            if (f != file || l != line) {
                file = f, line = l, at = offset;
                column = f->columnOf(static_cast<std::ptrdiff_t>(offset));
            } else {
                // Characters, as columnOf counts them: every byte but UTF-8 continuations.
                const std::string_view between =
                    f->decodedFrom(static_cast<std::ptrdiff_t>(at)).substr(0, offset - at);
                for (const char c : between) {
                    column += (static_cast<unsigned char>(c) & 0xC0u) != 0x80u ? 1 : 0;
                }
                at = offset;
            }
            columns_[i] = column;
        }
    }

    std::size_t of(const SourceFile *file, std::size_t offset) const
    {
        const auto it =
            std::lower_bound(wanted_.begin(), wanted_.end(), std::make_pair(file, offset));
        return columns_[static_cast<std::size_t>(it - wanted_.begin())];
    }

private:
    std::vector<std::pair<const SourceFile *, std::size_t>> wanted_;
    std::vector<std::size_t> columns_;
};

// Line and column (1-based) of an offset of a file, and of the end of a range.
Json region(const SourceFile &file, const Columns &columns, std::size_t begin,
            std::optional<std::size_t> end)
{
    Json r = {{"startLine", file.lineOf(static_cast<std::ptrdiff_t>(begin))},
              {"startColumn", columns.of(&file, begin)}};
    if (end) {
        r["endLine"] = file.lineOf(static_cast<std::ptrdiff_t>(*end));
        r["endColumn"] = columns.of(&file, *end);
    }
    return r;
}

Json physicalLocation(const Finding &f, const Columns &columns)
{
    Json location = {{"artifactLocation", {{"uri", artifactUri(std::string(f.path))}}}};
    if (f.file == nullptr) {
        // A file that could not be read: what the reader could tell of the place.
        if (f.line > 0) {
            location["region"] = {{"startLine", f.line}};
            if (f.column > 0) {
                location["region"]["startColumn"] = f.column;
            }
        }
    } else if (f.offset > 0) {
        // The offset is that of the element's name; the element starts at its '<'.
        location["region"] = region(*f.file, columns, static_cast<std::size_t>(f.offset) - 1, {});
    } else if (f.line > 0) {
        location["region"] = {{"startLine", f.line}};
    }
    return location;
}

// A home page named at build time, else the README installed beside the running tool; none when
// the tool runs from a build tree.
std::string informationUri()
{
    namespace fs = std::filesystem;
    if (*PROPQOS_INFORMATION_URI != '\0') {
        return PROPQOS_INFORMATION_URI;
    }
    std::error_code error;
    const fs::path tool = fs::read_symlink("/proc/self/exe", error);
    if (error) {
        return {};
    }
    const fs::path readme = (tool.parent_path() / PROPQOS_DOC_FROM_BIN / "README.md").lexically_normal();
    if (!fs::is_regular_file(readme, error)) {
        return {};
    }
    return "file://" + percentEncoded(readme.generic_string());
}

} // namespace

nlohmann::ordered_json findingObject(const Finding &finding)
{
    // One writer of the fields; findingJson keeps check's one-line-per-finding layout.
    return Json::parse(findingJson(finding));
}

std::string artifactUri(const std::string &path)
{
    namespace fs = std::filesystem;
    fs::path p = fs::path(path).lexically_normal();
    if (p.is_absolute()) {
        std::error_code error;
        const fs::path cwd = fs::current_path(error);
        const fs::path relative = error ? fs::path() : p.lexically_relative(cwd);
        if (relative.empty() || *relative.begin() == "..") {
            return "file://" + percentEncoded(p.generic_string());
        }
        p = relative;
    }
    return percentEncoded(p.generic_string());
}

std::string sarifLog(const FindingList &findings, const FixFinder &fixOf)
{
    std::string log;
    sarifLog(findings, fixOf, [&](std::string_view piece) { log.append(piece); });
    return log;
}

void sarifLog(const FindingList &findings, const FixFinder &fixOf,
              const std::function<void(std::string_view)> &write)
{
    Json rulesJson = Json::array();
    for (const Rule &rule : rules()) {
        // "unknown-property" -> "UnknownProperty", the form rule names take.
        std::string name;
        for (const char *c = rule.code; *c != '\0'; ++c) {
            if (*c != '-') {
                name += name.empty() || c[-1] == '-' ? static_cast<char>(*c - 'a' + 'A') : *c;
            }
        }
        Json entry = {{"id", rule.code}};
        if (!equalsIgnoreCase(name, rule.code)) {
            entry["name"] = name;
        }
        entry.update(Json{{"shortDescription", {{"text", std::string(rule.summary) + "."}}},
                             {"fullDescription", {{"text", rule.description}}},
                             {"help", {{"text", rule.description}}},
                          {"defaultConfiguration", {{"level", levelName(rule.level)}}}});
        rulesJson.push_back(std::move(entry));
    }
    std::vector<std::pair<std::size_t, Edit>> edits; // by finding, in order
    Columns columns;
    for (std::size_t i = 0; i < findings.size(); ++i) {
        const Finding &f = findings[i];
        if (f.file != nullptr && f.offset > 0) {
            columns.want(f.file, static_cast<std::size_t>(f.offset) - 1);
        }
        if (std::optional<Edit> edit = f.file != nullptr ? fixOf(f) : std::nullopt) {
            columns.want(f.file, edit->begin);
            columns.want(f.file, edit->end);
            edits.emplace_back(i, std::move(*edit));
        }
    }
    columns.compute();

    Json driver = {{"name", "propqos"}, {"version", PROPQOS_VERSION}};
    if (std::string uri = informationUri(); !uri.empty()) {
        driver["informationUri"] = std::move(uri);
    }
    driver["rules"] = std::move(rulesJson);
    // The log is written around an empty result list, each result put in as it is made: the
    // results of a large input are never held together.
    const Json log = {
        {"$schema", "https://json.schemastore.org/sarif-2.1.0.json"},
        {"version", "2.1.0"},
        {"runs", Json::array({{{"tool",
                                {{"driver", driver}}},
                               {"columnKind", "unicodeCodePoints"},
                               {"results", Json::array()}}})}};
    const std::string frame = log.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
    const std::string_view marker = "\"results\": [";
    const std::size_t open = frame.find(marker) + marker.size(); // at the "]" of "[]"
    const std::size_t lineStart = frame.rfind('\n', open) + 1;
    const std::string outer(frame.find_first_not_of(' ', lineStart) - lineStart, ' ');
    const std::string inner = outer + "  "; // as the dump indents the items of a list
    write(std::string_view(frame).substr(0, open));
    std::string piece;
    auto edit = edits.begin();
    for (std::size_t i = 0; i < findings.size(); ++i) {
        const Finding &f = findings[i];
        Json result = {{"ruleId", std::string(f.code)}};
        const Rule *rule = findRule(f.code);
        if (rule != nullptr) {
            result["ruleIndex"] = rule - rules().data();
        }
        result["level"] = levelName(f.level);
        // With what inheritance adds: where a raised level comes from.
        result["message"] = {{"text", unescaped(f.text() + inheritance(f))}};
        if (!f.path.empty()) {
            result["locations"] =
                Json::array({{{"physicalLocation", physicalLocation(f, columns)}}});
        }
        if (edit != edits.end() && edit->first == i) {
            const Edit &e = edit->second;
            ++edit;
            const Json replacement = {
                {"deletedRegion", region(*f.file, columns, e.begin, e.end)},
                {"insertedContent", {{"text", e.text}}}};
            const Json change = {{"artifactLocation", {{"uri", artifactUri(std::string(f.path))}}},
                                 {"replacements", Json::array({replacement})}};
            const Json fix = {{"description", {{"text", "Replace with \"" + e.text + "\""}}},
                              {"artifactChanges", Json::array({change})}};
            result["fixes"] = Json::array({fix});
        }
        // Indented as the item of the list it is (JSON strings hold no line break).
        piece += i == 0 ? "\n" : ",\n";
        piece += inner;
        for (const char c : result.dump(2, ' ', false, Json::error_handler_t::replace)) {
            piece += c;
            if (c == '\n') {
                piece += inner;
            }
        }
        if (piece.size() >= (1u << 16)) {
            write(piece);
            piece.clear();
        }
    }
    if (!findings.empty()) {
        piece += "\n" + outer;
    }
    write(piece);
    write(std::string_view(frame).substr(open));
}

} // namespace propqos::cli
