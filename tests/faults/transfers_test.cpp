// Reading and writing by bits: what comes in pieces, what is taken in pieces, what is interrupted
// and what would block.

#include "tests/faults/consequences.h"
#include "tests/faults/conversations.h"
#include "tests/faults/traced_session.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace faults {
namespace {

std::string textOf(const object& json)
{
    return boost::json::serialize(json);
}

std::string readExactly(int descriptor, std::size_t count)
{
    std::string bytes;
    while (bytes.size() < count) {
        const std::string piece = support::readSome(descriptor, count - bytes.size());
        if (piece.empty())
            break;
        bytes += piece;
    }
    return bytes;
}

std::string readPayload(int descriptor)
{
    std::uint32_t length = 0;
    const std::string header = readExactly(descriptor, sizeof length);
    std::memcpy(&length, header.data(), std::min(header.size(), sizeof length));
    return readExactly(descriptor, length);
}

void setNotToBlock(int descriptor)
{
    ASSERT_EQ(::fcntl(descriptor, F_SETFL, O_NONBLOCK), 0) << std::strerror(errno);
}

// Waits until so many calls would have blocked; a host that never makes them fails the test.
bool awaitBlocking(const TracedSession& session, std::ptrdiff_t count)
{
    constexpr int attempts = 6000;
    constexpr int milliseconds = 10;
    for (int attempt = 0; attempt < attempts; ++attempt) {
        if (support::exists(session.logPath())
            && std::ranges::count(session.callsUntilNow(), "EAGAIN", &Call::error) >= count)
            return true;
        ::poll(nullptr, 0, milliseconds);
    }
    return false;
}

std::ptrdiff_t countOf(const Calls& calls, std::string_view name)
{
    return std::ranges::count(calls, name, &Call::name);
}

class Transfers : public testing::Test {
protected:
    void SetUp() override
    {
        if (const std::string reason = reasonNotToTrace(); !reason.empty())
            GTEST_SKIP() << reason;
    }

    // A session without pauses and without faults; the same for all.
    static Outcome wholeSession(const Kind& kind)
    {
        TracedSession session(kind.conversation, {});
        return session.runWithoutPauses();
    }

    static Calls callsAbout(const Calls& calls, std::string_view item)
    {
        Calls chosen;
        std::ranges::copy_if(calls, std::back_inserter(chosen), [item](const Call& call) {
            return call.item == item && (call.name == "read" || call.name == "write");
        });
        return chosen;
    }

    static std::string at(const Call& call) { return ":when=" + std::to_string(call.ordinal); }
};

TEST_F(Transfers, ARequestThatComesByteByByteIsReadByteByByte)
{
    const Kind& kind = kindNamed("resume");
    TracedSession session(kind.conversation, {});
    // A read of such a pipe never yields more than one write.
    std::array<int, 2> ends {};
    ASSERT_EQ(::pipe2(ends.data(), O_CLOEXEC | O_DIRECT), 0) << std::strerror(errno);
    support::Descriptor input(ends[0]);
    support::Descriptor browser(ends[1]);
    support::HostOptions options = session.tracedOptions();
    options.standardInput = input.number();
    session.startHost(options);
    input.close();

    const std::string bytes = support::frame(textOf(kind.conversation.request()));
    for (const char byte : bytes)
        ASSERT_EQ(::write(browser.number(), &byte, 1), 1) << std::strerror(errno);
    const auto answer = session.host().readFrame();
    ASSERT_TRUE(answer);
    EXPECT_EQ(end_to_end::parse(*answer), kind.answer);
    browser.close();
    const Calls calls = session.end();
    EXPECT_EQ(callsAbout(calls, "input").size(), bytes.size() + 1);
}

TEST_F(Transfers, WhatAShortWriteLeavesOfAnAnswerIsWrittenNext)
{
    const Kind& kind = kindNamed("resume");
    const Outcome whole = wholeSession(kind);
    std::size_t written = 0;
    const Calls writes = callsAbout(whole.calls, "output");
    ASSERT_EQ(writes.size(), 4U);
    for (const Call& call : writes) {
        for (const long taken : { 1L, call.result - 1 }) {
            // strace takes the call away, so these bytes are those that are missing.
            const std::string injection = "write:retval=" + std::to_string(taken) + at(call);
            SCOPED_TRACE(injection);
            TracedSession session(kind.conversation, { injection });
            std::string expected = whole.output;
            expected.erase(written, static_cast<std::size_t>(taken));
            EXPECT_EQ(session.runWithoutPauses().output, expected);
        }
        written += static_cast<std::size_t>(call.result);
    }
    EXPECT_EQ(written, whole.output.size());
}

TEST_F(Transfers, WhatAShortWriteLeavesOfARecordIsWrittenNext)
{
    constexpr std::string_view beginning = "{\"version\":1";
    const Kind& kind = kindNamed("ping");
    const Calls calls = wholeSession(kind).calls;
    for (const std::string directory : { "Readiness", "Inbox" }) {
        const Calls writes = callsAbout(calls, directory + "/*");
        ASSERT_FALSE(writes.empty());
        const std::string injection
            = "write:retval=" + std::to_string(beginning.size()) + at(writes.back());
        SCOPED_TRACE(injection);
        TracedSession session(kind.conversation, { injection });
        session.startHost(session.tracedOptions());
        session.host().sendFrame(textOf(kind.conversation.request()));
        session.host().sendFrame(textOf(followingRequest()));
        session.host().closeInput();
        EXPECT_FALSE(session.host().readOutputToEnd().empty());
        const Calls disturbed = callsAbout(session.end(), directory + "/*");
        // The last record of each kind is the one that is hit. strace takes the call away, so its
        // beginning is missing, and everything behind is there.
        const std::vector<std::string> names = session.namesIn(directory);
        ASSERT_EQ(names.size(), directory == "Inbox" ? 2U : 1U);
        const std::string record = session.contentsOf(directory + '/' + names.back());
        EXPECT_TRUE(record.starts_with(",\"token\":\"")) << record;
        // Records differ in length with the digits of their times.
        const auto shortened = std::ranges::find_if(disturbed, &Call::injected);
        ASSERT_NE(shortened, disturbed.end());
        EXPECT_TRUE(
            shortened->arguments.ends_with(", " + std::to_string(beginning.size() + record.size())))
            << shortened->arguments;
        EXPECT_TRUE(record.ends_with('}')) << record;
    }
}

TEST_F(Transfers, ARecordThatMayNotBecomeLongEnoughIsRefusedAndNothingOfItIsLeft)
{
    const Kind& kind = kindNamed("activity");
    Conversation conversation = kind.conversation;
    // Enough for the readiness record, too little for an event: one write is short, the next fails.
    conversation.shellCommand = "exec prlimit --fsize=512 \"$0\"";
    TracedSession session(conversation, {});
    const Outcome outcome = session.run();
    std::vector<Moment> expected = momentsWithoutFault(kind);
    for (Moment& moment : expected)
        moment.events.clear();
    for (const std::size_t answer : { 0U, 1U }) {
        expected[answer].answer["accepted"] = false;
        expected[answer].answer["error"] = std::strerror(EFBIG);
    }
    EXPECT_EQ(outcome.moments, expected);
    const Calls writes = callsAbout(outcome.calls, "Inbox/*");
    ASSERT_EQ(writes.size(), 6U); // two each for the two events and the one at the end
    EXPECT_EQ(writes[0].result, 512);
    EXPECT_EQ(writes[1].error, "EFBIG");
}

TEST_F(Transfers, InterruptingEverySecondCallIsNotNoticed)
{
    for (const Kind& kind : kinds()) {
        SCOPED_TRACE(kind.name);
        TracedSession undisturbed(kind.conversation, {});
        const Calls calls = undisturbed.run().calls;
        std::vector<std::string> injections;
        std::ptrdiff_t callCount = 0;
        for (const char* const name : { "read", "write", "openat", "getdents64", "getrandom" }) {
            const auto first = std::ranges::find_if(calls, [name](const Call& call) {
                return call.name == name && call.phase != Phase::start;
            });
            if (first == calls.end())
                continue;
            injections.push_back(std::string(name) + ":error=EINTR" + at(*first) + "+2");
            callCount += std::ranges::count_if(calls, [name](const Call& call) {
                return call.name == name && call.phase != Phase::start;
            });
        }
        TracedSession session(kind.conversation, injections);
        const Outcome outcome = session.run();
        EXPECT_EQ(outcome.moments, momentsWithoutFault(kind));
        EXPECT_EQ(std::ranges::count_if(outcome.calls, &Call::injected), callCount);
    }
}

TEST_F(Transfers, ABrowserThatSetItsPipesNotToBlockIsWaitedFor)
{
    const Kind& kind = kindNamed("resume");
    TracedSession session(kind.conversation, {});
    support::Pipe input;
    support::Pipe output;
    setNotToBlock(input.readEnd.number());
    setNotToBlock(output.writeEnd.number());
    std::size_t filling = 0;
    while (::write(output.writeEnd.number(), "x", 1) == 1)
        ++filling;
    ASSERT_EQ(errno, EAGAIN);
    support::HostOptions options = session.tracedOptions();
    options.standardInput = input.readEnd.number();
    options.standardOutput = output.writeEnd.number();
    session.startHost(options);
    output.writeEnd.close();

    ASSERT_TRUE(awaitBlocking(session, 1));
    const std::string bytes = support::frame(textOf(kind.conversation.request()));
    ASSERT_EQ(::write(input.writeEnd.number(), bytes.data(), bytes.size()),
        static_cast<ssize_t>(bytes.size()));
    ASSERT_TRUE(awaitBlocking(session, 2));
    EXPECT_EQ(readExactly(output.readEnd.number(), filling), std::string(filling, 'x'));
    EXPECT_EQ(end_to_end::parse(readPayload(output.readEnd.number())), kind.answer);
    input.writeEnd.close();
    const Calls calls = session.end();
    EXPECT_GE(std::ranges::count(calls, "EAGAIN", &Call::error), 2);
    EXPECT_GE(countOf(calls, "poll"), 2);
}

TEST_F(Transfers, AWaitThatIsInterruptedIsTakenUpAgain)
{
    const Kind& kind = kindNamed("ping");
    const Calls calls = wholeSession(kind).calls;
    for (const char* const pipe : { "input", "output" }) {
        for (const Call& call : callsAbout(calls, pipe)) {
            const std::vector<std::string> injections { call.name + ":error=EAGAIN" + at(call),
                "poll:error=EINTR:when=1" };
            SCOPED_TRACE(injections.front());
            TracedSession session(kind.conversation, injections);
            const Outcome outcome = session.runWithoutPauses();
            EXPECT_EQ(outcome.moments.front(), momentsWithoutFault(kind).back());
            EXPECT_EQ(std::ranges::count_if(outcome.calls, &Call::injected), 2);
        }
    }
}

TEST_F(Transfers, AWaitThatFailsIsAFailureOfWhatWaited)
{
    // No command: its time stamp would differ from one session to the other.
    const Kind& kind = kindNamed("pdf");
    const Outcome whole = wholeSession(kind);
    for (const char* const pipe : { "input", "output" }) {
        for (const Call& call : callsAbout(whole.calls, pipe)) {
            const std::vector<std::string> injections { call.name + ":error=EAGAIN" + at(call),
                "poll:error=ENOMEM:when=1" };
            SCOPED_TRACE(injections.front());
            TracedSession session(kind.conversation, injections);
            const Outcome outcome = session.runWithoutPauses();
            const BrokenEnd expected = endWithFault(
                kind, { .call = call, .error = { .name = "EIO", .number = EIO } }, whole.output);
            EXPECT_EQ(outcome.output, expected.output);
            EXPECT_EQ(outcome.moments.front(), expected.end);
            EXPECT_EQ(std::ranges::count_if(outcome.calls, &Call::injected), 2);
        }
    }
}

} // namespace
} // namespace faults
