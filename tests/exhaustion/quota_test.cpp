// A user whose share of the file system is used up. Quotas need a file system, a kernel and tools
// that few machines have, so the kernel is told to answer the host as a file system with quotas
// does: what would take room fails with EDQUOT. That it has room again is shown by the next host.

#include "tests/exhaustion/exhaustion_test.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include <fcntl.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

using namespace exhaustion;

using Program = std::vector<sock_filter>;

constexpr sock_filter statement(unsigned code, unsigned value)
{
    return { static_cast<unsigned short>(code), 0, 0, value };
}

// Goes on with the next instruction if the comparison holds, otherwise passes over `skipped`.
constexpr sock_filter unlessSkip(unsigned comparison, unsigned value, unsigned char skipped)
{
    return { static_cast<unsigned short>(BPF_JMP | comparison | BPF_K), 0, skipped, value };
}

constexpr sock_filter load(std::size_t offset)
{
    return statement(BPF_LD | BPF_W | BPF_ABS, static_cast<unsigned>(offset));
}

constexpr std::size_t callNumber = offsetof(seccomp_data, nr);
// The lower half of an argument, on machines whose byte order the frames have.
constexpr std::size_t argument(std::size_t index)
{
    return offsetof(seccomp_data, args) + index * sizeof(__u64);
}

constexpr sock_filter quotaExceeded
    = statement(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | static_cast<unsigned>(EDQUOT));
constexpr sock_filter allowed = statement(BPF_RET | BPF_K, SECCOMP_RET_ALLOW);

Program refusingDirectories()
{
    return { load(callNumber),
#ifdef SYS_mkdir
        unlessSkip(BPF_JEQ, SYS_mkdir, 1), quotaExceeded,
#endif
        unlessSkip(BPF_JEQ, SYS_mkdirat, 1), quotaExceeded, allowed };
}

Program refusingFiles()
{
    return { load(callNumber), unlessSkip(BPF_JEQ, SYS_openat, 3), load(argument(2)),
        unlessSkip(BPF_JSET, O_CREAT, 1), quotaExceeded, allowed };
}

// Files are opened above the standard streams.
Program refusingContents()
{
    return { load(callNumber), unlessSkip(BPF_JEQ, SYS_write, 3), load(argument(0)),
        unlessSkip(BPF_JGT, STDERR_FILENO, 1), quotaExceeded, allowed };
}

// By what is refused.
const std::map<std::string, Program (*)()> programs {
    { "directories", refusingDirectories },
    { "files", refusingFiles },
    { "contents", refusingContents },
};

class Quota : public Exhaustion, public testing::WithParamInterface<std::string> {
protected:
    support::HostOptions optionsWithoutQuota()
    {
        program_ = programs.at(GetParam())();
        support::HostOptions result = options();
        result.beforeStart = [this] {
            const sock_fprog filter { static_cast<unsigned short>(program_.size()),
                program_.data() };
            if (::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0
                || ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) != 0)
                ::_exit(1);
        };
        return result;
    }

private:
    Program program_;
};

TEST_P(Quota, UsedUpRefusesEventsAndLeavesNothingUnfinished)
{
    startHost(optionsWithoutQuota());
    for (int requests = 0; requests < 2; ++requests)
        EXPECT_EQ(
            ask(activity({}, { { "extensionVersion", "1.0" } })), refusal("Disk quota exceeded"));
    EXPECT_EQ(ask(ping()), liveResponse());
    expectEnd();
    expectEvents(0);
    EXPECT_TRUE(readiness().empty());
    expectNothingUnfinished();
    expectNextHostToServe();
}

INSTANTIATE_TEST_SUITE_P(
    ForAllThatTakesRoom, Quota, testing::Values("directories", "files", "contents"));

} // namespace
