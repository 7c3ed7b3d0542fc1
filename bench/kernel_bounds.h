// The best loops written by hand for single shapes of the kernels' work. They know kinds and
// counts, and their areas do not overlap. Kernels are measured against them.
#pragma once

namespace Fenlet::Bench {

/// Few enough for all areas of one call to stay in the first-level cache together.
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

/// One shape.
struct NamedLoop {
    const char* name;
    void (*run)(const LoopAreas& areas);
    int lanes;        ///< components of the result
    int bytesRead;    ///< in one run
    int bytesWritten; ///< in one run
};

// Each instruction set has `const NamedLoop handLoops[]` in its own namespace. The last one has no
// name, and the first two do nothing but read and write.

} // namespace Fenlet::Bench
