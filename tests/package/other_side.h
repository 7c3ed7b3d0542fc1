// Host classes that are derived in a separate library.
#pragma once

#include <fenletexec/interpreter.h>

namespace Fenlet::Package {

/// The object that the library makes: it is both a field and a sink.
struct MadeElsewhere {
    CpuFieldAccessor* field;
    BlockSink* sink;
    bool* destroyed; ///< set to true when the object is destroyed
};

/// The type of `makeElsewhere`, which the library exports by that name.
using MakeElsewhere = MadeElsewhere();

} // namespace Fenlet::Package
