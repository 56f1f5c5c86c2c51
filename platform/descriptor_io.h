#pragma once
// Reading from and writing to file descriptors. Interrupted calls are made again, and a descriptor
// that is set not to block is waited for, so callers see nothing but progress, the end and real
// errors.

#include "platform/file_system.h"

#include <cstddef>
#include <span>
#include <string_view>

namespace platform {

/// Opens `path`, which starts at the open directory `directory` unless it is absolute or that is
/// AT_FDCWD, with the flags of openat(2) and O_CLOEXEC. A file that is made has permissions 0600
/// less the process's umask. Yields the descriptor, or -1 with `errno`.
[[nodiscard]] int openAt(int directory, const char* path, int flags);

/// Reads what is there, at least one and at most `buffer.size()` bytes; waits until something is. 0
/// means the end.
[[nodiscard]] FileResult<std::size_t> readSome(int descriptor, std::span<char> buffer);

/// Writes all bytes: with one call to the operating system, and with further ones for what a call
/// leaves over.
[[nodiscard]] FileResult<void> writeAll(int descriptor, std::string_view bytes);

} // namespace platform
