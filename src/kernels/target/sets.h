// The instruction sets that the kernels are compiled for, and the one that runs.
//
// The choice falls once, when the library is loaded, by what the processor says of itself. A call
// that comes earlier, from another object's initialisation, finds the baseline, which is right
// everywhere.
#pragma once

namespace Fenlet {

/// From the one that every processor of the architecture has to the widest.
enum class InstructionSet : int {
    Baseline = 0,
    Avx2 = 1,   ///< with F16C
    Avx512 = 2, ///< F, BW, DQ and VL
};

/// Whether this build has kernels for the set, and this processor the instructions.
bool isAvailable(InstructionSet set);

/// Makes the set the one that runs, and answers whether it is available. For tests: no thread may
/// be evaluating.
bool chooseInstructionSet(InstructionSet set);

#ifdef FENLET_X86_SETS
/// What an x86-64 processor says of itself, in the words that it says it in.
struct ProcessorWords {
    unsigned basicFeatures;    ///< register c of cpuid's leaf 1
    unsigned extendedFeatures; ///< register b of its leaf 7, 0 where there is none
    unsigned keptState;        ///< the low word of xgetbv 0, 0 where that cannot be asked for
};

/// The widest set that such a processor can run.
InstructionSet widestWith(const ProcessorWords& words);
#endif

/// The one that runs.
extern InstructionSet chosenInstructionSet;

/// A family's kernels in every set that this build has.
template <class Kernels>
struct KernelSets {
    const Kernels* of[3];

    const Kernels& chosen() const { return *of[static_cast<int>(chosenInstructionSet)]; }
};

} // namespace Fenlet

// A name that stands in the namespace of every set: its declaration, and its addresses. A template
// cannot take a name.
#ifdef FENLET_X86_SETS
#define FENLET_IN_EVERY_SET(declaration)                                                           \
    inline namespace Baseline {                                                                    \
    declaration;                                                                                   \
    }                                                                                              \
    namespace Avx2 {                                                                               \
    declaration;                                                                                   \
    }                                                                                              \
    namespace Avx512 {                                                                             \
    declaration;                                                                                   \
    }
#define FENLET_ADDRESSES(name)                                                                     \
    { &Baseline::name, &Avx2::name, &Avx512::name }
#else
#define FENLET_IN_EVERY_SET(declaration)                                                           \
    inline namespace Baseline {                                                                    \
    declaration;                                                                                   \
    }
#define FENLET_ADDRESSES(name)                                                                     \
    { &Baseline::name, nullptr, nullptr }
#endif
