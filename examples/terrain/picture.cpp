// Writing a picture to a PNG file.
#include "picture.h"

#include <fenlethosts/npy.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <png.h>
#include <unistd.h>

namespace Terrain {
namespace {

/// The file that `path` leads to: behind a symbolic link, the one that it names. Throws for what is
/// there and is no plain file, such as a device, which must not be put away for a picture.
std::string fileBehind(const std::string& path) {
    std::error_code problem;
    const auto status = std::filesystem::status(path, problem);
    if (!std::filesystem::exists(status))
        return path;
    if (std::filesystem::is_directory(status))
        throw Fenlet::FileError(path + ": " + std::strerror(EISDIR));
    if (!std::filesystem::is_regular_file(status))
        throw Fenlet::FileError(path + ": is there and is not a plain file");
    const auto target = std::filesystem::canonical(path, problem);
    return problem ? path : target.string();
}

/// A file that is there only if `keep` was called.
class FileInTheMaking {
  public:
    explicit FileInTheMaking(const std::string& newPath)
        : path(newPath),
          target(fileBehind(newPath)),
          partial(target + ".part" + std::to_string(getpid())),
          file(std::fopen(partial.c_str(), "wbx")) {
        if (file == nullptr)
            fail();
    }
    ~FileInTheMaking() {
        if (file != nullptr)
            std::fclose(file);
        if (!kept)
            std::remove(partial.c_str());
    }
    FileInTheMaking(const FileInTheMaking&) = delete;
    FileInTheMaking& operator=(const FileInTheMaking&) = delete;

    std::FILE* handle() const { return file; }

    void keep() {
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

    [[noreturn]] void fail() const { throw Fenlet::FileError(path + ": " + std::strerror(errno)); }

  private:
    std::string path; ///< as the user named it
    std::string target;
    std::string partial;
    std::FILE* file;
    bool kept = false;
};

/// libpng's handles, given back on every way out.
struct PngWriter {
    png_structp png = nullptr;
    png_infop info = nullptr;

    PngWriter() {
        png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, &PngWriter::error,
                                      &PngWriter::warning);
        info = png != nullptr ? png_create_info_struct(png) : nullptr;
        if (info == nullptr) {
            png_destroy_write_struct(&png, &info);
            throw std::bad_alloc();
        }
    }
    ~PngWriter() { png_destroy_write_struct(&png, &info); }
    PngWriter(const PngWriter&) = delete;
    PngWriter& operator=(const PngWriter&) = delete;

    // The system's reason, where it gave one, says more than libpng's words do.
    // libpng must not be returned to; an exception is as good as its own long jump.
    [[noreturn]] static void error(png_structp, png_const_charp message) {
        throw Fenlet::FileError(errno != 0 ? std::strerror(errno) : message);
    }
    // What matters comes as an error as well, and standard error has no room for more than that.
    static void warning(png_structp, png_const_charp) {}
};

} // namespace

void writePng(const Picture& picture, const std::string& path) {
    FileInTheMaking file(path);
    try {
        errno = 0;
        PngWriter writer;
        png_init_io(writer.png, file.handle());
        // A picture has the sides of its grid, however long.
        png_set_user_limits(writer.png, PNG_UINT_31_MAX, PNG_UINT_31_MAX);
        png_set_IHDR(writer.png, writer.info, static_cast<png_uint_32>(picture.width),
                     static_cast<png_uint_32>(picture.height), 8, PNG_COLOR_TYPE_RGBA,
                     PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
        png_write_info(writer.png, writer.info);
        for (std::size_t row = 0; row < picture.height; ++row)
            png_write_row(writer.png, picture.pixels.data() + row * picture.width * 4);
        png_write_end(writer.png, writer.info);
    } catch (const Fenlet::FileError& error) {
        throw Fenlet::FileError(path + ": " + error.what());
    }
    file.keep();
}

} // namespace Terrain
