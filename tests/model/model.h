// A second evaluator of the whole instruction set. It is deliberately naive: it works on one lane
// at a time, in ascending order, and on bytes in memory.
//
// Tests compare the evaluator with this model. The model shares no rules with the evaluator and
// lays out its own registers. It runs one step at a time, so that tests can compare the two after
// each step.
#pragma once

#include <fenletexec/interpreter.h>

#include <cstdint>
#include <string>
#include <vector>

namespace Fenlet::Model {

/// The model's result for a `configure` or for one step.
struct Verdict {
    ExecRefusal code = ExecRefusal::None;
    std::string message;

    bool refused() const { return code != ExecRefusal::None; }
};

/// A lane in which an operation made a NaN. The bits of this NaN are not defined.
struct OpenLane {
    std::size_t offset;
    CpuElementKind kind;
};

class Model {
  public:
    /// Plans `program` as the evaluator would.
    Verdict configure(const FenletProgram& program, int blockSize);

    /// Whether `bindings` has every provider that the program needs. Reports the first instruction
    /// whose provider is missing.
    Verdict checkBindings(const Bindings& bindings) const;

    /// Begins a block of `count` elements, all valid.
    void beginBlock(int count);

    /// Runs one instruction over the block.
    Verdict runInstruction(std::size_t number, const Bindings& bindings, long long blockStart);

    /// All areas of all registers.
    std::vector<unsigned char> storage;

    /// The lanes of the last instruction whose bits are not defined.
    std::vector<OpenLane> openLanes;

    /// Set if an instruction read an open lane that it had written itself. Its result is then
    /// unknown.
    bool ambiguous = false;

    /// Set if an instruction read or wrote outside the storage. Its result is then unknown.
    bool outside = false;

    /// If not null, receives the name of each kernel that runs: family, kinds, operation and shape.
    std::vector<std::string>* kernelsRun = nullptr;

  private:
    struct Register {
        CpuElementKind kind;
        int multiplicity;
        std::size_t data;
        std::size_t validity;
    };
    struct Operand {
        CpuElementKind kind = CpuElementKind::Unsupported;
        int multiplicity = 1;
        std::size_t data = 0;
        std::size_t validity = 0;
    };

    void forgetOpenLanes();
    Verdict planInstruction(const Instruction& instruction) const;
    Verdict checkMultiplicities(const Instruction& instruction) const;
    Verdict checkRules(const Instruction& instruction) const;
    Verdict runOpCode(const Instruction& instruction, const Bindings& bindings,
                      long long blockStart);

    const Register& reg(int number) const { return registers[static_cast<std::size_t>(number)]; }
    std::uint64_t read(CpuElementKind kind, std::size_t area, long long index);
    void write(CpuElementKind kind, std::size_t area, long long index, std::uint64_t bits);
    void writeOpen(CpuElementKind kind, std::size_t area, long long index, std::uint64_t bits);
    unsigned char readByte(std::size_t offset);
    void writeByte(std::size_t offset, unsigned char byte);
    std::uint64_t converted(CpuElementKind to, const Register& from, long long index);

    Verdict loadConstant(const Instruction& instruction);
    Verdict loadUniform(const Instruction& instruction, const Bindings& bindings);
    Verdict loadField(const Instruction& instruction, const Bindings& bindings,
                      long long blockStart);
    Verdict sample(const Instruction& instruction, const Bindings& bindings);
    Verdict component(const Instruction& instruction);
    Verdict unary(const Instruction& instruction);
    void negateLane(const Register& result, const Register& operand, long long lane);
    void lengthElement(const Register& result, const Register& operand, long long element);
    void booleanUnary(const Instruction& instruction);
    void booleanBinary(const Instruction& instruction);
    Verdict arithmetic(const Instruction& instruction);
    void arithmeticLane(OpCode op, const Register& result, int element, long long lane,
                        std::uint64_t left, std::uint64_t right);
    Verdict comparison(const Instruction& instruction);
    Verdict select(const Instruction& instruction);
    bool selectComponent(const Instruction& instruction, int element, int component,
                         unsigned char condition);
    void note(std::string kernel);

    const FenletProgram* program = nullptr;
    std::vector<Register> registers;
    std::vector<std::int64_t> indices;
    std::vector<bool> openBytes; ///< which bytes of the storage belong to open lanes
    int blockSize = 0;
    int count = 0;
};

} // namespace Fenlet::Model
