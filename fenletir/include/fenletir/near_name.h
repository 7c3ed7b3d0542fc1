// "Did you mean": the known name that is nearest to a misspelt one.
#pragma once

#include <fenletir/export.h>

#include <cstddef>
#include <string>
#include <string_view>

namespace Fenlet {

/// Finds the nearest of several candidates by the number of letters that must be inserted, removed,
/// replaced or exchanged with their neighbour. Upper and lower case count as the same.
///
///     NearName near("nri");
///     near.consider("nir");
///     near.consider("red");
///     near.best(); // "nir"
class FENLETIR_API NearName {
  public:
    /// `wanted` is borrowed.
    explicit NearName(std::string_view wanted);

    /// The candidate is borrowed until the last call of `best`.
    void consider(std::string_view candidate);

    /// The nearest candidate; the first of several that are equally near. Empty if none is near
    /// enough: about one letter in three may differ. Names longer than 64 bytes are never near.
    std::string_view best() const { return nearest; }

    /// `did you mean "nir"?`, or empty.
    std::string question() const;

  private:
    std::string_view wanted;
    std::string_view nearest;
    std::size_t limit; ///< the greatest distance that is still accepted
};

} // namespace Fenlet
