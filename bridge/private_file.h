#pragma once
// The steps of writing a file that another process may be reading: everything goes to a temporary
// file beside it, which takes the final name in one step.

#include "platform/file_system.h"

#include <string>
#include <string_view>
#include <utility>

namespace bridge {

// Decimal 448 and 384: nobody but the user.
inline constexpr unsigned privateDirectoryPermissions = 0700;
inline constexpr unsigned privateFilePermissions = 0600;

/// A new file that holds `bytes`, still open. Its temporary name is removed when this goes, unless
/// it was given up.
class TemporaryFile {
public:
    /// Fails with the file system's error; nothing is left then. `path` must not exist.
    [[nodiscard]] static platform::FileResult<TemporaryFile> write(
        std::string_view bytes, std::string path, const platform::FileSystem& fileSystem);

    TemporaryFile(TemporaryFile&& other) noexcept;
    TemporaryFile& operator=(TemporaryFile&&) = delete;
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    ~TemporaryFile();

    /// Sets permissions 0600. Works on the open file: it is the file written here whatever its name
    /// is by now, and also if the application has consumed it already.
    [[nodiscard]] platform::FileResult<void> makePrivate() const;

    /// Gives the file its final name.
    [[nodiscard]] platform::FileResult<void> renameTo(const std::string& finalPath) const;

    /// The temporary name is gone, so nothing is left to remove.
    void giveUpName() { isNamed_ = false; }

private:
    TemporaryFile(platform::OpenFile file, std::string path, const platform::FileSystem& fileSystem)
        : fileSystem_(fileSystem)
        , file_(std::move(file))
        , path_(std::move(path))
    {
    }

    const platform::FileSystem& fileSystem_;
    platform::OpenFile file_;
    std::string path_;
    bool isNamed_ = true;
};

} // namespace bridge
