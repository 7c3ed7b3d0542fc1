// Reading .npy files, NumPy's format for one array.
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

/// An array from a .npy file, in one of the library's storage kinds and in the byte order of this
/// machine. The last index varies fastest.
struct NpyArray {
    CpuElementKind kind = CpuElementKind::Unsupported;
    std::vector<std::int64_t> shape;
    std::vector<unsigned char> bytes;

    /// The number of entries: the product of the shape's dimensions.
    std::int64_t entryCount() const {
        const std::int32_t size = elementSize(kind);
        return size == 0 ? 0 : static_cast<std::int64_t>(bytes.size()) / size;
    }

    /// The entries as elements of `components` components each. The view borrows them from this
    /// array.
    ArrayView view(std::int32_t components = 1) const {
        return {bytes.data(), kind, entryCount() / components, components, 0, nullptr};
    }
};

/// Reads a whole file of format version 1, 2 or 3, in either byte order, stored rows first.
///
/// A bool becomes `Tribool`; integers of 8 and 16 bits and signed integers of 32 bits become
/// `Int32`; unsigned integers of 32 bits and signed integers of 64 bits become `Int64`; floats of
/// 16, 32 and 64 bits stay as they are. Throws `FileError` for any other type, and for a file that
/// does not follow the format to its last byte. The file is closed in any case.
FENLETHOSTS_API NpyArray readNpy(const std::string& path);

/// A .npy file whose entries stay in the file and are read as they are needed, so that it may be
/// larger than memory. The constructor reads all entries into memory if they are in the other byte
/// order, or if the path is not a plain file.
///
/// Do not shorten the file while this object exists: the system ends a process that reads beyond
/// the end of a mapped file.
class FENLETHOSTS_API NpyFile {
  public:
    /// Throws what `readNpy` throws; then nothing stays mapped.
    explicit NpyFile(const std::string& path);
    ~NpyFile();
    NpyFile(const NpyFile&) = delete;
    NpyFile& operator=(const NpyFile&) = delete;

    /// The kind of register that holds every entry, as `readNpy` gives it.
    CpuElementKind kind() const { return registerKind(storedKind); }
    const std::vector<std::int64_t>& shape() const { return dimensions; }

    /// The entries as elements of `components` components each, of the kind that they have in the
    /// file; a bool is a `Tribool` of 0 or 1. The view borrows them from this object. They need not
    /// be aligned.
    ArrayView view(std::int32_t components = 1) const;

  private:
    ArrayKind storedKind = ArrayKind::Unsupported;
    std::vector<std::int64_t> dimensions;
    std::int64_t entryCount = 0;
    const unsigned char* entries = nullptr;      ///< the first one, in `mapped` or in `copy`
    std::vector<unsigned char> copy;             ///< empty if the file is mapped
    std::shared_ptr<const unsigned char> mapped; ///< the whole file; null if it is not mapped
};

} // namespace Fenlet
