// Conversion of a register's lanes to the kinds of arrays, some of which cannot hold every value.
#pragma once

#include "lane_conversions.h"

#include <fenlethosts/array_store.h>

#include <cstdint>

namespace Fenlet {

/// Whether an array's kind can hold the values of a register's kind.
enum class Storing {
    Never,   ///< truth values to numbers or numbers to truth values, or a kind without storage
    ToWhole, ///< floats to integers
    Some,    ///< the array cannot hold every value
    All,
};
Storing storingOf(ArrayKind to, CpuElementKind from);

/// Clears `fits[i]` for each of `count` elements with a component that the array cannot hold.
using FitMark = void (*)(unsigned char* fits, const unsigned char* in, std::int64_t count,
                         std::int64_t components);

/// The functions that convert lanes for an array.
struct LaneStoring {
    LaneConversion convert = nullptr; ///< null if the rules do not allow it
    FitMark mark = nullptr;           ///< null if no value becomes missing
};
LaneStoring laneStoring(ArrayKind to, CpuElementKind from, const OutputRules& rules);

/// Stores component `component` of `value` in `lane`. Returns false if an array of this kind cannot
/// hold the component: an integer must be held exactly, and a finite number must stay finite.
bool storeConstant(ArrayKind kind, const Constant& value, std::size_t component,
                   unsigned char* lane);

} // namespace Fenlet
