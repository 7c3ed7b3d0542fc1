// fenlet: programs from text, checked, listed, run over files and timed.
#include "bench.h"
#include "run.h"
#include "terminal/command_line.h"

#include <fenletir/text.h>
#include <fenletir/verify.h>

#include <CLI/CLI.hpp>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>

namespace Tool {
namespace {

using namespace Fenlet;

constexpr int failed = 1;
constexpr int misused = 2;

constexpr const char* footer = R"(
FILE holds a program's text; - is standard input. The commands:

  fenlet check FILE    what is wrong with the program, a line each; nothing if all is well
  fenlet list FILE     the program, written out again in aligned columns
  fenlet run FILE      the program over files; the options below say which
  fenlet bench FILE    nanoseconds for each element, block size and instruction; the data is made up

  --field NAME=FILE    a field's elements, an array of elements or of elements times components
  --uniform NAME=VALUE numbers with commas between them, or true, false or unknown
  --sampler NAME=FILE  a sampler's grid, an array of rows times columns, or of those times
                       components; looked up at (column, row), and mixed between four cells
  --out NAME=FILE      where a register's values go
  --mask NAME=FILE     where it goes which of a register's elements have a value
  --count N            how many elements; all of the fields' if it is not given
  --block N            elements worked on at a time, for run and bench; what suits the program if it
                       is not given; results do not depend on it

Files are .npy: bool, integers of 8 to 64 bits (unsigned ones to 32) and floats of 16, 32 and 64
bits, in either byte order. NAME is a name in the program; what has no name of its own is called by
its number, as in %7 for a register and @0 for all others. What has no value is written as NaN, 0 or
false. Files appear at the end, all of them or none; one of them may be one that is read.

  fenlet run shade.fenlet --field height=dem.npy --uniform sun=0.5,0,1 --out shade=shade.npy

Exit status: 0 all is well; 1 the program or its data cannot stand (a line on standard error says
why, and for a text that cannot be read the place is shown below it; the findings of check go to
standard output); 2 the command line cannot be understood.)";

/// A program's text that cannot be read, in several lines.
class UnreadableText : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// The name of the file in messages.
std::string nameOf(const std::string& path) {
    return path == "-" ? "standard input" : Terminal::oneLine(path);
}

std::string readAll(const std::string& path) {
    const bool isInput = path == "-";
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> opened(
        isInput ? nullptr : std::fopen(path.c_str(), "rb"), &std::fclose);
    std::FILE* const file = isInput ? stdin : opened.get();
    std::string text;
    std::array<char, 65536> piece;
    for (std::size_t got = 1; file != nullptr && got > 0;) {
        got = std::fread(piece.data(), 1, piece.size(), file);
        text.append(piece.data(), got);
    }
    if (file == nullptr || std::ferror(file))
        throw std::runtime_error(nameOf(path) + ": " + std::strerror(errno));
    return text;
}

FenletProgram readProgram(const std::string& path) {
    ParseResult result = parseProgram(readAll(path));
    if (!result.ok())
        throw UnreadableText(nameOf(path) + ":" + std::to_string(result.error.line) + ":" +
                             std::to_string(result.error.column) + ": " + result.error.message +
                             "\n" + result.error.shown);
    return std::move(result.program);
}

/// Throws the first reason for which the program cannot run.
FenletProgram readSoundProgram(const std::string& path) {
    FenletProgram program = readProgram(path);
    for (const Finding& finding : verifyProgram(program))
        if (finding.severity != FindingClass::ProbablyAMistake)
            throw std::runtime_error(nameOf(path) + ": " + describeFinding(finding));
    return program;
}

/// What is wrong is the answer here, and so it goes to standard output.
int check(const std::string& path) {
    const FenletProgram program = readProgram(path);
    const std::vector<Finding> findings = verifyProgram(program);
    for (const Finding& finding : findings)
        std::printf("%s: %s: %s\n", nameOf(path).c_str(),
                    finding.severity == FindingClass::ProbablyAMistake ? "warning" : "error",
                    describeFinding(finding).c_str());
    return isSound(findings) ? 0 : failed;
}

/// Returns what `main` is to return; throws what it is to tell.
int perform(const std::string& command, const std::string& file, const RunOptions& options) {
    int status = 0;
    if (command == "check")
        status = check(file);
    else if (command == "list")
        std::fputs(listing(readProgram(file)).c_str(), stdout);
    else if (command == "run")
        run(readSoundProgram(file), options);
    else
        bench(readSoundProgram(file), options.blockSize);
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0)
        throw std::runtime_error(std::string("standard output: ") + std::strerror(errno));
    return status;
}

} // namespace
} // namespace Tool

int main(int argumentCount, char** arguments) {
    using namespace Tool;
    std::string file;
    RunOptions options;
    CLI::App app("Checks, lists, runs and times programs.", "fenlet");
    app.footer(footer);
    app.require_subcommand(0, 1);
    const auto command = [&](const char* name, const char* what) {
        CLI::App* const sub = app.add_subcommand(name, what);
        sub->add_option("FILE", file, "the program's text, - for standard input")->required();
        return sub;
    };
    command("check", "say what is wrong with a program");
    command("list", "write a program out in aligned columns");
    CLI::App* const running = command("run", "evaluate a program over files");
    CLI::App* const timing = command("bench", "time a program, block by block and step by step");
    const auto assignments = [running](const char* name, std::vector<std::string>& all,
                                       const char* value, const char* what) {
        running->add_option(name, all, what)->type_name(value)->allow_extra_args(false);
    };
    assignments("--field", options.fields, "NAME=FILE", "a field's elements");
    assignments("--uniform", options.uniforms, "NAME=VALUE", "a uniform's value");
    assignments("--sampler", options.samplers, "NAME=FILE", "a sampler's grid");
    assignments("--out", options.outputs, "NAME=FILE", "where a register's values go");
    assignments("--mask", options.masks, "NAME=FILE", "where it goes which ones there are");
    running->add_option("--count", options.count, "how many elements")
        ->type_name("N")
        ->check(CLI::Range(0LL, 1LL << 60));
    for (CLI::App* const sub : {running, timing})
        sub->add_option("--block", options.blockSize, "elements worked on at a time")
            ->type_name("N")
            ->check(CLI::Range(1, 1 << 20))
            ->default_str("what suits the program");
    if (const auto status = Terminal::readCommandLine(app, argumentCount, arguments))
        return *status == 0 ? 0 : misused;
    if (app.get_subcommands().empty()) {
        std::fputs("fenlet: it takes a command: check, list, run or bench; see --help\n", stderr);
        return misused;
    }

    try {
        return perform(app.get_subcommands().front()->get_name(), file, options);
    } catch (const Interrupted& interrupted) {
        std::signal(interrupted.signal, SIG_DFL);
        std::raise(interrupted.signal);
    } catch (const UnreadableText& error) {
        std::fprintf(stderr, "fenlet: %s\n", error.what());
    } catch (const std::bad_alloc&) {
        std::fprintf(stderr, "fenlet: %s: not enough memory\n", nameOf(file).c_str());
    } catch (const std::exception& error) {
        std::fprintf(stderr, "fenlet: %s\n", Terminal::oneLine(error.what()).c_str());
    }
    return failed;
}
