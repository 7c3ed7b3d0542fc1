// The destructors of the host's classes. They stand here so that each class's virtual table and
// type information has one home, in this library.
#include <fenletexec/interpreter.h>
#include <fenletexec/providers.h>

namespace Fenlet {

CpuFieldAccessor::~CpuFieldAccessor() = default;
UniformSource::~UniformSource() = default;
FenletSampler::~FenletSampler() = default;
BlockSink::~BlockSink() = default;

} // namespace Fenlet
