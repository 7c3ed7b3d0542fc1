// The measured kernel calls: the kinds and shapes that hosts use most.
#pragma once

#include "kernel_bounds.h"

#include <fenletexec/element_kinds.h>

#include <functional>
#include <string>
#include <vector>

namespace Fenlet::Bench {

constexpr int mostElements = boundElements(1);

/// The areas of one call, filled with small positive numbers, each at the start of a cache line.
/// Together they stay in the first-level cache.
class Areas {
  public:
    Areas();

    enum Area { result, resultValidity, left, right, leftValidity, rightValidity, condition };

    unsigned char* operator[](Area area) {
        return first + static_cast<std::size_t>(area) * areaBytes;
    }
    void fill(Area area, CpuElementKind kind);
    /// Random truth values, each repeated `run` times.
    void fillCondition(int run);
    LoopAreas forLoop() {
        return {(*this)[result],       (*this)[resultValidity], (*this)[left],     (*this)[right],
                (*this)[leftValidity], (*this)[rightValidity],  (*this)[condition]};
    }

  private:
    static constexpr std::size_t areaBytes = mostElements * 4 * 8 + 192;
    static constexpr std::size_t areaCount = 7;
    static constexpr std::size_t alignment = 64;
    std::vector<unsigned char> bytes;
    unsigned char* first = nullptr;
};

/// A call of a kernel over given areas.
using Action = std::function<void()>;

/// The call of a kernel for one shape, and the data that it reads.
struct KernelCase {
    std::string name; ///< the name of the loop by hand
    CpuElementKind left;
    CpuElementKind right;
    /// Looks up the kernel in the current instruction set, as a plan does once for each step, and
    /// returns the call.
    std::function<Action(Areas&)> call;
    int conditionRun = 1;

    void prepare(Areas& areas) const {
        areas.fill(Areas::left, left);
        areas.fill(Areas::right, right);
        areas.fillCondition(conditionRun);
    }
};

const std::vector<KernelCase>& kernelCases();

} // namespace Fenlet::Bench
