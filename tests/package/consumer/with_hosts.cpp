// A host that uses the ready-made providers and sinks.
#include <fenlethosts/array_field.h>
#include <fenlethosts/sinks.h>
#include <fenletir/program_builder.h>

#include <cstdio>

int main() {
    using Fenlet::Format;
    Fenlet::ProgramBuilder builder;
    const auto index = builder.elementIndex();
    const auto x = builder.loadField(builder.field("x"), index, Format::Float32);
    const auto twice = builder.add(x, x);
    const Fenlet::BuildResult built = builder.build();

    const float values[] = {1, 2, 3, 4, 5};
    Fenlet::ArrayField field(Fenlet::ArrayView::of(values, 5));
    Fenlet::CpuFieldAccessor* const fields[] = {&field};
    Fenlet::Bindings bindings;
    bindings.fields = fields;
    bindings.fieldCount = 1;

    Fenlet::Interpreter interpreter;
    if (!interpreter.configure(built.program, 2))
        return 1;
    Fenlet::CollectingSink sink(interpreter.registerFile(), {twice.number}, 0, 5);
    if (!interpreter.evaluate(0, 5, bindings, sink))
        return 1;
    std::printf("%g\n", static_cast<double>(sink[0].at<float>(4)));
    return sink[0].at<float>(4) == 10 ? 0 : 1;
}
