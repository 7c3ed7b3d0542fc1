// A file that appears whole or not at all.
#pragma once

#include <fenlethosts/export.h>

#include <cstdio>
#include <string>

namespace Fenlet {

/// Writes beside the file that it is going to be, under another name, and takes that file's place
/// when all is written. Until then, and if it never comes to that, what was there stays as it was.
///
/// Memory is needed to begin, and for the words of a `FileError`. Where there is none the
/// allocator's exception takes the place of that error, and all else is as if it had been thrown.
class FENLETHOSTS_API OutputFile {
  public:
    /// Follows symbolic links, also to what is not there yet. Throws `FileError` if the file cannot
    /// be made, and for what is there and is no plain file, such as a device or a folder.
    explicit OutputFile(const std::string& newPath);
    /// Removes what was not kept.
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    /// Open for writing, null after `close` and `keep`.
    std::FILE* handle() const { return file; }

    /// The file whose place it takes: what links lead to.
    const std::string& place() const { return target; }

    /// Ends the writing and leaves it to `keep` to put the file in its place. Who writes
    /// several files that belong together closes all before keeping the first. Throws `FileError`
    /// if anything could not be written.
    void close();

    /// Ends the writing if nobody has, and puts the file in its place. Throws `FileError` if
    /// anything could not be written; then the file is left as it was before.
    void keep();

    /// Throws `FileError` with the path and the system's last reason.
    [[noreturn]] void fail() const;

  private:
    std::string path; ///< as the user named it
    std::string target;
    std::string partial;
    std::FILE* file;
    int failure = 0; ///< the system's reason why something could not be written
    bool kept = false;
};

} // namespace Fenlet
