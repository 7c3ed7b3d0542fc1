// The header of .npy files: what the entries are, and how many.
#pragma once

#include <fenlethosts/npy.h>

#include <cstdio>
#include <memory>
#include <string_view>

namespace Fenlet {

/// How an entry stands in the file, and what it becomes.
struct EntryType {
    std::string_view code; ///< without the byte order
    std::size_t bytes;
    bool isSigned;
    CpuElementKind kind;
};

struct NpyHeader {
    EntryType type{};
    bool bigEndian = false;
    std::vector<std::int64_t> shape;
    std::uint64_t entryBytes = 0; ///< of all entries, as they stand in the file
    std::uint64_t length = 0;     ///< bytes before the first entry
};

/// A file that is read from its first byte on, and never further than it is asked to.
class InputFile {
  public:
    /// Throws `FileError` if the file cannot be opened. `path` must outlive it.
    explicit InputFile(const std::string& newPath);

    /// The next bytes: as many as are wanted, or all that are left.
    std::vector<unsigned char> read(std::uint64_t wanted);
    std::FILE* handle() const { return file.get(); }

  private:
    const std::string& path;
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> file;
};

/// The entry's bits, sign-extended where its type has a sign.
std::uint64_t readEntry(const unsigned char* bytes, const EntryType& type, bool bigEndian);

/// Reads everything before the entries. Throws `FileError`.
NpyHeader readNpyHeader(InputFile& file, const std::string& path);

/// Throws `FileError` unless the file has just the entries that its header asks for. `held` is what
/// it has, or any greater number.
void checkEntryBytes(const NpyHeader& header, std::uint64_t held, const std::string& path);

/// The code of the type in which a kind is written, without the byte order.
std::string_view entryCodeOf(CpuElementKind kind);

} // namespace Fenlet
