// What the host does between its system calls, piece by piece.

#include "base/base64.h"
#include "base/uuid.h"
#include "bridge/bridge_records.h"
#include "bridge/bridge_store.h"
#include "events/browser_activity_event.h"
#include "events/event_validation.h"
#include "host/messages.h"
#include "platform/clock.h"
#include "platform/random.h"
#include "tests/system_calls/reference_session.h"

#include <benchmark/benchmark.h>

#include <string>

namespace {

std::string payloadOf(const char* request)
{
    return reference::requestNamed(request)->payload(platform::currentTime());
}

host::NativeHostRequest activity()
{
    return *host::decodeNativeHostRequest(payloadOf("activity"));
}

bridge::BrowserBridgeState state()
{
    return { .appProcessIdentifier = 4242,
        .sessionRunning = true,
        .sessionIdentifier = platform::randomUUID().value(),
        .frontmostBrowserBundleIdentifier = "com.google.Chrome",
        .updatedAt = platform::currentTime() };
}

std::string commandText()
{
    return *bridge::encode(bridge::BrowserBridgeCommandEnvelope { .token = std::string(64, 'a'),
        .command = { .id = platform::randomUUID().value(),
            .browserBundleIdentifier = "org.mozilla.firefox",
            .pdfIdentifier = platform::randomUUID().value(),
            .createdAt = platform::currentTime() } });
}

void decodeRequest(benchmark::State& run, const char* request)
{
    const std::string payload = payloadOf(request);
    for (auto _ : run)
        benchmark::DoNotOptimize(host::decodeNativeHostRequest(payload));
}
BENCHMARK_CAPTURE(decodeRequest, activity, "activity");
BENCHMARK_CAPTURE(decodeRequest, ping, "ping");
BENCHMARK_CAPTURE(decodeRequest, malformed, "malformed");

void decodeState(benchmark::State& run)
{
    const std::string text = *bridge::encode(state());
    for (auto _ : run)
        benchmark::DoNotOptimize(bridge::decodeBrowserBridgeState(text));
}
BENCHMARK(decodeState);

void decodePreferences(benchmark::State& run)
{
    const std::string text = *bridge::encode(
        bridge::BrowserBridgePreferencesEnvelope { .token = std::string(64, 'a') });
    for (auto _ : run)
        benchmark::DoNotOptimize(bridge::decodeBrowserBridgePreferencesEnvelope(text));
}
BENCHMARK(decodePreferences);

void decodeCommand(benchmark::State& run)
{
    const std::string text = commandText();
    for (auto _ : run)
        benchmark::DoNotOptimize(bridge::decodeBrowserBridgeCommandEnvelope(text));
}
BENCHMARK(decodeCommand);

void validateEvent(benchmark::State& run)
{
    const events::BrowserActivityEvent event = *activity().event;
    const base::Timestamp now = platform::currentTime();
    for (auto _ : run)
        benchmark::DoNotOptimize(events::validate(event, now, {}));
}
BENCHMARK(validateEvent);

void encodeEvent(benchmark::State& run)
{
    const events::BrowserActivityEvent event = *activity().event;
    for (auto _ : run)
        benchmark::DoNotOptimize(events::encode(event));
}
BENCHMARK(encodeEvent);

void encodeEnvelope(benchmark::State& run)
{
    const bridge::BrowserBridgeEnvelope envelope { .token = std::string(64, 'a'),
        .sessionIdentifier = platform::randomUUID().value(),
        .receivedAt = platform::currentTime(),
        .eventData = *events::encode(*activity().event) };
    for (auto _ : run)
        benchmark::DoNotOptimize(bridge::encode(envelope));
}
BENCHMARK(encodeEnvelope);

void encodeResponse(benchmark::State& run)
{
    host::NativeHostResponse response;
    response.sessionIdentifier = platform::randomUUID().value();
    response.localFilePermission = events::BrowserLocalFilePermission::enabled;
    for (auto _ : run)
        benchmark::DoNotOptimize(host::encode(response));
}
BENCHMARK(encodeResponse);

// The following ones are system calls for the most part; on a file system in memory.

void readToken(benchmark::State& run)
{
    const reference::BridgeDirectory directory("/dev/shm");
    const bridge::BrowserBridgeStore store { directory.path() };
    for (auto _ : run)
        benchmark::DoNotOptimize(store.readToken(platform::localFileSystem()));
}
BENCHMARK(readToken);

void writeAtomically(benchmark::State& run)
{
    const reference::BridgeDirectory directory("/dev/shm");
    const std::string path = directory.path() + "/Readiness/googleChrome.readiness";
    const std::string bytes(300, 'x');
    for (auto _ : run) {
        benchmark::DoNotOptimize(
            bridge::writePrivateFileAtomically(bytes, path, platform::localFileSystem()));
    }
}
BENCHMARK(writeAtomically);

} // namespace

BENCHMARK_MAIN();
