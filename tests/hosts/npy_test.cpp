// Reading .npy files.
#include "hosts/lane_bits.h"
#include "hosts/npy_files.h"
#include "hosts/temporary_folder.h"

#include <fenlethosts/npy.h>

#include <algorithm>
#include <gtest/gtest.h>

namespace Fenlet::Hosts {
namespace {

class NpyFile : public testing::Test {
  protected:
    NpyArray read(const std::string& content) const {
        return readNpy(folder.write("array.npy", content));
    }

    /// The message, without the file's name that it begins with.
    std::string refusal(const std::string& content) const {
        const std::string path = folder.write("array.npy", content);
        try {
            readNpy(path);
        } catch (const FileError& error) {
            const std::string message = error.what();
            EXPECT_EQ(message.rfind(path + ": ", 0), 0u) << message;
            EXPECT_TRUE(std::all_of(message.begin(), message.end(), [](char c) {
                return c >= ' ' && c <= '~';
            })) << message;
            return message.substr(std::min(message.size(), path.size() + 2));
        }
        return "(is read)";
    }

    TemporaryFolder folder;
};

/// The entries' bits.
std::vector<std::uint64_t> lanesOf(const NpyArray& array) {
    const auto size = static_cast<std::size_t>(elementSize(array.kind));
    std::vector<std::uint64_t> lanes;
    for (std::size_t at = 0; at < array.bytes.size(); at += size)
        lanes.push_back(loadBits(array.kind, array.bytes.data() + at));
    return lanes;
}

std::string packed(const std::vector<std::uint64_t>& entries, int bytes, bool bigEndian) {
    std::string all;
    for (const std::uint64_t entry : entries) {
        std::string one = littleEndian(entry, bytes);
        if (bigEndian)
            std::reverse(one.begin(), one.end());
        all += one;
    }
    return all;
}

TEST_F(NpyFile, GivesEachTypeOfEntriesTheKindThatHoldsIt) {
    const struct {
        std::string type;
        int bytes;
        std::vector<std::uint64_t> entries;
        CpuElementKind kind;
        std::vector<std::uint64_t> lanes;
    } rows[] = {
        {"b1", 1, {0, 1, 1}, CpuElementKind::Tribool, {0, 1, 1}},
        {"i1", 1, {5, 0x80, 0xFF}, CpuElementKind::Int32, {5, 0xFFFFFF80, 0xFFFFFFFF}},
        {"u1", 1, {5, 0x80, 0xFF}, CpuElementKind::Int32, {5, 0x80, 0xFF}},
        {"i2", 2, {5, 0x8000, 0x1234}, CpuElementKind::Int32, {5, 0xFFFF8000, 0x1234}},
        {"u2", 2, {5, 0x8000, 0xFFFF}, CpuElementKind::Int32, {5, 0x8000, 0xFFFF}},
        {"i4", 4, {5, 0x80000000, 0x12345678}, CpuElementKind::Int32, {5, 0x80000000, 0x12345678}},
        {"u4", 4, {5, 0x80000000, 0xFFFFFFFF}, CpuElementKind::Int64, {5, 0x80000000, 0xFFFFFFFF}},
        {"i8",
         8,
         {5, 1ULL << 63, 0x123456789ABCDEF0},
         CpuElementKind::Int64,
         {5, 1ULL << 63, 0x123456789ABCDEF0}},
        {"f2", 2, {0x8000, 0x7E01, 0x1234}, CpuElementKind::Half, {0x8000, 0x7E01, 0x1234}},
        {"f4",
         4,
         {0x80000000, 0x7FC12345, 1},
         CpuElementKind::Float32,
         {0x80000000, 0x7FC12345, 1}},
        {"f8",
         8,
         {1ULL << 63, 0x7FF8123456789ABC, 1},
         CpuElementKind::Float64,
         {1ULL << 63, 0x7FF8123456789ABC, 1}},
    };
    for (const auto& row : rows) {
        for (const char order : {'<', '>', '|'}) {
            if (order == '|' && row.bytes != 1)
                continue;
            SCOPED_TRACE(order + row.type);
            const NpyArray array = read(npyFile(npyHeader(order + row.type, "(3,)"),
                                                packed(row.entries, row.bytes, order == '>')));
            EXPECT_EQ(array.kind, row.kind);
            EXPECT_EQ(array.shape, std::vector<std::int64_t>{3});
            EXPECT_EQ(lanesOf(array), row.lanes);
        }
    }
}

TEST_F(NpyFile, ReadsAllThreeVersions) {
    for (const int version : {1, 2, 3}) {
        const NpyArray array = read(
            npyFile(npyHeader("<i2", "(2, 3)"), packed({1, 2, 3, 4, 5, 6}, 2, false), version));
        EXPECT_EQ(array.shape, (std::vector<std::int64_t>{2, 3}));
        EXPECT_EQ(lanesOf(array), (std::vector<std::uint64_t>{1, 2, 3, 4, 5, 6}));
    }
}

TEST_F(NpyFile, KnowsShapesOfAnyNumberOfDimensions) {
    const auto shapeOf = [this](const std::string& shape, int entries) {
        return read(npyFile(npyHeader("|u1", shape), std::string(std::size_t(entries), 'x'))).shape;
    };
    using Shape = std::vector<std::int64_t>;
    EXPECT_EQ(shapeOf("()", 1), Shape());
    EXPECT_EQ(shapeOf("(4,)", 4), Shape{4});
    EXPECT_EQ(shapeOf("( 4 , )", 4), Shape{4});
    EXPECT_EQ(shapeOf("(2,3,4)", 24), (Shape{2, 3, 4}));
    EXPECT_EQ(shapeOf("(2, 3, 4,)", 24), (Shape{2, 3, 4}));
    EXPECT_EQ(shapeOf("(0,)", 0), Shape{0});
    EXPECT_EQ(shapeOf("(5, 0, 7)", 0), (Shape{5, 0, 7}));
    EXPECT_EQ(shapeOf("(0, 9223372036854775799)", 0), (Shape{0, 9223372036854775799}));
}

TEST_F(NpyFile, TakesTheHeadersEntriesInAnyOrder) {
    for (const char* const header :
         {"{'shape': (2,), 'fortran_order': False, 'descr': '|u1'}",
          "{\"fortran_order\":True,\"shape\":(2,),\"descr\":\"|u1\",}",
          "  {  'descr' : '|u1' , 'shape' : ( 2 , ) , 'fortran_order' : False , }  "})
        EXPECT_EQ(lanesOf(read(npyFile(header, "ab"))), (std::vector<std::uint64_t>{'a', 'b'}))
            << header;
}

TEST_F(NpyFile, ViewsItsEntriesAsElements) {
    const NpyArray array =
        read(npyFile(npyHeader("<f4", "(2, 6)"), std::string(std::size_t{48}, '\0')));
    EXPECT_EQ(array.entryCount(), 12);
    const ArrayView view = array.view(3);
    EXPECT_EQ(view.data, array.bytes.data());
    EXPECT_EQ(view.kind, CpuElementKind::Float32);
    EXPECT_EQ(view.count, 4);
    EXPECT_EQ(view.components, 3);
    EXPECT_EQ(view.validity, nullptr);
    EXPECT_EQ(NpyArray().entryCount(), 0);
}

TEST_F(NpyFile, IsRefusedWhereverItIsCutShort) {
    for (const int version : {1, 2, 3}) {
        const std::string whole =
            npyFile(npyHeader("<i4", "(2, 2)"), packed({1, 2, 3, 4}, 4, false), version);
        const std::size_t headerStart = version == 1 ? 10 : 12;
        for (std::size_t length = 0; length < whole.size(); ++length) {
            const std::string message = refusal(whole.substr(0, length));
            const std::size_t entries = whole.size() - 16;
            const std::string expected =
                length == 0  ? "is empty"
                : length < 6 ? "not a .npy file (it does not begin with the format's mark)"
                : length < headerStart ? "ends within the first bytes of its header"
                : length < entries     ? "ends within its header"
                                       : "holds " + std::to_string(length - entries) +
                                         " bytes of entries where its shape asks for 16; the file "
                                         "is cut short";
            ASSERT_EQ(message, expected) << "version " << version << ", " << length << " bytes";
        }
        EXPECT_EQ(refusal(whole), "(is read)");
        EXPECT_EQ(refusal(whole + 'x'), "holds more than the 16 bytes of entries that its shape "
                                        "asks for");
    }
}

} // namespace
} // namespace Fenlet::Hosts
