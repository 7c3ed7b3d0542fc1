// A table of uniforms.
#pragma once

#include <fenletexec/providers.h>
#include <fenlethosts/export.h>
#include <fenletir/program.h>

#include <vector>

namespace Fenlet {

/// Serves values by the uniform's number in the program.
///
/// Numbers are converted to the requested kind by the library's own conversions. A request is
/// declined if the uniform has no value, if the value has a different number of components, or if
/// the request is for a number and the value is a truth value, or the reverse.
class FENLETHOSTS_API UniformTable final : public UniformSource {
  public:
    UniformTable();
    ~UniformTable() override;

    /// Sets or replaces the value of uniform `index`: `table.set(0, Constant::ofReals({0.5}))`.
    /// Throws `std::invalid_argument` for a negative number, and for a constant whose
    /// `multiplicity` is not its number of values. If it throws, the table stays as it was.
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
