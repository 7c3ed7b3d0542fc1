// A table of uniforms.
#include "lane_conversions.h"

#include <fenlethosts/uniform_table.h>

#include <stdexcept>
#include <utility>

namespace Fenlet {

UniformTable::UniformTable() = default;
UniformTable::~UniformTable() = default;

void UniformTable::set(std::int32_t index, Constant value) {
    if (index < 0)
        throw std::invalid_argument("the number of a uniform must not be negative");
    const bool isTribool = value.reals.empty() && value.integers.empty();
    const std::size_t components = isTribool ? 1 : value.reals.size() + value.integers.size();
    if ((!value.reals.empty() && !value.integers.empty()) || value.multiplicity < 1 ||
        static_cast<std::size_t>(value.multiplicity) != components)
        throw std::invalid_argument(
            "a uniform's value must have as many components as its multiplicity "
            "says, all of one sort");
    const auto place = static_cast<std::size_t>(index);
    if (place >= entries.size())
        entries.resize(place + 1);
    entries[place] = {true, std::move(value)};
}

bool UniformTable::fetch(int index, CpuElementKind kind, int multiplicity, void* out) {
    const auto place = static_cast<std::size_t>(index);
    if (index < 0 || place >= entries.size() || !entries[place].isSet)
        return false;
    const Constant& value = entries[place].value;
    if (value.multiplicity != multiplicity)
        return false;
    auto* const bytes = static_cast<unsigned char*>(out);
    const auto convertFrom = [&](CpuElementKind from, const void* components) {
        const LaneConversion convert = laneConversion(kind, from);
        if (convert != nullptr)
            convert(bytes, static_cast<const unsigned char*>(components), multiplicity);
        return convert != nullptr;
    };
    if (!value.reals.empty())
        return convertFrom(CpuElementKind::Float64, value.reals.data());
    if (!value.integers.empty())
        return convertFrom(CpuElementKind::Int64, value.integers.data());
    return convertFrom(CpuElementKind::Tribool, &value.boolean);
}

} // namespace Fenlet
