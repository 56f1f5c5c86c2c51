#include "kestranectl/doctor_parts.h"

#include "bridge/bridge_store.h"
#include "platform/item_status.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <optional>

namespace kestranectl {

namespace {

// Whatever waits longer was not taken when it should have been.
constexpr double longestWait = 60; // seconds, the age from which hosts drop commands

// The names with this ending in a directory that need not be there, in order; none after a finding
// that says why.
std::optional<std::vector<std::string>> namesIn(Examination& examination,
    const std::string& subject, const std::string& directory, std::string_view ending)
{
    auto listing = platform::localFileSystem().visibleNames(directory);
    if (!listing && listing.error().code == ENOENT)
        return std::vector<std::string>();
    if (!listing) {
        if (listing.error().code == EACCES || listing.error().code == EPERM)
            reportHidden(examination, subject, directory, listing.error());
        else
            examination.bad(subject,
                directory + " cannot be listed: " + message(listing.error()) + '.',
                "Remove it; it is made again when it is needed.");
        return std::nullopt;
    }
    std::erase_if(
        listing->names, [ending](const std::string& name) { return !name.ends_with(ending); });
    std::ranges::sort(listing->names);
    return std::move(listing->names);
}

// The age of the oldest file, in seconds; 0 if all have gone in the meantime.
double greatestAge(
    const std::string& directory, const std::vector<std::string>& names, base::Timestamp now)
{
    double greatest = 0;
    for (const std::string& name : names) {
        const auto status = platform::statusOfItem(bridge::appendingPathComponent(directory, name));
        if (status)
            greatest = std::max(greatest, base::secondsBetween(status->modifiedAt, now));
    }
    return greatest;
}

struct Queue {
    std::string subject;
    std::string directory;
    std::string_view ending;
    std::string_view singular;
    std::string nobodyTakesThem; // what it means if they wait for long
    std::string advice;
};

void examineQueue(Examination& examination, const Queue& queue)
{
    const auto names = namesIn(examination, queue.subject, queue.directory, queue.ending);
    if (!names)
        return;
    if (names->empty()) {
        examination.good(queue.subject, "No " + std::string(queue.singular) + " waits.");
        return;
    }
    const double age = greatestAge(queue.directory, *names, examination.probes.now());
    const std::string text = countText(names->size(), queue.singular)
        + (names->size() == 1 ? " waits" : " wait") + " in " + queue.directory + ", for "
        + durationText(age) + " at most";
    if (age <= longestWait)
        examination.good(queue.subject, text + '.');
    else
        examination.notice(queue.subject, text + ": " + queue.nobodyTakesThem, queue.advice);
}

void examineReadinessFile(
    Examination& examination, const std::string& path, const std::string& token)
{
    const std::string subject = "readiness";
    const auto contents = bridge::readLimitedRegularFile(
        path, std::int64_t { bridge::maximumReadinessEnvelopeBytes }, platform::localFileSystem());
    if (!contents) {
        examination.notice(
            subject, path + " cannot be read: " + asSentence(message(contents.error())));
        return;
    }
    const auto envelope = bridge::decodeBrowserBridgeReadinessEnvelope(*contents);
    if (!envelope) {
        examination.notice(
            subject, path + " is no readiness record: " + asSentence(message(envelope.error())));
        return;
    }
    const bridge::BrowserBridgeReadiness& readiness = envelope->readiness;
    const double age = base::secondsBetween(readiness.updatedAt, examination.probes.now());
    const std::string text = readiness.browserBundleIdentifier + " reported " + durationText(age)
        + " ago: extension " + readiness.extensionVersion + ", host " + readiness.nativeHostVersion
        + (readiness.connectionAvailable ? ", connected." : ", not connected any more.");
    if (envelope->token != token)
        examination.notice(subject,
            text
                + " The report carries another token than the present one, so Kestrane ignores it.",
            "Reload the extension, so that it reports again.");
    else
        examination.good(subject, text);
}

void examineReadiness(
    Examination& examination, const std::string& directory, const std::string& token)
{
    const auto names = namesIn(examination, "readiness", directory, ".readiness");
    if (!names)
        return;
    if (names->empty())
        examination.notice("readiness", "No extension has reported to Kestrane yet.",
            "Open the browser in which the extension is installed and switched on.");
    for (const std::string& name : *names)
        examineReadinessFile(examination, bridge::appendingPathComponent(directory, name), token);
}

} // namespace

void examineQueues(Examination& examination, const std::string& root, const std::string& token)
{
    examineQueue(examination,
        { .subject = "commands",
            .directory = bridge::appendingPathComponent(root, bridge::commandsDirectoryName),
            .ending = ".command",
            .singular = "command",
            .nobodyTakesThem = "no extension has asked its host since.",
            .advice = "Open the browser and see that the extension is switched on." });
    examineQueue(examination,
        { .subject = "events",
            .directory = bridge::appendingPathComponent(root, bridge::inboxDirectoryName),
            .ending = ".event",
            .singular = "event",
            .nobodyTakesThem = "Kestrane does not take them.",
            .advice = "Restart Kestrane." });
    examineReadiness(
        examination, bridge::appendingPathComponent(root, bridge::readinessDirectoryName), token);
}

} // namespace kestranectl
