// Reading .npy files.
#include "lane_conversions.h"
#include "npy_header.h"

#include <fenlethosts/npy.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <sys/mman.h>
#include <sys/stat.h>

namespace Fenlet {
namespace {

/// Throws unless every truth value is 0 or 1.
void checkTruths(const unsigned char* bytes, std::uint64_t count, const std::string& path) {
    if (std::any_of(bytes, bytes + count, [](unsigned char truth) { return truth > 1; }))
        throw FileError(path + ": holds a bool whose byte is neither 0 nor 1");
}

/// Whether the entries have the byte order of this machine.
bool hasOwnOrder(const NpyHeader& header) {
    return header.bigEndian == (__BYTE_ORDER__ == __ORDER_BIG_ENDIAN__) ||
           componentSize(header.type.kind) == 1;
}

/// Reads the entries, which follow the header, in the byte order of this machine.
std::vector<unsigned char> readEntries(InputFile& file, const NpyHeader& header,
                                       const std::string& path) {
    std::vector<unsigned char> bytes = file.read(header.entryBytes);
    checkEntryBytes(header, bytes.size() + file.read(1).size(), path);
    const auto size = static_cast<std::ptrdiff_t>(componentSize(header.type.kind));
    if (!hasOwnOrder(header))
        for (auto entry = bytes.begin(); entry != bytes.end(); entry += size)
            std::reverse(entry, entry + size);
    if (header.type.kind == ArrayKind::Tribool)
        checkTruths(bytes.data(), bytes.size(), path);
    return bytes;
}

/// Maps the whole file. Returns null if the file cannot be mapped or its entries are in the other
/// byte order. After null, the next read from the file begins at the first entry.
std::shared_ptr<const unsigned char> mapEntries(InputFile& file, const NpyHeader& header,
                                                const std::string& path) {
    struct stat about {};
    if (fstat(fileno(file.handle()), &about) != 0 || !S_ISREG(about.st_mode))
        return nullptr;
    const auto bytes = static_cast<std::uint64_t>(about.st_size);
    checkEntryBytes(header, bytes < header.length ? 0 : bytes - header.length, path);
    if (!hasOwnOrder(header) || header.entryBytes == 0)
        return nullptr;
    const auto length = static_cast<std::size_t>(bytes);
    void* const start = mmap(nullptr, length, PROT_READ, MAP_PRIVATE, fileno(file.handle()), 0);
    if (start == MAP_FAILED)
        return nullptr;
    return {static_cast<const unsigned char*>(start),
            [start, length](const unsigned char*) { munmap(start, length); }};
}

} // namespace

FileError::~FileError() = default;

NpyArray readNpy(const std::string& path) {
    InputFile file(path);
    const NpyHeader header = readNpyHeader(file, path);
    NpyArray array;
    array.kind = registerKind(header.type.kind);
    array.shape = header.shape;
    array.bytes = readEntries(file, header, path);
    if (arrayKind(array.kind) == header.type.kind)
        return array;
    const std::size_t count =
        array.bytes.size() / static_cast<std::size_t>(componentSize(header.type.kind));
    std::vector<unsigned char> wider(count * static_cast<std::size_t>(elementSize(array.kind)));
    laneConversion(array.kind, header.type.kind)(wider.data(), array.bytes.data(),
                                                 static_cast<std::int64_t>(count));
    array.bytes = std::move(wider);
    return array;
}

NpyFile::NpyFile(const std::string& path) {
    // Opens the file once and reads it in order, because it may be a pipe.
    InputFile file(path);
    const NpyHeader header = readNpyHeader(file, path);
    storedKind = header.type.kind;
    dimensions = header.shape;
    entryCount = static_cast<std::int64_t>(header.entryBytes /
                                           static_cast<std::uint64_t>(componentSize(storedKind)));
    mapped = mapEntries(file, header, path);
    if (!mapped) {
        copy = readEntries(file, header, path);
        entries = copy.data();
        return;
    }
    entries = mapped.get() + header.length;
    if (storedKind == ArrayKind::Tribool)
        checkTruths(entries, header.entryBytes, path);
}

NpyFile::~NpyFile() = default;

ArrayView NpyFile::view(std::int32_t components) const {
    return {entries, storedKind, entryCount / components, components};
}

} // namespace Fenlet
