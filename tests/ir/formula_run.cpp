// Runs formulas for formula_oracle.py. It reads from standard input
//
//     name format components     a field, by the number of its format
//     3f800000...                its lanes in hexadecimal, in the order of memory
//     1101...                    which elements are present
//
// for each field, then `end`, then one formula a line, with \n between its lines. For each formula
// it writes format, components, lanes and presence of the output, or the errors.
#include "formula_bench.h"

#include <iostream>
#include <string>

using namespace Fenlet;
using namespace Fenlet::FormulaTests;

static Data readData(int format, int components) {
    Data data;
    data.format = static_cast<RegisterFormat>(format);
    data.components = components;
    std::string lanes;
    std::string presence;
    std::cin >> lanes >> presence;
    for (std::size_t at = 0; at + 1 < lanes.size(); at += 2)
        data.lanes.push_back(
            static_cast<unsigned char>(std::stoi(lanes.substr(at, 2), nullptr, 16)));
    for (const char mark : presence)
        data.validity.push_back(mark == '1');
    return data;
}

static void write(const Data& data) {
    constexpr char digits[] = "0123456789abcdef";
    std::string lanes;
    std::string presence;
    for (const unsigned char byte : data.lanes) {
        lanes += digits[byte >> 4];
        lanes += digits[byte & 15];
    }
    for (const unsigned char byte : data.validity)
        presence += byte ? '1' : '0';
    std::cout << static_cast<int>(data.format) << ' ' << data.components << ' ' << lanes << ' '
              << presence << '\n';
}

int main() {
    Inputs inputs;
    std::size_t count = 0;
    for (std::string name; std::cin >> name && name != "end";) {
        int format = 0;
        int components = 0;
        std::cin >> format >> components;
        inputs[name] = readData(format, components);
        count = inputs[name].validity.size();
    }
    std::string line;
    std::getline(std::cin, line);
    while (std::getline(std::cin, line)) {
        for (std::size_t at = 0; (at = line.find("\\n", at)) != std::string::npos;) {
            line.erase(at, 1);
            line[at] = '\n';
        }
        if (!compileFormula(line, declarationsOf(inputs)).ok()) {
            std::string errors = errorsOf(line, inputs);
            for (char& byte : errors)
                byte = byte == '\n' ? '|' : byte;
            std::cout << "error " << errors << '\n';
            continue;
        }
        write(value(line, inputs, static_cast<std::int64_t>(count)));
    }
}
