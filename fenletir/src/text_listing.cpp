// Writes a program as text. An instruction that the usual notation cannot express, for example one
// with a register number that does not exist, is written in the raw notation.
#include "op_codes.h"
#include "text_words.h"

#include <fenletir/text.h>

#include <algorithm>
#include <map>

namespace Fenlet {
namespace {

using namespace Text;

/// A cell wider than this does not widen its column, so that one long name does not stretch all
/// lines.
constexpr std::size_t widestColumn = 24;

template <class Entry>
bool contains(const std::vector<Entry>& pool, std::int32_t number) {
    return number >= 0 && static_cast<std::size_t>(number) < pool.size();
}

std::string numbered(char mark, std::int32_t number) {
    return mark + std::to_string(number);
}

/// How to refer to the entries of a pool: by name if the name is unique, else by number.
class References {
  public:
    template <class Entry>
    References(const std::vector<Entry>& pool, char newMark) : mark(newMark) {
        for (const Entry& entry : pool) {
            names.push_back(entry.name);
            ++uses[entry.name];
        }
    }

    std::string operator[](std::int32_t number) const {
        const std::string& name = names[static_cast<std::size_t>(number)];
        const bool isTelling = !name.empty() && uses.at(name) == 1;
        return isTelling ? nameText(name) : numbered(mark, number);
    }

  private:
    char mark;
    std::vector<std::string> names;
    std::map<std::string, std::size_t> uses;
};

/// The columns of a line that writes a register. Empty cells are left blank.
struct Row {
    std::string number;
    std::string name;
    std::string type;
    std::string rest;      ///< from the equals sign on
    std::string note = {}; ///< a comment; may be empty
};

void widen(std::size_t& column, const std::string& cell) {
    const std::size_t width = characterCount(cell);
    if (width <= widestColumn)
        column = std::max(column, width);
}

/// Rows with aligned columns.
class Table {
  public:
    void add(Row row) {
        widen(numberWidth, row.number);
        widen(nameWidth, row.name);
        widen(typeWidth, row.type);
        widen(restWidth, row.rest);
        rows.push_back(std::move(row));
    }

    void write(std::string& text, const std::string& prefix) const {
        for (const Row& row : rows) {
            const bool isWhole = row.number.empty();
            text += isWhole ? row.rest : prefix + line(row);
            if (!row.note.empty()) {
                const std::size_t taken = characterCount(row.rest) + (isWhole ? restWidth : 0);
                text.append(restWidth > taken ? restWidth - taken : 0, ' ');
                text += "  # " + row.note;
            }
            text += '\n';
        }
    }

  private:
    static void pad(std::string& text, const std::string& cell, std::size_t width) {
        text += cell;
        const std::size_t taken = characterCount(cell);
        text.append(width > taken ? width - taken : 0, ' ');
    }

    std::string line(const Row& row) const {
        std::string text;
        pad(text, row.number, numberWidth);
        if (nameWidth > 0 || !row.name.empty()) {
            text += ' ';
            pad(text, row.name, nameWidth);
        }
        if (typeWidth > 0 || !row.type.empty()) {
            text += row.type.empty() ? "   " : " : ";
            pad(text, row.type, row.rest.empty() ? 0 : typeWidth);
        }
        return row.rest.empty() ? text : text + " = " + row.rest;
    }

    std::vector<Row> rows;
    std::size_t numberWidth = 0;
    std::size_t nameWidth = 0;
    std::size_t typeWidth = 0;
    std::size_t restWidth = 0;
};

/// Where a register is declared in the listing: not yet, on a separate line above the instructions,
/// or by the instruction that writes it.
enum class Declared { Nowhere, Above, ByInstruction };

class Listing {
  public:
    explicit Listing(const FenletProgram& newProgram, std::string_view newSource = {},
                     const std::vector<SourceSpan>* newPlaces = nullptr)
        : program(newProgram),
          source(newSource),
          places(newPlaces),
          registerNames(program.registers, '%'),
          fieldNames(program.fields, '@'),
          uniformNames(program.uniforms, '@'),
          samplerNames(program.samplers, '@'),
          declared(program.registers.size(), Declared::Nowhere) {}

    std::string write() {
        hasInlineConstants = constantsComeInOrder();
        writePools();
        // The first plain instruction that writes a register declares it. If an earlier instruction
        // reads the register, or no plain instruction writes it, a separate line above declares it.
        Table instructions;
        std::size_t number = 0;
        for (const Instruction& instruction : program.instructions) {
            Row row = instructionRow(instruction);
            row.note = noteOf(number++);
            instructions.add(std::move(row));
        }
        writeRegisters();
        instructions.write(text, "");
        endGroup();
        writeOutputs();
        return text;
    }

  private:
    /// Writes an empty line if anything was written since the last call.
    void endGroup() {
        if (text.size() > groupBegin)
            text += '\n';
        groupBegin = text.size();
    }

    template <class Entry>
    void writeNames(const char* keyword, const std::vector<Entry>& pool) {
        for (const Entry& entry : pool)
            text += std::string(keyword) + " " + nameText(entry.name) + "\n";
    }

    void writePools() {
        writeNames("field", program.fields);
        writeNames("uniform", program.uniforms);
        writeNames("sampler", program.samplers);
        endGroup();
        if (hasInlineConstants)
            return;
        std::int32_t number = 0;
        for (const Constant& constant : program.constants)
            text += "constant " + numbered('@', number++) + " = " + constantText(constant) + "\n";
        endGroup();
    }

    void writeRegisters() {
        Table table;
        for (std::int32_t number = 0; number < program.registerCount(); ++number)
            if (declared[static_cast<std::size_t>(number)] != Declared::ByInstruction)
                table.add(registerRow(number));
        table.write(text, "register ");
        endGroup();
    }

    void writeOutputs() {
        for (std::int32_t number = 0; number < program.registerCount(); ++number)
            if (program.registerInfo(number).output)
                text += "output " + registerNames[number] + "\n";
        if (text.size() == groupBegin && !text.empty())
            text.pop_back();
    }

    /// Whether each constant is loaded exactly once, in the order of the pool. If so, the listing
    /// writes each constant where it is loaded: the reader numbers constants in that order.
    bool constantsComeInOrder() const {
        std::int32_t next = 0;
        for (const Instruction& instruction : program.instructions)
            if (instruction.op == OpCode::LoadConstant && isPlain(instruction) &&
                instruction.immediate != next++)
                return false;
        return static_cast<std::size_t>(next) == program.constants.size();
    }

    bool hasPlainImmediate(const Instruction& instruction) const {
        switch (factsOf(instruction.op).shape) {
        case OperandShape::Constant:
            return contains(program.constants, instruction.immediate);
        case OperandShape::Uniform:
            return contains(program.uniforms, instruction.immediate);
        case OperandShape::Field:
            return contains(program.fields, instruction.immediate);
        case OperandShape::Sampler:
            return contains(program.samplers, instruction.immediate);
        case OperandShape::Component:
            return true;
        case OperandShape::Nothing:
        case OperandShape::Registers:
            break;
        }
        return instruction.immediate == -1;
    }

    /// Whether the opcode's usual notation describes the instruction completely.
    bool isPlain(const Instruction& instruction) const {
        if (!isOpCode(instruction.op) || !hasPlainImmediate(instruction))
            return false;
        const bool isNop = instruction.op == OpCode::Nop;
        if (isNop ? instruction.result != noRegister : !program.isValidRegister(instruction.result))
            return false;
        const std::int32_t arity = opCodeArity(instruction.op);
        for (std::int32_t slot = 0; slot < 3; ++slot) {
            const std::int32_t operand = instruction.operands[slot];
            if (slot < arity ? !program.isValidRegister(operand) : operand != noRegister)
                return false;
        }
        return true;
    }

    static std::string rawText(const Instruction& instruction) {
        const std::int32_t* operands = instruction.operands;
        return "raw " + opCodeText(instruction.op) + " " + numbered('%', instruction.result) +
               " (" + numbered('%', operands[0]) + ", " + numbered('%', operands[1]) + ", " +
               numbered('%', operands[2]) + ") " + std::to_string(instruction.immediate);
    }

    std::string constantReference(std::int32_t number) const {
        return hasInlineConstants
                   ? constantText(program.constants[static_cast<std::size_t>(number)])
                   : numbered('@', number);
    }

    static std::string registerList(const Instruction& instruction) {
        std::string list;
        for (std::int32_t slot = 0; slot < opCodeArity(instruction.op); ++slot)
            list += (slot > 0 ? ", " : "") + numbered('%', instruction.operands[slot]);
        return list;
    }

    /// The operands, as written after the opcode's name; empty if there are none.
    std::string operandText(const Instruction& instruction) const {
        const std::int32_t immediate = instruction.immediate;
        const std::string operand = numbered('%', instruction.operands[0]);
        switch (factsOf(instruction.op).shape) {
        case OperandShape::Nothing:
            break;
        case OperandShape::Constant:
            return constantReference(immediate);
        case OperandShape::Uniform:
            return uniformNames[immediate];
        case OperandShape::Field:
            return fieldNames[immediate] + "[" + operand + "]";
        case OperandShape::Sampler:
            return samplerNames[immediate] + "[" + operand + "]";
        case OperandShape::Component:
            return operand + "[" + std::to_string(immediate) + "]";
        case OperandShape::Registers:
            return registerList(instruction);
        }
        return "";
    }

    Row registerRow(std::int32_t number) const {
        const RegisterInfo& info = program.registerInfo(number);
        return {numbered('%', number), info.name.empty() ? "" : nameText(info.name), typeText(info),
                ""};
    }

    /// Returns the row of the instruction, and records where the registers that the instruction
    /// names are declared.
    Row instructionRow(const Instruction& instruction) {
        if (!isPlain(instruction))
            return {"", "", "", rawText(instruction)};
        if (instruction.op == OpCode::Nop)
            return {"", "", "", opCodeName(instruction.op)};
        for (std::int32_t slot = 0; slot < opCodeArity(instruction.op); ++slot) {
            Declared& operand = declared[static_cast<std::size_t>(instruction.operands[slot])];
            if (operand == Declared::Nowhere)
                operand = Declared::Above;
        }
        Declared& result = declared[static_cast<std::size_t>(instruction.result)];
        Row row = {numbered('%', instruction.result), "", "", ""};
        if (result == Declared::Nowhere) {
            result = Declared::ByInstruction;
            row = registerRow(instruction.result);
        }
        const std::string operands = operandText(instruction);
        row.rest = opCodeName(instruction.op);
        if (!operands.empty())
            row.rest.append(" ").append(operands);
        return row;
    }

    /// The line and the piece of the source that the instruction came from; empty if unknown.
    std::string noteOf(std::size_t number) const {
        if (places == nullptr || number >= places->size() || (*places)[number].line == 0)
            return "";
        const SourceSpan& place = (*places)[number];
        std::string note = std::to_string(place.line);
        note += ": ";
        note += inOneLine(source.substr(std::min(place.offset, source.size()), place.bytes));
        return note;
    }

    const FenletProgram& program;
    std::string_view source;
    const std::vector<SourceSpan>* places;
    References registerNames;
    References fieldNames;
    References uniformNames;
    References samplerNames;
    std::vector<Declared> declared;
    bool hasInlineConstants = false;
    std::string text;
    std::size_t groupBegin = 0;
};

} // namespace

std::string listing(const FenletProgram& program) {
    return Listing(program).write();
}

std::string listing(const FenletProgram& program, std::string_view source,
                    const std::vector<SourceSpan>& places) {
    return Listing(program, source, &places).write();
}

} // namespace Fenlet
