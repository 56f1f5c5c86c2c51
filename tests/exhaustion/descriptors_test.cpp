// Open files (RLIMIT_NOFILE). Three are the standard streams, and the host never needs more than
// two besides, the command directory and a file in it: whoever starts it with five has everything,
// with four everything but commands. Emptying a directory that stands where a command is expected
// takes one for each level.

#include "tests/exhaustion/exhaustion_test.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include <sys/wait.h>
#include <unistd.h>

namespace {

using namespace exhaustion;

constexpr rlim_t standardStreams = 3;
constexpr rlim_t enoughForEverything = standardStreams + 2;

class DescriptorLimit : public Exhaustion {
protected:
    // Whoever runs the tests may leave descriptors open to every program.
    support::HostOptions optionsWithStreamsAlone() const
    {
        support::HostOptions result = options();
        result.beforeStart = [] { ::closefrom(STDERR_FILENO + 1); };
        return result;
    }

    support::HostOptions optionsWithLimit(rlim_t limit) const
    {
        support::HostOptions result = options();
        result.beforeStart = [limit] {
            ::closefrom(STDERR_FILENO + 1);
            const rlimit both { .rlim_cur = limit, .rlim_max = limit };
            ::setrlimit(RLIMIT_NOFILE, &both);
        };
        return result;
    }

    // Directories within each other, the first of them in the place of a command.
    void leaveDirectories(int levels) const
    {
        std::string path = pathOf("Commands/1.command");
        for (int level = 0; level < levels; ++level)
            path += "/d";
        support::makeDirectory(path);
    }
};

// The loader cannot open the libraries; the host itself has not begun.
TEST_F(DescriptorLimit, OfTheStandardStreamsAloneLetsNothingStart)
{
    for (rlim_t limit = 0; limit <= standardStreams; ++limit) {
        SCOPED_TRACE(limit);
        startHost(optionsWithLimit(limit));
        EXPECT_EQ(host().readOutputToEnd(), "");
        const int status = host().wait();
        EXPECT_TRUE(WIFEXITED(status)) << status;
        EXPECT_NE(status, 0);
        EXPECT_EQ(namesMadeByHost(), std::vector<std::string> {});
    }
}

// A command that cannot be read is deleted, whatever the reason.
TEST_F(DescriptorLimit, OfFourIsEnoughForEverythingButCommands)
{
    leavePreferences(true);
    leaveCommand("2.command");
    startHost(optionsWithLimit(enoughForEverything - 1));
    const object first = ask(activity({}, { { "extensionVersion", "1.0" } }));
    EXPECT_EQ(first.at("accepted"), true);
    EXPECT_EQ(first.at("filenameLabelsEnabled"), true);
    EXPECT_FALSE(first.contains("command"));
    EXPECT_EQ(support::namesIn(pathOf("Commands")), std::vector<std::string> {});
    expectEndWithTraces(2);
}

TEST_F(DescriptorLimit, OfFiveIsEnoughForEverythingAndSoIsEveryOther)
{
    std::size_t events = 0;
    for (rlim_t limit = enoughForEverything; limit < enoughForEverything + 8; ++limit) {
        SCOPED_TRACE(limit);
        leaveState(liveState());
        leavePreferences(true);
        leaveCommand("2.command");
        leaveDirectories(1);
        startHost(optionsWithLimit(limit));
        const object first = ask(activity({}, { { "extensionVersion", "1.0" } }));
        EXPECT_EQ(first.at("accepted"), true);
        EXPECT_EQ(first.at("filenameLabelsEnabled"), true);
        EXPECT_TRUE(first.contains("command"));
        EXPECT_EQ(support::namesIn(pathOf("Commands")), std::vector<std::string> {});
        EXPECT_EQ(
            ask(request("trackingPauseChanged", { { "paused", true } })).at("accepted"), true);
        EXPECT_EQ(ask(request("openMerrowin")).at("accepted"), true);
        events += 3;
        expectEndWithTraces(events);
    }
}

TEST_F(DescriptorLimit, LeavesDirectoriesThatAreTooDeepWhereCommandsAreExpected)
{
    for (int levels = 1; levels < 4; ++levels) {
        SCOPED_TRACE(levels);
        leaveDirectories(levels);
        const rlim_t needed = standardStreams + 1 + static_cast<rlim_t>(levels);
        if (needed > enoughForEverything) {
            startHost(optionsWithLimit(needed - 1));
            EXPECT_EQ(ask(ping()), liveResponse());
            EXPECT_TRUE(support::exists(pathOf("Commands/1.command")));
            EXPECT_EQ(ask(activity()), liveResponse());
        }
        startHost(optionsWithLimit(needed));
        EXPECT_EQ(ask(ping()), liveResponse());
        EXPECT_FALSE(support::exists(pathOf("Commands/1.command")));
        expectEnd();
    }
}

// Nothing can be read, so there is no application; nothing is examined, so nothing is deleted.
TEST_F(DescriptorLimit, ThatFallsToTheStandardStreamsStopsAllButTheAnswersUntilItIsLifted)
{
    startHost(optionsWithStreamsAlone());
    EXPECT_EQ(ask(ping()), liveResponse());
    leaveCommand("1.command");
    leavePreferences(true);
    for (rlim_t limit = 0; limit <= standardStreams; ++limit) {
        SCOPED_TRACE(limit);
        setLimit(RLIMIT_NOFILE, limit);
        EXPECT_EQ(ask(activity()), response({ { "error", text(applicationNotRunning) } }));
        EXPECT_EQ(ask(ping("2.0")), response({ { "accepted", true } }));
        EXPECT_EQ(ask(request("openMerrowin")), response({ { "accepted", true } }));
        EXPECT_EQ(readiness().at("extensionVersion"), "1.0.0");
        EXPECT_TRUE(support::exists(pathOf("Commands/1.command")));
        expectEvents(0);
    }
    setLimit(RLIMIT_NOFILE, enoughForEverything);
    const object answer = ask(activity());
    EXPECT_EQ(answer.at("accepted"), true);
    EXPECT_TRUE(answer.contains("command"));
    expectEndWithTraces(2);
    EXPECT_EQ(readiness().at("extensionVersion"), "2.0");
}

// A file that would get the number of a stream that was closed is moved above them.
TEST_F(DescriptorLimit, LeavesRoomAboveStreamsThatAreClosed)
{
    support::HostOptions withoutError = optionsWithLimit(enoughForEverything);
    withoutError.standardError = support::HostOptions::closedStream;
    startHost(withoutError);
    EXPECT_EQ(ask(ping()), liveResponse());
    EXPECT_EQ(ask(activity()), liveResponse());
    expectEndWithTraces(2);
    expectNextHostToServe();
}

} // namespace
