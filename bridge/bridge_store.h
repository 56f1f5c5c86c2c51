#pragma once
// The bridge directory: where the host and the application leave files for each other.
//
// Everything is private to the user: directories 0700, files 0600. Reads are bounded before they
// happen and take nothing but regular files. Files that the application may be reading are written
// beside their final name and renamed onto it. Nothing is cached: every operation goes to the file
// system, which is passed in.
//
//   bridge-token      64 hexadecimal digits             written by the application
//   state.json        BrowserBridgeState                written by the application
//   preferences.json  BrowserBridgePreferencesEnvelope  written by the application
//   Inbox             one ".event" file per event       written by the host, consumed by the
//   application Commands          ".command" files                  written by the application,
//   deleted by the host Readiness         one ".readiness" file per browser written by the host

#include "base/json_reader.h"
#include "base/timestamp.h"
#include "base/uuid.h"
#include "bridge/bridge_records.h"
#include "platform/file_system.h"
#include "platform/process.h"

#include <cstdint>
#include <expected>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace bridge {

/// The store's own failures.
enum class BrowserBridgeStoreError : std::uint8_t {
    tokenUnavailable, // the token file cannot be read or holds no valid token
    payloadTooLarge, // a file or message is larger than the limit that applies
    malformedEnvelope // a file is not a regular file, or a record breaks a rule
};

/// The user-facing text of `error`.
[[nodiscard]] std::string_view message(BrowserBridgeStoreError error);

using StoreFailure = std::variant<BrowserBridgeStoreError, platform::FileError, base::JsonError>;
template <typename Value> using StoreResult = std::expected<Value, StoreFailure>;

/// The user-facing text of `failure`. It names no path and holds no data.
[[nodiscard]] std::string message(const StoreFailure& failure);

// What the bridge directory holds.
inline constexpr std::string_view tokenFileName = "bridge-token";
inline constexpr std::string_view stateFileName = "state.json";
inline constexpr std::string_view preferencesFileName = "preferences.json";
inline constexpr std::string_view inboxDirectoryName = "Inbox";
inline constexpr std::string_view commandsDirectoryName = "Commands";
inline constexpr std::string_view readinessDirectoryName = "Readiness";

// Limits in bytes.
inline constexpr std::int64_t maximumTokenBytes = 128;
inline constexpr std::int64_t maximumStateBytes = 4096;
inline constexpr std::int64_t maximumPreferencesBytes = 4096;
inline constexpr std::int64_t maximumCommandBytes = 16384;
inline constexpr std::size_t maximumEventDataBytes = 16384;
inline constexpr std::size_t maximumEventEnvelopeBytes = 32768;
inline constexpr std::size_t maximumReadinessEnvelopeBytes = 4096;

/// The environment variable that names the bridge directory.
inline constexpr const char* bridgeDirectoryVariable = "MERROWIN_BRIDGE_DIR";

/// A handle on the bridge directory. It holds nothing but the directory's location.
struct BrowserBridgeStore {
    std::string rootURL; // a path; relative ones are relative to the working directory

    /// Where the bridge directory is: the value of MERROWIN_BRIDGE_DIR as it stands if it is not
    /// empty; otherwise "Library/Application Support/Merrowin/BrowserBridge" below the home
    /// directory of the real user id's entry in the password database, or below the file system's
    /// idea of it where there is no such entry. Neither creates the directory nor looks whether it
    /// exists.
    [[nodiscard]] static std::string defaultRootURL(const platform::FileSystem& fileSystem,
        const platform::UserEnvironment& environment = platform::systemUserEnvironment());

    /// The token: exactly 64 characters, each a hexadecimal digit of either case or its full-width
    /// form, as they stand in "bridge-token". Every failure is tokenUnavailable.
    [[nodiscard]] std::expected<std::string, BrowserBridgeStoreError> readToken(
        const platform::FileSystem& fileSystem) const;

    /// The application's state from "state.json". Fails as `readLimitedRegularFile` does, then with
    /// the decoder's error, then with malformedEnvelope if the version is not 1. Whether the state
    /// is fresh is not looked at.
    [[nodiscard]] StoreResult<BrowserBridgeState> readState(
        const platform::FileSystem& fileSystem) const;

    /// Whether local PDF files may be labelled by their file names, from "preferences.json". None
    /// if the file cannot be read or decoded, is of another version than 1, or holds another token
    /// than `token`.
    [[nodiscard]] std::optional<bool> readPreferences(
        std::string_view token, const platform::FileSystem& fileSystem) const;

    /// Leaves an event in "Inbox": `eventData`, its JSON, in an envelope of its own, in a file
    /// whose name sorts by `receivedAt` and ends in a fresh UUID and ".event". The file appears
    /// whole or not at all. Fails, in this order, with payloadTooLarge if `eventData` is longer
    /// than 16384 bytes, with the encoder's error, with payloadTooLarge if the encoded envelope is
    /// longer than 32768 bytes (all before anything is touched), then with the file system's error.
    /// The microseconds of `receivedAt` since 1970 must fit in 64 bits; a finite time of which they
    /// do not stops the process.
    [[nodiscard]] StoreResult<void> writeInboxEvent(std::string_view eventData,
        std::string_view token, const base::UUID& sessionIdentifier, base::Timestamp receivedAt,
        const platform::FileSystem& fileSystem) const;

    /// The pending commands for one browser, in the order of their file names.
    ///
    /// Files in "Commands" with the extension "command" and no leading "." are examined in byte
    /// order of their names. Deleted are those that are no readable regular file of at most 16384
    /// bytes, hold no valid envelope, another version than 1 or another token, are older than
    /// `maximumAge` seconds or more than 2 seconds ahead of `now` (both ends inclusive), or are
    /// bound to another session than `sessionIdentifier`; those that are accepted are deleted too.
    /// Only sound, fresh commands for other browsers stay. Checks run in this order, the browser
    /// before the session. Never fails: what cannot be listed or deleted is passed over.
    [[nodiscard]] std::vector<BrowserBridgeCommand> consumeCommands(std::string_view token,
        std::string_view browserBundleIdentifier,
        const std::optional<base::UUID>& sessionIdentifier, base::Timestamp now,
        const platform::FileSystem& fileSystem, double maximumAge) const;

    /// Replaces the browser's file in "Readiness". Fails, in this order, with malformedEnvelope if
    /// the record's version is not 1, its browser is unknown, its extension or host version is not
    /// valid (`isValidVersionString`) or its protocol version is not 1, with the encoder's error,
    /// with payloadTooLarge if the encoded envelope is longer than 4096 bytes (all before anything
    /// is touched), then with the file system's error.
    [[nodiscard]] StoreResult<void> writeReadiness(const BrowserBridgeReadiness& readiness,
        std::string_view token, const platform::FileSystem& fileSystem) const;
};

/// Appends `component` to a directory's path; an empty one is the working directory.
[[nodiscard]] std::string appendingPathComponent(
    std::string_view directory, std::string_view component);

/// Makes the directory with all missing ones above it, each 0700, and sets its permissions to 0700
/// also if it was there before. Existing directories above it keep theirs. Fails with the file
/// system's error.
[[nodiscard]] platform::FileResult<void> ensurePrivateDirectory(
    const std::string& path, const platform::FileSystem& fileSystem);

/// Reads the regular file at `location`, at most `maximumBytes` bytes, which must be no more than
/// `maximumEventEnvelopeBytes`. An empty file yields empty contents. Never waits and never follows
/// a symbolic link at the end of the path. Fails with the file system's error if there is no such
/// item, with malformedEnvelope if it is no regular file, with payloadTooLarge if it holds more
/// than `maximumBytes` (also if it grew after its size was asked), otherwise with the file system's
/// error.
[[nodiscard]] StoreResult<std::string> readLimitedRegularFile(const platform::Location& location,
    std::int64_t maximumBytes, const platform::FileSystem& fileSystem);

/// Replaces or makes the file at `path` in one step, with permissions 0600: the bytes go to a
/// hidden temporary file in the same directory, which is then renamed. An error of renaming that
/// the system does not know is EIO. Fails with the file system's error; the temporary file is then
/// gone and the final one untouched, unless it was already replaced and only setting its
/// permissions failed.
[[nodiscard]] platform::FileResult<void> writePrivateFileAtomically(
    std::string_view bytes, const std::string& path, const platform::FileSystem& fileSystem);

} // namespace bridge
