#include "Report.hpp"

#include <cstdio>
#include <filesystem>

#include <nlohmann/json.hpp>

#include "Commands.hpp"
#include "Rules.hpp"
#include "Text.hpp"

#ifndef PROPQOS_VERSION
#define PROPQOS_VERSION "0.0.0"
#endif
#ifndef PROPQOS_HOMEPAGE_URL
#define PROPQOS_HOMEPAGE_URL ""
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

// Line and column (1-based) of a byte offset of a file.
Json region(const SourceFile &file, std::size_t begin, std::optional<std::size_t> end)
{
    const auto at = static_cast<std::ptrdiff_t>(begin);
    Json r = {{"startLine", file.lineOf(at)}, {"startColumn", file.columnOf(at)}};
    if (end) {
        r["endLine"] = file.lineOf(static_cast<std::ptrdiff_t>(*end));
        r["endColumn"] = file.columnOf(static_cast<std::ptrdiff_t>(*end));
    }
    return r;
}

Json physicalLocation(const Finding &f)
{
    Json location = {{"artifactLocation", {{"uri", artifactUri(f.path)}}}};
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
        location["region"] = region(*f.file, static_cast<std::size_t>(f.offset) - 1, {});
    } else if (f.line > 0) {
        location["region"] = {{"startLine", f.line}};
    }
    return location;
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

std::string sarifLog(const std::vector<Finding> &findings, const FixFinder &fixOf)
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
    Json results = Json::array();
    for (const Finding &f : findings) {
        Json result = {{"ruleId", f.code}};
        const Rule *rule = findRule(f.code);
        if (rule != nullptr) {
            result["ruleIndex"] = rule - rules().data();
        }
        result["level"] = levelName(f.level);
        result["message"] = {{"text", f.message}};
        if (!f.path.empty()) {
            result["locations"] = Json::array({{{"physicalLocation", physicalLocation(f)}}});
        }
        if (const std::optional<Edit> edit = f.file != nullptr ? fixOf(f) : std::nullopt) {
            const Json replacement = {
                {"deletedRegion", region(*f.file, edit->begin, edit->end)},
                {"insertedContent", {{"text", edit->text}}}};
            const Json change = {{"artifactLocation", {{"uri", artifactUri(f.path)}}},
                                 {"replacements", Json::array({replacement})}};
            const Json fix = {{"description", {{"text", "Replace with \"" + edit->text + "\""}}},
                              {"artifactChanges", Json::array({change})}};
            result["fixes"] = Json::array({fix});
        }
        results.push_back(std::move(result));
    }
    Json driver = {{"name", "propqos"}, {"version", PROPQOS_VERSION}};
    if (*PROPQOS_HOMEPAGE_URL != '\0') {
        driver["informationUri"] = PROPQOS_HOMEPAGE_URL;
    }
    driver["rules"] = std::move(rulesJson);
    const Json log = {
        {"$schema", "https://json.schemastore.org/sarif-2.1.0.json"},
        {"version", "2.1.0"},
        {"runs", Json::array({{{"tool",
                                {{"driver", driver}}},
                               {"columnKind", "unicodeCodePoints"},
                               {"results", results}}})}};
    return log.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

} // namespace propqos::cli
