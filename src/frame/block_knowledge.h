// What a run knows of the current block, so that no step has to look again.
//
// Validity is passed from operands to results at every step, and in most programs every byte of it
// is 1; fields are read at numbers that are the block's own, or at the same ones as the field
// before. Each of these is found out once and then remembered for as long as no step changes it.
#pragma once

#include <fenletexec/interpreter.h>

namespace Fenlet {

class BlockKnowledge {
  public:
    /// Knows nothing and remembers nothing: for a step that runs by itself.
    BlockKnowledge() = default;

    /// Knows nothing as yet. `room` has a byte for each of `registerCount` registers.
    BlockKnowledge(unsigned char* room, int registerCount) : valid(room), count(registerCount) {
        forgetValidity();
    }

    /// Whether anything is remembered, so that it pays to find it out.
    bool remembers() const { return valid != nullptr; }

    /// Whether the register's validity is known to be 1 for every element of the block.
    bool isValid(int number) const { return valid != nullptr && valid[number] != 0; }
    void setValid(int number, bool isKnown) {
        if (valid != nullptr)
            valid[number] = isKnown ? 1 : 0;
    }

    /// A new block: what is known of validity still holds, element numbers are others.
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
    }

    /// A step may have written anywhere.
    void forget() {
        forgetValidity();
        beginBlock();
    }

    /// The register that holds the block's own element numbers.
    int ownNumbers = noRegister;

    /// The register whose values were last looked through as element numbers, and whether they were
    /// valid and ran on by one.
    int scanned = noRegister;
    bool scannedRunsOn = false;

  private:
    void forgetValidity() {
        for (int number = 0; number < count; ++number)
            valid[number] = 0;
    }

    unsigned char* valid = nullptr;
    int count = 0;
};

} // namespace Fenlet
