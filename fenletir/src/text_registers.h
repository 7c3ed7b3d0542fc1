// The names and registers that a text has declared so far.
#pragma once

#include "text_cursor.h"

#include <fenletir/program.h>

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace Fenlet::Text {

/// Finds numbers by name. Several numbers can have the same name.
class NameTable {
  public:
    static constexpr std::int32_t none = -1;
    static constexpr std::int32_t several = -2;

    void add(const std::string& name, std::int32_t number) {
        const auto [entry, isNew] = numbers.emplace(name, number);
        if (!isNew)
            entry->second = several;
    }

    /// The nearest name for a message: `; did you mean "height"?`, or empty.
    std::string nearest(std::string_view name) const {
        NearName near(name);
        for (const auto& [candidate, number] : numbers)
            near.consider(candidate);
        return nearInWords(near);
    }

    /// The number with this name; `none` if there is none, `several` if there is more than one.
    std::int32_t find(const std::string& name) const {
        const auto entry = numbers.find(name);
        return entry == numbers.end() ? none : entry->second;
    }

  private:
    std::map<std::string, std::int32_t> numbers;
};

/// The register that a line declares or writes, as the line names it.
struct Target {
    std::size_t offset = 0;
    std::optional<std::int32_t> number;
    std::string name;
    std::optional<RegisterInfo> type;
    std::optional<std::int32_t> existing; ///< its number if it is already declared
};

/// The registers declared so far. They are kept in a map, so that a high register number takes no
/// more memory than a low one. `finish` checks that no number is missing, because later lines may
/// still declare it.
class RegisterTable {
  public:
    /// Reads a target and looks it up. If the register is new, the target has a type.
    std::optional<Target> readTarget(TextCursor& cursor) const;
    /// Reads the number or name of a declared register.
    std::optional<std::int32_t> readReference(TextCursor& cursor) const;
    /// Declares the target if it is new. Returns its number, or nothing if no number is left.
    std::optional<std::int32_t> declare(TextCursor& cursor, const Target& target);
    /// Marks a declared register as an output. Returns false if it already was one.
    bool markOutput(std::int32_t number);
    /// All registers in order. Fails if a number below the highest is missing.
    std::optional<std::vector<RegisterInfo>> finish(TextCursor& cursor);
    /// Says for a message that register `number` is already declared, and on which line.
    std::string declaredAlready(const TextCursor& cursor, std::int32_t number) const;

  private:
    struct Entry {
        RegisterInfo info;
        std::size_t declaredAt = 0;
    };

    bool lookUp(TextCursor& cursor, Target& target) const;
    bool lookUpName(TextCursor& cursor, Target& target) const;

    std::map<std::int32_t, Entry> entries;
    NameTable names;
};

} // namespace Fenlet::Text
