// How many elements to work on at a time.
#pragma once

#include <fenlethosts/export.h>
#include <fenletir/program.h>

namespace Fenlet {

/// A block size for `program` that serves well on most machines: a power of two from 128 to 2,048.
/// Longer blocks share the fixed cost of each step among more elements, but their registers fit
/// into the caches less well. Results do not depend on the block size.
///
/// Any program may be passed, even one that `Interpreter::configure` refuses. Throws only the
/// allocator's exception.
FENLETHOSTS_API int adviseBlockSize(const FenletProgram& program);

} // namespace Fenlet
