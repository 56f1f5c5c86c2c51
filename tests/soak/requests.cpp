#include "tests/soak/requests.h"

#include "base/timestamp.h"
#include "platform/clock.h"
#include "tests/support/json_object.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

namespace soak {

namespace {

using support::JsonObject;

std::string quoted(std::string_view text)
{
    return '"' + std::string(text) + '"';
}

std::string framed(const std::string& payload)
{
    const auto length = static_cast<std::uint32_t>(payload.size());
    std::string bytes(sizeof length, '\0');
    std::memcpy(bytes.data(), &length, sizeof length);
    return bytes + payload;
}

std::string timeText(double secondsFromNow)
{
    base::Timestamp time = platform::currentTime();
    time.secondsSince2001 += secondsFromNow;
    return quoted(base::formatISO8601(time));
}

JsonObject request(std::string_view type)
{
    return { { "protocolVersion", "1" }, { "type", quoted(type) },
        { "browserBundleIdentifier", quoted("com.google.Chrome") } };
}

JsonObject event(std::string_view type, const std::string& identifier)
{
    return { { "id", quoted(identifier) }, { "browserDisplayName", quoted("Google Chrome") },
        { "browserBundleIdentifier", quoted("com.google.Chrome") }, { "timestamp", timeText(0) },
        { "eventType", quoted(type) }, { "isPrivate", "false" },
        { "resourceType", quoted("website") } };
}

JsonObject pageEvent(std::string_view type, const std::string& identifier, Random& random)
{
    const std::string host = std::string(1 + random.below(60U), 'a') + ".example.org";
    return event(type, identifier)
        .with("hostname", quoted(host))
        .with("temporaryTabIdentifier", quoted("tab-" + std::to_string(random.below(5000U))));
}

JsonObject documentEvent(const std::string& identifier, Random& random)
{
    JsonObject object = event("tabNavigated", identifier)
                            .with("resourceType", quoted("localPDF"))
                            .with("pdfIdentifier", quoted(random.uuid()));
    if (random.withChance(30))
        return object;
    return object.with("pdfLabel", quoted("Notes " + std::to_string(random.below(1000U))))
        .with("pdfLabelSource", quoted(random.withChance(50) ? "filename" : "manual"));
}

JsonObject validEvent(const std::string& identifier, Random& random)
{
    constexpr std::array<std::string_view, 5> pages { "tabActivated", "tabNavigated",
        "tabNavigated", "browserWindowFocused", "heartbeat" };
    const unsigned kind = random.below(10U);
    if (kind < 7)
        return pageEvent(random.oneOf(pages), identifier, random);
    if (kind == 7)
        return documentEvent(identifier, random);
    if (kind == 8)
        return event("browserWindowBlurred", identifier);
    return event("tabClosed", identifier).with("temporaryTabIdentifier", quoted("tab-1"));
}

JsonObject withPermission(const JsonObject& object, Random& random)
{
    constexpr std::array<std::string_view, 3> permissions { "enabled", "permissionRequired",
        "unsupported" };
    return random.withChance(50)
        ? object.with("localFilePermission", quoted(random.oneOf(permissions)))
        : object;
}

} // namespace

Message activity(Random& random, bool withVersion)
{
    std::string identifier = random.uuid();
    JsonObject object
        = request("browserActivity")
              .with("event", withPermission(validEvent(identifier, random), random).text());
    if (withVersion)
        object = object.with("extensionVersion", quoted("1.4.2"));
    return { .frame = framed(object.text()),
        .outcome = Outcome::relayed,
        .identifier = std::move(identifier) };
}

Message ping()
{
    return { .frame
        = framed(request("readinessPing").with("extensionVersion", quoted("1.4.2")).text()) };
}

Message pauseOrResumption(bool paused)
{
    const auto object = request("trackingPauseChanged").with("paused", paused ? "true" : "false");
    return { .frame = framed(object.text()), .endsTracking = paused };
}

Message refusedActivity(Random& random)
{
    struct Breach {
        std::string_view key;
        std::string value;
        std::string_view reason;
    };
    const std::array<Breach, 5> breaches { {
        { "timestamp", timeText(-200), "The browser event timestamp is too old." },
        { "timestamp", timeText(100), "The browser event timestamp is too far in the future." },
        { "hostname", quoted("www.example.org/page"), "The browser hostname is invalid." },
        { "temporaryTabIdentifier", quoted("tab 1"),
            "The temporary browser tab identifier is invalid." },
        { "isPrivate", "true",
            "Kestrane does not accept hostnames or tab identifiers from private browsing." },
    } };
    const Breach& breach = random.oneOf(breaches);
    const JsonObject spoiled = pageEvent("tabActivated", random.uuid(), random)
                                   .with(std::string(breach.key), breach.value);
    return { .frame = framed(request("browserActivity").with("event", spoiled.text()).text()),
        .outcome = Outcome::refused,
        .reason = std::string(breach.reason) };
}

Message malformed(Random& random)
{
    const std::array<std::string, 5> payloads {
        R"({"protocolVersion":1,"type":"reload","brow)", "[]", request("reload").text(),
        request("browserActivity").text(),
        request("readinessPing").with("browserBundleIdentifier", R"("org.mozilla.firefox")").text()
    };
    return { .frame = framed(random.oneOf(payloads)),
        .outcome = Outcome::refused,
        .reason = "Malformed Kestrane native-messaging request." };
}

Message anyRequest(Random& random)
{
    const unsigned kind = random.below(100U);
    if (kind < 70)
        return activity(random, random.withChance(50));
    if (kind < 78)
        return ping();
    if (kind < 86)
        return pauseOrResumption(kind < 82);
    return kind < 95 ? refusedActivity(random) : malformed(random);
}

std::string wrongOutcome(const Message& message, const AnswerCheck& answer)
{
    switch (message.outcome) {
    case Outcome::relayed:
        return answer.accepted && !answer.inSession
            ? "an event was accepted outside of a session in this browser"
            : "";
    case Outcome::accepted:
        return answer.accepted ? "" : "a request that is always accepted was refused";
    case Outcome::refused:
        break;
    }
    return answer.error == message.reason ? "" : "a request was not refused for what is wrong";
}

bool isReasonOfState(std::string_view reason)
{
    constexpr std::array<std::string_view, 4> reasons { "Kestrane is not running.",
        "No Kestrane session is currently running.",
        "The reporting browser is not the frontmost application.",
        "Kestrane is not running or its browser bridge is not ready." };
    return std::ranges::find(reasons, reason) != reasons.end();
}

} // namespace soak
