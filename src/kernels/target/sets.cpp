// Asking the processor which instruction sets it has. No operating system is asked.
#include "kernels/target/sets.h"

#ifdef FENLET_X86_SETS
#include <cpuid.h>
#endif

namespace Fenlet {

constinit InstructionSet chosenInstructionSet = InstructionSet::Baseline;

namespace {

#ifdef FENLET_X86_SETS

struct Registers {
    unsigned a = 0;
    unsigned b = 0;
    unsigned c = 0;
    unsigned d = 0;
};

/// All zero for a leaf that the processor does not have.
Registers cpuid(unsigned leaf) {
    Registers r;
    if (!__get_cpuid_count(leaf, 0, &r.a, &r.b, &r.c, &r.d))
        return {};
    return r;
}

/// The register state that the system keeps between threads: without it wide registers lose their
/// upper parts.
unsigned keptState() {
    unsigned low;
    unsigned high;
    __asm__("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
    return low;
}

bool hasAll(unsigned word, unsigned bits) {
    return (word & bits) == bits;
}

InstructionSet widest() {
    constexpr unsigned avxState = 0x06;
    constexpr unsigned avx512State = 0xE6;
    const Registers basic = cpuid(1);
    if (!hasAll(basic.c, bit_OSXSAVE | bit_AVX | bit_F16C) || !hasAll(keptState(), avxState))
        return InstructionSet::Baseline;
    const Registers extended = cpuid(7);
    if (!hasAll(extended.b, bit_AVX2))
        return InstructionSet::Baseline;
    constexpr unsigned avx512 = bit_AVX512F | bit_AVX512DQ | bit_AVX512BW | bit_AVX512VL;
    const bool hasAvx512 = hasAll(extended.b, avx512) && hasAll(keptState(), avx512State);
    return hasAvx512 ? InstructionSet::Avx512 : InstructionSet::Avx2;
}

#else

InstructionSet widest() {
    return InstructionSet::Baseline;
}

#endif

const bool isChosen = chooseInstructionSet(widest());

} // namespace

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
