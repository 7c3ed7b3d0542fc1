// A picture in memory, and its PNG file.
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

/// Writes the file, or leaves what was at `path` as it was and throws `Fenlet::FileError`.
void writePng(const Picture& picture, const std::string& path);

} // namespace Terrain
