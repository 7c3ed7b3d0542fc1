// Reading .npy files, the plain array format of NumPy.
#pragma once

#include <fenlethosts/array_field.h>
#include <fenlethosts/export.h>

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace Fenlet {

/// What is wrong with a file, in one line that names it.
class FENLETHOSTS_API FileError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
    ~FileError() override;
};

/// An array out of a .npy file, in one of the library's storage kinds and the byte order of this
/// machine, the last index running fastest.
struct NpyArray {
    CpuElementKind kind = CpuElementKind::Unsupported;
    std::vector<std::int64_t> shape;
    std::vector<unsigned char> bytes;

    /// Entries of all the shape's dimensions together.
    std::int64_t entryCount() const {
        const std::int32_t size = elementSize(kind);
        return size == 0 ? 0 : static_cast<std::int64_t>(bytes.size()) / size;
    }

    /// The entries as elements of `components` components each, borrowed from this array.
    ArrayView view(std::int32_t components = 1) const {
        return {bytes.data(), kind, entryCount() / components, components, 0, nullptr};
    }
};

/// Reads the whole file, of format version 1, 2 or 3: bool as Tribool, integers of 8 and 16 bits
/// and signed ones of 32 as `Int32`, unsigned ones of 32 and signed ones of 64 bits as `Int64`,
/// floats of 16, 32 and 64 bits as they are, in either byte order, rows first. Throws `FileError`
/// for every file that is not one of these from its first to its last byte, and the allocator's
/// exception; the file is closed then.
FENLETHOSTS_API NpyArray readNpy(const std::string& path);

/// A .npy file whose entries stay in the file and are read from there as they are needed, so that
/// it may be larger than memory. Where they do not stand as the storage kind does (another byte
/// order, 8 or 16 bits), and where the file is none on a disk, they are read whole.
///
/// The file must not become shorter while this exists: the system ends a process that reads behind
/// its end.
class FENLETHOSTS_API NpyFile {
  public:
    /// Throws as `readNpy` does; nothing is mapped then.
    explicit NpyFile(const std::string& path);
    ~NpyFile();
    NpyFile(const NpyFile&) = delete;
    NpyFile& operator=(const NpyFile&) = delete;

    CpuElementKind kind() const { return array.kind; }
    const std::vector<std::int64_t>& shape() const { return array.shape; }

    /// The entries as elements of `components` components each, borrowed from this object.
    ArrayView view(std::int32_t components = 1) const;

  private:
    NpyArray array;                              ///< without bytes where the file is mapped
    std::shared_ptr<const unsigned char> mapped; ///< the whole file, from its first byte on
    std::uint64_t offset = 0;                    ///< bytes before the first entry
    std::uint64_t mappedEntries = 0;
};

} // namespace Fenlet
