// Compares two results: compare OURS THEIRS TOLERANCE
//
// OURS and THEIRS are paths without their endings: PATH.npy holds the values, and PATH.present.npy
// says which elements are present. Without this file all elements are present. The same elements
// must be missing in both. Present values must be equal, or differ by at most TOLERANCE times the
// magnitude of ours; if this is below 1, by at most TOLERANCE. NaN equals NaN. Prints the largest
// difference, in this measure, or the first element that differs by more.
#include <fenlethosts/npy.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <iostream>
#include <string>

namespace {

using namespace Fenlet;

struct Answer {
    NpyArray values;
    NpyArray present; ///< empty if all are present
    std::int64_t count = 0;
    std::int64_t components = 1;

    explicit Answer(const std::string& path) : values(readNpy(path + ".npy")) {
        count = values.shape.empty() ? 1 : values.shape[0];
        components = count == 0 ? 1 : values.entryCount() / count;
        if (std::filesystem::exists(path + ".present.npy"))
            present = readNpy(path + ".present.npy");
        if (!present.bytes.empty() && present.entryCount() != count)
            throw FileError(path + ".present.npy has another number of elements");
    }
    bool isPresent(std::int64_t element) const {
        return present.bytes.empty() || present.bytes[static_cast<std::size_t>(element)] != 0;
    }
};

double halfValue(std::uint16_t bits) {
    const int exponent = bits >> 10 & 31;
    const int fraction = bits & 1023;
    const double sign = (bits & 0x8000) != 0 ? -1 : 1;
    if (exponent == 31)
        return fraction == 0 ? sign * HUGE_VAL : std::nan("");
    return sign * std::ldexp(exponent == 0 ? fraction : 1024 + fraction,
                             exponent == 0 ? -24 : exponent - 25);
}

template <class Value>
Value valueAt(const unsigned char* at) {
    Value value;
    std::memcpy(&value, at, sizeof(Value));
    return value;
}

double realAt(const NpyArray& array, std::int64_t entry) {
    const unsigned char* const at = array.bytes.data() + entry * elementSize(array.kind);
    switch (array.kind) {
    case CpuElementKind::Tribool:
        return *at;
    case CpuElementKind::Int32:
        return valueAt<std::int32_t>(at);
    case CpuElementKind::Int64:
        return static_cast<double>(valueAt<std::int64_t>(at));
    case CpuElementKind::Half:
        return halfValue(valueAt<std::uint16_t>(at));
    case CpuElementKind::Float32:
        return static_cast<double>(valueAt<float>(at));
    case CpuElementKind::Float64:
        return valueAt<double>(at);
    case CpuElementKind::Unsupported:
        break;
    }
    return 0;
}

/// 0 for equal values, infinity for values that cannot be compared. Zeros with different signs
/// differ.
double difference(double ours, double theirs) {
    if (std::isnan(ours) || std::isnan(theirs))
        return std::isnan(ours) && std::isnan(theirs) ? 0 : HUGE_VAL;
    if (ours == theirs)
        return std::signbit(ours) == std::signbit(theirs) ? 0 : HUGE_VAL;
    return std::abs(ours - theirs) / std::fmax(1, std::abs(ours));
}

/// Returns the exit status: 0 if the answers agree.
int compare(const Answer& ours, const Answer& theirs, double tolerance) {
    if (ours.count != theirs.count || ours.components != theirs.components) {
        std::cout << "another shape\n";
        return 1;
    }
    double largest = 0;
    for (std::int64_t element = 0; element < ours.count; ++element) {
        if (ours.isPresent(element) != theirs.isPresent(element)) {
            std::cout << "element " << element << " is missing on one side only\n";
            return 1;
        }
        if (!ours.isPresent(element))
            continue;
        for (std::int64_t component = 0; component < ours.components; ++component) {
            const std::int64_t entry = element * ours.components + component;
            const double our = realAt(ours.values, entry);
            const double their = realAt(theirs.values, entry);
            const double apart = difference(our, their);
            if (!(apart <= tolerance)) {
                std::cout.precision(17);
                std::cout << "element " << element << ": " << our << " and " << their << '\n';
                return 1;
            }
            largest = std::fmax(largest, apart);
        }
    }
    std::cout << largest << '\n';
    return 0;
}

} // namespace

int main(int argumentCount, char** arguments) {
    if (argumentCount != 4) {
        std::cerr << "usage: compare OURS THEIRS TOLERANCE\n";
        return 2;
    }
    try {
        return compare(Answer(arguments[1]), Answer(arguments[2]), std::atof(arguments[3]));
    } catch (const std::exception& problem) {
        std::cout << problem.what() << '\n';
        return 1;
    }
}
