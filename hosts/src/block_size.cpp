// How many elements to work on at a time.
#include <fenletexec/element_kinds.h>
#include <fenlethosts/block_size.h>

#include <cstdint>

namespace Fenlet {
namespace {

constexpr int smallest = 256;
constexpr int largest = 8192;
/// What the smallest first-level caches in use have. Shorter blocks would pay more for what each
/// step costs by itself; longer ones ask for more memory at a time than a processor can keep on the
/// way: measured, sizes around this one were among the fastest for every program that bench/ has.
constexpr std::int64_t roomForRegisters = 32 * 1024;

/// Bytes of all registers for one element, values and validity, or so many that not even the
/// smallest block has room.
std::int64_t bytesOfElement(const FenletProgram& program) {
    std::int64_t bytes = 0;
    for (std::int32_t number = 0; number < program.registerCount() && bytes < roomForRegisters;
         ++number) {
        const RegisterInfo& info = program.registerInfo(number);
        if (info.multiplicity > 0)
            bytes += std::int64_t{elementSize(blockElement(info.format))} * info.multiplicity + 1;
    }
    return bytes;
}

} // namespace

int adviseBlockSize(const FenletProgram& program) {
    const std::int64_t bytes = bytesOfElement(program);
    int size = smallest;
    while (size < largest && bytes * size * 2 <= roomForRegisters)
        size *= 2;
    return size;
}

} // namespace Fenlet
