#include "formula_bench.h"

#include <fenletir/verify.h>

#include <gtest/gtest.h>
#include <memory>

namespace Fenlet::FormulaTests {
namespace {

std::size_t sizeOf(RegisterFormat format) {
    switch (format) {
    case RegisterFormat::Tribool:
        return 1;
    case RegisterFormat::Half:
        return 2;
    case RegisterFormat::Int64:
    case RegisterFormat::Float64:
        return 8;
    default:
        return 4;
    }
}

/// A field over data, moved by `offset` elements.
class DataField : public CpuFieldAccessor {
  public:
    DataField(const Data& newData, std::int64_t newOffset) : data(newData), offset(newOffset) {}

    bool read(const FieldRead& request) override {
        const std::size_t bytes = sizeOf(data.format) * static_cast<std::size_t>(data.components);
        const auto count = static_cast<std::int64_t>(data.lanes.size() / bytes);
        auto* to = static_cast<unsigned char*>(request.values);
        for (int i = 0; i < request.count; ++i, to += bytes) {
            std::memset(to, 0, bytes);
            const std::int64_t element = request.indices[i];
            const bool isInside = element >= -offset && element < count - offset;
            if (request.validity[i] == 0 || !isInside) {
                request.validity[i] = 0;
                continue;
            }
            const auto place = static_cast<std::size_t>(element + offset);
            std::memcpy(to, data.lanes.data() + place * bytes, bytes);
            request.validity[i] = data.isPresent(place);
        }
        return true;
    }

  private:
    Data data;
    std::int64_t offset;
};

/// The numbers of elements, rows or columns.
class NumberField : public CpuFieldAccessor {
  public:
    bool read(const FieldRead& request) override {
        auto* to = static_cast<unsigned char*>(request.values);
        for (int i = 0; i < request.count; ++i, to += sizeof(double)) {
            const auto number = static_cast<double>(request.indices[i]);
            std::memcpy(to, &number, sizeof number);
        }
        return true;
    }
};

class DataUniforms : public UniformSource {
  public:
    std::vector<const Data*> values;

    bool fetch(int index, CpuElementKind, int, void* out) override {
        const Data& data = *values[static_cast<std::size_t>(index)];
        std::memcpy(out, data.lanes.data(), data.lanes.size());
        return true;
    }
};

class DoublingSampler : public FenletSampler {
  public:
    bool sample(const void* coordinates, CpuElementKind, int coordinateMultiplicity, void* values,
                CpuElementKind, int, unsigned char*, int count) override {
        for (int i = 0; i < count; ++i)
            static_cast<float*>(values)[i] =
                2 * static_cast<const float*>(coordinates)[i * coordinateMultiplicity];
        return true;
    }
};

class KeepingSink : public BlockSink {
  public:
    KeepingSink(const FenletProgram& newProgram, const std::vector<std::int32_t>& newOutputs)
        : program(newProgram), outputs(newOutputs), kept(newOutputs.size()) {}

    bool consume(const RegisterFile& registers, long long, int count) override {
        for (std::size_t number = 0; number < outputs.size(); ++number) {
            const RegisterInfo& info = program.registerInfo(outputs[number]);
            Data& data = kept[number];
            data.format = info.format;
            data.components = info.multiplicity;
            const auto* lanes = static_cast<const unsigned char*>(registers.data(outputs[number]));
            const std::size_t bytes = sizeOf(info.format) *
                                      static_cast<std::size_t>(info.multiplicity) *
                                      static_cast<std::size_t>(count);
            data.lanes.insert(data.lanes.end(), lanes, lanes + bytes);
            const unsigned char* validity = registers.validity(outputs[number]);
            data.validity.insert(data.validity.end(), validity, validity + count);
        }
        return true;
    }

    const FenletProgram& program;
    const std::vector<std::int32_t>& outputs;
    std::vector<Data> kept;
};

std::unique_ptr<CpuFieldAccessor> fieldFor(const FormulaField& field, const Inputs& inputs) {
    if (field.sort == FormulaFieldSort::Array || field.sort == FormulaFieldSort::Shifted)
        return std::make_unique<DataField>(inputs.at(field.array),
                                           field.offsets.empty() ? 0 : field.offsets.back());
    return std::make_unique<NumberField>();
}

} // namespace

Data floats(std::vector<float> values, std::vector<unsigned char> validity,
            std::int32_t components) {
    return Data::of(RegisterFormat::Float32, values, std::move(validity), components);
}
Data doubles(std::vector<double> values, std::vector<unsigned char> validity,
             std::int32_t components) {
    return Data::of(RegisterFormat::Float64, values, std::move(validity), components);
}
Data integers(std::vector<std::int32_t> values, std::vector<unsigned char> validity,
              std::int32_t components) {
    return Data::of(RegisterFormat::Int32, values, std::move(validity), components);
}
Data longs(std::vector<std::int64_t> values, std::vector<unsigned char> validity) {
    return Data::of(RegisterFormat::Int64, values, std::move(validity));
}
Data truths(std::vector<unsigned char> values, std::vector<unsigned char> validity,
            std::int32_t components) {
    return Data::of(RegisterFormat::Tribool, values, std::move(validity), components);
}
Data halves(std::vector<std::uint16_t> values, std::vector<unsigned char> validity) {
    return Data::of(RegisterFormat::Half, values, std::move(validity));
}

std::vector<FormulaDeclaration> declarationsOf(const Inputs& inputs) {
    std::vector<FormulaDeclaration> declarations;
    for (const auto& [name, data] : inputs) {
        FormulaDeclaration declaration;
        declaration.name = name;
        declaration.sort = data.sort;
        declaration.format = data.format;
        declaration.components = data.components;
        declarations.push_back(declaration);
    }
    return declarations;
}

std::vector<Data> run(std::string_view text, const Inputs& inputs, std::int64_t count,
                      int blockSize) {
    const FormulaResult compiled = compileFormula(text, declarationsOf(inputs));
    EXPECT_EQ(errorsOf(text, inputs), "");
    EXPECT_EQ(compiled.places.size(), compiled.program.instructions.size());
    EXPECT_EQ(compiled.fields.size(), compiled.program.fields.size());
    for (const Finding& finding : verifyProgram(compiled.program))
        EXPECT_TRUE(finding.severity == FindingClass::ProbablyAMistake && !spoilsResults(finding))
            << text << ": " << describeFinding(finding);
    std::vector<std::unique_ptr<CpuFieldAccessor>> fields;
    std::vector<CpuFieldAccessor*> bound;
    for (const FormulaField& field : compiled.fields) {
        fields.push_back(fieldFor(field, inputs));
        bound.push_back(fields.back().get());
    }
    DataUniforms uniforms;
    for (const UniformDeclaration& uniform : compiled.program.uniforms)
        uniforms.values.push_back(&inputs.at(uniform.name));
    DoublingSampler sampler;
    const std::vector<FenletSampler*> samplers(compiled.program.samplers.size(), &sampler);
    Interpreter interpreter;
    KeepingSink sink(compiled.program, compiled.outputs);
    const Bindings bindings{bound.data(), static_cast<int>(bound.size()), &uniforms,
                            samplers.data(), static_cast<int>(samplers.size())};
    EXPECT_TRUE(interpreter.configure(compiled.program, blockSize) &&
                interpreter.evaluate(0, count, bindings, sink))
        << text << ": "
        << (interpreter.lastRefusalMessage() ? interpreter.lastRefusalMessage() : "");
    return sink.kept;
}

Data value(std::string_view text, const Inputs& inputs, std::int64_t count) {
    const std::vector<Data> outputs = run(text, inputs, count);
    EXPECT_EQ(outputs.size(), 1u);
    return outputs.empty() ? Data{} : outputs[0];
}

std::string errorsOf(std::string_view text, const Inputs& inputs) {
    std::string words;
    for (const Diagnostic& error : compileFormula(text, declarationsOf(inputs)).errors)
        words.append(words.empty() ? "" : "\n").append(describeDiagnostic(error, ""));
    return words;
}

} // namespace Fenlet::FormulaTests
