// Loops written by hand, each for one shape of a kernel's work. Kernels are measured against them.
// Unlike kernels, these loops know kinds and counts at compile time and assume that areas do not
// overlap.
#pragma once

namespace Fenlet::Bench {

/// The number of elements of a call: few enough for all areas to stay in the first-level cache
/// together.
constexpr int boundElements(int multiplicity) {
    return multiplicity == 1 ? 1024 : 512;
}

/// The areas of a loop. Validity and conditions have a byte for each element.
struct LoopAreas {
    unsigned char* result;
    unsigned char* resultValidity;
    const unsigned char* left;
    const unsigned char* right;
    const unsigned char* leftValidity;
    const unsigned char* rightValidity;
    const unsigned char* condition;
};

/// The loop for one shape.
struct NamedLoop {
    const char* name;
    void (*run)(const LoopAreas& areas);
    int lanes;        ///< components of the result
    int bytesRead;    ///< in one call
    int bytesWritten; ///< in one call
};

// Each instruction set has `const NamedLoop handLoops[]` in its own namespace. The last entry has
// no name. The first two loops only read and only write.

} // namespace Fenlet::Bench
