#pragma once
// Sound records for tests to start from, and the files that the application would leave in a bridge
// directory. Every sample is accepted as it stands at the time `sampleTime`; a test changes the one
// thing that it is about.

#include "base/timestamp.h"
#include "base/uuid.h"
#include "bridge/bridge_records.h"
#include "events/browser_activity_event.h"

#include <string>
#include <string_view>

namespace support {

/// A valid token, in both letter cases.
inline constexpr std::string_view validToken
    = "0123456789abcdef0123456789ABCDEF00112233445566778899aabbccddeeff";

/// Another valid token.
inline constexpr std::string_view otherToken
    = "ffeeddccbbaa99887766554433221100FEDCBA9876543210fedcba9876543210";

/// 2025-03-14T09:26:53Z. A whole number, so that times computed from it by halves and quarters are
/// exact.
inline constexpr base::Timestamp sampleTime { 763637213.0 };

inline constexpr std::string_view chrome = "com.google.Chrome";
inline constexpr std::string_view firefox = "org.mozilla.firefox";

/// `start` moved by `seconds`, which may be negative.
[[nodiscard]] base::Timestamp after(base::Timestamp start, double seconds);

/// The UUID with this text, which must be one.
[[nodiscard]] base::UUID uuid(std::string_view text);

/// The identifier of the session that runs in `validState`.
[[nodiscard]] base::UUID sessionIdentifier();

/// The identifier of a session that does not run.
[[nodiscard]] base::UUID otherSessionIdentifier();

/// Chrome activated a tab with a web page at `sampleTime`; all texts are in normal form.
[[nodiscard]] events::BrowserActivityEvent validEvent();

/// Chrome navigated a tab to a local PDF, with a label taken from its file name.
[[nodiscard]] events::BrowserActivityEvent validPDFEvent();

/// A session runs, tracking is not paused, Chrome is frontmost, written at `sampleTime`. The
/// process identifier is 4711.
[[nodiscard]] bridge::BrowserBridgeState validState();

[[nodiscard]] bridge::BrowserBridgePreferencesEnvelope preferences(
    bool filenameLabelsEnabled, std::string_view token = validToken);

/// Shows a PDF in the browser, made at `sampleTime`, bound to no session.
[[nodiscard]] bridge::BrowserBridgeCommandEnvelope command(std::string_view browser = chrome);

/// What the host reports about Chrome at `sampleTime`.
[[nodiscard]] bridge::BrowserBridgeReadiness validReadiness();

// Files below the bridge directory `root`, which is made if it is missing.

void writeToken(const std::string& root, std::string_view contents = validToken);
void writeState(const std::string& root, const bridge::BrowserBridgeState& state = validState());
void writeState(const std::string& root, std::string_view contents);
void writePreferences(
    const std::string& root, const bridge::BrowserBridgePreferencesEnvelope& preferences);
void writePreferences(const std::string& root, std::string_view contents);
/// `name` is the file's whole name, with its extension.
void writeCommand(const std::string& root, std::string_view name,
    const bridge::BrowserBridgeCommandEnvelope& envelope = command());
void writeCommand(const std::string& root, std::string_view name, std::string_view contents);

} // namespace support
