#pragma once
// What is left of a process that is ended by a fault.

namespace platform {

/// Has the system keep no image of this process's memory, which holds the token and what the user
/// visits, should it end by a fault. Where the system does not let itself be told, nothing happens.
/// Programs that this one starts are not concerned.
void forbidCoreFiles();

} // namespace platform
