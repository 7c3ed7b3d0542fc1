// A minimal host: 2 * x + 1 over ten elements, with its own providers.
#include <fenletexec/interpreter.h>
#include <fenletir/program_builder.h>

#include <cstdio>
#include <cstring>

namespace {

class Numbers final : public Fenlet::CpuFieldAccessor {
  public:
    bool read(const Fenlet::FieldRead& request) override {
        if (request.kind != Fenlet::CpuElementKind::Float32)
            return false;
        for (int i = 0; i < request.count; ++i) {
            const float value = static_cast<float>(request.indices[i]);
            std::memcpy(request.values + static_cast<std::size_t>(i) * sizeof value, &value,
                        sizeof value);
        }
        return true;
    }
};

class Sum final : public Fenlet::BlockSink {
  public:
    explicit Sum(int newNumber) : number(newNumber) {}

    bool consume(const Fenlet::RegisterFile& registers, long long, int count) override {
        for (int i = 0; i < count; ++i) {
            float value;
            std::memcpy(&value, registers.data(number) + static_cast<std::size_t>(i) * sizeof value,
                        sizeof value);
            total += static_cast<double>(value);
        }
        return true;
    }

    double total = 0;

  private:
    int number;
};

} // namespace

int main() {
    using Fenlet::Format;
    Fenlet::ProgramBuilder builder;
    const auto index = builder.elementIndex();
    const auto x = builder.loadField(builder.field("x"), index, Format::Float32);
    const auto twice = builder.multiply(x, builder.constant(Format::Float32, {2}));
    const auto result = builder.add(twice, builder.constant(Format::Float32, {1}));
    const Fenlet::BuildResult built = builder.build();

    Numbers numbers;
    Fenlet::CpuFieldAccessor* const fields[] = {&numbers};
    Fenlet::Bindings bindings;
    bindings.fields = fields;
    bindings.fieldCount = 1;

    Sum sum(result.number);
    Fenlet::Interpreter interpreter;
    if (!interpreter.configure(built.program, 4) || !interpreter.evaluate(0, 10, bindings, sum)) {
        std::printf("%s\n", interpreter.lastRefusalMessage());
        return 1;
    }
    std::printf("%g\n", sum.total);
    return sum.total == 100 ? 0 : 1;
}
