// How many elements to work on at a time.
#pragma once

#include <fenlethosts/export.h>
#include <fenletir/program.h>

namespace Fenlet {

/// A block size for `program` that serves well on most machines: a power of two from 256 to 8,192.
/// All registers together stay in a core's first-level cache, unless blocks became so short by that
/// that what a step costs by itself would count. Results do not depend on it.
///
/// The program may be any, also one that `Interpreter::configure` refuses.
FENLETHOSTS_API int adviseBlockSize(const FenletProgram& program);

} // namespace Fenlet
