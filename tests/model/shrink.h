// Makes a failing case small enough to read.
#pragma once

#include "random_program.h"

#include <cstddef>
#include <type_traits>
#include <utility>
#include <vector>

namespace Fenlet::Model {

/// Makes a case smaller in one way after another. Keeps each change after which the case still
/// fails.
template <class Fails>
class Shrinker {
  public:
    Shrinker(Case newRun, Fails& newFails) : run(std::move(newRun)), fails(newFails) {}

    Case shrink() {
        while (shrinkEverything()) {
        }
        return run;
    }

  private:
    /// Each way makes the case strictly smaller or leaves it unchanged, so that the search ends.
    bool shrinkEverything() {
        bool smaller = dropEach(&FenletProgram::instructions);
        smaller = shrinkRange() || smaller;
        smaller = narrowRegisters() || smaller;
        smaller = shrinkConstants() || smaller;
        smaller = fillHoles(&Holes::fields) || smaller;
        return fillHoles(&Holes::samplers) || smaller;
    }

    bool keepIfItFails(Case smaller) {
        const bool failed = fails(std::as_const(smaller));
        if (failed)
            run = std::move(smaller);
        return failed;
    }

    /// Moves a number of the case towards `least`: all the way, half of the way, or by one. `place`
    /// finds the number in a case.
    template <class Place>
    bool lower(long long least, Place place) {
        const long long now = *place(run);
        const long long way = least - now;
        for (const long long by : {way, way / 2, way < 0 ? -1LL : 1LL}) {
            Case smaller = run;
            auto& number = *place(smaller);
            number = static_cast<std::remove_reference_t<decltype(number)>>(now + by);
            if (way != 0 && by != 0 && keepIfItFails(std::move(smaller)))
                return true;
        }
        return false;
    }

    bool shrinkRange() {
        bool smaller = lower(1, [](Case& one) { return &one.count; });
        smaller = lower(1, [](Case& one) { return &one.blockSize; }) || smaller;
        smaller = lower(0, [](Case& one) { return &one.first; }) || smaller;
        smaller = lower(-1, [](Case& one) { return &one.declineAtCall; }) || smaller;
        return lower(-1, [](Case& one) { return &one.stopAtBlock; }) || smaller;
    }

    template <class Entry>
    bool dropEach(std::vector<Entry> FenletProgram::*entries) {
        bool smaller = false;
        for (std::size_t i = (run.program.*entries).size(); i-- > 0;) {
            Case next = run;
            auto& all = next.program.*entries;
            all.erase(all.begin() + static_cast<std::ptrdiff_t>(i));
            smaller = keepIfItFails(std::move(next)) || smaller;
        }
        return smaller;
    }

    /// Makes all registers narrower except the last, which is there for writes past the others.
    bool narrowRegisters() {
        bool smaller = false;
        for (std::size_t i = 0; i + 1 < run.program.registers.size(); ++i) {
            const auto place = [i](Case& one) { return &one.program.registers[i].multiplicity; };
            smaller = (*place(run) > 1 && lower(1, place)) || smaller;
        }
        return smaller;
    }

    /// Removes constants, then components, and replaces the remaining ones by 0.
    bool shrinkConstants() {
        bool smaller = dropEach(&FenletProgram::constants);
        for (std::size_t i = 0; i < run.program.constants.size(); ++i) {
            smaller = shrinkComponents(i, &Constant::integers) || smaller;
            smaller = shrinkComponents(i, &Constant::reals) || smaller;
        }
        return smaller;
    }

    template <class Value>
    bool shrinkComponents(std::size_t number, std::vector<Value> Constant::*values) {
        bool smaller = false;
        for (std::size_t c = (run.program.constants[number].*values).size(); c-- > 0;)
            smaller =
                dropComponent(number, values, c) || clearComponent(number, values, c) || smaller;
        return smaller;
    }

    template <class Value>
    bool dropComponent(std::size_t number, std::vector<Value> Constant::*values, std::size_t c) {
        Case next = run;
        Constant& constant = next.program.constants[number];
        // Keeps one component: a constant without components would be a Tribool.
        if (constant.multiplicity < 2)
            return false;
        --constant.multiplicity;
        auto& all = constant.*values;
        all.erase(all.begin() + static_cast<std::ptrdiff_t>(c));
        return keepIfItFails(std::move(next));
    }

    template <class Value>
    bool clearComponent(std::size_t number, std::vector<Value> Constant::*values, std::size_t c) {
        Case next = run;
        Value& value = (next.program.constants[number].*values)[c];
        return std::exchange(value, Value{}) != Value{} && keepIfItFails(std::move(next));
    }

    bool fillHoles(PoolHoles Holes::*pool) {
        bool smaller = lower(0, [](Case& one) { return &one.holeInFields; });
        smaller = lower(0, [](Case& one) { return &one.holes.noUniforms; }) || smaller;
        smaller = lower(0, [=](Case& one) { return &(one.holes.*pool).nullArray; }) || smaller;
        smaller = lower(0, [=](Case& one) { return &(one.holes.*pool).shortBy; }) || smaller;
        return lower(-1, [=](Case& one) { return &(one.holes.*pool).nullEntry; }) || smaller;
    }

    Case run;
    Fails& fails;
};

/// Makes one thing of a failing case smaller at a time, as long as it still fails. Returns the
/// smallest case found. `fails` says whether a case fails; `run` must fail.
template <class Fails>
Case shrinkCase(Case run, Fails&& fails) {
    return Shrinker(std::move(run), fails).shrink();
}

} // namespace Fenlet::Model
