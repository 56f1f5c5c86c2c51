#pragma once
// What the tests of the host share: a bridge directory in which the application runs a session, a
// clock that stands still, and services that record what they are asked.

#include "host/companion_application.h"
#include "host/messages.h"
#include "host/session_memory.h"
#include "tests/support/failing_file_system.h"
#include "tests/support/samples.h"
#include "tests/support/temporary_directory.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace host {

inline constexpr std::string_view malformedText = "Malformed Kestrane native-messaging request.";
inline constexpr std::string_view wrongVersionText
    = "Unsupported Kestrane native-messaging protocol version.";
inline constexpr std::string_view tooLargeText
    = "The native-messaging request exceeds Kestrane's size limit.";
inline constexpr std::string_view appUnavailableText = "Kestrane is not running.";
inline constexpr std::string_view sessionUnavailableText
    = "No Kestrane session is currently running.";
inline constexpr std::string_view browserNotFrontmostText
    = "The reporting browser is not the frontmost application.";
inline constexpr std::string_view bridgeNotReadyText
    = "Kestrane is not running or its browser bridge is not ready.";

/// Shows responses of failed tests as the JSON that they are.
std::ostream& operator<<(std::ostream& stream, const NativeHostResponse& response);

/// The JSON text of a request of this type from Chrome; `members` follow, as `,"key":value`.
[[nodiscard]] std::string requestText(std::string_view type, std::string_view members = "");

/// The JSON text of a request with this event.
[[nodiscard]] std::string activityText(
    const events::BrowserActivityEvent& event = support::validEvent(),
    std::string_view members = "");

inline constexpr std::string_view versionMember = R"(,"extensionVersion":"1.2.3")";

[[nodiscard]] std::string pingText();
[[nodiscard]] std::string pauseText(bool paused);

/// One file in the inbox, decoded.
struct RelayedEvent {
    bridge::BrowserBridgeEnvelope envelope;
    events::BrowserActivityEvent event;
};

class HostTest : public testing::Test {
protected:
    HostTest();

    [[nodiscard]] std::string root() const { return directory_ / "bridge"; }
    [[nodiscard]] std::string pathOf(std::string_view name) const
    {
        return root() + '/' + std::string(name);
    }

    NativeHostResponse handle(std::string_view payload);

    /// The response with which Chrome is told `validState`.
    [[nodiscard]] static NativeHostResponse liveResponse(bool accepted = true);
    [[nodiscard]] static NativeHostResponse refused(
        NativeHostResponse response, std::string_view error);

    [[nodiscard]] std::vector<RelayedEvent> inbox() const;
    [[nodiscard]] std::vector<events::BrowserActivityEventType> relayedTypes() const;
    [[nodiscard]] bool hasReadiness() const;
    /// Chrome's readiness record, which must be there.
    [[nodiscard]] bridge::BrowserBridgeReadiness readiness() const;

    /// Has `action` run just before the `number`-th time (from 1) that the file of this name is
    /// opened.
    void beforeOpening(std::string_view name, int number, std::function<void()> action);

    /// Everything that a request may have left unfinished.
    void expectNothingUnfinished() const;

    // The world around the host.
    base::Timestamp time = support::sampleTime;
    bool processExists = true;
    std::vector<std::int32_t> probedProcesses;
    int openings = 0;
    std::function<void()> whenOpened = [] { };
    support::FailingFileSystem fileSystem;
    SessionMemory memory;

private:
    support::TemporaryDirectory directory_;

protected:
    HostEnvironment environment;
};

} // namespace host
