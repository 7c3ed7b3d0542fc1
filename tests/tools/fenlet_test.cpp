// The command for people, run as a program.
#include "doubles/process.h"
#include "hosts/lane_bits.h"
#include "hosts/npy_files.h"
#include "hosts/temporary_folder.h"

#include <fenlethosts/npy_writer.h>

#include <filesystem>
#include <gtest/gtest.h>
#include <sstream>

namespace Fenlet::Tools {
namespace {

using namespace Doubles;
using Strings = std::vector<std::string>;

/// Bits of a Float32 and others, in the order of this machine.
template <class Lane>
std::string bytesOf(const std::vector<Lane>& lanes) {
    return {reinterpret_cast<const char*>(lanes.data()), lanes.size() * sizeof(Lane)};
}

/// A field, a uniform, a mask: what is higher than the sea, in other units.
const std::string heightProgram = "# Heights above the sea.\n"
                                  "field height\n"
                                  "uniform scale\n"
                                  "i : i64 = ElementIndex\n"
                                  "h : f32 = LoadField height[i]\n"
                                  "s : f32 = LoadUniform scale\n"
                                  "result : f32 = Multiply h, s\n"
                                  "zero : f32 = LoadConstant 0.0\n"
                                  "isLand : tribool = Greater h, zero\n"
                                  "output result\n"
                                  "output isLand\n";

class Fenlet : public testing::Test {
  protected:
    Outcome ask(const Strings& arguments, const std::string& input = "") const {
        return Doubles::run({FENLET_PROGRAM, arguments, folder.path(), "", false, -1, input});
    }

    /// What it says when all is well.
    std::string answer(const Strings& arguments, const std::string& input = "") const {
        SCOPED_TRACE(testing::PrintToString(arguments));
        const Outcome outcome = ask(arguments, input);
        EXPECT_EQ(outcome.status, 0);
        EXPECT_EQ(outcome.error, "");
        return outcome.output;
    }

    /// What it says on standard error when `status` says that something is wrong. Nothing is on
    /// disk then but what was there.
    std::string complaint(int status, const Strings& arguments,
                          const std::string& input = "") const {
        SCOPED_TRACE(testing::PrintToString(arguments));
        const Strings before = folder.names();
        const Outcome outcome = ask(arguments, input);
        EXPECT_EQ(outcome.status, status);
        EXPECT_EQ(outcome.output, "");
        EXPECT_EQ(folder.names(), before);
        return outcome.error;
    }

    /// The one line that says why the data or the program cannot stand.
    std::string refusal(const Strings& arguments, const std::string& input = "") const {
        return oneLine(complaint(1, arguments, input));
    }
    /// The one line that says what is wrong with the command line.
    std::string misuse(const Strings& arguments) const { return oneLine(complaint(2, arguments)); }

    /// A run of `program` that cannot stand.
    std::string refusedRun(const std::string& program, Strings arguments) const {
        folder.write("program", program);
        arguments.insert(arguments.begin(), {"run", "program"});
        return refusal(arguments);
    }

    template <class Lane>
    void writeArray(const std::string& name, const std::string& type, const std::string& shape,
                    const std::vector<Lane>& lanes) const {
        folder.write(name, Hosts::npyFile(Hosts::npyHeader(type, shape), bytesOf(lanes)));
    }
    void writeHeights() const {
        writeArray<float>("height.npy", "<f4", "(5,)", {1, -2.5, 0, 100, 8848});
    }

    template <class Lane>
    std::vector<Lane> lanesIn(const std::string& name) const {
        const NpyArray array = readNpy(folder.path(name));
        std::vector<Lane> lanes(array.bytes.size() / sizeof(Lane));
        std::copy(array.bytes.begin(), array.bytes.end(),
                  reinterpret_cast<unsigned char*>(lanes.data()));
        return lanes;
    }

    Hosts::TemporaryFolder folder;

  private:
    static std::string oneLine(const std::string& text) {
        EXPECT_EQ(text.rfind("fenlet: ", 0), 0u) << text;
        EXPECT_EQ(text.find('\n'), text.size() - 1) << text;
        return text.size() > 9 ? text.substr(8, text.size() - 9) : text;
    }
};

TEST_F(Fenlet, ListsAProgramInColumns) {
    const std::string listed = "field height\n"
                               "uniform scale\n"
                               "\n"
                               "%0 i      : i64     = ElementIndex\n"
                               "%1 h      : f32     = LoadField height[%0]\n"
                               "%2 s      : f32     = LoadUniform scale\n"
                               "%3 result : f32     = Multiply %1, %2\n"
                               "%4 zero   : f32     = LoadConstant 0.0\n"
                               "%5 isLand : tribool = Greater %1, %4\n"
                               "\n"
                               "output result\n"
                               "output isLand\n";
    folder.write("program", heightProgram);
    EXPECT_EQ(answer({"list", "program"}), listed);
    EXPECT_EQ(answer({"list", "-"}, folder.path("program")), listed);
    folder.write("listed", listed);
    EXPECT_EQ(answer({"list", "listed"}), listed);
    EXPECT_EQ(answer({"list", "-"}, "/dev/null"), "");
}

TEST_F(Fenlet, SaysNothingAboutAProgramThatIsSound) {
    folder.write("program", heightProgram);
    EXPECT_EQ(answer({"check", "program"}), "");
    EXPECT_EQ(answer({"check", "-"}, folder.path("program")), "");
}

TEST_F(Fenlet, WarnsOfWhatIsProbablyAMistake) {
    folder.write("program", "a : f32 = LoadConstant 1.0\n");
    const std::string findings = answer({"check", "program"});
    EXPECT_EQ(findings.rfind("program: warning: ", 0), 0u) << findings;
    EXPECT_NE(findings.find("LoadConstant"), std::string::npos) << findings;
    EXPECT_EQ(findings.find('\n'), findings.size() - 1) << findings;
}

TEST_F(Fenlet, FindsAllThatIsWrongAndRunsNothingOfIt) {
    folder.write("program", "a : f32x3 = LoadConstant (1.0, 2.0, 3.0)\n"
                            "b : f32x2 = LoadConstant (1.0, 2.0)\n"
                            "c : f32x3 = Add a, b\n"
                            "d : f32x2 = Add b, a\n"
                            "output c\n"
                            "output d\n");
    const Outcome outcome = ask({"check", "program"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.error, "");
    std::istringstream lines(outcome.output);
    std::string first;
    std::string second;
    std::getline(lines, first);
    std::getline(lines, second);
    EXPECT_EQ(first.rfind("program: error: ", 0), 0u) << outcome.output;
    EXPECT_EQ(second.rfind("program: error: ", 0), 0u) << outcome.output;
    EXPECT_NE(first, second);

    // The others say the first and leave it at that.
    const std::string reason = "program: " + first.substr(std::string("program: error: ").size());
    EXPECT_EQ(refusal({"run", "program", "--count", "3", "--out", "c=c.npy"}), reason);
    EXPECT_EQ(refusal({"bench", "program"}), reason);
    EXPECT_NE(answer({"list", "program"}), "");
}

TEST_F(Fenlet, ShowsThePlaceThatCannotBeRead) {
    folder.write("program", "i : i64 = ElementIndex\nheight : f33 = LoadField elevation[i]\n");
    const std::string place = ":2:10: expected a type, as f32 or i64x3, found \"f33\"\n"
                              "height : f33 = LoadField elevation[i]\n"
                              "         ^\n";
    for (const Strings& arguments : {Strings{"check"}, Strings{"list"}, Strings{"bench"},
                                     Strings{"run", "--count", "3", "--out", "height=a.npy"}}) {
        Strings all = arguments;
        all.insert(all.begin() + 1, "program");
        EXPECT_EQ(complaint(1, all), "fenlet: program" + place);
        all[1] = "-";
        EXPECT_EQ(complaint(1, all, folder.path("program")), "fenlet: standard input" + place);
    }
}

TEST_F(Fenlet, SaysWhyAProgramsFileCannotBeRead) {
    for (const char* const command : {"check", "list", "run", "bench"}) {
        Strings more;
        if (std::string(command) == "run")
            more = {"--count", "3", "--out", "a=a.npy"};
        const auto ask = [&](const std::string& file) {
            Strings all = {command, file};
            all.insert(all.end(), more.begin(), more.end());
            return refusal(all);
        };
        EXPECT_EQ(ask("none"), "none: No such file or directory");
        EXPECT_EQ(ask("."), ".: Is a directory");
        EXPECT_EQ(ask("no\nne\x1B[31m"), "no?ne?[31m: No such file or directory");
    }
    EXPECT_EQ(refusal({"check", "-"}, folder.path()), "standard input: Is a directory");
}

} // namespace
} // namespace Fenlet::Tools
