// Finds out which instruction sets the processor has, without asking the operating system.
#include "kernels/target/sets.h"

#ifdef FENLET_X86_SETS
#include <cpuid.h>
#endif

namespace Fenlet {

constinit InstructionSet chosenInstructionSet = InstructionSet::Baseline;

namespace {

// The build and the list must have the same sets in the same order.
static_assert(
    [] {
        using enum InstructionSet;
        constexpr InstructionSet built[] = {FENLET_BUILT_SETS};
        int number = 0;
        for (const InstructionSet set : built)
            if (set != static_cast<InstructionSet>(number++))
                return false;
        return number == instructionSetCount;
    }(),
    "fenlet_add_kernels and FENLET_EACH_SET name different sets");

#ifdef FENLET_X86_SETS

struct Registers {
    unsigned a = 0;
    unsigned b = 0;
    unsigned c = 0;
    unsigned d = 0;
};

/// All zero for a leaf that the processor does not have: `__get_cpuid_count` then changes nothing.
Registers cpuid(unsigned leaf) {
    Registers r;
    __get_cpuid_count(leaf, 0, &r.a, &r.b, &r.c, &r.d);
    return r;
}

bool hasAll(unsigned word, unsigned bits) {
    return (word & bits) == bits;
}

/// Which registers the operating system saves when it switches threads. Wide registers that it does
/// not save would lose their upper parts. xgetbv is not allowed if the system saves none.
unsigned keptState(unsigned basicFeatures) {
    unsigned low = 0;
    unsigned high = 0;
    if (hasAll(basicFeatures, bit_OSXSAVE))
        __asm__("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
    return low;
}

InstructionSet widest() {
    const unsigned basicFeatures = cpuid(1).c;
    return widestWith({basicFeatures, cpuid(7).b, keptState(basicFeatures)});
}

#else

InstructionSet widest() {
    return InstructionSet::Baseline;
}

#endif

const bool isChosen = chooseInstructionSet(widest());

} // namespace

#ifdef FENLET_X86_SETS
InstructionSet widestWith(const ProcessorWords& words) {
    constexpr unsigned avxState = 0x06;
    constexpr unsigned avx512State = 0xE6;
    constexpr unsigned avx512 = bit_AVX512F | bit_AVX512DQ | bit_AVX512BW | bit_AVX512VL;
    if (!hasAll(words.basicFeatures, bit_OSXSAVE | bit_AVX | bit_F16C) ||
        !hasAll(words.extendedFeatures, bit_AVX2) || !hasAll(words.keptState, avxState))
        return InstructionSet::Baseline;
    if (!hasAll(words.extendedFeatures, avx512) || !hasAll(words.keptState, avx512State))
        return InstructionSet::Avx2;
    return InstructionSet::Avx512;
}
#endif

bool isAvailable(InstructionSet set) {
    return static_cast<int>(set) >= 0 && set <= widest();
}

bool chooseInstructionSet(InstructionSet set) {
    if (!isAvailable(set))
        return false;
    chosenInstructionSet = set;
    return true;
}

} // namespace Fenlet
