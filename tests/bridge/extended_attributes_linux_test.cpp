#include "bridge/bridge_store.h"
#include "tests/bridge/bridge_directory.h"
#include "tests/support/temporary_directory.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <string_view>

#include <sys/xattr.h>

namespace bridge {
namespace {

TEST(WritePrivateFileAtomically, TakesOverNoExtendedAttribute)
{
    const BridgeDirectory bridge;
    const std::string path = bridge / "file";
    support::writeFile(path, "old");
    constexpr std::string_view value = "from elsewhere";
    if (::setxattr(path.c_str(), "user.quarantine", value.data(), value.size(), 0) != 0
        && errno == ENOTSUP)
        GTEST_SKIP() << "this file system keeps no extended attributes";
    ASSERT_GT(::getxattr(path.c_str(), "user.quarantine", nullptr, 0), 0);

    ASSERT_TRUE(writePrivateFileAtomically("new", path, bridge.fileSystem));
    EXPECT_EQ(support::readFile(path), "new");
    EXPECT_EQ(::getxattr(path.c_str(), "user.quarantine", nullptr, 0), -1);
}

} // namespace
} // namespace bridge
