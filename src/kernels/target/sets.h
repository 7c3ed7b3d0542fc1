// The instruction sets that the kernels are compiled for, and the one that is in use.
//
// The set is chosen once, when the library is loaded, from what the processor reports. Code that
// runs earlier, in the initialisation of another object, uses the baseline, which works on every
// processor.
#pragma once

// The one list of sets: each(name, ...) for every set that this build has kernels for, from the set
// that all processors of the architecture have to the widest. It is a macro because each set has a
// namespace, and a template cannot take a name.
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

// Declarations and addresses of what the kernel sources define in the namespace of every set.
#define FENLET_IN_EVERY_SET(declaration) FENLET_EACH_SET(FENLET_DECLARED_IN_SET, declaration)
#define FENLET_ADDRESSES(name)                                                                     \
    { FENLET_EACH_SET(FENLET_ADDRESS_IN_SET, name) }

namespace Fenlet {

enum class InstructionSet : int { FENLET_EACH_SET(FENLET_SET_NUMBER) };

inline constexpr const char* instructionSetNames[] = {FENLET_EACH_SET(FENLET_SET_NAME)};

inline constexpr int instructionSetCount =
    static_cast<int>(sizeof instructionSetNames / sizeof instructionSetNames[0]);

/// Whether this build has kernels for the set and this processor can run them.
bool isAvailable(InstructionSet set);

/// Switches to a set. Returns false, and changes nothing, if it is not available. For tests: no
/// thread may be evaluating.
bool chooseInstructionSet(InstructionSet set);

#ifdef FENLET_X86_SETS
/// What an x86-64 processor reports about itself.
struct ProcessorWords {
    unsigned basicFeatures;    ///< register c of cpuid's leaf 1
    unsigned extendedFeatures; ///< register b of its leaf 7, 0 where there is none
    unsigned keptState; ///< the low word of xgetbv 0; 0 where the system does not allow xgetbv
};

/// The widest set that a processor with these words can run.
InstructionSet widestWith(const ProcessorWords& words);
#endif

/// The set in use.
extern InstructionSet chosenInstructionSet;

/// A family's kernels, one entry for each set of this build.
template <class Kernels>
struct KernelSets {
    const Kernels* of[instructionSetCount];

    const Kernels& chosen() const { return *of[static_cast<int>(chosenInstructionSet)]; }
};

} // namespace Fenlet
