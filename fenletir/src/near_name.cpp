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

/// The cost of a replacement, in halves.
std::size_t replacement(char a, char b) {
    if (a == b)
        return 0;
    return lower(a) == lower(b) ? 1 : 2;
}

/// The distance of Damerau and Levenshtein, without repeated edits of one place, in half letters.
/// The names are at most `longestCompared` bytes long.
std::size_t distance(std::string_view a, std::string_view b) {
    using Row = std::array<std::size_t, longestCompared + 1>;
    Row before{};
    Row last{};
    Row row{};
    for (std::size_t j = 0; j <= b.size(); ++j)
        last[j] = 2 * j;
    for (std::size_t i = 1; i <= a.size(); ++i) {
        row[0] = 2 * i;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            row[j] = std::min(
                {last[j] + 2, row[j - 1] + 2, last[j - 1] + replacement(a[i - 1], b[j - 1])});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1])
                row[j] = std::min(row[j], before[j - 2] + 2);
        }
        before = last;
        last = row;
    }
    return last[b.size()];
}

} // namespace

NearName::NearName(std::string_view newWanted)
    : wanted(newWanted), limit(std::max<std::size_t>(2, newWanted.size() / 3 * 2)) {}

void NearName::consider(std::string_view candidate) {
    const std::size_t letters = std::max(wanted.size(), candidate.size());
    const std::size_t lengths = letters - std::min(wanted.size(), candidate.size());
    if (letters > longestCompared || 2 * lengths > limit)
        return;
    // Half of the letters must be left, so that x is not taken for y.
    const std::size_t found = distance(wanted, candidate);
    if (found > std::min(limit, letters) || (found == limit && !nearest.empty()))
        return;
    nearest = candidate;
    limit = found;
}

std::string NearName::question() const {
    return nearest.empty() ? "" : "did you mean " + Text::quoted(nearest) + "?";
}

} // namespace Fenlet
