// Runs every test of an executable with the kernels of one instruction set, named in
// FENLET_TEST_SET.
#include "kernels/target/sets.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <string>

namespace Fenlet {
namespace {

class NamedSet : public testing::Environment {
    void SetUp() override {
        const char* const name = std::getenv("FENLET_TEST_SET");
        if (name == nullptr)
            return;
        const std::string names[] = {"Baseline", "Avx2", "Avx512"};
        for (int number = 0; number < 3; ++number)
            if (names[number] == name) {
                ASSERT_TRUE(chooseInstructionSet(static_cast<InstructionSet>(number)))
                    << name << " is not on this machine";
                return;
            }
        FAIL() << "FENLET_TEST_SET names no instruction set: " << name;
    }
};

const testing::Environment* const namedSet = testing::AddGlobalTestEnvironment(new NamedSet);

} // namespace
} // namespace Fenlet
