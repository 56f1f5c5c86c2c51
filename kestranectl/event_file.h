#pragma once
// Reading the files of "Inbox". They may be larger than anything that hosts read, so the store has
// no operation for them.

#include "bridge/bridge_store.h"

#include <string>

namespace kestranectl {

/// Reads the regular file at `location`, at most `bridge::maximumEventEnvelopeBytes` bytes. Waits
/// for nothing, follows no symbolic link at the end of the path, and fails as
/// `bridge::readLimitedRegularFile` does.
[[nodiscard]] bridge::StoreResult<std::string> readEventFile(
    const platform::Location& location, const platform::FileSystem& fileSystem);

} // namespace kestranectl
