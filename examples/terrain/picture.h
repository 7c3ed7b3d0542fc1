// A picture in memory, and writing it to a PNG file.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace Terrain {

/// `width` times `height` pixels of red, green, blue and alpha, row after row.
struct Picture {
    std::size_t width = 0;
    std::size_t height = 0;
    std::vector<unsigned char> pixels;
};

/// Writes the file whole or not at all: it is written under another name beside `path`, and takes
/// its place at the end. Throws `Fenlet::FileError`.
void writePng(const Picture& picture, const std::string& path);

} // namespace Terrain
