// The loops over elements, which look at no component: their numbers and their validity.
#pragma once

#include <cstdint>

namespace Fenlet {

/// Writes `start`, `start` + 1, ... as Int64 to `count` places from `out` on, wrapping.
void countUp(unsigned char* out, std::int64_t start, std::int64_t count);

/// out[i] = the Int32 at place i of `in`.
void widenIndices(std::int64_t* out, const unsigned char* in, std::int64_t count);

/// Whether all of `count` positions are valid and their numbers run on by exactly one, wrapping.
/// `validity` may be null, which counts as all valid.
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
