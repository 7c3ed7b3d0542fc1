// What this library uses of the evaluator's inside, and all of it: nothing else here includes the
// evaluator's own sources.
//
// The kernels come as objects into this library, hidden, so that the evaluator need not export
// them.
#pragma once

// This comes first: the enumerators in there have names that the kernels give to types.
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
