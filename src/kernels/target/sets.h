// The instruction sets that the kernels are compiled for, and the one that runs.
//
// The choice falls once, when the library is loaded, by what the processor says of itself. A call
// that comes earlier, from another object's initialisation, finds the baseline, which is right
// everywhere.
#pragma once

// The one list of sets: each(name, ...) for every set that this build has kernels for, from the one
// that every processor of the architecture has to the widest. It is a macro because a template
// cannot take a name, and every set has a namespace.
#ifdef FENLET_X86_SETS
// Avx2 includes F16C; Avx512 is F, BW, DQ and VL.
#define FENLET_EACH_SET(each, ...)                                                                 \
    each(Baseline, __VA_ARGS__) each(Avx2, __VA_ARGS__) each(Avx512, __VA_ARGS__)
#else
#define FENLET_EACH_SET(each, ...) each(Baseline, __VA_ARGS__)
#endif

#define FENLET_SET_NUMBER(set, ...) set,
#define FENLET_SET_NAME(set, ...) #set,
#define FENLET_DECLARED_IN_SET(set, declaration)                                                   \
    namespace set {                                                                                \
    declaration;                                                                                   \
    }
#define FENLET_ADDRESS_IN_SET(set, name) &set::name,

// What the kernel sources define under one name in the namespace of every set: its declarations,
// and its addresses as an initialiser.
#define FENLET_IN_EVERY_SET(declaration) FENLET_EACH_SET(FENLET_DECLARED_IN_SET, declaration)
#define FENLET_ADDRESSES(name)                                                                     \
    { FENLET_EACH_SET(FENLET_ADDRESS_IN_SET, name) }

namespace Fenlet {

enum class InstructionSet : int { FENLET_EACH_SET(FENLET_SET_NUMBER) };

inline constexpr const char* instructionSetNames[] = {FENLET_EACH_SET(FENLET_SET_NAME)};

inline constexpr int instructionSetCount =
    static_cast<int>(sizeof instructionSetNames / sizeof instructionSetNames[0]);

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
    const Kernels* of[instructionSetCount];

    const Kernels& chosen() const { return *of[static_cast<int>(chosenInstructionSet)]; }
};

} // namespace Fenlet
