// Writing .npy files, the plain array format of NumPy.
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

/// Writes an array piece by piece. The file appears whole, at `finish`, or not at all. A call with
/// entries too many or too few has done nothing, and may be followed by the right one. Memory is
/// needed for the same as with `OutputFile`.
class FENLETHOSTS_API NpyWriter {
  public:
    /// An array of this kind and shape, rows first, in this machine's byte order: `Tribool` as
    /// bool, the others as numbers of their own width. Throws `FileError` if the file cannot be
    /// made, `std::invalid_argument` for a kind without storage and for a shape that `readNpy`
    /// does not take: a negative size, more than 32 dimensions or 2^60 entries.
    NpyWriter(const std::string& newPath, CpuElementKind kind,
              const std::vector<std::int64_t>& shape);
    ~NpyWriter();

    /// The file whose place it takes: what links lead to.
    const std::string& place() const { return file.place(); }

    /// Appends entries. A bool is 0 or 1. Throws `FileError` if they cannot be written or are more
    /// than the shape has.
    void write(const void* entries, std::size_t bytes);

    /// Ends the writing and leaves it to `finish` to put the file in its place, so that of several
    /// files that belong together none is in its place before all are written. Throws `FileError`
    /// if anything could not be written or entries are missing.
    void close();

    /// Closes what is not closed, and puts the file in its place. Throws `FileError` if that cannot
    /// be done or entries are missing.
    void finish();

  private:
    std::string path;
    OutputFile file;
    std::uint64_t missingBytes = 0;
};

} // namespace Fenlet
