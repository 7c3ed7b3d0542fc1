// The evaluator's internal headers that this library uses. Only the kernels in the folder `fused`
// include others.
//
// A shared library contains the kernels' objects, hidden, so that the evaluator need not export
// them.
#pragma once

// This must come first: some of its enumerators have names that the kernels use for types.
// clang-format off
#include <fenlethosts/array_view.h>
// clang-format on

#include "kernels/arithmetic/arithmetic.h"
#include "kernels/boolean/boolean.h"
#include "kernels/comparisons/comparisons.h"
#include "kernels/elements/elements.h"
#include "kernels/select/select.h"
#include "kernels/unary/unary.h"
#include "sources/broadcast_value.h"
#include "sources/component.h"
#include "sources/field_indices.h"
#include "sources/load_constant.h"
