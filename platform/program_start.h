#pragma once
// The first half of `ChildProcess`: starting the program.

#include "platform/child_process.h"

namespace platform {

/// Starts the program of `options` with these descriptors, both above the standard streams, as its
/// standard input and output; everything else is as `ChildProcess::start` says. Yields its process
/// identifier.
[[nodiscard]] FileResult<int> startProgram(
    const ChildProcessOptions& options, int input, int output);

} // namespace platform
