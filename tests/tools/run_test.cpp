// `fenlet run` from files to files: mapped, on several threads, and where neither is possible.
#include "fenlet_command.h"

#include <cmath>
#include <filesystem>

namespace Fenlet::Tools {
namespace {

constexpr int count = 200'000; // several pieces for several threads

/// Fields of one and several components, computed element numbers, a sampler, a division by zero,
/// and truth values.
const std::string mixedProgram = "i : i64 = ElementIndex\n"
                                 "height : f32 = LoadField height[i]\n"
                                 "at : f64x2 = LoadField at[i]\n"
                                 "level : f64 = Sample ground[at]\n"
                                 "isDry : tribool = Greater level, height\n"
                                 "both : f64x2 = Multiply at, height\n"
                                 "step : i32 = LoadField step[i]\n"
                                 "share : i32 = Divide step, step\n"
                                 "far : f32 = LoadField height[step]\n"
                                 "output isDry\n"
                                 "output both\n"
                                 "output share\n"
                                 "output far\n";
const Strings mixedOutputs = {"height", "level", "isDry", "both", "step", "share", "far"};

class FenletRun : public FenletCommand {
  protected:
    /// Writes the program, its fields and its sampler's grid. The arrays `step` and `ground` have
    /// narrower kinds than the registers that their values go to.
    void writeMixed() const {
        std::vector<float> heights;
        std::vector<double> places;
        std::vector<std::int16_t> steps;
        for (int i = 0; i < count; ++i) {
            heights.push_back(static_cast<float>(i % 1000) / 4 - 50);
            places.insert(places.end(), {i % 40 * 0.1, i % 7 * 0.3});
            steps.push_back(static_cast<std::int16_t>(i % 5000 - 10));
        }
        folder.write("program", mixedProgram);
        writeArray("height.npy", {Hosts::ownOrder, 'f', '4'}, "(200000,)", heights);
        writeArray("at.npy", {Hosts::ownOrder, 'f', '8'}, "(200000, 2)", places);
        writeArray("step.npy", {Hosts::ownOrder, 'i', '2'}, "(200000,)", steps);
        writeArray<std::uint8_t>("ground.npy", "|u1", "(2, 4)", {0, 10, 20, 30, 100, 0, 7, 255});
    }

    /// Runs the mixed program and returns the files that it writes: values, then masks.
    Strings mixed(const Strings& more) const {
        Strings arguments = {"run",       "program",          "--field", "height=height.npy",
                             "--field",   "at=at.npy",        "--field", "step=step.npy",
                             "--sampler", "ground=ground.npy"};
        Strings files;
        for (const char* const option : {"--out", "--mask"})
            for (const std::string& name : mixedOutputs) {
                files.push_back(name + option + ".npy");
                arguments.insert(arguments.end(), {option, name + "=" + files.back()});
            }
        arguments.insert(arguments.end(), more.begin(), more.end());
        answer(arguments);
        for (std::string& file : files) {
            const std::string path = folder.path(file);
            file = folder.read(file);
            std::filesystem::remove(path);
        }
        return files;
    }
};

TEST_F(FenletRun, WritesTheSameFilesOnEveryNumberOfThreads) {
    writeMixed();
    const Strings first = mixed({"--threads", "1"});
    EXPECT_TRUE(mixed({}) == first);
    EXPECT_TRUE(mixed({"--threads", "1", "--block", "77"}) == first);
#ifdef FENLET_HAVE_TBB
    for (const char* const threads : {"2", "3", "7", "1024"})
        EXPECT_TRUE(mixed({"--threads", threads}) == first) << threads;
    EXPECT_TRUE(mixed({"--threads", "2", "--block", "1000"}) == first);
#endif
}

// A register with two files is evaluated by an interpreter, block by block.
TEST_F(FenletRun, WritesTheSameFilesAsAnInterpreter) {
    writeMixed();
    const Strings first = mixed({});
    EXPECT_TRUE(mixed({"--out", "far=again.npy"}) == first);
    EXPECT_EQ(folder.read("again.npy"), first[6]);
    EXPECT_TRUE(mixed({"--out", "far=again.npy", "--block", "77"}) == first);
}

TEST_F(FenletRun, EvaluatesTheFirstElements) {
    writeMixed();
    const Strings all = mixed({});
    const Strings some = mixed({"--count", "5003"});
    const Strings interpreted = mixed({"--count", "5003", "--out", "far=again.npy"});
    EXPECT_TRUE(some == interpreted);
    constexpr std::size_t headerBytes = 128;
    for (std::size_t i = 0; i < all.size(); ++i) {
        const std::size_t elementBytes = (all[i].size() - headerBytes) / count;
        ASSERT_EQ(some[i].size(), headerBytes + 5003 * elementBytes);
        EXPECT_EQ(some[i].substr(headerBytes), all[i].substr(headerBytes, 5003 * elementBytes));
    }
}

// The output replaces the file, not what the run reads.
TEST_F(FenletRun, MayReplaceWhatItReadsByNumber) {
    std::vector<std::int32_t> numbers(count);
    for (int i = 0; i < count; ++i)
        numbers[std::size_t(i)] = 3 * i;
    folder.write("program", "i : i64 = ElementIndex\n"
                            "place : i32 = Component i[0]\n"
                            "last : i32 = LoadUniform last\n"
                            "mirrored : i32 = Subtract last, place\n"
                            "here : i32 = LoadField n[i]\n"
                            "there : i32 = LoadField n[mirrored]\n"
                            "difference : i32 = Subtract here, there\n");
    writeArray("n.npy", {Hosts::ownOrder, 'i', '4'}, "(200000,)", numbers);
    answer({"run", "program", "--field", "n=n.npy", "--uniform", "last=199999", "--out",
            "difference=n.npy"});
    for (int i = 0; i < count; ++i)
        numbers[std::size_t(i)] = 3 * i - 3 * (count - 1 - i);
    EXPECT_EQ(lanesIn<std::int32_t>("n.npy"), numbers);
    EXPECT_EQ(folder.names(), (Strings{"n.npy", "program"}));
}

TEST_F(FenletRun, ReadsEveryTypeOfNumbersInEitherOrderFromAnyPlace) {
    folder.write("program", "i : i64 = ElementIndex\n"
                            "n : f64 = LoadField n[i]\n"
                            "whole : i64 = LoadField n[i]\n");
    const struct {
        std::string type;
        std::vector<std::uint64_t> entries;
        std::vector<double> values;
    } rows[] = {
        {"i1", {5, 0x80, 0xFF}, {5, -128, -1}},
        {"u1", {5, 0x80, 0xFF}, {5, 128, 255}},
        {"i2", {5, 0x8000, 0xFFFE}, {5, -32768, -2}},
        {"u2", {5, 0x8000, 0xFFFE}, {5, 32768, 65534}},
        {"i4", {5, 0x80000000, 0xFFFFFFFE}, {5, -2147483648.0, -2}},
        {"u4", {5, 0x80000000, 0xFFFFFFFE}, {5, 2147483648.0, 4294967294.0}},
        {"i8", {5, 1ULL << 62, ~std::uint64_t{1}}, {5, 0x1p62, -2}},
        {"f2", {0x4500, 0xC000, 0x7BFF}, {5, -2, 65504}},
        {"f4", {0x40A00000, 0xC0000000, 0x4B800000}, {5, -2, 16777216}},
        {"f8", {0x4014000000000000, 0xC000000000000000, 0x40F0000000000000}, {5, -2, 65536}},
    };
    for (const auto& row : rows)
        for (const char order : {'<', '>'})
            for (const std::size_t padding : {0u, 1u, 3u}) {
                SCOPED_TRACE(order + row.type + " " + std::to_string(padding));
                const int size = row.type[1] - '0';
                std::string entries;
                for (const std::uint64_t entry : row.entries) {
                    std::string bytes = Hosts::littleEndian(entry, size);
                    if (order == '>')
                        std::reverse(bytes.begin(), bytes.end());
                    entries += bytes;
                }
                const std::string header =
                    Hosts::npyHeader(order + row.type, "(3,)") + std::string(padding, ' ');
                folder.write("n.npy", std::string("\x93NUMPY\x01\0", 8) +
                                          Hosts::littleEndian(header.size(), 2) + header + entries);
                answer({"run", "program", "--field", "n=n.npy", "--out", "n=out.npy", "--out",
                        "whole=whole.npy"});
                EXPECT_EQ(lanesIn<double>("out.npy"), row.values);
                for (std::size_t i = 0; i < 3; ++i)
                    EXPECT_EQ(lanesIn<std::int64_t>("whole.npy")[i],
                              static_cast<std::int64_t>(row.values[i]));
            }
}

TEST_F(FenletRun, TakesColumnsFirstOnlyWhereThatIsTheSame) {
    folder.write("program", "i : i64 = ElementIndex\nn : i32 = LoadField n[i]\n");
    const auto header = [](const std::string& shape) {
        return "{'descr': '|u1', 'fortran_order': True, 'shape': " + shape + ", }";
    };
    folder.write("n.npy", Hosts::npyFile(header("(2,)"), "\1\2"));
    answer({"run", "program", "--field", "n=n.npy", "--out", "n=out.npy"});
    EXPECT_EQ(lanesIn<std::int32_t>("out.npy"), (std::vector<std::int32_t>{1, 2}));
    folder.write("n.npy", Hosts::npyFile(header("(2, 1)"), "\1\2"));
    EXPECT_EQ(refusal({"run", "program", "--field", "n=n.npy", "--out", "n=out.npy"}),
              "n.npy: the array is stored columns first (fortran_order), which is not supported");
}

TEST_F(FenletRun, MasksWhatHasNoValueInEveryKindOfRegister) {
    folder.write("program", "i : i64 = ElementIndex\n"
                            "far : i64 = LoadField where[i]\n"
                            "f16 : f16 = LoadField data[far]\n"
                            "f32 : f32 = LoadField data[far]\n"
                            "f64 : f64 = LoadField data[far]\n"
                            "i32 : i32 = LoadField data[far]\n"
                            "i64 : i64 = LoadField data[far]\n"
                            "pair : f32x2 = LoadField pairs[far]\n"
                            "truths : triboolx2 = LoadField truths[far]\n"
                            "doubts : triboolx2 = LessEqual pair, f32\n"
                            "minus : i64 = LoadConstant -1\n"
                            "none : f32x2 = LoadField pairs[minus]\n"
                            "unknown : triboolx2 = Less none, none\n"
                            "own : triboolx2 = LoadField truths[i]\n"
                            "some : triboolx2 = And own, unknown\n");
    // The third element lies outside the fields.
    writeArray<std::int64_t>("where.npy", "<i8", "(4,)", {3, 1, 4, 0});
    writeArray<std::uint16_t>("data.npy", "<f2", "(4,)", {0x7E00, 0x3C00, 0x4000, 0x7C00});
    writeArray<float>("pairs.npy", "<f4", "(4, 2)", {1, NAN, 2, 2, 3, 0, NAN, 4});
    writeArray<unsigned char>("truths.npy", "|b1", "(4, 2)", {0, 1, 1, 1, 0, 0, 1, 0});
    Strings arguments = {"run",     "program",          "--field", "where=where.npy",
                         "--field", "data=data.npy",    "--field", "pairs=pairs.npy",
                         "--field", "truths=truths.npy"};
    const Strings names = {"f16", "f32", "f64", "i32", "i64", "pair", "truths", "doubts"};
    for (const std::string& name : names)
        arguments.insert(arguments.end(), {"--mask", name + "=" + name + ".npy"});
    arguments.insert(arguments.end(), {"--mask", "some=some.npy"});
    answer(arguments);
    for (const std::string& name : names) {
        EXPECT_EQ(lanesIn<unsigned char>(name + ".npy"), (std::vector<unsigned char>{1, 1, 0, 1}))
            << name;
        EXPECT_EQ(readNpy(folder.path(name + ".npy")).shape, std::vector<std::int64_t>{4});
    }
    // Of these all have a value, but a component can be unknown.
    EXPECT_EQ(lanesIn<unsigned char>("some.npy"), (std::vector<unsigned char>{0, 0, 1, 0}));
}

TEST_F(FenletRun, SaysAtOnceThatTheDiskIsTooSmall) {
    folder.write("program", "i : i64 = ElementIndex\nten : i32 = LoadConstant 10\n");
    folder.write("i.npy", "what was there");
    const std::string words = refusal(
        {"run", "program", "--count", "1000000000000", "--out", "ten=ten.npy", "--out", "i=i.npy"});
    EXPECT_TRUE(words == "ten.npy: No space left on device" || words == "ten.npy: File too large")
        << words;
    EXPECT_EQ(folder.read("i.npy"), "what was there");
}

// The limit of memory is less than the 62500 KiB of the file.
TEST_F(FenletRun, WritesFilesThatCannotBeMapped) {
#ifndef FENLET_SANITIZED
    folder.write("program", "i : i64 = ElementIndex\n");
    const auto written = [this](const std::string& limit) {
        const Outcome outcome =
            Doubles::run({"/bin/sh",
                          {"-c", limit + "exec \"$0\" run program --count 8000000 --out i=i.npy",
                           FENLET_PROGRAM},
                          folder.path(),
                          "",
                          false,
                          -1,
                          ""});
        EXPECT_EQ(outcome.status, 0);
        EXPECT_EQ(outcome.error, "");
        return folder.read("i.npy");
    };
    const std::string mapped = written("");
    EXPECT_TRUE(written("ulimit -v 60000 && ") == mapped);
#endif
}

TEST_F(FenletRun, SaysWhichNumbersOfThreadsThereAre) {
    folder.write("program", "i : i64 = ElementIndex\n");
    const auto misused = [this](const std::string& threads) {
        return misuse({"run", "program", "--count", "1", "--out", "i=i.npy", "--threads", threads});
    };
    for (const std::string threads : {"0", "-1", "1025", "x", "1.5", "99999999999999999999"})
        EXPECT_EQ(misused(threads), "--threads: Value " + threads + " not in range 1 to 1024");
    EXPECT_EQ(misuse({"run", "program", "--threads"}), "--threads: 1 required N missing");
    EXPECT_EQ(misuse({"bench", "program", "--threads", "1"}),
              "The following arguments were not expected: 1 --threads");
#ifndef FENLET_HAVE_TBB
    EXPECT_EQ(misused("2"), "--threads: this fenlet was built without oneTBB and has only one "
                            "thread; give 1 or leave the option out");
#endif
    answer({"run", "program", "--count", "1", "--out", "i=i.npy", "--threads", "1"});
}

} // namespace
} // namespace Fenlet::Tools
