// A second evaluator of the whole instruction set, deliberately naive.
#include "model.h"

#include "exact_arithmetic.h"
#include "exact_number.h"

#include <cstring>

namespace Fenlet::Model {
namespace {

using Kind = CpuElementKind;

bool isArithmeticKind(Kind kind) {
    return kind == Kind::Int32 || isFloatKind(kind);
}

bool isNumeric(Kind kind) {
    return kind == Kind::Int64 || isArithmeticKind(kind);
}

bool isComparison(OpCode op) {
    return op >= OpCode::Less && op <= OpCode::NotEqual;
}

Kind kindOf(RegisterFormat format) {
    constexpr Kind kinds[] = {Kind::Tribool, Kind::Int32, Kind::Int32,   Kind::Int32,
                              Kind::Int64,   Kind::Half,  Kind::Float32, Kind::Float64};
    const auto number = static_cast<std::int32_t>(format);
    return number >= 0 && number < 8 ? kinds[number] : Kind::Unsupported;
}

std::size_t sizeOf(Kind kind) {
    constexpr std::size_t sizes[] = {0, 1, 4, 8, 2, 4, 8};
    return sizes[static_cast<int>(kind)];
}

std::size_t roundUp(std::size_t offset) {
    return (offset + 63) & ~std::size_t{63};
}

std::uint64_t bitsOf(double value) {
    std::uint64_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}

/// The kind in which an operation computes if its result has this kind.
Kind workingKind(Kind kind) {
    return kind == Kind::Half ? Kind::Float32 : kind;
}

ExactNumber operate(OpCode op, const ExactNumber& left, const ExactNumber& right) {
    switch (op) {
    case OpCode::Add:
        return add(left, right);
    case OpCode::Subtract:
        return subtract(left, right);
    case OpCode::Multiply:
        return multiply(left, right);
    default:
        return divide(left, right);
    }
}

/// Computes one operation. Both operands have the result's kind, which is a float kind.
std::uint64_t operateBits(OpCode op, Kind kind, std::uint64_t left, std::uint64_t right) {
    const ExactNumber exact = operate(op, decode(kind, left), decode(kind, right));
    const Kind working = workingKind(kind);
    return convertBits(kind, working, encodeFloat(exact, formatOf(working)));
}

std::uint64_t rootBits(Kind kind, std::uint64_t square) {
    const Kind working = workingKind(kind);
    const std::uint64_t root = encodeFloat(squareRoot(decode(kind, square)), formatOf(working));
    return convertBits(kind, working, root);
}

std::uint64_t operateIntegers(OpCode op, std::uint64_t left, std::uint64_t right) {
    const auto a = static_cast<std::int64_t>(static_cast<std::int32_t>(left));
    const auto b = static_cast<std::int64_t>(static_cast<std::int32_t>(right));
    std::int64_t exact = 0;
    if (op == OpCode::Add)
        exact = a + b;
    else if (op == OpCode::Subtract)
        exact = a - b;
    else if (op == OpCode::Multiply)
        exact = a * b;
    else if (b != 0)
        exact = a / b;
    return static_cast<std::uint64_t>(exact) & 0xFFFFFFFFu;
}

Kind comparisonKind(Kind left, Kind right) {
    // The order of the enumerators is the order of the ranks.
    return static_cast<int>(left) > static_cast<int>(right) ? left : right;
}

/// Compares two values: -1, 0 or 1, and 2 if one is a NaN.
int compareBits(Kind kind, std::uint64_t left, std::uint64_t right) {
    if (!isFloatKind(kind)) {
        const int shift = kind == Kind::Int32 ? 32 : 0;
        const auto a = static_cast<std::int64_t>(left << shift);
        const auto b = static_cast<std::int64_t>(right << shift);
        return a < b ? -1 : a > b ? 1 : 0;
    }
    if (isNan(kind, left) || isNan(kind, right))
        return 2;
    return compareFloatBits(formatOf(kind), left, right);
}

bool predicateHolds(OpCode op, int order) {
    switch (op) {
    case OpCode::Less:
        return order == -1;
    case OpCode::LessEqual:
        return order == -1 || order == 0;
    case OpCode::Greater:
        return order == 1;
    case OpCode::GreaterEqual:
        return order == 1 || order == 0;
    case OpCode::Equal:
        return order == 0;
    default:
        return order != 0;
    }
}

std::string nameOf(Kind kind) {
    return cpuElementKindName(kind);
}

} // namespace

// ---------------------------------------------------------------------------------------------
// Memory

unsigned char Model::readByte(std::size_t offset) {
    if (offset >= storage.size()) {
        outside = true;
        return 0;
    }
    return storage[offset];
}

void Model::writeByte(std::size_t offset, unsigned char byte) {
    if (offset >= storage.size())
        outside = true;
    else
        storage[offset] = byte;
}

std::uint64_t Model::read(Kind kind, std::size_t area, long long index) {
    const std::size_t start = area + static_cast<std::size_t>(index) * sizeOf(kind);
    if (start + sizeOf(kind) > storage.size()) {
        outside = true;
        return 0;
    }
    for (std::size_t byte = 0; byte < sizeOf(kind); ++byte)
        ambiguous = ambiguous || openBytes[start + byte];
    const auto whole = [&]<class Bits>(Bits bits) -> std::uint64_t {
        std::memcpy(&bits, storage.data() + start, sizeof bits);
        return bits;
    };
    switch (sizeOf(kind)) {
    case 1:
        return whole(std::uint8_t{});
    case 2:
        return whole(std::uint16_t{});
    case 4:
        return whole(std::uint32_t{});
    default:
        return whole(std::uint64_t{});
    }
}

void Model::write(Kind kind, std::size_t area, long long index, std::uint64_t bits) {
    const std::size_t start = area + static_cast<std::size_t>(index) * sizeOf(kind);
    if (start + sizeOf(kind) > storage.size()) {
        outside = true;
        return;
    }
    const auto put = [&]<class Bits>(Bits narrow) {
        std::memcpy(storage.data() + start, &narrow, sizeof narrow);
    };
    switch (sizeOf(kind)) {
    case 1:
        return put(static_cast<std::uint8_t>(bits));
    case 2:
        return put(static_cast<std::uint16_t>(bits));
    case 4:
        return put(static_cast<std::uint32_t>(bits));
    default:
        return put(bits);
    }
}

void Model::writeOpen(Kind kind, std::size_t area, long long index, std::uint64_t bits) {
    write(kind, area, index, bits);
    const std::size_t start = area + static_cast<std::size_t>(index) * sizeOf(kind);
    if (!isNan(kind, bits) || start + sizeOf(kind) > storage.size())
        return;
    openLanes.push_back({start, kind});
    for (std::size_t byte = 0; byte < sizeOf(kind); ++byte)
        openBytes[start + byte] = true;
}

void Model::forgetOpenLanes() {
    for (const OpenLane& lane : openLanes)
        for (std::size_t byte = 0; byte < sizeOf(lane.kind); ++byte)
            openBytes[lane.offset + byte] = false;
    openLanes.clear();
}

std::uint64_t Model::converted(Kind to, const Register& from, long long index) {
    return convertBits(to, from.kind, read(from.kind, from.data, index));
}

void Model::note(std::string kernel) {
    if (kernelsRun != nullptr)
        kernelsRun->push_back(std::move(kernel));
}

// ---------------------------------------------------------------------------------------------
// Planning

Verdict Model::configure(const FenletProgram& newProgram, int newBlockSize) {
    program = &newProgram;
    registers.clear();
    std::size_t cursor = 0;
    for (const RegisterInfo& info : program->registers) {
        const Kind kind = kindOf(info.format);
        if (kind == Kind::Unsupported)
            return {ExecRefusal::UnsupportedFormat, "a register format has no CPU storage"};
        if (info.multiplicity < 1)
            return {ExecRefusal::MultiplicityMismatch, "a register has non-positive multiplicity"};
        const std::size_t data = roundUp(cursor);
        const auto elements = static_cast<std::size_t>(newBlockSize < 0 ? 0 : newBlockSize);
        const std::size_t validity =
            roundUp(data + sizeOf(kind) * elements * static_cast<std::size_t>(info.multiplicity));
        cursor = validity + elements;
        registers.push_back({kind, info.multiplicity, data, validity});
    }
    if (newBlockSize < 1)
        return {ExecRefusal::ScratchRefused, "block size must be positive"};
    blockSize = newBlockSize;
    storage.assign(roundUp(cursor), 0);
    openLanes.clear();
    openBytes.assign(storage.size(), false);
    indices.assign(static_cast<std::size_t>(blockSize), 0);
    for (const Instruction& instruction : program->instructions)
        if (const Verdict verdict = planInstruction(instruction); verdict.refused())
            return verdict;
    for (const Instruction& instruction : program->instructions)
        if (const Verdict verdict = checkMultiplicities(instruction); verdict.refused())
            return verdict;
    for (const Instruction& instruction : program->instructions)
        if (const Verdict verdict = checkRules(instruction); verdict.refused())
            return verdict;
    return {};
}

Verdict Model::planInstruction(const Instruction& instruction) const {
    const auto isRegister = [this](int number) {
        return number >= 0 && static_cast<std::size_t>(number) < registers.size();
    };
    if (instruction.op != OpCode::Nop && !isRegister(instruction.result))
        return {ExecRefusal::BadRegister, "result register out of range"};
    const int arity = opCodeArity(instruction.op);
    for (int slot = 0; slot < arity; ++slot)
        if (!isRegister(instruction.operands[slot]))
            return {ExecRefusal::BadRegister, "operand register out of range"};
    for (int slot = arity; slot < 3; ++slot)
        if (instruction.operands[slot] != -1)
            return {ExecRefusal::ArityMismatch, "operand slot used past the opcode's arity"};
    return {};
}

Verdict Model::checkMultiplicities(const Instruction& instruction) const {
    if (opCodeArity(instruction.op) != 2)
        return {};
    const int left = reg(instruction.operands[0]).multiplicity;
    const int right = reg(instruction.operands[1]).multiplicity;
    if (left != right && left != 1 && right != 1)
        return {ExecRefusal::MultiplicityMismatch,
                "operands differ in multiplicity and neither is a scalar"};
    return {};
}

Verdict Model::checkRules(const Instruction& instruction) const {
    const auto operand = [&](int slot) { return reg(instruction.operands[slot]); };
    const auto indexes = [&](std::size_t poolSize) {
        return instruction.immediate >= 0 &&
               static_cast<std::size_t>(instruction.immediate) < poolSize;
    };
    const auto kindMismatch = [](const char* words) {
        return Verdict{ExecRefusal::KindMismatch, words};
    };
    const auto isTribool = [](const Register& r) { return r.kind == Kind::Tribool; };
    if (isComparison(instruction.op)) {
        if (!isTribool(reg(instruction.result)))
            return kindMismatch("a comparison must define a boolean register");
        if (operand(0).multiplicity == 1 && operand(1).multiplicity != 1)
            return {ExecRefusal::MultiplicityMismatch,
                    "a comparison with a scalar LEFT operand needs a kernel this backend does not "
                    "have"};
        return {};
    }
    switch (instruction.op) {
    case OpCode::ElementIndex:
        if (reg(instruction.result).kind != Kind::Int64)
            return kindMismatch("ElementIndex must define an integral register");
        break;
    case OpCode::LoadConstant:
        if (!indexes(program->constants.size()))
            return {ExecRefusal::BadImmediate, "constant pool index out of range"};
        if (program->constants[static_cast<std::size_t>(instruction.immediate)].multiplicity > 64)
            return {ExecRefusal::MultiplicityMismatch,
                    "constant multiplicity exceeds the block scratch"};
        break;
    case OpCode::LoadUniform:
        if (!indexes(program->uniforms.size()))
            return {ExecRefusal::BadImmediate, "uniform declaration index out of range"};
        if (reg(instruction.result).multiplicity > 64)
            return {ExecRefusal::MultiplicityMismatch,
                    "uniform multiplicity exceeds the block scratch"};
        break;
    case OpCode::LoadField:
        if (!indexes(program->fields.size()))
            return {ExecRefusal::BadImmediate, "field binding index out of range"};
        if (operand(0).kind != Kind::Int32 && operand(0).kind != Kind::Int64)
            return kindMismatch("LoadField index operand is not an integer register");
        break;
    case OpCode::Sample:
        if (!indexes(program->samplers.size()))
            return {ExecRefusal::BadImmediate, "sampler index out of range"};
        break;
    case OpCode::Component:
        if (!indexes(static_cast<std::size_t>(operand(0).multiplicity)))
            return {ExecRefusal::BadImmediate,
                    "component index outside the operand's multiplicity"};
        break;
    case OpCode::Not:
    case OpCode::IsTrue:
        if (!isTribool(reg(instruction.result)) || !isTribool(operand(0)))
            return kindMismatch("Not and IsTrue require boolean registers");
        break;
    case OpCode::And:
    case OpCode::Or:
        if (!isTribool(reg(instruction.result)) || !isTribool(operand(0)) || !isTribool(operand(1)))
            return kindMismatch("And/Or require boolean registers");
        break;
    case OpCode::Select:
        if (!isTribool(operand(0)))
            return kindMismatch("Select's condition must be a boolean register");
        if (operand(0).multiplicity != 1 &&
            operand(0).multiplicity != reg(instruction.result).multiplicity)
            return {ExecRefusal::MultiplicityMismatch,
                    "Select's condition is neither scalar nor component-matched"};
        break;
    default:
        break;
    }
    return {};
}

Verdict Model::checkBindings(const Bindings& bindings) const {
    const auto isThere = [](const auto* providers, int entries, int number) {
        return providers != nullptr && number < entries && providers[number] != nullptr;
    };
    for (const Instruction& instruction : program->instructions) {
        const int number = instruction.immediate;
        if (instruction.op == OpCode::LoadField &&
            !isThere(bindings.fields, bindings.fieldCount, number))
            return {ExecRefusal::UnboundField, "no accessor bound for a field the program reads"};
        if (instruction.op == OpCode::Sample &&
            !isThere(bindings.samplers, bindings.samplerCount, number))
            return {ExecRefusal::UnboundSampler, "no sampler bound for one the program uses"};
        if (instruction.op == OpCode::LoadUniform && bindings.uniforms == nullptr)
            return {ExecRefusal::UnboundUniform, "no uniform source bound"};
    }
    return {};
}

// ---------------------------------------------------------------------------------------------
// Running

void Model::beginBlock(int newCount) {
    count = newCount;
    for (const Register& r : registers)
        for (int e = 0; e < count; ++e)
            writeByte(r.validity + static_cast<std::size_t>(e), 1);
}

Verdict Model::runInstruction(std::size_t number, const Bindings& bindings, long long blockStart) {
    forgetOpenLanes();
    const Instruction& instruction = program->instructions[number];
    if (instruction.op == OpCode::Nop)
        return {};
    const int arity = opCodeArity(instruction.op);
    for (int e = 0; e < count && arity > 0; ++e) {
        bool valid = true;
        for (int slot = 0; slot < arity && slot < 2; ++slot)
            valid = valid && readByte(reg(instruction.operands[slot]).validity +
                                      static_cast<std::size_t>(e)) != 0;
        writeByte(reg(instruction.result).validity + static_cast<std::size_t>(e), valid ? 1 : 0);
    }
    return runOpCode(instruction, bindings, blockStart);
}

Verdict Model::runOpCode(const Instruction& instruction, const Bindings& bindings,
                         long long blockStart) {
    if (isComparison(instruction.op))
        return comparison(instruction);
    switch (instruction.op) {
    case OpCode::ElementIndex:
        for (int e = 0; e < count; ++e)
            write(Kind::Int64, reg(instruction.result).data, e,
                  static_cast<std::uint64_t>(blockStart) + static_cast<std::uint64_t>(e));
        return {};
    case OpCode::LoadConstant:
        return loadConstant(instruction);
    case OpCode::LoadUniform:
        return loadUniform(instruction, bindings);
    case OpCode::LoadField:
        return loadField(instruction, bindings, blockStart);
    case OpCode::Sample:
        return sample(instruction, bindings);
    case OpCode::Component:
        return component(instruction);
    case OpCode::Negate:
    case OpCode::Length:
        return unary(instruction);
    case OpCode::Not:
    case OpCode::IsTrue:
        booleanUnary(instruction);
        return {};
    case OpCode::And:
    case OpCode::Or:
        booleanBinary(instruction);
        return {};
    case OpCode::Add:
    case OpCode::Subtract:
    case OpCode::Multiply:
    case OpCode::Divide:
        return arithmetic(instruction);
    case OpCode::Select:
        return select(instruction);
    default:
        return {ExecRefusal::KindMismatch, "opcode has no implementation in this backend"};
    }
}

Verdict Model::loadConstant(const Instruction& instruction) {
    const Register& result = reg(instruction.result);
    const Constant& constant = program->constants[static_cast<std::size_t>(instruction.immediate)];
    for (int e = 0; e < count; ++e) {
        for (int c = 0; c < result.multiplicity; ++c) {
            std::uint64_t bits = 0;
            if (result.kind == Kind::Tribool) {
                bits = c == 0 ? constant.boolean : 0;
            } else if (c < constant.multiplicity && !isFloatKind(result.kind)) {
                bits = convertBits(result.kind, Kind::Int64,
                                   static_cast<std::uint64_t>(constant.integralComponent(c)));
            } else if (c < constant.multiplicity) {
                const double real = constant.realComponent(c);
                bits = convertBits(result.kind, Kind::Float64, bitsOf(real));
            }
            const long long lane = static_cast<long long>(e) * result.multiplicity + c;
            if (result.kind == Kind::Float32)
                writeOpen(result.kind, result.data, lane, bits);
            else
                write(result.kind, result.data, lane, bits);
        }
    }
    return {};
}

Verdict Model::loadUniform(const Instruction& instruction, const Bindings& bindings) {
    const Register& result = reg(instruction.result);
    std::vector<unsigned char> value(512, 0);
    if (!bindings.uniforms->fetch(instruction.immediate, result.kind, result.multiplicity,
                                  value.data()))
        return {ExecRefusal::ProviderFailed, "uniform source declined"};
    const std::size_t bytes = sizeOf(result.kind) * static_cast<std::size_t>(result.multiplicity);
    for (std::size_t e = 0; e < static_cast<std::size_t>(count); ++e)
        for (std::size_t b = 0; b < bytes; ++b)
            writeByte(result.data + e * bytes + b, value[b]);
    return {};
}

Verdict Model::loadField(const Instruction& instruction, const Bindings& bindings,
                         long long blockStart) {
    const Register& result = reg(instruction.result);
    bool contiguous = true;
    for (int e = 0; e < count; ++e) {
        const auto position = static_cast<std::size_t>(e);
        if (opCodeArity(instruction.op) == 0) {
            indices[position] = blockStart + e;
            continue;
        }
        const Register& index = reg(instruction.operands[0]);
        indices[position] = static_cast<std::int64_t>(converted(Kind::Int64, index, e));
        const auto expected = static_cast<std::uint64_t>(indices[0]) + position;
        if (readByte(index.validity + position) == 0 ||
            static_cast<std::uint64_t>(indices[position]) != expected)
            contiguous = false;
    }
    FieldRead request;
    request.values = storage.data() + result.data;
    request.validity = storage.data() + result.validity;
    request.kind = result.kind;
    request.multiplicity = result.multiplicity;
    request.indices = indices.data();
    request.contiguous = contiguous;
    request.count = count;
    if (!bindings.fields[instruction.immediate]->read(request))
        return {ExecRefusal::ProviderFailed, "field accessor declined"};
    return {};
}

Verdict Model::sample(const Instruction& instruction, const Bindings& bindings) {
    const Register& result = reg(instruction.result);
    const Register& coordinates = reg(instruction.operands[0]);
    if (!bindings.samplers[instruction.immediate]->sample(
            storage.data() + coordinates.data, coordinates.kind, coordinates.multiplicity,
            storage.data() + result.data, result.kind, result.multiplicity,
            storage.data() + result.validity, count))
        return {ExecRefusal::ProviderFailed, "sampler declined"};
    return {};
}

Verdict Model::component(const Instruction& instruction) {
    const Register& result = reg(instruction.result);
    const Register& source = reg(instruction.operands[0]);
    const bool bothTribool = result.kind == Kind::Tribool && source.kind == Kind::Tribool;
    if (!bothTribool && !(isNumeric(result.kind) && isNumeric(source.kind)))
        return {ExecRefusal::KindMismatch,
                "component extraction between these storage kinds has no kernel"};
    note("Component " + nameOf(result.kind) + " " + nameOf(source.kind) +
         (source.multiplicity == 1 ? " flat" : " strided"));
    for (long long e = 0; e < count; ++e) {
        const std::uint64_t bits =
            converted(result.kind, source, e * source.multiplicity + instruction.immediate);
        // Processors differ in how they convert a NaN between Float32 and Float64.
        if (result.kind != source.kind && source.kind != Kind::Half && result.kind != Kind::Half)
            writeOpen(result.kind, result.data, e, bits);
        else
            write(result.kind, result.data, e, bits);
    }
    return {};
}

Verdict Model::unary(const Instruction& instruction) {
    const Register& result = reg(instruction.result);
    const Register& operand = reg(instruction.operands[0]);
    if (!isArithmeticKind(result.kind) || !isArithmeticKind(operand.kind))
        return {ExecRefusal::KindMismatch,
                "no kernel for this unary operation at the operand's storage kind"};
    note(std::string(opCodeName(instruction.op)) + " " + nameOf(result.kind) + " " +
         nameOf(operand.kind));
    if (instruction.op == OpCode::Negate)
        for (long long i = 0; i < static_cast<long long>(count) * operand.multiplicity; ++i)
            negateLane(result, operand, i);
    else
        for (long long e = 0; e < count; ++e)
            lengthElement(result, operand, e);
    return {};
}

void Model::negateLane(const Register& result, const Register& operand, long long lane) {
    const std::uint64_t bits = converted(result.kind, operand, lane);
    if (result.kind == Kind::Int32) {
        write(Kind::Int32, result.data, lane, (0 - bits) & 0xFFFFFFFFu);
        return;
    }
    const std::uint64_t sign = std::uint64_t{1} << (8 * sizeOf(result.kind) - 1);
    if (result.kind != operand.kind && operand.kind != Kind::Half && result.kind != Kind::Half)
        writeOpen(result.kind, result.data, lane, bits ^ sign);
    else
        write(result.kind, result.data, lane, bits ^ sign);
}

void Model::lengthElement(const Register& result, const Register& operand, long long element) {
    std::uint64_t sum = 0;
    for (int c = 0; c < operand.multiplicity; ++c) {
        const std::uint64_t value =
            converted(result.kind, operand, element * operand.multiplicity + c);
        if (result.kind == Kind::Int32) {
            sum =
                operateIntegers(OpCode::Add, sum, operateIntegers(OpCode::Multiply, value, value));
        } else if (result.kind == Kind::Half) {
            const std::uint64_t wide = convertBits(Kind::Float32, Kind::Half, value);
            const std::uint64_t square = operateBits(OpCode::Multiply, Kind::Float32, wide, wide);
            const std::uint64_t wideSum = convertBits(Kind::Float32, Kind::Half, sum);
            sum = convertBits(Kind::Half, Kind::Float32,
                              operateBits(OpCode::Add, Kind::Float32, wideSum, square));
        } else {
            sum = operateBits(OpCode::Add, result.kind, sum,
                              operateBits(OpCode::Multiply, result.kind, value, value));
        }
    }
    if (result.kind == Kind::Int32) {
        const std::uint64_t wide = convertBits(Kind::Float64, Kind::Int32, sum);
        write(Kind::Int32, result.data, element,
              convertBits(Kind::Int32, Kind::Float64, rootBits(Kind::Float64, wide)));
    } else {
        writeOpen(result.kind, result.data, element, rootBits(result.kind, sum));
    }
}

void Model::booleanUnary(const Instruction& instruction) {
    const Register& result = reg(instruction.result);
    const Register& operand = reg(instruction.operands[0]);
    note(opCodeName(instruction.op));
    for (int e = 0; e < count; ++e) {
        // The loop cannot change the operand's validity, because no register's values overlap a
        // validity area.
        const bool valid = readByte(operand.validity + static_cast<std::size_t>(e)) != 0;
        for (int c = 0; c < result.multiplicity; ++c) {
            const long long lane = static_cast<long long>(e) * result.multiplicity + c;
            unsigned char out = 0;
            if (instruction.op == OpCode::Not) {
                const std::uint64_t x = read(Kind::Tribool, operand.data, lane);
                out = x == 255 ? 255 : x == 1 ? 0 : 1;
            } else if (valid) {
                out = read(Kind::Tribool, operand.data, lane) == 1 ? 1 : 0;
            }
            write(Kind::Tribool, result.data, lane, out);
        }
    }
    for (int e = 0; e < count && instruction.op == OpCode::IsTrue; ++e)
        writeByte(result.validity + static_cast<std::size_t>(e), 1);
}

void Model::booleanBinary(const Instruction& instruction) {
    const Register& result = reg(instruction.result);
    const Register& left = reg(instruction.operands[0]);
    const Register& right = reg(instruction.operands[1]);
    note(opCodeName(instruction.op));
    const unsigned char deciding = instruction.op == OpCode::And ? 0 : 1;
    for (long long i = 0; i < static_cast<long long>(count) * result.multiplicity; ++i) {
        const std::uint64_t a = read(Kind::Tribool, left.data, i);
        unsigned char out = deciding;
        if (a != deciding) {
            const std::uint64_t b = read(Kind::Tribool, right.data, i);
            if (b != deciding)
                out = a == 255 || b == 255 ? 255 : static_cast<unsigned char>(1 - deciding);
        }
        write(Kind::Tribool, result.data, i, out);
    }
}

Verdict Model::arithmetic(const Instruction& instruction) {
    const Register& result = reg(instruction.result);
    const Register& left = reg(instruction.operands[0]);
    const Register& right = reg(instruction.operands[1]);
    if (!isArithmeticKind(result.kind) || !isArithmeticKind(left.kind) ||
        !isArithmeticKind(right.kind))
        return {ExecRefusal::KindMismatch, "no arithmetic kernel for this combination of operand "
                                           "and result storage kinds"};
    const bool leftScalar = left.multiplicity == 1 && right.multiplicity != 1;
    const bool rightScalar = right.multiplicity == 1 && left.multiplicity != 1;
    note(std::string(opCodeName(instruction.op)) + " " + nameOf(result.kind) + " " +
         nameOf(left.kind) + " " + nameOf(right.kind) +
         (leftScalar    ? " left scalar"
          : rightScalar ? " right scalar"
                        : " full"));
    for (int e = 0; e < count; ++e) {
        std::uint64_t scalar = 0;
        if (leftScalar)
            scalar = converted(result.kind, left, e);
        if (rightScalar)
            scalar = converted(result.kind, right, e);
        for (int c = 0; c < result.multiplicity; ++c) {
            const long long lane = static_cast<long long>(e) * result.multiplicity + c;
            const std::uint64_t a = leftScalar ? scalar : converted(result.kind, left, lane);
            const std::uint64_t b = rightScalar ? scalar : converted(result.kind, right, lane);
            arithmeticLane(instruction.op, result, e, lane, a, b);
        }
    }
    return {};
}

void Model::arithmeticLane(OpCode op, const Register& result, int element, long long lane,
                           std::uint64_t left, std::uint64_t right) {
    if (result.kind != Kind::Int32) {
        writeOpen(result.kind, result.data, lane, operateBits(op, result.kind, left, right));
        return;
    }
    write(Kind::Int32, result.data, lane, operateIntegers(op, left, right));
    if (op == OpCode::Divide && right == 0)
        writeByte(result.validity + static_cast<std::size_t>(element), 0);
}

Verdict Model::comparison(const Instruction& instruction) {
    const Register& result = reg(instruction.result);
    const Register& left = reg(instruction.operands[0]);
    const Register& right = reg(instruction.operands[1]);
    if (!isNumeric(left.kind) || !isNumeric(right.kind))
        return {ExecRefusal::KindMismatch,
                "no comparison kernel for this combination of operand storage kinds"};
    const bool rightScalar = right.multiplicity == 1 && left.multiplicity != 1;
    note(std::string(opCodeName(instruction.op)) + " " + nameOf(left.kind) + " " +
         nameOf(right.kind) + (rightScalar ? " right scalar" : " full"));
    const Kind kind = comparisonKind(left.kind, right.kind);
    for (int e = 0; e < count; ++e) {
        const bool valid = readByte(left.validity + static_cast<std::size_t>(e)) != 0 &&
                           readByte(right.validity + static_cast<std::size_t>(e)) != 0;
        const std::uint64_t scalar = valid && rightScalar ? converted(kind, right, e) : 0;
        for (int c = 0; c < result.multiplicity; ++c) {
            const long long lane = static_cast<long long>(e) * result.multiplicity + c;
            unsigned char out = 255;
            if (valid) {
                const std::uint64_t a = converted(kind, left, lane);
                const std::uint64_t b = rightScalar ? scalar : converted(kind, right, lane);
                out = predicateHolds(instruction.op, compareBits(kind, a, b)) ? 1 : 0;
            }
            write(Kind::Tribool, result.data, lane, out);
        }
    }
    for (int e = 0; e < count; ++e)
        writeByte(result.validity + static_cast<std::size_t>(e), 1);
    return {};
}

Verdict Model::select(const Instruction& instruction) {
    const Register& result = reg(instruction.result);
    const Register& condition = reg(instruction.operands[0]);
    const Kind whenTrue = reg(instruction.operands[1]).kind;
    const Kind whenFalse = reg(instruction.operands[2]).kind;
    const bool tribools =
        result.kind == Kind::Tribool && whenTrue == Kind::Tribool && whenFalse == Kind::Tribool;
    if (!tribools && !(isNumeric(result.kind) && isNumeric(whenTrue) && isNumeric(whenFalse)))
        return {ExecRefusal::KindMismatch, "select between these arm storage kinds has no kernel"};
    note("Select " + nameOf(result.kind) + " " + nameOf(whenTrue) + " " + nameOf(whenFalse) +
         (condition.multiplicity == 1 ? " scalar" : " matched"));
    for (int e = 0; e < count; ++e) {
        bool valid = true;
        // If the element has one condition, it is read once, before any component is written.
        const auto shared = static_cast<unsigned char>(
            condition.multiplicity == 1 ? read(Kind::Tribool, condition.data, e) : 0);
        for (int c = 0; c < result.multiplicity; ++c) {
            const long long lane = static_cast<long long>(e) * condition.multiplicity + c;
            const auto own = static_cast<unsigned char>(
                condition.multiplicity == 1 ? shared : read(Kind::Tribool, condition.data, lane));
            valid = selectComponent(instruction, e, c, own) && valid;
        }
        writeByte(result.validity + static_cast<std::size_t>(e), valid ? 1 : 0);
    }
    return {};
}

bool Model::selectComponent(const Instruction& instruction, int element, int component,
                            unsigned char condition) {
    const Register& result = reg(instruction.result);
    const long long lane = static_cast<long long>(element) * result.multiplicity + component;
    if (condition == 255) {
        write(result.kind, result.data, lane, result.kind == Kind::Tribool ? 255 : 0);
        return false;
    }
    const Register& arm = reg(instruction.operands[condition == 1 ? 1 : 2]);
    const std::uint64_t bits = converted(result.kind, arm, lane);
    if (result.kind != arm.kind && arm.kind != Kind::Half && result.kind != Kind::Half)
        writeOpen(result.kind, result.data, lane, bits);
    else
        write(result.kind, result.data, lane, bits);
    return readByte(arm.validity + static_cast<std::size_t>(element)) != 0;
}

} // namespace Fenlet::Model
