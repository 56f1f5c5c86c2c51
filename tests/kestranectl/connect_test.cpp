#include "host/host_constants.h"
#include "kestranectl/connect.h"
#include "platform/process.h"
#include "tests/kestranectl/recorded_console.h"
#include "tests/kestranectl/scripted_host.h"
#include "tests/support/as_other_user.h"
#include "tests/support/host_process.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <unistd.h>

namespace kestranectl {
namespace {

using namespace support;
using Texts = std::vector<std::string>;

constexpr std::string_view accepted = "{\"accepted\":true}";
constexpr std::string_view refused = "{\"accepted\":false,\"error\":\"No.\"}";
constexpr int noInput = -1;

class ConnectTest : public testing::Test, protected RecordedConsole {
protected:
    ConnectTest() { platform::ignoreSignalsOfFailedWrites(); }

    ExitStatus run(std::string_view script, const Texts& requests, int input = noInput)
    {
        host_.emplace(script);
        options.hostPath = host_->path();
        options.requests = requests;
        return runConnect(options, console(), input);
    }

    // The same, with the lines on standard input.
    ExitStatus runWithInput(std::string_view script, std::string_view lines)
    {
        Pipe input;
        EXPECT_EQ(::write(input.writeEnd.number(), lines.data(), lines.size()),
            static_cast<ssize_t>(lines.size()));
        input.writeEnd.close();
        return run(script, {}, input.readEnd.number());
    }

    [[nodiscard]] const ScriptedHost& host() const { return *host_; }

    ConnectOptions options { .timeout = 60 };

private:
    std::optional<ScriptedHost> host_;
};

using RunConnect = ConnectTest;

std::string repeated(std::string_view answer, int count, std::string_view end = readingToEnd)
{
    std::string script;
    for (int i = 0; i < count; ++i)
        script += writing(answer);
    return script + std::string(end);
}

// JSON of exactly that many bytes.
std::string requestOf(std::size_t size)
{
    return "{\"a\":\"" + std::string(size - 8, 'x') + "\"}";
}

TEST_F(RunConnect, PrintsEachAnswerAsOneLine)
{
    EXPECT_EQ(run(repeated(accepted, 2), { "ping", "{}" }), ExitStatus::success);
    EXPECT_EQ(output, "{\"accepted\":true}\n{\"accepted\":true}\n");
    EXPECT_EQ(error, "");
}

TEST_F(RunConnect, SendsTheBytesOfJsonAsTheyStand)
{
    EXPECT_EQ(run(repeated(accepted, 1, "cat >received"), { "{ \"a\":\xFF" }), ExitStatus::success);
    EXPECT_EQ(host().left("received"), frame("{ \"a\":\xFF"));
}

TEST_F(RunConnect, ShowsAnswersSoThatATerminalDoesNothing)
{
    EXPECT_EQ(run(repeated("{\"accepted\":true}\n\x1b[31m", 1), { "ping" }), ExitStatus::problem);
    EXPECT_EQ(output, "{\"accepted\":true}\\x0A\\x1B[31m\n");
}

TEST_F(RunConnect, TellsOfRequestsThatAreNotAcceptedAndGoesOn)
{
    const std::string script = writing(refused) + writing(accepted)
        + repeated("{\"accepted\":false,\"error\":\"\\u001b\"}", 1);
    EXPECT_EQ(run(script, { "ping", "ping", "ping" }), ExitStatus::problem);
    EXPECT_EQ(error,
        "kestranectl: Request 1: Not accepted: No.\n"
        "kestranectl: Request 3: Not accepted: \\x1B\n");
    EXPECT_EQ(output.substr(output.find('\n') + 1, accepted.size()), accepted);
}

TEST_F(RunConnect, TellsOfAnswersThatAreNone)
{
    for (const std::string_view answer : { "words", "[]", "{}", "{\"accepted\":1}" }) {
        error.clear();
        EXPECT_EQ(run(repeated(answer, 1), { "ping" }), ExitStatus::problem);
        EXPECT_TRUE(error.starts_with("kestranectl: Request 1: This is no answer of the host: "))
            << error;
    }
}

TEST_F(RunConnect, TellsOfAnswersAboveTheHostsOwnLimit)
{
    const auto answerOf = [](std::size_t size) {
        return std::string(accepted) + std::string(size - accepted.size(), ' ');
    };
    EXPECT_EQ(
        run(repeated(answerOf(host::maximumMessageBytes), 1), { "ping" }), ExitStatus::success);
    EXPECT_EQ(error, "");
    EXPECT_EQ(
        run(repeated(answerOf(host::maximumMessageBytes + 1), 1), { "ping" }), ExitStatus::problem);
    EXPECT_EQ(error,
        "kestranectl: Request 1: The answer has 16385 bytes, more than the host's own limit of "
        "16384.\n");
}

TEST_F(RunConnect, RefusesToSendARequestThatWouldEndTheHost)
{
    EXPECT_EQ(
        run(repeated(accepted, 1, "cat >received"),
            { requestOf(host::maximumMessageBytes + 1), requestOf(host::maximumMessageBytes) }),
        ExitStatus::problem);
    EXPECT_EQ(host().left("received"), frame(requestOf(host::maximumMessageBytes)));
    EXPECT_EQ(error,
        "kestranectl: Request 1: It is not sent, because it has more than 16384 bytes; the host "
        "would end without an answer.\n");
}

TEST_F(RunConnect, StopsAtAMissingAnswerAndTellsTheEndAsWell)
{
    EXPECT_EQ(run(writing(accepted) + "exit 4", { "ping", "ping", "ping" }), ExitStatus::problem);
    EXPECT_EQ(output, "{\"accepted\":true}\n");
    EXPECT_EQ(error,
        "kestranectl: Request 2: The host closed its output without an answer.\n"
        "kestranectl: The host ended with status 4 instead of 0.\n");
}

TEST_F(RunConnect, WaitsForAnAnswerAsLongAsItIsTold)
{
    options.timeout = 0.0201;
    EXPECT_EQ(run(readingToEnd, { "ping" }), ExitStatus::problem);
    EXPECT_EQ(error, "kestranectl: Request 1: The host did not answer within 0.021 seconds.\n");
}

TEST_F(RunConnect, ReadsRequestsFromItsInputWhereNoneAreGiven)
{
    EXPECT_EQ(
        runWithInput(repeated(accepted, 2, "cat >received"), "{}\n\n{ }"), ExitStatus::success);
    EXPECT_EQ(host().left("received"), frame("{}") + frame("{ }"));
    EXPECT_EQ(output, "{\"accepted\":true}\n{\"accepted\":true}\n");
}

TEST_F(RunConnect, PassesOverLinesThatAreNoRequest)
{
    EXPECT_EQ(runWithInput(repeated(accepted, 1, "cat >received"),
                  "pong\n" + requestOf(host::maximumMessageBytes + 1) + "\n{}\n"),
        ExitStatus::problem);
    EXPECT_EQ(host().left("received"), frame("{}"));
    EXPECT_EQ(error,
        "kestranectl: Request 1: \"pong\" is no request; use a JSON object, ping, open, "
        "diagnostics, pause, resume, active or activity=HOST.\n"
        "kestranectl: Request 2: It is not sent, because it has more than 16384 bytes; the host "
        "would end without an answer.\n");
}

TEST_F(RunConnect, AnswersALineBeforeItReadsTheNext)
{
    Pipe input;
    ASSERT_EQ(::write(input.writeEnd.number(), "ping\n", 5), 5);
    // The next line, and then the end, come when the answer was seen.
    int answers = 0;
    const Console eager { .output =
                              [&](std::string_view) {
                                  if (++answers == 1)
                                      EXPECT_EQ(::write(input.writeEnd.number(), "{}\n", 3), 3);
                                  else
                                      input.writeEnd.close();
                              },
        .error = [this](std::string_view text) { error += text; } };
    const ScriptedHost host(repeated(accepted, 2));
    EXPECT_EQ(runConnect({ .hostPath = host.path() }, eager, input.readEnd.number()),
        ExitStatus::success);
    EXPECT_EQ(answers, 2);
    EXPECT_EQ(error, "");
}

TEST_F(RunConnect, StartsAndEndsTheHostAlsoWithoutARequest)
{
    EXPECT_EQ(runWithInput("exit 5", ""), ExitStatus::problem);
    EXPECT_EQ(error, "kestranectl: The host ended with status 5 instead of 0.\n");
}

TEST_F(RunConnect, TellsTheHostWhoStartsIt)
{
    constexpr std::string_view script = "echo \"$1\" >origin";
    EXPECT_EQ(runWithInput(script, ""), ExitStatus::success);
    EXPECT_EQ(host().left("origin"), "chrome-extension://" + std::string(32, 'a') + "/\n");
    options.extensionIdentifier = std::string(31, 'p') + 'b';
    EXPECT_EQ(runWithInput(script, ""), ExitStatus::success);
    EXPECT_EQ(host().left("origin"), "chrome-extension://" + options.extensionIdentifier + "/\n");
}

TEST_F(RunConnect, UnderstandsPathsFromWhereItIs)
{
    const ScriptedHost host("printf '%s|' \"$0\" \"$MERROWIN_BRIDGE_DIR\" >paths");
    inChildProcess([this, &host] {
        ASSERT_EQ(::chdir(host.directory().c_str()), 0);
        EXPECT_EQ(
            runConnect({ .hostPath = "host", .bridgeDirectory = "bridge" }, console(), noInput),
            ExitStatus::success);
    });
    EXPECT_EQ(host.left("paths"), host.path() + '|' + host.directory() + "/bridge|");
}

TEST_F(RunConnect, TellsThatThereIsNoHost)
{
    // Beside the test program there is none.
    EXPECT_EQ(runConnect({}, console(), noInput), ExitStatus::problem);
    EXPECT_EQ(error,
        "kestranectl: There is no host beside this tool; say where it is with --host PATH.\n");
    error.clear();
    EXPECT_EQ(
        runConnect({ .hostPath = "/nonexistent/host" }, console(), noInput), ExitStatus::problem);
    EXPECT_EQ(error,
        "kestranectl: The host /nonexistent/host cannot be started: No such file or directory.\n");
}

TEST_F(RunConnect, StartsNothingWhereTheCommandLineMakesNoSense)
{
    EXPECT_EQ(run("touch started", { "ping", "pong\x1b" }), ExitStatus::usage);
    EXPECT_EQ(error,
        "kestranectl: \"pong\\x1B\" is no request; use a JSON object, ping, open, diagnostics, "
        "pause, resume, active or activity=HOST.\n");
    EXPECT_FALSE(exists(host().directory() + "/started"));
    error.clear();
    for (const std::string& identifier :
        { std::string(31, 'a'), std::string(33, 'a'), std::string(31, 'a') + 'q' }) {
        options.extensionIdentifier = identifier;
        EXPECT_EQ(run("touch started", { "ping" }), ExitStatus::usage);
        EXPECT_TRUE(error.ends_with(
            "is no extension identifier: those are 32 letters from \"a\" to \"p\".\n"));
        EXPECT_FALSE(exists(host().directory() + "/started"));
    }
}

} // namespace
} // namespace kestranectl
