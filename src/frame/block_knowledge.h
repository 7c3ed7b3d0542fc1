// What a run knows about the current block. Steps use this knowledge to avoid work.
//
// Most programs have these properties. Every validity byte is 1, so a step need not combine the
// validity of its operands. Fields are read at the block's own element numbers, or at the same
// numbers as the field before. Constants and uniforms are the same in every block. A run finds out
// once whether such a property holds, and remembers it until a step changes it.
#pragma once

#include <fenletexec/interpreter.h>

#include <algorithm>

namespace Fenlet {

/// What is known about one register.
struct RegisterFacts {
    bool isValid = false; ///< every element of the block is valid: each validity byte is 1
    bool isAlike = false; ///< every element has the same value as the first
};

class BlockKnowledge {
  public:
    /// Knows nothing and remembers nothing. For a step that `runStep` runs outside a run.
    BlockKnowledge() = default;

    /// Knows nothing yet. Keeps its facts in `notes`, which has an entry for each register. `notes`
    /// must stay alive until the next `startOver`, or as long as this object.
    explicit BlockKnowledge(std::vector<RegisterFacts>& notes) { startOver(notes); }

    /// Forgets everything and continues with these notes.
    void startOver(std::vector<RegisterFacts>& notes) {
        facts = notes.data();
        tracked = static_cast<unsigned>(notes.size());
        forget();
    }

    /// Forgets everything and remembers nothing until `startOver`. Called when another run may have
    /// changed the registers and the notes.
    void stop() {
        tracked = 0;
        beginBlock();
    }

    /// Whether facts about the register can be remembered.
    bool remembers(int number) const { return static_cast<unsigned>(number) < tracked; }

    /// Whether every element of the register is known to be valid.
    bool isValid(int number) const { return remembers(number) && facts[number].isValid; }
    void setValid(int number, bool isKnown) {
        if (remembers(number))
            facts[number].isValid = isKnown;
    }

    /// Whether every element of the register is known to equal the first.
    bool isAlike(int number) const { return remembers(number) && facts[number].isAlike; }

    /// Calls `makeValid(number)` for each of the first `count` registers that is not known to be
    /// valid, and notes that the register is valid now.
    template <class MakeValid>
    void makeAllValid(int count, MakeValid makeValid) {
        RegisterFacts* const notes = facts;
        const int remembered = std::min(count, static_cast<int>(tracked));
        for (int number = 0; number < remembered; ++number)
            if (!notes[number].isValid) {
                makeValid(number);
                notes[number].isValid = true;
            }
        for (int number = remembered; number < count; ++number)
            makeValid(number);
    }

    /// Starts a block. Facts about registers still hold, but element numbers have changed.
    void beginBlock() {
        ownNumbers = noRegister;
        scanned = noRegister;
    }

    /// Call this after a step has written the register's values.
    void changed(int number) {
        if (ownNumbers == number)
            ownNumbers = noRegister;
        if (scanned == number)
            scanned = noRegister;
        if (remembers(number))
            facts[number].isAlike = false;
    }

    /// Call this after a step with this opcode has filled the register.
    void filled(int number, OpCode op) {
        if (op == OpCode::ElementIndex)
            ownNumbers = number;
        else if ((op == OpCode::LoadConstant || op == OpCode::LoadUniform) && remembers(number))
            facts[number].isAlike = true;
    }

    /// Forgets everything. Call this if a step may have written to any register.
    void forget() {
        std::fill_n(facts, tracked, RegisterFacts());
        beginBlock();
    }

    /// The register that holds the block's own element numbers; `noRegister` if none is known.
    int ownNumbers = noRegister;

    /// The register that was last examined as element numbers, and the answer: whether its elements
    /// are all valid and its numbers ascend by one.
    int scanned = noRegister;
    bool scannedRunsOn = false;

  private:
    RegisterFacts* facts = nullptr;
    unsigned tracked = 0;
};

} // namespace Fenlet
