// The command for people, run as a program.
#include "doubles/process.h"
#include "hosts/lane_bits.h"
#include "hosts/npy_files.h"
#include "hosts/temporary_folder.h"

#include <fenlethosts/npy_writer.h>

#include <cmath>
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

TEST_F(Fenlet, RunsAProgramOverFiles) {
    folder.write("program", heightProgram);
    writeHeights();
    const Strings before = folder.names();
    const std::string piped = folder.path("program");
    for (const std::string file : {"program", "-"}) {
        EXPECT_EQ(answer({"run", file, "--field", "height=height.npy", "--uniform", "scale=2",
                          "--out", "result=result.npy", "--out=isLand=land.npy"},
                         file == "-" ? piped : ""),
                  "");
        EXPECT_EQ(folder.read("result.npy"),
                  Hosts::npyFile(Hosts::npyHeader("<f4", "(5,)"),
                                 bytesOf<float>({2, -5, 0, 200, 17696})));
        EXPECT_EQ(folder.read("land.npy"),
                  Hosts::npyFile(Hosts::npyHeader("|b1", "(5,)"), std::string("\1\0\0\1\1", 5)));
        EXPECT_EQ(folder.names(), (Strings{"height.npy", "land.npy", "program", "result.npy"}));
        std::filesystem::remove(folder.path("result.npy"));
        std::filesystem::remove(folder.path("land.npy"));
    }
    EXPECT_EQ(folder.names(), before);
}

/// Fields of one and three components, a sampler, lanes without a value, truth values.
const std::string wideProgram = "i : i64 = ElementIndex\n"
                                "normal : f32x3 = LoadField normal[i]\n"
                                "at : f64x2 = LoadField at[i]\n"
                                "level : f64 = Sample ground[at]\n"
                                "up : f32 = Component normal[2]\n"
                                "sum : f64 = Add up, level\n"
                                "isLow : tribool = Less sum, up\n"
                                "both : f32x3 = Multiply normal, up\n"
                                "output sum\n"
                                "output isLow\n"
                                "output both\n";

TEST_F(Fenlet, WritesTheSameFilesInEveryBlockSize) {
    folder.write("program", wideProgram);
    constexpr int count = 3000;
    std::vector<float> normals;
    std::vector<double> places;
    for (int i = 0; i < count; ++i) {
        normals.insert(normals.end(), {float(i), 1.0f / float(i + 1), float(i % 17) - 8});
        // Some of them beyond the grid, which have no value.
        places.insert(places.end(), {i % 40 * 0.1, i % 7 * 0.3});
    }
    writeArray("normal.npy", "<f4", "(3000, 3)", normals);
    writeArray("at.npy", "<f8", "(3000, 2)", places);
    writeArray<std::int32_t>("ground.npy", "<i4", "(2, 4)", {0, 10, 20, 30, -100, 0, 7, -8});
    Strings first;
    for (const char* const block : {"1", "7", "1024", "65536", ""}) {
        Strings arguments = {"run",       "program",           "--field", "normal=normal.npy",
                             "--field",   "at=at.npy",         "--out",   "sum=sum.npy",
                             "--sampler", "ground=ground.npy", "--out",   "both=b.npy",
                             "--out",     "isLow=low.npy",     "--mask",  "isLow=lowMask.npy",
                             "--mask",    "sum=sumMask.npy"};
        if (block[0] != 0)
            arguments.insert(arguments.end(), {"--block", block});
        answer(arguments);
        const Strings now = {folder.read("sum.npy"), folder.read("b.npy"), folder.read("low.npy"),
                             folder.read("lowMask.npy"), folder.read("sumMask.npy")};
        if (first.empty())
            first = now;
        EXPECT_TRUE(now == first) << "--block " << block;
    }
    // Element 1 is looked up at (0.1, 0.3); element 33 at (3.3, 1.5), where the grid has ended.
    EXPECT_EQ(readNpy(folder.path("b.npy")).shape, (std::vector<std::int64_t>{count, 3}));
    const auto sums = lanesIn<double>("sum.npy");
    const auto mask = lanesIn<unsigned char>("sumMask.npy");
    EXPECT_NEAR(sums[1], -7 + 0.7 * 1 + 0.3 * -90, 1e-12);
    EXPECT_EQ(mask[1], 1);
    EXPECT_TRUE(std::isnan(sums[33]));
    EXPECT_EQ(mask[33], 0);
    EXPECT_EQ(lanesIn<unsigned char>("lowMask.npy"), mask);
    EXPECT_EQ(lanesIn<unsigned char>("low.npy")[33], 0);
}

TEST_F(Fenlet, WritesWhatHasNoValueAsNothingAndTheMaskTellsIt) {
    folder.write("program", "i : i64 = ElementIndex\n"
                            "far : i64 = LoadField where[i]\n"
                            "f16 : f16 = LoadField data[far]\n"
                            "f32 : f32 = LoadField data[far]\n"
                            "f64 : f64 = LoadField data[far]\n"
                            "i32 : i32 = LoadField data[far]\n"
                            "i64 : i64 = LoadField data[far]\n"
                            "limit : f64 = LoadConstant 7.5\n"
                            "truth : tribool = Less f64, limit\n");
    writeArray<std::int16_t>("data.npy", "<i2", "(4,)", {5, 6, 7, 8});
    writeArray<std::int64_t>("where.npy", "<i8", "(4,)", {2, 3, 4, -1});
    Strings arguments = {"run",           "program", "--field",
                         "data=data.npy", "--field", "where=where.npy"};
    for (const std::string name : {"f16", "f32", "f64", "i32", "i64", "truth"})
        arguments.insert(arguments.end(), {"--out", name + "=" + name + ".npy", "--mask",
                                           name + "=" + name + "Mask.npy"});
    answer(arguments);
    for (const std::string name : {"f16", "f32", "f64", "i32", "i64", "truth"})
        EXPECT_EQ(lanesIn<unsigned char>(name + "Mask.npy"),
                  (std::vector<unsigned char>{1, 1, 0, 0}))
            << name;
    EXPECT_EQ(lanesIn<std::uint16_t>("f16.npy"),
              (std::vector<std::uint16_t>{0x4700, 0x4800, 0x7E00, 0x7E00}));
    EXPECT_EQ(lanesIn<std::uint32_t>("f32.npy"),
              (std::vector<std::uint32_t>{0x40E00000, 0x41000000, 0x7FC00000, 0x7FC00000}));
    EXPECT_EQ(lanesIn<std::uint64_t>("f64.npy"),
              (std::vector<std::uint64_t>{0x401C000000000000, 0x4020000000000000,
                                          0x7FF8000000000000, 0x7FF8000000000000}));
    EXPECT_EQ(lanesIn<std::int32_t>("i32.npy"), (std::vector<std::int32_t>{7, 8, 0, 0}));
    EXPECT_EQ(lanesIn<std::int64_t>("i64.npy"), (std::vector<std::int64_t>{7, 8, 0, 0}));
    EXPECT_EQ(lanesIn<unsigned char>("truth.npy"), (std::vector<unsigned char>{1, 0, 0, 0}));
}

TEST_F(Fenlet, TakesUniformsOfEveryKind) {
    folder.write("program", "a : i64 = LoadUniform whole\n"
                            "b : f64x3 = LoadUniform several\n"
                            "c : tribool = LoadUniform truth\n"
                            "d : f32 = LoadUniform real\n");
    const auto run = [this](const std::string& truth) {
        answer({"run",       "program",
                "--count",   "2",
                "--uniform", "whole=9007199254740993",
                "--uniform", "several=1,-2.5,1e3",
                "--uniform", "truth=" + truth,
                "--uniform", "real=-inf",
                "--out",     "a=a.npy",
                "--out",     "b=b.npy",
                "--out",     "c=c.npy",
                "--out",     "d=d.npy",
                "--mask",    "c=mask.npy"});
        EXPECT_EQ(lanesIn<std::int64_t>("a.npy"),
                  (std::vector<std::int64_t>{9007199254740993, 9007199254740993}));
        EXPECT_EQ(lanesIn<double>("b.npy"), (std::vector<double>{1, -2.5, 1000, 1, -2.5, 1000}));
        EXPECT_EQ(lanesIn<float>("d.npy"), std::vector<float>(2, -HUGE_VALF));
        return std::pair<int, int>(lanesIn<unsigned char>("c.npy").at(1),
                                   lanesIn<unsigned char>("mask.npy").at(1));
    };
    EXPECT_EQ(run("true"), std::pair(1, 1));
    EXPECT_EQ(run("false"), std::pair(0, 1));
    EXPECT_EQ(run("unknown"), std::pair(0, 0));
}

} // namespace
} // namespace Fenlet::Tools
