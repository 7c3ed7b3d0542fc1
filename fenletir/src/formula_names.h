// What names stand for in a formula.
#pragma once

#include "formula_context.h"
#include "formula_tree.h"

#include <fenletir/formula.h>

#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace Fenlet::Formulas {

/// The words that always mean the same.
enum class Word : std::uint8_t { None, True, False, Unknown, Missing, Infinity, Nan };
Word wordOf(std::string_view name);

struct Symbol {
    FormulaDeclaration declared; ///< unless it is the name of a line
    bool isLine = false;
    bool isBad = false;      ///< its declaration is wrong, which is reported
    int line = 0;            ///< where the text declares it; 0 if the caller does
    Value value;             ///< of a line; of a field or uniform once it is loaded
    std::int32_t entry = -1; ///< the number of the field, uniform or sampler in the program
};

/// The names of a formula: declared by the caller, in the text, or as the name of a line.
class Names {
  public:
    Names(const Tree& newTree, Context& newContext) : tree(newTree), context(newContext) {}

    void declare(const std::vector<FormulaDeclaration>& declarations);
    void declareInText();
    /// The symbol for the name of a line; null if it cannot have this name.
    Symbol* define(const Token& name);

    Symbol* find(std::string_view name);
    /// Whether the symbol can be used. Reports it if the caller declared nonsense.
    bool isUsable(Symbol& symbol, const Token& name);
    /// Reports that a name is not known.
    Value refuseUnknown(const Token& name);
    /// The same for a name that is called like a function.
    Value refuseUnknownFunction(const Token& name);

  private:
    bool readKind(std::int32_t written, RegisterFormat& format, std::int32_t& components);
    void declareInText(const DeclaredName& written);
    bool areKindsGood(const DeclaredName& written, const Token& name, bool isNew,
                      FormulaDeclaration& declared);
    void refuseTaken(const Token& name, const Symbol& symbol);

    const Tree& tree;
    Context& context;
    std::unordered_map<std::string_view, Symbol> symbols;
    std::deque<std::string> callersNames;
};

} // namespace Fenlet::Formulas
