// Loops over elements that read no component: element numbers and validity.
#pragma once

#include <cstdint>

namespace Fenlet {

/// Writes `count` consecutive numbers as Int64, beginning with `start` and wrapping.
void countUp(unsigned char* out, std::int64_t start, std::int64_t count);

/// out[i] = the Int32 at place i of `in`.
void widenIndices(std::int64_t* out, const unsigned char* in, std::int64_t count);

/// Whether all of `count` elements are valid and their numbers are consecutive, wrapping.
/// `validity` may be null if all are valid.
bool isContiguous(const std::int64_t* indices, const unsigned char* validity, std::int64_t count);

/// result[i] = 1 where both are not 0, else 0. The result may be either operand.
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
