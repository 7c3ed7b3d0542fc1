// fenlet: checks, lists, runs and times programs given as text.
#include "bench.h"
#include "run.h"
#include "terminal/command_line.h"

#include <fenletir/text.h>
#include <fenletir/verify.h>

#include <CLI/CLI.hpp>
#include <algorithm>
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
constexpr int mostThreads = 1024;

constexpr const char* commands = R"(
FILE is the text of a program, or - for standard input.

  fenlet check FILE    print what is wrong with the program, one finding per line; nothing if all
                       is well
  fenlet list FILE     print the program again, in aligned columns
  fenlet run FILE      evaluate the program over files
  fenlet bench FILE    print nanoseconds per element for each block size and each instruction,
                       measured with made-up data

The options of run:
)";

constexpr const char* runOptions = R"(
  --field NAME=FILE    read a field: an array of elements, or of elements x components
  --uniform NAME=VALUE set a uniform: numbers separated by commas, or true, false or unknown
  --sampler NAME=FILE  read a sampler's grid: an array of rows x columns, or of rows x columns x
                       components; it is sampled at (column, row), bilinearly
  --out NAME=FILE      write the values of a register
  --mask NAME=FILE     write a bool for each element of a register: true if it has a value and no
                       unknown component
  --count N            evaluate the first N elements; by default, all elements of the fields
  --block N            elements per block; by default, a size that suits the program; results do
                       not depend on it (bench has this option, too)
  --threads N          use at most N threads; by default, as many as the machine has; results do
                       not depend on it
  --force              run a program even if check says that its results would be wrong (bench
                       has this option, too)
)";

constexpr const char* files = R"(
Files are .npy arrays of bool, of integers (8 to 64 bits, unsigned up to 32) or of floats (16, 32 or
64 bits), in either byte order. NAME is a name in the program, or a number: %7 for a register, @0 for
a field, uniform or sampler. Elements without a value are written as NaN, 0 or false. The output
files appear together when the run is complete; an output may replace an input.

  fenlet run shade.fenlet --field height=dem.npy --uniform sun=0.5,0,1 --out shade=shade.npy
)";

constexpr const char* statuses = R"(
Exit status: 0 success; 1 the program or its data has an error; 2 the command line is wrong.
Messages go to standard error, but the findings of check go to standard output.)";

/// Thrown for a text that cannot be read as a program. The message has several lines.
class UnreadableText : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// The name of the file, for messages.
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

/// Throws `UnreadableText` if the text cannot be read as a program.
ParseResult readProgram(const std::string& path) {
    ParseResult result = parseProgram(readAll(path));
    if (!result.ok())
        throw UnreadableText(nameOf(path) + ":" + std::to_string(result.error.line) + ":" +
                             std::to_string(result.error.column) +
                             ": error: " + result.error.message + "\n" + result.error.shown);
    return result;
}

/// Whether `run` and `bench` refuse a program with this finding. Even if `isForced`, they refuse a
/// program that the evaluator refuses, or that would read or write outside its registers.
bool endsRun(const Finding& finding, bool isForced) {
    return finding.severity != FindingClass::ProbablyAMistake ||
           (spoilsResults(finding) && !isForced);
}

/// The place of the finding in the text: the file, and the line of the instruction if the finding
/// is about one.
std::string placeOf(const Finding& finding, const std::string& path, const ParseResult& text) {
    const auto number = static_cast<std::size_t>(finding.instruction);
    return finding.instruction < 0 ? nameOf(path)
                                   : nameOf(path) + ":" + std::to_string(text.lines[number]);
}

/// Prints the findings, one per line. Returns whether `run` refuses the program because of one of
/// them.
bool print(const std::vector<Finding>& findings, const std::string& path, const ParseResult& text,
           bool isForced, std::FILE* file) {
    bool endsOne = false;
    for (const Finding& finding : findings) {
        const bool isError = endsRun(finding, isForced);
        endsOne = endsOne || isError;
        std::fprintf(file, "%s: %s: %s\n", placeOf(finding, path, text).c_str(),
                     isError ? "error" : "warning",
                     Terminal::oneLine(describeFinding(finding)).c_str());
    }
    return endsOne;
}

/// Prints the findings on standard error. Throws if the program must not run because of one of
/// them.
void admit(const ParseResult& text, const std::string& path, bool isForced) {
    const std::vector<Finding> findings = verifyProgram(text.program);
    if (!print(findings, path, text, isForced, stderr))
        return;
    const auto has = [&](FindingClass severity) {
        return std::any_of(findings.begin(), findings.end(), [severity](const Finding& finding) {
            return finding.severity == severity;
        });
    };
    const char* reason = "its results would be wrong; --force runs it all the same";
    if (has(FindingClass::Refused) || has(FindingClass::RefusedInRun))
        reason = "the evaluator refuses the program";
    else if (has(FindingClass::OutsideItsArea))
        reason = "it would read or write outside its registers, which --force does not allow";
    throw std::runtime_error(nameOf(path) + ": not run: " + reason);
}

/// What is wrong with the value of --threads; empty if nothing is.
std::string threadsFault(const std::string& text) {
#ifdef FENLET_HAVE_TBB
    static_cast<void>(text);
    return {};
#else
    return text == "1" ? std::string()
                       : "this fenlet was built without oneTBB and has only one thread; give 1 or "
                         "leave the option out";
#endif
}

/// Prints the findings to standard output, because they are the result of this command.
int check(const std::string& path) {
    const ParseResult text = readProgram(path);
    return print(verifyProgram(text.program), path, text, false, stdout) ? failed : 0;
}

/// Runs the command. Returns the exit status. Throws an exception with a message for the user if
/// the command fails.
int perform(const std::string& command, const std::string& file, const RunOptions& options) {
    int status = 0;
    if (command == "check") {
        status = check(file);
    } else if (command == "list") {
        std::fputs(listing(readProgram(file).program).c_str(), stdout);
    } else {
        ParseResult text = readProgram(file);
        if (command == "run")
            markOutputs(text.program, options);
        admit(text, file, options.isForced);
        if (command == "run")
            run(text.program, options);
        else
            bench(text.program, options.blockSize);
    }
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
    CLI::App app("Check, list, run and time programs.", "fenlet");
    app.footer(std::string(commands) + runOptions + files + statuses);
    app.require_subcommand(0, 1);
    const auto command = [&](const char* name, const char* what) {
        CLI::App* const sub = app.add_subcommand(name, what);
        sub->add_option("FILE", file, "the text of the program; - is standard input")
            ->type_name("")
            ->required();
        sub->footer(statuses);
        return sub;
    };
    command("check", "print what is wrong with a program");
    command("list", "print a program in aligned columns");
    CLI::App* const running = command("run", "evaluate a program over files");
    CLI::App* const timing = command("bench", "time a program by block size and by instruction");
    const auto assignments = [running](const char* name, std::vector<std::string>& all,
                                       const char* value, const char* what) {
        running->add_option(name, all, what)->type_name(value)->allow_extra_args(false);
    };
    running->footer(std::string(files) + statuses);
    assignments("--field", options.fields, "NAME=FILE",
                "read a field: elements, or elements x components");
    assignments("--uniform", options.uniforms, "NAME=VALUE",
                "set a uniform: numbers, or true, false or unknown");
    assignments("--sampler", options.samplers, "NAME=FILE",
                "read a sampler's grid: rows x columns [x components]");
    assignments("--out", options.outputs, "NAME=FILE", "write the values of a register");
    assignments("--mask", options.masks, "NAME=FILE",
                "write for each element of a register whether it has a value");
    running
        ->add_option("--count", options.count,
                     "evaluate the first N elements; by default, all elements of the fields")
        ->type_name("N")
        ->check(CLI::Range(0LL, 1LL << 60).description(""));
    running
        ->add_option("--threads", options.threads,
                     "use at most N threads; by default, as many as the machine has")
        ->type_name("N")
        ->check(CLI::Range(1, mostThreads).description(""))
        ->check(CLI::Validator(threadsFault, ""));
    for (CLI::App* const sub : {running, timing}) {
        sub->add_option("--block", options.blockSize,
                        "elements per block; by default, a size that suits the program")
            ->type_name("N")
            ->check(CLI::Range(1, 1 << 20).description(""));
        sub->add_flag("--force", options.isForced,
                      "run even if fenlet finds that the results would be wrong");
    }
    if (const auto status = Terminal::readCommandLine(app, argumentCount, arguments))
        return *status == 0 ? 0 : misused;
    if (app.get_subcommands().empty()) {
        std::fputs("fenlet: no command; give check, list, run or bench, or see --help\n", stderr);
        return misused;
    }

    try {
        return perform(app.get_subcommands().front()->get_name(), file, options);
    } catch (const Interrupted& interrupted) {
        std::signal(interrupted.signal, SIG_DFL);
        std::raise(interrupted.signal);
    } catch (const UnreadableText& error) {
        std::fprintf(stderr, "%s\n", error.what());
    } catch (const std::bad_alloc&) {
        std::fprintf(stderr, "fenlet: %s: not enough memory\n", nameOf(file).c_str());
    } catch (const std::exception& error) {
        std::fprintf(stderr, "fenlet: %s\n", Terminal::oneLine(error.what()).c_str());
    }
    return failed;
}
