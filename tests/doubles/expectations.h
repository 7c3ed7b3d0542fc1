// Functions that check the refusals of an interpreter.
#pragma once

#include <fenletexec/interpreter.h>

#include <gtest/gtest.h>

namespace Fenlet::Doubles {

/// Expects this reason with this exact message. A null message means that there must be none.
inline void expectReason(const Interpreter& interpreter, ExecRefusal code, const char* message) {
    EXPECT_EQ(interpreter.lastRefusal(), code)
        << execRefusalName(interpreter.lastRefusal()) << " instead of " << execRefusalName(code);
    EXPECT_STREQ(interpreter.lastRefusalMessage(), message);
}

inline void expectNoPlan(const Interpreter& interpreter) {
    EXPECT_FALSE(interpreter.isConfigured());
    EXPECT_TRUE(interpreter.plan().empty());
}

/// Expects `configure` to refuse the program with this message and to leave no plan.
inline void expectConfigureRefuses(const FenletProgram& program, ExecRefusal code,
                                   const char* message, int blockSize = 4) {
    Interpreter interpreter;
    EXPECT_FALSE(interpreter.configure(program, blockSize));
    expectReason(interpreter, code, message);
    expectNoPlan(interpreter);
}

inline void expectConfigures(const FenletProgram& program, int blockSize = 4) {
    Interpreter interpreter;
    EXPECT_TRUE(interpreter.configure(program, blockSize));
    expectReason(interpreter, ExecRefusal::None, nullptr);
    EXPECT_TRUE(interpreter.isConfigured());
}

} // namespace Fenlet::Doubles
