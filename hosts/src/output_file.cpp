// A file that appears whole or not at all.
#include <fenlethosts/npy.h>
#include <fenlethosts/output_file.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <unistd.h>

namespace Fenlet {
namespace {

/// The file that `path` leads to: behind a symbolic link, the one that it names, which need not be
/// there yet. Throws for what is there and is no plain file, which must not be put away.
std::string fileBehind(const std::string& path) {
    namespace fs = std::filesystem;
    std::error_code problem;
    const fs::file_status status = fs::status(path, problem);
    if (status.type() == fs::file_type::none)
        throw FileError(path + ": " + std::strerror(problem.value()));
    if (fs::is_directory(status))
        throw FileError(path + ": " + std::strerror(EISDIR));
    if (fs::exists(status) && !fs::is_regular_file(status))
        throw FileError(path + ": is there and is not a plain file");
    // What a link says begins at the folder that it stands in. Links that lead back to themselves
    // have no status, and so these come to an end.
    fs::path target = path;
    while (fs::is_symlink(fs::symlink_status(target, problem)))
        target = target.parent_path() / fs::read_symlink(target, problem);
    return target.string();
}

/// Makes a file of a name that no other has, and puts the name into `partial`.
std::FILE* openBeside(const std::string& target, std::string& partial) {
    // One may have been left by a process that was ended.
    for (int number = 0; number < 1000; ++number) {
        partial = target + ".part" + std::to_string(getpid()) + "-" + std::to_string(number);
        std::FILE* const file = std::fopen(partial.c_str(), "wbx");
        if (file != nullptr || errno != EEXIST)
            return file;
    }
    return nullptr;
}

} // namespace

OutputFile::OutputFile(const std::string& newPath)
    : path(newPath), target(fileBehind(newPath)), file(openBeside(target, partial)) {
    if (file == nullptr)
        fail();
}

OutputFile::~OutputFile() {
    if (file != nullptr)
        std::fclose(file);
    if (!kept)
        std::remove(partial.c_str());
}

void OutputFile::close() {
    if (file != nullptr) {
        std::FILE* const finished = file;
        file = nullptr;
        const bool written = std::fflush(finished) == 0 && std::ferror(finished) == 0;
        const int reason = errno;
        const bool closed = std::fclose(finished) == 0;
        if (!written || !closed)
            failure = written ? errno : reason;
    }
    errno = failure;
    if (failure != 0)
        fail();
}

void OutputFile::keep() {
    close();
    if (std::rename(partial.c_str(), target.c_str()) != 0)
        fail();
    kept = true;
}

void OutputFile::fail() const {
    throw FileError(path + ": " + std::strerror(errno));
}

} // namespace Fenlet
