// Storing registers in arrays.
#pragma once

#include <fenletexec/element_kinds.h>
#include <fenlethosts/array_layout.h>
#include <fenlethosts/array_view.h>
#include <fenlethosts/export.h>
#include <fenletir/program.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace Fenlet {

/// What happens to a value that the array's kind cannot hold. Ignored if the array's kind can hold
/// every value of the register's kind.
enum class Narrowing {
    /// The array is refused.
    Refuse,
    /// In an array of integers, integers wrap around: they are stored modulo 2 to the power of the
    /// array's bits.
    Wrap,
    /// The array gets the nearest value that it can hold. In an array of floats, values round to
    /// nearest, ties to even; a finite value that would become infinite becomes the largest finite
    /// one with its sign. Infinities stay infinite and NaNs stay NaNs.
    Saturate,
    /// An element becomes missing if one of its components does not fit. An integer fits if the
    /// array can hold it exactly. A float fits unless it is finite and rounds to an infinity.
    /// Floats round to nearest, ties to even.
    Missing,
};

/// What is stored in a `Bool` array for an unknown truth value. In a register, every byte except 0
/// and 1 is unknown.
enum class UnknownAs {
    Refuse, ///< the array is refused
    False,
    True,
    Missing, ///< an element becomes missing if one of its components is unknown
};

/// What to do with values that an array cannot hold.
struct OutputRules {
    Narrowing narrowing = Narrowing::Refuse;
    UnknownAs unknown = UnknownAs::Refuse;
    /// What is stored for a missing element: either as many components as the array has, or a
    /// single component that is stored in each component of the element.
    std::optional<Constant> fill;
};

/// Stores the elements of a register in an array, block by block.
///
/// | element                                       | stored value                    | presence |
/// |-----------------------------------------------|---------------------------------|----------|
/// | valid, and the value fits                     | the value, converted            | 1        |
/// | missing, with a fill value                    | the fill value                  | 0        |
/// | missing in the register, without a fill value | the register's value, converted | 0        |
/// | missing by a rule, without a fill value       | zero bytes                      | 0        |
///
/// An element that lies outside the array is not stored. Nothing but elements and their presence is
/// written: the other bits in a byte of presence bits keep their values.
///
/// Several threads may store different elements at the same time, through one object or several. A
/// store that writes only some bits of a presence byte uses atomic operations. Presence and values
/// must not share bytes.
class FENLETHOSTS_API ArrayStore {
  public:
    /// Says why a register of this kind and number of components cannot be stored in the array, and
    /// what would be right; empty if it can. `canBeMissing` says whether the register may have
    /// invalid elements.
    static std::string faultOf(const MutableArrayView& array, CpuElementKind kind,
                               std::int32_t components, bool canBeMissing,
                               const OutputRules& rules);

    /// The array's memory is borrowed and must outlive the store. Throws `std::invalid_argument`
    /// with the text of `faultOf` if the register cannot be stored.
    ArrayStore(const MutableArrayView& array, CpuElementKind kind, std::int32_t components,
               bool canBeMissing, const OutputRules& rules);
    ~ArrayStore();

    /// Stores elements `first` to `first + count - 1` of the view. `values` has their components,
    /// packed. `validity` has a byte for each element, 0 for a missing one; null if none is
    /// missing. Elements that the view does not have are skipped. Allocates nothing.
    void store(std::int64_t first, std::int64_t count, const unsigned char* values,
               const unsigned char* validity) const;

    /// Stores only the presence of these elements. For a caller that has computed the values in the
    /// array itself. `validity` is as for `store`; the rules are not applied. Does nothing if the
    /// array has no presence.
    void storePresence(std::int64_t first, std::int64_t count, const unsigned char* validity) const;

    const ArrayLayout& layout() const { return places; }
    /// Whether every element, even a missing one, is stored exactly as it is in the register. If
    /// so, a run may use the array itself as the register's memory.
    bool keepsEveryByte() const { return isKept && fillElement.empty(); }

  private:
    void storeValues(std::int64_t first, std::int64_t count, const unsigned char* values,
                     const unsigned char* kept) const;
    void storeRun(unsigned char* out, std::int64_t count, const unsigned char* values,
                  const unsigned char* kept) const;
    void storePresent(std::int64_t first, std::int64_t count, const unsigned char* present) const;

    ArrayLayout places;
    unsigned char* data;
    unsigned char* presence;
    void (*convert)(unsigned char* out, const unsigned char* in, std::int64_t lanes) = nullptr;
    void (*mark)(unsigned char* fits, const unsigned char* in, std::int64_t count,
                 std::int64_t components) = nullptr;
    std::vector<unsigned char> fillElement;        ///< packed; empty without a fill value
    std::vector<unsigned char> replacementElement; ///< packed; zero bytes without a fill value
    std::int64_t registerBytes;                    ///< of one element
    bool isKept;                                   ///< lanes are stored as they are
};

} // namespace Fenlet
