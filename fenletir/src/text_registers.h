// What a text has declared so far.
#pragma once

#include "text_cursor.h"

#include <fenletir/program.h>

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace Fenlet::Text {

/// Numbers by name. A name may stand for several.
class NameTable {
  public:
    static constexpr std::int32_t none = -1;
    static constexpr std::int32_t several = -2;

    void add(const std::string& name, std::int32_t number) {
        const auto [entry, isNew] = numbers.emplace(name, number);
        if (!isNew)
            entry->second = several;
    }

    /// The number, or `none` or `several`.
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
    std::optional<std::int32_t> existing; ///< its number if it is declared above
};

/// The registers that are declared above. They are kept by number, so that a high number takes no
/// more memory than a low one; whether any is missing turns out at the end of the text.
class RegisterTable {
  public:
    /// Reads a target and looks it up. A new one has a type.
    std::optional<Target> readTarget(TextCursor& cursor) const;
    /// Reads the number or name of a register that is declared above.
    std::optional<std::int32_t> readReference(TextCursor& cursor) const;
    /// The target's number, once it is declared. Nothing if no number is left.
    std::optional<std::int32_t> declare(TextCursor& cursor, const Target& target);
    /// Marks a register that is declared above as an output; false if it was one.
    bool markOutput(std::int32_t number);
    /// All registers in order. Fails if a number below the highest is missing.
    std::optional<std::vector<RegisterInfo>> finish(TextCursor& cursor);
    /// For a message: that register `number` is declared above, and where.
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
