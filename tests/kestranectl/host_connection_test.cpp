#include "kestranectl/host_connection.h"
#include "platform/process.h"
#include "tests/kestranectl/scripted_host.h"
#include "tests/support/environment_variable.h"
#include "tests/support/host_process.h"

#include <gtest/gtest.h>

#include <chrono>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kestranectl {
namespace {

using namespace support;
using std::chrono::milliseconds;
using Texts = std::vector<std::string>;

// For what happens at once: long enough that only a hang is noticed.
constexpr milliseconds longTime = std::chrono::minutes(1);
// For what never happens.
constexpr milliseconds shortTime(20);

class HostConnectionTest : public testing::Test {
protected:
    HostConnectionTest() { platform::ignoreSignalsOfFailedWrites(); }

    // A connection with a host that runs this script.
    HostConnection& connect(
        std::string_view script, milliseconds timeout = longTime, milliseconds timeToEnd = longTime)
    {
        connection_.reset();
        host_.emplace(script);
        options_ = { .hostPath = host_->path(),
            .origin = "chrome-extension://origin/",
            .bridgeDirectory = options_.bridgeDirectory,
            .timeout = timeout,
            .timeToEnd = timeToEnd };
        auto opened = HostConnection::open(options_);
        if (!opened)
            throw std::runtime_error(opened.error());
        return connection_.emplace(std::move(*opened));
    }

    [[nodiscard]] const ScriptedHost& host() const { return *host_; }
    [[nodiscard]] HostConnectionOptions& options() { return options_; }

private:
    HostConnectionOptions options_;
    std::optional<ScriptedHost> host_;
    std::optional<HostConnection> connection_;
};

using HostConnectionOpen = HostConnectionTest;
using HostConnectionAsk = HostConnectionTest;
using HostConnectionClose = HostConnectionTest;

std::string errorOf(const auto& result)
{
    return result ? "none" : result.error();
}

// A command that writes `count` bytes behind a length of `length`.
std::string writingBytes(std::uint32_t length, std::size_t count)
{
    const std::string header = frame(std::string(length, 'x')).substr(0, sizeof length);
    std::string command = "printf '";
    for (const char byte : header) {
        const auto value = static_cast<unsigned char>(byte);
        command += '\\';
        for (const unsigned shift : { 6U, 3U, 0U })
            command += static_cast<char>('0' + (value >> shift & 7U));
    }
    return command + "'; head -c " + std::to_string(count) + " /dev/zero | tr '\\0' x\n";
}

TEST_F(HostConnectionOpen, StartsTheHostAsABrowserDoes)
{
    auto& connection = connect("printf '%s|' \"$0\" \"$@\" >arguments; pwd >place; cat");
    EXPECT_EQ(connection.close(), Texts {});
    EXPECT_EQ(host().left("arguments"), host().path() + "|chrome-extension://origin/|");
    EXPECT_EQ(host().left("place"), host().directory() + '\n');
}

TEST_F(HostConnectionOpen, NamesTheBridgeDirectoryOnlyIfThereIsOne)
{
    const ScopedVariable variable("MERROWIN_BRIDGE_DIR", "/inherited");
    constexpr std::string_view script = "echo \"$MERROWIN_BRIDGE_DIR\" >bridge";
    EXPECT_EQ(connect(script).close(), Texts {});
    EXPECT_EQ(host().left("bridge"), "/inherited\n");
    options().bridgeDirectory = "/given";
    EXPECT_EQ(connect(script).close(), Texts {});
    EXPECT_EQ(host().left("bridge"), "/given\n");
}

TEST_F(HostConnectionOpen, TellsWhyTheHostCannotBeStarted)
{
    EXPECT_EQ(errorOf(HostConnection::open({ .hostPath = "/nonexistent\x1b/host" })),
        "The host /nonexistent\\x1B/host cannot be started: No such file or directory.");
    EXPECT_EQ(errorOf(HostConnection::open({ .hostPath = "/host" })),
        "The host /host cannot be started: No such file or directory.");
}

TEST_F(HostConnectionAsk, SendsAndReadsFrames)
{
    auto& connection = connect(writing("first") + writing("second") + "cat >received");
    EXPECT_EQ(connection.ask("one"), "first");
    EXPECT_EQ(connection.ask("three"), "second");
    EXPECT_EQ(connection.close(), Texts {});
    EXPECT_EQ(host().left("received"), frame("one") + frame("three"));
}

TEST_F(HostConnectionAsk, TakesTheLongestAnswer)
{
    constexpr std::uint32_t longest = HostConnection::maximumAnswerBytes;
    auto& connection = connect(writingBytes(longest, longest) + std::string(readingToEnd));
    EXPECT_EQ(connection.ask("x"), std::string(longest, 'x'));
    EXPECT_EQ(connection.close(), Texts {});
}

TEST_F(HostConnectionAsk, RefusesALongerAnswer)
{
    auto& connection = connect(writingBytes(HostConnection::maximumAnswerBytes + 1, 0));
    EXPECT_EQ(errorOf(connection.ask("x")),
        "The host announced an answer of 1048577 bytes, more than browsers take; \"kestranectl "
        "decode-length 1048577\" says what that may have been.");
}

TEST_F(HostConnectionAsk, RefusesWordsInPlaceOfALength)
{
    EXPECT_NE(errorOf(connect("echo /home").ask("x")).find("answer of 1836017711 bytes"),
        std::string::npos);
}

TEST_F(HostConnectionAsk, RefusesAnEmptyAnswer)
{
    EXPECT_EQ(errorOf(connect(writing("")).ask("x")),
        "The host's answer is empty; browsers drop such answers.");
}

TEST_F(HostConnectionAsk, TellsWhereTheOutputEnds)
{
    constexpr std::string_view without = "The host closed its output without an answer.";
    constexpr std::string_view middle = "The host closed its output in the middle of an answer.";
    EXPECT_EQ(errorOf(connect("true").ask("x")), without);
    EXPECT_EQ(errorOf(connect("exec <&- >&-; read line <gate").ask("x")), without);
    EXPECT_EQ(errorOf(connect("printf abc").ask("x")), middle);
    EXPECT_EQ(errorOf(connect(writingBytes(4, 0)).ask("x")), middle);
    EXPECT_EQ(errorOf(connect(writingBytes(4, 3)).ask("x")), middle);
}

TEST_F(HostConnectionAsk, TellsThatTheAnswerTakesTooLong)
{
    for (const std::string begun : { "", "printf a;", "printf '\\004\\000\\000\\000a';" })
        EXPECT_EQ(errorOf(connect(begun + "read line <gate", shortTime).ask("x")),
            "The host did not answer within 0.02 seconds.");
}

TEST_F(HostConnectionClose, TellsOfOutputThatNobodyAskedFor)
{
    EXPECT_EQ(connect("printf words").close(),
        (Texts { "The host wrote 5 bytes that nobody asked for; browsers take the first four of "
                 "them for a length." }));
}

TEST_F(HostConnectionClose, TellsOfAnotherStatusThanZero)
{
    EXPECT_EQ(connect("exit 3").close(), (Texts { "The host ended with status 3 instead of 0." }));
}

TEST_F(HostConnectionClose, TellsOfASignal)
{
    EXPECT_EQ(connect("kill -9 $$").close(), (Texts { "The host was ended by signal 9." }));
}

TEST_F(HostConnectionClose, TellsOfAnEndThatIsLate)
{
    const Texts late { "The host did not end within 0.02 seconds after its input was closed; "
                       "browsers kill it then, and so was it now." };
    EXPECT_EQ(connect("read line <gate", longTime, shortTime).close(), late);
    EXPECT_EQ(connect("exec cat /dev/zero", longTime, shortTime).close(), late);
}

TEST_F(HostConnectionClose, GivesTheHostAsLongAsBrowsersDo)
{
    EXPECT_EQ(HostConnectionOptions {}.timeToEnd, std::chrono::seconds(2));
}

} // namespace
} // namespace kestranectl
