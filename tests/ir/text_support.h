// Shared by the tests of program text: random programs, right or wrong, and exact comparison.
#pragma once

#include <fenletir/program.h>

#include <cstdint>
#include <random>
#include <string>

namespace Fenlet::TextTests {

/// Every part of the program, bit for bit, as lines for failure messages. Two programs have the
/// same text if and only if they are equal. Shares no code with the listing.
std::string image(const FenletProgram& program);

/// Makes random programs. In some each instruction makes sense; in the others all records have
/// arbitrary contents.
class ProgramDice {
  public:
    explicit ProgramDice(std::uint64_t seed) : engine(seed) {}

    FenletProgram draw();
    std::uint64_t below(std::uint64_t count) { return engine() % count; }

  private:
    bool oneIn(std::uint64_t count) { return below(count) == 0; }
    std::int32_t anyInt();
    std::int32_t index(std::size_t count, bool isTidy);
    std::string name(bool isTidy);
    double real();
    std::int64_t integer();
    Constant constant(bool isTidy);
    RegisterInfo registerInfo(bool isTidy);
    std::int32_t pooled(const FenletProgram& program, OpCode op, bool isTidy);
    Instruction instruction(const FenletProgram& program, bool isTidy);

    std::mt19937_64 engine;
};

} // namespace Fenlet::TextTests
