// A file that appears whole or not at all.
#pragma once

#include <fenlethosts/export.h>

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

namespace Fenlet {

class TemporaryFile;

/// Writes a new file in the folder of the file that it will replace. When everything is written,
/// the new file takes the old one's place. Until then, and if writing fails, the old file stays as
/// it was.
///
/// The new file gets the mode of the file that it replaces, and its owner and group where the
/// system permits that; if there was none, it gets the mode that the umask leaves. While the new
/// file is being written it is locked, and has no name if the system supports files without names.
/// If the process is killed, nothing remains, or a file named after the target with the ending
/// `.fenlet-*.part`. The next `OutputFile` for the same target removes such a file, but never one
/// that a running process is still writing.
///
/// The constructor and the message of a `FileError` need memory. If an allocation fails, they throw
/// the allocator's exception instead of the `FileError`; the effect on the files is the same.
class FENLETHOSTS_API OutputFile {
  public:
    /// Follows symbolic links, including those to a file that does not exist yet. Throws
    /// `FileError` if the file cannot be made, and if the path leads to something other than a
    /// plain file, such as a device or a folder.
    explicit OutputFile(const std::string& newPath);
    /// Removes the new file unless `keep` succeeded.
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    /// Open for writing; null after `close` and `keep`.
    std::FILE* handle() const { return file; }

    /// Lets the file be written in memory: gives it this size in bytes, allocates its space on the
    /// disk, and maps it. The memory holds what was written through `handle` before and is zero
    /// otherwise. It is valid until `close` or `keep`; do not write through `handle` any more.
    /// Returns null if the system cannot allocate or map the file; then go on with `handle`. Throws
    /// `FileError` if there is no room for the file. Another call returns the same memory.
    unsigned char* map(std::uint64_t size);

    /// The path of the file that will be replaced, with symbolic links followed.
    const std::string& place() const { return target; }

    /// Finishes the new file but leaves the old one in place until `keep`. To write several files
    /// that belong together, close all of them before you keep the first. Throws `FileError` if
    /// anything could not be written.
    void close();

    /// Closes the file if it is still open, and replaces the old one. Throws `FileError` if
    /// anything could not be written; the old file then stays as it was. After a call that
    /// succeeded, further calls do nothing.
    void keep();

    /// Throws `FileError` with the path and the reason in errno.
    [[noreturn]] void fail() const;

  private:
    std::string path; ///< as the user named it
    std::string target;
    std::unique_ptr<TemporaryFile> temporary;
    std::FILE* file = nullptr;
    std::shared_ptr<unsigned char> mapped;
};

} // namespace Fenlet
