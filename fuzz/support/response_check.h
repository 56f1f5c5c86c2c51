#pragma once
// Claims about responses and about the records that the host writes.

#include "fuzz/support/naive_host.h"

#include <string>
#include <string_view>

namespace fuzz {

/// Claims what holds for every response: JSON of at most 16384 bytes with the members that a
/// response has, either accepted or with one of the known reasons, and without the token.
[[nodiscard]] NaiveValue checkResponse(std::string_view response, std::string_view token);

/// Claims that the response says what was predicted.
void checkPrediction(const NaiveValue& response, const Prediction& prediction,
    const std::optional<std::string>& permission);

/// Claims that an event's file is whole, encoded as the host encodes it, and in the normal form
/// that the validator accepts at that time; yields the event.
[[nodiscard]] NaiveValue checkEventFile(
    std::string_view name, std::string_view contents, std::string_view token, double now);

/// Claims that a readiness file is whole and encoded as the host encodes it; yields the report.
[[nodiscard]] NaiveValue checkReadinessFile(std::string_view contents, std::string_view token);

/// Claims that every member of `expected` is in `event`, and that nothing else is but "id" and
/// "timestamp".
void checkRelayedEvent(const NaiveValue& event, const NaiveValue& expected);

} // namespace fuzz
