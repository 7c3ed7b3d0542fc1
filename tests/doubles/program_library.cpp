// The functions of the program library, replaced by those of a test double.
#include "doubles/program_library.h"

namespace Fenlet {

namespace Doubles {

ProgramLibrary& programLibrary() {
    static ProgramLibrary library;
    return library;
}

} // namespace Doubles

using Doubles::programLibrary;

std::int32_t opCodeTableToken() {
    ++programLibrary().tokenCalls;
    return programLibrary().token;
}

std::int32_t opCodeArity(OpCode op) {
    ++programLibrary().arityCalls;
    return programLibrary().arities.at(static_cast<std::uint32_t>(op));
}

std::int32_t FenletProgram::registerCount() const {
    ++programLibrary().countCalls;
    return programLibrary().registerCount.value_or(static_cast<std::int32_t>(registers.size()));
}

std::int32_t FenletProgram::instructionCount() const {
    ++programLibrary().countCalls;
    return programLibrary().instructionCount.value_or(
        static_cast<std::int32_t>(instructions.size()));
}

bool FenletProgram::isValidRegister(std::int32_t number) const {
    ++programLibrary().registerCalls;
    return number >= 0 && static_cast<std::size_t>(number) < registers.size();
}

const RegisterInfo& FenletProgram::registerInfo(std::int32_t number) const {
    ++programLibrary().registerCalls;
    return registers.at(static_cast<std::size_t>(number));
}

// Fails the test if `index` is not below the constant's multiplicity: the evaluator must not ask
// for such a component.
double Constant::realComponent(std::int32_t index) const {
    programLibrary().realComponentsAsked.push_back(index);
    return reals.at(static_cast<std::size_t>(index));
}

std::int64_t Constant::integralComponent(std::int32_t index) const {
    programLibrary().integralComponentsAsked.push_back(index);
    return integers.at(static_cast<std::size_t>(index));
}

} // namespace Fenlet
