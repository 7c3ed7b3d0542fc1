// Writing .npy files, NumPy's format for one array.
#pragma once

#include <fenletexec/element_kinds.h>
#include <fenlethosts/export.h>
#include <fenlethosts/npy.h>
#include <fenlethosts/output_file.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace Fenlet {

/// Writes an array piece by piece. The file appears whole, at `finish`, or not at all. A call that
/// fails because there are too many or too few entries has no effect; the writer can go on. If an
/// allocation fails, the same holds as for `OutputFile`.
class FENLETHOSTS_API NpyWriter {
  public:
    /// Begins an array of this kind and shape, rows first, in this machine's byte order. `Tribool`
    /// is written as bool, every other kind as the number that it is. Throws `FileError` if the
    /// file cannot be made, and `std::invalid_argument` for a kind without storage or a shape that
    /// `readNpy` does not accept: a negative size, more than 32 dimensions, or more than 2^60
    /// entries.
    NpyWriter(const std::string& newPath, CpuElementKind kind,
              const std::vector<std::int64_t>& shape);
    ~NpyWriter();

    /// The path of the file that will be replaced: where symbolic links lead to.
    const std::string& place() const { return file.place(); }

    /// Lets the entries be written in memory, in any order and by several threads, instead of by
    /// `write`. They are zero except for those already written. The memory begins at a multiple of
    /// 64 bytes and is valid until `close` or `finish`. Returns null if the system cannot do this,
    /// for example on some network file systems; then go on with `write`. Throws `FileError` if the
    /// disk has no room for the array.
    void* map();

    /// Appends entries; a bool is a byte of 0 or 1. Throws `FileError` if they cannot be written,
    /// or if the shape has no room for them.
    void write(const void* entries, std::size_t bytes);

    /// Finishes the new file but leaves the old one in place until `finish`. To write several files
    /// that belong together, close all of them before you finish the first. Throws `FileError` if
    /// anything could not be written or entries are missing.
    void close();

    /// Closes the file if it is still open, and replaces the old one. Throws `FileError` if that
    /// fails or entries are missing.
    void finish();

  private:
    std::string path;
    OutputFile file;
    std::uint64_t headerBytes = 0;
    std::uint64_t entryBytes = 0; ///< of the whole array
    std::uint64_t missingBytes = 0;
};

} // namespace Fenlet
