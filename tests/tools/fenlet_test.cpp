// Runs the command `fenlet`.
#include "fenlet_command.h"
#include "hosts/lane_bits.h"

#include <fenlethosts/block_size.h>
#include <fenlethosts/npy_writer.h>
#include <fenletir/text.h>

#include <algorithm>
#include <cmath>
#include <csignal>
#include <filesystem>
#include <gtest/gtest.h>
#include <iterator>
#include <sstream>

namespace Fenlet::Tools {
namespace {

/// A program with a field and a uniform. It converts heights to other units, and tells which are
/// above the sea.
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

TEST_F(FenletCommand, ListsAProgramInColumns) {
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

TEST_F(FenletCommand, SaysNothingAboutAProgramThatIsSound) {
    folder.write("program", heightProgram);
    EXPECT_EQ(answer({"check", "program"}), "");
    EXPECT_EQ(answer({"check", "-"}, folder.path("program")), "");
}

TEST_F(FenletCommand, WarnsOfWhatIsProbablyAMistake) {
    folder.write("program", "a : f32 = LoadConstant 1.0\n"
                            "b : f32 = LoadConstant 2.0\n"
                            "output b\n");
    const std::string findings = answer({"check", "program"});
    EXPECT_EQ(findings.rfind("program:1: warning: Instruction 0 (", 0), 0u) << findings;
    EXPECT_NE(findings.find("LoadConstant"), std::string::npos) << findings;
    EXPECT_EQ(findings.find('\n'), findings.size() - 1) << findings;

    const Outcome outcome = ask({"run", "program", "--count", "1", "--out", "b=b.npy"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.output, "");
    EXPECT_EQ(outcome.error, findings);
    EXPECT_EQ(lanesIn<float>("b.npy"), std::vector<float>{2});
    const Outcome timed = ask({"bench", "program"});
    EXPECT_EQ(timed.status, 0);
    EXPECT_EQ(timed.error, findings);
}

TEST_F(FenletCommand, WarnsOfProgramsThatGiveNothing) {
    EXPECT_EQ(answer({"check", "-"}, "/dev/null"),
              "standard input: warning: The program is empty; write at least one instruction and "
              "make its result an output.\n");
    folder.write("program", "i : i64 = ElementIndex\n");
    EXPECT_NE(answer({"check", "program"}).find("The program has no output"), std::string::npos);
    // A register that a run writes is an output of that run.
    EXPECT_EQ(answer({"run", "program", "--count", "2", "--out", "i=i.npy"}), "");
    EXPECT_EQ(answer({"run", "program", "--count", "2", "--mask", "i=i.npy"}), "");
    EXPECT_EQ(refusedRun("", {"--count", "1", "--out", "a=a.npy"}),
              "the program has no register \"a\"; it has none");
}

/// Programs that the evaluator does not refuse, but whose results are wrong.
const std::string spoiled[] = {
    "i : i64 = ElementIndex\n"
    "a : f32x3 = LoadField a[i]\n"
    "x : f32 = Add a, a\noutput x\n",
    "register a : f32\nx : f32 = Negate a\noutput x\n",
    "register x : f32\ni : i64 = ElementIndex\noutput i\noutput x\n",
    "a : f32x3 = LoadConstant (1.0, 2.0, 3.0)\nx : f32x2 = Length a\noutput x\n",
    "x : f32x3 = LoadConstant 1.0\noutput x\n",
    "x : tribool = LoadConstant 1.0\noutput x\n",
    "x : i32 = LoadConstant 3000000000\noutput x\n",
    "x : f16 = LoadConstant 1e6\noutput x\n",
    "x : i32 = LoadConstant 1.7\noutput x\n",
    "x : i8 = LoadConstant 300\noutput x\n",
};

TEST_F(FenletCommand, RunsNoProgramThatGivesWrongResultsUnlessForced) {
    writeArray<float>("a.npy", "<f4", "(2, 3)", {1, 2, 3, 4, 5, 6});
    for (const std::string& program : spoiled) {
        SCOPED_TRACE(program);
        folder.write("program", program);
        const Outcome checked = ask({"check", "program"});
        EXPECT_EQ(checked.status, 1);
        EXPECT_NE(checked.output.find(": error: "), std::string::npos) << checked.output;
        EXPECT_EQ(checked.output.rfind("program:", 0), 0u) << checked.output;
        const std::string last = "fenlet: program: not run: its results would be wrong; --force "
                                 "runs it all the same\n";
        Strings arguments = {"run", "program", "--count", "2", "--out", "x=x.npy"};
        if (program.find("LoadField") != std::string::npos)
            arguments.insert(arguments.end(), {"--field", "a=a.npy"});
        EXPECT_EQ(complaint(1, arguments), checked.output + last);
        EXPECT_EQ(complaint(1, {"bench", "program"}), checked.output + last);

        std::string warnings = checked.output;
        for (std::size_t at = 0; (at = warnings.find(": error: ", at)) != std::string::npos;)
            warnings.replace(at, 9, ": warning: ");
        arguments.push_back("--force");
        const Outcome forced = ask(arguments);
        EXPECT_EQ(forced.status, 0);
        EXPECT_EQ(forced.error, warnings);
        EXPECT_EQ(readNpy(folder.path("x.npy")).shape[0], 2);
        std::filesystem::remove(folder.path("x.npy"));
        const Outcome timed = ask({"bench", "program", "--force"});
        EXPECT_EQ(timed.status, 0);
        EXPECT_EQ(timed.error, warnings);
    }
}

TEST_F(FenletCommand, RunsNoProgramThatLeavesItsRegistersEvenIfForced) {
    folder.write("program", "a : f32 = LoadConstant 1.0\nx : f32x3 = Add a, a\noutput x\n");
    for (const Strings& arguments : {Strings{"run", "program", "--count", "2", "--out", "x=x.npy"},
                                     Strings{"bench", "program"}}) {
        const std::string last = "fenlet: program: not run: it would read or write outside its "
                                 "registers, which --force does not allow\n";
        const std::string words = complaint(1, arguments);
        EXPECT_EQ(words, ask({"check", "program"}).output + last);
        Strings forced = arguments;
        forced.push_back("--force");
        EXPECT_EQ(complaint(1, forced), words);
    }
}

TEST_F(FenletCommand, RefusesUniformsThatTheirRegisterCannotHoldUnlessForced) {
    folder.write("program", "x : i32x2 = LoadUniform u\noutput x\n");
    const Strings arguments = {"run",       "program",        "--count", "1",
                               "--uniform", "u=1,3000000000", "--out",   "x=x.npy"};
    const std::string words = "uniform \"u\": 3000000000 does not fit into Int32, which holds "
                              "-2147483648 to 2147483647; the nearest is 2147483647";
    EXPECT_EQ(refusal(arguments), words);
    Strings forced = arguments;
    forced.push_back("--force");
    const Outcome outcome = ask(forced);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.error, "fenlet: warning: " + words + "\n");
    forced[5] = "u=1,1.7";
    EXPECT_EQ(ask(forced).error, "fenlet: warning: uniform \"u\": 1.7 does not fit into Int32, "
                                 "which holds whole numbers; the nearest is 2\n");
    forced.pop_back();
    forced[5] = "u=1,-2147483648";
    EXPECT_EQ(answer(forced), "");
    EXPECT_EQ(lanesIn<std::int32_t>("x.npy"), (std::vector<std::int32_t>{1, INT32_MIN}));
}

TEST_F(FenletCommand, FindsAllThatIsWrongAndRunsNothingOfIt) {
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
    EXPECT_EQ(first.rfind("program:3: error: Instruction 2 (", 0), 0u) << outcome.output;
    EXPECT_EQ(second.rfind("program:4: error: Instruction 3 (", 0), 0u) << outcome.output;
    EXPECT_NE(first, second);

    // The other commands print the same findings and stop.
    const std::string reasons =
        outcome.output + "fenlet: program: not run: the evaluator refuses the program\n";
    for (Strings arguments : {Strings{"run", "program", "--count", "3", "--out", "c=c.npy"},
                              Strings{"bench", "program"}}) {
        EXPECT_EQ(complaint(1, arguments), reasons);
        arguments.push_back("--force");
        EXPECT_EQ(complaint(1, arguments), reasons);
    }
    EXPECT_NE(answer({"list", "program"}), "");
}

TEST_F(FenletCommand, ShowsThePlaceThatCannotBeRead) {
    folder.write("program", "i : i64 = ElementIndex\nheight : f33 = LoadField elevation[i]\n");
    const std::string place =
        ":2:10: error: expected a type such as f32 or i64x3, found \"f33\"; did "
        "you mean \"f32\"?\n"
        "height : f33 = LoadField elevation[i]\n"
        "         ^^^\n";
    for (const Strings& arguments : {Strings{"check"}, Strings{"list"}, Strings{"bench"},
                                     Strings{"run", "--count", "3", "--out", "height=a.npy"}}) {
        Strings all = arguments;
        all.insert(all.begin() + 1, "program");
        EXPECT_EQ(complaint(1, all), "program" + place);
        all[1] = "-";
        EXPECT_EQ(complaint(1, all, folder.path("program")), "standard input" + place);
    }
}

TEST_F(FenletCommand, SaysWhyAProgramsFileCannotBeRead) {
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

TEST_F(FenletCommand, RunsAProgramOverFiles) {
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

/// A program with fields of one and three components, a sampler, elements without a value, and
/// truth values.
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

TEST_F(FenletCommand, WritesTheSameFilesInEveryBlockSize) {
    folder.write("program", wideProgram);
    constexpr int count = 3000;
    std::vector<float> normals;
    std::vector<double> places;
    for (int i = 0; i < count; ++i) {
        normals.insert(normals.end(), {float(i), 1.0f / float(i + 1), float(i % 17) - 8});
        // Some places are outside the grid and have no value.
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
    // Element 1 is sampled at (0.1, 0.3); element 33 at (3.3, 1.5), which is outside the grid.
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

TEST_F(FenletCommand, WritesWhatHasNoValueAsNothingAndTheMaskTellsIt) {
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

TEST_F(FenletCommand, TakesUniformsOfEveryKind) {
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

TEST_F(FenletCommand, CountsTheElementsItself) {
    folder.write("program", "i : i64 = ElementIndex\n");
    const auto indices = [this](const Strings& more) {
        Strings arguments = {"run", "program", "--out", "i=i.npy"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        answer(arguments);
        return lanesIn<std::int64_t>("i.npy");
    };
    EXPECT_EQ(indices({"--count", "3"}), (std::vector<std::int64_t>{0, 1, 2}));
    EXPECT_EQ(indices({"--count", "0"}), std::vector<std::int64_t>());
    EXPECT_EQ(readNpy(folder.path("i.npy")).shape, std::vector<std::int64_t>{0});
    EXPECT_EQ(indices({"--count=3000"}).back(), 2999);

    folder.write("program", "i : i64 = ElementIndex\nh : f32 = LoadField height[i]\noutput h\n");
    writeHeights();
    EXPECT_EQ(indices({"--field", "height=height.npy"}).size(), 5u);
    EXPECT_EQ(indices({"--field", "height=height.npy", "--count", "2"}).size(), 2u);
    EXPECT_EQ(refusal({"run", "program", "--field", "height=height.npy", "--out", "i=j.npy",
                       "--count", "6"}),
              "--count 6: the fields have only 5 elements");
    writeArray<float>("height.npy", "<f4", "(0,)", {});
    EXPECT_EQ(indices({"--field", "height=height.npy"}).size(), 0u);
    EXPECT_EQ(refusedRun("i : i64 = ElementIndex\n", {"--out", "i=j.npy"}),
              "no field says how many elements there are; give --count");
    EXPECT_EQ(refusedRun("v : f64x3 = LoadConstant (1.0, 2.0, 3.0)\n",
                         {"--out", "v=v.npy", "--count", "1152921504606846976"}),
              "v.npy: an array cannot have that many entries");
}

TEST_F(FenletCommand, CallsByNumberWhatHasNoNameOfItsOwn) {
    folder.write("program", "field same\n"
                            "field same\n"
                            "uniform \"\"\n"
                            "%0 : i64 = ElementIndex\n"
                            "%1 twice : i64 = LoadField @0[%0]\n"
                            "%2 twice : i64 = LoadField @1[%0]\n"
                            "%3 : i64 = LoadUniform @0\n"
                            "output %1\n"
                            "output %2\n"
                            "output %3\n");
    writeArray<std::int64_t>("a.npy", "<i8", "(1,)", {11});
    writeArray<std::int64_t>("b.npy", "<i8", "(1,)", {22});
    const Strings fine = {"run",       "program", "--field", "@0=a.npy", "--field", "@1=b.npy",
                          "--uniform", "@0=33",   "--out",   "%2=x.npy", "--out",   "%3=y.npy"};
    answer(fine);
    EXPECT_EQ(lanesIn<std::int64_t>("x.npy"), std::vector<std::int64_t>{22});
    EXPECT_EQ(lanesIn<std::int64_t>("y.npy"), std::vector<std::int64_t>{33});
    const auto with = [&](std::size_t place, const std::string& word) {
        Strings all = fine;
        all[place] = word;
        return refusal(all);
    };
    EXPECT_EQ(with(3, "same=a.npy"),
              "the program has several fields \"same\"; use a number instead, such as @0");
    EXPECT_EQ(with(9, "twice=z.npy"),
              "the program has several registers \"twice\"; use a number instead, such as %1");
    EXPECT_EQ(with(3, "@2=a.npy"), "the program has no field \"@2\"; it has \"same\", \"same\"");
    EXPECT_EQ(with(3, "@=a.npy"), "the program has no field \"@\"; it has \"same\", \"same\"");
    EXPECT_EQ(with(3, "@1=a.npy"), "field \"same\" is given twice");
    EXPECT_EQ(with(7, "x=1"), "the program has no uniform \"x\"; it has @0");
    EXPECT_EQ(with(9, "%4=z.npy"),
              "the program has no register \"%4\"; it has %0, \"twice\", \"twice\", %3");
    EXPECT_EQ(with(9, "%-1=z.npy"),
              "the program has no register \"%-1\"; it has %0, \"twice\", \"twice\", %3");
}

/// A program that needs one argument of each sort.
const std::string allSorts = "i : i64 = ElementIndex\n"
                             "at : f32x2 = LoadField at[i]\n"
                             "isDry : tribool = LoadField dry[i]\n"
                             "scale : f32 = LoadUniform scale\n"
                             "isOn : tribool = LoadUniform on\n"
                             "level : f32x2 = Sample ground[at]\n"
                             "output isDry\n"
                             "output scale\n"
                             "output isOn\n";

class FenletInputs : public FenletCommand {
  protected:
    FenletInputs() {
        writeArray<float>("at.npy", "<f4", "(2, 2)", {0, 0, 1, 1});
        writeArray<unsigned char>("dry.npy", "|b1", "(2,)", {0, 1});
        writeArray<float>("ground.npy", "<f4", "(2, 2, 2)", {1, 2, 3, 4, 5, 6, 7, 8});
        writeArray<float>("flat.npy", "<f4", "(2,)", {1, 2});
        writeArray<float>("long.npy", "<f4", "(3, 2)", {1, 2, 3, 4, 5, 6});
        writeArray<float>("scalar.npy", "<f4", "()", {1});
        writeArray<unsigned char>("truths.npy", "|b1", "(2, 2)", {0, 1, 1, 0});
        folder.write("text.npy", "no array at all");
        folder.write("program", allSorts);
    }

    /// The arguments of a good run, with `value` instead of the value of the same name.
    Strings with(const std::string& option, const std::string& value) const {
        const Strings fine[] = {{"--field", "at=at.npy"},
                                {"--field", "dry=dry.npy"},
                                {"--uniform", "scale=2"},
                                {"--uniform", "on=true"},
                                {"--sampler", "ground=ground.npy"}};
        Strings all = {"run", "program", "--out", "level=level.npy"};
        const std::string name = value.substr(0, value.find('='));
        for (const Strings& pair : fine)
            if (pair[0] != option || pair[1].substr(0, pair[1].find('=')) != name)
                all.insert(all.end(), pair.begin(), pair.end());
        if (value != name)
            all.insert(all.end(), {option, value});
        return all;
    }
    std::string refused(const std::string& option, const std::string& value) const {
        return refusal(with(option, value));
    }
};

TEST_F(FenletInputs, AreTakenWhereTheyFit) {
    answer(with("", ""));
    EXPECT_EQ(lanesIn<float>("level.npy"), (std::vector<float>{1, 2, 7, 8}));
}

TEST_F(FenletInputs, AreMissed) {
    EXPECT_EQ(refused("--field", "at"), "field \"at\" has no data; give it with --field");
    EXPECT_EQ(refused("--uniform", "scale"),
              "uniform \"scale\" has no value; give it with --uniform");
    EXPECT_EQ(refused("--sampler", "ground"),
              "sampler \"ground\" has no grid; give it with --sampler");
}

TEST_F(FenletInputs, AreRefusedUnderNamesThatTheProgramDoesNotHave) {
    EXPECT_EQ(refused("--field", "x=at.npy"),
              "the program has no field \"x\"; it has \"at\", \"dry\"");
    EXPECT_EQ(refused("--uniform", "x=1"),
              "the program has no uniform \"x\"; it has \"scale\", \"on\"");
    EXPECT_EQ(refused("--sampler", "x=at.npy"),
              "the program has no sampler \"x\"; it has \"ground\"");
    EXPECT_EQ(refused("--out", "x=x.npy"),
              "the program has no register \"x\"; it has \"i\", \"at\", \"isDry\", \"scale\", "
              "\"isOn\", \"level\"");
    EXPECT_EQ(refused("--mask", "x=x.npy"),
              "the program has no register \"x\"; it has \"i\", \"at\", \"isDry\", \"scale\", "
              "\"isOn\", \"level\"");
    EXPECT_EQ(refusedRun("a : f32 = LoadConstant 1.0\n",
                         {"--count", "1", "--out", "a=a.npy", "--field", "x=at.npy"}),
              "the program has no field \"x\"; it has none");
}

TEST_F(FenletInputs, AreRefusedWhereTheyDoNotFit) {
    EXPECT_EQ(refused("--field", "at=flat.npy"),
              "field \"at\" (flat.npy) has 1 component per element, but the program reads "
              "2");
    EXPECT_EQ(refused("--field", "at=truths.npy"),
              "field \"at\" (truths.npy) holds truth values, but the program reads numbers");
    EXPECT_EQ(refused("--field", "dry=flat.npy"),
              "field \"dry\" (flat.npy) holds numbers, but the program reads truth values");
    EXPECT_EQ(refused("--field", "at=long.npy"),
              "long.npy: has 3 elements, but the field before it has 2");
    EXPECT_EQ(refused("--field", "at=scalar.npy"),
              "scalar.npy: the shape is (); a field needs an array of elements, or of elements x "
              "components (1 to 65536)");
    EXPECT_EQ(refused("--field", "at=ground.npy"),
              "ground.npy: the shape is (2, 2, 2); a field needs an array of elements, or of "
              "elements x components (1 to 65536)");
    EXPECT_EQ(refused("--sampler", "ground=flat.npy"),
              "flat.npy: the shape is (2,); a sampler needs an array of rows x columns, or of rows "
              "x columns x components (1 to 65536)");
    EXPECT_EQ(refused("--sampler", "ground=at.npy"),
              "sampler \"ground\" has 1 component per element, but the program reads 2");
    EXPECT_EQ(refused("--sampler", "ground=truths.npy"),
              "truths.npy: the array holds truth values; a sampler needs numbers");
    EXPECT_EQ(refused("--uniform", "scale=1,2"),
              "uniform \"scale\" has 2 components per element, but the program reads 1");
    EXPECT_EQ(refused("--uniform", "scale=true"),
              "uniform \"scale\" holds truth values, but the program reads numbers");
    EXPECT_EQ(refused("--uniform", "on=1"),
              "uniform \"on\" holds numbers, but the program reads truth values");
    EXPECT_EQ(refusedRun("i : i64 = ElementIndex\nx : f32 = Sample ground[i]\n",
                         {"--count", "1", "--out", "x=x.npy", "--sampler", "ground=at.npy"}),
              "sampler \"ground\" needs coordinates of 2 numbers, column and row, but the program "
              "gives it 1");
}

TEST_F(FenletInputs, AreRefusedWhereTheyCannotBeRead) {
    for (const std::string option : {"--field", "--sampler"}) {
        const std::string name = option == "--field" ? "at=" : "ground=";
        EXPECT_EQ(refused(option, name + "none.npy"), "none.npy: No such file or directory");
        EXPECT_EQ(refused(option, name + "."), ".: Is a directory");
        EXPECT_EQ(refused(option, name + "text.npy"),
                  "text.npy: not a .npy file (it does not begin with the format's mark)");
        EXPECT_EQ(refused(option, name + "a\nb"), "a?b: No such file or directory");
    }
    const auto noNumber = [](const std::string& piece) {
        return "uniform \"scale\": \"" + piece +
               "\" is not a number; give numbers separated by commas, or true, false or unknown";
    };
    for (const std::string text : {"x", "1x", "1 ", "+1", "0x1", "TRUE", "1e999", "--"})
        EXPECT_EQ(refused("--uniform", "scale=" + text), noNumber(text));
    EXPECT_EQ(refused("--uniform", "scale=1,true"), noNumber("true"));
    EXPECT_EQ(refused("--uniform", "scale=1,"), noNumber(""));
    std::string many = "scale=1";
    for (int i = 1; i < 65; ++i)
        many += ",1";
    EXPECT_EQ(refused("--uniform", many), "uniform \"scale\" has 65 numbers; the limit is 64");
}

TEST_F(FenletInputs, AreRefusedTwiceAndWithoutANameOrValue) {
    const auto also = [&](const std::string& option, const std::string& value) {
        Strings all = with("", "");
        all.insert(all.end(), {option, value});
        return refusal(all);
    };
    EXPECT_EQ(also("--field", "at=at.npy"), "field \"at\" is given twice");
    EXPECT_EQ(also("--uniform", "on=true"), "uniform \"on\" is given twice");
    EXPECT_EQ(also("--sampler", "ground=ground.npy"), "sampler \"ground\" is given twice");
    for (const std::string text : {"x", "=x", "x="}) {
        EXPECT_EQ(also("--field", text), "--field " + text + ": expected NAME=FILE");
        EXPECT_EQ(also("--uniform", text), "--uniform " + text + ": expected NAME=VALUE");
        EXPECT_EQ(also("--sampler", text), "--sampler " + text + ": expected NAME=FILE");
        EXPECT_EQ(also("--out", text), "--out " + text + ": expected NAME=FILE");
        EXPECT_EQ(also("--mask", text), "--mask " + text + ": expected NAME=FILE");
    }
}

TEST_F(FenletCommand, RefusesTwoOutputsInOneFile) {
    folder.write("program", "i : i64 = ElementIndex\n");
    std::filesystem::create_symlink("i.npy", folder.path("link.npy"));
    const std::string here = folder.path("i.npy");
    for (const std::string& other :
         {std::string("i.npy"), std::string("./i.npy"), here, std::string("link.npy")}) {
        EXPECT_EQ(
            refusal({"run", "program", "--count", "3", "--out", "i=i.npy", "--out", "i=" + other}),
            "--out i=" + other + ": another output is already written to this file");
        EXPECT_EQ(
            refusal({"run", "program", "--count", "3", "--out", "i=i.npy", "--mask", "i=" + other}),
            "--mask i=" + other + ": another output is already written to this file");
    }
    answer({"run", "program", "--count", "3", "--out", "i=i.npy", "--out", "i=j.npy"});
    EXPECT_EQ(folder.read("i.npy"), folder.read("j.npy"));
    EXPECT_EQ(
        refusal({"run", "program", "--count", "3", "--out", "i=i.npy", "--out", "i=link.npy"}),
        "--out i=link.npy: another output is already written to this file");
}

TEST_F(FenletCommand, MayWriteTheFileThatItReads) {
    folder.write("program", "i : i64 = ElementIndex\n"
                            "h : f32 = LoadField height[i]\n"
                            "double : f32 = Add h, h\n");
    std::vector<float> heights(100000);
    for (std::size_t i = 0; i < heights.size(); ++i)
        heights[i] = static_cast<float>(i);
    writeArray("height.npy", "<f4", "(100000,)", heights);
    std::filesystem::create_symlink("height.npy", folder.path("link.npy"));
    for (const std::string target : {"height.npy", "link.npy"}) {
        answer({"run", "program", "--field", "height=height.npy", "--out", "double=" + target});
        for (float& height : heights)
            height *= 2;
        EXPECT_EQ(lanesIn<float>("height.npy"), heights);
    }
    EXPECT_EQ(folder.names(), (Strings{"height.npy", "link.npy", "program"}));
}

TEST_F(FenletCommand, LeavesAllFilesAsTheyWereWhereOneCannotBeWritten) {
    folder.write("program", "i : i64 = ElementIndex\nten : i32 = LoadConstant 10\n");
    folder.write("small.npy", "what was there");
    const Strings before = folder.names();
    const auto refusedAt = [&](std::int64_t longestFile, const std::string& second) {
        const Outcome outcome = Doubles::run(
            {FENLET_PROGRAM,
             {"run", "program", "--count", "100", "--out", "ten=small.npy", "--out", "i=" + second},
             folder.path(),
             "",
             false,
             longestFile,
             ""});
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(folder.names(), before);
        EXPECT_EQ(folder.read("small.npy"), "what was there");
        return outcome.error;
    };
    // The small file has 528 bytes and the large one 928. With a limit of 0 neither file fits; with
    // a limit of 700 only the small one fits.
    EXPECT_EQ(refusedAt(0, "large.npy"), "fenlet: small.npy: File too large\n");
    EXPECT_EQ(refusedAt(700, "large.npy"), "fenlet: large.npy: File too large\n");
    EXPECT_EQ(refusedAt(-1, "none/large.npy"),
              "fenlet: none/large.npy: No such file or directory\n");
    EXPECT_EQ(refusedAt(-1, "."), "fenlet: .: Is a directory\n");
    EXPECT_EQ(refusedAt(-1, "/dev/full"), "fenlet: /dev/full: is there and is not a plain file\n");
    EXPECT_EQ(refusedAt(-1, "program/x"), "fenlet: program/x: Not a directory\n");
}

TEST_F(FenletCommand, SaysWhatItIsAskedWrongly) {
    folder.write("program", "i : i64 = ElementIndex\n");
    EXPECT_EQ(misuse({}), "no command; give check, list, run or bench, or see --help");
    EXPECT_EQ(misuse({"frob"}), "The following argument was not expected: frob");
    for (const std::string command : {"check", "list", "run", "bench"}) {
        EXPECT_EQ(misuse({command}), "FILE is required");
        EXPECT_EQ(misuse({command, "program", "other"}),
                  "The following argument was not expected: other");
        EXPECT_EQ(misuse({command, "program", "--frob"}),
                  "The following argument was not expected: --frob");
    }
    for (const std::string option : {"--field", "--uniform", "--sampler", "--out", "--mask"})
        EXPECT_EQ(misuse({"run", "program", option}),
                  option + ": 1 required " + (option == "--uniform" ? "NAME=VALUE" : "NAME=FILE") +
                      " missing");
    for (const std::string command : {"run", "bench"})
        for (const std::string block : {"0", "-1", "1048577", "x", "1.5", "99999999999999999999"})
            EXPECT_EQ(misuse({command, "program", "--block", block}),
                      "--block: Value " + block + " not in range 1 to 1048576");
    for (const std::string count :
         {"-1", "x", "1.5", "1152921504606846977", "99999999999999999999"})
        EXPECT_EQ(misuse({"run", "program", "--out", "i=i.npy", "--count", count}),
                  "--count: Value " + count + " not in range 0 to 1152921504606846976");
    EXPECT_EQ(misuse({"run", "program", "--count", "1", "--count", "2"}),
              "--count: At Most 1 required but received 2");
    EXPECT_EQ(refusal({"run", "program", "--count", "1"}),
              "nothing to write; give --out NAME=FILE");
    EXPECT_EQ(refusedRun("i : i64 = ElementIndex\noutput i\n", {"--count", "1"}),
              "nothing to write; give --out NAME=FILE, such as --out i=i.npy");
}

TEST_F(FenletCommand, TellsAllInItsHelp) {
    const std::string help = answer({"--help"});
    for (const std::string word :
         {"check FILE", "list FILE", "run FILE", "bench FILE", "--field NAME=FILE",
          "--uniform NAME=VALUE", "--sampler NAME=FILE", "--out NAME=FILE", "--mask NAME=FILE",
          "--count N", "--block N", "--threads N", "--force", "Exit status: 0 ", "; 2 "})
        EXPECT_NE(help.find(word), std::string::npos) << word;
    EXPECT_NE(answer({"run", "--help"}).find("Exit status: 0 "), std::string::npos);
}

TEST_F(FenletCommand, SaysWhyItCannotAnswer) {
    folder.write("program", heightProgram);
    for (const std::string command : {"list", "bench"}) {
        const Outcome outcome = Doubles::run(
            {FENLET_PROGRAM, {command, "program"}, folder.path(), "/dev/full", false, -1, ""});
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(outcome.error, "fenlet: standard output: No space left on device\n");
    }
}

/// The words of a line.
Strings wordsOf(const std::string& line) {
    std::istringstream stream(line);
    return {std::istream_iterator<std::string>(stream), {}};
}

TEST_F(FenletCommand, TimesAProgramInTwoTables) {
    folder.write("program", heightProgram + "Nop\n");
    const std::string printed = answer({"bench", "program", "--block", "77"});
    std::istringstream stream(printed);
    Strings lines;
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    ASSERT_EQ(lines.size(), 20u) << printed;
    EXPECT_EQ(wordsOf(lines[0]),
              (Strings{"block", "size", "ns", "per", "element", "block", "memory"}));
    const Strings sizes = {"64",   "128",  "256",  "512",   "1024",
                           "2048", "4096", "8192", "16384", "65536"};
    const ParseResult parsed = parseProgram(folder.read("program"));
    const std::string advised = std::to_string(adviseBlockSize(parsed.program));
    EXPECT_NE(std::find(sizes.begin(), sizes.end(), advised), sizes.end()) << advised;
    for (std::size_t i = 0; i < sizes.size(); ++i) {
        const Strings words = wordsOf(lines[1 + i]);
        const bool isAdvised = sizes[i] == advised;
        ASSERT_EQ(words.size(), isAdvised ? 5u : 4u) << lines[1 + i];
        EXPECT_EQ(words[0], sizes[i]);
        EXPECT_GT(std::stod(words[1]), 0);
        EXPECT_GT(std::stod(words[2]), 0);
        EXPECT_EQ(words[3], "KiB");
        if (isAdvised) {
            EXPECT_EQ(words[4], "(advised)");
        }
    }
    EXPECT_EQ(lines[11], "");
    EXPECT_EQ(wordsOf(lines[12]),
              (Strings{"ns", "per", "element", "ns", "instruction,", "at", "block", "size", "77"}));
    const Strings instructions = {"ElementIndex", "LoadField", "LoadUniform", "Multiply",
                                  "LoadConstant", "Greater",   "Nop"};
    for (std::size_t i = 0; i < instructions.size(); ++i) {
        const Strings words = wordsOf(lines[13 + i]);
        ASSERT_GE(words.size(), 3u) << lines[13 + i];
        EXPECT_GE(std::stod(words[0]), 0);
        EXPECT_GE(std::stod(words[1]), 0);
        EXPECT_NE(lines[13 + i].find(instructions[i]), std::string::npos) << lines[13 + i];
    }
}

/// Steps over many components, for a run that is long enough to show progress.
std::string longProgram() {
    std::string text = "v : f64x64 = LoadConstant (1.5";
    for (int component = 1; component < 64; ++component)
        text += ", 0.5";
    text += ")\n";
    for (int step = 0; step < 40; ++step)
        text += "v = Divide v, v\n";
    return text + "first : f64 = Component v[0]\nisFine : tribool = Less first, first\n";
}

TEST_F(FenletCommand, ShowsItsProgressOnATerminalAndNowhereElse) {
    folder.write("program", longProgram());
    const auto run = [this](long long count, bool hasTerminal) {
        const Outcome outcome = Doubles::run(
            {FENLET_PROGRAM,
             {"run", "program", "--count", std::to_string(count), "--out", "isFine=a.npy"},
             folder.path(),
             "",
             hasTerminal,
             -1,
             ""});
        EXPECT_EQ(outcome.status, 0);
        EXPECT_EQ(outcome.output, "");
        return outcome.error;
    };
    // A fast machine can finish before there is progress to show.
    long long count = 400'000;
    std::string shown = run(count, true);
    while (shown.empty() && count < 100'000'000) {
        count *= 4;
        shown = run(count, true);
    }
    EXPECT_EQ(run(count, false), "");
    EXPECT_EQ(shown.rfind("\revaluating: ", 0), 0u) << shown;
    EXPECT_NE(shown.find(" %\033[K"), std::string::npos) << shown;
    EXPECT_EQ(shown.substr(std::max<std::size_t>(shown.size(), 4) - 4), "\r\033[K") << shown;
}

TEST_F(FenletCommand, RemovesUnfinishedFilesWhenItIsEnded) {
    folder.write("program", longProgram());
    folder.write("a.npy", "what was there");
    const Strings before = folder.names();
    for (const std::string signal : {"INT", "TERM", "HUP"}) {
        const Outcome outcome = Doubles::run(
            {"/usr/bin/env",
             {"timeout", "--preserve-status", "--signal=" + signal, "0.5", FENLET_PROGRAM, "run",
              "program", "--count", "200000000", "--out", "isFine=a.npy"},
             folder.path(),
             "",
             false,
             -1,
             ""});
        const int number = signal == "INT" ? SIGINT : signal == "TERM" ? SIGTERM : SIGHUP;
        EXPECT_EQ(outcome.status, 128 + number);
        EXPECT_EQ(outcome.error, "");
        EXPECT_EQ(folder.names(), before);
        EXPECT_EQ(folder.read("a.npy"), "what was there");
    }
}

} // namespace
} // namespace Fenlet::Tools
