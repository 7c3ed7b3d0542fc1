// muParser in its bulk mode: muparser_peer FOLDER
//
// All values of muParser are doubles, so the data is converted to doubles before anything is timed.
// A missing value is a NaN. muParser has no conversions, integers or indices.
#include "protocol.h"

#include <cmath>
#include <cstring>
#include <iostream>
#include <limits>
#include <map>
#include <memory>
#include <muParser.h>

namespace Fenlet::Bench {
namespace {

struct Expression {
    const char* workload;
    const char* text;
    std::vector<std::string> arrays; ///< component 0 of a vector
    CpuElementKind kind;             ///< the kind in which the result is compared
    bool isHoled;
};

const std::vector<Expression>& expressions() {
    static const std::vector<Expression> all = {
        {"W1", "vector*1.5 > 0 ? vector*1.5 : 1", {"vector"}, CpuElementKind::Float32, false},
        {"W2", "(a*b + c)/d - e", {"a", "b", "c", "d", "e"}, CpuElementKind::Float32, false},
        {"W3", "(whole + a)*wide", {"whole", "a", "wide"}, CpuElementKind::Float32, false},
        // A comparison with a NaN is false unless it tests for inequality, so these conditions find
        // missing values, too.
        {"W4",
         "(p < q && r > 0.5) || p < r || p > r",
         {"p", "q", "r"},
         CpuElementKind::Tribool,
         true},
        {"W7-random", "random ? a : b", {"random", "a", "b"}, CpuElementKind::Float32, false},
        {"W7-runs", "runs ? a : b", {"runs", "a", "b"}, CpuElementKind::Float32, false},
        {"chain", "a+a+a+a+a+a+a+a+a+a+a+a+a+a+a+a+a+a+a", {"a"}, CpuElementKind::Float32, false},
    };
    return all;
}

double valueAt(const DataArray& array, std::int64_t lane) {
    const auto number = static_cast<std::size_t>(lane);
    switch (array.kind) {
    case CpuElementKind::Tribool:
        return array.as<unsigned char>()[number];
    case CpuElementKind::Int32:
        return array.as<std::int32_t>()[number];
    case CpuElementKind::Float32:
        return static_cast<double>(array.as<float>()[number]);
    default:
        return array.as<double>()[number];
    }
}

/// An array's values as doubles, made once for all workloads.
std::vector<double>& doubles(WorkloadData& data, const std::string& name, bool isHoled) {
    static std::map<std::string, std::vector<double>> made;
    std::vector<double>& values = made[name];
    if (!values.empty())
        return values;
    const DataArray& array = data[name];
    values.resize(static_cast<std::size_t>(array.count()));
    for (std::int64_t i = 0; i < array.count(); ++i)
        values[static_cast<std::size_t>(i)] = valueAt(array, i * array.components);
    if (!isHoled)
        return values;
    const auto* const present = data[name + "_present"].as<unsigned char>();
    for (std::size_t i = 0; i < values.size(); ++i)
        if (present[i] == 0)
            values[i] = std::numeric_limits<double>::quiet_NaN();
    return values;
}

/// An expression and its variables, evaluated over all elements at once.
class Evaluation {
  public:
    Evaluation(const Expression& newExpression, WorkloadData& data) : expression(newExpression) {
        for (const std::string& name : expression.arrays) {
            std::vector<double>& values = doubles(data, name, expression.isHoled);
            parser.DefineVar(name, values.data());
            results.resize(values.size());
        }
        parser.SetExpr(expression.text);
    }

    void run() { parser.Eval(results.data(), static_cast<int>(results.size())); }

    /// The result, converted to the kind of our result.
    Result result() {
        const bool isTruth = expression.kind == CpuElementKind::Tribool;
        const auto size = static_cast<std::size_t>(elementSize(expression.kind));
        converted.resize(results.size() * size);
        for (std::size_t i = 0; i < results.size(); ++i) {
            const auto single = static_cast<float>(results[i]);
            const auto truth = static_cast<unsigned char>(results[i] != 0);
            std::memcpy(converted.data() + i * size,
                        isTruth ? static_cast<const void*>(&truth) : &single, size);
        }
        return {expression.kind, 1, static_cast<std::int64_t>(results.size()), converted.data(),
                nullptr};
    }

  private:
    const Expression& expression;
    mu::Parser parser;
    std::vector<double> results;
    std::vector<unsigned char> converted;
};

Prepared prepare(const std::string& name, WorkloadData& data) {
    for (const Expression& expression : expressions()) {
        if (name != expression.workload)
            continue;
        const auto evaluation = std::make_shared<Evaluation>(expression, data);
        return {expression.arrays, [evaluation] { evaluation->run(); },
                [evaluation] { return evaluation->result(); }};
    }
    return {};
}

} // namespace
} // namespace Fenlet::Bench

int main(int argumentCount, char** arguments) {
    using namespace Fenlet::Bench;
    if (argumentCount != 2) {
        std::cerr << "usage: muparser_peer FOLDER\n";
        return 2;
    }
    return serve(arguments[1], {"muParser " + mu::Parser().GetVersion(mu::pviBRIEF), &prepare});
}
