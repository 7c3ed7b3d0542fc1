// What a formula reads: fields, uniforms and samplers, each declared in the program by its first
// use.
#pragma once

#include "formula_names.h"

#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace Fenlet::Formulas {

class Sources {
  public:
    Sources(const Tree& newTree, Context& newContext, Names& newNames)
        : tree(newTree), context(newContext), names(newNames) {}

    /// The value of a name, loaded at its first use.
    Value writeSymbol(Symbol& symbol, const Token& token);
    /// A field of the numbers of elements, rows or columns.
    Value writePosition(FormulaFieldSort sort, const Token& token);
    /// `height[e]`, with the value of e.
    Value writeElement(const Node& node, const Value& number);
    Value writeShift(const Node& node);
    /// A call of a sampler.
    Value writeSample(Symbol& symbol, const Token& token, const std::vector<Value>& arguments,
                      SourceSpan place);

    std::vector<FormulaField> takeFields() { return std::move(fields); }

  private:
    bool isPoolFull(std::size_t used, const char* what, const Token& token);
    Register loadField(std::int32_t entry, Register at, const Meeting& meeting);
    /// Adds a field to the program. The name is changed if another one has it.
    std::int32_t addField(std::string name, FormulaField field);
    bool useField(Symbol& symbol, const Token& token);
    /// The field of that name, or null after an error.
    Symbol* findField(const Token& token, const char* user);
    std::optional<Register> elementNumber(const Value& number);
    Value writeShifted(const Symbol& symbol, const Token& token, std::string name,
                       const std::vector<std::int64_t>& offsets);
    /// A coordinate in the kind that the sampler takes.
    Value coordinateOf(const FormulaDeclaration& sampler, const Value& at,
                       const std::string& usage);

    const Tree& tree;
    Context& context;
    Names& names;
    std::vector<FormulaField> fields;
    std::vector<FieldHandle> fieldHandles;
    std::set<std::string> fieldNames;
    std::vector<UniformHandle> uniforms;
    std::vector<SamplerHandle> samplers;
    std::map<std::string, Value> shifted; ///< by the names of their fields
    Value positions[5];                   ///< by `FormulaFieldSort`
};

} // namespace Fenlet::Formulas
