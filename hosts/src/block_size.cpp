// How many elements to work on at a time.
//
// Long blocks share the fixed cost of each step among more elements; short blocks keep the
// registers in the caches. The advised size is the one at which the sum of these two costs is
// least. The numbers below were fitted to measurements of the programs in bench/block_sizes.cpp;
// only their ratios matter.
#include <fenletexec/element_kinds.h>
#include <fenlethosts/block_size.h>

#include <algorithm>
#include <cstdint>
#include <vector>

namespace Fenlet {
namespace {

constexpr int smallest = 128;
constexpr int largest = 2048;
/// The most memory for a block, unless the block has the smallest size.
constexpr double mostBytes = 1024 * 1024;

// Nanoseconds that a step costs per block, whatever the block's length is.
constexpr double arithmeticCost = 6; ///< a single loop
constexpr double fieldCost = 4;
constexpr double constantCost = 40;
constexpr double uniformCost = 120;
constexpr double otherCost = 18;

/// Nanoseconds for each byte that misses the first-level cache, and the same again for each byte
/// that also misses the second-level cache.
constexpr double missCost = 1.0 / 64;

/// A cache begins to miss at `begins` bytes. From `ends` bytes on it always misses.
struct CacheLimits {
    double begins;
    double ends;
};
constexpr CacheLimits firstLevel = {12 * 1024, 64 * 1024};
constexpr CacheLimits secondLevel = {256 * 1024, 512 * 1024};

double missShare(const CacheLimits& cache, double bytes) {
    return std::clamp((bytes - cache.begins) / (cache.ends - cache.begins), 0.0, 1.0);
}

bool isArithmetic(OpCode op) {
    return op == OpCode::Add || op == OpCode::Subtract || op == OpCode::Multiply ||
           op == OpCode::Divide;
}

/// Whether the instruction's registers exist and all have the same number of components.
bool hasEqualMultiplicities(const FenletProgram& program, const Instruction& instruction) {
    for (const std::int32_t number :
         {instruction.result, instruction.operands[0], instruction.operands[1]})
        if (!program.isValidRegister(number) ||
            program.registerInfo(number).multiplicity !=
                program.registerInfo(instruction.result).multiplicity)
            return false;
    return true;
}

double costOfStep(const FenletProgram& program, const Instruction& instruction) {
    switch (instruction.op) {
    case OpCode::Nop:
        return 0;
    case OpCode::LoadField:
        return fieldCost;
    case OpCode::LoadConstant:
        return constantCost;
    case OpCode::LoadUniform:
        return uniformCost;
    default:
        return isArithmetic(instruction.op) && hasEqualMultiplicities(program, instruction)
                   ? arithmeticCost
                   : otherCost;
    }
}

/// What the cost of a program depends on.
struct Work {
    double costOfBlock = 0;    ///< nanoseconds per block, whatever its length is
    double bytesOfElement = 0; ///< bytes of an element that each block writes
};

// Leaves out registers that hold a constant or a uniform, as only the first block fills them.
// Leaves out validity, too: most elements are valid, so a block rarely writes it.
Work workOf(const FenletProgram& program) {
    Work work;
    std::vector<bool> isCounted(program.registers.size());
    for (const Instruction& instruction : program.instructions) {
        work.costOfBlock += costOfStep(program, instruction);
        const bool isKept =
            instruction.op == OpCode::LoadConstant || instruction.op == OpCode::LoadUniform;
        if (instruction.op == OpCode::Nop || isKept || !program.isValidRegister(instruction.result))
            continue;
        const auto number = static_cast<std::size_t>(instruction.result);
        const RegisterInfo& info = program.registers[number];
        if (!isCounted[number] && info.multiplicity > 0)
            work.bytesOfElement +=
                static_cast<double>(elementSize(blockElement(info.format))) * info.multiplicity;
        isCounted[number] = true;
    }
    return work;
}

/// The part of an element's cost that depends on the block size, in nanoseconds.
double costOfElement(const Work& work, int blockSize) {
    const double bytes = work.bytesOfElement * blockSize;
    return work.costOfBlock / blockSize +
           work.bytesOfElement * missCost *
               (missShare(firstLevel, bytes) + missShare(secondLevel, bytes));
}

} // namespace

int adviseBlockSize(const FenletProgram& program) {
    const Work work = workOf(program);
    int best = smallest;
    for (int size = smallest * 2; size <= largest && work.bytesOfElement * size <= mostBytes;
         size *= 2)
        if (costOfElement(work, size) <= costOfElement(work, best))
            best = size;
    return best;
}

} // namespace Fenlet
