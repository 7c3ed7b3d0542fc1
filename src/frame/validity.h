// The validity that a step's result takes from its operands.
#pragma once

namespace Fenlet {

/// Writes 1 to result[i] where both operands' bytes i are not 0, else 0, for i below `count`. An
/// operand that is null counts as valid throughout; `result` may be either operand.
void combineValidity(unsigned char* result, const unsigned char* left, const unsigned char* right,
                     int count);

} // namespace Fenlet
