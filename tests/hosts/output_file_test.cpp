// Outputs that replace a file: its mode, and what remains when the process is killed.
#include "hosts/temporary_folder.h"
#include "temporary_file.h"

#include <fenlethosts/npy.h>
#include <fenlethosts/output_file.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <functional>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Fenlet::Hosts {
namespace {

using Names = std::vector<std::string>;
using Named = TemporaryFile::Named;

struct stat statusOf(const std::string& path) {
    struct stat status {};
    EXPECT_EQ(stat(path.c_str(), &status), 0) << path << ": " << std::strerror(errno);
    return status;
}

mode_t modeOf(const std::string& path) {
    return statusOf(path).st_mode & 07777;
}

/// Sets the umask as long as this object exists.
class Umask {
  public:
    explicit Umask(mode_t mask) : before(umask(mask)) {}
    ~Umask() { umask(before); }
    Umask(const Umask&) = delete;
    Umask& operator=(const Umask&) = delete;

  private:
    mode_t before;
};

class OutputFileTest : public testing::Test {
  protected:
    void writeOutput(const std::string& name) const {
        OutputFile file(folder.path(name));
        std::fputs("new", file.handle());
        file.keep();
    }

    const TemporaryFolder folder;
};

TEST_F(OutputFileTest, ANewFileFollowsTheUmask) {
    for (const mode_t mask : {022u, 077u, 0u}) {
        const Umask set(mask);
        writeOutput("file");
        EXPECT_EQ(modeOf(folder.path("file")), 0666u & ~mask);
        std::filesystem::remove(folder.path("file"));
    }
}

TEST_F(OutputFileTest, AReplacedFileKeepsItsMode) {
    for (const mode_t mode : {0600u, 0640u, 0444u, 0777u, 01644u}) {
        const std::string path = folder.write("file", "old");
        ASSERT_EQ(chmod(path.c_str(), mode), 0);
        writeOutput("file");
        EXPECT_EQ(modeOf(path), mode);
        EXPECT_EQ(folder.read("file"), "new");
    }
}

TEST_F(OutputFileTest, AReplacedFileKeepsItsOwnerWhereThatIsPermitted) {
    if (geteuid() != 0)
        GTEST_SKIP() << "only root may give files away";
    const std::string path = folder.write("file", "old");
    ASSERT_EQ(chown(path.c_str(), 1234, 4321), 0);
    ASSERT_EQ(chmod(path.c_str(), 06750), 0);
    writeOutput("file");
    EXPECT_EQ(statusOf(path).st_uid, 1234u);
    EXPECT_EQ(statusOf(path).st_gid, 4321u);
    EXPECT_EQ(modeOf(path), 06750u);
}

TEST_F(OutputFileTest, ALinkedFileKeepsItsMode) {
    ASSERT_EQ(chmod(folder.write("file", "old").c_str(), 0604), 0);
    std::filesystem::create_symlink("file", folder.path("link"));
    writeOutput("link");
    EXPECT_EQ(modeOf(folder.path("file")), 0604u);
    EXPECT_EQ(folder.read("file"), "new");
    EXPECT_TRUE(std::filesystem::is_symlink(folder.path("link")));
}

TEST_F(OutputFileTest, WithoutANameIsRefusedAtOnce) {
    try {
        const OutputFile file("");
        FAIL() << "it is made";
    } catch (const FileError& error) {
        EXPECT_EQ(error.what(), std::string(": ") + std::strerror(ENOENT));
    }
}

TEST_F(OutputFileTest, KeepingTwiceIsKeepingOnce) {
    OutputFile file(folder.path("file"));
    file.keep();
    file.keep();
    EXPECT_EQ(folder.names(), Names{"file"});
}

TEST_F(OutputFileTest, ANameOfAnyLengthThatTheSystemTakesIsTaken) {
    std::string umlauts = "x";
    for (int i = 0; i < 127; ++i)
        umlauts += "\xC3\xA4";
    for (const std::string& name : {std::string(255, 'n'), umlauts}) {
        writeOutput(name);
        EXPECT_EQ(folder.read(name), "new");
        std::filesystem::remove(folder.path(name));
    }
    EXPECT_EQ(folder.names(), Names{});
}

// -------------------------------------------------------------------------------------------------
// The temporary file: named from the start, and named only when it is finished

class TemporaryFileTest : public testing::TestWithParam<Named> {
  protected:
    std::string target() const { return folder.path("file"); }

    /// Runs `work` in another process until it calls `reached`, and kills that process there.
    /// Before that, `meanwhile` runs in this process.
    static void killIn(
        const std::function<void(const std::function<void()>& reached)>& work,
        const std::function<void()>& meanwhile = [] {}) {
        int toParent[2];
        ASSERT_EQ(pipe(toParent), 0);
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            work([&] {
                if (write(toParent[1], "x", 1) == 1)
                    for (;;)
                        pause();
            });
            _exit(1);
        }
        close(toParent[1]);
        char byte = 0;
        EXPECT_EQ(read(toParent[0], &byte, 1), 1) << "the process did not get there";
        close(toParent[0]);
        meanwhile();
        EXPECT_EQ(kill(child, SIGKILL), 0);
        int status = 0;
        EXPECT_EQ(waitpid(child, &status, 0), child);
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);
    }

    /// Whether the file has a name before it is finished. On a system without nameless files, it
    /// has one from the start.
    bool isNamedEarly() const {
        if (GetParam() == Named::FromTheStart)
            return true;
#ifdef O_TMPFILE
        const int unnamed = open(folder.path().c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, 0600);
        const bool hasUnnamed =
            unnamed >= 0 && std::filesystem::exists("/proc/self/fd/" + std::to_string(unnamed));
        close(unnamed);
        return !hasUnnamed;
#else
        return true;
#endif
    }

    /// Does what an output does: removes the leftovers of others, and then writes and replaces the
    /// file.
    void runAgain() const {
        removeLeftovers(target());
        TemporaryFile file(target(), GetParam());
        ASSERT_NE(file.handle(), nullptr);
        std::fputs("new", file.handle());
        ASSERT_EQ(file.finish(), 0);
        ASSERT_EQ(file.replaceTarget(), 0);
        EXPECT_EQ(folder.names(), Names{"file"});
        EXPECT_EQ(folder.read("file"), "new");
    }

    const TemporaryFolder folder;
};

INSTANTIATE_TEST_SUITE_P(, TemporaryFileTest,
                         testing::Values(Named::WhenFinished, Named::FromTheStart),
                         [](const testing::TestParamInfo<Named>& one) {
                             return one.param == Named::WhenFinished ? "NamedWhenFinished"
                                                                     : "NamedFromTheStart";
                         });

TEST_P(TemporaryFileTest, HasANameWhenItShould) {
    TemporaryFile file(target(), GetParam());
    ASSERT_NE(file.handle(), nullptr);
    EXPECT_EQ(folder.names().size(), isNamedEarly() ? 1u : 0u);
    EXPECT_EQ(file.finish(), 0);
    const std::string expected = "file.fenlet-" + std::to_string(getpid()) + "-0.part";
    EXPECT_EQ(folder.names(), Names{expected});
    EXPECT_EQ(file.replaceTarget(), 0);
    EXPECT_EQ(folder.names(), Names{"file"});
}

TEST_P(TemporaryFileTest, IsGoneWithoutATarget) {
    for (const bool isFinished : {false, true}) {
        {
            TemporaryFile file(target(), GetParam());
            if (isFinished) {
                EXPECT_EQ(file.finish(), 0);
            }
        }
        EXPECT_EQ(folder.names(), Names{});
    }
}

TEST_P(TemporaryFileTest, KilledWhileItIsWrittenLeavesTheOldFile) {
    folder.write("file", "old");
    killIn([this](const auto& reached) {
        TemporaryFile file(target(), GetParam());
        std::fputs("half of it", file.handle());
        std::fflush(file.handle());
        reached();
    });
    EXPECT_EQ(folder.read("file"), "old");
    EXPECT_EQ(folder.names().size(), isNamedEarly() ? 2u : 1u);
    runAgain();
}

TEST_P(TemporaryFileTest, KilledWhenItIsFinishedLeavesTheOldFile) {
    folder.write("file", "old");
    killIn([this](const auto& reached) {
        TemporaryFile file(target(), GetParam());
        std::fputs("all of it", file.handle());
        if (file.finish() == 0)
            reached();
    });
    EXPECT_EQ(folder.read("file"), "old");
    EXPECT_EQ(folder.names().size(), 2u);
    runAgain();
}

TEST_P(TemporaryFileTest, KilledAfterwardsLeavesTheNewFile) {
    folder.write("file", "old");
    killIn([this](const auto& reached) {
        TemporaryFile file(target(), GetParam());
        std::fputs("all of it", file.handle());
        if (file.finish() == 0 && file.replaceTarget() == 0)
            reached();
    });
    EXPECT_EQ(folder.read("file"), "all of it");
    EXPECT_EQ(folder.names(), Names{"file"});
    runAgain();
}

TEST_P(TemporaryFileTest, OfALivingProcessIsLeftAlone) {
    folder.write("file", "old");
    for (const bool isFinished : {false, true}) {
        removeLeftovers(target());
        killIn(
            [&](const auto& reached) {
                TemporaryFile file(target(), GetParam());
                std::fputs("all of it", file.handle());
                if (!isFinished || file.finish() == 0)
                    reached();
            },
            [this] {
                const Names before = folder.names();
                removeLeftovers(target());
                EXPECT_EQ(folder.names(), before);
            });
    }
    runAgain();
}

TEST_P(TemporaryFileTest, OfThisProcessIsLeftAlone) {
    TemporaryFile file(target(), GetParam());
    ASSERT_EQ(file.finish(), 0);
    const Names before = folder.names();
    removeLeftovers(target());
    EXPECT_EQ(folder.names(), before);
    EXPECT_EQ(file.replaceTarget(), 0);
}

TEST_P(TemporaryFileTest, IsPrivateUntilItHasTheModeOfTheFileThatItReplaces) {
    const Umask none(0);
    ASSERT_EQ(chmod(folder.write("file", "old").c_str(), 0640), 0);
    TemporaryFile file(target(), Named::FromTheStart);
    ASSERT_EQ(folder.names().size(), 2u);
    EXPECT_EQ(modeOf(folder.path(folder.names().back())), 0600u);
    EXPECT_EQ(file.finish(), 0);
    EXPECT_EQ(modeOf(folder.path(folder.names().back())), 0640u);
}

TEST_P(TemporaryFileTest, OfANameThatIsTakenGetsTheNext) {
    const std::string stem = "file.fenlet-" + std::to_string(getpid()) + "-";
    folder.write(stem + "0.part", "somebody else's");
    folder.write(stem + "1.part", "somebody else's");
    TemporaryFile file(target(), GetParam());
    ASSERT_EQ(file.finish(), 0);
    EXPECT_EQ(folder.names(), Names({stem + "0.part", stem + "1.part", stem + "2.part"}));
    EXPECT_EQ(folder.read(stem + "0.part"), "somebody else's");
    EXPECT_EQ(file.replaceTarget(), 0);
    EXPECT_EQ(folder.read("file"), "");
}

// Files with other names, and everything that is not a plain file, are not leftovers.
TEST(Leftovers, AreOnlyFilesOfTheseNames) {
    const TemporaryFolder folder;
    const Names others = {"file",
                          "file.fenlet-.part",
                          "file.fenlet-1-.part",
                          "file.fenlet-1-2",
                          "file.fenlet-1-2.part.gz",
                          "file.fenlet-1-x.part",
                          "file.fenlet-12.part",
                          "file.part",
                          "file.part1-2",
                          "other.fenlet-1-2.part"};
    for (const std::string& name : others)
        folder.write(name, "content");
    std::filesystem::create_directory(folder.path("file.fenlet-3-4.part"));
    std::filesystem::create_symlink("file", folder.path("file.fenlet-5-6.part"));
    ASSERT_EQ(mkfifo(folder.path("file.fenlet-7-8.part").c_str(), 0600), 0);
    Names all = folder.names();
    folder.write("file.fenlet-1-2.part", "left");
    ASSERT_EQ(chmod(folder.write("file.fenlet-98765-10.part", "left").c_str(), 0444), 0);
    removeLeftovers(folder.path("file"));
    EXPECT_EQ(folder.names(), all);
}

TEST(Leftovers, OfAnOutputAreRemovedByTheNext) {
    const TemporaryFolder folder;
    folder.write("file.fenlet-1-2.part", "left");
    const OutputFile file(folder.path("file"));
    EXPECT_EQ(folder.names(), Names{});
}

TEST(Leftovers, MayBeLockedByAnotherDescriptor) {
    const TemporaryFolder folder;
    const std::string path = folder.write("file.fenlet-1-2.part", "in use");
    const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(flock(descriptor, LOCK_EX), 0);
    removeLeftovers(folder.path("file"));
    EXPECT_EQ(folder.names(), Names{"file.fenlet-1-2.part"});
    close(descriptor);
    removeLeftovers(folder.path("file"));
    EXPECT_EQ(folder.names(), Names{});
}

} // namespace
} // namespace Fenlet::Hosts
