// The frames of a connection: what is read of them, and whole sessions that answer them. The input
// is a schedule of how the calls go, after a byte that says how long it is, and then what the
// browser sends.

#include "fuzz/support/bridge_world.h"
#include "fuzz/support/byte_source.h"
#include "fuzz/support/claims.h"
#include "fuzz/support/connection.h"
#include "fuzz/support/outcome_check.h"
#include "fuzz/support/written_check.h"
#include "host/native_messaging.h"
#include "host/request_loop.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <utility>
#include <vector>

namespace {

using fuzz::Connection;

struct Frames {
    std::vector<std::string_view> payloads; // of the whole ones
    std::string_view rest; // what is no whole frame
};

Frames naiveFrames(std::string_view bytes)
{
    Frames frames { .payloads = {}, .rest = bytes };
    constexpr std::size_t prefixSize = 4;
    constexpr std::size_t largest = 16384;
    while (frames.rest.size() >= prefixSize) {
        std::uint32_t length = 0;
        std::memcpy(&length, frames.rest.data(), prefixSize);
        const std::string_view payload = frames.rest.substr(prefixSize);
        if (length == 0 || length > largest || payload.size() < length)
            break;
        frames.payloads.push_back(payload.substr(0, length));
        frames.rest = payload.substr(length);
    }
    return frames;
}

void checkReading(std::string_view schedule, std::string_view bytes)
{
    const Connection connection(schedule, bytes);
    std::vector<std::string> messages;
    while (auto message = host::readMessage(Connection::descriptor()))
        messages.push_back(*std::move(message));
    const Frames read = naiveFrames(connection.consumed());
    fuzz::require(std::ranges::equal(messages, read.payloads),
        "the messages are the whole frames of what was read");
    // A failure ends the session anywhere; cut and interrupted calls do not.
    constexpr std::string_view endings = "\xFE\xFF";
    if (schedule.find_first_of(endings) == std::string_view::npos) {
        const Frames sent = naiveFrames(bytes);
        fuzz::require(messages.size() == sent.payloads.size(), "all whole frames are read");
        fuzz::require(read.rest.size() <= sizeof(std::uint32_t) || read.rest == sent.rest,
            "nothing is read beyond a bad length");
    }
}

// What came of one request: its answer, or none if writing it failed.
std::vector<std::optional<fuzz::NaiveValue>> readResponses(const Connection& connection)
{
    std::vector<std::optional<fuzz::NaiveValue>> responses;
    for (const std::string& piece : connection.written()) {
        const Frames frames = naiveFrames(piece);
        for (const std::string_view response : frames.payloads)
            responses.emplace_back(fuzz::readResponse(response));
        if (&piece != &connection.written().back())
            responses.emplace_back();
        else
            fuzz::require(frames.rest.empty(), "nothing but frames is written");
    }
    return responses;
}

// Events of the same time lie in no particular order.
void checkEvents(
    const std::vector<fuzz::WrittenFile>& events, std::vector<fuzz::Prediction> relaying)
{
    fuzz::require(events.size() == relaying.size(),
        "exactly the events that are accepted and that of the end are relayed");
    for (const fuzz::WrittenFile& file : events) {
        const auto event = fuzz::readEvent(file, relaying.front().now).event;
        const auto found
            = std::ranges::find_if(relaying, [&event](const fuzz::Prediction& prediction) {
                  return fuzz::isSameEvent(event, *prediction.event);
              });
        fuzz::requireFor(
            found != relaying.end(), "an event is relayed in its normal form", file.contents);
        fuzz::checkEvent(file, *found);
        relaying.erase(found);
    }
}

// All the requests of a session meet the same files, so what each leads to follows from those.
void checkSession(std::string_view schedule, std::string_view bytes)
{
    const Connection connection(schedule, bytes);
    fuzz::BridgeWorld world;
    const auto before = world.fileSystem().tree();
    host::runSession(Connection::descriptor(), Connection::descriptor(), world.environment());
    const auto after = world.fileSystem().tree();
    fuzz::require(world.fileSystem().openFileCount() == 0, "no file stays open");
    const fuzz::Effects effects = fuzz::findEffects(before, after);
    const fuzz::NaiveSurroundings surroundings {
        .tree = before, .now = world.now(), .processExists = world.processExists()
    };
    const Frames requests = naiveFrames(connection.consumed());
    const auto responses = readResponses(connection);
    fuzz::require(responses.size() == requests.payloads.size(), "every request has one response");

    fuzz::NaiveMemory memory;
    std::vector<fuzz::Prediction> relaying;
    int expectedOpenings = 0;
    for (std::size_t index = 0; index < responses.size(); ++index) {
        const auto prediction = fuzz::predict(requests.payloads[index], surroundings, memory);
        if (responses[index])
            fuzz::checkResponse(*responses[index], prediction);
        memory = prediction.memory;
        expectedOpenings += prediction.opensApplication ? 1 : 0;
        if (prediction.event)
            relaying.push_back(prediction);
    }
    const auto end = fuzz::predictEnd(surroundings, memory);
    if (end.event)
        relaying.push_back(end);
    checkEvents(effects.newEvents, std::move(relaying));
    fuzz::require(world.openings() == expectedOpenings,
        "the application is opened as often as it is asked for");
    fuzz::require(effects.changedReadiness.has_value() == end.readiness.has_value(),
        "readiness is published where an extension has named its version");
    if (end.readiness)
        fuzz::checkReadiness(effects.changedReadiness->contents, end);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    fuzz::ByteSource source(fuzz::textOf(data, size));
    const std::string_view schedule = source.take(source.byte());
    checkReading(schedule, source.rest());
    checkSession(schedule, source.rest());
    return 0;
}
