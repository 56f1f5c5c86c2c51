#pragma once
// Opens applications by their identifier, as a person would from the desktop.

#include <string_view>

namespace platform {

/// Asks the desktop to open the application with this identifier. If no such application is
/// installed, nothing happens. Returns at once: the outcome is neither awaited nor reported. What
/// is started shares nothing with this process: on Linux it is detached (detached_process.h) in the
/// user's home directory and gets this process's environment without what the browser adds for
/// itself; on macOS it is started by the system.
///
/// Yields whether the request may still lie in a queue of this process, so that it would be lost if
/// the process ended now (request_departure.h).
///
/// macOS: `identifier` is a bundle identifier, looked up in the system's registry of applications.
/// Linux: the application is the desktop entry "<identifier>.desktop" in the first of the XDG data
/// directories that has it (XDG Base Directory and Desktop Entry specifications), started by GIO's
/// own command through its Exec key. An identifier with a "/" names no application.
[[nodiscard]] bool openApplication(std::string_view identifier);

} // namespace platform
