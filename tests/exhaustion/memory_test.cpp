// Address space (RLIMIT_AS) and stack (RLIMIT_STACK). A host that cannot have what it needs ends
// itself: with status 0, without a word, and with nothing unfinished. Where memory does not even
// suffice to load it, the loader says so.

#include "tests/exhaustion/exhaustion_test.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

#include <sys/wait.h>
#include <unistd.h>

namespace {

using namespace exhaustion;

constexpr int couldNotBeLoaded = 127; // by the dynamic loader's convention

class Memory : public Exhaustion {
protected:
    static rlim_t pageSize() { return static_cast<rlim_t>(::sysconf(_SC_PAGESIZE)); }

    support::HostOptions optionsWithLimit(Resource resource, rlim_t limit) const
    {
        support::HostOptions result = options();
        result.beforeStart = [resource, limit] {
            const rlimit both { .rlim_cur = limit, .rlim_max = limit };
            ::setrlimit(resource, &both);
        };
        return result;
    }

    // A session of one event, as far as it gets; whether all of it went as it should. Whatever was
    // answered must be right.
    bool wentWell(const support::HostOptions& options)
    {
        startHost(options);
        for (const object& payload : { ping(), activity() })
            send(payload);
        int answers = 0;
        while (const auto answer = host().readFrame()) {
            EXPECT_EQ(parse(*answer), liveResponse());
            if (++answers == 2)
                host().closeInput();
        }
        host().closeInput();
        status = host().wait();
        return status == 0 && answers == 2;
    }

    // The least address space, in whole pages, with which a session goes well.
    rlim_t leastAddressSpace()
    {
        rlim_t tooLittle = 1;
        rlim_t enough = (rlim_t { 64 } << 20U) / pageSize();
        EXPECT_TRUE(wentWell(optionsWithLimit(RLIMIT_AS, enough * pageSize())));
        while (tooLittle + 1 < enough) {
            const rlim_t middle = tooLittle + (enough - tooLittle) / 2;
            const bool well = wentWell(optionsWithLimit(RLIMIT_AS, middle * pageSize()));
            (well ? enough : tooLittle) = middle;
        }
        return enough;
    }

    // The host, or else the loader, has ended by itself; which of them may be told by the status.
    void expectOrderlyEnd()
    {
        ASSERT_TRUE(WIFEXITED(status)) << "signal " << WTERMSIG(status);
        if (WEXITSTATUS(status) == couldNotBeLoaded)
            return;
        EXPECT_EQ(WEXITSTATUS(status), 0);
#ifndef KESTRANE_COUNTS_COVERAGE // Without memory the counters complain.
        EXPECT_EQ(host().standardError(), "");
#endif
        expectNothingUnfinished();
    }

    // The directory of commands is listed whole, whatever the names are.
    void leaveLongNamesAmongCommands(int count) const
    {
        const std::string padding(200, 'x');
        for (int number = 0; number < count; ++number)
            support::writeFile(pathOf("Commands/" + padding + std::to_string(number)), "");
    }

    int status = -1;
};

TEST_F(Memory, ThatIsNotEnoughEndsTheHostInOrder)
{
    const rlim_t least = leastAddressSpace();
    RecordProperty("leastAddressSpaceInKilobytes", static_cast<int>(least * pageSize() / 1024));
    constexpr rlim_t pages = 128; // down to where the loader fails, and further
    int ownEnds = 0;
    for (rlim_t missing = 0; missing <= pages; ++missing) {
        SCOPED_TRACE(least - missing);
        leaveState(liveState());
        std::ignore = wentWell(optionsWithLimit(RLIMIT_AS, (least - missing) * pageSize()));
        expectOrderlyEnd();
        ownEnds += status == 0 ? 1 : 0;
    }
    EXPECT_GT(ownEnds, 1) << "no host got far enough to end by itself";
    expectNextHostToServe();
}

// What the host has got by then is enough for all that does not grow with the directory.
TEST_F(Memory, ThatCannotGrowAfterTheFirstAnswerIsEnoughForRequestsOfEverySize)
{
    EXPECT_EQ(ask(activity()), liveResponse());
    setLimit(RLIMIT_AS, 0);
    leaveCommand("1.command");
    EXPECT_TRUE(ask(ping()).contains("command"));
    host().sendFrame(paddedTo(16384, ping()));
    EXPECT_EQ(receive(), liveResponse());
    EXPECT_EQ(ask(activity()), liveResponse());
    expectEndWithTraces(3);
}

// A directory of commands can ask for any amount. Wherever in the request the memory ends, the
// host goes without leaving anything unfinished; the browser sees the connection end.
TEST_F(Memory, ThatRunsOutInARequestEndsTheHostInOrder)
{
    constexpr int names = 1000;
    constexpr rlim_t steps = 60;
    const rlim_t least = leastAddressSpace() * pageSize();
    leaveLongNamesAmongCommands(names);
    int answered = 0;
    for (rlim_t step = 0; step < steps; ++step) {
        SCOPED_TRACE(step);
        leaveState(liveState());
        startHost(optionsWithLimit(RLIMIT_AS, least + step * 3 * pageSize()));
        send(activity({}, { { "extensionVersion", "1.0" } }));
        if (const auto answer = host().readFrame()) {
            EXPECT_EQ(parse(*answer).at("accepted"), true);
            ++answered;
        }
        host().closeInput();
        status = host().wait();
        expectOrderlyEnd();
    }
    RecordProperty("answered", answered);
    EXPECT_LT(answered, static_cast<int>(steps)) << "memory was never short";
    EXPECT_GT(answered, 0) << "memory was never enough";
    expectNextHostToServe();
}

class Stack : public Memory { };

// Enough for the deepest JSON that is read, and for the deepest directory that is removed.
TEST_F(Stack, OfAQuarterOfAMegabyteIsEnoughForEverything)
{
    constexpr int deepest = 511;
    std::string path = pathOf("Commands/1.command");
    for (int level = 0; level < deepest; ++level)
        path += "/d";
    support::makeDirectory(path);
    startHost(optionsWithLimit(RLIMIT_STACK, rlim_t { 256 } << 10U));
    EXPECT_EQ(ask(ping()), liveResponse());
    EXPECT_FALSE(support::exists(pathOf("Commands/1.command")));
    std::string deep = boost::json::serialize(ping());
    deep.pop_back();
    deep += R"(,"deep":)" + std::string(deepest, '[') + std::string(deepest, ']') + '}';
    host().sendFrame(deep);
    EXPECT_EQ(receive(), liveResponse());
    EXPECT_EQ(ask(activity()), liveResponse());
    expectEndWithTraces(2);
}

} // namespace
