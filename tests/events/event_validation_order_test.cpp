#include "tests/events/validation_outcome.h"

#include <cstddef>
#include <limits>
#include <optional>
#include <string>
#include <vector>

namespace events {

namespace {

struct Validation {
    BrowserActivityEvent event = support::validEvent();
    base::Timestamp now = support::sampleTime;
};

// One way to break one rule that leaves all others whole.
struct Breach {
    std::string name;
    Case failure;
    void (*apply)(Validation&);
};

// In the order of the checks. The two bounds of the time span exclude each other; the later one
// stands apart below.
const std::vector<Breach> breaches {
    { "time is no instant", Case::malformedPayload,
        [](Validation& input) { input.now = { std::numeric_limits<double>::infinity() }; } },
    { "too old", Case::timestampTooOld,
        [](Validation& input) {
            input.event.timestamp = support::after(support::sampleTime, -121);
        } },
    { "browser", Case::unsupportedBrowser,
        [](Validation& input) { input.event.browserBundleIdentifier = "com.example.Browser"; } },
    { "display name", Case::invalidBrowserDisplayName,
        [](Validation& input) { input.event.browserDisplayName = " "; } },
    { "host name", Case::invalidHostname, [](Validation& input) { input.event.hostname = "a_b"; } },
    { "tab identifier", Case::invalidTemporaryTabIdentifier,
        [](Validation& input) { input.event.temporaryTabIdentifier = "a b"; } },
    { "PDF identifier", Case::invalidPDFIdentifier,
        [](Validation& input) { input.event.pdfIdentifier = "none"; } },
    { "label", Case::invalidPDFLabel, [](Validation& input) { input.event.pdfLabel = "a/b"; } },
    { "label source", Case::invalidPDFLabelSource,
        [](Validation& input) { input.event.pdfLabelSource = BrowserPDFLabelSource::manual; } },
    { "permission", Case::invalidLocalFilePermission,
        [](Validation& input) {
            input.event.localFilePermission = static_cast<BrowserLocalFilePermission>(3);
        } },
    { "private browsing", Case::privateBrowsingDataRejected,
        [](Validation& input) { input.event.isPrivate = true; } },
    { "combination", Case::invalidFieldCombination,
        [](Validation& input) { input.event.eventType = BrowserActivityEventType::tabClosed; } },
};

std::optional<Case> failureOf(const Validation& input)
{
    return failureOf(input.event, input.now);
}

} // namespace

TEST(ValidateEventOrder, StartsFromAnEventThatBreaksNoRule)
{
    EXPECT_EQ(failureOf(Validation {}), std::nullopt);
}

TEST(ValidateEventOrder, ReportsEachBreachAlone)
{
    for (const Breach& breach : breaches) {
        Validation input;
        breach.apply(input);
        EXPECT_EQ(failureOf(input), breach.failure) << breach.name;
    }
}

TEST(ValidateEventOrder, ReportsTheEarlierOfAnyTwoBreaches)
{
    for (std::size_t first = 0; first < breaches.size(); ++first) {
        for (std::size_t second = first + 1; second < breaches.size(); ++second) {
            Validation input;
            breaches[first].apply(input);
            breaches[second].apply(input);
            EXPECT_EQ(failureOf(input), breaches[first].failure)
                << breaches[first].name << " before " << breaches[second].name;
        }
    }
}

TEST(ValidateEventOrder, ReportsATimeStampInTheFutureBeforeAllButTheClock)
{
    for (std::size_t second = 2; second < breaches.size(); ++second) {
        Validation input;
        input.event.timestamp = support::after(support::sampleTime, 31);
        breaches[second].apply(input);
        EXPECT_EQ(failureOf(input), Case::timestampTooFarInFuture) << breaches[second].name;
    }
}

TEST(ValidateEventOrder, ReportsTheFirstWhenAllAreBroken)
{
    for (std::size_t first = 0; first < breaches.size(); ++first) {
        Validation input;
        for (std::size_t index = first; index < breaches.size(); ++index)
            breaches[index].apply(input);
        EXPECT_EQ(failureOf(input), breaches[first].failure) << breaches[first].name;
    }
}

} // namespace events
