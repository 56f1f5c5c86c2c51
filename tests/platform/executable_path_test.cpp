#include "platform/executable_path.h"
#include "platform/operating_system.h"

#include "tests/support/temporary_directory.h"

#include <gtest/gtest.h>

#include <sys/utsname.h>

namespace platform {
namespace {

TEST(ExecutablePath, IsWhereThisProgramLies)
{
    const std::string path = executablePath();
    EXPECT_TRUE(path.starts_with('/')) << path;
    EXPECT_TRUE(path.ends_with("/kestrane_platform_tests")) << path;
    EXPECT_TRUE(support::exists(path)) << path;
}

TEST(CurrentOperatingSystem, IsTheOneThatTheSystemNames)
{
    utsname names {};
    ASSERT_EQ(::uname(&names), 0);
    const std::string name(static_cast<const char*>(names.sysname));
    EXPECT_EQ(currentOperatingSystem == OperatingSystem::linux, name == "Linux");
    EXPECT_EQ(currentOperatingSystem == OperatingSystem::macOS, name == "Darwin");
}

} // namespace
} // namespace platform
