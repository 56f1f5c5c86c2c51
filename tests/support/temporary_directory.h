#pragma once
// A directory of its own for a test, removed with all that it holds at the end.

#include <string>
#include <string_view>
#include <vector>

namespace support {

class TemporaryDirectory {
public:
    TemporaryDirectory();
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
    ~TemporaryDirectory();

    [[nodiscard]] const std::string& path() const { return path_; }

    /// The path of `name` in the directory.
    [[nodiscard]] std::string operator/(std::string_view name) const;

private:
    std::string path_;
};

// What tests do with files, straight through the operating system; every failure fails the test.

/// Makes or replaces a file, and the directories above it, and sets its permissions.
void writeFile(const std::string& path, std::string_view contents, unsigned permissions = 0600);

[[nodiscard]] std::string readFile(const std::string& path);

void makeDirectory(const std::string& path, unsigned permissions = 0700);
void makeSymbolicLink(const std::string& target, const std::string& path);
void makeFIFO(const std::string& path);

/// Makes a socket file that nobody listens on.
void makeSocket(const std::string& path);

/// Whether there is an item of that name; a symbolic link counts whatever it points to.
[[nodiscard]] bool exists(const std::string& path);

/// The permission bits of an item itself, links not followed.
[[nodiscard]] unsigned permissionsOf(const std::string& path);
void setPermissions(const std::string& path, unsigned permissions);

/// All names in a directory but "." and "..", sorted; empty if there is no such directory.
[[nodiscard]] std::vector<std::string> namesIn(const std::string& path);

/// The umask of the process, set for a scope.
class ScopedUmask {
public:
    explicit ScopedUmask(unsigned mask);
    ScopedUmask(const ScopedUmask&) = delete;
    ScopedUmask& operator=(const ScopedUmask&) = delete;
    ~ScopedUmask();

private:
    unsigned previous_;
};

} // namespace support
