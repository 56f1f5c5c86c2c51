#include "events/event_validation.h"

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <utility>

namespace events {

namespace {

using Error = BrowserEventValidationError;
using Case = BrowserEventValidationError::Case;

} // namespace

TEST(BrowserEventValidationErrorMessage, IsFixedForEveryCaseWithoutPayload)
{
    constexpr std::array<std::pair<Case, std::string_view>, 13> messages { {
        { Case::emptyPayload, "The browser event is empty." },
        { Case::malformedPayload, "The browser event is not valid Kestrane JSON." },
        { Case::invalidBrowserDisplayName, "The browser display name is invalid." },
        { Case::invalidHostname, "The browser hostname is invalid." },
        { Case::invalidTemporaryTabIdentifier, "The temporary browser tab identifier is invalid." },
        { Case::invalidPDFIdentifier, "The local PDF identifier is invalid." },
        { Case::invalidPDFLabel, "The local PDF label is invalid." },
        { Case::invalidPDFLabelSource, "The local PDF label source is invalid." },
        { Case::invalidLocalFilePermission, "The local-file permission status is invalid." },
        { Case::invalidFieldCombination,
            "The event contains fields that are not valid for its event type." },
        { Case::privateBrowsingDataRejected,
            "Kestrane does not accept hostnames or tab identifiers from private browsing." },
        { Case::timestampTooOld, "The browser event timestamp is too old." },
        { Case::timestampTooFarInFuture, "The browser event timestamp is too far in the future." },
    } };
    for (const auto& [errorCase, text] : messages)
        EXPECT_EQ(message(Error { .errorCase = errorCase }), text);
}

TEST(BrowserEventValidationErrorMessage, NamesBothSizesAsPlainDecimalIntegers)
{
    EXPECT_EQ(
        message(Error {
            .errorCase = Case::payloadTooLarge, .actualBytes = 16385, .maximumBytes = 16384 }),
        "The browser event is 16385 bytes; the limit is 16384 bytes.");
    EXPECT_EQ(message(Error { .errorCase = Case::payloadTooLarge,
                  .actualBytes = std::numeric_limits<std::int64_t>::max(),
                  .maximumBytes = 0 }),
        "The browser event is 9223372036854775807 bytes; the limit is 0 bytes.");
}

TEST(BrowserEventValidationErrorMessage, NamesTheIdentifierOfAnUnsupportedBrowser)
{
    EXPECT_EQ(message(Error { .errorCase = Case::unsupportedBrowser,
                  .browserBundleIdentifier = "com.example.Browser" }),
        "The browser bundle identifier is not allowed: com.example.Browser");
    EXPECT_EQ(message(Error { .errorCase = Case::unsupportedBrowser }),
        "The browser bundle identifier is not allowed: ");
}

TEST(BrowserEventValidationError, IsEqualForTheSameCaseAndPayload)
{
    const Error tooLarge {
        .errorCase = Case::payloadTooLarge, .actualBytes = 2, .maximumBytes = 1
    };
    EXPECT_EQ(tooLarge,
        (Error { .errorCase = Case::payloadTooLarge, .actualBytes = 2, .maximumBytes = 1 }));
    EXPECT_NE(tooLarge,
        (Error { .errorCase = Case::payloadTooLarge, .actualBytes = 3, .maximumBytes = 1 }));
    EXPECT_NE(tooLarge,
        (Error { .errorCase = Case::payloadTooLarge, .actualBytes = 2, .maximumBytes = 2 }));
    EXPECT_NE(tooLarge, (Error { .errorCase = Case::emptyPayload }));

    const Error unsupported { .errorCase = Case::unsupportedBrowser,
        .browserBundleIdentifier = "a" };
    EXPECT_EQ(unsupported,
        (Error { .errorCase = Case::unsupportedBrowser, .browserBundleIdentifier = "a" }));
    EXPECT_NE(unsupported,
        (Error { .errorCase = Case::unsupportedBrowser, .browserBundleIdentifier = "A" }));
    EXPECT_NE((Error { .errorCase = Case::timestampTooOld }),
        (Error { .errorCase = Case::timestampTooFarInFuture }));
}

TEST(ValidatorSettings, AreTheLimitsOfTheHost)
{
    constexpr ValidatorSettings settings;
    EXPECT_EQ(settings.maximumPayloadBytes, 16384);
    EXPECT_EQ(settings.maximumAge, 120.0);
    EXPECT_EQ(settings.maximumFutureSkew, 30.0);
}

} // namespace events
