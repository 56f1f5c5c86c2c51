#pragma once
// The three descriptors that every program expects to be started with.

namespace platform {

/// Puts the null device in the place of every standard stream that is closed. Otherwise the next
/// file that is opened would take the place, and get to read or to keep what is meant for the user.
void fillMissingStandardStreams();

} // namespace platform
