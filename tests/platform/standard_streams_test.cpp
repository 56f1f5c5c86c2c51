#include "platform/standard_streams.h"
#include "tests/support/as_other_user.h"

#include <gtest/gtest.h>

#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

bool isNullDevice(int descriptor)
{
    struct stat found {};
    struct stat null {};
    return ::fstat(descriptor, &found) == 0 && ::stat("/dev/null", &null) == 0
        && S_ISCHR(found.st_mode) && found.st_rdev == null.st_rdev;
}

int lowestFreeDescriptor()
{
    const int descriptor = ::open("/", O_RDONLY);
    ::close(descriptor);
    return descriptor;
}

TEST(FillMissingStandardStreams, OpensTheNullDeviceInThePlaceOfThoseThatAreClosed)
{
    for (const auto& closed : { std::vector { 0 }, { 1 }, { 2 }, { 0, 2 }, { 0, 1, 2 } }) {
        support::inChildProcess([&closed] {
            for (const int stream : closed)
                ::close(stream);
            platform::fillMissingStandardStreams();
            for (const int stream : closed)
                EXPECT_TRUE(isNullDevice(stream)) << stream;
            EXPECT_GT(lowestFreeDescriptor(), STDERR_FILENO);
        });
    }
}

TEST(FillMissingStandardStreams, LeavesOpenStreamsAsTheyAre)
{
    support::inChildProcess([] {
        const int root = ::open("/", O_RDONLY);
        ASSERT_EQ(::dup2(root, STDIN_FILENO), STDIN_FILENO);
        const int before = lowestFreeDescriptor();
        platform::fillMissingStandardStreams();
        EXPECT_FALSE(isNullDevice(STDIN_FILENO));
        EXPECT_EQ(lowestFreeDescriptor(), before);
    });
}

} // namespace
