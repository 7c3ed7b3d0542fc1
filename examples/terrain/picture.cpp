// Writes a picture to a PNG file.
#include "picture.h"

#include <fenlethosts/npy.h>
#include <fenlethosts/output_file.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <png.h>

namespace Terrain {
namespace {

/// libpng's handles, released on every way out.
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

    // libpng must not be returned to, so this throws. The system's reason, if there is one, says
    // more than libpng's message.
    [[noreturn]] static void error(png_structp, png_const_charp message) {
        throw Fenlet::FileError(errno != 0 ? std::strerror(errno) : message);
    }
    // Ignored: whatever matters is also an error, and only one line goes to standard error.
    static void warning(png_structp, png_const_charp) {}
};

} // namespace

void writePng(const Picture& picture, const std::string& path) {
    Fenlet::OutputFile file(path);
    try {
        errno = 0;
        PngWriter writer;
        png_init_io(writer.png, file.handle());
        // Large grids make pictures larger than libpng allows by default.
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
