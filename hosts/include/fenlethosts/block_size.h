// How many elements to work on at a time.
#pragma once

#include <fenlethosts/export.h>
#include <fenletir/program.h>

namespace Fenlet {

/// A block size for `program` that serves well on most machines: a power of two from 128 to 2,048.
/// It weighs what each step costs once a block against the caches, which the registers of a long
/// block do not fit into. Results do not depend on the block size.
///
/// Any program may be passed, even one that `Interpreter::configure` refuses. Throws only the
/// allocator's exception.
FENLETHOSTS_API int adviseBlockSize(const FenletProgram& program);

} // namespace Fenlet
