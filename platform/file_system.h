#pragma once
// The file system, as far as the bridge store needs it.
//
// Items are opened first and asked afterwards, so that what was checked is what is read. Paths are
// bytes as the operating system takes them, without NUL. Every operation that can fail yields the
// operating system's error.

#include <cstddef>
#include <cstdint>
#include <expected>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace platform {

/// An error number of the operating system (<errno.h>).
struct FileError {
    int code = 0;

    friend bool operator==(const FileError&, const FileError&) = default;
};

/// The operating system's text for the error. It names no path.
[[nodiscard]] std::string message(FileError error);

/// Whether the operating system has a text for the error, so that it is one of its own.
[[nodiscard]] bool isKnown(FileError error);

template <typename Value> using FileResult = std::expected<Value, FileError>;

enum class FileKind : std::uint8_t { regular, directory, symbolicLink, other };

struct FileAttributes {
    FileKind kind = FileKind::other;
    std::uint64_t size = 0; // in bytes
};

class FileSystem;

/// An open file of `fileSystem`, closed when this goes; an error of closing is dropped.
class OpenFile {
public:
    OpenFile(const FileSystem& fileSystem, int number)
        : fileSystem_(&fileSystem)
        , number_(number)
    {
    }
    OpenFile(OpenFile&& other) noexcept;
    OpenFile& operator=(OpenFile&&) = delete;
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;
    ~OpenFile();

    /// What the file system calls the open file; meaningful to it alone.
    [[nodiscard]] int number() const { return number_; }

private:
    const FileSystem* fileSystem_;
    int number_;
};

/// Where an item lies, to be passed on and not to be kept. A path leads wherever the directories in
/// it lead at the moment. In an open directory the item is the one of the path's last name, and
/// nobody can lead elsewhere by putting something else, a symbolic link perhaps, in the directory's
/// place.
struct Location {
    // A path alone is a location, too.
    Location(const std::string& itsPath)
        : path(itsPath)
    {
    }
    Location(const std::string& itsPath, const OpenFile& openDirectory)
        : path(itsPath)
        , directory(&openDirectory)
    {
    }

    const std::string& path;
    const OpenFile* directory = nullptr;
};

/// A directory and what it holds.
struct DirectoryListing {
    OpenFile directory;
    std::vector<std::string> names;
};

class FileSystem {
public:
    virtual ~FileSystem() = default;

    /// Opens an existing item for reading. A symbolic link at the end of the path is not followed
    /// (it fails); nothing waits for the other end of a FIFO.
    [[nodiscard]] virtual FileResult<OpenFile> openForReading(const Location& location) const = 0;

    /// Makes a new, empty file for writing, with permissions 0600 less the process's umask. Fails
    /// if the name is taken, whatever it names.
    [[nodiscard]] virtual FileResult<OpenFile> createFile(const std::string& path) const = 0;

    [[nodiscard]] virtual FileResult<FileAttributes> attributes(const OpenFile& file) const = 0;

    /// The attributes of the item itself; a symbolic link at the end of the path is not followed.
    [[nodiscard]] virtual FileResult<FileAttributes> attributes(const Location& location) const = 0;

    /// Reads at most `buffer.size()` bytes from where the last reading ended. 0 means the end of
    /// the file.
    [[nodiscard]] virtual FileResult<std::size_t> read(
        const OpenFile& file, std::span<char> buffer) const
        = 0;

    /// Writes all bytes. After a failure some of them may have been written.
    [[nodiscard]] virtual FileResult<void> write(const OpenFile& file, std::string_view bytes) const
        = 0;

    /// Sets the permission bits exactly, whatever the umask.
    [[nodiscard]] virtual FileResult<void> setPermissions(
        const OpenFile& file, unsigned permissions) const
        = 0;

    /// Sets the permission bits of a directory exactly; a symbolic link to a directory is followed.
    /// Fails for anything that is no directory.
    [[nodiscard]] virtual FileResult<void> setDirectoryPermissions(
        const std::string& path, unsigned permissions) const
        = 0;

    /// Makes the directory and all missing ones above it, each with exactly `permissions`. An
    /// existing directory, also one behind a symbolic link, is left as it is and is no failure.
    /// What was made before a failure stays.
    [[nodiscard]] virtual FileResult<void> createDirectories(
        const std::string& path, unsigned permissions) const
        = 0;

    /// Gives an item another name in one step; what had that name before is replaced.
    [[nodiscard]] virtual FileResult<void> rename(
        const std::string& from, const std::string& to) const
        = 0;

    /// A directory, open, and the names in it, in no particular order, without those that begin
    /// with ".". Fails for anything that is no directory, a symbolic link to one included.
    [[nodiscard]] virtual FileResult<DirectoryListing> visibleNames(const std::string& path) const
        = 0;

    /// Removes an item: a directory with all that it holds, a symbolic link itself and never its
    /// target. Stops at the first failure; what was removed until then stays removed.
    [[nodiscard]] virtual FileResult<void> remove(const Location& location) const = 0;

    /// The current user's home directory where the password database has none for the real user id:
    /// the environment's CFFIXED_USER_HOME, then the password database's entry of the effective
    /// user id, then the environment's HOME, then "/". Variables count if they are absolute paths.
    [[nodiscard]] virtual std::string homeDirectoryForCurrentUser() const = 0;

    /// Ends the use of an open file. Called by OpenFile alone.
    virtual void close(int number) const = 0;
};

/// The file system of this machine.
[[nodiscard]] const FileSystem& localFileSystem();

} // namespace platform
