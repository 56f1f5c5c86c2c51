#include "tests/support/file_cases.h"

#include "tests/support/as_other_user.h"
#include "tests/support/temporary_directory.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <system_error>
#include <tuple>

#include <sys/stat.h>
#include <unistd.h>

namespace support {

namespace {

const char* kindName(mode_t mode)
{
    if (S_ISDIR(mode))
        return "directory";
    if (S_ISREG(mode))
        return "file";
    if (S_ISFIFO(mode))
        return "FIFO";
    return S_ISSOCK(mode) ? "socket" : "device";
}

// Directories that deny access to their owner cannot be cleaned up.
void openDirectories(const std::string& path)
{
    std::ignore = ::chmod(path.c_str(), 0700);
    std::error_code ignored;
    std::filesystem::recursive_directory_iterator entry(path, ignored);
    // An entry is seen before it is entered.
    for (; entry != std::filesystem::recursive_directory_iterator(); entry.increment(ignored)) {
        if (entry->symlink_status(ignored).type() == std::filesystem::file_type::directory)
            std::ignore = ::chmod(entry->path().c_str(), 0700);
    }
}

class CaseDirectory {
public:
    CaseDirectory() = default;
    CaseDirectory(const CaseDirectory&) = delete;
    CaseDirectory& operator=(const CaseDirectory&) = delete;
    ~CaseDirectory() { openDirectories(directory_.path()); }

    [[nodiscard]] const std::string& path() const { return directory_.path(); }

private:
    TemporaryDirectory directory_;
};

void actAndCompare(const FileCase& fileCase, const std::string& directory)
{
    EXPECT_EQ(fileCase.act(directory), fileCase.outcome);
    for (const auto& [name, description] : fileCase.left)
        EXPECT_EQ(describeItem(directory + '/' + name), description) << name;
}

} // namespace

std::string outcome(const platform::FileResult<void>& result)
{
    return result ? "done" : message(result.error());
}

std::string failure(int code)
{
    return message(platform::FileError { code });
}

std::string describeItem(const std::string& path)
{
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0)
        return "absent";
    if (S_ISLNK(status.st_mode))
        return "link";
    std::array<char, 8> permissions {};
    std::ignore = std::snprintf(permissions.data(), permissions.size(), " %04o",
        static_cast<unsigned>(status.st_mode & 07777U));
    std::string text = kindName(status.st_mode);
    text += permissions.data();
    if (S_ISREG(status.st_mode))
        text.append(" ").append(std::to_string(status.st_size)).append(" B");
    return text;
}

void checkCases(const std::vector<FileCase>& cases)
{
    for (const FileCase& fileCase : cases) {
        SCOPED_TRACE(fileCase.name);
        const CaseDirectory directory;
        {
            const ScopedUmask usual(022);
            fileCase.prepare(directory.path());
        }
        const ScopedUmask umask(fileCase.umask);
        actAndCompare(fileCase, directory.path());
    }
}

void checkCasesForEveryone(const std::vector<FileCase>& cases)
{
    checkCases(cases);
    if (isRoot()) {
        SCOPED_TRACE("as an ordinary user");
        checkCasesForOrdinaryUser(cases);
    }
}

void checkCasesForRoot(const std::vector<FileCase>& cases)
{
    if (!isRoot())
        GTEST_SKIP() << "what root may do can only be seen as root";
    checkCases(cases);
}

void checkCasesForOrdinaryUser(const std::vector<FileCase>& cases)
{
    asOrdinaryUser([&cases] { checkCases(cases); });
}

void checkCasesAmongRootsFiles(const std::vector<FileCase>& cases)
{
    if (!isRoot())
        GTEST_SKIP() << "only root can make files of two owners";
    for (const FileCase& fileCase : cases) {
        SCOPED_TRACE(fileCase.name);
        const CaseDirectory directory;
        const ScopedUmask umask(fileCase.umask);
        setPermissions(directory.path(), 0755);
        fileCase.prepare(directory.path());
        asUser(unprivilegedUser,
            [&fileCase, &directory] { actAndCompare(fileCase, directory.path()); });
    }
}

void giveToUnprivilegedUser(const std::string& path)
{
    ASSERT_EQ(::lchown(path.c_str(), unprivilegedUser, unprivilegedUser), 0) << path;
}

} // namespace support
