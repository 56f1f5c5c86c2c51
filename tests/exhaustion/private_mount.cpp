#include "tests/exhaustion/private_mount.h"

#include "tests/support/as_other_user.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include <sched.h>
#include <sys/mount.h>

namespace exhaustion {

std::string enterOwnMountNamespace()
{
    if (!support::isRoot())
        return "only root can mount file systems";
    if (::unshare(CLONE_NEWNS) != 0
        || ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
        return std::string("mounting is not permitted here: ") + std::strerror(errno);
    return {};
}

PrivateMount::PrivateMount(std::string path, const std::string& options)
    : path_(std::move(path))
    , options_("mode=0700" + (options.empty() ? options : ',' + options))
{
    EXPECT_EQ(::mount("none", path_.c_str(), "tmpfs", 0, options_.c_str()), 0)
        << std::strerror(errno);
}

PrivateMount::~PrivateMount()
{
    EXPECT_EQ(::umount2(path_.c_str(), MNT_DETACH), 0) << std::strerror(errno);
}

void PrivateMount::setReadOnly(bool readOnly) const
{
    unsigned long flags = MS_REMOUNT;
    if (readOnly)
        flags |= MS_RDONLY;
    ASSERT_EQ(::mount("none", path_.c_str(), "tmpfs", flags, options_.c_str()), 0)
        << std::strerror(errno);
}

void showAt(const std::string& source, const std::string& path)
{
    ASSERT_EQ(::mount(source.c_str(), path.c_str(), nullptr, MS_BIND | MS_REC, nullptr), 0)
        << source << ": " << std::strerror(errno);
}

void showReadOnlyAt(const std::string& source, const std::string& path)
{
    showAt(source, path);
    ASSERT_EQ(::mount("none", path.c_str(), nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY, nullptr), 0)
        << source << ": " << std::strerror(errno);
}

} // namespace exhaustion
