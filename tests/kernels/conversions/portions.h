// Goes through billions of values in portions, on two threads.
#pragma once

#include "witnesses.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <iostream>
#include <string>
#include <thread>
#include <vector>

namespace Fenlet {

/// Calls `check(first, count)` for every portion of the numbers below `total`, on two threads,
/// until one call returns a fault. Returns this fault; empty if there is none.
template <class Check>
std::string firstFaultInPortions(std::uint64_t total, const Check& check) {
    constexpr std::uint64_t portion = 1024;
    std::atomic<std::uint64_t> next{0};
    const auto work = [&](std::string& fault) {
        for (std::uint64_t first = next.fetch_add(portion); first < total;
             first = next.fetch_add(portion)) {
            fault = check(first, std::min(portion, total - first));
            if (!fault.empty())
                next = total;
        }
    };
    std::string faults[2];
    std::thread second([&] { work(faults[1]); });
    work(faults[0]);
    second.join();
    return faults[0].empty() ? faults[1] : faults[0];
}

/// The first fault of converting `in`, compared with integer arithmetic and with every witness that
/// this machine has.
template <class To, class From>
std::string firstFault(const std::vector<From>& in) {
    const std::vector<To> expected = exactlyConverted<To>(in);
    std::string fault = firstMismatch(in, expected, "integer arithmetic");
    for (const Witness<To, From>& witness : witnessesHere<To, From>())
        fault +=
            firstDifference(in, witness.convert(in), expected, witness.name, "integer arithmetic");
    return fault;
}

/// The first fault of converting what `draw(number, in)` appends to `in` for the numbers below
/// `total`. Prints the names of the witnesses.
template <class To, class From, class Draw>
std::string firstFaultAmong(std::uint64_t total, const Draw& draw) {
    std::cout << "[ AGAINST  ] integer arithmetic";
    for (const Witness<To, From>& witness : witnessesHere<To, From>())
        std::cout << ", " << witness.name;
    std::cout << std::endl;
    return firstFaultInPortions(total, [&](std::uint64_t first, std::uint64_t count) {
        std::vector<From> in;
        for (std::uint64_t number = first; number < first + count; ++number)
            draw(number, in);
        return firstFault<To>(in);
    });
}

} // namespace Fenlet
