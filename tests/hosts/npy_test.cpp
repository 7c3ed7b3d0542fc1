// Reading .npy files.
#include "hosts/lane_bits.h"
#include "hosts/npy_files.h"
#include "hosts/temporary_folder.h"

#include <fenlethosts/npy.h>

#include <algorithm>
#include <fstream>
#include <gtest/gtest.h>
#include <numeric>
#include <sys/stat.h>
#include <thread>

namespace Fenlet::Hosts {
namespace {

/// The message of the `FileError` that `read` throws.
template <class Read>
std::string messageOf(Read&& read) {
    try {
        read();
    } catch (const FileError& error) {
        return error.what();
    }
    return "(is read)";
}

/// All components of the view, read as this kind.
Bytes lanesIn(const ArrayView& view, CpuElementKind kind) {
    const auto count = static_cast<std::size_t>(view.count());
    const auto components = static_cast<std::size_t>(view.components);
    Bytes values(count * components * static_cast<std::size_t>(elementSize(kind)));
    Bytes validity(count, 1);
    std::vector<std::int64_t> indices(count);
    std::iota(indices.begin(), indices.end(), 0);
    FieldRead request;
    request.values = values.data();
    request.validity = validity.data();
    request.kind = kind;
    request.multiplicity = view.components;
    request.indices = indices.data();
    request.contiguous = true;
    request.count = static_cast<std::int32_t>(count);
    EXPECT_TRUE(count == 0 || ArrayField(view).read(request));
    EXPECT_EQ(std::count(validity.begin(), validity.end(), 1), view.count());
    return values;
}

void expectSame(const Fenlet::NpyFile& file, const NpyArray& array) {
    EXPECT_EQ(file.kind(), array.kind);
    EXPECT_EQ(file.shape(), array.shape);
    for (const std::int32_t components : {1, 3}) {
        const ArrayView view = file.view(components);
        EXPECT_EQ(registerKind(view.kind), array.kind);
        EXPECT_EQ(view.count(), array.entryCount() / components);
        EXPECT_EQ(view.components, components);
        EXPECT_EQ(view.axisCount, 1);
        EXPECT_EQ(view.axes[0].stride, componentSize(view.kind) * components);
        EXPECT_EQ(view.presence.data, nullptr);
        const Bytes lanes = lanesIn(view, array.kind);
        EXPECT_TRUE(std::equal(lanes.begin(), lanes.end(), array.bytes.begin()));
    }
}

/// Tests both readers, `readNpy` and `Fenlet::NpyFile`. They must give the same results.
class NpyFile : public testing::Test {
  protected:
    NpyArray read(const std::string& content) const {
        const std::string path = folder.write("array.npy", content);
        const NpyArray array = readNpy(path);
        expectSame(Fenlet::NpyFile(path), array);
        return array;
    }

    /// The message without the file's name at its beginning.
    std::string refusal(const std::string& content) const {
        const std::string path = folder.write("array.npy", content);
        const std::string message = messageOf([&] { readNpy(path); });
        EXPECT_EQ(messageOf([&] { const Fenlet::NpyFile mapped(path); }), message);
        if (message == "(is read)")
            return message;
        EXPECT_EQ(message.rfind(path + ": ", 0), 0u) << message;
        EXPECT_TRUE(std::all_of(message.begin(), message.end(), [](char c) {
            return c >= ' ' && c <= '~';
        })) << message;
        return message.substr(std::min(message.size(), path.size() + 2));
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
    EXPECT_EQ(view.kind, ArrayKind::Float32);
    EXPECT_EQ(view.count(), 4);
    EXPECT_EQ(view.components, 3);
    EXPECT_EQ(view.presence.data, nullptr);
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

TEST_F(NpyFile, IsRefusedWithoutItsMarkOrWithAnUnknownVersion) {
    const std::string whole = npyFile(npyHeader("|u1", "(1,)"), "x");
    const std::string noMark = "not a .npy file (it does not begin with the format's mark)";
    for (std::size_t i = 0; i < 6; ++i) {
        std::string other = whole;
        other[i] ^= 1;
        EXPECT_EQ(refusal(other), noMark);
    }
    EXPECT_EQ(refusal("station,low,high\n"), noMark);
    for (const int version : {0, 4, 255}) {
        std::string other = whole;
        other[6] = static_cast<char>(version);
        EXPECT_EQ(refusal(other), "format version " + std::to_string(version) +
                                      ".0 is not supported; 1.0, 2.0 and 3.0 are");
    }
    std::string other = whole;
    other[7] = 1;
    EXPECT_EQ(refusal(other), "format version 1.1 is not supported; 1.0, 2.0 and 3.0 are");
}

TEST_F(NpyFile, IsRefusedForAHeaderThatIsTooLong) {
    const std::string start = std::string("\x93NUMPY\x02", 7) + '\0';
    EXPECT_EQ(refusal(start + littleEndian(0xFFFFFFFF, 4) + "{"),
              "its header of 4294967295 bytes is too long");
    EXPECT_EQ(refusal(start + littleEndian((1 << 20) + 1, 4) + "{"),
              "its header of 1048577 bytes is too long");
    EXPECT_EQ(refusal(start + littleEndian(1 << 20, 4) + "{"), "ends within its header");
    const std::string longest = npyHeader("|u1", "(1,)") + std::string(65000, ' ');
    EXPECT_EQ(refusal(npyFile(longest, "x", 1)), "(is read)");
}

TEST_F(NpyFile, IsRefusedForAShapeThatNoMemoryHolds) {
    const std::string tooMany = "its shape asks for more entries than can be held";
    const auto withShape = [this](const std::string& shape, const char* type = "|u1") {
        return refusal(npyFile(npyHeader(type, shape), "x"));
    };
    EXPECT_EQ(withShape("(4294967296, 4294967296)"), tooMany);
    EXPECT_EQ(withShape("(4294967296, 4294967296, 0)"), tooMany);
    EXPECT_EQ(withShape("(1152921504606846977,)"), tooMany);
    EXPECT_EQ(withShape("(3, 6148914691236517206)"), tooMany);
    EXPECT_EQ(withShape("(18446744073709551617,)"),
              "the shape in the header holds a size that is too large");
    EXPECT_EQ(withShape("(9223372036854775808,)"),
              "the shape in the header holds a size that is too large");
    // The header announces the largest possible number of entries, but the file holds 1 byte of
    // them. No memory is allocated for the announced entries.
    EXPECT_EQ(withShape("(1152921504606846976,)", "<f8"),
              "holds 1 bytes of entries where its shape asks for 9223372036854775808; the file is "
              "cut short");
    std::string dimensions = "(1";
    for (int i = 1; i < 32; ++i)
        dimensions += ", 1";
    EXPECT_EQ(withShape(dimensions + ")"), "(is read)");
    EXPECT_EQ(withShape(dimensions + ", 1)"),
              "the shape in the header has more than 32 dimensions");
}

TEST_F(NpyFile, IsRefusedForEntriesOfAnotherType) {
    for (const std::string type : {"<u8", "<f16", "<c8", "|S5", "<U3", "|O", "<M8[ns]", "<V4",
                                   "=f4", "|f4", "f4", "<", "", "<f", "<f44"}) {
        EXPECT_EQ(refusal(npyFile(npyHeader(type, "(1,)"), "12345678")),
                  "entries of type '" + type +
                      "' are not supported; bool, integers up to 64 bits (unsigned ones up to 32) "
                      "and floats are");
    }
    const std::string longType(100, 'q');
    EXPECT_EQ(refusal(npyFile(npyHeader(longType, "(1,)"), "")),
              "entries of type '" + longType.substr(0, 40) +
                  "' are not supported; bool, integers up to 64 bits (unsigned ones up to 32) and "
                  "floats are");
    EXPECT_EQ(refusal(npyFile(npyHeader("|b1", "(3,)"), std::string("\0\1\2", 3))),
              "holds a bool whose byte is neither 0 nor 1");
    EXPECT_EQ(refusal(npyFile(npyHeader("|b1", "(1,)"), "\xFF")),
              "holds a bool whose byte is neither 0 nor 1");
}

TEST_F(NpyFile, IsRefusedForColumnsFirstButNotWhereThatMakesNoDifference) {
    const auto withShape = [this](const std::string& shape) {
        return refusal(
            npyFile("{'descr': '|u1', 'fortran_order': True, 'shape': " + shape + ", }", "abcd"));
    };
    EXPECT_EQ(withShape("(2, 2)"),
              "the array is stored columns first (fortran_order), which is not supported");
    EXPECT_EQ(withShape("(4,)"), "(is read)");
}

TEST_F(NpyFile, IsRefusedForAHeaderThatIsNoDictionary) {
    const auto due = [](const std::string& sign) {
        return "the header lacks a '" + sign + "' where it needs one";
    };
    const std::string lacks = "the header lacks descr, fortran_order or shape";
    const std::string commas = "the header's entries are not separated by commas";
    const std::string tuple = "the shape in the header is not a tuple";
    const std::string size = "the shape in the header holds something that is not a size";
    const std::string start = "{'descr': '|u1', 'fortran_order': False, 'shape': ";
    const struct {
        std::string header, message;
    } rows[] = {
        {"", due("{")},
        {"[]", due("{")},
        {"{", due("'")},
        {"{}", lacks},
        {"{descr: 1}", due("'")},
        {"{'descr' '|u1'}", due(":")},
        {"{'descr': 3}", due("'")},
        {"{'descr': '|u1", "the header holds a string without an end"},
        {"{'descr': [('x', '<f4')]}", due("'")},
        {"{'descr': '|u1', 'descr': '|u1'}",
         "the header holds 'descr', which is unknown or repeated"},
        {"{'colour': 'red'}", "the header holds 'colour', which is unknown or repeated"},
        {"{'a\nb\x1B[31m\xC3': 1}", "the header holds 'a?b?[31m?', which is unknown or repeated"},
        {"{'descr': '|u\n1', 'fortran_order': False, 'shape': (1,)}",
         "entries of type '|u?1' are not supported; bool, integers up to 64 bits (unsigned ones up "
         "to 32) and floats are"},
        {"{'descr': '|u1', 'fortran_order': False}", lacks},
        {"{'descr': '|u1', 'shape': (1,)}", lacks},
        {"{'fortran_order': False, 'shape': (1,)}", lacks},
        {"{'descr': '|u1' 'fortran_order': False}", commas},
        {"{'descr': '|u1', 'fortran_order': Falsehood, 'shape': (1,)}", commas},
        {"{'fortran_order': no}", "fortran_order in the header is neither True nor False"},
        {start + "1}", due("(")},
        {start + "(1)}", tuple},
        {start + "(1 1)}", tuple},
        {start + "(1, 1 1)}", tuple},
        {start + "(1, 1", tuple},
        {start + "(1,", size},
        {start + "(,)}", size},
        {start + "(1,,1)}", size},
        {start + "(-1,)}", size},
        {start + "(1L,)}", tuple},
        {start + "(1.5,)}", tuple},
        {start + "(0x1,)}", tuple},
        {start + "(1,)", commas},
        {start + "(1,)} {", "the header has text after its end"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(refusal(npyFile(row.header, "x")), row.message) << row.header;
}

TEST_F(NpyFile, ThatCannotBeReadIsNamedWithTheReason) {
    const auto messageFor = [](const std::string& path) {
        const std::string message = messageOf([&] { readNpy(path); });
        EXPECT_EQ(messageOf([&] { const Fenlet::NpyFile mapped(path); }), message);
        return message;
    };
    const std::string missing = folder.path("missing.npy");
    EXPECT_EQ(messageFor(missing), missing + ": No such file or directory");
    EXPECT_EQ(messageFor(folder.path()), folder.path() + ": Is a directory");
    const std::string file = folder.write("file", "x");
    EXPECT_EQ(messageFor(file + "/array.npy"), file + "/array.npy: Not a directory");
    EXPECT_EQ(messageFor(""), ": No such file or directory");
    // A file without an end. The reader reads only the first bytes, which show that this is not a
    // .npy file.
    EXPECT_EQ(messageFor("/dev/zero"),
              "/dev/zero: not a .npy file (it does not begin with the format's mark)");
}

/// Whether the reader maps the file: a mapping shows what is written to the file later.
bool isMapped(const TemporaryFolder& folder, const std::string& content) {
    const std::string path = folder.write("array.npy", content);
    const Fenlet::NpyFile file(path);
    const ArrayView view = file.view();
    const unsigned char* const last =
        static_cast<const unsigned char*>(view.data) + view.count() * componentSize(view.kind) - 1;
    const unsigned char before = *last;
    std::fstream later(path, std::ios::in | std::ios::out | std::ios::binary);
    later.seekp(static_cast<std::streamoff>(content.size()) - 1);
    later.put(static_cast<char>(content.back() ^ 1)).flush();
    return *last != before;
}

TEST_F(NpyFile, StaysOnTheDiskWhereItsEntriesStandAsInMemory) {
    const auto staysThere = [this](const std::string& type) {
        const std::string entry(std::size_t(type[2] - '0'), '\1');
        return isMapped(folder, npyFile(npyHeader(type, "(1,)"), entry));
    };
    for (const std::string type : {"|b1", "<b1", ">b1", "|i1", "<i1", ">i1", "|u1"})
        EXPECT_TRUE(staysThere(type)) << type;
    for (const std::string type : {"i2", "u2", "i4", "u4", "i8", "f2", "f4", "f8"}) {
        EXPECT_TRUE(staysThere(ownOrder + type)) << type;
        EXPECT_FALSE(staysThere(otherOrder + type)) << type;
    }
}

TEST_F(NpyFile, ViewsItsEntriesInTheKindThatTheyHaveInTheFile) {
    const struct {
        std::string type;
        ArrayKind kind;
    } rows[] = {{"b1", ArrayKind::Tribool}, {"i1", ArrayKind::Int8},   {"u1", ArrayKind::UInt8},
                {"i2", ArrayKind::Int16},   {"u2", ArrayKind::UInt16}, {"i4", ArrayKind::Int32},
                {"u4", ArrayKind::UInt32},  {"i8", ArrayKind::Int64},  {"f2", ArrayKind::Half},
                {"f4", ArrayKind::Float32}, {"f8", ArrayKind::Float64}};
    for (const auto& row : rows)
        for (const char order : {'<', '>'}) {
            const std::string entry(std::size_t(row.type[1] - '0'), '\1');
            const Fenlet::NpyFile file(
                folder.write("array.npy", npyFile(npyHeader(order + row.type, "(1,)"), entry)));
            EXPECT_EQ(file.view().kind, row.kind) << row.type;
        }
}

TEST_F(NpyFile, MayHaveItsEntriesAnywhere) {
    // No padding: the entries begin at an odd offset.
    const std::string header = npyHeader("<f8", "(2,)");
    for (std::size_t padding = 0; padding < 8; ++padding) {
        const std::string text = header + std::string(padding, ' ');
        const NpyArray array = read(std::string("\x93NUMPY\x01\0", 8) +
                                    littleEndian(text.size(), 2) + text + "12345678abcdefgh");
        EXPECT_EQ(lanesOf(array),
                  (std::vector<std::uint64_t>{0x3837363534333231, 0x6867666564636261}));
    }
}

TEST_F(NpyFile, OutlivesItsName) {
    const std::string path = folder.write("array.npy", npyFile(npyHeader("<i4", "(1,)"), "1234"));
    const NpyArray array = readNpy(path);
    const Fenlet::NpyFile file(path);
    folder.write("array.npy", "something else takes the name and leaves the file alone");
    expectSame(file, array);
}

/// Reads `content` from a pipe that another thread writes to.
class Piped {
  public:
    Piped(const std::string& path, const std::string& content)
        : writer([path, content] { std::ofstream(path, std::ios::binary) << content; }) {}
    ~Piped() { writer.join(); }
    Piped(const Piped&) = delete;
    Piped& operator=(const Piped&) = delete;

  private:
    std::thread writer;
};

TEST_F(NpyFile, MayComeThroughAPipe) {
    const std::string pipe = folder.path("pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    // More bytes than a pipe holds at a time. Entries like these would be mapped if they were in a
    // plain file.
    const std::string entries = std::string(300000, '\3');
    const std::string content = npyFile(npyHeader("<i4", "(25000, 3)"), entries);
    const NpyArray array = readNpy(folder.write("array.npy", content));
    {
        const Piped piped(pipe, content);
        expectSame(Fenlet::NpyFile(pipe), array);
    }
    const auto refusalOf = [&](const std::string& other) {
        const Piped piped(pipe, other);
        return messageOf([&] { const Fenlet::NpyFile file(pipe); });
    };
    EXPECT_EQ(refusalOf(""), pipe + ": is empty");
    EXPECT_EQ(refusalOf(content.substr(0, 100)), pipe + ": ends within its header");
    EXPECT_EQ(refusalOf(content.substr(0, content.size() - 1)),
              pipe + ": holds 299999 bytes of entries where its shape asks for 300000; the file is "
                     "cut short");
    EXPECT_EQ(refusalOf(content + "x"),
              pipe + ": holds more than the 300000 bytes of entries that its shape asks for");
    EXPECT_EQ(refusalOf(npyFile(npyHeader("|b1", "(1,)"), "\2")),
              pipe + ": holds a bool whose byte is neither 0 nor 1");
}

} // namespace
} // namespace Fenlet::Hosts
