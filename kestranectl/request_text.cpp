#include "base/json_writer.h"
#include "base/unicode_text.h"
#include "events/browser_activity_event.h"
#include "events/supported_browsers.h"
#include "host/host_constants.h"
#include "kestranectl/connect.h"

#include <utility>

namespace kestranectl {

namespace {

constexpr events::SupportedBrowser reportingBrowser = events::SupportedBrowser::googleChrome;

// Of an extension that is none.
constexpr std::string_view extensionVersion = "0.0.0";

constexpr std::string_view activityPrefix = "activity=";

base::JsonWriter begunRequest(std::string_view type)
{
    base::JsonWriter writer;
    writer.member("protocolVersion", host::protocolVersion);
    writer.member("type", type);
    return writer;
}

base::JsonWriter begunChromeRequest(std::string_view type)
{
    base::JsonWriter writer = begunRequest(type);
    writer.member("browserBundleIdentifier", events::bundleIdentifier(reportingBrowser));
    return writer;
}

std::optional<std::string> finished(base::JsonWriter&& writer)
{
    const auto text = std::move(writer).finish();
    return text ? std::optional(*text) : std::nullopt;
}

std::optional<std::string> pauseChanged(bool paused)
{
    base::JsonWriter writer = begunChromeRequest("trackingPauseChanged");
    writer.member("paused", paused);
    return finished(std::move(writer));
}

std::optional<std::string> readinessPing()
{
    base::JsonWriter writer = begunChromeRequest("readinessPing");
    writer.member("extensionVersion", extensionVersion);
    return finished(std::move(writer));
}

std::optional<std::string> browserActivity(const events::BrowserActivityEvent& event)
{
    const auto eventText = events::encode(event);
    std::optional<std::string> text = finished(begunRequest("browserActivity"));
    if (!eventText || !text)
        return std::nullopt;
    text->pop_back();
    return *text + ",\"event\":" + *eventText + '}';
}

events::BrowserActivityEvent eventOfChrome(
    events::BrowserActivityEventType type, const EventOrigin& origin)
{
    return {
        .id = origin.identifier,
        .browserDisplayName = std::string(events::displayName(reportingBrowser)),
        .browserBundleIdentifier = std::string(events::bundleIdentifier(reportingBrowser)),
        .timestamp = origin.time,
        .eventType = type,
    };
}

std::optional<std::string> tabActivated(std::string_view hostname, const EventOrigin& origin)
{
    if (!base::allScalars(hostname, [](char32_t) { return true; }))
        return std::nullopt;
    auto event = eventOfChrome(events::BrowserActivityEventType::tabActivated, origin);
    event.hostname = hostname;
    event.temporaryTabIdentifier = "kestranectl";
    return browserActivity(event);
}

} // namespace

std::optional<std::string> requestText(std::string_view text, const EventOrigin& origin)
{
    if (text.starts_with('{'))
        return std::string(text);
    if (text == "ping")
        return readinessPing();
    if (text == "open")
        return finished(begunChromeRequest("openMerrowin"));
    if (text == "diagnostics")
        return finished(begunChromeRequest("openDiagnostics"));
    if (text == "pause" || text == "resume")
        return pauseChanged(text == "pause");
    if (text == "active")
        return browserActivity(
            eventOfChrome(events::BrowserActivityEventType::browserBecameActive, origin));
    if (text.starts_with(activityPrefix))
        return tabActivated(text.substr(activityPrefix.size()), origin);
    return std::nullopt;
}

} // namespace kestranectl
