#include "RuleControl.hpp"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <map>
#include <unordered_set>

#include "Rules.hpp"
#include "Source.hpp"
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

// "propqos: ignore a, b because ..." -> {"a", "b"}; empty for any other comment. The list of
// rules ends where a blank is not next to a comma: what follows is the reason, for readers.
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
        (comment.size() > verb.size() && !std::isspace(static_cast<unsigned char>(comment[verb.size()])))) {
        return {};
    }
    comment = trimmed(comment.substr(verb.size()));
    const auto isCodeChar = [](char c) {
        return std::isalnum(static_cast<unsigned char>(c)) || c == '-' || c == '_';
    };
    std::vector<std::string> codes;
    for (;;) {
        std::size_t n = 0;
        while (n < comment.size() && isCodeChar(comment[n])) {
            ++n;
        }
        if (n > 0) {
            codes.emplace_back(comment.substr(0, n));
        }
        comment = trimmed(comment.substr(n));
        if (comment.empty() || comment.front() != ',') {
            // A name that is not a rule's shape (for instance "unknown_property?") is still
            // named, so that unknown-rule can say so.
            if (n == 0 && codes.empty() && !comment.empty()) {
                codes.emplace_back(comment.substr(0, comment.find_first_of(" \t\r\n")));
            }
            break;
        }
        comment = trimmed(comment.substr(1));
    }
    return codes;
}

// Whether a comment ends the line of the element just before it (`<e/> <!-- ... -->`): then it
// is about that element, as a trailing comment is read, not about the next one.
bool endsLineOfPrevious(pugi::xml_node comment, std::string_view text)
{
    pugi::xml_node previous = comment.previous_sibling();
    if (!previous || previous.type() != pugi::node_element) {
        return false;
    }
    // The comment's offset is that of its text, after "<!--".
    std::ptrdiff_t at = comment.offset_debug() - 5;
    while (at >= 0 && static_cast<std::size_t>(at) < text.size() &&
           (text[static_cast<std::size_t>(at)] == ' ' || text[static_cast<std::size_t>(at)] == '\t')) {
        --at;
    }
    return at >= 0 && static_cast<std::size_t>(at) < text.size() &&
           text[static_cast<std::size_t>(at)] != '\n' && text[static_cast<std::size_t>(at)] != '\r';
}

// A rule named in an ignore comment that is no rule's: the comment's offset and the name.
using UnknownCode = std::pair<std::ptrdiff_t, std::string>;

// Every ignore comment of a document with the element it covers, in document order (so sorted
// by begin, and nested ranges after the ones holding them). Codes that are no rule's go to
// `unknown` instead.
std::vector<Covered> coveredElements(const SourceFile &file, std::vector<UnknownCode> &unknown)
{
    std::vector<Covered> out;
    pugi::xml_node node = file.document().first_child();
    while (node) {
        if (node.type() == pugi::node_comment) {
            std::vector<std::string> codes = ignoredCodes(node.value());
            for (auto code = codes.begin(); code != codes.end();) {
                if (findRule(*code) == nullptr) {
                    unknown.emplace_back(node.offset_debug(), std::move(*code));
                    code = codes.erase(code);
                } else {
                    ++code;
                }
            }
            pugi::xml_node target;
            if (!codes.empty() && endsLineOfPrevious(node, file.decodedFrom(0))) {
                target = node.previous_sibling();
            } else {
                target = node.next_sibling();
                while (target && target.type() != pugi::node_element) {
                    target = target.next_sibling();
                }
            }
            if (!codes.empty() && target) {
                const std::ptrdiff_t end = nextAfter(target).offset_debug();
                out.push_back(Covered{target.offset_debug(), end < 0 ? PTRDIFF_MAX : end,
                                      std::move(codes)});
            }
        }
        node = nextInDocument(node);
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
        // As with a compiler's syntax errors: what was not read cannot be called clean.
        if (code == "unusable-file") {
            throw UsageError(std::string("check: ") + option +
                             ": unusable-file cannot be disabled (a file that cannot be read "
                             "is always reported, with exit status 2)");
        }
    }
}

void applyRuleControl(FindingList &findings, const std::vector<std::string> &disabled,
                      const ProfileSet &set)
{
    const auto isDisabled = [&](const std::string &code) {
        return std::find(disabled.begin(), disabled.end(), code) != disabled.end();
    };
    // Per file, the findings in offset order swept against the covered ranges; the ranges
    // open at a finding nest, so an open stack holds them.
    std::map<const SourceFile *, std::vector<std::size_t>> byFile;
    std::map<const SourceFile *, std::size_t> fileIndex;
    for (const Profile &profile : set.profiles()) {
        fileIndex.emplace(profile.file, profile.fileIndex);
    }
    for (const Finding &f : findings) {
        if (f.file != nullptr) {
            fileIndex.emplace(f.file, f.fileIndex);
        }
    }
    std::vector<std::vector<Covered>> coveredByFile;
    for (const auto &file : set.files()) {
        std::vector<UnknownCode> unknown;
        coveredByFile.push_back(coveredElements(*file, unknown));
        for (const auto &[offset, code] : unknown) {
            Finding f;
            f.file = file.get();
            f.path = file->path();
            const auto index = fileIndex.find(file.get());
            f.fileIndex = index == fileIndex.end() ? UINT32_MAX
                                                   : static_cast<std::uint32_t>(index->second);
            f.line = file->lineOf(offset);
            // The offset of a comment is that of its text; the finding's, that of "<!--" + 1.
            f.offset = offset >= 3 ? offset - 3 : offset;
            f.level = Level::Warning;
            f.code = "unknown-rule";
            f.message = "no rule " + quotedShort(code) +
                        " to ignore (see propqos check --list-rules)";
            findings.push_back(std::move(f));
        }
    }
    // Only the files with ignore comments need their findings swept.
    std::unordered_set<const SourceFile *> commented;
    for (std::size_t k = 0; k < set.files().size(); ++k) {
        if (!coveredByFile[k].empty()) {
            commented.insert(set.files()[k].get());
        }
    }
    std::vector<bool> drop(findings.size(), false);
    for (std::size_t i = 0; i < findings.size(); ++i) {
        drop[i] = isDisabled(std::string(findings[i].code));
        if (!drop[i] && findings[i].file != nullptr && findings[i].offset >= 0 &&
            commented.count(findings[i].file) != 0) {
            byFile[findings[i].file].push_back(i);
        }
    }
    for (std::size_t k = 0; k < set.files().size(); ++k) {
        const auto found = byFile.find(set.files()[k].get());
        const std::vector<Covered> &covered = coveredByFile[k];
        if (found == byFile.end() || covered.empty()) {
            continue;
        }
        std::vector<std::size_t> &indices = found->second;
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
