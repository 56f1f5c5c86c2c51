#pragma once
// One short session with the built host, watched by strace, which can let calls fail.

#include "tests/end_to_end/end_to_end_test.h"
#include "tests/faults/call_log.h"

#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

namespace faults {

using end_to_end::object;

/// Why strace cannot be used here; empty if it can.
[[nodiscard]] std::string reasonNotToTrace();

/// The executable under test: the built one unless the environment's KESTRANE_FAULTS_HOST names
/// another.
[[nodiscard]] std::string hostUnderTest();

/// What the extension and the application can see at one moment. Equal sessions have equal moments:
/// times and fresh identifiers are left out.
struct Moment {
    object answer; // the last one
    std::vector<std::string> events; // each as its type and what it is about, in their order
    std::string readiness; // whether there is a connection, and the extension's version
    std::vector<std::string> commands; // the names in the command directory

    friend bool operator==(const Moment&, const Moment&) = default;
    friend std::ostream& operator<<(std::ostream& stream, const Moment& moment);
};

/// One way to serve a session: its requests and what the application leaves for it.
struct Conversation {
    object (*request)() = nullptr;
    /// Prepares the bridge directory; a token and a running session are there already.
    void (*prepare)(const class TracedSession& session) = nullptr;
    /// Starts the host by a shell command of this form instead, with "$0" for the host.
    std::string shellCommand {};
    /// Lets strace watch what is started, too, until it runs another program.
    bool watchesChildren = false;
};

/// What a whole session came to.
struct Outcome {
    std::vector<Moment> moments; // after the request, after the one that follows it, at the end
    std::string output; // all bytes, in sessions without pauses
    Calls calls;
};

class TracedSession : public end_to_end::EndToEnd {
public:
    /// `injections` are values of strace's option "inject".
    TracedSession(const Conversation& conversation, std::vector<std::string> injections);

    /// Waits for each answer and looks at the directory before it goes on.
    [[nodiscard]] Outcome run();

    /// Sends both requests and closes the input at once; whatever comes out is taken. The outcome
    /// has one moment, the end, with no answer.
    [[nodiscard]] Outcome runWithoutPauses();

    /// Where strace writes.
    [[nodiscard]] std::string logPath() const { return directory() / "calls"; }

    /// The calls that have come back; none before the first request is awaited.
    [[nodiscard]] Calls callsUntilNow() const { return readCalls(logPath(), root()); }

    /// How the host is to be started.
    [[nodiscard]] support::HostOptions tracedOptions() const;

    /// Expects the host to have ended by itself with status 0 and without a word, and yields what
    /// strace saw.
    Calls end();

    // What the host has left in the bridge directory.
    [[nodiscard]] std::vector<std::string> namesIn(const std::string& name) const
    {
        return support::namesIn(pathOf(name));
    }
    [[nodiscard]] std::string contentsOf(const std::string& name) const
    {
        return support::readFile(pathOf(name));
    }

    // What preparations are made of.
    void makeHostDirectories() const;
    void leaveOwnCommand() const;
    void leaveForeignCommand() const;
    void leaveBrokenCommand() const;
    void leaveOddItems() const;
    void allowLabels() const { leavePreferences(true); }
    void leaveLiveState() const { leaveState(liveState()); }
    void leaveStateOfAnotherBrowser() const;
    void removeState() const;
    void installApplication() const;

    using EndToEnd::host;
    using EndToEnd::startHost;

private:
    void TestBody() override { }

    [[nodiscard]] Moment look(object answer) const;
    [[nodiscard]] std::vector<std::string> checkedEvents() const;
    [[nodiscard]] std::string checkedReadiness() const;
    [[nodiscard]] object comparableAnswer();

    const Conversation& conversation_;
    std::vector<std::string> injections_;
};

/// The request that follows in every session: an activity, the request that needs most to be right.
[[nodiscard]] object followingRequest();

/// What `followingRequest` leaves in the inbox.
inline constexpr const char* eventOfFollowingRequest = "tabActivated next.example.com";

/// What the end of a session leaves there.
inline constexpr const char* eventOfDisconnection = "extensionDisconnected";

} // namespace faults
