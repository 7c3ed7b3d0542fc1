// The header of .npy files: the type and the number of the entries.
#include "npy_header.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>
#include <optional>

namespace Fenlet {
namespace {

constexpr EntryType entryTypes[] = {
    {"b1", ArrayKind::Tribool}, {"i1", ArrayKind::Int8},    {"u1", ArrayKind::UInt8},
    {"i2", ArrayKind::Int16},   {"u2", ArrayKind::UInt16},  {"i4", ArrayKind::Int32},
    {"u4", ArrayKind::UInt32},  {"i8", ArrayKind::Int64},   {"f2", ArrayKind::Half},
    {"f4", ArrayKind::Float32}, {"f8", ArrayKind::Float64},
};

/// The longest header that is accepted, in bytes. A usual header is one short line.
constexpr std::size_t longestHeader = std::size_t{1} << 20;

/// Text from a file, shortened and made printable for a message.
std::string printable(std::string_view text) {
    std::string line(text.substr(0, 40));
    for (char& c : line)
        if (c < ' ' || c > '~')
            c = '?';
    return line;
}

/// Parses the header's dictionary, such as {'descr': '<f4', 'fortran_order': False,
/// 'shape': (3, 4), }, with its three keys in any order.
class HeaderParser {
  public:
    HeaderParser(std::string_view newText, const std::string& newPath)
        : text(newText), path(newPath) {}

    NpyHeader parse();

  private:
    [[noreturn]] void fail(const std::string& what) const { throw FileError(path + ": " + what); }
    void skipSpace();
    bool take(char wanted);
    void expect(char wanted);
    std::string_view quoted();
    bool truth();
    std::int64_t number();
    std::vector<std::int64_t> tuple();
    void parseType(std::string_view code, NpyHeader& header) const;

    std::string_view text;
    const std::string& path;
};

void HeaderParser::skipSpace() {
    while (!text.empty() && (text.front() == ' ' || text.front() == '\n'))
        text.remove_prefix(1);
}

bool HeaderParser::take(char wanted) {
    skipSpace();
    const bool found = !text.empty() && text.front() == wanted;
    if (found)
        text.remove_prefix(1);
    return found;
}

void HeaderParser::expect(char wanted) {
    if (!take(wanted))
        fail(std::string("the header lacks a '") + wanted + "' where it needs one");
}

std::string_view HeaderParser::quoted() {
    skipSpace();
    const char quote = !text.empty() && text.front() == '"' ? '"' : '\'';
    expect(quote);
    const std::size_t end = text.find(quote);
    if (end == std::string_view::npos)
        fail("the header holds a string without an end");
    const std::string_view inside = text.substr(0, end);
    text.remove_prefix(end + 1);
    return inside;
}

bool HeaderParser::truth() {
    skipSpace();
    for (const std::string_view word : {"True", "False"}) {
        if (text.substr(0, word.size()) == word) {
            text.remove_prefix(word.size());
            return word == "True";
        }
    }
    fail("fortran_order in the header is neither True nor False");
}

std::int64_t HeaderParser::number() {
    skipSpace();
    if (text.empty() || text.front() < '0' || text.front() > '9')
        fail("the shape in the header holds something that is not a size");
    std::int64_t value = 0;
    while (!text.empty() && text.front() >= '0' && text.front() <= '9') {
        if (value > (std::numeric_limits<std::int64_t>::max() - 9) / 10)
            fail("the shape in the header holds a size that is too large");
        value = value * 10 + (text.front() - '0');
        text.remove_prefix(1);
    }
    return value;
}

std::vector<std::int64_t> HeaderParser::tuple() {
    std::vector<std::int64_t> sizes;
    expect('(');
    bool isOver = take(')');
    while (!isOver) {
        sizes.push_back(number());
        if (sizes.size() > 32)
            fail("the shape in the header has more than 32 dimensions");
        // A comma separates two sizes. It may follow the last size, and must follow the size if
        // there is only one.
        const bool isFollowed = take(',');
        isOver = take(')');
        if (!isFollowed && (!isOver || sizes.size() == 1))
            fail("the shape in the header is not a tuple");
    }
    return sizes;
}

void HeaderParser::parseType(std::string_view code, NpyHeader& header) const {
    const char order = code.empty() ? '?' : code.front();
    for (const EntryType& type : entryTypes) {
        if (code.substr(std::min<std::size_t>(1, code.size())) != type.code)
            continue;
        const bool oneByte = componentSize(type.kind) == 1;
        if (order == '<' || order == '>' || (order == '|' && oneByte)) {
            header.type = type;
            header.bigEndian = order == '>';
            return;
        }
    }
    fail("entries of type '" + printable(code) +
         "' are not supported; bool, integers up to 64 bits (unsigned ones up to 32) and floats "
         "are");
}

NpyHeader HeaderParser::parse() {
    NpyHeader header;
    std::optional<std::string_view> type;
    std::optional<bool> columnsFirst;
    std::optional<std::vector<std::int64_t>> shape;
    expect('{');
    while (!take('}')) {
        const std::string_view key = quoted();
        expect(':');
        if (key == "descr" && !type)
            type = quoted();
        else if (key == "fortran_order" && !columnsFirst)
            columnsFirst = truth();
        else if (key == "shape" && !shape)
            shape = tuple();
        else
            fail("the header holds '" + printable(key) + "', which is unknown or repeated");
        if (!take(',') && (text.empty() || text.front() != '}'))
            fail("the header's entries are not separated by commas");
    }
    skipSpace();
    if (!text.empty())
        fail("the header has text after its end");
    if (!type || !columnsFirst || !shape)
        fail("the header lacks descr, fortran_order or shape");
    parseType(*type, header);
    header.shape = *shape;
    if (*columnsFirst && header.shape.size() > 1)
        fail("the array is stored columns first (fortran_order), which is not supported");
    return header;
}

std::uint64_t countEntries(const NpyHeader& header, const std::string& path) {
    std::uint64_t entries = 1;
    for (const std::int64_t size : header.shape) {
        if (size != 0 && entries > (std::uint64_t{1} << 60) / static_cast<std::uint64_t>(size))
            throw FileError(path + ": its shape asks for more entries than can be held");
        entries *= static_cast<std::uint64_t>(size);
    }
    return entries;
}

} // namespace

InputFile::InputFile(const std::string& newPath)
    : path(newPath), file(std::fopen(path.c_str(), "rb"), &std::fclose) {
    if (!file)
        throw FileError(path + ": " + std::strerror(errno));
}

std::vector<unsigned char> InputFile::read(std::uint64_t wanted) {
    std::vector<unsigned char> bytes;
    bool isMore = true;
    while (isMore && bytes.size() < wanted) {
        // The header may announce more bytes than the file has, so memory grows only with the bytes
        // read.
        const std::size_t had = bytes.size();
        const std::uint64_t step = std::min<std::uint64_t>(wanted - had, had + (1 << 16));
        bytes.resize(had + static_cast<std::size_t>(step));
        const std::size_t got = std::fread(bytes.data() + had, 1, bytes.size() - had, file.get());
        isMore = got == step;
        bytes.resize(had + got);
    }
    if (std::ferror(file.get()))
        throw FileError(path + ": " + std::strerror(errno));
    return bytes;
}

NpyHeader readNpyHeader(InputFile& file, const std::string& path) {
    const auto fail = [&path](const std::string& what) -> FileError {
        return FileError(path + ": " + what);
    };
    const std::vector<unsigned char> mark = file.read(8);
    if (mark.empty())
        throw fail("is empty");
    if (mark.size() < 6 || std::memcmp(mark.data(), "\x93NUMPY", 6) != 0)
        throw fail("not a .npy file (it does not begin with the format's mark)");
    if (mark.size() < 8)
        throw fail("ends within the first bytes of its header");
    if (mark[6] < 1 || mark[6] > 3 || mark[7] != 0)
        throw fail("format version " + std::to_string(mark[6]) + "." + std::to_string(mark[7]) +
                   " is not supported; 1.0, 2.0 and 3.0 are");
    const std::size_t lengthBytes = mark[6] == 1 ? 2 : 4;
    const std::vector<unsigned char> length = file.read(lengthBytes);
    if (length.size() < lengthBytes)
        throw fail("ends within the first bytes of its header");
    std::uint64_t headerLength = 0;
    for (std::size_t b = 0; b < lengthBytes; ++b)
        headerLength |= std::uint64_t{length[b]} << (8 * b);
    if (headerLength > longestHeader)
        throw fail("its header of " + std::to_string(headerLength) + " bytes is too long");
    const std::vector<unsigned char> text = file.read(headerLength);
    if (text.size() < headerLength)
        throw fail("ends within its header");
    NpyHeader header =
        HeaderParser({reinterpret_cast<const char*>(text.data()), text.size()}, path).parse();
    header.entryBytes =
        countEntries(header, path) * static_cast<std::uint64_t>(componentSize(header.type.kind));
    header.length = 8 + lengthBytes + headerLength;
    return header;
}

void checkEntryBytes(const NpyHeader& header, std::uint64_t held, const std::string& path) {
    if (held < header.entryBytes)
        throw FileError(path + ": holds " + std::to_string(held) +
                        " bytes of entries where its shape asks for " +
                        std::to_string(header.entryBytes) + "; the file is cut short");
    if (held > header.entryBytes)
        throw FileError(path + ": holds more than the " + std::to_string(header.entryBytes) +
                        " bytes of entries that its shape asks for");
}

std::string_view entryCodeOf(ArrayKind kind) {
    for (const EntryType& type : entryTypes)
        if (type.kind == kind)
            return type.code;
    return {};
}

} // namespace Fenlet
