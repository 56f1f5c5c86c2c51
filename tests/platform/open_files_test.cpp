// The numbers under which files are opened, and how long they stay open.

#include "platform/file_system.h"
#include "tests/support/as_other_user.h"
#include "tests/support/file_cases.h"
#include "tests/support/temporary_directory.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <optional>
#include <string>
#include <utility>

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

namespace {

using namespace support;

bool isOpen(int number)
{
    return ::fcntl(number, F_GETFD) >= 0;
}

bool closesOnExec(int number)
{
    return (::fcntl(number, F_GETFD) & FD_CLOEXEC) != 0;
}

void closeStandardStreams()
{
    for (const int stream : { STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO })
        ::close(stream);
}

TEST(OpenFile, IsNotInheritedByStartedPrograms)
{
    const TemporaryDirectory directory;
    const platform::FileSystem& fileSystem = platform::localFileSystem();
    const auto created = fileSystem.createFile(directory / "x");
    ASSERT_TRUE(created);
    EXPECT_TRUE(closesOnExec(created->number()));
    const auto opened = fileSystem.openForReading(directory / "x");
    ASSERT_TRUE(opened);
    EXPECT_TRUE(closesOnExec(opened->number()));
}

// The child cannot print, as it has no standard output: its checks are told by what it leaves.
TEST(OpenFile, NeverTakesThePlaceOfAStandardStreamThatWasClosed)
{
    const TemporaryDirectory directory;
    writeFile(directory / "x", "1");
    inChildProcess([&directory] {
        closeStandardStreams();
        const platform::FileSystem& fileSystem = platform::localFileSystem();
        const auto opened = fileSystem.openForReading(directory / "x");
        const auto created = fileSystem.createFile(directory / "y");
        const auto isAbove = [](const auto& file) {
            return file && file->number() > STDERR_FILENO && closesOnExec(file->number());
        };
        const auto names = fileSystem.visibleNames(directory.path());
        if (isAbove(opened) && isAbove(created) && names && names->names.size() == 2
            && !isOpen(STDIN_FILENO) && !isOpen(STDOUT_FILENO) && !isOpen(STDERR_FILENO))
            writeFile(directory / "passed", "");
    });
    EXPECT_TRUE(exists(directory / "passed"));
}

TEST(OpenFile, NeverTakesThePlaceOfTheOneStandardStreamThatWasClosed)
{
    for (const int stream : { STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO }) {
        const TemporaryDirectory directory;
        writeFile(directory / "x", "1");
        inChildProcess([&directory, stream] {
            ::close(stream);
            errno = EINTR; // of an earlier call: this one is not interrupted
            const auto opened = platform::localFileSystem().openForReading(directory / "x");
            if (opened && opened->number() > STDERR_FILENO && !isOpen(stream))
                writeFile(directory / "passed", "");
        });
        EXPECT_TRUE(exists(directory / "passed")) << stream;
    }
}

TEST(OpenFile, IsNotLeftBehindWhenItCannotBeMovedAboveTheStandardStreams)
{
    const TemporaryDirectory directory;
    writeFile(directory / "old", "1");
    inChildProcess([&directory] {
        ::close(STDIN_FILENO);
        const rlimit none { .rlim_cur = 3, .rlim_max = 3 };
        ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &none), 0);
        const platform::FileSystem& fileSystem = platform::localFileSystem();
        EXPECT_FALSE(fileSystem.createFile(directory / "x"));
        EXPECT_FALSE(exists(directory / "x"));
        EXPECT_FALSE(fileSystem.openForReading(directory / "old"));
        EXPECT_TRUE(exists(directory / "old"));
        EXPECT_FALSE(isOpen(STDIN_FILENO));
    });
}

// A session without a terminal would otherwise get the first one that it opens, and with it the
// signals that are typed there.
TEST(OpenFile, DoesNotMakeATerminalThatOfTheSession)
{
    inChildProcess([] {
        ASSERT_GE(::setsid(), 0);
        const int controller = ::posix_openpt(O_RDWR | O_NOCTTY);
        if (controller < 0 || ::grantpt(controller) != 0 || ::unlockpt(controller) != 0)
            GTEST_SKIP() << "no terminal can be made here";
        const char* const name = ::ptsname(controller);
        ASSERT_NE(name, nullptr);
        ASSERT_TRUE(platform::localFileSystem().openForReading(std::string(name)));
        EXPECT_LT(::open("/dev/tty", O_RDONLY | O_CLOEXEC), 0);
        EXPECT_EQ(errno, ENXIO);
    });
}

TEST(OpenFile, IsClosedWhenItGoes)
{
    const TemporaryDirectory directory;
    int number = -1;
    {
        const auto file = platform::localFileSystem().createFile(directory / "x");
        ASSERT_TRUE(file);
        number = file->number();
        EXPECT_TRUE(isOpen(number));
    }
    EXPECT_FALSE(isOpen(number));
}

TEST(OpenFile, IsClosedOnceByWhoeverItWasMovedTo)
{
    const TemporaryDirectory directory;
    auto file = platform::localFileSystem().createFile(directory / "x");
    ASSERT_TRUE(file);
    const int number = file->number();
    std::optional<platform::OpenFile> owner(std::move(*file));
    file = std::unexpected(platform::FileError {});
    EXPECT_TRUE(isOpen(number));
    owner.reset();
    EXPECT_FALSE(isOpen(number));
}

TEST(OpenFile, FailsWhenThereAreNoMoreDescriptors)
{
    const TemporaryDirectory directory;
    writeFile(directory / "old", "1");
    inChildProcess([&directory] {
        const rlimit none { .rlim_cur = 3, .rlim_max = 3 };
        ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &none), 0);
        const platform::FileSystem& fileSystem = platform::localFileSystem();
        EXPECT_EQ(fileSystem.openForReading(directory / "old").error().code, EMFILE);
        EXPECT_EQ(fileSystem.createFile(directory / "x").error().code, EMFILE);
        EXPECT_EQ(fileSystem.visibleNames(directory.path()).error().code, EMFILE);
        EXPECT_FALSE(exists(directory / "x"));
    });
}

TEST(FileError, IsKnownIfTheSystemHasATextForIt)
{
    EXPECT_TRUE(isKnown(platform::FileError { ENOENT }));
    EXPECT_TRUE(isKnown(platform::FileError { EIO }));
    EXPECT_FALSE(isKnown(platform::FileError { 54321 }));
}

TEST(FileErrorMessage, IsTheSystemsText)
{
    EXPECT_EQ(message(platform::FileError { ENOENT }), "No such file or directory");
    EXPECT_EQ(message(platform::FileError { EACCES }), "Permission denied");
    EXPECT_NE(message(platform::FileError { 54321 }), "");
}

} // namespace
