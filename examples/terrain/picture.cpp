// Writing a picture to a PNG file.
#include "picture.h"

#include <fenlethosts/npy.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <png.h>
#include <unistd.h>

namespace Terrain {
namespace {

/// A file that is there only if `keep` was called.
class FileInTheMaking {
  public:
    explicit FileInTheMaking(const std::string& newPath)
        : path(newPath),
          partial(newPath + ".part" + std::to_string(getpid())),
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
        if (std::rename(partial.c_str(), path.c_str()) != 0)
            fail();
        kept = true;
    }

    [[noreturn]] void fail() const { throw Fenlet::FileError(path + ": " + std::strerror(errno)); }

  private:
    std::string path;
    std::string partial;
    std::FILE* file;
    bool kept = false;
};

/// libpng's handles, given back on every way out.
struct PngWriter {
    png_structp png = nullptr;
    png_infop info = nullptr;

    PngWriter() {
        png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, &PngWriter::error, nullptr);
        info = png != nullptr ? png_create_info_struct(png) : nullptr;
        if (info == nullptr) {
            png_destroy_write_struct(&png, &info);
            throw std::bad_alloc();
        }
    }
    ~PngWriter() { png_destroy_write_struct(&png, &info); }
    PngWriter(const PngWriter&) = delete;
    PngWriter& operator=(const PngWriter&) = delete;

    // libpng must not be returned to; an exception is as good as its own long jump.
    [[noreturn]] static void error(png_structp, png_const_charp message) {
        throw Fenlet::FileError(message);
    }
};

} // namespace

void writePng(const Picture& picture, const std::string& path) {
    FileInTheMaking file(path);
    try {
        PngWriter writer;
        png_init_io(writer.png, file.handle());
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
