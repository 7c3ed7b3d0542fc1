// The names of the refusals.
#include <fenletexec/exec_refusal.h>

namespace Fenlet {

const char* execRefusalName(ExecRefusal refusal) {
    switch (refusal) {
    case ExecRefusal::None:
        break;
    case ExecRefusal::NotConfigured:
        return "NotConfigured";
    case ExecRefusal::StaleOpCodeTable:
        return "StaleOpCodeTable";
    case ExecRefusal::UnsupportedFormat:
        return "UnsupportedFormat";
    case ExecRefusal::ScratchRefused:
        return "ScratchRefused";
    case ExecRefusal::BadRegister:
        return "BadRegister";
    case ExecRefusal::BadImmediate:
        return "BadImmediate";
    case ExecRefusal::ArityMismatch:
        return "ArityMismatch";
    case ExecRefusal::MultiplicityMismatch:
        return "MultiplicityMismatch";
    case ExecRefusal::KindMismatch:
        return "KindMismatch";
    case ExecRefusal::UnboundField:
        return "UnboundField";
    case ExecRefusal::UnboundUniform:
        return "UnboundUniform";
    case ExecRefusal::UnboundSampler:
        return "UnboundSampler";
    case ExecRefusal::ProviderFailed:
        return "ProviderFailed";
    }
    return "None";
}

} // namespace Fenlet
