#pragma once
// From the words of the command line to what is to be done.

#include "kestranectl/connect.h"
#include "kestranectl/console.h"
#include "kestranectl/doctor.h"
#include "kestranectl/registration.h"
#include "kestranectl/simulate.h"
#include "kestranectl/watch.h"

#include <cstdint>
#include <expected>
#include <span>
#include <variant>

namespace kestranectl {

struct DecodeLengthOptions {
    std::uint32_t length = 0;
};

using Command = std::variant<RegisterOptions, UnregisterOptions, DoctorOptions, WatchOptions,
    SimulateOptions, ConnectOptions, DecodeLengthOptions>;

/// Reads the arguments, the program's name first. Where nothing is to be done, because help or the
/// version was asked for (printed, success) or the words make no sense (said on standard error,
/// usage), yields the status to end with.
[[nodiscard]] std::expected<Command, ExitStatus> parseCommandLine(
    std::span<const char* const> arguments, const Console& console);

} // namespace kestranectl
