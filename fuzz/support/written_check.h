#pragma once
// Claims about what the host writes: responses, events and readiness.

#include "fuzz/support/effects.h"
#include "fuzz/support/naive_host.h"

#include <string>
#include <string_view>

namespace fuzz {

/// Claims what holds for every response: compact JSON of at most 16384 bytes with the members that
/// a response has, each of its type, the versions of this host, and an error exactly if it is not
/// accepted. Yields the response.
[[nodiscard]] NaiveValue readResponse(std::string_view response);

struct WrittenEvent {
    NaiveValue envelope;
    NaiveValue event;
};

/// Claims that an event's file is named by the time and holds a whole event in a whole envelope,
/// both in compact JSON.
[[nodiscard]] WrittenEvent readEvent(const WrittenFile& file, double now);

/// Whether `event` is the one that was predicted and has no other members; an "id" that was not
/// predicted is any.
[[nodiscard]] bool isSameEvent(const NaiveValue& event, const NaiveValue& predicted);

/// Claims that the file of an event that is relayed holds the token, the session and the event that
/// were predicted, and nothing else.
void checkEvent(const WrittenFile& file, const Prediction& prediction);

/// Claims that a readiness file says what was predicted.
void checkReadiness(std::string_view contents, const Prediction& prediction);

} // namespace fuzz
