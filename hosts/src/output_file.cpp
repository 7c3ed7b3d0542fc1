// A file that appears whole or not at all.
#include "temporary_file.h"

#include <fenlethosts/npy.h>
#include <fenlethosts/output_file.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

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

} // namespace

OutputFile::OutputFile(const std::string& newPath) : path(newPath), target(fileBehind(newPath)) {
    removeLeftovers(target);
    temporary = std::make_unique<TemporaryFile>(target, TemporaryFile::Named::WhenFinished);
    file = temporary->handle();
    if (file == nullptr)
        fail();
}

OutputFile::~OutputFile() = default;

void OutputFile::close() {
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
