// Collects what is wrong with a formula.
#pragma once

#include <fenletir/formula.h>

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

namespace Fenlet::Formulas {

class Complaints {
  public:
    /// Whether further errors are only counted, so that nobody needs to put them into words.
    bool isFull() const { return found.size() >= mostFormulaErrors; }
    /// Whether there was an error beyond those that are listed: then the rest of the text is left.
    bool isOverfull() const { return hasMore; }
    bool isEmpty() const { return found.empty(); }

    void add(SourceSpan place, std::string wrong, std::string right) {
        if (isFull())
            hasMore = true;
        else
            found.push_back({place, std::move(wrong), std::move(right)});
    }

    /// Moves the errors into `result`, in the order of the text.
    void report(std::string_view text, FormulaResult& result) {
        std::stable_sort(found.begin(), found.end(), [](const Entry& a, const Entry& b) {
            return a.place.offset < b.place.offset;
        });
        for (Entry& entry : found)
            result.errors.push_back(
                diagnosticAt(text, entry.place, std::move(entry.wrong), std::move(entry.right)));
        result.hasMoreErrors = hasMore;
    }

  private:
    struct Entry {
        SourceSpan place;
        std::string wrong;
        std::string right;
    };
    std::vector<Entry> found;
    bool hasMore = false;
};

} // namespace Fenlet::Formulas
