#include "text_registers.h"

#include "formats.h"
#include "text_words.h"

#include <limits>
#include <utility>

namespace Fenlet::Text {
namespace {

constexpr const char* typeExpected = "a type such as f32 or i64x3";

/// Reads a format without components. Nothing if no format comes next.
std::optional<RegisterFormat> readFormat(TextCursor& cursor) {
    for (std::int32_t number = 0; number < formatCount; ++number) {
        const auto format = static_cast<RegisterFormat>(number);
        if (cursor.acceptHere(factsOf(format).word))
            return format;
    }
    if (!cursor.acceptHere("format("))
        return std::nullopt;
    const auto number = cursor.number<std::int32_t>("the format number");
    if (!number || !cursor.expect(')', "after the format number"))
        return std::nullopt;
    return static_cast<RegisterFormat>(*number);
}

std::optional<RegisterInfo> readType(TextCursor& cursor) {
    cursor.skipSpace();
    const std::size_t begin = cursor.offset();
    const std::optional<RegisterFormat> format = readFormat(cursor);
    if (!format) {
        NearName near(cursor.nextWord());
        for (const FormatFacts& facts : formatTable)
            near.consider(facts.word);
        cursor.failExpecting(typeExpected, near);
        return std::nullopt;
    }
    RegisterInfo type;
    type.format = *format;
    if (cursor.acceptHere("x")) {
        const auto multiplicity = cursor.number<std::int32_t>("the multiplicity");
        if (!multiplicity)
            return std::nullopt;
        type.multiplicity = *multiplicity;
    }
    const std::size_t end = cursor.offset();
    cursor.skipWhile([](char byte, char) { return isWordByte(byte); });
    if (cursor.offset() == end)
        return type;
    cursor.fail(begin,
                std::string("expected ") + typeExpected + ", found " + cited(cursor.since(begin)));
    return std::nullopt;
}

std::optional<std::int32_t> readNumber(TextCursor& cursor) {
    const std::size_t begin = cursor.offset();
    const auto number = cursor.number<std::int32_t>("the register number");
    if (number && *number < 0) {
        cursor.fail(begin, "a register number cannot be negative");
        return std::nullopt;
    }
    return number;
}

std::string severalNamed(const std::string& name) {
    return "several registers are named " + cited(name) + "; use its number instead";
}

} // namespace

std::optional<Target> RegisterTable::readTarget(TextCursor& cursor) const {
    cursor.skipSpace();
    Target target;
    target.offset = cursor.offset();
    if (cursor.accept('%')) {
        target.number = readNumber(cursor);
        if (!target.number)
            return std::nullopt;
    }
    if (cursor.isAtName() || !target.number) {
        std::optional<std::string> name = cursor.name("%3, height");
        if (!name)
            return std::nullopt;
        target.name = std::move(*name);
    }
    if (cursor.accept(':')) {
        target.type = readType(cursor);
        if (!target.type)
            return std::nullopt;
    }
    return lookUp(cursor, target) ? std::optional<Target>(std::move(target)) : std::nullopt;
}

/// Finds out whether the target is already declared. Fails if the line does not give what a new or
/// an existing register needs.
bool RegisterTable::lookUp(TextCursor& cursor, Target& target) const {
    if (target.number && entries.count(*target.number) > 0)
        target.existing = target.number;
    else if (!target.number && !lookUpName(cursor, target))
        return false;
    if (!target.existing)
        return target.type || cursor.failExpecting("\":\" and the type of a new register");
    const bool isNamedAgain = target.number && !target.name.empty();
    if (!target.type && !isNamedAgain)
        return true;
    return cursor.fail(target.offset,
                       declaredAlready(cursor, *target.existing) +
                           (target.number ? "; to write it again, give its number alone"
                                          : "; to write it again, give its name without a type"));
}

bool RegisterTable::lookUpName(TextCursor& cursor, Target& target) const {
    const std::int32_t found = target.name.empty() ? NameTable::none : names.find(target.name);
    if (found == NameTable::several)
        return cursor.fail(target.offset, severalNamed(target.name));
    if (found != NameTable::none)
        target.existing = found;
    return true;
}

std::optional<std::int32_t> RegisterTable::readReference(TextCursor& cursor) const {
    cursor.skipSpace();
    const std::size_t begin = cursor.offset();
    if (cursor.accept('%')) {
        const std::optional<std::int32_t> number = readNumber(cursor);
        if (!number || entries.count(*number) > 0)
            return number;
        cursor.fail(begin, "no register %" + std::to_string(*number) + " is declared above");
        return std::nullopt;
    }
    if (!cursor.isAtName()) {
        cursor.failExpecting("a register, by name or by number such as %3");
        return std::nullopt;
    }
    const std::optional<std::string> name = cursor.name("height");
    if (!name)
        return std::nullopt;
    const std::int32_t found = names.find(*name);
    if (found >= 0)
        return found;
    cursor.fail(begin,
                found == NameTable::several
                    ? severalNamed(*name)
                    : "no register " + cited(*name) + " is declared above" + names.nearest(*name));
    return std::nullopt;
}

std::optional<std::int32_t> RegisterTable::declare(TextCursor& cursor, const Target& target) {
    if (target.existing)
        return target.existing;
    std::int32_t number = 0;
    if (target.number)
        number = *target.number;
    else if (!entries.empty()) {
        const std::int32_t highest = entries.rbegin()->first;
        if (highest == std::numeric_limits<std::int32_t>::max()) {
            cursor.fail(target.offset,
                        "no register number is left after %" + std::to_string(highest));
            return std::nullopt;
        }
        number = highest + 1;
    }
    Entry& entry = entries[number];
    entry.info = *target.type;
    entry.info.name = target.name;
    entry.declaredAt = target.offset;
    if (!target.name.empty())
        names.add(target.name, number);
    return number;
}

bool RegisterTable::markOutput(std::int32_t number) {
    return !std::exchange(entries.at(number).info.output, true);
}

std::string RegisterTable::declaredAlready(const TextCursor& cursor, std::int32_t number) const {
    return "register %" + std::to_string(number) + " is already declared in line " +
           std::to_string(cursor.lineOf(entries.at(number).declaredAt));
}

std::optional<std::vector<RegisterInfo>> RegisterTable::finish(TextCursor& cursor) {
    std::vector<RegisterInfo> registers;
    registers.reserve(entries.size());
    for (auto& [number, entry] : entries) {
        const auto expected = static_cast<std::int32_t>(registers.size());
        if (number != expected) {
            cursor.fail(entry.declaredAt, "register numbers must have no gaps, but %" +
                                              std::to_string(expected) + ", below %" +
                                              std::to_string(number) + ", is not declared");
            return std::nullopt;
        }
        registers.push_back(std::move(entry.info));
    }
    return registers;
}

} // namespace Fenlet::Text
