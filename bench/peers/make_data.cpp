// Writes the arrays that the compared programs read: make_data FOLDER COUNT [ARRAY...] Without
// ARRAY it writes all arrays. It does not overwrite existing files.
#include "workload_data.h"

#include <fenlethosts/npy_writer.h>

#include <cstdlib>
#include <exception>
#include <filesystem>
#include <iostream>

namespace {

using namespace Fenlet;

void writeArray(const std::string& file, const Bench::DataArray& array) {
    std::vector<std::int64_t> shape = {array.count()};
    if (array.components > 1)
        shape.push_back(array.components);
    NpyWriter writer(file, array.kind, shape);
    writer.write(array.bytes.data(), array.bytes.size());
    writer.finish();
}

} // namespace

int main(int argumentCount, char** arguments) {
    const long long count = argumentCount > 2 ? std::atoll(arguments[2]) : 0;
    if (count < 1) {
        std::cerr << "usage: make_data FOLDER COUNT [ARRAY...]\n";
        return 2;
    }
    try {
        const std::filesystem::path folder = arguments[1];
        std::filesystem::create_directories(folder);
        std::vector<std::string> names(arguments + 3, arguments + argumentCount);
        if (names.empty())
            names = Bench::arrayNames();
        for (const std::string& name : names) {
            const auto file = folder / (name + ".npy");
            if (!std::filesystem::exists(file))
                writeArray(file.string(), Bench::draw(name, count));
        }
    } catch (const std::exception& problem) {
        std::cerr << problem.what() << '\n';
        return 1;
    }
}
