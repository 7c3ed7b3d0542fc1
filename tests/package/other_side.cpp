// A library with a class derived from two host classes. It returns an object of this class as
// pointers to its bases.
#include "other_side.h"

namespace Fenlet::Package {
namespace {

bool destroyed = false;

class FieldAndSink final : public CpuFieldAccessor, public BlockSink {
  public:
    FieldAndSink() { destroyed = false; }
    ~FieldAndSink() override { destroyed = true; }
    bool read(const FieldRead&) override { return true; }
    bool consume(const RegisterFile&, long long, int) override { return true; }
};

} // namespace

extern "C" __attribute__((visibility("default"))) MadeElsewhere makeElsewhere() {
    auto* const made = new FieldAndSink;
    return {made, made, &destroyed};
}

} // namespace Fenlet::Package
