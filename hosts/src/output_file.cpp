// A file that appears whole or not at all.
#include <fenlethosts/npy.h>
#include <fenlethosts/output_file.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <unistd.h>

namespace Fenlet {
namespace {

/// The file that `path` leads to: behind a symbolic link, the one that it names. Throws for what is
/// there and is no plain file, which must not be put away.
std::string fileBehind(const std::string& path) {
    std::error_code problem;
    const auto status = std::filesystem::status(path, problem);
    if (!std::filesystem::exists(status))
        return path;
    if (std::filesystem::is_directory(status))
        throw FileError(path + ": " + std::strerror(EISDIR));
    if (!std::filesystem::is_regular_file(status))
        throw FileError(path + ": is there and is not a plain file");
    const auto target = std::filesystem::canonical(path, problem);
    return problem ? path : target.string();
}

} // namespace

OutputFile::OutputFile(const std::string& newPath)
    : path(newPath),
      target(fileBehind(newPath)),
      partial(target + ".part" + std::to_string(getpid())),
      file(std::fopen(partial.c_str(), "wbx")) {
    if (file == nullptr)
        fail();
}

OutputFile::~OutputFile() {
    if (file != nullptr)
        std::fclose(file);
    if (!kept)
        std::remove(partial.c_str());
}

void OutputFile::keep() {
    std::FILE* const finished = file;
    file = nullptr;
    const bool written = std::fflush(finished) == 0 && std::ferror(finished) == 0;
    const int reason = errno;
    const bool closed = std::fclose(finished) == 0;
    if (!written || !closed) {
        errno = written ? errno : reason;
        fail();
    }
    if (std::rename(partial.c_str(), target.c_str()) != 0)
        fail();
    kept = true;
}

void OutputFile::fail() const {
    throw FileError(path + ": " + std::strerror(errno));
}

} // namespace Fenlet
