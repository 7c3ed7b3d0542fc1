// Loops over the element numbers and the validity of a block. They do not touch component values,
// except element numbers.
#pragma once

#include <cstdint>

namespace Fenlet {

/// Writes `count` consecutive numbers as Int64, beginning with `start`. Numbers wrap around at 64
/// bits.
void countUp(unsigned char* out, std::int64_t start, std::int64_t count);

/// out[i] = the Int32 at index i of `in`.
void widenIndices(std::int64_t* out, const unsigned char* in, std::int64_t count);

/// Whether all of `count` elements are valid and their numbers ascend by one. Numbers wrap around
/// at 64 bits. `validity` may be null if all elements are valid.
bool isContiguous(const std::int64_t* indices, const unsigned char* validity, std::int64_t count);

/// result[i] = 1 where `left[i]` and `right[i]` are not 0, else 0. `result` may be the same memory
/// as an operand.
void bothValid(unsigned char* result, const unsigned char* left, const unsigned char* right,
               std::int64_t count);

/// Whether all of `count` validity bytes are 1.
bool isOneThroughout(const unsigned char* validity, std::int64_t count);

struct ElementKernels {
    void (*countUp)(unsigned char*, std::int64_t, std::int64_t);
    void (*widenIndices)(std::int64_t*, const unsigned char*, std::int64_t);
    bool (*isContiguous)(const std::int64_t*, const unsigned char*, std::int64_t);
    void (*bothValid)(unsigned char*, const unsigned char*, const unsigned char*, std::int64_t);
    bool (*isOneThroughout)(const unsigned char*, std::int64_t);
};

} // namespace Fenlet
