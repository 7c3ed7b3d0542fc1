// Every refusal of the library, with its code and its exact message. Hosts show the messages and
// compare the codes, so neither may change by accident.
#include "vocabulary/faults.h"

#include <gtest/gtest.h>
#include <set>
#include <string>

namespace Fenlet {
namespace {

struct Row {
    Fault fault;
    ExecRefusal code;
    const char* words;
};

const Row rows[] = {
    {Faults::staleOpCodeTable, ExecRefusal::StaleOpCodeTable,
     "this build of fenletexec and the linked fenletir disagree about the OpCode numbering - one "
     "of them is stale and must be rebuilt"},

    {Faults::registerFormat, ExecRefusal::UnsupportedFormat,
     "a register format has no CPU storage"},
    {Faults::resultFormat, ExecRefusal::UnsupportedFormat,
     "result register format has no CPU storage"},
    {Faults::operandFormat, ExecRefusal::UnsupportedFormat,
     "operand register format has no CPU storage"},

    {Faults::blockSize, ExecRefusal::ScratchRefused, "block size must be positive"},
    {Faults::specMissing, ExecRefusal::ScratchRefused, "register specification missing"},
    {Faults::specKind, ExecRefusal::ScratchRefused, "register has no CPU representation"},
    {Faults::specMultiplicity, ExecRefusal::ScratchRefused,
     "register multiplicity must be positive"},

    {Faults::resultRegister, ExecRefusal::BadRegister, "result register out of range"},
    {Faults::operandRegister, ExecRefusal::BadRegister, "operand register out of range"},

    {Faults::constantIndex, ExecRefusal::BadImmediate, "constant pool index out of range"},
    {Faults::uniformIndex, ExecRefusal::BadImmediate, "uniform declaration index out of range"},
    {Faults::fieldIndex, ExecRefusal::BadImmediate, "field binding index out of range"},
    {Faults::samplerIndex, ExecRefusal::BadImmediate, "sampler index out of range"},
    {Faults::componentIndex, ExecRefusal::BadImmediate,
     "component index outside the operand's multiplicity"},

    {Faults::operandPastArity, ExecRefusal::ArityMismatch,
     "operand slot used past the opcode's arity"},

    {Faults::registerMultiplicity, ExecRefusal::MultiplicityMismatch,
     "a register has non-positive multiplicity"},
    {Faults::operandMultiplicities, ExecRefusal::MultiplicityMismatch,
     "operands differ in multiplicity and neither is a scalar"},
    {Faults::constantMultiplicity, ExecRefusal::MultiplicityMismatch,
     "constant multiplicity exceeds the block scratch"},
    {Faults::uniformMultiplicity, ExecRefusal::MultiplicityMismatch,
     "uniform multiplicity exceeds the block scratch"},
    {Faults::scalarLeft, ExecRefusal::MultiplicityMismatch,
     "a comparison with a scalar LEFT operand needs a kernel this backend does not have"},
    {Faults::conditionMultiplicity, ExecRefusal::MultiplicityMismatch,
     "Select's condition is neither scalar nor component-matched"},

    {Faults::elementIndexKind, ExecRefusal::KindMismatch,
     "ElementIndex must define an integral register"},
    {Faults::fieldIndexKind, ExecRefusal::KindMismatch,
     "LoadField index operand is not an integer register"},
    {Faults::notKinds, ExecRefusal::KindMismatch, "Not and IsTrue require boolean registers"},
    {Faults::comparisonKind, ExecRefusal::KindMismatch,
     "a comparison must define a boolean register"},
    {Faults::andKinds, ExecRefusal::KindMismatch, "And/Or require boolean registers"},
    {Faults::conditionKind, ExecRefusal::KindMismatch,
     "Select's condition must be a boolean register"},

    {Faults::constantMaterialise, ExecRefusal::KindMismatch,
     "constant cannot be materialised into the destination storage kind"},
    {Faults::constantBroadcast, ExecRefusal::KindMismatch,
     "constant cannot be broadcast into the destination storage kind"},
    {Faults::uniformBroadcast, ExecRefusal::KindMismatch,
     "uniform cannot be broadcast into the destination storage kind"},
    {Faults::componentKernel, ExecRefusal::KindMismatch,
     "component extraction between these storage kinds has no kernel"},
    {Faults::unaryKernel, ExecRefusal::KindMismatch,
     "no kernel for this unary operation at the operand's storage kind"},
    {Faults::arithmeticKernel, ExecRefusal::KindMismatch,
     "no arithmetic kernel for this combination of operand and result storage kinds"},
    {Faults::comparisonKernel, ExecRefusal::KindMismatch,
     "no comparison kernel for this combination of operand storage kinds"},
    {Faults::selectKernel, ExecRefusal::KindMismatch,
     "select between these arm storage kinds has no kernel"},
    {Faults::opCode, ExecRefusal::KindMismatch, "opcode has no implementation in this backend"},

    {Faults::fieldBinding, ExecRefusal::UnboundField,
     "no accessor bound for a field the program reads"},
    {Faults::fieldBindingOfStep, ExecRefusal::UnboundField, "no accessor bound for field"},
    {Faults::uniformBinding, ExecRefusal::UnboundUniform, "no uniform source bound"},
    {Faults::samplerBinding, ExecRefusal::UnboundSampler,
     "no sampler bound for one the program uses"},
    {Faults::samplerBindingOfStep, ExecRefusal::UnboundSampler, "no sampler bound"},

    {Faults::fieldDeclined, ExecRefusal::ProviderFailed, "field accessor declined"},
    {Faults::uniformDeclined, ExecRefusal::ProviderFailed, "uniform source declined"},
    {Faults::samplerDeclined, ExecRefusal::ProviderFailed, "sampler declined"},
};

TEST(Faults, HaveTheirCodesAndWords) {
    std::set<std::string> words;
    for (const Row& row : rows) {
        SCOPED_TRACE(row.words);
        EXPECT_TRUE(row.fault);
        EXPECT_EQ(row.fault.code, row.code);
        EXPECT_STREQ(row.fault.message, row.words);
        words.insert(row.words);
    }
    // No two refusals have the same message.
    EXPECT_EQ(words.size(), std::size(rows));
}

TEST(Faults, HaveNoneForSuccess) {
    EXPECT_FALSE(Faults::none);
    EXPECT_EQ(Faults::none.message, nullptr);
}

} // namespace
} // namespace Fenlet
