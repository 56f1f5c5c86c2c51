#pragma once
// What the system says of an item besides its kind and size: whose it is, who may do what with it,
// and where a path with links leads.

#include "base/timestamp.h"
#include "platform/file_system.h"

#include <cstdint>
#include <string>

namespace platform {

struct ItemStatus {
    FileKind kind = FileKind::other;
    std::uint64_t size = 0; // in bytes
    unsigned permissions = 0; // the permission bits with set-user-ID, set-group-ID and sticky bit
    std::uint32_t owner = 0; // user id
    std::uint32_t group = 0; // group id
    base::Timestamp modifiedAt; // in whole seconds
};

/// Whether the error says that nothing is at a path. Every other one, of permissions above all,
/// leaves that open.
[[nodiscard]] bool saysAbsent(FileError error);

/// The item itself; a symbolic link at the end of the path is not followed.
[[nodiscard]] FileResult<ItemStatus> statusOfItem(const std::string& path);

/// What the path leads to.
[[nodiscard]] FileResult<ItemStatus> statusOfTarget(const std::string& path);

/// Whether this process may execute the file that the path leads to; for a directory, whether it
/// may search it. The error says why not.
[[nodiscard]] FileResult<void> mayExecute(const std::string& path);

/// The absolute path without links, "." and ".." that leads to the same item, which must exist.
[[nodiscard]] FileResult<std::string> resolvedPath(const std::string& path);

/// The effective user id of this process; 0 is the administrator.
[[nodiscard]] std::uint32_t currentUser();

} // namespace platform
