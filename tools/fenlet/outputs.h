// The files that a run writes.
#pragma once

#include <fenletarrays/array_run.h>
#include <fenletexec/register_file.h>
#include <fenlethosts/npy_writer.h>

#include <cstdint>
#include <string>
#include <vector>

namespace Tool {

/// Adds instructions to a program that compute which elements of a register have a value, and none
/// of whose components is unknown. Returns the register with the answer: a `Tribool` that is always
/// true or false.
std::int32_t addMask(Fenlet::FenletProgram& program, std::int32_t number);

/// A register's values in a file. Elements without a value are NaN, 0 or false, and unknown truth
/// values are false. Each function throws `Fenlet::FileError` if the file cannot be written.
class Output {
  public:
    /// The file gets `newCount` elements. Throws `std::runtime_error` with one line for the user if
    /// there cannot be such an array.
    Output(const Fenlet::FenletProgram& program, std::int32_t newNumber, const std::string& path,
           long long newCount);

    /// The absolute path of the file, however its name was given.
    std::string place() const;

    /// Maps the file, so that values can be written in memory. Returns false if the system cannot
    /// do that.
    bool map();
    /// Writes the register into the mapped file. `elements` is the number of elements of the run;
    /// those that the file does not have are not written. Valid as long as this object.
    Fenlet::ArrayOutput binding(long long elements) const;

    /// Writes a block that an interpreter has evaluated. The blocks must come in order.
    void write(const Fenlet::RegisterFile& registers, long long start, int length);

    void close() { writer.close(); }
    void finish() { writer.finish(); }

  private:
    Fenlet::MutableArrayView array(unsigned char* values, long long elements) const;

    std::int32_t number;
    std::string name; ///< the number as text
    Fenlet::CpuElementKind kind;
    std::int32_t multiplicity;
    long long count;
    Fenlet::OutputRules rules;
    Fenlet::NpyWriter writer;
    unsigned char* mapped = nullptr; ///< the first element; null if the file is not mapped
    std::vector<unsigned char> block;
};

} // namespace Tool
