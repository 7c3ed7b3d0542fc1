#include "formula_names.h"

#include "formula_functions.h"
#include "text_numbers.h"
#include "text_words.h"

#include <fenletir/near_name.h>

#include <algorithm>

namespace Fenlet::Formulas {
namespace {

using namespace Text;

constexpr struct {
    std::string_view name;
    Word word;
} words[] = {
    {"true", Word::True},       {"false", Word::False},  {"unknown", Word::Unknown},
    {"missing", Word::Missing}, {"inf", Word::Infinity}, {"nan", Word::Nan},
};

/// What other languages call a word or a kind.
struct Foreign {
    std::string_view name;
    const char* meant;
};
constexpr Foreign foreignWords[] = {
    {"True", "true"},    {"False", "false"},  {"TRUE", "true"},    {"FALSE", "false"},
    {"None", "missing"}, {"null", "missing"}, {"NULL", "missing"}, {"NA", "missing"},
    {"NaN", "nan"},      {"NAN", "nan"},      {"Inf", "inf"},      {"infinity", "inf"},
    {"AND", "and"},      {"OR", "or"},        {"NOT", "not"},      {"Infinity", "inf"},
};
constexpr Foreign foreignKinds[] = {
    {"float", "f32"},   {"double", "f64"},  {"half", "f16"},     {"float16", "f16"},
    {"float32", "f32"}, {"float64", "f64"}, {"int", "i32"},      {"int8", "i8"},
    {"int16", "i16"},   {"int32", "i32"},   {"int64", "i64"},    {"long", "i64"},
    {"uint8", "i32"},   {"uint16", "i32"},  {"u8", "i32"},       {"u16", "i32"},
    {"uint32", "f64"},  {"u32", "f64"},     {"bool", "tribool"}, {"boolean", "tribool"},
};

template <std::size_t size>
const char* meantBy(const Foreign (&table)[size], std::string_view name) {
    for (const Foreign& foreign : table)
        if (foreign.name == name)
            return foreign.meant;
    return nullptr;
}

const char* sortInWords(const Symbol& symbol) {
    if (symbol.isLine)
        return "the name of a line";
    switch (symbol.declared.sort) {
    case FormulaSort::Field:
        return "a field";
    case FormulaSort::Uniform:
        return "a uniform";
    case FormulaSort::Sampler:
        return "a sampler";
    }
    return "";
}

std::string cited(std::string_view name) {
    constexpr std::size_t mostBytes = 40;
    return name.size() <= mostBytes ? quoted(name) : "this name";
}

} // namespace

Word wordOf(std::string_view name) {
    for (const auto& candidate : words)
        if (candidate.name == name)
            return candidate.word;
    return Word::None;
}

void Names::declare(const std::vector<FormulaDeclaration>& declarations) {
    for (const FormulaDeclaration& declaration : declarations) {
        Symbol symbol;
        symbol.declared = declaration;
        symbols.emplace(callersNames.emplace_back(declaration.name), std::move(symbol));
    }
}

void Names::declareInText() {
    for (const DeclaredName& written : tree.declarations)
        declareInText(written);
}

void Names::declareInText(const DeclaredName& written) {
    const Token& name = tree.tokens.list[written.name];
    const auto [entry, isNew] = symbols.try_emplace(name.text);
    Symbol& symbol = entry->second;
    if (!isNew && symbol.line > 0)
        return refuseTaken(name, symbol);
    if (name.mark == Mark::Name && wordOf(name.text) != Word::None) {
        context.refuse(name.place, cited(name.text) + " is a word of the language",
                       "choose another name, or quote it");
        return;
    }
    symbol.line = name.place.line;
    symbol.declared.name = name.text;
    symbol.declared.sort = written.sort;
    symbol.isBad = written.isBad || !areKindsGood(written, name, isNew, symbol.declared);
}

bool Names::areKindsGood(const DeclaredName& written, const Token& name, bool isNew,
                         FormulaDeclaration& declared) {
    if (written.kind < 0 && isNew) {
        context.refuse(name.place, "the kind of " + cited(name.text) + " is not known",
                       "write it, such as " + nameText(name.text) + " : f32");
        return false;
    }
    if (written.isGrid && declared.axes != 0 && declared.axes != 2) {
        context.refuse(name.place,
                       "the array " + cited(name.text) + " has " + std::to_string(declared.axes) +
                           " axes",
                       "a grid has 2; write field");
        return false;
    }
    if (written.isGrid)
        declared.axes = 2;
    if ((written.kind >= 0 && !readKind(written.kind, declared.format, declared.components)) ||
        (written.coordinates >= 0 &&
         !readKind(written.coordinates, declared.coordinateFormat, declared.coordinates)))
        return false;
    if (declared.sort != FormulaSort::Uniform || declared.components <= mostScratchComponents)
        return true;
    context.refuse(name.place,
                   cited(name.text) + " has " + std::to_string(declared.components) + " components",
                   "a uniform has at most " + std::to_string(mostScratchComponents));
    return false;
}

bool Names::isUsable(Symbol& symbol, const Token& name) {
    if (symbol.isBad)
        return false;
    const FormulaDeclaration& declared = symbol.declared;
    const bool isGood =
        isFormat(declared.format) && declared.components >= 1 &&
        isFormat(declared.coordinateFormat) && declared.coordinates >= 1 &&
        (declared.sort != FormulaSort::Uniform || declared.components <= mostScratchComponents);
    if (!isGood && !symbol.isLine) {
        context.refuse(name.place, cited(name.text) + " is of no kind that formulas know",
                       std::string("declare it above, such as field ") + nameText(name.text) +
                           " : f32");
        symbol.isBad = true;
    }
    return !symbol.isBad;
}

/// `f32`, `i32x3`
bool Names::readKind(std::int32_t written, RegisterFormat& format, std::int32_t& components) {
    const Token& token = tree.tokens.list[static_cast<std::size_t>(written)];
    const std::size_t times = token.text.find('x');
    const std::string_view word = token.text.substr(0, times);
    components = 1;
    std::errc problem{};
    if (times != std::string_view::npos)
        problem = readNumber(token.text.substr(times + 1), components);
    for (std::int32_t candidate = 0; candidate < formatCount; ++candidate)
        if (formatTable[static_cast<std::size_t>(candidate)].word == word &&
            problem == std::errc() && components >= 1) {
            format = static_cast<RegisterFormat>(candidate);
            return true;
        }
    components = 1;
    NearName near(word);
    for (const FormatFacts& facts : formatTable)
        near.consider(facts.word);
    const char* const meant = meantBy(foreignKinds, word);
    std::string right = meant ? std::string("write ") + meant : near.question();
    if (right.empty() || (right == near.question() && near.best() == word))
        right = "kinds are tribool, i8, i16, i32, i64, f16, f32 and f64, with components f32x3";
    context.refuse(token.place, cited(token.text) + " is no kind", right);
    return false;
}

void Names::refuseTaken(const Token& name, const Symbol& symbol) {
    std::string wrong = cited(name.text) + " is already " + sortInWords(symbol);
    if (symbol.line > 0)
        wrong += ", in line " + std::to_string(symbol.line);
    context.refuse(name.place, wrong, "choose another name");
}

Symbol* Names::define(const Token& name) {
    if (name.mark == Mark::Name && wordOf(name.text) != Word::None) {
        context.refuse(name.place, cited(name.text) + " is a word of the language",
                       "choose another name, or quote it");
        return nullptr;
    }
    const auto [entry, isNew] = symbols.try_emplace(name.text);
    if (!isNew) {
        refuseTaken(name, entry->second);
        return nullptr;
    }
    entry->second.isLine = true;
    entry->second.line = name.place.line;
    return &entry->second;
}

Symbol* Names::find(std::string_view name) {
    const auto entry = symbols.find(name);
    return entry == symbols.end() ? nullptr : &entry->second;
}

Value Names::refuseUnknown(const Token& name) {
    if (context.isFull())
        return context.refuse(name.place, "");
    if (const char* const meant = meantBy(foreignWords, name.text))
        return context.refuse(name.place, "nothing is called " + cited(name.text),
                              std::string("write ") + meant);
    if (findFunction(name.text))
        return context.refuse(name.place, cited(name.text) + " is a function",
                              std::string("write ") + findFunction(name.text)->about.usage);
    NearName near(name.text);
    for (const auto& word : words)
        near.consider(word.name);
    for (const std::string_view word : {"index", "row", "column"})
        near.consider(word);
    // The map has no order, and the answer must not depend on it.
    std::vector<std::string_view> known;
    for (const auto& [symbol, about] : symbols)
        known.push_back(symbol);
    std::sort(known.begin(), known.end());
    for (const std::string_view symbol : known)
        near.consider(symbol);
    std::string right = near.question();
    if (right.empty())
        right =
            "bind an array of this name, or declare it: field " + nameText(name.text) + " : f32";
    return context.refuse(name.place, "nothing is called " + cited(name.text), right);
}

Value Names::refuseUnknownFunction(const Token& name) {
    if (context.isFull())
        return context.refuse(name.place, "");
    if (const RefusedFunction* const refused = findRefused(name.text))
        return context.refuse(name.place, std::string(refused->name) + " " + refused->wrong,
                              refused->right);
    if (const Symbol* const symbol = find(name.text))
        return context.refuse(
            name.place, cited(name.text) + " is " + sortInWords(*symbol) + ", not a function",
            "write * for a product, or " + nameText(name.text) + "[e] for an element");
    if (const char* const meant = meantBy(foreignKinds, name.text); meant && findFunction(meant))
        return context.refuse(name.place, cited(name.text) + " is no kind",
                              "write " + std::string(meant).append("(x)"));
    NearName near(name.text);
    for (const FormulaFunction& function : formulaFunctions())
        near.consider(function.name);
    std::string right = near.question();
    if (right.empty())
        right = "declare a sampler of this name: sampler " + nameText(name.text) + "(f32) : f32";
    return context.refuse(name.place, "there is no function " + cited(name.text), right);
}

} // namespace Fenlet::Formulas
