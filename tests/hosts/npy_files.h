// .npy files, valid or not.
#pragma once

#include <cstdint>
#include <string>

namespace Fenlet::Hosts {

/// `value` in `count` bytes, the least significant first.
inline std::string littleEndian(std::uint64_t value, int count) {
    std::string bytes;
    for (int b = 0; b < count; ++b)
        bytes += static_cast<char>(value >> (8 * b) & 0xFF);
    return bytes;
}

/// The characters for this machine's byte order and for the opposite one, which precede a type of
/// several bytes.
inline constexpr bool isBigEndian = __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__;
inline constexpr char ownOrder = isBigEndian ? '>' : '<';
inline constexpr char otherOrder = isBigEndian ? '<' : '>';

/// The content of a file of this version with this header text, padded as the format requires.
inline std::string npyFile(std::string header, const std::string& entries, int version = 1) {
    const int lengthBytes = version == 1 ? 2 : 4;
    while ((8 + static_cast<std::size_t>(lengthBytes) + header.size() + 1) % 64 != 0)
        header += ' ';
    header += '\n';
    return std::string("\x93NUMPY") + static_cast<char>(version) + '\0' +
           littleEndian(header.size(), lengthBytes) + header + entries;
}

/// The header of an array of rows, such as `npyHeader("<f4", "(2, 3)")`.
inline std::string npyHeader(const std::string& type, const std::string& shape) {
    return "{'descr': '" + type + "', 'fortran_order': False, 'shape': " + shape + ", }";
}

} // namespace Fenlet::Hosts
