// The fields, uniforms and samplers that the command line gives to a program.
#pragma once

#include "names.h"

#include <fenletarrays/array_run.h>
#include <fenletexec/interpreter.h>
#include <fenlethosts/array_field.h>
#include <fenlethosts/npy.h>
#include <fenlethosts/samplers.h>
#include <fenlethosts/uniform_table.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Tool {

/// An option of the form NAME=VALUE.
struct Assignment {
    std::string name;
    std::string value;
};

/// Splits `text` at the first equals sign. Throws `std::runtime_error` with a message for the user
/// if there is no equals sign or one side is empty. `kind` is the word for the value in this
/// message.
Assignment parseAssignment(const std::string& option, const std::string& text, const char* kind);

/// Providers for every field, uniform and sampler of one program.
class Inputs {
  public:
    /// The program must outlive this object.
    explicit Inputs(const Fenlet::FenletProgram& newProgram);
    Inputs(const Inputs&) = delete;
    Inputs& operator=(const Inputs&) = delete;

    /// If the value does not fit, each throws `std::runtime_error` or `Fenlet::FileError` with one
    /// line for the user.
    void setField(const Assignment& field);
    void setUniform(const Assignment& uniform);
    void setSampler(const Assignment& sampler);

    /// Throws as the functions above do, unless everything that the program reads is given and
    /// fits. If `isForced`, a uniform that does not fit into its register's format is only a
    /// warning.
    void check(bool isForced) const;

    /// The number of elements of the fields; empty if there is no field.
    std::optional<long long> elementCount() const { return count; }

    /// Everything that is given, for a run over arrays: each under its number, such as "@0".
    std::vector<Fenlet::ArrayInput> arrays() const;
    /// The same for an interpreter. Both are valid as long as this object.
    Fenlet::Bindings bindings();

  private:
    struct Field {
        explicit Field(const std::string& newPath);
        std::string path;
        Fenlet::NpyFile file;
        std::int32_t components;
        Fenlet::ArrayField accessor;
    };
    struct Grid {
        explicit Grid(const std::string& path);
        Fenlet::NpyFile file;
        std::int32_t components;
        Fenlet::GridSampler sampler;
    };

    void checkField(const Fenlet::Instruction& instruction) const;
    void checkUniform(const Fenlet::Instruction& instruction, bool isForced) const;
    void checkSampler(const Fenlet::Instruction& instruction) const;

    const Fenlet::FenletProgram& program;
    Declarations<Fenlet::FieldBinding> fieldNames;
    Declarations<Fenlet::UniformDeclaration> uniformNames;
    Declarations<Fenlet::SamplerDeclaration> samplerNames;
    std::vector<std::unique_ptr<Field>> fields;
    std::vector<std::unique_ptr<Grid>> grids;
    std::vector<std::optional<Fenlet::Constant>> uniformValues;
    std::vector<std::string> numbers; ///< the numbers of the longest pool, as text
    Fenlet::UniformTable uniforms;
    std::vector<Fenlet::CpuFieldAccessor*> accessors;
    std::vector<Fenlet::FenletSampler*> samplers;
    std::optional<long long> count;
};

} // namespace Tool
