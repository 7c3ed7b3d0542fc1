// Reading .npy files.
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

template <class Lane>
void storeEntries(NpyArray& array, const unsigned char* data, const NpyHeader& header) {
    for (std::size_t i = 0; i * sizeof(Lane) < array.bytes.size(); ++i) {
        const auto lane = static_cast<Lane>(
            readEntry(data + i * header.type.bytes, header.type, header.bigEndian));
        std::memcpy(array.bytes.data() + i * sizeof(Lane), &lane, sizeof lane);
    }
}

/// Throws unless every truth value is 0 or 1.
void checkTruths(const unsigned char* bytes, std::uint64_t count, const std::string& path) {
    if (std::any_of(bytes, bytes + count, [](unsigned char truth) { return truth > 1; }))
        throw FileError(path + ": holds a truth value that is neither false nor true");
}

/// Whether the entries have the same bytes in the file as in memory.
bool isNative(const NpyHeader& header) {
    const bool sameOrder = header.bigEndian == (__BYTE_ORDER__ == __ORDER_BIG_ENDIAN__);
    return header.type.code == entryCodeOf(header.type.kind) &&
           (sameOrder || header.type.bytes == 1);
}

/// Reads the entries, which follow the header.
NpyArray readEntries(InputFile& file, const NpyHeader& header, const std::string& path) {
    const std::vector<unsigned char> data = file.read(header.entryBytes);
    checkEntryBytes(header, data.size() + file.read(1).size(), path);

    NpyArray array;
    array.kind = header.type.kind;
    array.shape = header.shape;
    array.bytes.resize(data.size() / header.type.bytes *
                       static_cast<std::size_t>(elementSize(array.kind)));
    switch (elementSize(array.kind)) {
    case 1:
        checkTruths(data.data(), data.size(), path);
        storeEntries<std::uint8_t>(array, data.data(), header);
        break;
    case 2:
        storeEntries<std::uint16_t>(array, data.data(), header);
        break;
    case 4:
        storeEntries<std::uint32_t>(array, data.data(), header);
        break;
    default:
        storeEntries<std::uint64_t>(array, data.data(), header);
    }
    return array;
}

/// Maps the whole file. Returns null if the file cannot be mapped or its entries must be converted.
/// After null, the next read from the file begins at the first entry.
std::shared_ptr<const unsigned char> mapEntries(InputFile& file, const NpyHeader& header,
                                                const std::string& path) {
    struct stat about {};
    if (fstat(fileno(file.handle()), &about) != 0 || !S_ISREG(about.st_mode))
        return nullptr;
    const auto bytes = static_cast<std::uint64_t>(about.st_size);
    checkEntryBytes(header, bytes < header.length ? 0 : bytes - header.length, path);
    if (!isNative(header) || header.entryBytes == 0)
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
    return readEntries(file, header, path);
}

NpyFile::NpyFile(const std::string& path) {
    // Opens the file once and reads it in order, because it may be a pipe.
    InputFile file(path);
    const NpyHeader header = readNpyHeader(file, path);
    mapped = mapEntries(file, header, path);
    if (!mapped) {
        array = readEntries(file, header, path);
        return;
    }
    offset = header.length;
    array.kind = header.type.kind;
    array.shape = header.shape;
    mappedEntries = header.entryBytes / header.type.bytes;
    if (array.kind == CpuElementKind::Tribool)
        checkTruths(mapped.get() + offset, mappedEntries, path);
}

NpyFile::~NpyFile() = default;

ArrayView NpyFile::view(std::int32_t components) const {
    if (!mapped)
        return array.view(components);
    const auto count = static_cast<std::int64_t>(mappedEntries);
    return {mapped.get() + offset, array.kind, count / components, components, 0, nullptr};
}

} // namespace Fenlet
