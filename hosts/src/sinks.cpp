// The sink that collects registers into arrays.
#include "fetch_ahead.h"

#include <fenlethosts/sinks.h>

#include <stdexcept>

namespace Fenlet {
namespace {

/// Writes 1 for every byte that is not 0. The pointers are parameters, not members: a byte store
/// may alias any member, and the compiler would then not vectorise the loop.
void keepTruth(unsigned char* __restrict out, const unsigned char* __restrict in,
               std::size_t count) {
    for (std::size_t i = 0; i < count; ++i)
        out[i] = in[i] != 0;
}

} // namespace

CollectingSink::CollectingSink(const RegisterFile& layout, const std::vector<int>& numbers,
                               long long newFirst, long long newCount)
    : first(newFirst), count(newCount > 0 ? newCount : 0) {
    for (const int number : numbers) {
        if (layout.data(number) == nullptr)
            throw std::invalid_argument("register " + std::to_string(number) +
                                        " is not a register of the program");
        CollectedRegister one;
        one.number = number;
        one.spec = layout.specOf(number);
        const auto elements = static_cast<std::size_t>(count);
        one.values.resize(elements * static_cast<std::size_t>(elementSize(one.spec.kind)) *
                          static_cast<std::size_t>(one.spec.multiplicity));
        one.validity.resize(elements);
        kept.push_back(std::move(one));
    }
}

CollectingSink::~CollectingSink() = default;

bool CollectingSink::consume(const RegisterFile& registers, long long blockStart, int blockCount) {
    // Element numbers wrap around, so their distance is computed in unsigned arithmetic, which
    // wraps around, too.
    const auto offset =
        static_cast<unsigned long long>(blockStart) - static_cast<unsigned long long>(first);
    const auto total = static_cast<unsigned long long>(count);
    const auto elements = static_cast<std::size_t>(blockCount);
    if (offset > total || elements > total - offset)
        return false;
    for (CollectedRegister& one : kept) {
        const auto bytes = static_cast<std::size_t>(elementSize(one.spec.kind)) *
                           static_cast<std::size_t>(one.spec.multiplicity);
        // Does not use non-temporal stores: they would need a fence after each block so that other
        // threads see the values, and the fence costs more than the stores save.
        unsigned char* const values = one.values.data() + offset * bytes;
        copyAndFetchAhead(values, static_cast<const unsigned char*>(registers.data(one.number)),
                          elements * bytes, values + elements * bytes);
        unsigned char* const validity = one.validity.data() + offset;
        fetchAhead(validity + elements, elements);
        keepTruth(validity, registers.validity(one.number), elements);
    }
    return true;
}

} // namespace Fenlet
