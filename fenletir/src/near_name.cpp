#include "text_words.h"

#include <fenletir/near_name.h>

#include <algorithm>
#include <array>

namespace Fenlet {
namespace {

constexpr std::size_t longestCompared = 64;

char lower(char letter) {
    return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

/// The distance of Damerau and Levenshtein, without repeated edits of one place. The names are at
/// most `longestCompared` bytes long.
std::size_t distance(std::string_view a, std::string_view b) {
    using Row = std::array<std::size_t, longestCompared + 1>;
    Row before{};
    Row last{};
    Row row{};
    const auto isSame = [&](std::size_t i, std::size_t j) { return lower(a[i]) == lower(b[j]); };
    for (std::size_t j = 0; j <= b.size(); ++j)
        last[j] = j;
    for (std::size_t i = 1; i <= a.size(); ++i) {
        row[0] = i;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            row[j] = std::min(
                {last[j] + 1, row[j - 1] + 1, last[j - 1] + (isSame(i - 1, j - 1) ? 0 : 1)});
            if (i > 1 && j > 1 && isSame(i - 1, j - 2) && isSame(i - 2, j - 1))
                row[j] = std::min(row[j], before[j - 2] + 1);
        }
        before = last;
        last = row;
    }
    return last[b.size()];
}

} // namespace

NearName::NearName(std::string_view newWanted)
    : wanted(newWanted), limit(std::max<std::size_t>(1, newWanted.size() / 3)) {}

void NearName::consider(std::string_view candidate) {
    const std::size_t letters = std::max(wanted.size(), candidate.size());
    const std::size_t fewer = std::min(wanted.size(), candidate.size());
    if (letters > longestCompared || letters - fewer > limit)
        return;
    // Half of the letters must be left, so that x is not taken for y.
    const std::size_t found = distance(wanted, candidate);
    if (found > limit || 2 * found > letters || (found == limit && !nearest.empty()))
        return;
    nearest = candidate;
    limit = found;
}

std::string NearName::question() const {
    return nearest.empty() ? "" : "did you mean " + Text::quoted(nearest) + "?";
}

} // namespace Fenlet
