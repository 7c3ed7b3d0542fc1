// The measured programs, each with the names of its arrays.
#pragma once

#include "workload_data.h"

#include <fenlethosts/uniform_table.h>
#include <fenletir/program_builder.h>

#include <string>
#include <vector>

namespace Fenlet::Bench {

/// A program with its data. All arrays have the same number of elements, except gathered fields.
struct Workload {
    FenletProgram program;
    std::int32_t result = noRegister; ///< the register with the result
    std::vector<ArrayView> fields;    ///< borrowed from the data
    std::vector<std::string> arrays;  ///< the names of all arrays that it reads
    bool canBeMissing = false;        ///< whether the result needs presence
    UniformTable uniforms;
    std::vector<Constant> uniformValues; ///< the same, by number
};

/// One of the measured programs.
struct NamedWorkload {
    const char* name; ///< a short name
    const char* what; ///< description
    Workload (*make)(WorkloadData& data);
};

/// All measured programs, in the order of their names.
const std::vector<NamedWorkload>& workloads();

/// The workload of this name; null if there is none.
const NamedWorkload* findWorkload(const std::string& name);

/// A program of `instructions` instructions, at least two: an element index, one Float32 field, and
/// additions of that field to the previous result.
Workload chain(WorkloadData& data, int instructions);

/// A program that reads two Float32 fields and then alternately multiplies and adds, `steps` times.
Workload twoFields(WorkloadData& data, int steps);

} // namespace Fenlet::Bench
