#pragma once
// Holds what a request led to against what was predicted.

#include "fuzz/support/effects.h"
#include "fuzz/support/naive_host.h"

#include <optional>
#include <string>
#include <string_view>

namespace fuzz {

struct Outcome {
    /// None at the end of a session.
    std::optional<NaiveValue> response {};
    Effects effects {};
    /// As it lies there afterwards.
    std::optional<std::string> readinessContents {};
    NaiveMemory memory {};
    int openings = 0; // of the application
};

/// Claims that the response is the one that was predicted.
void checkResponse(const NaiveValue& response, const Prediction& prediction);

/// Claims that the outcome is the one that was predicted.
void checkOutcome(const Outcome& outcome, const Prediction& prediction);

/// Claims that the outcome is no worse than the failure of one call explains: the request gets the
/// answer that was predicted or one that knows less; nothing is accepted that would have been
/// refused, no event is told to have reached the inbox that has not, and what is written is whole
/// and right. `failure` is the failed call's error as a text.
void checkOutcomeOfFailure(
    const Outcome& outcome, const Prediction& prediction, std::string_view failure);

} // namespace fuzz
