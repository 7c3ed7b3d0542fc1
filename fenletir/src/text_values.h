// Reads the values of constants.
#pragma once

#include "text_cursor.h"

#include <fenletir/program.h>

#include <optional>

namespace Fenlet::Text {

/// Reads `true`, `0.5`, `(1, 2, 3)` or the raw notation. Nothing after a failure.
std::optional<Constant> readConstant(TextCursor& cursor);

} // namespace Fenlet::Text
