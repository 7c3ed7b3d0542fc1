// The header of .npy files: the type and the number of the entries.
#pragma once

#include <fenlethosts/npy.h>

#include <cstdio>
#include <memory>
#include <string_view>

namespace Fenlet {

/// How an entry is stored in the file, apart from the byte order.
struct EntryType {
    std::string_view code;
    ArrayKind kind;
};

struct NpyHeader {
    EntryType type{};
    bool bigEndian = false;
    std::vector<std::int64_t> shape;
    std::uint64_t entryBytes = 0; ///< of all entries together
    std::uint64_t length = 0;     ///< bytes before the first entry
};

/// A file that is read in order from its first byte, and never beyond the bytes requested.
class InputFile {
  public:
    /// Throws `FileError` if the file cannot be opened. `path` must outlive it.
    explicit InputFile(const std::string& newPath);

    /// The next `wanted` bytes, or all that are left. Throws `FileError` if reading fails.
    std::vector<unsigned char> read(std::uint64_t wanted);
    std::FILE* handle() const { return file.get(); }

  private:
    const std::string& path;
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> file;
};

/// Reads everything before the entries. Throws `FileError`.
NpyHeader readNpyHeader(InputFile& file, const std::string& path);

/// Throws `FileError` unless `held` equals the number of bytes that the header asks for. `held` is
/// the number of bytes after the header; if there are too many, any number that is too high will
/// do.
void checkEntryBytes(const NpyHeader& header, std::uint64_t held, const std::string& path);

/// The type code that a kind is written with, without the byte order.
std::string_view entryCodeOf(ArrayKind kind);

} // namespace Fenlet
