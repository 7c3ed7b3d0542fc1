// The file that an output is written to before it takes its place.
#pragma once

#include <cstdio>
#include <string>

namespace Fenlet {

/// A new file in the folder of `target`, locked as long as this object exists.
///
/// Where the system allows it, the file has no name until it is finished, so that nothing remains
/// of it if the process is killed. Elsewhere it has a name from the start. If the process is
/// killed, such a file remains without a lock, and the next `removeLeftovers` for the same target
/// removes it.
class TemporaryFile {
  public:
    enum class Named { WhenFinished, FromTheStart };

    /// Opens the file. If that fails, `handle()` is null and errno has the reason. Names it at once
    /// if that is asked for, or if the system has no files without a name.
    TemporaryFile(std::string newTarget, Named when);
    /// Removes the file unless `replaceTarget` succeeded.
    ~TemporaryFile();
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    /// Open for writing; null if the file could not be opened, and after `finish`.
    std::FILE* handle() const { return file; }

    /// Closes the handle, gives the file the mode and the owner of a file that is already at the
    /// target, and names it. Returns 0, or the system's reason why this failed. After a failed
    /// write every further call fails, too; anything else that failed is tried again.
    int finish();

    /// Renames the finished file to the target. Returns 0, even if that was done before, or the
    /// system's reason why this failed; it may be tried again then.
    int replaceTarget();

  private:
    int openUnnamed() const;
    int openNamed();
    int giveName();

    std::string target;
    std::string name;    ///< empty as long as the file has none
    int descriptor = -1; ///< holds the lock
    std::FILE* file = nullptr;
    int writeFailure = 0;
    bool isInPlace = false;
};

/// Removes what killed processes left beside `target`: files with a name that `TemporaryFile` gives
/// and that nobody has locked. What cannot be removed stays.
void removeLeftovers(const std::string& target);

} // namespace Fenlet
