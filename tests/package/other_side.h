// Host classes that are derived in a separate library.
#pragma once

#include <fenletexec/interpreter.h>

namespace Fenlet::Package {

/// What the library makes: one object that is a field, and a sink as well.
struct MadeElsewhere {
    CpuFieldAccessor* field;
    BlockSink* sink;
    bool* destroyed; ///< becomes true with the object
};

/// The type of `makeElsewhere`, which the library exports by that name.
using MakeElsewhere = MadeElsewhere();

} // namespace Fenlet::Package
