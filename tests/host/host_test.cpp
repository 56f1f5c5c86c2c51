#include "tests/host/host_test.h"

#include "host/request_handler.h"

#include <memory>

namespace host {

std::ostream& operator<<(std::ostream& stream, const NativeHostResponse& response)
{
    return stream << encode(response).value_or("a response that cannot be encoded");
}

std::string requestText(std::string_view type, std::string_view members)
{
    return R"({"protocolVersion":1,"type":")" + std::string(type)
        + R"(","browserBundleIdentifier":"com.google.Chrome")" + std::string(members) + "}";
}

std::string activityText(const events::BrowserActivityEvent& event, std::string_view members)
{
    const auto encoded = events::encode(event);
    EXPECT_TRUE(encoded);
    return R"({"protocolVersion":1,"type":"browserActivity","event":)" + encoded.value_or("")
        + std::string(members) + "}";
}

std::string pingText()
{
    return requestText("readinessPing", versionMember);
}

std::string pauseText(bool paused)
{
    return requestText("trackingPauseChanged", paused ? R"(,"paused":true)" : R"(,"paused":false)");
}

HostTest::HostTest()
    : environment { .store = { root() },
        .fileSystem = fileSystem,
        .services = { .now = [this] { return time; },
            .processExists =
                [this](std::int32_t identifier) {
                    probedProcesses.push_back(identifier);
                    return processExists;
                },
            .openCompanionApplication =
                [this] {
                    ++openings;
                    whenOpened();
                } } }
{
    support::writeToken(root());
    support::writeState(root());
}

NativeHostResponse HostTest::handle(std::string_view payload)
{
    return handleRequest(payload, environment, memory);
}

NativeHostResponse HostTest::liveResponse(bool accepted)
{
    return { .accepted = accepted,
        .appRunning = true,
        .sessionRunning = true,
        .browserFrontmost = true,
        .sessionIdentifier = support::sessionIdentifier() };
}

NativeHostResponse HostTest::refused(NativeHostResponse response, std::string_view error)
{
    response.accepted = false;
    response.error = error;
    return response;
}

std::vector<RelayedEvent> HostTest::inbox() const
{
    std::vector<RelayedEvent> relayed;
    for (const std::string& name : support::namesIn(pathOf("Inbox"))) {
        const auto envelope
            = bridge::decodeBrowserBridgeEnvelope(support::readFile(pathOf("Inbox/" + name)));
        if (!envelope) {
            ADD_FAILURE() << name << " holds no envelope";
            continue;
        }
        const auto event = events::decodeBrowserActivityEvent(envelope->eventData);
        EXPECT_TRUE(event) << name << " carries no event";
        relayed.push_back({ *envelope, event.value_or(events::BrowserActivityEvent {}) });
    }
    return relayed;
}

std::vector<events::BrowserActivityEventType> HostTest::relayedTypes() const
{
    std::vector<events::BrowserActivityEventType> types;
    for (const RelayedEvent& relayed : inbox())
        types.push_back(relayed.event.eventType);
    return types;
}

bool HostTest::hasReadiness() const
{
    return support::exists(pathOf("Readiness/googleChrome.readiness"));
}

bridge::BrowserBridgeReadiness HostTest::readiness() const
{
    const auto envelope = bridge::decodeBrowserBridgeReadinessEnvelope(
        support::readFile(pathOf("Readiness/googleChrome.readiness")));
    EXPECT_TRUE(envelope) << "no readiness";
    if (!envelope)
        return {};
    EXPECT_EQ(envelope->token, support::validToken);
    return envelope->readiness;
}

void HostTest::beforeOpening(std::string_view name, int number, std::function<void()> action)
{
    fileSystem.beforeCall(
        [path = pathOf(name), number, action = std::move(action), count = std::make_shared<int>(0)](
            support::FileOperation operation, const std::string& called) {
            if (operation == support::FileOperation::openForReading && called == path
                && ++*count == number)
                action();
        });
}

void HostTest::expectNothingUnfinished() const
{
    EXPECT_EQ(fileSystem.openFileCount(), 0);
    for (const char* const name : { "Inbox", "Readiness" }) {
        for (const std::string& file : support::namesIn(pathOf(name)))
            EXPECT_NE(file.front(), '.') << file;
    }
}

} // namespace host
