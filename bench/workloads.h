// The programs that are measured, each with the names of what it reads.
#pragma once

#include "workload_data.h"

#include <fenlethosts/uniform_table.h>
#include <fenletir/program_builder.h>

#include <string>
#include <vector>

namespace Fenlet::Bench {

/// A program with its data, all of which has the same number of elements but for gathered fields.
struct Workload {
    FenletProgram program;
    std::int32_t result = noRegister; ///< the register that is wanted
    std::vector<ArrayView> fields;    ///< borrowed from the data
    std::vector<std::string> arrays;  ///< the names of all arrays that it reads
    UniformTable uniforms;
};

/// One of the measured programs.
struct NamedWorkload {
    const char* name; ///< short, as it is called everywhere
    const char* what; ///< in words
    Workload (*make)(WorkloadData& data);
};

/// All of them, in the order of their names.
const std::vector<NamedWorkload>& workloads();

/// Null if there is none of this name.
const NamedWorkload* findWorkload(const std::string& name);

/// A program of `instructions` instructions, two or more: an element index, one Float32 field, and
/// sums, each of the one before it and the field.
Workload chain(WorkloadData& data, int instructions);

} // namespace Fenlet::Bench
