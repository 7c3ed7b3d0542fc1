// The digest of a fixed run of many programs. It must be the same for every compiler, optimisation
// level, instruction set and architecture.
#include "exact_number.h"
#include "random_program.h"

#include <fenletexec/interpreter.h>
#include <fenletir/verify.h>

#include <algorithm>
#include <gtest/gtest.h>

namespace Fenlet::Model {
namespace {

/// An FNV-1a digest of the values of lanes. It does not use their bytes in memory, so that it does
/// not depend on byte order.
class Digest {
  public:
    void add(std::uint64_t value) {
        for (int byte = 0; byte < 8; ++byte)
            state = (state ^ (value >> (8 * byte) & 0xFF)) * 0x100000001B3u;
    }
    std::uint64_t value() const { return state; }

  private:
    std::uint64_t state = 0xCBF29CE484222325u;
};

/// The lane's bits. All NaNs give the same bits, since IEEE 754 does not define which of two NaNs a
/// sum returns.
std::uint64_t laneBits(CpuElementKind kind, const unsigned char* lane) {
    const int size = elementSize(kind);
    std::uint64_t bits = 0;
    for (int byte = 0; byte < size; ++byte) {
        const bool bigEndian = __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__;
        bits |= std::uint64_t{lane[bigEndian ? size - 1 - byte : byte]} << (8 * byte);
    }
    return isNan(kind, bits) ? UINT64_MAX : bits;
}

class DigestingSink : public BlockSink {
  public:
    explicit DigestingSink(Digest& newDigest) : digest(newDigest) {}

    bool consume(const RegisterFile& registers, long long blockStart, int count) override {
        longest = std::max(longest, count);
        digest.add(static_cast<std::uint64_t>(blockStart));
        for (int number = 0; number < registers.registerCount(); ++number) {
            const RegisterSpec spec = registers.specOf(number);
            const unsigned char* lane = registers.data(number);
            for (int i = 0; i < count * spec.multiplicity; ++i, lane += elementSize(spec.kind))
                digest.add(laneBits(spec.kind, lane));
            for (int element = 0; element < count; ++element)
                digest.add(registers.validity(number)[element]);
        }
        return true;
    }

    int longest = 0; ///< elements of the longest block so far

  private:
    Digest& digest;
};

TEST(Golden, OneDigestForEveryMachine) {
    Digest digest;
    int ran = 0;
    int longBlocks = 0;
    for (std::uint64_t seed = 1; seed <= 4000; ++seed) {
        Case run = randomCase(seed);
        run.declineAtCall = -1;
        // A program that reads past its registers could read the bits of a NaN as a number.
        if (run.blockSize < 1 || !isSound(verifyProgram(run.program)))
            continue;
        Interpreter interpreter;
        RandomHost host(run);
        DigestingSink sink(digest);
        if (interpreter.configure(run.program, run.blockSize))
            ran += interpreter.evaluate(run.first, run.count, host.bindings(), sink);
        digest.add(interpreter.executedSteps());
        longBlocks += sink.longest > 512;
    }
    EXPECT_GT(ran, 1000);
    EXPECT_GT(longBlocks, 20);
    EXPECT_EQ(digest.value(), 9656694448021750422u);
}

} // namespace
} // namespace Fenlet::Model
