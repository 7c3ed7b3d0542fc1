// A file that appears whole or not at all.
#pragma once

#include <fenlethosts/export.h>

#include <cstdio>
#include <memory>
#include <string>

namespace Fenlet {

class TemporaryFile;

/// Writes a new file beside the one that it will replace. When everything is written, the new file
/// takes the old one's place. Until then, and if writing fails, the old file stays as it was.
///
/// The new file gets the mode of the file that it replaces, and its owner and group where the
/// system permits that; if there was none, it gets the mode that the umask leaves. While it is
/// written it has no name where the system supports this, and is locked in any case. A process that
/// is killed leaves nothing, or else a file named after the target with the ending
/// `.fenlet-*.part`; the next `OutputFile` for the same target removes that file. It never removes
/// the file of a process that still runs.
///
/// The constructor and the message of a `FileError` need memory. If there is none, the allocator's
/// exception is thrown instead of that error, with the same effect on the files.
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

    /// The path of the file that will be replaced: where symbolic links lead to.
    const std::string& place() const { return target; }

    /// Finishes the new file but leaves the old one in place until `keep`. To write several files
    /// that belong together, close all of them before you keep the first. Throws `FileError` if
    /// anything could not be written.
    void close();

    /// Closes the file if it is still open, and replaces the old one. Throws `FileError` if
    /// anything could not be written; the old file then stays as it was. Does nothing once it has
    /// succeeded.
    void keep();

    /// Throws `FileError` with the path and the reason in errno.
    [[noreturn]] void fail() const;

  private:
    std::string path; ///< as the user named it
    std::string target;
    std::unique_ptr<TemporaryFile> temporary;
    std::FILE* file = nullptr;
};

} // namespace Fenlet
