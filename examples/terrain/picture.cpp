// Writing a picture to a PNG file.
#include "picture.h"

#include <fenlethosts/npy.h>
#include <fenlethosts/output_file.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <png.h>

namespace Terrain {
namespace {

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
    Fenlet::OutputFile file(path);
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
