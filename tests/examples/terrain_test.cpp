// The example that draws a shaded relief, run as a program.
#include "doubles/process.h"
#include "hosts/npy_files.h"
#include "hosts/temporary_folder.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <filesystem>
#include <gtest/gtest.h>
#include <limits>
#include <png.h>

namespace Fenlet::Examples {
namespace {

using namespace Doubles;

using Hosts::littleEndian;
using Hosts::npyFile;
using Hosts::npyHeader;
using Strings = std::vector<std::string>;

const std::string jacksboro = DATA_FOLDER "/jacksboro_elevation.npy";
const std::string vancouver = DATA_FOLDER "/vancouver_topobathy.npy";

/// The picture in a PNG file's bytes.
struct Picture {
    std::size_t width = 0;
    std::size_t height = 0;
    png_uint_32 format = 0;
    std::vector<unsigned char> pixels;

    explicit Picture(const std::string& file) {
        png_image image{};
        image.version = PNG_IMAGE_VERSION;
        EXPECT_TRUE(png_image_begin_read_from_memory(&image, file.data(), file.size()))
            << image.message;
        width = image.width;
        height = image.height;
        format = image.format;
        image.format = PNG_FORMAT_RGBA;
        pixels.resize(PNG_IMAGE_SIZE(image));
        EXPECT_TRUE(png_image_finish_read(&image, nullptr, pixels.data(), 0, nullptr))
            << image.message;
    }

    using Pixel = std::array<int, 4>;
    Pixel at(std::size_t x, std::size_t y) const {
        const unsigned char* const pixel = pixels.data() + (y * width + x) * 4;
        return {pixel[0], pixel[1], pixel[2], pixel[3]};
    }
};

class TerrainExample : public testing::Test {
  protected:
    Outcome draw(const Strings& arguments) const {
        return run({TERRAIN_PROGRAM, arguments, folder.path(), "", false, -1, ""});
    }

    /// Draws a picture, expects success and returns the file.
    std::string drawn(Strings arguments) const {
        arguments.insert(arguments.end(), {"--output", "drawn.png"});
        const Outcome outcome = draw(arguments);
        EXPECT_EQ(outcome.status, 0);
        EXPECT_EQ(outcome.error, "");
        return folder.read("drawn.png");
    }

    Hosts::TemporaryFolder folder;
};

std::string shapeOf(std::size_t rows, std::size_t columns) {
    std::string text = "(";
    text += std::to_string(rows);
    text += ", ";
    text += std::to_string(columns);
    return text + ")";
}

/// A grid of 32-bit heights, row after row.
std::string gridFile(std::size_t columns, const std::vector<float>& heights) {
    std::string entries;
    for (const float height : heights) {
        std::uint32_t bits;
        std::memcpy(&bits, &height, sizeof bits);
        entries += littleEndian(bits, 4);
    }
    return npyFile(npyHeader("<f4", shapeOf(heights.size() / columns, columns)), entries);
}

/// The entries of `heights` as integers of `bytes` bytes.
std::string integerGridFile(const std::string& type, int bytes, std::size_t columns,
                            const std::vector<float>& heights) {
    std::string entries;
    for (const float height : heights) {
        std::string one = littleEndian(static_cast<std::uint64_t>(height), bytes);
        if (type.front() == '>')
            std::reverse(one.begin(), one.end());
        entries += one;
    }
    return npyFile(npyHeader(type, shapeOf(heights.size() / columns, columns)), entries);
}

TEST_F(TerrainExample, DrawsARealGrid) {
    const Outcome outcome = draw({jacksboro});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.output, "terrain.png: 805 x 687 pixels\n");
    EXPECT_EQ(outcome.error, "");
    EXPECT_EQ(folder.names(), Strings{"terrain.png"});
    const Picture picture(folder.read("terrain.png"));
    EXPECT_EQ(picture.width, 805u);
    EXPECT_EQ(picture.height, 687u);
    EXPECT_EQ(picture.format & PNG_FORMAT_FLAG_ALPHA, PNG_FORMAT_FLAG_ALPHA);
    // Only elements at the border lack a neighbour.
    int hidden = 0;
    for (std::size_t y = 0; y < picture.height; ++y)
        for (std::size_t x = 0; x < picture.width; ++x) {
            const bool isBorder = x == 0 || y == 0 || x == 804 || y == 686;
            ASSERT_EQ(picture.at(x, y)[3], isBorder ? 0 : 255) << x << ", " << y;
            hidden += picture.at(x, y) == Picture::Pixel{0, 0, 0, 0} ? 1 : 0;
        }
    EXPECT_EQ(hidden, 2 * 805 + 2 * 685);
}

TEST_F(TerrainExample, DrawsTheSamePictureInBlocksOfAnySize) {
    const Strings arguments = {vancouver, "--south-up", "--sea-level", "0", "--enlarge", "1"};
    const std::string expected = drawn(arguments);
    const Picture picture(expected);
    EXPECT_EQ(picture.width, 120u);
    EXPECT_EQ(picture.height, 91u);
    for (const char* const size : {"1", "7", "1024", "65536", "1048576"}) {
        Strings inBlocks = arguments;
        inBlocks.insert(inBlocks.end(), {"--block-size", size});
        EXPECT_TRUE(drawn(inBlocks) == expected) << "in blocks of " << size;
    }
    // A multiple of 1/7 in Float32 can be a little more than the number of the last column, and
    // then lies outside the grid.
    const Strings enlarged = {vancouver, "--enlarge", "7", "--block-size"};
    Strings first = enlarged;
    first.push_back("64");
    Strings second = enlarged;
    second.push_back("1000");
    EXPECT_TRUE(drawn(first) == drawn(second));
}

TEST_F(TerrainExample, DrawsTheSamePictureFromEveryTypeOfNumbers) {
    const std::vector<float> heights = {90, 80, 70, 60, 40, 95, 85, 10, 50, 30,
                                        99, 66, 77, 20, 22, 91, 82, 73, 64, 55};
    const Strings arguments = {folder.path("grid.npy"), "--sea-level", "35"};
    folder.write("grid.npy", gridFile(5, heights));
    const std::string expected = drawn(arguments);
    const struct {
        const char* type;
        int bytes;
    } types[] = {{"|i1", 1}, {"|u1", 1}, {"<i2", 2}, {">i2", 2}, {"<u2", 2},
                 {"<i4", 4}, {">u4", 4}, {"<i8", 8}, {">i8", 8}};
    for (const auto& type : types) {
        folder.write("grid.npy", integerGridFile(type.type, type.bytes, 5, heights));
        EXPECT_TRUE(drawn(arguments) == expected) << type.type;
    }
}

TEST_F(TerrainExample, ShadesWaterPlainsAndSlopes) {
    // A level surface under a light at 45 degrees has the shade 0.35 + 0.85 * sin(45 degrees).
    const std::string input =
        folder.write("grid.npy", gridFile(3, {100, 100, 100, 100, 100, 100, 500, 500, 500, 500, 500,
                                              500, 500, 500, 500, 500, 500, 500}));
    const Picture flat(drawn({input, "--enlarge", "1"}));
    ASSERT_EQ(flat.width, 3u);
    ASSERT_EQ(flat.height, 6u);
    EXPECT_EQ(flat.at(1, 1), (Picture::Pixel{74, 120, 158, 255}));
    EXPECT_EQ(flat.at(1, 4), (Picture::Pixel{230, 230, 233, 255}));
    const Picture turned(drawn({input, "--enlarge", "1", "--south-up"}));
    EXPECT_EQ(turned.at(1, 4), flat.at(1, 1));
    EXPECT_EQ(turned.at(1, 1), flat.at(1, 4));
    EXPECT_EQ(Picture(drawn({input, "--enlarge", "1", "--sea-level", "500.5"})).at(1, 4),
              flat.at(1, 1));

    // A slope of 1.5 that rises to the east, lit from the west and from the east.
    folder.write("grid.npy", gridFile(5, {1000, 1075, 1150, 1225, 1300, 1000, 1075, 1150, 1225,
                                          1300, 1000, 1075, 1150, 1225, 1300}));
    const Strings slope = {input, "--enlarge", "1", "--light-azimuth"};
    const auto litFrom = [&](const char* azimuth) {
        Strings arguments = slope;
        arguments.emplace_back(azimuth);
        return Picture(drawn(arguments)).at(2, 1);
    };
    EXPECT_EQ(litFrom("270"), (Picture::Pixel{223, 184, 127, 255}));
    EXPECT_EQ(litFrom("90"), (Picture::Pixel{66, 54, 37, 255}));
}

TEST_F(TerrainExample, LeavesOutWhatHasNoHeight) {
    std::vector<float> heights(7 * 7, 400.0f);
    heights[3 * 7 + 3] = std::numeric_limits<float>::quiet_NaN();
    const std::string input = folder.write("grid.npy", gridFile(7, heights));
    const Picture picture(drawn({input, "--enlarge", "1"}));
    for (std::size_t y = 0; y < 7; ++y) {
        for (std::size_t x = 0; x < 7; ++x) {
            const bool isBorder = x == 0 || y == 0 || x == 6 || y == 6;
            const std::size_t away = (x > 3 ? x - 3 : 3 - x) + (y > 3 ? y - 3 : 3 - y);
            EXPECT_EQ(picture.at(x, y)[3], isBorder || away <= 1 ? 0 : 255) << x << ", " << y;
        }
    }
}

TEST_F(TerrainExample, DrawsGridsThatAreAllBorder) {
    const struct {
        std::size_t columns, rows;
        const char* enlarge;
        std::size_t width, height;
    } rows[] = {{1, 1, "1", 1, 1},
                {1, 1, "64", 1, 1},
                {2, 2, "1", 2, 2},
                {5, 1, "3", 13, 1},
                {1, 5, "3", 1, 13}};
    for (const auto& row : rows) {
        const std::string input = folder.write(
            "grid.npy", gridFile(row.columns, std::vector<float>(row.columns * row.rows, 400.0f)));
        const Picture picture(drawn({input, "--enlarge", row.enlarge}));
        EXPECT_EQ(picture.width, row.width);
        EXPECT_EQ(picture.height, row.height);
        EXPECT_EQ(picture.pixels, std::vector<unsigned char>(row.width * row.height * 4, 0));
    }
    // Rows that are longer than PNG readers accept by default.
    const std::string longest = folder.write(
        "long.npy", npyFile(npyHeader("|i1", "(1, 1000001)"), std::string(1000001, 'x')));
    const Outcome outcome = draw({longest, "--enlarge", "1"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.output, "terrain.png: 1000001 x 1 pixels\n");
    EXPECT_EQ(outcome.error, "");
}

/// Tests in which drawing fails. An earlier picture exists, and must stay unchanged.
class TerrainFailure : public TerrainExample {
  protected:
    TerrainFailure() { folder.write("terrain.png", "an earlier picture"); }

    /// Expects one line on standard error, a status other than 0, and no change on disk.
    void expectFails(const Strings& arguments, const std::string& message,
                     std::int64_t longestFile = -1) const {
        SCOPED_TRACE(testing::PrintToString(arguments));
        const Strings before = folder.names();
        const Outcome outcome =
            run({TERRAIN_PROGRAM, arguments, folder.path(), "", false, longestFile, ""});
        EXPECT_GT(outcome.status, 0);
        EXPECT_EQ(outcome.output, "");
        EXPECT_EQ(outcome.error, "terrain: " + message + "\n");
        EXPECT_EQ(folder.names(), before);
        EXPECT_EQ(folder.read("terrain.png"), "an earlier picture");
    }
};

TEST_F(TerrainFailure, NamesTheInputAndWhatIsWrongWithIt) {
    const std::string grid = gridFile(3, std::vector<float>(9, 400.0f));
    const struct {
        std::string content, message;
    } rows[] = {
        {"", "is empty"},
        {"low,high\n1,2\n", "not a .npy file (it does not begin with the format's mark)"},
        {grid.substr(0, 40), "ends within its header"},
        {grid.substr(0, grid.size() - 1),
         "holds 35 bytes of entries where its shape asks for 36; the file is cut short"},
        {grid + "x", "holds more than the 36 bytes of entries that its shape asks for"},
        {npyFile("{'descr'}", ""), "the header lacks a ':' where it needs one"},
        {npyFile(npyHeader("<c8", "(1, 1)"), "12345678"),
         "entries of type '<c8' are not supported; bool, integers up to 64 bits (unsigned ones up "
         "to 32) and floats are"},
        {npyFile(npyHeader("<f4", "(1073741824, 1073741824)"), ""),
         "holds 0 bytes of entries where its shape asks for 4611686018427387904; the file is cut "
         "short"},
        {npyFile(npyHeader("|u1", "(4,)"), "abcd"),
         "not a grid: its array does not have two dimensions"},
        {npyFile(npyHeader("|u1", "()"), "a"),
         "not a grid: its array does not have two dimensions"},
        {npyFile(npyHeader("|u1", "(1, 2, 2)"), "abcd"),
         "not a grid: its array does not have two dimensions"},
        {npyFile(npyHeader("|b1", "(1, 1)"), "\x01"),
         "not a grid of heights: its entries are truth values"},
        {npyFile(npyHeader("|u1", "(0, 4)"), ""), "the grid is empty"},
        {npyFile(npyHeader("|u1", "(4, 0)"), ""), "the grid is empty"},
    };
    for (const auto& row : rows) {
        folder.write("grid.npy", row.content);
        expectFails({"grid.npy"}, "grid.npy: " + row.message);
    }
    expectFails({""}, "input: the file name is empty");
    expectFails({"missing.npy"}, "missing.npy: No such file or directory");
    expectFails({"."}, ".: Is a directory");
    expectFails({}, "data/jacksboro_elevation.npy: No such file or directory");
    expectFails({"/dev/zero"},
                "/dev/zero: not a .npy file (it does not begin with the format's mark)");
}

TEST_F(TerrainFailure, RefusesAGridWhosePictureWouldBeTooLarge) {
    // 65,537 times 32,769 pixels, slightly more than 32 bits can count.
    folder.write("grid.npy",
                 npyFile(npyHeader("|u1", "(1025, 513)"), std::string(1025 * 513, 'x')));
    expectFails({"grid.npy", "--enlarge", "64"},
                "grid.npy: the grid is too large: its picture would have more than 2147483647 "
                "pixels");
}

TEST_F(TerrainFailure, LeavesNothingBehindWhereItCannotWrite) {
    const std::string input = folder.write("grid.npy", gridFile(3, std::vector<float>(9, 400.0f)));
    std::filesystem::create_directory(folder.path("folder"));
    expectFails({input, "--output", "nowhere/terrain.png"},
                "nowhere/terrain.png: No such file or directory");
    expectFails({input, "--output", "grid.npy/terrain.png"},
                "grid.npy/terrain.png: Not a directory");
    expectFails({input, "--output", "folder"}, "folder: Is a directory");
    expectFails({input, "--output", ""}, "--output: the file name is empty");
    expectFails({input, "--output", "/dev/null"}, "/dev/null: is there and is not a plain file");
    EXPECT_TRUE(std::filesystem::is_character_file("/dev/null"));
    EXPECT_TRUE(std::filesystem::is_empty(folder.path("folder")));
}

TEST_F(TerrainFailure, LeavesNothingBehindWhereTheDiskIsFull) {
    for (const std::int64_t longestFile : {0, 1, 60, 5000})
        expectFails({vancouver, "--enlarge", "1"}, "terrain.png: File too large", longestFile);
}

TEST_F(TerrainFailure, NamesTheArgumentThatIsWrong) {
    const struct {
        Strings arguments;
        std::string message;
    } rows[] = {
        {{"--colour"}, "The following argument was not expected: --colour"},
        {{"-x"}, "The following argument was not expected: -x"},
        {{"a.npy", "b.npy"}, "The following argument was not expected: b.npy"},
        {{"--two\nlines"}, "The following argument was not expected: --two?lines"},
        {{"--block-size", "0"}, "--block-size: Value 0 not in range 1 to 1048576"},
        {{"--block-size", "-1"}, "--block-size: Value -1 not in range 1 to 1048576"},
        {{"--block-size", "1048577"}, "--block-size: Value 1048577 not in range 1 to 1048576"},
        {{"--block-size", "many"}, "--block-size: Value many not in range 1 to 1048576"},
        {{"--block-size", "1.5"}, "--block-size: Value 1.5 not in range 1 to 1048576"},
        {{"--block-size"}, "--block-size: 1 required INT:INT in [1 - 1048576] missing"},
        {{"--enlarge", "0"}, "--enlarge: Value 0 not in range 1 to 64"},
        {{"--enlarge", "65"}, "--enlarge: Value 65 not in range 1 to 64"},
        {{"--sea-level", "nan"}, "--sea-level: nan is not a finite number"},
        {{"--sea-level", "-inf"}, "--sea-level: -inf is not a finite number"},
        {{"--sea-level", "low"}, "Could not convert: --sea-level = low"},
        {{"--spacing-east", "0"}, "--spacing-east: 0 is not a finite number above 0"},
        {{"--spacing-east", "inf"}, "--spacing-east: inf is not a finite number above 0"},
        {{"--spacing-south", "-5"}, "--spacing-south: -5 is not a finite number above 0"},
        {{"--exaggeration", "-1"}, "--exaggeration: -1 is not a finite number of 0 or more"},
        {{"--exaggeration", "nan"}, "--exaggeration: nan is not a finite number of 0 or more"},
        {{"--light-azimuth", "inf"}, "--light-azimuth: inf is not a finite number"},
        {{"--light-altitude", "nan"}, "--light-altitude: nan is not a finite number"},
        {{"--light-altitude", "90.5"},
         "--light-altitude: Value 90.5 not in range 0.000000 to "
         "90.000000"},
    };
    for (const auto& row : rows) {
        Strings arguments = {jacksboro};
        if (row.arguments[0] == "a.npy")
            arguments.clear();
        arguments.insert(arguments.end(), row.arguments.begin(), row.arguments.end());
        expectFails(arguments, row.message);
    }
}

TEST_F(TerrainExample, TakesAnEarlierPicturesPlace) {
    const std::string input = folder.write("grid.npy", gridFile(3, std::vector<float>(9, 400.0f)));
    folder.write("real.png", "an earlier picture");
    std::filesystem::create_symlink("real.png", folder.path("link.png"));
    const Outcome outcome = draw({input, "-o", "link.png"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(folder.names(), (Strings{"grid.npy", "link.png", "real.png"}));
    EXPECT_TRUE(std::filesystem::is_symlink(folder.path("link.png")));
    EXPECT_EQ(Picture(folder.read("real.png")).width, 5u);
}

TEST_F(TerrainExample, HelpsOnStandardOutput) {
    const Outcome outcome = draw({"--help"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.error, "");
    for (const char* const option : {"--output", "--block-size", "--sea-level", "--south-up"})
        EXPECT_NE(outcome.output.find(option), std::string::npos) << option;
    EXPECT_TRUE(folder.names().empty());
}

} // namespace
} // namespace Fenlet::Examples
