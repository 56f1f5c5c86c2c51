// Signals. Those of failed writes must not end the host; those that ask a process to end do so, at
// once: whoever sends them takes the end-of-session steps upon himself.

#include "tests/exhaustion/exhaustion_test.h"

#include <gtest/gtest.h>

#include <csignal>

#include <sys/wait.h>

namespace {

using namespace exhaustion;

class Signal : public Exhaustion, public testing::WithParamInterface<int> {
protected:
    Signal()
    {
        support::HostOptions withDefaults = options();
        withDefaults.beforeStart = [] {
            for (const int signal : { SIGTERM, SIGHUP, SIGINT, SIGPIPE, SIGXFSZ })
                std::signal(signal, SIG_DFL);
        };
        startHost(withDefaults);
        EXPECT_EQ(ask(ping()), liveResponse());
    }

    void sendSignal(int signal = GetParam()) { ASSERT_EQ(::kill(host().identifier(), signal), 0); }
};

class SignalOfAFailedWrite : public Signal { };
class SignalToEnd : public Signal { };

TEST_P(SignalOfAFailedWrite, IsIgnored)
{
    sendSignal();
    EXPECT_EQ(ask(activity()), liveResponse());
    expectEndWithTraces(2);
}

INSTANTIATE_TEST_SUITE_P(OfEitherKind, SignalOfAFailedWrite, testing::Values(SIGPIPE, SIGXFSZ));

TEST_P(SignalToEnd, EndsTheHostAtOnceAndLeavesAllAsItIs)
{
    sendSignal();
    const int status = host().wait();
    ASSERT_TRUE(WIFSIGNALED(status)) << status;
    EXPECT_EQ(WTERMSIG(status), GetParam());
    EXPECT_EQ(host().readOutputToEnd(), "");
    EXPECT_EQ(host().standardError(), "");
    EXPECT_EQ(readiness().at("connectionAvailable"), true);
    expectEvents(0);
    expectNothingUnfinished();
    expectNextHostToServe();
}

INSTANTIATE_TEST_SUITE_P(OfEveryKind, SignalToEnd, testing::Values(SIGTERM, SIGHUP, SIGINT));

// SIGTSTP does the same, but only where a shell with job control stands above the test.
class SignalToPause : public Signal { };

TEST_P(SignalToPause, IsGoneOnAfter)
{
    sendSignal();
    int status = 0;
    ASSERT_EQ(::waitpid(host().identifier(), &status, WUNTRACED), host().identifier());
    ASSERT_TRUE(WIFSTOPPED(status));
    send(activity());
    sendSignal(SIGCONT);
    EXPECT_EQ(receive(), liveResponse());
    expectEndWithTraces(2);
}

INSTANTIATE_TEST_SUITE_P(OfOneKind, SignalToPause, testing::Values(SIGSTOP));

// Its memory holds the token and what the user visits. Whether the system writes core files at all
// is asked by the tests of the function that forbids them.
TEST_F(Exhaustion, ThatEndsInAFaultLeavesNoCoreFile)
{
    support::HostOptions withCoreFiles = options();
    withCoreFiles.beforeStart = [] {
        rlimit limit {};
        ::getrlimit(RLIMIT_CORE, &limit);
        limit.rlim_cur = limit.rlim_max;
        ::setrlimit(RLIMIT_CORE, &limit);
        std::signal(SIGQUIT, SIG_DFL);
    };
    startHost(withCoreFiles);
    EXPECT_EQ(ask(activity()), liveResponse());
    ASSERT_EQ(::kill(host().identifier(), SIGQUIT), 0);
    const int status = host().wait();
    ASSERT_TRUE(WIFSIGNALED(status)) << status;
    EXPECT_EQ(WTERMSIG(status), SIGQUIT);
    EXPECT_FALSE(WCOREDUMP(status));
}

} // namespace
