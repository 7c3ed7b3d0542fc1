// Uniforms from a small table.
#pragma once

#include <fenletexec/providers.h>
#include <fenlethosts/export.h>
#include <fenletir/program.h>

#include <vector>

namespace Fenlet {

/// Serves values by the uniform's number in the program.
///
/// Numbers are converted to the kind that is asked for as every conversion of the library is. It
/// declines a uniform that has no value, another number of components than the value has, and a
/// truth value for a number or the other way round.
class FENLETHOSTS_API UniformTable final : public UniformSource {
  public:
    UniformTable();
    ~UniformTable() override;

    /// Gives uniform `index` a value, in the place of an earlier one:
    /// `table.set(0, Constant::ofReals({0.5}))`. Throws `std::invalid_argument` for a negative
    /// number, and for a constant that holds no value or other components than it says. The table
    /// is as it was after that, and after the allocator's exception.
    void set(std::int32_t index, Constant value);

    bool fetch(int index, CpuElementKind kind, int multiplicity, void* out) override;

  private:
    struct Entry {
        bool isSet = false;
        Constant value;
    };
    std::vector<Entry> entries;
};

} // namespace Fenlet
