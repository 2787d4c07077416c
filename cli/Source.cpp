#include "Source.hpp"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include <sys/stat.h>

namespace propqos::cli
{

namespace
{

// What a profile file needs: escapes, CDATA, end-of-line normalisation; text of leaf elements
// trimmed and kept in the element itself (one node less per name and value). Comments are kept
// (they may silence findings); no PIs, declarations or blank text nodes.
constexpr unsigned kParseOptions = pugi::parse_cdata | pugi::parse_escapes | pugi::parse_eol |
                                   pugi::parse_comments |
                                   pugi::parse_wconv_attribute | pugi::parse_trim_pcdata |
                                   pugi::parse_embed_pcdata;

struct Buffer {
    char *data = nullptr;
    std::size_t size = 0;
    std::size_t capacity = 0;
    ~Buffer()
    {
        if (data != nullptr) {
            pugi::get_memory_deallocation_function()(data);
        }
    }
    char *release()
    {
        char *d = data;
        data = nullptr;
        return d;
    }
    void reserve(std::size_t wanted)
    {
        if (wanted <= capacity) {
            return;
        }
        char *bigger = static_cast<char *>(pugi::get_memory_allocation_function()(wanted));
        if (bigger == nullptr) {
            throw std::bad_alloc();
        }
        if (size > 0) {
            std::memcpy(bigger, data, size);
        }
        if (data != nullptr) {
            pugi::get_memory_deallocation_function()(data);
        }
        data = bigger;
        capacity = wanted;
    }
};

struct FileCloser {
    void operator()(std::FILE *f) const
    {
        if (f != stdin) {
            std::fclose(f);
        }
    }
};

// The whole file, in a buffer from pugixml's allocator so that the parser can take it over.
void readAll(const std::string &path, Buffer &buffer)
{
    const std::string shown = path == "-" ? "<stdin>" : path;
    errno = 0;
    // "-" is standard input, left open for whatever else reads it.
    std::unique_ptr<std::FILE, FileCloser> file(path == "-" ? stdin
                                                            : std::fopen(path.c_str(), "rb"));
    if (!file) {
        throw InputError(shown + ": error: cannot open: " + std::strerror(errno ? errno : ENOENT));
    }
    struct stat status;
    if (fstat(fileno(file.get()), &status) != 0) {
        throw InputError(shown + ": error: cannot read: " + std::strerror(errno));
    }
    if (S_ISDIR(status.st_mode)) {
        throw InputError(shown + ": error: cannot read: " + std::strerror(EISDIR));
    }
    // A size hint only: the loop reads until the end whatever the file claims.
    std::size_t hint = 1 << 16;
    if (S_ISREG(status.st_mode) && status.st_size > 0) {
        hint = static_cast<std::size_t>(status.st_size) + 1;
    }
    buffer.reserve(hint);
    for (;;) {
        if (buffer.size == buffer.capacity) {
            buffer.reserve(buffer.capacity * 2);
        }
        const std::size_t n =
            std::fread(buffer.data + buffer.size, 1, buffer.capacity - buffer.size, file.get());
        buffer.size += n;
        if (n == 0) {
            if (std::ferror(file.get())) {
                const int error = errno;
                throw InputError(shown +
                                 ": error: cannot read: " + std::strerror(error ? error : EIO));
            }
            break;
        }
    }
}

} // namespace

std::unique_ptr<SourceFile> SourceFile::load(const std::string &path, bool keepText)
{
    std::unique_ptr<SourceFile> source(new SourceFile());
    source->path_ = path == "-" ? "<stdin>" : path;
    Buffer buffer;
    readAll(path, buffer);

    // Line starts, from the bytes as they are on disk.
    source->lineStarts_.push_back(0);
    for (const char *p = buffer.data, *end = buffer.data + buffer.size;
         (p = static_cast<const char *>(std::memchr(p, '\n', static_cast<std::size_t>(end - p)))) !=
         nullptr;) {
        ++p;
        source->lineStarts_.push_back(static_cast<std::size_t>(p - buffer.data));
    }
    if (keepText) {
        source->text_.assign(buffer.data, buffer.size);
    }

    const std::size_t size = buffer.size;
    const pugi::xml_parse_result result = source->document_.load_buffer_inplace_own(
        buffer.release(), size, kParseOptions, pugi::encoding_utf8);
    if (!result) {
        std::string description = result.description();
        if (!description.empty()) {
            description[0] =
                static_cast<char>(std::tolower(static_cast<unsigned char>(description[0])));
        }
        throw InputError(path + ":" + std::to_string(source->lineOf(result.offset)) + ":" +
                         std::to_string(source->columnOf(result.offset)) +
                         ": error: malformed XML: " + description);
    }
    const pugi::xml_node root = source->document_.document_element();
    if (std::strcmp(root.name(), "dds") != 0) {
        throw InputError(source->where(root) + ": error: the root element is <" +
                         std::string(root.name()) + ">, not <dds>");
    }
    return source;
}

std::size_t SourceFile::lineOf(std::ptrdiff_t offset) const
{
    if (offset < 0) {
        return 0;
    }
    const auto it =
        std::upper_bound(lineStarts_.begin(), lineStarts_.end(), static_cast<std::size_t>(offset));
    return static_cast<std::size_t>(it - lineStarts_.begin());
}

std::size_t SourceFile::lineOf(pugi::xml_node node) const
{
    return lineOf(node.offset_debug());
}

std::size_t SourceFile::columnOf(std::ptrdiff_t offset) const
{
    const std::size_t line = lineOf(offset);
    if (line == 0) {
        return 0;
    }
    return static_cast<std::size_t>(offset) - lineStarts_[line - 1] + 1;
}

std::string SourceFile::where(pugi::xml_node node) const
{
    return path_ + ":" + std::to_string(lineOf(node));
}

} // namespace propqos::cli
