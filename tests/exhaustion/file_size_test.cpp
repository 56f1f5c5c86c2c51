// Files that may not grow beyond a limit (RLIMIT_FSIZE).

#include "tests/exhaustion/exhaustion_test.h"

#include <gtest/gtest.h>

#include <csignal>
#include <string>

#include <fcntl.h>

namespace {

using namespace exhaustion;

class FileSizeLimit : public Exhaustion {
protected:
    // The signal that comes with such a limit would end the process unless it is ignored.
    support::HostOptions optionsWithDefaultSignals() const
    {
        support::HostOptions result = options();
        result.beforeStart = [] { std::signal(SIGXFSZ, SIG_DFL); };
        return result;
    }

    // How long the record of an event is, give or take the digits of its times.
    std::size_t recordSize()
    {
        startHost(options());
        EXPECT_EQ(ask(activity()), liveResponse());
        const auto names = support::namesIn(pathOf("Inbox"));
        EXPECT_EQ(names.size(), 1U);
        return names.empty() ? 0 : support::readFile(pathOf("Inbox/" + names.front())).size();
    }

    static constexpr std::size_t digits = 32;
};

TEST_F(FileSizeLimit, BelowARecordRefusesTheEventUntilItIsLifted)
{
    const std::size_t size = recordSize();
    ASSERT_GT(size, 2 * digits);
    startHost(optionsWithDefaultSignals());
    EXPECT_EQ(ask(request("nothing")).at("accepted"), false);
    for (const std::size_t limit : { std::size_t { 0 }, std::size_t { 1 }, size - digits }) {
        SCOPED_TRACE(limit);
        setLimit(RLIMIT_FSIZE, limit);
        EXPECT_EQ(ask(activity()), refusal("File too large"));
        expectEvents(1);
        expectNothingUnfinished();
    }
    setLimit(RLIMIT_FSIZE, size + digits);
    EXPECT_EQ(ask(activity()), liveResponse());
    liftLimit(RLIMIT_FSIZE);
    EXPECT_EQ(ask(ping()), liveResponse());
    expectEndWithTraces(3);
}

TEST_F(FileSizeLimit, OfZeroKeepsTheReadinessThatIsThereAndTheHostEndsAllTheSame)
{
    startHost(optionsWithDefaultSignals());
    EXPECT_EQ(ask(ping("1.0")), liveResponse());
    setLimit(RLIMIT_FSIZE, 0);
    EXPECT_EQ(ask(ping("2.0")), liveResponse());
    EXPECT_EQ(readiness().at("extensionVersion"), "1.0");
    expectEnd();
    expectEvents(0);
    expectNothingUnfinished();
    expectNextHostToServe();
}

// The browser's pipe has no size, but a file in its place has.
TEST_F(FileSizeLimit, CutsOutputThatGoesToAFileAndTheHostGoesOnToTheEnd)
{
    const support::Descriptor output(
        ::open((directory() / "output").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
    support::HostOptions toFile = optionsWithDefaultSignals();
    toFile.standardOutput = output.number();
    startHost(toFile);
    setLimit(RLIMIT_FSIZE, 10);
    send(ping());
    send(ping());
    expectEnd();
    EXPECT_EQ(support::readFile(directory() / "output").size(), 10U);
    expectNothingUnfinished();
}

} // namespace
