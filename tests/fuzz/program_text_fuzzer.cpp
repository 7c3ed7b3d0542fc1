// Reads any bytes as a program's text. The reader must give a program, or an error with a place. A
// listing of the program must read back as the same program.
#include "reached.h"

#include <fenletir/text.h>
#include <fenletir/verify.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace Fenlet;
    const ParseResult read = parseProgram({reinterpret_cast<const char*>(data), size});
    if (!read.ok()) {
        if (read.error.line < 1 || read.error.column < 1 || read.error.shown.empty())
            std::abort();
        return 0;
    }
    const std::string text = listing(read.program);
    const ParseResult again = parseProgram(text);
    if (!again.ok() || listing(again.program) != text)
        std::abort();
    verifyProgram(read.program);
    if (read.program.instructionCount() > 0)
        ++Fuzz::reached;
    return 0;
}
