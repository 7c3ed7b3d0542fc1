// The temporary file that an output is written to. When it is complete, it replaces the target.
#include "temporary_file.h"

#include <cerrno>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <string_view>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace Fenlet {
namespace {

constexpr std::string_view mark = ".fenlet-";
constexpr std::string_view ending = ".part";

std::string folderOf(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? "./" : path.substr(0, slash + 1);
}

/// The beginning of the names of all temporary files for `target`. A long name is shortened to
/// leave room for the rest, but not within a UTF-8 character.
std::string nameStem(const std::string& target) {
    constexpr std::size_t longest = 200;
    std::string stem = target.substr(target.rfind('/') + 1);
    if (stem.size() > longest) {
        std::size_t end = longest;
        while (end > 0 && (static_cast<unsigned char>(stem[end]) & 0xC0) == 0x80)
            --end;
        stem.resize(end);
    }
    return stem.append(mark);
}

/// Whether `name` consists of the stem, a process number, a dash, a number and the ending.
bool isTemporaryName(std::string_view name, std::string_view stem) {
    if (name.size() < stem.size() + ending.size() || name.substr(0, stem.size()) != stem ||
        name.substr(name.size() - ending.size()) != ending)
        return false;
    name = name.substr(stem.size(), name.size() - stem.size() - ending.size());
    const std::size_t dash = name.find('-');
    const auto isNumber = [](std::string_view text) {
        return !text.empty() && text.find_first_not_of("0123456789") == text.npos;
    };
    return dash != name.npos && isNumber(name.substr(0, dash)) && isNumber(name.substr(dash + 1));
}

bool isSameFile(const struct stat& a, const struct stat& b) {
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

/// Whether `path` still leads to the open file.
bool isStillThere(int descriptor, const std::string& path) {
    struct stat open;
    struct stat named;
    return fstat(descriptor, &open) == 0 && lstat(path.c_str(), &named) == 0 &&
           isSameFile(open, named);
}

bool lock(int descriptor) {
    return flock(descriptor, LOCK_EX | LOCK_NB) == 0;
}

/// Whether another process has the lock. False on file systems without locks.
bool isLockedByAnother(int descriptor) {
    return !lock(descriptor) && errno == EWOULDBLOCK;
}

/// Opens a file in order to lock it, whatever its mode is. Tries to open it for writing first,
/// because network file systems lock only files that are open for writing.
int openToLock(const std::string& path) {
    for (const int access : {O_RDWR, O_RDONLY, O_WRONLY}) {
        // A symbolic link or a pipe may happen to have this name: follows no link, and does not
        // wait for a pipe.
        const int descriptor = open(path.c_str(), access | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
        if (descriptor >= 0 || errno != EACCES)
            return descriptor;
    }
    return -1;
}

void removeIfUnlocked(const std::string& path) {
    const int descriptor = openToLock(path);
    if (descriptor < 0)
        return;
    struct stat status;
    // The process that wrote the file may have renamed it between the search and the lock.
    if (lock(descriptor) && fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode) &&
        isStillThere(descriptor, path))
        unlink(path.c_str());
    close(descriptor);
}

/// Gives the file the owner, the group and the mode of `replaced`, as far as the system permits.
/// Gives no access to anybody who had no access to `replaced`.
void adopt(int descriptor, const struct stat& replaced) {
    constexpr auto sameOwner = static_cast<uid_t>(-1);
    // A change of owner clears the set-user-ID and set-group-ID bits, so it comes first.
    const bool hasOwner = fchown(descriptor, replaced.st_uid, replaced.st_gid) == 0;
    const bool hasGroup = hasOwner || fchown(descriptor, sameOwner, replaced.st_gid) == 0;
    mode_t mode = replaced.st_mode & (hasOwner ? 07777 : 0777);
    if (!hasGroup)
        mode &= 0707 | (mode & 0007) << 3;
    fchmod(descriptor, mode);
}

std::string descriptorPath(int descriptor) {
    return "/proc/self/fd/" + std::to_string(descriptor);
}

} // namespace

TemporaryFile::TemporaryFile(std::string newTarget, Named when) : target(std::move(newTarget)) {
    if (when == Named::WhenFinished)
        descriptor = openUnnamed();
    if (descriptor < 0)
        descriptor = openNamed();
    if (descriptor < 0)
        return;
    const int written = fcntl(descriptor, F_DUPFD_CLOEXEC, 0);
    file = written < 0 ? nullptr : fdopen(written, "wb");
    if (file == nullptr) {
        const int reason = errno;
        if (written >= 0)
            close(written);
        errno = reason;
    }
}

TemporaryFile::~TemporaryFile() {
    if (file != nullptr)
        std::fclose(file);
    // Removes the name before the close, which ends the lock.
    if (!name.empty())
        unlink(name.c_str());
    if (descriptor >= 0)
        close(descriptor);
}

/// Opens and locks a file without a name. Returns -1 if the system has no such files, or if it
/// could not name the file later.
int TemporaryFile::openUnnamed() const {
#ifdef O_TMPFILE
    const int unnamed = open(folderOf(target).c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0666);
    if (unnamed < 0)
        return -1;
    try {
        if (access(descriptorPath(unnamed).c_str(), F_OK) == 0) {
            lock(unnamed);
            return unnamed;
        }
    } catch (...) {
        close(unnamed);
        throw;
    }
    close(unnamed);
#endif
    return -1;
}

namespace {

/// Calls `make` with one name after another until it has made a file, and returns that name. If
/// `make` fails for any reason other than a name that is taken, returns an empty name, with the
/// reason in errno.
template <class Make>
std::string firstFreeName(const std::string& target, Make make) {
    const std::string start = folderOf(target) + nameStem(target) + std::to_string(getpid()) + "-";
    // Another process with the same process number, on another machine or long ago, may have used
    // some of these names.
    for (int number = 0; number < 1000; ++number) {
        std::string candidate = start + std::to_string(number);
        candidate += ending;
        if (make(candidate.c_str()))
            return candidate;
        if (errno != EEXIST)
            break;
    }
    return {};
}

} // namespace

int TemporaryFile::openNamed() {
    struct stat replaced;
    // Only the owner may read the new file until it gets the mode of the file that it replaces.
    const mode_t mode = stat(target.c_str(), &replaced) == 0 ? replaced.st_mode & 0600 : 0666;
    int made = -1;
    const auto make = [&](const char* candidate) {
        made = open(candidate, O_CREAT | O_EXCL | O_RDWR | O_CLOEXEC, mode);
        // Before the file was locked, another process may have taken it for a leftover and removed
        // it.
        if (made >= 0 && (isLockedByAnother(made) || !isStillThere(made, candidate))) {
            close(made);
            made = -1;
            errno = EEXIST;
        }
        return made >= 0;
    };
    name = firstFreeName(target, make);
    return made;
}

int TemporaryFile::giveName() {
    const std::string source = descriptorPath(descriptor);
    name = firstFreeName(target, [&](const char* candidate) {
        return linkat(AT_FDCWD, source.c_str(), AT_FDCWD, candidate, AT_SYMLINK_FOLLOW) == 0;
    });
    return name.empty() ? errno : 0;
}

int TemporaryFile::finish() {
    if (isInPlace)
        return 0;
    if (file != nullptr) {
        std::FILE* const finished = file;
        file = nullptr;
        const bool written = std::fflush(finished) == 0 && std::ferror(finished) == 0;
        const int reason = errno;
        const bool closed = std::fclose(finished) == 0;
        if (!written || !closed)
            writeFailure = written ? errno : reason;
        struct stat replaced;
        if (writeFailure == 0 && stat(target.c_str(), &replaced) == 0 && S_ISREG(replaced.st_mode))
            adopt(descriptor, replaced);
    }
    if (writeFailure != 0)
        return writeFailure;
    return name.empty() ? giveName() : 0;
}

int TemporaryFile::replaceTarget() {
    if (isInPlace)
        return 0;
    if (std::rename(name.c_str(), target.c_str()) != 0)
        return errno;
    name.clear();
    isInPlace = true;
    return 0;
}

void removeLeftovers(const std::string& target) {
    const std::string folder = folderOf(target);
    const std::string stem = nameStem(target);
    const std::unique_ptr<DIR, int (*)(DIR*)> entries(opendir(folder.c_str()), &closedir);
    if (entries == nullptr)
        return;
    while (const dirent* const entry = readdir(entries.get()))
        if (isTemporaryName(entry->d_name, stem))
            removeIfUnlocked(folder + entry->d_name);
}

} // namespace Fenlet
