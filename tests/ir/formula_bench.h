// Compiles formulas over small arrays and runs them.
#pragma once

#include <fenletexec/interpreter.h>
#include <fenletir/formula.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace Fenlet::FormulaTests {

/// Lanes and presence of a field, a uniform or an output.
struct Data {
    RegisterFormat format = RegisterFormat::Float32;
    std::int32_t components = 1;
    std::vector<unsigned char> lanes;
    std::vector<unsigned char> validity; ///< of each element; all present if it is empty
    FormulaSort sort = FormulaSort::Field;

    template <class Lane>
    static Data of(RegisterFormat format, const std::vector<Lane>& values,
                   std::vector<unsigned char> validity = {}, std::int32_t components = 1) {
        Data data{format, components, {}, std::move(validity)};
        data.lanes.resize(values.size() * sizeof(Lane));
        if (!values.empty())
            std::memcpy(data.lanes.data(), values.data(), data.lanes.size());
        return data;
    }

    template <class Lane>
    std::vector<Lane> as() const {
        std::vector<Lane> values(lanes.size() / sizeof(Lane));
        if (!values.empty())
            std::memcpy(values.data(), lanes.data(), values.size() * sizeof(Lane));
        return values;
    }

    bool isPresent(std::size_t element) const { return validity.empty() || validity[element] != 0; }
};

Data floats(std::vector<float> values, std::vector<unsigned char> validity = {},
            std::int32_t components = 1);
Data doubles(std::vector<double> values, std::vector<unsigned char> validity = {},
             std::int32_t components = 1);
Data integers(std::vector<std::int32_t> values, std::vector<unsigned char> validity = {},
              std::int32_t components = 1);
Data longs(std::vector<std::int64_t> values, std::vector<unsigned char> validity = {});
Data truths(std::vector<unsigned char> values, std::vector<unsigned char> validity = {},
            std::int32_t components = 1);
/// By their bits.
Data halves(std::vector<std::uint16_t> values, std::vector<unsigned char> validity = {});

using Inputs = std::map<std::string, Data>;

/// The declarations of the inputs.
std::vector<FormulaDeclaration> declarationsOf(const Inputs& inputs);

/// Compiles the formula, which must be right and sound, and runs it over `count` elements. Fields
/// made by `shift` are moved along one axis; a sampler gives twice its first coordinate. Returns
/// the outputs in their order.
std::vector<Data> run(std::string_view text, const Inputs& inputs, std::int64_t count,
                      int blockSize = 64);

/// The only output of a formula.
Data value(std::string_view text, const Inputs& inputs, std::int64_t count);

/// All errors of a formula, each as `line:column: error: message` with its line and carets.
std::string errorsOf(std::string_view text, const Inputs& inputs = {});

} // namespace Fenlet::FormulaTests
