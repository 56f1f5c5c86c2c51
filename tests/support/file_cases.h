#pragma once
// Tables of what a file system operation does to a directory: what is there, what is done, what
// comes of it and what is left.

#include "platform/file_system.h"

#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace support {

/// "done", or the text of the error.
[[nodiscard]] std::string outcome(const platform::FileResult<void>& result);

/// How `outcome` shows the error number.
[[nodiscard]] std::string failure(int code);

/// The item itself in words: "absent", "link", or its kind and permissions, and its size if it is a
/// file ("directory 0700", "file 0644 10 B", "FIFO 0600", "socket 0755", "device 0666").
[[nodiscard]] std::string describeItem(const std::string& path);

struct FileCase {
    const char* name;
    /// Both get the path of a fresh directory, without a slash at the end.
    std::function<void(const std::string& directory)> prepare;
    std::function<std::string(const std::string& directory)> act;
    std::string outcome;
    /// Names in the directory and how `describeItem` finds them afterwards.
    std::vector<std::pair<std::string, std::string>> left {};
    unsigned umask = 022;
};

/// Checks every case as the user who runs the tests.
void checkCases(const std::vector<FileCase>& cases);

/// Checks every case as the user who runs the tests, and as one without privileges.
void checkCasesForEveryone(const std::vector<FileCase>& cases);

/// Checks every case as root; skips the test for anybody else.
void checkCasesForRoot(const std::vector<FileCase>& cases);

/// Checks every case as a user without privileges.
void checkCasesForOrdinaryUser(const std::vector<FileCase>& cases);

/// Prepares every case as root, in a directory of root's, and does the rest as a user without
/// privileges; skips the test for anybody but root.
void checkCasesAmongRootsFiles(const std::vector<FileCase>& cases);

/// Makes an item the unprivileged user's own.
void giveToUnprivilegedUser(const std::string& path);

} // namespace support
