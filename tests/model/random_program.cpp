// Random programs, data and hosts.
#include "random_program.h"

#include "exact_number.h"

#include <fenletir/text.h>

#include <cstring>
#include <sstream>

namespace Fenlet::Model {
namespace {

using Kind = CpuElementKind;

constexpr Kind numericKinds[] = {Kind::Int32, Kind::Int64, Kind::Half, Kind::Float32,
                                 Kind::Float64};

std::uint64_t mix(std::uint64_t a, std::uint64_t b) {
    Chance chance(a * 0x9E3779B97F4A7C15u + b);
    return chance.bits();
}

RegisterFormat randomFormat(Chance& chance) {
    return static_cast<RegisterFormat>(chance.below(8));
}

constexpr Kind arithmeticKinds[] = {Kind::Int32, Kind::Half, Kind::Float32, Kind::Float64};

/// Builds a case, one instruction at a time. Most instructions fit the registers.
class CaseBuilder {
  public:
    explicit CaseBuilder(std::uint64_t seed) : chance(seed), isLong(chance.oneIn(longOdds)) {}

    Case build();

  private:
    /// One case in `longOdds` has blocks that are longer than any vector, tile or piece.
    static constexpr int longOdds = 16;

    void declare();
    void drawRange();
    int randomMultiplicity();
    int poolSize(OpCode op) const;
    Instruction randomInstruction();
    void fit(Instruction& instruction);
    int registerOf(Kind kind, int multiplicity);
    int anyRegister() { return chance.below(static_cast<int>(registers().size())); }
    std::vector<RegisterInfo>& registers() { return run.program.registers; }
    Kind numeric() { return numericKinds[chance.below(5)]; }
    Kind arithmetic() { return arithmeticKinds[chance.below(4)]; }
    Instruction loadOf(int number);
    Constant randomConstant();

    Chance chance;
    bool isLong;
    Case run;
    int shape = 1;
};

/// Draws many components only for blocks of few elements, to save time.
int CaseBuilder::randomMultiplicity() {
    switch (chance.below(8)) {
    case 0:
        return 2;
    case 1:
        return 3;
    case 2:
        return 4;
    case 3:
        return 1 + chance.below(isLong ? 4 : chance.oneIn(4) ? 70 : 9);
    default:
        return 1;
    }
}

Constant CaseBuilder::randomConstant() {
    const int components = chance.oneIn(20) ? 60 + chance.below(7) : randomMultiplicity();
    switch (chance.below(3)) {
    case 0: {
        constexpr unsigned char bytes[] = {0, 1, 255, 2, 254};
        return Constant::ofTribool(bytes[chance.below(5)]);
    }
    case 1: {
        std::vector<std::int64_t> values;
        for (int c = 0; c < components; ++c)
            values.push_back(static_cast<std::int64_t>(randomComponent(chance, Kind::Int64)));
        return Constant::ofIntegers(values);
    }
    default: {
        std::vector<double> values;
        for (int c = 0; c < components; ++c) {
            const std::uint64_t bits = randomComponent(chance, Kind::Float64);
            double value;
            std::memcpy(&value, &bits, sizeof value);
            values.push_back(value);
        }
        return Constant::ofReals(values);
    }
    }
}

void CaseBuilder::declare() {
    shape = randomMultiplicity();
    for (int i = chance.below(4); i >= 0; --i) {
        RegisterInfo info;
        info.format = randomFormat(chance);
        info.multiplicity = randomMultiplicity();
        registers().push_back(info);
    }
    if (chance.oneIn(60))
        registers().back().format = static_cast<RegisterFormat>(chance.oneIn(2) ? 8 : -1);
    if (chance.oneIn(60))
        registers().back().multiplicity = -chance.below(3);
    for (int i = chance.below(4); i >= 0; --i)
        run.program.constants.push_back(randomConstant());
    run.program.fields.resize(static_cast<std::size_t>(1 + chance.below(2)));
    run.program.uniforms.resize(static_cast<std::size_t>(1 + chance.below(2)));
    run.program.samplers.resize(static_cast<std::size_t>(1 + chance.below(2)));
}

/// A register of this kind and multiplicity: an existing one or a new one.
int CaseBuilder::registerOf(Kind kind, int multiplicity) {
    for (int tries = 0; tries < 6; ++tries) {
        const int number = anyRegister();
        const RegisterInfo& info = registers()[static_cast<std::size_t>(number)];
        if (blockElement(info.format) == kind && info.multiplicity == multiplicity)
            return number;
    }
    if (registers().size() > 24)
        return anyRegister();
    RegisterInfo info;
    do
        info.format = randomFormat(chance);
    while (blockElement(info.format) != kind);
    info.multiplicity = multiplicity;
    registers().push_back(info);
    return static_cast<int>(registers().size()) - 1;
}

// Every draw is a separate statement: compilers choose the order in which they evaluate arguments,
// and the programs must be the same with every compiler.
void CaseBuilder::fit(Instruction& instruction) {
    auto& [op, result, operands, immediate] = instruction;
    const auto number = static_cast<std::uint32_t>(op);
    const int width = chance.oneIn(3) ? randomMultiplicity() : shape;
    // Sometimes draws a result or an operand that does not fit the others.
    const auto about = [&] { return chance.oneIn(12) ? randomMultiplicity() : width; };
    const int aboutResult = about();
    const int aboutOperand = about();
    const int resultWidth = chance.oneIn(5) ? width : 1;
    const int scalar = chance.below(4);
    const bool tribools = chance.oneIn(10);
    const auto arithmeticOf = [&](int multiplicity) {
        const Kind kind = arithmetic();
        return registerOf(kind, multiplicity);
    };
    const auto numericOf = [&](int multiplicity) {
        const Kind kind = numeric();
        return registerOf(kind, multiplicity);
    };
    const auto eitherOf = [&](int multiplicity) {
        return tribools ? registerOf(Kind::Tribool, multiplicity) : numericOf(multiplicity);
    };
    if (op == OpCode::ElementIndex) {
        result = registerOf(Kind::Int64, resultWidth);
    } else if (op == OpCode::LoadField) {
        operands[0] = registerOf(scalar < 2 ? Kind::Int32 : Kind::Int64, 1);
    } else if (op == OpCode::Component) {
        result = eitherOf(resultWidth);
        operands[0] = eitherOf(width);
        immediate = chance.below(width);
    } else if (op == OpCode::Not || op == OpCode::IsTrue || op == OpCode::And || op == OpCode::Or) {
        result = registerOf(Kind::Tribool, width);
        operands[0] = registerOf(Kind::Tribool, aboutResult);
        if (opCodeArity(op) > 1)
            operands[1] = registerOf(Kind::Tribool, aboutOperand);
    } else if (op == OpCode::Negate || op == OpCode::Length) {
        result = arithmeticOf(op == OpCode::Negate ? aboutResult : 1);
        operands[0] = arithmeticOf(width);
    } else if (number >= 11 && number <= 14) {
        result = arithmeticOf(aboutResult);
        operands[0] = arithmeticOf(scalar == 0 ? 1 : width);
        operands[1] = arithmeticOf(scalar == 1 ? 1 : width);
    } else if (number >= 15 && number <= 20) {
        result = registerOf(Kind::Tribool, aboutResult);
        operands[0] = numericOf(width);
        operands[1] = numericOf(scalar == 0 ? 1 : width);
    } else if (op == OpCode::Select) {
        result = eitherOf(width);
        operands[0] = registerOf(Kind::Tribool, scalar < 2 ? 1 : width);
        operands[1] = eitherOf(aboutResult);
        operands[2] = eitherOf(aboutOperand);
    }
}

/// The number of entries in the pool that the instruction's immediate refers to; 1 if it refers to
/// none.
int CaseBuilder::poolSize(OpCode op) const {
    switch (op) {
    case OpCode::LoadConstant:
        return static_cast<int>(run.program.constants.size());
    case OpCode::LoadUniform:
        return static_cast<int>(run.program.uniforms.size());
    case OpCode::LoadField:
        return static_cast<int>(run.program.fields.size());
    case OpCode::Sample:
        return static_cast<int>(run.program.samplers.size());
    default:
        return 1;
    }
}

Instruction CaseBuilder::randomInstruction() {
    constexpr OpCode sources[] = {OpCode::LoadConstant, OpCode::LoadUniform, OpCode::LoadField,
                                  OpCode::Sample};
    Instruction instruction;
    instruction.op = static_cast<OpCode>(chance.below(chance.oneIn(200) ? 27 : 24));
    if (chance.oneIn(6))
        instruction.op = sources[chance.below(4)];
    // Draws the families with the most kernels more often, so that all their kernels run.
    if (chance.oneIn(6))
        instruction.op = OpCode::Select;
    if (chance.oneIn(4))
        instruction.op = static_cast<OpCode>(static_cast<int>(OpCode::Add) + chance.below(4));
    instruction.result = anyRegister();
    instruction.immediate = chance.below(chance.oneIn(30) ? 3 : poolSize(instruction.op));
    for (int slot = 0; slot < opCodeArity(instruction.op); ++slot)
        instruction.operands[slot] = anyRegister();
    if (!chance.oneIn(60))
        fit(instruction);
    if (chance.oneIn(200))
        instruction.result = chance.below(40) - 3;
    if (chance.oneIn(200))
        instruction.operands[chance.below(3)] = chance.below(40) - 3;
    if (chance.oneIn(200))
        instruction.immediate = chance.below(12) - 2;
    return instruction;
}

/// Fills a register with data from the host.
Instruction CaseBuilder::loadOf(int number) {
    Instruction instruction;
    instruction.op = chance.oneIn(8) ? OpCode::LoadConstant : OpCode::Sample;
    instruction.result = number;
    instruction.immediate = 0;
    if (instruction.op == OpCode::Sample)
        instruction.operands[0] = 0;
    return instruction;
}

void CaseBuilder::drawRange() {
    if (isLong) {
        // Half of the sizes are a power of two from 64 to 1024, or one less, or one more.
        const int power = (64 << chance.below(5)) - 1 + chance.below(3);
        const int other = 64 + chance.below(1037);
        run.blockSize = chance.oneIn(2) ? power : other;
        run.count = 60 + chance.below(1441);
    } else {
        run.blockSize =
            chance.oneIn(60) ? -chance.below(3) : 1 + chance.below(chance.oneIn(8) ? 150 : 24);
        run.count = chance.oneIn(30) ? -chance.below(3) : 1 + chance.below(60);
    }
    run.first = chance.oneIn(3)   ? -chance.below(50)
                : chance.oneIn(9) ? INT64_MAX - chance.below(40)
                                  : chance.below(1000);
}

Case CaseBuilder::build() {
    declare();
    for (int i = chance.below(14); i > 0; --i)
        run.program.instructions.push_back(randomInstruction());
    // Load some of the registers that will be read.
    for (std::size_t i = 0; i < run.program.registers.size() && !chance.oneIn(8); ++i)
        run.program.instructions.insert(run.program.instructions.begin(),
                                        loadOf(static_cast<int>(i)));
    RegisterInfo padding;
    padding.format = RegisterFormat::Float64;
    padding.multiplicity = isLong ? 8 : 80;
    registers().push_back(padding);
    drawRange();
    run.dataSeed = chance.bits();
    if (chance.oneIn(25))
        run.declineAtCall = chance.below(6);
    if (chance.oneIn(25))
        run.stopAtBlock = chance.below(3);
    run.holeInFields = chance.oneIn(40);
    return run;
}

} // namespace

std::uint64_t Chance::bits() {
    state += 0x9E3779B97F4A7C15u;
    std::uint64_t z = state;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9u;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBu;
    return z ^ (z >> 31);
}

Case randomCase(std::uint64_t seed) {
    return CaseBuilder(seed).build();
}

static PoolHoles randomPoolHoles(Chance& chance, std::size_t size) {
    const int entries = static_cast<int>(size);
    PoolHoles holes;
    if (chance.oneIn(3))
        holes.nullEntry = chance.below(entries);
    if (chance.oneIn(3))
        holes.shortBy = 1 + chance.below(entries + 2);
    holes.nullArray = chance.oneIn(6);
    return holes;
}

Holes randomHoles(std::uint64_t seed, const FenletProgram& program) {
    Chance chance(mix(seed, 0x601E5));
    Holes holes;
    if (!chance.oneIn(16))
        return holes;
    holes.fields = randomPoolHoles(chance, program.fields.size());
    holes.samplers = randomPoolHoles(chance, program.samplers.size());
    holes.noUniforms = chance.oneIn(3);
    return holes;
}

std::uint64_t randomComponent(Chance& chance, CpuElementKind kind) {
    if (kind == Kind::Tribool) {
        constexpr unsigned char bytes[] = {0, 1, 255, 0, 1, 255, 2, 254, 128};
        return bytes[chance.below(9)];
    }
    switch (chance.below(4)) {
    case 0: // any bits
        return chance.bits();
    case 1: { // a small whole number, or one with a fraction
        const auto small = static_cast<std::uint64_t>(chance.below(9) - 4);
        return convertBits(kind, Kind::Int64, small);
    }
    case 2: { // near a power of two of another kind, where roundings and ranges end
        const Kind other = numericKinds[chance.below(5)];
        const std::uint64_t power = std::uint64_t{1} << chance.below(64);
        std::uint64_t bits = power + static_cast<std::uint64_t>(chance.below(5) - 2);
        if (chance.oneIn(2))
            bits = 0 - bits;
        return convertBits(kind, other == Kind::Int32 ? Kind::Int64 : other, bits);
    }
    default: { // zeros, infinities, NaNs, the least and the greatest of a float kind
        const Kind other = numericKinds[2 + chance.below(3)];
        const FloatFormat format = formatOf(other);
        const std::uint64_t infinity = format.topField() << format.fractionBits;
        const std::uint64_t special[] = {0,
                                         1,
                                         format.unit() - 1,
                                         format.unit(),
                                         infinity - 1,
                                         infinity,
                                         infinity + 1,
                                         infinity + (format.unit() >> 1)};
        const std::uint64_t sign = std::uint64_t{chance.oneIn(2)}
                                   << (format.fractionBits + format.exponentBits);
        return convertBits(kind, other, sign | special[chance.below(8)]);
    }
    }
}

/// Sets to null the entry that the case wants to be missing.
template <class Provider>
static void leaveOut(std::vector<Provider*>& providers, int number) {
    if (number >= 0 && static_cast<std::size_t>(number) < providers.size())
        providers[static_cast<std::size_t>(number)] = nullptr;
}

RandomHost::RandomHost(const Case& newRun) : run(newRun) {
    for (std::size_t i = 0; i < run.program.fields.size(); ++i)
        ownFields.emplace_back(*this, static_cast<int>(i));
    for (std::size_t i = 0; i < run.program.samplers.size(); ++i)
        ownSamplers.emplace_back(*this, static_cast<int>(i));
    for (Field& field : ownFields)
        fields.push_back(&field);
    for (Sampler& sampler : ownSamplers)
        samplers.push_back(&sampler);
    if (run.holeInFields)
        leaveOut(fields, 0);
    leaveOut(fields, run.holes.fields.nullEntry);
    leaveOut(samplers, run.holes.samplers.nullEntry);
}

Bindings RandomHost::bindings() {
    const auto countOf = [](std::size_t size, const PoolHoles& holes) {
        return static_cast<std::int32_t>(size) - holes.shortBy;
    };
    Bindings all;
    all.fields = run.holes.fields.nullArray ? nullptr : fields.data();
    all.fieldCount = countOf(fields.size(), run.holes.fields);
    all.uniforms = run.holes.noUniforms ? nullptr : this;
    all.samplers = run.holes.samplers.nullArray ? nullptr : samplers.data();
    all.samplerCount = countOf(samplers.size(), run.holes.samplers);
    return all;
}

bool RandomHost::answers(std::string call) {
    log.push_back(std::move(call));
    return calls++ != run.declineAtCall;
}

void RandomHost::fill(std::uint64_t seed, CpuElementKind kind, int multiplicity,
                      unsigned char* out) const {
    Chance chance(seed);
    const auto bytes = static_cast<std::size_t>(elementSize(kind));
    for (std::size_t c = 0; c < static_cast<std::size_t>(multiplicity); ++c) {
        const std::uint64_t bits = randomComponent(chance, kind);
        // Stores from the least significant byte on, so that the value does not depend on byte
        // order.
        for (std::size_t b = 0; b < bytes; ++b) {
            const bool bigEndian = __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__;
            const std::size_t place = bigEndian ? bytes - 1 - b : b;
            out[c * bytes + place] = static_cast<unsigned char>(bits >> (8 * b));
        }
    }
}

static std::string shapeOf(CpuElementKind kind, int multiplicity) {
    return std::string(cpuElementKindName(kind)) + " x" + std::to_string(multiplicity);
}

bool RandomHost::readField(int number, const FieldRead& request) {
    const std::uint64_t dataSeed = run.dataSeed + static_cast<std::uint64_t>(number);
    std::string call =
        "read " + std::to_string(number) + " " + shapeOf(request.kind, request.multiplicity) + " " +
        std::to_string(request.count) + (request.contiguous ? " contiguous" : " scattered");
    for (int i = 0; i < request.count; ++i)
        call +=
            " " + std::to_string(request.indices[i]) + "/" + std::to_string(request.validity[i]);
    const bool answer = answers(std::move(call));
    const auto bytes = static_cast<std::size_t>(elementSize(request.kind) * request.multiplicity);
    for (int i = 0; i < request.count; ++i) {
        const std::uint64_t seed = mix(dataSeed, static_cast<std::uint64_t>(request.indices[i]));
        constexpr unsigned char bytesOfValidity[] = {0, 0, 2, 255, 1, 1, 1, 1};
        const unsigned char own = bytesOfValidity[seed >> 61];
        if (own != 1)
            request.validity[i] = request.validity[i] == 0 ? static_cast<unsigned char>(0) : own;
        fill(seed, request.kind, request.multiplicity,
             request.values + static_cast<std::size_t>(i) * bytes);
        if (!answer && i == request.count / 2)
            break;
    }
    return answer;
}

bool RandomHost::fetch(int index, CpuElementKind kind, int multiplicity, void* out) {
    const bool answer =
        answers("fetch " + std::to_string(index) + " " + shapeOf(kind, multiplicity));
    // Sometimes gives one component fewer than asked for. The missing component must then be zero.
    const std::uint64_t seed = mix(run.dataSeed, static_cast<std::uint64_t>(index) + 77);
    fill(seed, kind, multiplicity - static_cast<int>(seed % 7 == 0),
         static_cast<unsigned char*>(out));
    return answer;
}

/// The bits of one component. All NaNs give the same bits, because an operation on two NaNs may
/// return either.
static std::uint64_t componentBits(const unsigned char* element, CpuElementKind kind, int c) {
    const int size = elementSize(kind);
    std::uint64_t bits = 0;
    for (int b = 0; b < size; ++b) {
        const bool bigEndian = __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__;
        bits |= std::uint64_t{element[c * size + (bigEndian ? size - 1 - b : b)]} << (8 * b);
    }
    return isNan(kind, bits) ? UINT64_MAX : bits;
}

bool RandomHost::sampleFrom(int number, const void* coordinates, CpuElementKind coordinateKind,
                            int coordinateMultiplicity, void* values, CpuElementKind valueKind,
                            int valueMultiplicity, unsigned char* validity, int count) {
    const bool answer = answers(
        "sample " + std::to_string(number) + " " + shapeOf(coordinateKind, coordinateMultiplicity) +
        " to " + shapeOf(valueKind, valueMultiplicity) + " " + std::to_string(count));
    const auto in = static_cast<std::size_t>(elementSize(coordinateKind) * coordinateMultiplicity);
    const auto out = static_cast<std::size_t>(elementSize(valueKind) * valueMultiplicity);
    const auto* const from = static_cast<const unsigned char*>(coordinates);
    std::vector<unsigned char> value(out);
    for (std::size_t i = 0; i < static_cast<std::size_t>(count); ++i) {
        std::uint64_t seed = mix(run.dataSeed + static_cast<std::uint64_t>(number), validity[i]);
        for (int c = 0; c < coordinateMultiplicity && c < 4; ++c)
            seed = mix(seed, componentBits(from + i * in, coordinateKind, c));
        if (seed % 8 == 0)
            validity[i] = 0;
        fill(seed, valueKind, valueMultiplicity, value.data());
        std::memcpy(static_cast<unsigned char*>(values) + i * out, value.data(), out);
    }
    return answer;
}

static std::string wordsOf(const char* pool, const PoolHoles& holes) {
    std::string text;
    if (holes.nullEntry >= 0)
        text += ", no " + std::string(pool) + " " + std::to_string(holes.nullEntry);
    if (holes.shortBy != 0)
        text += ", " + std::string(pool) + " count short by " + std::to_string(holes.shortBy);
    if (holes.nullArray)
        text += ", no " + std::string(pool) + " array";
    return text;
}

std::string describe(const Case& run) {
    std::ostringstream text;
    text << "block size " << run.blockSize << ", elements " << run.first << " and on, " << run.count
         << " of them, data seed " << run.dataSeed << ", decline at " << run.declineAtCall
         << ", stop at " << run.stopAtBlock << (run.holeInFields ? ", no first field" : "")
         << wordsOf("field", run.holes.fields) << wordsOf("sampler", run.holes.samplers)
         << (run.holes.noUniforms ? ", no uniforms" : "") << "\n"
         << listing(run.program);
    return text.str();
}

} // namespace Fenlet::Model
