// fenlet: programs from text, checked, listed, run over files and timed.
#include "bench.h"
#include "run.h"
#include "terminal/command_line.h"

#include <fenletir/text.h>
#include <fenletir/verify.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <iterator>

namespace Tool {
namespace {

using namespace Fenlet;

constexpr int failed = 1;

constexpr const char* footer = R"(
FILE holds a program's text; - is standard input. The commands:

  fenlet check FILE    what is wrong with the program, a line each; nothing if all is well
  fenlet list FILE     the program, written out again in aligned columns
  fenlet run FILE      the program over files: --field, --uniform, --sampler, --out, --mask
  fenlet bench FILE    nanoseconds for each element, block size and instruction

Files are .npy. A field is an array of elements, or of elements times components; a sampler's grid
one of rows times columns, or of those times components, and is looked up at (column, row). What an
element has no value for is written as NaN, 0 or false; --mask writes which ones have a value.

Exit status: 0 all is well; 1 the program or its data cannot stand, and one line on standard error
says why; other numbers: the command line cannot be understood. Files appear whole or not at all.)";

std::string readAll(const std::string& path) {
    if (path == "-")
        return {std::istreambuf_iterator<char>(std::cin), {}};
    std::ifstream file(path, std::ios::binary);
    std::string text{std::istreambuf_iterator<char>(file), {}};
    if (!file)
        throw std::runtime_error(path + ": " + std::strerror(errno));
    return text;
}

FenletProgram readProgram(const std::string& path) {
    ParseResult result = parseProgram(readAll(path));
    if (!result.ok())
        throw std::runtime_error(path + ":" + std::to_string(result.error.line) + ":" +
                                 std::to_string(result.error.column) + ": " + result.error.message +
                                 "\n" + result.error.shown);
    return std::move(result.program);
}

/// Throws the first reason for which the program cannot run.
FenletProgram readSoundProgram(const std::string& path) {
    FenletProgram program = readProgram(path);
    for (const Finding& finding : verifyProgram(program))
        if (finding.severity != FindingClass::ProbablyAMistake)
            throw std::runtime_error(path + ": " + describeFinding(finding));
    return program;
}

/// What is wrong is the answer here, and so it goes to standard output.
int check(const std::string& path) {
    const FenletProgram program = readProgram(path);
    const std::vector<Finding> findings = verifyProgram(program);
    for (const Finding& finding : findings)
        std::printf("%s: %s: %s\n", path.c_str(),
                    finding.severity == FindingClass::ProbablyAMistake ? "warning" : "error",
                    describeFinding(finding).c_str());
    return isSound(findings) ? 0 : failed;
}

} // namespace
} // namespace Tool

int main(int argumentCount, char** arguments) {
    using namespace Tool;
    std::string file;
    RunOptions options;
    CLI::App app("Checks, lists, runs and times programs.", "fenlet");
    app.footer(footer);
    app.require_subcommand(1);
    const auto command = [&](const char* name, const char* what) {
        CLI::App* const sub = app.add_subcommand(name, what);
        sub->add_option("FILE", file, "the program's text, - for standard input")->required();
        return sub;
    };
    CLI::App* const checking = command("check", "say what is wrong with a program");
    CLI::App* const showing = command("list", "write a program out in aligned columns");
    CLI::App* const running = command("run", "evaluate a program over files");
    CLI::App* const timing = command("bench", "time a program, block by block and step by step");
    const auto assignments = [running](const char* name, std::vector<std::string>& all,
                                       const char* what) {
        running->add_option(name, all, what)->type_name("NAME=VALUE")->allow_extra_args(false);
    };
    assignments("--field", options.fields, "a field's elements, a .npy file");
    assignments("--uniform", options.uniforms,
                "a uniform's value: numbers with commas between them, true, false or unknown");
    assignments("--sampler", options.samplers, "a sampler's grid, a .npy file");
    assignments("--out", options.outputs, "a register's values, to a .npy file");
    assignments("--mask", options.masks, "which elements of a register have a value, to a .npy");
    running->add_option("--count", options.count, "elements, where no field says how many");
    for (CLI::App* const sub : {running, timing})
        sub->add_option("--block", options.blockSize, "elements worked on at a time")
            ->check(CLI::Range(1, 1 << 20))
            ->capture_default_str();
    if (const auto status = Terminal::readCommandLine(app, argumentCount, arguments))
        return *status;

    try {
        int status = 0;
        if (checking->parsed())
            status = check(file);
        else if (showing->parsed())
            std::fputs(listing(readProgram(file)).c_str(), stdout);
        else if (running->parsed())
            run(readSoundProgram(file), options);
        else if (timing->parsed())
            bench(readSoundProgram(file), options.blockSize);
        if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0)
            throw std::runtime_error(std::string("standard output: ") + std::strerror(errno));
        return status;
    } catch (const std::bad_alloc&) {
        std::fprintf(stderr, "fenlet: %s: not enough memory\n", file.c_str());
    } catch (const std::exception& error) {
        std::fprintf(stderr, "fenlet: %s\n", error.what());
    }
    return failed;
}
