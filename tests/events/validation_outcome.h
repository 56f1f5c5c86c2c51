#pragma once
// Validation as the tests ask for it: with the settings that the host uses, at the time of the
// samples.

#include "events/event_validation.h"
#include "tests/support/samples.h"

#include <gtest/gtest.h>

#include <optional>
#include <ostream>
#include <string>

namespace events {

using Case = BrowserEventValidationError::Case;

/// For the messages of failing tests.
inline std::ostream& operator<<(std::ostream& stream, Case errorCase)
{
    return stream << message(BrowserEventValidationError { .errorCase = errorCase });
}

/// Why the event is refused; none if it is accepted.
inline std::optional<Case> failureOf(
    const BrowserActivityEvent& event, base::Timestamp now = support::sampleTime)
{
    const auto validated = validate(event, now, ValidatorSettings {});
    return validated ? std::nullopt : std::optional(validated.error().errorCase);
}

/// The event in normal form, which must be accepted.
inline BrowserActivityEvent accepted(const BrowserActivityEvent& event)
{
    const auto validated = validate(event, support::sampleTime, ValidatorSettings {});
    if (!validated)
        ADD_FAILURE() << message(validated.error());
    return validated.value_or(BrowserActivityEvent {});
}

} // namespace events
