// Eigen's arrays: eigen_peer FOLDER
//
// Each workload has as few expressions as possible. They are compiled into loops; nothing is
// interpreted.
#include "protocol.h"

#include <Eigen/Core>
#include <iostream>
#include <memory>

namespace Fenlet::Bench {
namespace {

template <class Value>
using Column = Eigen::Array<Value, Eigen::Dynamic, 1>;
using Vectors = Eigen::Array<float, 3, Eigen::Dynamic>;

template <class Value>
Eigen::Map<const Column<Value>> column(WorkloadData& data, const char* name) {
    const DataArray& array = data[name];
    return {array.as<Value>(), array.count()};
}

Eigen::Map<const Vectors> vectors(WorkloadData& data) {
    const DataArray& array = data["vector"];
    return {array.as<float>(), 3, array.count()};
}

/// A workload whose `assign` sets the elements of an array of `Target`.
template <class Target, class Assign>
Prepared prepared(std::vector<std::string> arrays, CpuElementKind kind, std::int32_t components,
                  std::int64_t count, Assign assign) {
    auto out = std::make_shared<Target>();
    out->resize(Target::RowsAtCompileTime == 3 ? 3 : count,
                Target::RowsAtCompileTime == 3 ? count : 1);
    return {std::move(arrays), [out, assign] { assign(*out); },
            [out, kind, components, count] {
                return Result{kind, components, count, out->data(), nullptr};
            }};
}

Prepared vectorTimesUniform(WorkloadData& data) {
    const auto vector = vectors(data);
    return prepared<Column<float>>({"vector"}, CpuElementKind::Float32, 1, vector.cols(),
                                   [vector](Column<float>& out) {
                                       const auto first = (vector * 1.5F).row(0).transpose();
                                       out = (first > 0.0F).select(first, 1.0F);
                                   });
}

Prepared singleArithmetic(WorkloadData& data) {
    const auto a = column<float>(data, "a");
    const auto b = column<float>(data, "b");
    const auto c = column<float>(data, "c");
    const auto d = column<float>(data, "d");
    const auto e = column<float>(data, "e");
    return prepared<Column<float>>({"a", "b", "c", "d", "e"}, CpuElementKind::Float32, 1, a.size(),
                                   [=](Column<float>& out) { out = (a * b + c) / d - e; });
}

Prepared mixedKinds(WorkloadData& data) {
    const auto whole = column<std::int32_t>(data, "whole");
    const auto a = column<float>(data, "a");
    const auto wide = column<double>(data, "wide");
    return prepared<Column<float>>(
        {"whole", "a", "wide"}, CpuElementKind::Float32, 1, a.size(), [=](Column<float>& out) {
            out = ((whole.cast<double>() + a.cast<double>()) * wide).cast<float>();
        });
}

Prepared threeValued(WorkloadData& data) {
    const auto p = column<float>(data, "p");
    const auto q = column<float>(data, "q");
    const auto r = column<float>(data, "r");
    const auto isP = column<bool>(data, "p_present");
    const auto isQ = column<bool>(data, "q_present");
    const auto isR = column<bool>(data, "r_present");
    return prepared<Column<bool>>({"p", "q", "r", "p_present", "q_present", "r_present"},
                                  CpuElementKind::Tribool, 1, p.size(), [=](Column<bool>& out) {
                                      out = ((p < q && r > 0.5F && isQ) || p != r) && isP && isR;
                                  });
}

Prepared normalised(WorkloadData& data) {
    const auto vector = vectors(data);
    return prepared<Vectors>({"vector"}, CpuElementKind::Float32, 3, vector.cols(),
                             [vector](Vectors& out) {
                                 out = vector.rowwise() / vector.matrix().colwise().norm().array();
                             });
}

Prepared halfArithmetic(WorkloadData& data) {
    const auto a = column<Eigen::half>(data, "half_a");
    const auto b = column<Eigen::half>(data, "half_b");
    const auto c = column<Eigen::half>(data, "half_c");
    return prepared<Column<Eigen::half>>({"half_a", "half_b", "half_c"}, CpuElementKind::Half, 1,
                                         a.size(),
                                         [=](Column<Eigen::half>& out) { out = a * b + c; });
}

Prepared chosen(WorkloadData& data, const char* condition) {
    const auto truth = column<bool>(data, condition);
    const auto a = column<float>(data, "a");
    const auto b = column<float>(data, "b");
    return prepared<Column<float>>({condition, "a", "b"}, CpuElementKind::Float32, 1, a.size(),
                                   [=](Column<float>& out) { out = truth.select(a, b); });
}

Prepared integerDivision(WorkloadData& data) {
    const auto dividend = column<std::int32_t>(data, "whole");
    const auto divisor = column<std::int32_t>(data, "divisor");
    const std::int64_t count = divisor.size();
    auto present = std::make_shared<Column<bool>>(count);
    Prepared one = prepared<Column<std::int32_t>>({"whole", "divisor"}, CpuElementKind::Int32, 1,
                                                  count, [=](Column<std::int32_t>& out) {
                                                      out = dividend / divisor.cwiseMax(1);
                                                      *present = divisor != 0;
                                                  });
    one.result = [values = one.result, present] {
        Result result = values();
        result.present = reinterpret_cast<const unsigned char*>(present->data());
        return result;
    };
    return one;
}

Prepared gathered(WorkloadData& data) {
    const auto place = column<std::int64_t>(data, "place");
    const auto table = column<float>(data, "table");
    return prepared<Column<float>>({"place", "table"}, CpuElementKind::Float32, 1, place.size(),
                                   [=](Column<float>& out) { out = table(place); });
}

Prepared prepare(const std::string& name, WorkloadData& data) {
    if (name == "W7-random" || name == "W7-runs")
        return chosen(data, name == "W7-runs" ? "runs" : "random");
    struct Named {
        const char* name;
        Prepared (*make)(WorkloadData& data);
    };
    constexpr Named all[] = {{"W1", &vectorTimesUniform}, {"W2", &singleArithmetic},
                             {"W3", &mixedKinds},         {"W4", &threeValued},
                             {"W5", &normalised},         {"W6", &halfArithmetic},
                             {"W8", &integerDivision},    {"W9", &gathered}};
    for (const Named& one : all)
        if (name == one.name)
            return one.make(data);
    return {};
}

} // namespace
} // namespace Fenlet::Bench

int main(int argumentCount, char** arguments) {
    using namespace Fenlet::Bench;
    if (argumentCount != 2) {
        std::cerr << "usage: eigen_peer FOLDER\n";
        return 2;
    }
    const std::string version = "Eigen " + std::to_string(EIGEN_WORLD_VERSION) + "." +
                                std::to_string(EIGEN_MAJOR_VERSION) + "." +
                                std::to_string(EIGEN_MINOR_VERSION);
    return serve(arguments[1], {version, &prepare});
}
