#pragma once
// Starting programs that are to live on by themselves.

#include <string>
#include <vector>

namespace platform {

/// Starts the program `arguments[0]`, an absolute path, in a process that shares nothing with this
/// one: it has a session of its own without a terminal, its standard streams on the null device and
/// no other file open, default signal dispositions and an empty signal mask, exactly the variables
/// `environment` ("NAME=value"), and `workingDirectory`, or the root directory where that cannot be
/// entered. It is no child of this process, so nobody has to wait for it.
///
/// Returns before the program runs. If it cannot be started, or not in this way, nothing happens.
void startDetached(std::vector<std::string> arguments, std::vector<std::string> environment,
    const std::string& workingDirectory);

} // namespace platform
