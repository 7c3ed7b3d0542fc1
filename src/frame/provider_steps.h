// The steps that ask the host for values.
#pragma once

#include "frame/step_frame.h"
#include "vocabulary/faults.h"

namespace Fenlet {

Fault runLoadUniform(const StepFrame& frame);
Fault runLoadField(const StepFrame& frame);
Fault runSample(const StepFrame& frame);

} // namespace Fenlet
