// The temporary file that an output is written to. When it is complete, it replaces the target.
#pragma once

#include <cstdio>
#include <string>

namespace Fenlet {

/// A new file in the folder of `target`, locked as long as this object exists.
///
/// Where the system allows it, the file has no name until it is finished, so that nothing remains
/// of it if the process is killed. Elsewhere the file has a name from the start. If the process is
/// killed, a file with a name remains, without a lock; the next `removeLeftovers` for the same
/// target removes it.
class TemporaryFile {
  public:
    enum class Named { WhenFinished, FromTheStart };

    /// Opens the file. If that fails, `handle()` is null and errno has the reason. The file gets
    /// its name at once if `when` is `FromTheStart` or the system has no files without names.
    TemporaryFile(std::string newTarget, Named when);
    /// Removes the file unless `replaceTarget` succeeded.
    ~TemporaryFile();
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    /// Open for writing, and for mappings, which are read too; null if the file could not be
    /// opened, and after `finish`.
    std::FILE* handle() const { return file; }

    /// Closes the handle, gives the file the mode and the owner of a file that is already at the
    /// target, and names it. Returns 0, or the error number if anything failed. After a failed
    /// write every further call fails, too. After any other failure a further call tries again.
    int finish();

    /// Renames the finished file to the target. Returns 0, also if the file was renamed before, or
    /// the error number if renaming failed. After a failure the call may be repeated.
    int replaceTarget();

  private:
    int openUnnamed() const;
    int openNamed();
    int giveName();

    std::string target;
    std::string name;    ///< empty as long as the file has no name
    int descriptor = -1; ///< holds the lock
    std::FILE* file = nullptr;
    int writeFailure = 0;
    bool isInPlace = false;
};

/// Removes the files that killed processes left in the folder of `target`: those that have a name
/// that `TemporaryFile` gives and that no process has locked. Ignores files that cannot be removed.
void removeLeftovers(const std::string& target);

} // namespace Fenlet
