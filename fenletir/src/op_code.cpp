#include <fenletir/op_code.h>

namespace Fenlet {
namespace {

struct OpCodeRow {
    const char* name;
    std::int32_t arity;
};

// In the order of the enumeration: the row's position is the opcode's number.
constexpr OpCodeRow opCodeTable[] = {
    {"Nop", 0},       {"ElementIndex", 0}, {"LoadConstant", 0}, {"LoadUniform", 0},
    {"LoadField", 1}, {"Sample", 1},       {"Component", 1},    {"Negate", 1},
    {"Not", 1},       {"Length", 1},       {"IsTrue", 1},       {"Add", 2},
    {"Subtract", 2},  {"Multiply", 2},     {"Divide", 2},       {"Less", 2},
    {"LessEqual", 2}, {"Greater", 2},      {"GreaterEqual", 2}, {"Equal", 2},
    {"NotEqual", 2},  {"And", 2},          {"Or", 2},           {"Select", 3},
};
static_assert(sizeof opCodeTable / sizeof opCodeTable[0] == opCodeCount);

bool isOpCode(OpCode op) {
    return static_cast<std::uint32_t>(op) < opCodeCount;
}

} // namespace

std::int32_t opCodeTableToken() {
    // Belongs to the table above. Whoever adds, removes or renumbers an opcode chooses another one.
    return 6155;
}

std::int32_t opCodeArity(OpCode op) {
    return isOpCode(op) ? opCodeTable[static_cast<std::uint32_t>(op)].arity : 0;
}

const char* opCodeName(OpCode op) {
    return isOpCode(op) ? opCodeTable[static_cast<std::uint32_t>(op)].name : "Unknown";
}

} // namespace Fenlet
