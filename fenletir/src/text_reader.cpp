// Reads a program's text: one statement per line, each name declared before its use.
#include "op_codes.h"
#include "text_registers.h"
#include "text_values.h"
#include "text_words.h"

#include <fenletir/text.h>

#include <limits>

namespace Fenlet {
namespace {

using namespace Text;

/// The fields, uniforms or samplers of a text. A text either declares all entries on lines before
/// the first use, so that a misspelt name is an error, or declares none, and each is then declared
/// by its first use.
template <class Entry>
struct Pool {
    const char* word;
    std::vector<Entry> entries;
    NameTable names;
    std::optional<std::size_t> firstUse; ///< offset of the first declaration by use

    std::int32_t add(const std::string& name) {
        const auto number = static_cast<std::int32_t>(entries.size());
        entries.push_back({name});
        names.add(name, number);
        return number;
    }

    bool readDeclaration(TextCursor& cursor) {
        cursor.skipSpace();
        const std::size_t begin = cursor.offset();
        const std::optional<std::string> name = cursor.name("elevation");
        if (!name)
            return false;
        if (firstUse)
            return cursor.fail(
                begin, std::string("a ") + word +
                           " cannot be declared after the first use of one, in line " +
                           std::to_string(cursor.lineOf(*firstUse)) + "; declare all above it");
        add(*name);
        return true;
    }

    std::optional<std::int32_t> readNumber(TextCursor& cursor, std::size_t begin) const {
        const auto number =
            cursor.number<std::int32_t>((std::string("the number of a ") + word).c_str());
        if (!number || (*number >= 0 && static_cast<std::size_t>(*number) < entries.size()))
            return number;
        cursor.fail(begin, std::string("no ") + word + " @" + std::to_string(*number) +
                               " is declared above");
        return std::nullopt;
    }

    /// Reads the name or number of an entry. Returns the number.
    std::optional<std::int32_t> readReference(TextCursor& cursor) {
        cursor.skipSpace();
        const std::size_t begin = cursor.offset();
        if (cursor.accept('@'))
            return readNumber(cursor, begin);
        const std::optional<std::string> name = cursor.name("elevation, @0");
        if (!name)
            return std::nullopt;
        const std::int32_t number = names.find(*name);
        if (number >= 0)
            return number;
        if (number == NameTable::none && (entries.empty() || firstUse)) {
            firstUse = firstUse.value_or(begin);
            return add(*name);
        }
        const bool isSeveral = number == NameTable::several;
        cursor.fail(begin, isSeveral ? std::string("several ") + word + "s are named " +
                                           cited(*name) + "; use a number such as @0 instead"
                                     : std::string("no ") + word + " " + cited(*name) +
                                           " is declared above" + names.nearest(*name));
        return std::nullopt;
    }
};

class Reader {
  public:
    explicit Reader(std::string_view text) : cursor(text) {}

    ParseResult read() {
        ParseResult result;
        for (int line = 1; !cursor.isAtTextEnd() && readLine();) {
            result.lines.resize(program.instructions.size(), line);
            result.places.resize(program.instructions.size(),
                                 {lastStatement.offset, lastStatement.bytes, line});
            cursor.nextLine();
            line += line < std::numeric_limits<int>::max();
        }
        if (!cursor.hasFailed()) {
            if (auto all = registers.finish(cursor))
                program.registers = std::move(*all);
        }
        if (cursor.hasFailed()) {
            result.lines.clear();
            result.places.clear();
            result.error = cursor.error();
            return result;
        }
        program.fields = std::move(fields.entries);
        program.uniforms = std::move(uniforms.entries);
        program.samplers = std::move(samplers.entries);
        result.program = std::move(program);
        return result;
    }

  private:
    bool readLine() {
        if (cursor.isAtLineEnd())
            return true;
        lastStatement.offset = cursor.offset();
        if (!readStatement())
            return false;
        lastStatement.bytes = cursor.offset() - lastStatement.offset;
        return cursor.isAtLineEnd() || cursor.failExpecting("the end of the line");
    }

    bool readStatement() {
        if (cursor.peek() == '%' || cursor.peek() == '"')
            return readInstruction();
        const std::size_t begin = cursor.offset();
        const std::string_view keyword = cursor.bareName();
        // No word is reserved. A register can be called `field`, and a line that writes this
        // register begins with `field`, too.
        if (cursor.peek() == ':' || cursor.peek() == '=' || keyword.empty()) {
            cursor.goBack(begin);
            return cursor.isAtName() ? readInstruction()
                                     : cursor.failExpecting("a declaration or an instruction");
        }
        return readKeyword(begin, keyword);
    }

    bool readKeyword(std::size_t begin, std::string_view keyword) {
        const struct {
            std::string_view keyword;
            bool (Reader::*read)();
        } statements[] = {
            {"field", &Reader::readField},       {"uniform", &Reader::readUniform},
            {"sampler", &Reader::readSampler},   {"constant", &Reader::readConstantLine},
            {"register", &Reader::readRegister}, {"output", &Reader::readOutput},
            {"raw", &Reader::readRaw},           {"Nop", &Reader::readNop},
        };
        for (const auto& statement : statements)
            if (statement.keyword == keyword)
                return (this->*statement.read)();
        cursor.goBack(begin);
        if (findOpCode(keyword))
            return cursor.failExpecting("the register to write, such as \"height : f32 =\"");
        return readInstruction();
    }

    bool readField() { return fields.readDeclaration(cursor); }
    bool readUniform() { return uniforms.readDeclaration(cursor); }
    bool readSampler() { return samplers.readDeclaration(cursor); }

    /// Reads a line such as: constant @0 = 0.5
    bool readConstantLine() {
        const std::string next = std::string("@") + std::to_string(program.constants.size());
        if (!cursor.accept('@'))
            return cursor.failExpecting("the number of this constant, " + next);
        const std::size_t begin = cursor.offset();
        const auto number = cursor.number<std::uint32_t>("the number of this constant");
        if (!number)
            return false;
        if (*number != program.constants.size())
            return cursor.fail(begin, "constants are numbered in order; this one is " + next);
        return cursor.expect('=', "before the value of a constant") && appendConstant();
    }

    bool appendConstant() {
        std::optional<Constant> constant = readConstant(cursor);
        if (constant)
            program.constants.push_back(std::move(*constant));
        return constant.has_value();
    }

    /// Reads a line such as: register %3 height : f32
    bool readRegister() {
        const std::optional<Target> target = registers.readTarget(cursor);
        if (!target)
            return false;
        if (target->existing)
            return cursor.fail(target->offset,
                               registers.declaredAlready(cursor, *target->existing));
        return registers.declare(cursor, *target).has_value();
    }

    bool readOutput() {
        cursor.skipSpace();
        const std::size_t begin = cursor.offset();
        const std::optional<std::int32_t> number = registers.readReference(cursor);
        if (!number)
            return false;
        return registers.markOutput(*number) ||
               cursor.fail(begin, "register %" + std::to_string(*number) + " is already an output");
    }

    bool readNop() {
        program.instructions.emplace_back();
        return true;
    }

    /// Reads a line such as: raw Add %1 (%2, %900, %-1) -1
    bool readRaw() {
        Instruction instruction;
        const std::optional<OpCode> op = readOpCodeNameOrNumber();
        if (!op || !readRawRegister(instruction.result) ||
            !cursor.expect('(', "before three operands"))
            return false;
        for (std::int32_t slot = 0; slot < 3; ++slot) {
            if (slot > 0 && !cursor.expect(',', "between operands"))
                return false;
            if (!readRawRegister(instruction.operands[slot]))
                return false;
        }
        if (!cursor.expect(')', "after three operands"))
            return false;
        cursor.skipSpace();
        const auto immediate = cursor.number<std::int32_t>("the immediate");
        if (!immediate)
            return false;
        instruction.op = *op;
        instruction.immediate = *immediate;
        program.instructions.push_back(instruction);
        return true;
    }

    /// Reads a register number, which need not exist.
    bool readRawRegister(std::int32_t& slot) {
        if (!cursor.accept('%'))
            return cursor.failExpecting("a register number such as %3 or %-1");
        const auto number = cursor.number<std::int32_t>("the register number");
        slot = number.value_or(noRegister);
        return number.has_value();
    }

    static std::optional<OpCode> findOpCode(std::string_view name) {
        for (std::uint32_t number = 0; number < opCodeCount; ++number)
            if (opCodeName(static_cast<OpCode>(number)) == name)
                return static_cast<OpCode>(number);
        return std::nullopt;
    }

    std::optional<OpCode> readOpCodeName() {
        cursor.skipSpace();
        const std::size_t begin = cursor.offset();
        const std::optional<OpCode> op = findOpCode(cursor.bareName());
        if (op)
            return op;
        cursor.goBack(begin);
        NearName near(cursor.nextWord());
        for (std::uint32_t number = 0; number < opCodeCount; ++number)
            near.consider(opCodeName(static_cast<OpCode>(number)));
        cursor.failExpecting("an opcode such as Add or LoadField", near);
        return std::nullopt;
    }

    std::optional<OpCode> readOpCodeNameOrNumber() {
        if (!isDigit(cursor.peek()))
            return readOpCodeName();
        const auto number = cursor.number<std::uint32_t>("the opcode number");
        return number ? std::optional(static_cast<OpCode>(*number)) : std::nullopt;
    }

    /// Reads a line such as: height : f32 = LoadField elevation[%3]
    bool readInstruction() {
        const std::optional<Target> target = registers.readTarget(cursor);
        if (!target || !cursor.expect('=', "before an opcode"))
            return false;
        cursor.skipSpace();
        const std::size_t begin = cursor.offset();
        const std::optional<OpCode> op = readOpCodeName();
        if (!op)
            return false;
        if (*op == OpCode::Nop)
            return cursor.fail(begin, "Nop has no result; write it alone on its line");
        Instruction instruction;
        instruction.op = *op;
        if (!readOperands(instruction))
            return false;
        // The result is declared after the operands were read, because an instruction cannot read
        // the register that it declares.
        const std::optional<std::int32_t> result = registers.declare(cursor, *target);
        if (!result)
            return false;
        instruction.result = *result;
        program.instructions.push_back(instruction);
        return true;
    }

    static bool take(std::int32_t& slot, std::optional<std::int32_t> number) {
        slot = number.value_or(-1);
        return number.has_value();
    }

    bool readOperand(Instruction& instruction, std::int32_t slot) {
        return take(instruction.operands[slot], registers.readReference(cursor));
    }

    bool readOperands(Instruction& instruction) {
        std::int32_t& immediate = instruction.immediate;
        switch (factsOf(instruction.op).shape) {
        case OperandShape::Nothing:
            return true;
        case OperandShape::Constant:
            return readConstantReference(immediate);
        case OperandShape::Uniform:
            return take(immediate, uniforms.readReference(cursor));
        case OperandShape::Field:
            return take(immediate, fields.readReference(cursor)) &&
                   cursor.expect('[', "before the element number") && readOperand(instruction, 0) &&
                   cursor.expect(']', "after the element number");
        case OperandShape::Sampler:
            return take(immediate, samplers.readReference(cursor)) &&
                   cursor.expect('[', "before the coordinates") && readOperand(instruction, 0) &&
                   cursor.expect(']', "after the coordinates");
        case OperandShape::Component:
            return readOperand(instruction, 0) && readComponentNumber(immediate);
        case OperandShape::Registers:
            break;
        }
        for (std::int32_t slot = 0; slot < opCodeArity(instruction.op); ++slot)
            if ((slot > 0 && !cursor.expect(',', "before the next operand")) ||
                !readOperand(instruction, slot))
                return false;
        return true;
    }

    bool readComponentNumber(std::int32_t& immediate) {
        if (!cursor.expect('[', "before the component number"))
            return false;
        cursor.skipSpace();
        return take(immediate, cursor.number<std::int32_t>("the component number")) &&
               cursor.expect(']', "after the component number");
    }

    /// Reads either the number of a constant, or a value. A value becomes a new constant.
    bool readConstantReference(std::int32_t& immediate) {
        cursor.skipSpace();
        const std::size_t begin = cursor.offset();
        const std::size_t count = program.constants.size();
        if (!cursor.accept('@')) {
            immediate = static_cast<std::int32_t>(count);
            return appendConstant();
        }
        if (!take(immediate, cursor.number<std::int32_t>("the number of a constant")))
            return false;
        return (immediate >= 0 && static_cast<std::size_t>(immediate) < count) ||
               cursor.fail(begin,
                           "no constant @" + std::to_string(immediate) + " is declared above");
    }

    TextCursor cursor;
    SourceSpan lastStatement;
    FenletProgram program;
    RegisterTable registers;
    Pool<FieldBinding> fields{"field", {}, {}, {}};
    Pool<UniformDeclaration> uniforms{"uniform", {}, {}, {}};
    Pool<SamplerDeclaration> samplers{"sampler", {}, {}, {}};
};

} // namespace

ParseResult parseProgram(std::string_view text) {
    return Reader(text).read();
}

} // namespace Fenlet
