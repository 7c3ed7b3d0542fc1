// Programs by chance that every verifier passes.
#pragma once

#include "../model/random_program.h"

#include <fenletir/program.h>

namespace Fenlet {

/// A program of up to 30 instructions over two fields and more, uniforms and a sampler. Every
/// operand is written before it is read. Registers may be written more than once, also by
/// instructions that read them.
FenletProgram soundProgram(Model::Chance& chance);

} // namespace Fenlet
