#pragma once
// What the end-to-end tests share: a bridge directory with a running application, which is the test
// itself, and the built host. What the host writes is taken apart here by other means than the
// host's own, so that a mistake in those cannot hide itself.

#include "bridge/bridge_records.h"
#include "tests/support/host_process.h"
#include "tests/support/samples.h"
#include "tests/support/temporary_directory.h"

#include <boost/json.hpp>
#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace end_to_end {

using boost::json::object;

/// Larger than any process identifier that a system gives out.
inline constexpr std::int32_t identifierOfNoProcess = 2147483647;

/// The clock, in seconds since 2001.
[[nodiscard]] double secondsNow();

/// The time `seconds` after now, as events carry it.
[[nodiscard]] std::string timestampText(double seconds = 0);

/// The JSON object in `jsonText`; an empty one, and a failed test, if there is none.
[[nodiscard]] object parse(std::string_view jsonText);

/// A text in the form that JSON values can be compared with.
[[nodiscard]] inline boost::json::string text(std::string_view characters)
{
    return boost::json::string_view(characters.data(), characters.size());
}

/// A request of the given type from Chrome; `members` come on top or replace others,
/// null removes them.
[[nodiscard]] object request(std::string_view type, const object& members = {});

/// Chrome showed a web page just now; `members` as for `request`.
[[nodiscard]] object event(const object& members = {});

/// A "browserActivity" request with that event.
[[nodiscard]] object activity(const object& eventMembers = {}, const object& members = {});

/// The response in which nothing is true, to be changed by `members`.
[[nodiscard]] object response(const object& members = {});

/// Pads `payload`, a request, with a key that nobody knows to exactly `size` bytes.
[[nodiscard]] std::string paddedTo(std::size_t size, const object& payload);

/// One file in the inbox, taken apart.
struct InboxEvent {
    std::string fileName;
    object envelope;
    object event; // what the envelope carries
};

class EndToEnd : public testing::Test {
protected:
    /// The token is there, and a session runs with Chrome frontmost.
    EndToEnd();

    [[nodiscard]] const support::TemporaryDirectory& directory() const { return directory_; }

    /// The bridge directory.
    [[nodiscard]] std::string root() const { return directory_ / "bridge"; }
    [[nodiscard]] std::string pathOf(std::string_view name) const
    {
        return root() + '/' + std::string(name);
    }

    /// A state that the application, the test, writes now.
    [[nodiscard]] static bridge::BrowserBridgeState liveState();
    void leaveState(const bridge::BrowserBridgeState& state) const;
    void leaveCommand(std::string_view name, const object& members = {}) const;
    void leavePreferences(bool filenameLabelsEnabled) const;

    [[nodiscard]] support::HostOptions options() const;

    /// Options with which the host runs as an ordinary user. As root, hands everything that is
    /// there to that user; what a test changes afterwards belongs to whoever runs the test.
    [[nodiscard]] support::HostOptions optionsOfOrdinaryUser() const;

    /// The host that the other operations talk to; started with `options` by the first call.
    support::HostProcess& host();
    support::HostProcess& startHost(const support::HostOptions& options);

    void send(const object& payload);
    [[nodiscard]] object receive();
    [[nodiscard]] object ask(const object& payload);

    /// Closes the host's input, if it is open, and expects the only end there is: no further
    /// output, nothing on standard error, status 0.
    void expectEnd();

    [[nodiscard]] std::vector<InboxEvent> inbox() const;

    /// The members of Chrome's readiness record; empty if there is none.
    [[nodiscard]] object readiness() const;

    /// The names in the bridge directory that the application did not make.
    [[nodiscard]] std::vector<std::string> namesMadeByHost() const;

private:
    support::TemporaryDirectory directory_;
    std::optional<support::HostProcess> host_;
};

} // namespace end_to_end
