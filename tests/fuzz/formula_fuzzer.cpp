// Reads any bytes as a formula: it compiles to a sound program, or errors say where it is wrong.
#include "reached.h"

#include <fenletir/formula.h>
#include <fenletir/text.h>
#include <fenletir/verify.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>
#include <vector>

namespace {

using namespace Fenlet;

FormulaDeclaration declared(const char* name, RegisterFormat format, std::int32_t components = 1) {
    FormulaDeclaration declaration;
    declaration.name = name;
    declaration.format = format;
    declaration.components = components;
    return declaration;
}

/// A name of one letter for each kind, so that few bytes say much.
std::vector<FormulaDeclaration> names() {
    using enum RegisterFormat;
    std::vector<FormulaDeclaration> all = {
        declared("a", Float32),    declared("b", Float32),    declared("c", Tribool),
        declared("d", Float64),    declared("h", Half),       declared("i", Int32),
        declared("j", Int16),      declared("l", Int64),      declared("v", Float32, 3),
        declared("w", Tribool, 3), declared("u", Float32, 3), declared("s", Float32),
        declared("g", Float32),
    };
    all[10].sort = FormulaSort::Uniform;
    all[11].sort = FormulaSort::Sampler;
    all[12].axes = 2;
    return all;
}

void require(bool isGood) {
    if (!isGood)
        std::abort();
}

void checkErrors(const FormulaResult& result, std::size_t size) {
    require(result.program.instructions.empty() && result.outputs.empty());
    require(result.errors.size() <= mostFormulaErrors);
    for (const Diagnostic& error : result.errors)
        require(error.line >= 1 && error.column >= 1 && error.length >= 1 &&
                error.span.offset <= size && !error.wrong.empty() && !error.shown.empty());
}

void checkProgram(const FormulaResult& result, std::string_view text) {
    const FenletProgram& program = result.program;
    require(!result.outputs.empty() && result.places.size() == program.instructions.size() &&
            result.fields.size() == program.fields.size());
    for (const SourceSpan& place : result.places)
        require(place.line >= 1 && place.offset < text.size() && place.bytes > 0 &&
                place.bytes <= text.size() - place.offset);
    for (const Finding& finding : verifyProgram(program))
        require(finding.severity == FindingClass::ProbablyAMistake && !spoilsResults(finding));
    const ParseResult again = parseProgram(listing(program, text, result.places));
    require(again.ok() && listing(again.program) == listing(program));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const std::vector<FormulaDeclaration> known = names();
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const FormulaResult result = compileFormula(text, known);
    if (!result.ok()) {
        checkErrors(result, size);
        return 0;
    }
    checkProgram(result, text);
    ++Fuzz::reached;
    return 0;
}
