// Items of an open directory: what has become of the directory's path does not matter.

#include "platform/file_system.h"
#include "tests/support/temporary_directory.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace {

using namespace support;
using platform::Location;

// The directory "d" with the file "x" of one byte was listed; then another one, whose "x" has two
// bytes, took its place as a link.
class OpenDirectory : public testing::Test {
protected:
    OpenDirectory()
    {
        writeFile(directory_ / "d/x", "1");
        writeFile(directory_ / "other/x", "22");
        listing_.emplace(fileSystem_.visibleNames(directory_ / "d").value());
        std::filesystem::rename(directory_ / "d", directory_ / "moved");
        makeSymbolicLink(directory_ / "other", directory_ / "d");
    }

    [[nodiscard]] const std::string& pathOfX() const { return path_; }
    [[nodiscard]] Location x() const { return { path_, listing_->directory }; }
    [[nodiscard]] const platform::FileSystem& fileSystem() const { return fileSystem_; }
    [[nodiscard]] const TemporaryDirectory& directory() const { return directory_; }

private:
    TemporaryDirectory directory_;
    const platform::FileSystem& fileSystem_ = platform::localFileSystem();
    std::optional<platform::DirectoryListing> listing_;
    std::string path_ = directory_ / "d/x";
};

TEST_F(OpenDirectory, IsWhereAFileIsOpened)
{
    const auto file = fileSystem().openForReading(x());
    ASSERT_TRUE(file);
    EXPECT_EQ(fileSystem().attributes(*file)->size, 1U);
    EXPECT_EQ(fileSystem().attributes(*fileSystem().openForReading(pathOfX()))->size, 2U);
}

TEST_F(OpenDirectory, IsWhereAnItemIsLookedAt)
{
    EXPECT_EQ(fileSystem().attributes(x())->size, 1U);
    EXPECT_EQ(fileSystem().attributes(pathOfX())->size, 2U);
}

TEST_F(OpenDirectory, IsWhereAnItemIsRemoved)
{
    EXPECT_TRUE(fileSystem().remove(x()));
    EXPECT_FALSE(exists(directory() / "moved/x"));
    EXPECT_EQ(readFile(directory() / "other/x"), "22");
    EXPECT_EQ(fileSystem().remove(x()).error().code, ENOENT);
}

TEST_F(OpenDirectory, IsWhereADirectoryIsRemovedWithAllThatItHolds)
{
    std::filesystem::remove(directory() / "moved/x");
    writeFile(directory() / "moved/x/deep/file", "1");
    EXPECT_TRUE(fileSystem().remove(x()));
    EXPECT_EQ(namesIn(directory() / "moved"), std::vector<std::string> {});
    EXPECT_TRUE(exists(directory() / "other/x"));
}

} // namespace
