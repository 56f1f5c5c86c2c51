#pragma once
// A bridge directory of its own for a test, with a store on it and a file system that can be made
// to fail.

#include "bridge/bridge_store.h"
#include "tests/support/failing_file_system.h"
#include "tests/support/samples.h"
#include "tests/support/temporary_directory.h"

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <filesystem>
#include <ostream>
#include <string>
#include <string_view>

namespace bridge {

/// For the messages of failing tests.
inline std::ostream& operator<<(std::ostream& stream, BrowserBridgeStoreError error)
{
    return stream << message(error);
}

/// What the operating system may answer to any call on a directory that is full, read-only, someone
/// else's or broken.
inline constexpr std::array everydayErrors { EACCES, ENOSPC, EROFS, EIO, EDQUOT };

// Failures of store operations, to compare with.
inline constexpr StoreFailure payloadTooLarge = BrowserBridgeStoreError::payloadTooLarge;
inline constexpr StoreFailure malformedEnvelope = BrowserBridgeStoreError::malformedEnvelope;

constexpr StoreFailure fileError(int code)
{
    return platform::FileError { code };
}

constexpr StoreFailure jsonError(base::JsonErrorKind kind, std::string_view key = {})
{
    return base::JsonError { .kind = kind, .key = key };
}

struct BridgeDirectory {
    support::TemporaryDirectory directory;
    support::FailingFileSystem fileSystem;
    BrowserBridgeStore store { directory.path() };

    [[nodiscard]] const std::string& path() const { return directory.path(); }

    [[nodiscard]] std::string operator/(std::string_view name) const { return directory / name; }

    /// Whether a temporary file was left anywhere below the root.
    [[nodiscard]] bool holdsTemporaryFile() const
    {
        for (const auto& entry : std::filesystem::recursive_directory_iterator(path())) {
            if (entry.path().string().ends_with(".temporary"))
                return true;
        }
        return false;
    }
};

} // namespace bridge
