// Runs every test of an executable with the kernels of one instruction set, named in
// FENLET_TEST_SET.
#include "kernels/target/sets.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>

namespace Fenlet {
namespace {

// Ends the process if the machine cannot run the set. Skipping all tests instead would count as
// success.
class NamedSet : public testing::Environment {
    void SetUp() override {
        const char* const name = std::getenv("FENLET_TEST_SET");
        if (name == nullptr)
            return;
        for (int number = 0; number < instructionSetCount; ++number)
            if (std::strcmp(instructionSetNames[number], name) == 0 &&
                chooseInstructionSet(static_cast<InstructionSet>(number)))
                return;
        std::fprintf(stderr, "FENLET_TEST_SET: error: %s is no instruction set of this machine\n",
                     name);
        std::exit(EXIT_FAILURE);
    }
};

const testing::Environment* const namedSet = testing::AddGlobalTestEnvironment(new NamedSet);

} // namespace
} // namespace Fenlet
