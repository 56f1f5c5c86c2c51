#include "tests/bridge/bridge_directory.h"
#include "tests/support/environment_variable.h"

#include <optional>
#include <string>

namespace bridge {

namespace {

// Knows a home directory and nothing else: finding the root must not touch the disk.
class HomeDirectoryOnly final : public platform::FileSystem {
public:
    [[nodiscard]] std::string homeDirectoryForCurrentUser() const override
    {
        return "/home/of-the-system";
    }

    [[nodiscard]] platform::FileResult<platform::OpenFile> openForReading(
        const platform::Location&) const override
    {
        return touched();
    }
    [[nodiscard]] platform::FileResult<platform::OpenFile> createFile(
        const std::string&) const override
    {
        return touched();
    }
    [[nodiscard]] platform::FileResult<platform::FileAttributes> attributes(
        const platform::OpenFile&) const override
    {
        return touched();
    }
    [[nodiscard]] platform::FileResult<platform::FileAttributes> attributes(
        const platform::Location&) const override
    {
        return touched();
    }
    [[nodiscard]] platform::FileResult<std::size_t> read(
        const platform::OpenFile&, std::span<char>) const override
    {
        return touched();
    }
    [[nodiscard]] platform::FileResult<void> write(
        const platform::OpenFile&, std::string_view) const override
    {
        return touched();
    }
    [[nodiscard]] platform::FileResult<void> setPermissions(
        const platform::OpenFile&, unsigned) const override
    {
        return touched();
    }
    [[nodiscard]] platform::FileResult<void> setDirectoryPermissions(
        const std::string&, unsigned) const override
    {
        return touched();
    }
    [[nodiscard]] platform::FileResult<void> createDirectories(
        const std::string&, unsigned) const override
    {
        return touched();
    }
    [[nodiscard]] platform::FileResult<void> rename(
        const std::string&, const std::string&) const override
    {
        return touched();
    }
    [[nodiscard]] platform::FileResult<platform::DirectoryListing> visibleNames(
        const std::string&) const override
    {
        return touched();
    }
    [[nodiscard]] platform::FileResult<void> remove(const platform::Location&) const override
    {
        return touched();
    }
    void close(int) const override { ADD_FAILURE() << "the disk was touched"; }

private:
    static std::unexpected<platform::FileError> touched()
    {
        ADD_FAILURE() << "the disk was touched";
        return std::unexpected(platform::FileError { ENOSYS });
    }
};

using Answer = std::optional<std::string>;

Answer unset(const char*)
{
    return std::nullopt;
}

Answer noHome()
{
    return std::nullopt;
}

Answer userHome()
{
    return "/home/of-the-user";
}

// An environment in which the bridge directory's variable alone is set, to this value.
const char* variableValue = "";

Answer variableOnly(const char* name)
{
    return std::string_view(name) == "MERROWIN_BRIDGE_DIR" ? Answer(variableValue) : std::nullopt;
}

std::string rootFromVariable(const char* value)
{
    variableValue = value;
    return BrowserBridgeStore::defaultRootURL(
        HomeDirectoryOnly(), { .variable = variableOnly, .passwordDatabaseHome = userHome });
}

} // namespace

TEST(DefaultRootURL, IsTheVariableAsItStands)
{
    for (const char* const value : { "/tmp/x", "/tmp/x/", "/tmp//x/../y", "relative/path", ".", "~",
             "~/bridge", " ", "/tmp/\u00E9 x\n" })
        EXPECT_EQ(rootFromVariable(value), value);
}

TEST(DefaultRootURL, TakesAnEmptyVariableForUnset)
{
    EXPECT_EQ(rootFromVariable(""),
        "/home/of-the-user/Library/Application Support/Merrowin/BrowserBridge");
}

TEST(DefaultRootURL, LiesInTheHomeOfThePasswordDatabase)
{
    EXPECT_EQ(BrowserBridgeStore::defaultRootURL(
                  HomeDirectoryOnly(), { .variable = unset, .passwordDatabaseHome = userHome }),
        "/home/of-the-user/Library/Application Support/Merrowin/BrowserBridge");
}

TEST(DefaultRootURL, LiesInTheFileSystemsHomeWithoutAPasswordEntry)
{
    EXPECT_EQ(BrowserBridgeStore::defaultRootURL(
                  HomeDirectoryOnly(), { .variable = unset, .passwordDatabaseHome = noHome }),
        "/home/of-the-system/Library/Application Support/Merrowin/BrowserBridge");
}

TEST(DefaultRootURL, DoublesNoSlashAfterTheHome)
{
    const auto homeWithSlash = []() -> Answer { return "/root/"; };
    EXPECT_EQ(BrowserBridgeStore::defaultRootURL(HomeDirectoryOnly(),
                  { .variable = unset, .passwordDatabaseHome = homeWithSlash }),
        "/root/Library/Application Support/Merrowin/BrowserBridge");
}

TEST(DefaultRootURL, ReadsTheEnvironmentOfTheProcess)
{
    const support::ScopedVariable variable("MERROWIN_BRIDGE_DIR", "/tmp/x");
    EXPECT_EQ(BrowserBridgeStore::defaultRootURL(HomeDirectoryOnly()), "/tmp/x");
}

TEST(DefaultRootURL, TakesAnEmptyVariableOfTheProcessForUnset)
{
    const auto rootWith = [](const std::optional<std::string>& value) {
        const support::ScopedVariable variable("MERROWIN_BRIDGE_DIR", value);
        return BrowserBridgeStore::defaultRootURL(HomeDirectoryOnly());
    };
    EXPECT_EQ(rootWith(""), rootWith(std::nullopt));
    EXPECT_TRUE(rootWith("").ends_with("/Library/Application Support/Merrowin/BrowserBridge"));
}

TEST(BrowserBridgeStore, WorksBelowARootWithATrailingSlash)
{
    const BridgeDirectory bridge;
    support::writeToken(bridge.path());
    const BrowserBridgeStore store { bridge.path() + '/' };
    EXPECT_EQ(store.readToken(bridge.fileSystem), support::validToken);
}

TEST(AppendingPathComponent, PutsOneSlashBetween)
{
    EXPECT_EQ(appendingPathComponent("/a", "b"), "/a/b");
    EXPECT_EQ(appendingPathComponent("/a/", "b"), "/a/b");
    EXPECT_EQ(appendingPathComponent("/", "b"), "/b");
    EXPECT_EQ(appendingPathComponent("a", "b/c"), "a/b/c");
    EXPECT_EQ(appendingPathComponent("", "b"), "b"); // in the working directory, not in the root
}

} // namespace bridge
