// The data of the measured programs.
#pragma once

#include <fenletexec/element_kinds.h>
#include <fenlethosts/array_field.h>

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace Fenlet::Bench {

/// One array: `components` components of `kind` for each element, the components of one element
/// adjacent.
struct DataArray {
    CpuElementKind kind = CpuElementKind::Unsupported;
    std::int32_t components = 1;
    std::vector<unsigned char> bytes;

    std::int64_t count() const {
        return static_cast<std::int64_t>(bytes.size()) / (elementSize(kind) * components);
    }
    /// The first element. `Value` is the type of the kind.
    template <class Value>
    const Value* as() const {
        return static_cast<const Value*>(static_cast<const void*>(bytes.data()));
    }
    ArrayView view() const { return {bytes.data(), kind, count(), components, 0, nullptr}; }
};

/// The names of all arrays: `draw` knows these and no others.
const std::vector<std::string>& arrayNames();

/// Makes the array of this name with `count` elements: the same numbers on every machine and in
/// every run. `table` always has 4,000,000 elements, 16 MB. Throws `std::invalid_argument` for an
/// unknown name.
DataArray draw(const std::string& name, std::int64_t count);

/// Arrays by name. Each array is made when it is first needed, and then kept.
class WorkloadData {
  public:
    using Source = std::function<DataArray(const std::string& name)>;

    /// Arrays made by `draw`, of `count` elements.
    explicit WorkloadData(std::int64_t count);
    /// Arrays from a folder. Each file has the name of an array, and contains what `draw` made.
    explicit WorkloadData(const std::string& folder);

    const DataArray& operator[](const std::string& name);

  private:
    Source make;
    std::map<std::string, DataArray> arrays;
};

} // namespace Fenlet::Bench
