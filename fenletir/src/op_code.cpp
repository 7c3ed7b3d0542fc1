#include "op_codes.h"

namespace Fenlet {

std::int32_t opCodeTableToken() {
    // Change this token whenever you add, remove or renumber an opcode.
    return 6155;
}

std::int32_t opCodeArity(OpCode op) {
    return factsOf(op).arity;
}

const char* opCodeName(OpCode op) {
    return isOpCode(op) ? factsOf(op).name : "Unknown";
}

} // namespace Fenlet
