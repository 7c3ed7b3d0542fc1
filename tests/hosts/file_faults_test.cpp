// Reading and writing files when memory runs out. No file may be half written, stay open or stay
// mapped.
#include "doubles/allocation_faults.h"
#include "hosts/lane_bits.h"
#include "hosts/npy_files.h"
#include "hosts/temporary_folder.h"

#include <fenlethosts/npy.h>
#include <fenlethosts/npy_writer.h>
#include <fenlethosts/sinks.h>
#include <fenlethosts/uniform_table.h>
#include <fenletir/program_builder.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <memory>
#include <stdexcept>
#include <sys/resource.h>

namespace Fenlet::Hosts {
namespace {

using namespace Doubles;
using Names = std::vector<std::string>;

/// The number of files that this process has open.
int openFiles() {
    int open = 0;
    for (int number = 0; number < 256; ++number)
        open += fcntl(number, F_GETFD) != -1;
    return open;
}

/// The number of mappings of files in this folder that this process has.
int mappedFiles(const TemporaryFolder& folder) {
    std::ifstream maps("/proc/self/maps");
    EXPECT_TRUE(maps.is_open());
    const std::string path = std::filesystem::canonical(folder.path()).string();
    int mapped = 0;
    for (std::string line; std::getline(maps, line);)
        mapped += line.find(path) != std::string::npos;
    return mapped;
}

class FileFaults : public testing::Test {
  protected:
    ~FileFaults() override {
        EXPECT_EQ(openFiles(), openBefore);
        EXPECT_EQ(mappedFiles(folder), 0);
    }

    const TemporaryFolder folder;
    const int openBefore = openFiles();
};

// ---------------------------------------------------------------------------------------------
// Reading

/// The result of reading a file: an array, or the error message.
struct ReadResult {
    CpuElementKind kind = CpuElementKind::Unsupported;
    std::vector<std::int64_t> shape;
    Bytes bytes;
    std::string failure;

    bool operator==(const ReadResult& other) const {
        return kind == other.kind && shape == other.shape && bytes == other.bytes &&
               failure == other.failure;
    }
};

ReadResult readWhole(const std::string& path) {
    try {
        const NpyArray array = readNpy(path);
        return {array.kind, array.shape, array.bytes, {}};
    } catch (const FileError& error) {
        return {CpuElementKind::Unsupported, {}, {}, error.what()};
    }
}

ReadResult readMapped(const std::string& path) {
    try {
        const NpyFile file(path);
        const ArrayView view = file.view();
        const auto* const bytes = static_cast<const unsigned char*>(view.data);
        const std::int64_t count = view.count() * componentSize(view.kind);
        return {file.kind(), file.shape(), Bytes(bytes, bytes + count), {}};
    } catch (const FileError& error) {
        return {CpuElementKind::Unsupported, {}, {}, error.what()};
    }
}

class ReadFaults : public FileFaults {
  protected:
    /// Reads the file with both readers while each allocation fails in turn. With enough memory,
    /// both must give `expected`.
    void expectReads(const std::string& path, const ReadResult& expected) {
        for (ReadResult (*const read)(const std::string&) : {&readWhole, &readMapped}) {
            const int failures =
                failEachAllocation([] { return std::make_unique<ReadResult>(); },
                                   [&](auto& result) { *result = read(path); },
                                   [&](auto& result) {
                                       EXPECT_EQ(openFiles(), openBefore);
                                       EXPECT_EQ(mappedFiles(folder), 0);
                                       EXPECT_TRUE(*result == ReadResult() || *result == expected);
                                       EXPECT_TRUE(read(path) == expected);
                                   });
            // Allocations: the first bytes, the rest of the header, and the shape or the message.
            EXPECT_GT(failures, 2 * 2);
        }
    }
    void expectRefused(const std::string& content, const std::string& words) {
        SCOPED_TRACE(words);
        const std::string path = folder.write("refused.npy", content);
        expectReads(path, {CpuElementKind::Unsupported, {}, {}, path + ": " + words});
    }
};

TEST_F(ReadFaults, OfSoundFilesAreTheAllocatorsException) {
    const bool isBig = __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__;
    const std::string entries("\0\1\2\3\4\5\6\7\1\1\1\1\1\1\1\2", 16);
    const Bytes asTheyAre(entries.begin(), entries.end());
    const Bytes otherOrder{1, 0, 3, 2, 5, 4, 7, 6, 1, 1, 1, 1, 1, 1, 2, 1};
    // Entries that stay in the file, and entries whose bytes must be reversed.
    const std::string own = isBig ? ">f2" : "<f2";
    const std::string other = isBig ? "<f2" : ">f2";
    expectReads(folder.write("own.npy", npyFile(npyHeader(own, "(2, 4)"), entries)),
                {CpuElementKind::Half, {2, 4}, asTheyAre, {}});
    expectReads(folder.write("other.npy", npyFile(npyHeader(other, "(8,)"), entries, 2)),
                {CpuElementKind::Half, {8}, otherOrder, {}});
}

TEST_F(ReadFaults, OfUnsoundFilesAreTheAllocatorsExceptionToo) {
    const std::string missing = folder.path("missing.npy");
    expectReads(missing,
                {CpuElementKind::Unsupported, {}, {}, missing + ": " + std::strerror(ENOENT)});
    expectRefused("text and no array",
                  "not a .npy file (it does not begin with the format's mark)");
    expectRefused(npyFile(npyHeader("<c8", "(1,)"), "12345678"),
                  "entries of type '<c8' are not supported; bool, integers up to 64 bits (unsigned "
                  "ones up to 32) and floats are");
    expectRefused(npyFile(npyHeader("|b1", "(3,)"), "\1\1"),
                  "holds 2 bytes of entries where its shape asks for 3; the file is cut short");
    expectRefused(npyFile(npyHeader("|b1", "(3,)"), "\1\1\2"),
                  "holds a bool whose byte is neither 0 nor 1");
}

// ---------------------------------------------------------------------------------------------
// Writing

constexpr const char* oldContent = "what was there before";
Bytes bytesOf(const std::vector<float>& values) {
    Bytes bytes(values.size() * sizeof(float));
    std::memcpy(bytes.data(), values.data(), bytes.size());
    return bytes;
}

const Bytes entries = bytesOf({1, 2});

void writeArray(const std::string& path) {
    NpyWriter writer(path, CpuElementKind::Float32, {2});
    writer.write(entries.data(), 3);
    writer.write(entries.data() + 3, 5);
    writer.finish();
}

/// The same in memory.
void mapArray(const std::string& path) {
    NpyWriter writer(path, CpuElementKind::Float32, {2});
    std::memcpy(writer.map(), entries.data(), entries.size());
    writer.finish();
}

class WriteFaults : public FileFaults {
  protected:
    /// Writes an array to `path` with `write` while each allocation fails in turn. `path` is the
    /// path of `file`, or of a link to it. The folder has no other files, except links.
    void expectWholeOrUntouched(const std::string& path, const std::string& file,
                                const Names& names,
                                void (*write)(const std::string&) = &writeArray) {
        writeArray(folder.path("expected.npy"));
        const std::string newContent = folder.read("expected.npy");
        std::filesystem::remove(folder.path("expected.npy"));
        ASSERT_EQ(newContent.size(), 128 + entries.size());
        struct Attempt {
            bool isDone = false;
        };
        const int failures = failEachAllocation(
            [&] {
                folder.write(file, oldContent);
                return std::make_unique<Attempt>();
            },
            [&](auto& attempt) {
                write(path);
                attempt->isDone = true;
            },
            [&](auto& attempt) {
                EXPECT_EQ(openFiles(), openBefore);
                EXPECT_EQ(folder.names(), names);
                EXPECT_EQ(folder.read(file), attempt->isDone ? newContent : oldContent);
                writeArray(path);
                EXPECT_EQ(folder.read(file), newContent);
            });
        // Allocations: at least the three paths of a file, and the header.
        EXPECT_GE(failures, 2 * 4);
    }
};

TEST_F(WriteFaults, LeaveTheFileThatWasThere) {
    const std::string name = "an array with a name of some length.npy";
    expectWholeOrUntouched(folder.path(name), name, {name});
    expectWholeOrUntouched(folder.path(name), name, {name}, &mapArray);
}

TEST_F(WriteFaults, LeaveTheFileThatALinkLeadsTo) {
    std::filesystem::create_directory(folder.path("inner"));
    std::filesystem::create_symlink("inner/second", folder.path("first"));
    std::filesystem::create_symlink("../array.npy", folder.path("inner/second"));
    expectWholeOrUntouched(folder.path("first"), "array.npy", {"array.npy", "first", "inner"});
}

/// Expects `call` to fail with this message, and the writer or file to remain usable after it.
template <class Subject, class Prepare, class Call, class GoOn>
void expectGoesOn(const std::string& words, Prepare prepare, Call call, GoOn goOn) {
    struct Attempt {
        Subject subject;
        std::string failure;
    };
    const auto attempt = [&](auto& one) {
        errno = 0;
        try {
            call(one->subject);
            one->failure = "(nothing fails)";
        } catch (const FileError& error) {
            one->failure = error.what();
        }
    };
    const int failures = failEachAllocation(
        [&] {
            return std::make_unique<Attempt>(Attempt{prepare(), {}});
        },
        attempt,
        [&](auto& one) {
            // Memory is available now, so the same call must fail with its proper message.
            attempt(one);
            EXPECT_EQ(one->failure, words);
            goOn(one->subject);
        });
    EXPECT_GT(failures, 0);
}

using Writer = std::unique_ptr<NpyWriter>;
using Output = std::unique_ptr<OutputFile>;

TEST_F(WriteFaults, OfTheWordsForAWrongCallLeaveAWriterThatGoesOn) {
    const std::string path = folder.path("array.npy");
    writeArray(path);
    const std::string content = folder.read("array.npy");
    const auto begun = [&] {
        Writer writer = std::make_unique<NpyWriter>(path, CpuElementKind::Float32,
                                                    std::vector<std::int64_t>{2});
        writer->write(entries.data(), 5);
        return writer;
    };
    const auto goOn = [&](Writer& writer) {
        std::filesystem::remove(path);
        writer->write(entries.data() + 5, 3);
        writer->finish();
        EXPECT_EQ(folder.read("array.npy"), content);
    };
    const std::string tooMany = path + ": more entries than the array has room for";
    const std::string tooFew = path + ": the last 3 bytes of the array were never written";
    expectGoesOn<Writer>(
        tooMany, begun, [](Writer& writer) { writer->write(entries.data(), 4); }, goOn);
    expectGoesOn<Writer>(
        tooFew, begun, [](Writer& writer) { writer->close(); }, goOn);
    expectGoesOn<Writer>(
        tooFew, begun, [](Writer& writer) { writer->finish(); }, goOn);
    EXPECT_EQ(folder.names(), Names{"array.npy"});
}

TEST_F(WriteFaults, OfTheWordsForAPlaceThatIsTakenLeaveAFileThatCanStillBeKept) {
    const std::string path = folder.path("place");
    const auto written = [&] {
        std::filesystem::remove_all(path);
        Output file = std::make_unique<OutputFile>(path);
        std::fputs("content", file->handle());
        std::filesystem::create_directory(path);
        return file;
    };
    expectGoesOn<Output>(
        path + ": " + std::strerror(EISDIR), written, [](Output& file) { file->keep(); },
        [&](Output& file) {
            std::filesystem::remove(path);
            file->keep();
            EXPECT_EQ(folder.read("place"), "content");
        });
    EXPECT_EQ(folder.names(), Names{"place"});
}

/// While this exists no file can grow, as if the disk were full.
class FullDisk {
  public:
    FullDisk() : handler(std::signal(SIGXFSZ, SIG_IGN)) {
        getrlimit(RLIMIT_FSIZE, &before);
        const rlimit limit{0, before.rlim_max};
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

// A write that failed makes `keep` fail, even if there was no memory for the message of the
// failure.
TEST_F(WriteFaults, OfTheWordsForAFullDiskLeaveAFileThatIsNeverKept) {
    const std::string path = folder.write("file", oldContent);
    for (void (OutputFile::*const end)() : {&OutputFile::close, &OutputFile::keep})
        expectGoesOn<Output>(
            path + ": " + std::strerror(EFBIG),
            [&] {
                Output file = std::make_unique<OutputFile>(path);
                std::fputs("content", file->handle());
                return file;
            },
            [&](Output& file) {
                const FullDisk full;
                ((*file).*end)();
            },
            [&](Output& file) {
                EXPECT_THROW(file->close(), FileError);
                EXPECT_THROW(file->keep(), FileError);
            });
    EXPECT_EQ(folder.names(), Names{"file"});
    EXPECT_EQ(folder.read("file"), oldContent);
}

// ---------------------------------------------------------------------------------------------
// Copying from one file to another

/// Scales an array by a uniform, as a simple host does it.
void scaleArray(const std::string& from, const std::string& to) {
    ProgramBuilder builder(ProgramBuilder::OnError::Throw);
    const Register heights =
        builder.loadField(builder.field("heights"), builder.elementIndex(), Format::Float32);
    const Register scaled = builder.output(
        builder.multiply(heights, builder.loadUniform(builder.uniform("scale"), Format::Float32)),
        "scaled");
    const BuildResult built = builder.build();

    const NpyFile file(from);
    ArrayField field(file.view());
    UniformTable uniforms;
    uniforms.set(0, Constant::ofReals({2}));
    CpuFieldAccessor* const fields[] = {&field};
    const Bindings bindings{fields, 1, &uniforms, nullptr, 0};
    Interpreter interpreter;
    const long long count = file.shape().at(0);
    if (!interpreter.configure(built.program, 2))
        throw std::runtime_error(interpreter.lastRefusalMessage());
    CollectingSink sink(interpreter.registerFile(), {scaled.number}, 0, count);
    if (!interpreter.evaluate(0, count, bindings, sink))
        throw std::runtime_error("the run has ended early");
    NpyWriter writer(to, sink[0].spec.kind, {count});
    writer.write(sink[0].values.data(), sink[0].values.size());
    writer.finish();
}

TEST_F(WriteFaults, OnTheWholeWayFromFileToFileLeaveNothing) {
    const std::string from = folder.path("from.npy");
    writeArray(from);
    const int failures = failEachAllocation(
        [&] {
            std::filesystem::remove(folder.path("to.npy"));
            return std::make_unique<bool>(false);
        },
        [&](auto& isDone) {
            scaleArray(from, folder.path("to.npy"));
            *isDone = true;
        },
        [&](auto& isDone) {
            EXPECT_EQ(openFiles(), openBefore);
            EXPECT_EQ(mappedFiles(folder), 0);
            EXPECT_EQ(folder.names(), *isDone ? Names({"from.npy", "to.npy"}) : Names{"from.npy"});
            scaleArray(from, folder.path("to.npy"));
            const NpyArray scaled = readNpy(folder.path("to.npy"));
            EXPECT_EQ(scaled.bytes, bytesOf({2, 4}));
        });
    EXPECT_GT(failures, 2 * 30);
}

} // namespace
} // namespace Fenlet::Hosts
