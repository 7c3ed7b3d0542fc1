// Writing .npy files.
#include "npy_header.h"

#include <fenlethosts/npy_writer.h>

#include <stdexcept>

namespace Fenlet {
namespace {

/// The dictionary, padded so that the entries begin at a multiple of 64 bytes.
std::string headerText(CpuElementKind kind, const std::vector<std::int64_t>& shape) {
    const char order = __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__ ? '>' : '<';
    std::string text = "{'descr': '";
    text += elementSize(kind) == 1 ? '|' : order;
    text += entryCodeOf(arrayKind(kind));
    text += "', 'fortran_order': False, 'shape': (";
    for (const std::int64_t size : shape)
        text += std::to_string(size) + ",";
    if (shape.size() > 1)
        text.pop_back();
    text += "), }";
    constexpr std::size_t markBytes = 10;
    text.append(63 - (markBytes + text.size()) % 64, ' ');
    return text + '\n';
}

std::uint64_t bytesOf(CpuElementKind kind, const std::vector<std::int64_t>& shape) {
    if (elementSize(kind) == 0)
        throw std::invalid_argument("an array cannot be of this kind");
    if (shape.size() > 32)
        throw std::invalid_argument("an array cannot have more than 32 dimensions");
    std::uint64_t entries = 1;
    for (const std::int64_t size : shape) {
        if (size < 0)
            throw std::invalid_argument("an array cannot have a negative size");
        if (size != 0 && entries > (std::uint64_t{1} << 60) / static_cast<std::uint64_t>(size))
            throw std::invalid_argument("an array cannot have that many entries");
        entries *= static_cast<std::uint64_t>(size);
    }
    return entries * static_cast<std::uint64_t>(elementSize(kind));
}

} // namespace

NpyWriter::NpyWriter(const std::string& newPath, CpuElementKind kind,
                     const std::vector<std::int64_t>& shape)
    : path(newPath), file(newPath) {
    entryBytes = bytesOf(kind, shape);
    const std::string text = headerText(kind, shape);
    const unsigned char length[] = {static_cast<unsigned char>(text.size() & 0xFF),
                                    static_cast<unsigned char>(text.size() >> 8)};
    headerBytes = missingBytes = 8 + sizeof length + text.size();
    write("\x93NUMPY\x01\0", 8);
    write(length, sizeof length);
    write(text.data(), text.size());
    missingBytes = entryBytes;
}

NpyWriter::~NpyWriter() = default;

void* NpyWriter::map() {
    unsigned char* const start = file.map(headerBytes + entryBytes);
    if (start == nullptr)
        return nullptr;
    missingBytes = 0;
    return start + headerBytes;
}

void NpyWriter::write(const void* entries, std::size_t bytes) {
    if (bytes > missingBytes)
        throw FileError(path + ": more entries than the array has room for");
    if (bytes != 0 && std::fwrite(entries, 1, bytes, file.handle()) != bytes)
        file.fail();
    missingBytes -= bytes;
}

void NpyWriter::close() {
    if (missingBytes != 0)
        throw FileError(path + ": the last " + std::to_string(missingBytes) +
                        " bytes of the array were never written");
    file.close();
}

void NpyWriter::finish() {
    close();
    file.keep();
}

} // namespace Fenlet
