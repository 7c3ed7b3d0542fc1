// Formulas: programs as people write them, such as `ndvi = (nir - red) / (nir + red)`.
#pragma once

#include <fenletir/diagnostic.h>
#include <fenletir/export.h>
#include <fenletir/program.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Fenlet {

/// What a formula can read by name.
enum class FormulaSort : std::int32_t {
    Field = 0,   ///< one value for each element
    Uniform = 1, ///< one value for all elements
    Sampler = 2, ///< called like a function
};

/// A name that a formula can use without declaring it, such as that of an array that is bound. A
/// declaration in the text takes its place; what the text leaves open is taken from here.
struct FormulaDeclaration {
    std::string name;
    FormulaSort sort = FormulaSort::Field;
    RegisterFormat format = RegisterFormat::Float32; ///< of the values
    std::int32_t components = 1;                     ///< of the values
    std::int32_t axes = 0;        ///< of a field: how many axes `shift` takes; 0 if that is unknown
    bool isAlwaysPresent = false; ///< of a field: whether no element is ever missing
    RegisterFormat coordinateFormat = RegisterFormat::Float32; ///< of a sampler's coordinates
    std::int32_t coordinates = 1; ///< how many coordinates a sampler takes
};

/// How to compile a formula.
struct FormulaOptions {
    /// Whether `index` is a field that the host binds, as `row` and `column` always are. Needed if
    /// element numbers of a run are not those of the whole array.
    bool indexIsField = false;
};

/// What a field of the program holds.
enum class FormulaFieldSort : std::int32_t {
    Array = 0,   ///< the elements of the array `array`
    Shifted = 1, ///< element i is element i + `offsets` of the array; missing outside of it
    Row = 2,     ///< the number of the element along the first axis of a grid, from 0
    Column = 3,  ///< the number of the element along the second axis of a grid, from 0
    Index = 4,   ///< the number of the element, from 0
};

/// What the host must bind to a field of the program. For each element, the program reads the field
/// at that element's number, at most once; `height[e]` reads it at element number e.
struct FormulaField {
    FormulaFieldSort sort = FormulaFieldSort::Array;
    std::string array;                 ///< the declared name; empty for `Row`, `Column`, `Index`
    std::vector<std::int64_t> offsets; ///< of `Shifted`: one for each axis
    RegisterFormat format = RegisterFormat::Float32; ///< that the program reads it in
    std::int32_t components = 1;
    SourceSpan place; ///< its first use
};

/// A compiled formula, or what is wrong with it.
struct FormulaResult {
    FenletProgram program;             ///< empty unless `ok()`
    std::vector<SourceSpan> places;    ///< of each instruction, the piece of text it came from
    std::vector<FormulaField> fields;  ///< of each field of the program
    std::vector<std::int32_t> outputs; ///< the registers of the outputs, in the order of the text
    std::vector<Diagnostic> errors;    ///< in the order of the text; at most `mostFormulaErrors`
    bool hasMoreErrors = false;        ///< whether there are errors that are not listed

    bool ok() const { return errors.empty(); }
};

inline constexpr std::size_t mostFormulaErrors = 20;

/// How deeply parentheses, calls and signs can be nested.
inline constexpr int deepestFormula = 200;

/// How many fields, uniforms and samplers each a formula can use.
inline constexpr std::size_t mostFormulaSources = 1000;

/// The name of an output that the formula does not name.
inline constexpr const char* unnamedFormulaOutput = "result";

/// Compiles a formula. docs/formulas.md describes the language.
///
/// Any bytes are allowed as text. Time and memory are proportional to its length; the stack that is
/// used is limited. If an allocation fails, the allocator's exception passes through. The program
/// of a result without errors is sound: `verifyProgram` finds nothing worse than
/// `ProbablyAMistake`, such as a line that no output needs.
FENLETIR_API FormulaResult compileFormula(std::string_view text,
                                          const std::vector<FormulaDeclaration>& declarations = {},
                                          const FormulaOptions& options = {});

/// A function of the language, for help and completion.
struct FormulaFunction {
    const char* name;    ///< `clamp`
    const char* usage;   ///< `clamp(x, low, high)`
    const char* summary; ///< what it gives, in a few words
    std::int32_t least;  ///< arguments
    std::int32_t most;
};

/// All functions in alphabetical order. They have static lifetime.
FENLETIR_API const std::vector<FormulaFunction>& formulaFunctions();

} // namespace Fenlet
