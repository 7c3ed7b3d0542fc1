// A file that appears whole or not at all.
#include "temporary_file.h"

#include <fenlethosts/npy.h>
#include <fenlethosts/output_file.h>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <sys/mman.h>
#include <sys/statvfs.h>

namespace Fenlet {
namespace {

/// The file that `path` leads to through symbolic links. This file need not exist. Throws if it
/// exists and is not a plain file, because only plain files may be replaced.
std::string fileBehind(const std::string& path) {
    namespace fs = std::filesystem;
    if (path.empty())
        throw FileError(path + ": " + std::strerror(ENOENT));
    std::error_code problem;
    const fs::file_status status = fs::status(path, problem);
    if (status.type() == fs::file_type::none)
        throw FileError(path + ": " + std::strerror(problem.value()));
    if (fs::is_directory(status))
        throw FileError(path + ": " + std::strerror(EISDIR));
    if (fs::exists(status) && !fs::is_regular_file(status))
        throw FileError(path + ": is there and is not a plain file");
    // A relative link is relative to the folder of the link. The loop ends, because a circle of
    // links was refused above: `status` fails for it.
    fs::path target = path;
    while (fs::is_symlink(fs::symlink_status(target, problem)))
        target = target.parent_path() / fs::read_symlink(target, problem);
    return target.string();
}

/// Gives the file this size, with all its space on the disk, so that writing to a mapping of it
/// cannot fail later. Returns 0 or the system's reason.
int allocate(int descriptor, std::uint64_t size) {
#ifdef __linux__
    // Some file systems would fill the disk before they notice that it is too small.
    struct statvfs disk;
    if (fstatvfs(descriptor, &disk) == 0 && disk.f_blocks != 0 &&
        size / disk.f_frsize > disk.f_bfree)
        return ENOSPC;
    // The standard's posix_fallocate would write to every block where the file system cannot do
    // this.
    while (fallocate(descriptor, 0, 0, static_cast<off_t>(size)) != 0)
        if (errno != EINTR)
            return errno;
    return 0;
#else
    static_cast<void>(descriptor), static_cast<void>(size);
    return ENOTSUP;
#endif
}

} // namespace

OutputFile::OutputFile(const std::string& newPath) : path(newPath), target(fileBehind(newPath)) {
    removeLeftovers(target);
    temporary = std::make_unique<TemporaryFile>(target, TemporaryFile::Named::WhenFinished);
    file = temporary->handle();
    if (file == nullptr)
        fail();
}

OutputFile::~OutputFile() = default;

unsigned char* OutputFile::map(std::uint64_t size) {
    if (mapped)
        return mapped.get();
    if (std::fflush(file) != 0)
        fail();
    const auto length = static_cast<std::size_t>(size);
    if (length != size)
        return nullptr;
    // Mapped first, so that a file that cannot be mapped keeps its size.
    void* const start = mmap(nullptr, length, PROT_READ | PROT_WRITE, MAP_SHARED, fileno(file), 0);
    if (start == MAP_FAILED)
        return nullptr;
    mapped = {static_cast<unsigned char*>(start),
              [start, length](const unsigned char*) { munmap(start, length); }};
    const int reason = allocate(fileno(file), size);
    if (reason == 0)
        return mapped.get();
    mapped.reset();
    if (reason == EOPNOTSUPP || reason == ENOTSUP || reason == ENOSYS || reason == EINVAL)
        return nullptr;
    errno = reason;
    fail();
}

void OutputFile::close() {
    mapped.reset();
    file = nullptr;
    errno = temporary->finish();
    if (errno != 0)
        fail();
}

void OutputFile::keep() {
    close();
    errno = temporary->replaceTarget();
    if (errno != 0)
        fail();
}

void OutputFile::fail() const {
    throw FileError(path + ": " + std::strerror(errno));
}

} // namespace Fenlet
