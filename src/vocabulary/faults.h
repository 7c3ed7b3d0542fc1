// All refusals of the library, each with its code and its message.
//
// Each message is here once, even if several checks use it. The messages are fixed and have static
// lifetime: a host may keep them after the interpreter is destroyed.
#pragma once

#include <fenletexec/exec_refusal.h>

namespace Fenlet {

/// A refusal that a check has found. `Faults::none` means that nothing is refused.
struct Fault {
    ExecRefusal code = ExecRefusal::None;
    const char* message = nullptr;

    explicit operator bool() const { return code != ExecRefusal::None; }
};

namespace Faults {

inline constexpr Fault none{};

// The program as a whole.
inline constexpr Fault staleOpCodeTable{
    ExecRefusal::StaleOpCodeTable,
    "this build of fenletexec and the linked fenletir disagree about the OpCode numbering - one of "
    "them is stale and must be rebuilt"};
inline constexpr Fault registerFormat{ExecRefusal::UnsupportedFormat,
                                      "a register format has no CPU storage"};
inline constexpr Fault registerMultiplicity{ExecRefusal::MultiplicityMismatch,
                                            "a register has non-positive multiplicity"};

// The register file reports only the messages of these, without the codes.
inline constexpr Fault blockSize{ExecRefusal::ScratchRefused, "block size must be positive"};
inline constexpr Fault specMissing{ExecRefusal::ScratchRefused, "register specification missing"};
inline constexpr Fault specKind{ExecRefusal::ScratchRefused, "register has no CPU representation"};
inline constexpr Fault specMultiplicity{ExecRefusal::ScratchRefused,
                                        "register multiplicity must be positive"};

// An instruction's registers.
inline constexpr Fault resultRegister{ExecRefusal::BadRegister, "result register out of range"};
inline constexpr Fault operandRegister{ExecRefusal::BadRegister, "operand register out of range"};
inline constexpr Fault resultFormat{ExecRefusal::UnsupportedFormat,
                                    "result register format has no CPU storage"};
inline constexpr Fault operandFormat{ExecRefusal::UnsupportedFormat,
                                     "operand register format has no CPU storage"};
inline constexpr Fault operandPastArity{ExecRefusal::ArityMismatch,
                                        "operand slot used past the opcode's arity"};
inline constexpr Fault operandMultiplicities{
    ExecRefusal::MultiplicityMismatch, "operands differ in multiplicity and neither is a scalar"};

// An instruction's immediate.
inline constexpr Fault constantIndex{ExecRefusal::BadImmediate, "constant pool index out of range"};
inline constexpr Fault uniformIndex{ExecRefusal::BadImmediate,
                                    "uniform declaration index out of range"};
inline constexpr Fault fieldIndex{ExecRefusal::BadImmediate, "field binding index out of range"};
inline constexpr Fault samplerIndex{ExecRefusal::BadImmediate, "sampler index out of range"};
inline constexpr Fault componentIndex{ExecRefusal::BadImmediate,
                                      "component index outside the operand's multiplicity"};

// What an opcode requires of its registers.
inline constexpr Fault constantMultiplicity{ExecRefusal::MultiplicityMismatch,
                                            "constant multiplicity exceeds the block scratch"};
inline constexpr Fault uniformMultiplicity{ExecRefusal::MultiplicityMismatch,
                                           "uniform multiplicity exceeds the block scratch"};
inline constexpr Fault scalarLeft{ExecRefusal::MultiplicityMismatch,
                                  "a comparison with a scalar LEFT operand needs a kernel this "
                                  "backend does not have"};
inline constexpr Fault conditionMultiplicity{
    ExecRefusal::MultiplicityMismatch,
    "Select's condition is neither scalar nor component-matched"};
inline constexpr Fault elementIndexKind{ExecRefusal::KindMismatch,
                                        "ElementIndex must define an integral register"};
inline constexpr Fault fieldIndexKind{ExecRefusal::KindMismatch,
                                      "LoadField index operand is not an integer register"};
inline constexpr Fault notKinds{ExecRefusal::KindMismatch,
                                "Not and IsTrue require boolean registers"};
inline constexpr Fault comparisonKind{ExecRefusal::KindMismatch,
                                      "a comparison must define a boolean register"};
inline constexpr Fault andKinds{ExecRefusal::KindMismatch, "And/Or require boolean registers"};
inline constexpr Fault conditionKind{ExecRefusal::KindMismatch,
                                     "Select's condition must be a boolean register"};

// Storage kinds without a kernel. Only the run of the step finds these.
inline constexpr Fault constantMaterialise{
    ExecRefusal::KindMismatch, "constant cannot be materialised into the destination storage kind"};
inline constexpr Fault constantBroadcast{
    ExecRefusal::KindMismatch, "constant cannot be broadcast into the destination storage kind"};
inline constexpr Fault uniformBroadcast{
    ExecRefusal::KindMismatch, "uniform cannot be broadcast into the destination storage kind"};
inline constexpr Fault componentKernel{
    ExecRefusal::KindMismatch, "component extraction between these storage kinds has no kernel"};
inline constexpr Fault unaryKernel{
    ExecRefusal::KindMismatch, "no kernel for this unary operation at the operand's storage kind"};
inline constexpr Fault arithmeticKernel{
    ExecRefusal::KindMismatch,
    "no arithmetic kernel for this combination of operand and result storage kinds"};
inline constexpr Fault comparisonKernel{
    ExecRefusal::KindMismatch,
    "no comparison kernel for this combination of operand storage kinds"};
inline constexpr Fault selectKernel{ExecRefusal::KindMismatch,
                                    "select between these arm storage kinds has no kernel"};
inline constexpr Fault opCode{ExecRefusal::KindMismatch,
                              "opcode has no implementation in this backend"};

// The host's providers. A missing field or sampler has two messages: one for the check before a
// run, one for the step.
inline constexpr Fault fieldBinding{ExecRefusal::UnboundField,
                                    "no accessor bound for a field the program reads"};
inline constexpr Fault fieldBindingOfStep{ExecRefusal::UnboundField, "no accessor bound for field"};
inline constexpr Fault uniformBinding{ExecRefusal::UnboundUniform, "no uniform source bound"};
inline constexpr Fault samplerBinding{ExecRefusal::UnboundSampler,
                                      "no sampler bound for one the program uses"};
inline constexpr Fault samplerBindingOfStep{ExecRefusal::UnboundSampler, "no sampler bound"};
inline constexpr Fault fieldDeclined{ExecRefusal::ProviderFailed, "field accessor declined"};
inline constexpr Fault uniformDeclined{ExecRefusal::ProviderFailed, "uniform source declined"};
inline constexpr Fault samplerDeclined{ExecRefusal::ProviderFailed, "sampler declined"};

} // namespace Faults
} // namespace Fenlet
