// What a run knows of the current block, so that no step has to look again.
//
// Validity is passed from operands to results at every step, and in most programs every byte of it
// is 1; fields are read at numbers that are the block's own, or at the same ones as the field
// before; constants and uniforms are what they were in the block before. Each of these is found out
// once and then remembered for as long as no step changes it.
#pragma once

#include <fenletexec/interpreter.h>

namespace Fenlet {

class BlockKnowledge {
  public:
    /// Knows nothing and remembers nothing: for a step that runs by itself.
    BlockKnowledge() = default;

    /// Knows nothing as yet. It remembers the validity of the first registers, for which there is
    /// room without memory of its own.
    explicit BlockKnowledge(int registerCount) { startOver(registerCount); }

    /// Knows nothing again, and of other registers.
    void startOver(int registerCount) {
        tracked = static_cast<unsigned>(registerCount < room ? registerCount : room);
        forget();
    }

    /// Whether the register's validity is remembered, so that it pays to find it out.
    bool remembers(int number) const { return static_cast<unsigned>(number) < tracked; }

    /// Whether the register's validity is known to be 1 for every element of the block.
    bool isValid(int number) const { return remembers(number) && facts[number].isValid; }
    void setValid(int number, bool isKnown) {
        if (remembers(number))
            facts[number].isValid = isKnown;
    }

    /// Whether every element of the register is known to have the same value as the first.
    bool isAlike(int number) const { return remembers(number) && facts[number].isAlike; }

    /// A new block: what is known of a register still holds, element numbers are others.
    void beginBlock() {
        ownNumbers = noRegister;
        scanned = noRegister;
    }

    /// A step has written the register's values.
    void changed(int number) {
        if (ownNumbers == number)
            ownNumbers = noRegister;
        if (scanned == number)
            scanned = noRegister;
        if (remembers(number))
            facts[number].isAlike = false;
    }

    /// What a step with this opcode has filled its result with.
    void filled(int number, OpCode op) {
        if (op == OpCode::ElementIndex)
            ownNumbers = number;
        else if ((op == OpCode::LoadConstant || op == OpCode::LoadUniform) && remembers(number))
            facts[number].isAlike = true;
    }

    /// A step may have written anywhere.
    void forget() {
        for (unsigned number = 0; number < tracked; ++number)
            facts[number] = {false, false};
        beginBlock();
    }

    /// The register that holds the block's own element numbers.
    int ownNumbers = noRegister;

    /// The register whose values were last looked through as element numbers, and whether they were
    /// valid and ran on by one.
    int scanned = noRegister;
    bool scannedRunsOn = false;

  private:
    struct Facts {
        bool isValid;
        bool isAlike;
    };

    static constexpr int room = 512;
    unsigned tracked = 0;
    Facts facts[room]; // written and read as far as they are tracked
};

} // namespace Fenlet
