// No process can be made: RLIMIT_NPROC, which holds for ordinary users only.

#include "tests/exhaustion/exhaustion_test.h"
#include "tests/support/as_other_user.h"

#include <gtest/gtest.h>

#include <string>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using namespace exhaustion;

class ProcessLimit : public Exhaustion {
protected:
    void SetUp() override
    {
        if (!support::exists(KESTRANE_GIO_COMMAND))
            GTEST_SKIP() << "applications are started by other means here";
        // What the host starts and leaves alone comes to this process.
        ASSERT_EQ(::prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0), 0);
        support::makeFIFO(directory() / "starts");
        support::setPermissions(directory() / "starts", 0666);
        starts_ = support::Descriptor(
            ::open((directory() / "starts").c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC));
        support::writeFile(directory() / "application",
            "#!/bin/sh\necho started >'" + (directory() / "starts") + "'\n", 0700);
        support::writeFile(
            directory() / "data/applications/" KESTRANE_COMPANION_BUNDLE_IDENTIFIER ".desktop",
            "[Desktop Entry]\nType=Application\nName=Application\nExec="
                + (directory() / "application") + "\n");
        support::HostOptions asUser = optionsOfOrdinaryUser();
        asUser.environment.push_back("XDG_DATA_HOME=" + (directory() / "data"));
        asUser.beforeStart = [becomeUser = asUser.beforeStart] {
            if (becomeUser)
                becomeUser();
            rlimit limit {};
            if (::getrlimit(RLIMIT_NPROC, &limit) != 0)
                ::_exit(1);
            limit.rlim_cur = 0; // and the other stays, so that this can be lifted again
            if (::setrlimit(RLIMIT_NPROC, &limit) != 0)
                ::_exit(1);
        };
        startHost(asUser);
        EXPECT_EQ(ask(ping()), liveResponse());
    }

    std::string nextReport() const { return support::readSome(starts_.number(), 8); }

    // Only the host's own user may do this.
    void liftProcessLimit()
    {
        support::asOrdinaryUser([this] { liftLimit(RLIMIT_NPROC); });
    }

    // Waits for whatever was started, and counts it.
    static int startedProcesses()
    {
        int count = 0;
        while (::waitpid(-1, nullptr, 0) > 0)
            ++count;
        return count;
    }

private:
    support::Descriptor starts_;
};

TEST_F(ProcessLimit, OfZeroStartsNothingAndAllElseIsDone)
{
    EXPECT_EQ(ask(request("openMerrowin")), liveResponse());
    EXPECT_EQ(ask(request("openDiagnostics")), liveResponse());
    EXPECT_EQ(ask(activity()), liveResponse());
    expectEndWithTraces(2);
    EXPECT_EQ(startedProcesses(), 0);
}

TEST_F(ProcessLimit, ThatIsLiftedLetsTheApplicationStart)
{
    EXPECT_EQ(ask(request("openMerrowin")), liveResponse());
    liftProcessLimit();
    EXPECT_EQ(ask(request("openMerrowin")), liveResponse());
    EXPECT_EQ(nextReport(), "started\n");
    expectEndWithTraces(1);
    EXPECT_GT(startedProcesses(), 0);
}

} // namespace
