#include "tests/support/temporary_directory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace support {

TemporaryDirectory::TemporaryDirectory()
    : path_((std::filesystem::temp_directory_path() / "kestrane-test-XXXXXX").string())
{
    if (::mkdtemp(path_.data()) == nullptr)
        ADD_FAILURE() << "no temporary directory: " << std::strerror(errno);
}

TemporaryDirectory::~TemporaryDirectory()
{
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

std::string TemporaryDirectory::operator/(std::string_view name) const
{
    return path_ + '/' + std::string(name);
}

void writeFile(const std::string& path, std::string_view contents, unsigned permissions)
{
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    {
        std::ofstream stream(path, std::ios::binary | std::ios::trunc);
        stream.write(contents.data(), static_cast<std::streamsize>(contents.size()));
        ASSERT_TRUE(stream.flush()) << path;
    }
    setPermissions(path, permissions);
}

std::string readFile(const std::string& path)
{
    std::ifstream stream(path, std::ios::binary);
    EXPECT_TRUE(stream) << path;
    return { std::istreambuf_iterator<char>(stream), {} };
}

void makeDirectory(const std::string& path, unsigned permissions)
{
    std::filesystem::create_directories(path);
    setPermissions(path, permissions);
}

void makeSymbolicLink(const std::string& target, const std::string& path)
{
    ASSERT_EQ(::symlink(target.c_str(), path.c_str()), 0) << path;
}

void makeFIFO(const std::string& path)
{
    ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0) << path;
}

void makeSocket(const std::string& path)
{
    sockaddr_un address {};
    address.sun_family = AF_UNIX;
    ASSERT_LT(path.size(), sizeof address.sun_path) << path;
    path.copy(static_cast<char*>(address.sun_path), path.size());
    const int descriptor = ::socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_GE(descriptor, 0);
    const auto* const pointer = static_cast<const void*>(&address);
    EXPECT_EQ(::bind(descriptor, static_cast<const sockaddr*>(pointer), sizeof address), 0) << path;
    ::close(descriptor);
}

bool exists(const std::string& path)
{
    struct stat status {};
    return ::lstat(path.c_str(), &status) == 0;
}

unsigned permissionsOf(const std::string& path)
{
    struct stat status {};
    EXPECT_EQ(::lstat(path.c_str(), &status), 0) << path;
    return status.st_mode & 07777U;
}

void setPermissions(const std::string& path, unsigned permissions)
{
    ASSERT_EQ(::chmod(path.c_str(), static_cast<mode_t>(permissions)), 0) << path;
}

std::vector<std::string> namesIn(const std::string& path)
{
    std::vector<std::string> names;
    std::error_code ignored;
    for (const auto& entry : std::filesystem::directory_iterator(path, ignored))
        names.push_back(entry.path().filename().string());
    std::ranges::sort(names);
    return names;
}

ScopedUmask::ScopedUmask(unsigned mask)
    : previous_(::umask(static_cast<mode_t>(mask)))
{
}

ScopedUmask::~ScopedUmask()
{
    ::umask(static_cast<mode_t>(previous_));
}

} // namespace support
