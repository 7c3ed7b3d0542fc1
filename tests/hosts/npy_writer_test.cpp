// Writing .npy files.
#include "hosts/lane_bits.h"
#include "hosts/npy_files.h"
#include "hosts/temporary_folder.h"

#include <fenlethosts/npy_writer.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <gtest/gtest.h>
#include <stdexcept>
#include <sys/resource.h>
#include <sys/stat.h>

namespace Fenlet::Hosts {
namespace {

using Names = std::vector<std::string>;
using Shape = std::vector<std::int64_t>;

std::size_t entriesOf(const Shape& shape) {
    std::size_t entries = 1;
    for (const std::int64_t size : shape)
        entries *= static_cast<std::size_t>(size);
    return entries;
}

/// Entries with all sorts of bits; truth values are true or false.
Bytes entriesFor(CpuElementKind kind, const Shape& shape) {
    Bytes bytes = tellingLanes(kind, entriesOf(shape));
    if (kind == CpuElementKind::Tribool)
        for (unsigned char& truth : bytes)
            truth &= 1;
    return bytes;
}

/// The message of the `FileError` that `work` throws, or a text that says what happened instead.
template <class Work>
std::string failureOf(Work&& work) {
    try {
        work();
    } catch (const FileError& error) {
        return error.what();
    }
    return "(nothing fails)";
}

/// While this exists no file can grow beyond `bytes`, as if the disk were full.
class FullDisk {
  public:
    explicit FullDisk(rlim_t bytes) : handler(std::signal(SIGXFSZ, SIG_IGN)) {
        getrlimit(RLIMIT_FSIZE, &before);
        const rlimit limit{bytes, before.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FullDisk() {
        setrlimit(RLIMIT_FSIZE, &before);
        std::signal(SIGXFSZ, handler);
    }
    FullDisk(const FullDisk&) = delete;
    FullDisk& operator=(const FullDisk&) = delete;

  private:
    rlimit before{};
    void (*handler)(int);
};

class NpyWriterTest : public testing::Test {
  protected:
    /// Writes an array of bytes in two parts: first three bytes, then the others.
    void writeBytes(const std::string& path, const std::string& content) const {
        NpyWriter writer(path, CpuElementKind::Tribool,
                         {static_cast<std::int64_t>(content.size())});
        const std::size_t first = std::min<std::size_t>(content.size(), 3);
        writer.write(content.data(), first);
        writer.write(content.data() + first, content.size() - first);
        writer.finish();
    }
    const std::string truths = std::string("\0\1\1\0\1", 5);
    const std::string file =
        npyFile("{'descr': '|b1', 'fortran_order': False, 'shape': (5,), }", truths);

    TemporaryFolder folder;
};

TEST_F(NpyWriterTest, WritesWhatReadsBackTheSame) {
    for (const CpuElementKind kind : allKinds) {
        for (const Shape& shape :
             {Shape{}, Shape{7}, Shape{7, 1}, Shape{7, 3}, Shape{2, 3, 4}, Shape{0}, Shape{0, 3}}) {
            SCOPED_TRACE(testing::PrintToString(kind) + testing::PrintToString(shape));
            const Bytes entries = entriesFor(kind, shape);
            const std::string path = folder.path("array.npy");
            NpyWriter writer(path, kind, shape);
            writer.write(entries.data(), entries.size());
            writer.finish();

            const NpyArray array = readNpy(path);
            EXPECT_EQ(array.kind, kind);
            EXPECT_EQ(array.shape, shape);
            EXPECT_EQ(array.bytes, entries);
            EXPECT_EQ(folder.names(), Names{"array.npy"});
            // Aligned entries can be mapped and used in place.
            const std::string all = folder.read("array.npy");
            EXPECT_EQ((all.size() - entries.size()) % 64, 0u);
            EXPECT_EQ(all[all.size() - entries.size() - 1], '\n');
        }
    }
}

TEST_F(NpyWriterTest, WritesTheSameInMemory) {
    for (const CpuElementKind kind : allKinds) {
        for (const Shape& shape : {Shape{}, Shape{7, 3}, Shape{0}, Shape{100000}}) {
            SCOPED_TRACE(testing::PrintToString(kind) + testing::PrintToString(shape));
            const Bytes entries = entriesFor(kind, shape);
            NpyWriter written(folder.path("written.npy"), kind, shape);
            written.write(entries.data(), entries.size());
            written.finish();

            NpyWriter mapped(folder.path("mapped.npy"), kind, shape);
            auto* const memory = static_cast<unsigned char*>(mapped.map());
            ASSERT_NE(memory, nullptr);
            EXPECT_EQ(reinterpret_cast<std::uintptr_t>(memory) % 64, 0u);
            EXPECT_EQ(std::count(memory, memory + entries.size(), 0),
                      static_cast<std::ptrdiff_t>(entries.size()));
            // From the last one to the first.
            for (std::size_t i = entries.size(); i-- > 0;)
                memory[i] = entries[i];
            EXPECT_EQ(failureOf([&] { mapped.write("x", 1); }),
                      folder.path("mapped.npy") + ": more entries than the array has room for");
            EXPECT_EQ(folder.names(), Names{"written.npy"});
            mapped.close();
            mapped.finish();
            EXPECT_EQ(folder.read("mapped.npy"), folder.read("written.npy"));
            std::filesystem::remove(folder.path("mapped.npy"));
        }
    }
}

TEST_F(NpyWriterTest, LeavesNothingOfAMappedFileThatIsNotFinished) {
    const std::string path = folder.write("array.npy", "what was there");
    {
        NpyWriter writer(path, CpuElementKind::Tribool, {5});
        std::copy(truths.begin(), truths.end(), static_cast<char*>(writer.map()));
    }
    EXPECT_EQ(folder.names(), Names{"array.npy"});
    EXPECT_EQ(folder.read("array.npy"), "what was there");
}

TEST_F(NpyWriterTest, MapsWhatIsAlreadyWritten) {
    NpyWriter writer(folder.path("array.npy"), CpuElementKind::Tribool, {5});
    writer.write(truths.data(), 2);
    auto* const memory = static_cast<char*>(writer.map());
    ASSERT_NE(memory, nullptr);
    EXPECT_EQ(std::string(memory, 5), truths.substr(0, 2) + std::string(3, '\0'));
    std::copy(truths.begin() + 2, truths.end(), memory + 2);
    EXPECT_EQ(writer.map(), static_cast<void*>(memory)) << "a second call changes nothing";
    writer.finish();
    EXPECT_EQ(folder.read("array.npy"), file);
}

TEST_F(NpyWriterTest, IsWrittenWhereItCannotBeMapped) {
    NpyWriter writer(folder.path("array.npy"), CpuElementKind::Tribool, {5});
    {
        // No more memory can be mapped.
        rlimit before{};
        getrlimit(RLIMIT_AS, &before);
        const rlimit limit{4096, before.rlim_max};
        setrlimit(RLIMIT_AS, &limit);
        const bool isMapped = writer.map() != nullptr;
        setrlimit(RLIMIT_AS, &before);
        EXPECT_FALSE(isMapped);
    }
    writer.write(truths.data(), truths.size());
    writer.finish();
    EXPECT_EQ(folder.read("array.npy"), file);
}

TEST_F(NpyWriterTest, WritesTheShortestHeaderOfTheFirstVersion) {
    const auto headerFor = [this](CpuElementKind kind, const Shape& shape) {
        NpyWriter writer(folder.path("array.npy"), kind, shape);
        const Bytes entries = entriesFor(kind, shape);
        writer.write(entries.data(), entries.size());
        writer.finish();
        const std::string all = folder.read("array.npy");
        return all.substr(0, all.size() - entries.size());
    };
    const auto header = [](const std::string& type, const std::string& shape) {
        return npyFile(
            "{'descr': '" + type + "', 'fortran_order': False, 'shape': " + shape + ", }", "");
    };
    EXPECT_EQ(headerFor(CpuElementKind::Tribool, {}), header("|b1", "()"));
    EXPECT_EQ(headerFor(CpuElementKind::Int32, {5}), header(ownOrder + std::string("i4"), "(5,)"));
    EXPECT_EQ(headerFor(CpuElementKind::Int64, {5, 1}),
              header(ownOrder + std::string("i8"), "(5,1)"));
    EXPECT_EQ(headerFor(CpuElementKind::Half, {5, 3}),
              header(ownOrder + std::string("f2"), "(5,3)"));
    EXPECT_EQ(headerFor(CpuElementKind::Float32, {0}),
              header(ownOrder + std::string("f4"), "(0,)"));
    EXPECT_EQ(headerFor(CpuElementKind::Float64, {1, 2, 3}),
              header(ownOrder + std::string("f8"), "(1,2,3)"));
}

TEST_F(NpyWriterTest, StartsTheEntriesAtAMultipleOf64BytesWhateverTheShape) {
    for (std::size_t dimensions = 0; dimensions <= 32; ++dimensions) {
        Shape shape(dimensions, 1000000);
        if (dimensions > 0)
            shape[0] = 0;
        NpyWriter writer(folder.path("array.npy"), CpuElementKind::Tribool, shape);
        writer.write("", dimensions == 0 ? 1 : 0);
        writer.finish();
        EXPECT_EQ(folder.read("array.npy").size() % 64, dimensions == 0 ? 1u : 0u);
        EXPECT_EQ(readNpy(folder.path("array.npy")).shape, shape);
    }
}

TEST_F(NpyWriterTest, RefusesArraysThatCannotBe) {
    const auto refusal = [this](CpuElementKind kind, const Shape& shape) -> std::string {
        try {
            NpyWriter(folder.path("array.npy"), kind, shape);
        } catch (const std::invalid_argument& error) {
            return error.what();
        }
        return "(is written)";
    };
    for (const CpuElementKind kind : kindsWithoutStorage)
        EXPECT_EQ(refusal(kind, {3}), "an array cannot be of this kind");
    const CpuElementKind wide = CpuElementKind::Float64;
    const std::int64_t most = std::int64_t{1} << 60;
    EXPECT_EQ(refusal(wide, {3, -1}), "an array cannot have a negative size");
    EXPECT_EQ(refusal(wide, {0, -1}), "an array cannot have a negative size");
    EXPECT_EQ(refusal(wide, {most}), "(is written)");
    EXPECT_EQ(refusal(wide, {most + 1}), "an array cannot have that many entries");
    EXPECT_EQ(refusal(wide, {std::int64_t{1} << 32, std::int64_t{1} << 32}),
              "an array cannot have that many entries");
    EXPECT_EQ(refusal(wide, Shape(32, 1)), "(is written)");
    EXPECT_EQ(refusal(wide, Shape(33, 1)), "an array cannot have more than 32 dimensions");
    EXPECT_EQ(folder.names(), Names{});
}

TEST_F(NpyWriterTest, RefusesMoreEntriesThanTheArrayHasAndFewer) {
    const std::string path = folder.write("array.npy", "what was there");
    {
        NpyWriter writer(path, CpuElementKind::Int32, {2});
        writer.write("1234567", 7);
        EXPECT_EQ(failureOf([&] { writer.write("12", 2); }),
                  path + ": more entries than the array has room for");
        const std::string missing = path + ": the last 1 bytes of the array were never written";
        EXPECT_EQ(failureOf([&] { writer.close(); }), missing);
        EXPECT_EQ(failureOf([&] { writer.finish(); }), missing);
        writer.write("8", 1);
        EXPECT_EQ(failureOf([&] { writer.write("9", 1); }),
                  path + ": more entries than the array has room for");
        EXPECT_EQ(folder.read("array.npy"), "what was there");
        writer.finish();
    }
    EXPECT_EQ(folder.names(), Names{"array.npy"});
    EXPECT_EQ(folder.read("array.npy"),
              npyFile(npyHeader(ownOrder + std::string("i4"), "(2,)"), "12345678"));
}

TEST_F(NpyWriterTest, LeavesAnEarlierFileUntilTheEnd) {
    const std::string path = folder.write("array.npy", "what was there");
    {
        NpyWriter writer(path, CpuElementKind::Tribool, {5});
        writer.write(truths.data(), truths.size());
        EXPECT_EQ(folder.read("array.npy"), "what was there");
        writer.close();
        EXPECT_EQ(folder.read("array.npy"), "what was there");
        EXPECT_EQ(folder.names().size(), 2u);
    }
    EXPECT_EQ(folder.read("array.npy"), "what was there");
    EXPECT_EQ(folder.names(), Names{"array.npy"});
    writeBytes(path, truths);
    EXPECT_EQ(folder.read("array.npy"), file);
    EXPECT_EQ(folder.names(), Names{"array.npy"});
}

TEST_F(NpyWriterTest, MayBeClosedMoreThanOnce) {
    NpyWriter writer(folder.path("array.npy"), CpuElementKind::Tribool, {5});
    writer.write(truths.data(), truths.size());
    writer.close();
    writer.close();
    writer.write("", 0);
    writer.finish();
    EXPECT_EQ(folder.read("array.npy"), file);
}

TEST_F(NpyWriterTest, SaysWhyAFileCannotBeMade) {
    const auto failure = [this](const std::string& path) {
        const Names before = folder.names();
        const std::string message = failureOf([&] { writeBytes(path, truths); });
        EXPECT_EQ(folder.names(), before);
        return message;
    };
    const std::string plain = folder.write("plain", "x");
    const std::string missing = folder.path("missing/array.npy");
    EXPECT_EQ(failure(missing), missing + ": No such file or directory");
    EXPECT_EQ(failure(plain + "/array.npy"), plain + "/array.npy: Not a directory");
    EXPECT_EQ(failure(folder.path()), folder.path() + ": Is a directory");
    EXPECT_EQ(failure(""), ": No such file or directory");
    EXPECT_EQ(failure("/dev/full"), "/dev/full: is there and is not a plain file");
    const std::string pipe = folder.path("pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_EQ(failure(pipe), pipe + ": is there and is not a plain file");
    // No user may create a file there, not even root.
    EXPECT_EQ(failure("/proc/array.npy"), "/proc/array.npy: No such file or directory");
}

TEST_F(NpyWriterTest, LeavesNothingOnAFullDisk) {
    const std::string path = folder.write("array.npy", "what was there");
    const std::string large(100000, '\1');
    // The disk is full at the first byte, within the header, within the entries, and at the last
    // byte.
    for (const rlim_t limit : {0u, 1u, 64u, 127u, 128u, 70000u, 100127u}) {
        SCOPED_TRACE(limit);
        const FullDisk disk(limit);
        EXPECT_EQ(failureOf([&] { writeBytes(path, large); }), path + ": File too large");
        EXPECT_EQ(folder.names(), Names{"array.npy"});
        EXPECT_EQ(folder.read("array.npy"), "what was there");
    }
    const FullDisk disk(100128);
    EXPECT_EQ(failureOf([&] { writeBytes(path, large); }), "(nothing fails)");
    EXPECT_EQ(folder.read("array.npy").size(), 100128u);
}

TEST_F(NpyWriterTest, MapsNothingOnAFullDisk) {
    const std::string path = folder.write("array.npy", "what was there");
    for (const rlim_t limit : {0u, 127u, 128u, 70000u, 100127u}) {
        SCOPED_TRACE(limit);
        const FullDisk disk(limit);
        EXPECT_EQ(failureOf([&] { NpyWriter(path, CpuElementKind::Tribool, {100000}).map(); }),
                  path + ": File too large");
        EXPECT_EQ(folder.names(), Names{"array.npy"});
        EXPECT_EQ(folder.read("array.npy"), "what was there");
    }
    const FullDisk disk(100128);
    NpyWriter writer(path, CpuElementKind::Tribool, {100000});
    EXPECT_NE(writer.map(), nullptr);
    writer.finish();
    EXPECT_EQ(folder.read("array.npy").size(), 100128u);
}

TEST_F(NpyWriterTest, IsNotFinishedAfterItFailedToClose) {
    const std::string path = folder.path("array.npy");
    {
        NpyWriter writer(path, CpuElementKind::Tribool, {5});
        writer.write(truths.data(), truths.size());
        {
            const FullDisk disk(100);
            EXPECT_EQ(failureOf([&] { writer.close(); }), path + ": File too large");
        }
        EXPECT_EQ(failureOf([&] { writer.close(); }), path + ": File too large");
        EXPECT_EQ(failureOf([&] { writer.finish(); }), path + ": File too large");
    }
    EXPECT_EQ(folder.names(), Names{});
}

TEST_F(NpyWriterTest, SaysWhyAFileCannotTakeItsPlace) {
    const std::string path = folder.path("array.npy");
    {
        NpyWriter writer(path, CpuElementKind::Tribool, {5});
        writer.write(truths.data(), truths.size());
        std::filesystem::create_directory(path);
        EXPECT_EQ(failureOf([&] { writer.finish(); }), path + ": Is a directory");
    }
    EXPECT_EQ(folder.names(), Names{"array.npy"});
}

TEST_F(NpyWriterTest, FollowsSymbolicLinks) {
    std::filesystem::create_directory(folder.path("real"));
    std::filesystem::create_symlink("real/link", folder.path("link"));
    std::filesystem::create_symlink("array.npy", folder.path("real/link"));
    // The first time, the links lead to a file that does not exist; the second time it exists.
    for (const std::string content : {"\1", "\1\1"}) {
        writeBytes(folder.path("link"), content);
        EXPECT_EQ(folder.names(), (Names{"link", "real"}));
        EXPECT_EQ(std::filesystem::read_symlink(folder.path("link")), "real/link");
        EXPECT_EQ(std::filesystem::read_symlink(folder.path("real/link")), "array.npy");
        EXPECT_EQ(readNpy(folder.path("real/array.npy")).bytes,
                  Bytes(content.begin(), content.end()));
    }
    const std::string loop = folder.path("loop");
    std::filesystem::create_symlink("loop", loop);
    EXPECT_EQ(failureOf([&] { writeBytes(loop, truths); }),
              loop + ": Too many levels of symbolic links");
    EXPECT_TRUE(std::filesystem::is_symlink(loop));
}

TEST_F(NpyWriterTest, TellsWhosePlaceItTakes) {
    std::filesystem::create_symlink("array.npy", folder.path("link"));
    for (const std::string name : {"array.npy", "link"})
        EXPECT_EQ(NpyWriter(folder.path(name), CpuElementKind::Tribool, {}).place(),
                  folder.path("array.npy"));
}

TEST_F(NpyWriterTest, TakesTheFolderOfTheProcessForAPlainName) {
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(folder.path());
    writeBytes("array.npy", truths);
    std::filesystem::create_symlink("other.npy", "link");
    writeBytes("link", truths);
    std::filesystem::current_path(before);
    EXPECT_EQ(folder.names(), (Names{"array.npy", "link", "other.npy"}));
    EXPECT_EQ(folder.read("array.npy"), file);
    EXPECT_EQ(folder.read("other.npy"), file);
}

TEST_F(NpyWriterTest, IsNotHinderedByAnotherThatWritesTheSameFile) {
    const std::string path = folder.path("array.npy");
    NpyWriter first(path, CpuElementKind::Tribool, {1});
    first.write("\1", 1);
    writeBytes(path, truths);
    EXPECT_EQ(folder.read("array.npy"), file);
    first.finish();
    EXPECT_EQ(readNpy(path).bytes, Bytes{1});
    EXPECT_EQ(folder.names(), Names{"array.npy"});
}

} // namespace
} // namespace Fenlet::Hosts
