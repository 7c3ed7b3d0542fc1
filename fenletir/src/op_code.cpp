#include "op_codes.h"

namespace Fenlet {

std::int32_t opCodeTableToken() {
    // Whoever adds, removes or renumbers an opcode chooses another token.
    return 6155;
}

std::int32_t opCodeArity(OpCode op) {
    return factsOf(op).arity;
}

const char* opCodeName(OpCode op) {
    return isOpCode(op) ? factsOf(op).name : "Unknown";
}

} // namespace Fenlet
