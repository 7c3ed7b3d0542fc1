// A formula as a tree: nodes in one array, each after its operands.
#pragma once

#include "formula_tokens.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Fenlet::Formulas {

enum class NodeSort : std::uint8_t {
    Bad, ///< could not be read
    Number,
    Name,
    Negate,    ///< `first`
    Plus,      ///< `first`, with a plus sign before it
    Not,       ///< `first`, by `not` or `~`
    Binary,    ///< `first` and `second`, joined by `mark`
    Power,     ///< `first` to the power `second`, a number
    Component, ///< component `second`, a number, of `first`
    Element,   ///< the field `token` at the element number `first`
    Call,      ///< `token` with `second` arguments, from `first` in `Tree::arguments`
    Shift,     ///< the field `token` moved by `second` numbers, from `first` in `Tree::offsets`
};

struct Node {
    NodeSort sort = NodeSort::Bad;
    Mark mark = Mark::None;
    bool isEnclosed = false; ///< in parentheses
    std::int32_t first = -1;
    std::int32_t second = -1;
    std::uint32_t token = 0; ///< of a number or name
    SourceSpan place;
};

/// `name = expression`, or an expression alone. Its nodes are `begin` to `end` - 1, the last of
/// them the whole expression.
struct Statement {
    std::int32_t begin = 0;
    std::int32_t end = 0;
    std::int32_t name = -1;      ///< its token, or -1
    bool isMarkedOutput = false; ///< by the word
    SourceSpan place;
};

/// A declaration in the text.
struct DeclaredName {
    FormulaSort sort = FormulaSort::Field;
    bool isGrid = false;
    bool isBad = false;            ///< could not be read completely, which is reported
    std::uint32_t name = 0;        ///< its token
    std::int32_t kind = -1;        ///< the token of the kind, or -1
    std::int32_t coordinates = -1; ///< the token of the coordinates' kind, or -1
};

struct Tree {
    Tokens tokens;
    std::vector<Node> nodes;
    std::vector<std::int32_t> arguments; ///< nodes
    std::vector<std::int64_t> offsets;
    std::vector<Statement> statements;
    std::vector<DeclaredName> declarations;

    const Token& tokenOf(const Node& node) const { return tokens.list[node.token]; }
};

/// Reads a formula. A statement with an error has a `Bad` node as its expression.
Tree parseFormula(std::string_view text, Complaints& complaints);

} // namespace Fenlet::Formulas
