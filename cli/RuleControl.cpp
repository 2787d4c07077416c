#include "RuleControl.hpp"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <map>

#include "Rules.hpp"
#include "Text.hpp"

namespace propqos::cli
{

namespace
{

// The element an ignore comment covers: its start and the start of whatever follows its
// subtree in document order, so that every node inside lies in [begin, end).
struct Covered {
    std::ptrdiff_t begin;
    std::ptrdiff_t end;
    std::vector<std::string> codes;
};

// "propqos: ignore a, b" -> {"a", "b"}; empty for any other comment.
std::vector<std::string> ignoredCodes(std::string_view comment)
{
    comment = trimmed(comment);
    const std::string_view tag = "propqos:";
    if (comment.substr(0, tag.size()) != tag) {
        return {};
    }
    comment = trimmed(comment.substr(tag.size()));
    const std::string_view verb = "ignore";
    if (comment.substr(0, verb.size()) != verb ||
        (comment.size() > verb.size() && comment[verb.size()] != ' ' &&
         comment[verb.size()] != '\t')) {
        return {};
    }
    comment.remove_prefix(verb.size());
    std::vector<std::string> codes;
    while (!comment.empty()) {
        const std::size_t comma = comment.find(',');
        const std::string_view code = trimmed(comment.substr(0, comma));
        if (!code.empty()) {
            codes.emplace_back(code);
        }
        comment = comma == std::string_view::npos ? std::string_view() : comment.substr(comma + 1);
    }
    return codes;
}

// Every ignore comment of a document with the element it covers, in document order (so sorted
// by begin, and nested ranges after the ones holding them).
std::vector<Covered> coveredElements(const pugi::xml_document &document)
{
    std::vector<Covered> out;
    pugi::xml_node node = document.first_child();
    while (node) {
        if (node.type() == pugi::node_comment) {
            std::vector<std::string> codes = ignoredCodes(node.value());
            pugi::xml_node target = node.next_sibling();
            while (target && target.type() != pugi::node_element) {
                target = target.next_sibling();
            }
            if (!codes.empty() && target) {
                pugi::xml_node after = target;
                while (after && !after.next_sibling()) {
                    after = after.parent();
                }
                const std::ptrdiff_t end =
                    after ? after.next_sibling().offset_debug() : PTRDIFF_MAX;
                out.push_back(Covered{target.offset_debug(), end < 0 ? PTRDIFF_MAX : end,
                                      std::move(codes)});
            }
        }
        if (node.first_child()) {
            node = node.first_child();
            continue;
        }
        while (node && !node.next_sibling()) {
            node = node.parent();
        }
        if (node) {
            node = node.next_sibling();
        }
    }
    return out;
}

} // namespace

KnownNames KnownNames::load(const std::vector<std::string> &paths)
{
    KnownNames names;
    for (const std::string &path : paths) {
        errno = 0;
        std::ifstream file(path, std::ios::binary);
        if (!file) {
            throw InputError(path + ": error: cannot open: " +
                             std::strerror(errno ? errno : ENOENT));
        }
        for (std::string line; std::getline(file, line);) {
            const std::string_view name = trimmed(line);
            if (name.empty() || name.front() == '#') {
                continue;
            }
            if (name.back() == '*') {
                names.prefixes_.emplace(name.substr(0, name.size() - 1));
                names.prefixLengths_.push_back(name.size() - 1);
            } else {
                names.exact_.emplace(name);
            }
        }
        if (file.bad()) {
            throw InputError(path + ": error: cannot read");
        }
    }
    std::sort(names.prefixLengths_.begin(), names.prefixLengths_.end());
    names.prefixLengths_.erase(
        std::unique(names.prefixLengths_.begin(), names.prefixLengths_.end()),
        names.prefixLengths_.end());
    return names;
}

bool KnownNames::contains(std::string_view name) const
{
    if (exact_.count(std::string(name)) > 0) {
        return true;
    }
    // One look-up per distinct prefix length (few: lengths of distinct prefixes add up to
    // the size of the list).
    for (const std::size_t length : prefixLengths_) {
        if (length <= name.size() && prefixes_.count(std::string(name.substr(0, length))) > 0) {
            return true;
        }
    }
    return false;
}

void checkRuleCodes(const std::vector<std::string> &codes, const char *option)
{
    for (const std::string &code : codes) {
        if (findRule(code) == nullptr) {
            throw UsageError(std::string("check: ") + option + ": no rule " + quotedShort(code) +
                             " (see propqos check --list-rules)");
        }
    }
}

void applyRuleControl(std::vector<Finding> &findings, const std::vector<std::string> &disabled)
{
    std::vector<bool> drop(findings.size(), false);
    for (std::size_t i = 0; i < findings.size(); ++i) {
        drop[i] = std::find(disabled.begin(), disabled.end(), findings[i].code) != disabled.end();
    }
    // Per file, the findings in offset order swept against the covered ranges; the ranges
    // open at a finding nest, so an open stack holds them.
    std::map<const SourceFile *, std::vector<std::size_t>> byFile;
    for (std::size_t i = 0; i < findings.size(); ++i) {
        if (!drop[i] && findings[i].file != nullptr && findings[i].offset >= 0) {
            byFile[findings[i].file].push_back(i);
        }
    }
    for (auto &[file, indices] : byFile) {
        const std::vector<Covered> covered = coveredElements(file->document());
        if (covered.empty()) {
            continue;
        }
        std::stable_sort(indices.begin(), indices.end(), [&](std::size_t a, std::size_t b) {
            return findings[a].offset < findings[b].offset;
        });
        std::vector<const Covered *> open;
        std::size_t next = 0;
        for (const std::size_t i : indices) {
            const std::ptrdiff_t at = findings[i].offset;
            while (next < covered.size() && covered[next].begin <= at) {
                while (!open.empty() && open.back()->end <= covered[next].begin) {
                    open.pop_back();
                }
                open.push_back(&covered[next++]);
            }
            while (!open.empty() && open.back()->end <= at) {
                open.pop_back();
            }
            for (const Covered *c : open) {
                if (c->begin <= at && at < c->end &&
                    std::find(c->codes.begin(), c->codes.end(), findings[i].code) !=
                        c->codes.end()) {
                    drop[i] = true;
                    break;
                }
            }
        }
    }
    std::size_t kept = 0;
    for (std::size_t i = 0; i < findings.size(); ++i) {
        if (!drop[i]) {
            if (kept != i) {
                findings[kept] = std::move(findings[i]);
            }
            ++kept;
        }
    }
    findings.resize(kept);
}

} // namespace propqos::cli
