// The best loops that we can write by hand for single shapes of the kernels' work: areas apart from
// each other, kinds and counts known. They are what kernels are measured by.
#pragma once

namespace Fenlet::Bench {

/// So many that the areas of one call stay in the first-level cache together.
constexpr int boundElements(int multiplicity) {
    return multiplicity == 1 ? 1024 : 512;
}

/// Where a loop finds what it works on. Validity and conditions are a byte for each element.
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
