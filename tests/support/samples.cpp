#include "tests/support/samples.h"

#include "tests/support/temporary_directory.h"

#include <gtest/gtest.h>

namespace support {

namespace {

template <typename Record> std::string encoded(const Record& record)
{
    const auto text = bridge::encode(record);
    EXPECT_TRUE(text) << "a sample that cannot be written";
    return text.value_or("");
}

} // namespace

base::Timestamp after(base::Timestamp start, double seconds)
{
    return { start.secondsSince2001 + seconds };
}

base::UUID uuid(std::string_view text)
{
    const auto parsed = base::parseUUID(text);
    EXPECT_TRUE(parsed) << text;
    return parsed.value_or(base::UUID {});
}

base::UUID sessionIdentifier()
{
    return uuid("5E551011-0000-4000-8000-00000000000A");
}

base::UUID otherSessionIdentifier()
{
    return uuid("5E551011-0000-4000-8000-00000000000B");
}

events::BrowserActivityEvent validEvent()
{
    return { .id = uuid("3F2504E0-4F89-11D3-9A0C-0305E82C3301"),
        .browserDisplayName = "Google Chrome",
        .browserBundleIdentifier = std::string(chrome),
        .hostname = "www.example.com",
        .temporaryTabIdentifier = "tab-17",
        .timestamp = sampleTime,
        .eventType = events::BrowserActivityEventType::tabActivated };
}

events::BrowserActivityEvent validPDFEvent()
{
    return { .id = uuid("3F2504E0-4F89-11D3-9A0C-0305E82C3302"),
        .browserDisplayName = "Google Chrome",
        .browserBundleIdentifier = std::string(chrome),
        .timestamp = sampleTime,
        .eventType = events::BrowserActivityEventType::tabNavigated,
        .resourceType = events::BrowserActivityResourceType::localPDF,
        .pdfIdentifier = "9b2d6e1c-7c43-4c25-9d5e-0f6a1b2c3d4e",
        .pdfLabel = "Thesis.pdf",
        .pdfLabelSource = events::BrowserPDFLabelSource::filename,
        .localFilePermission = events::BrowserLocalFilePermission::enabled };
}

bridge::BrowserBridgeState validState()
{
    return { .appProcessIdentifier = 4711,
        .sessionRunning = true,
        .sessionIdentifier = sessionIdentifier(),
        .browserTrackingPaused = false,
        .frontmostBrowserBundleIdentifier = std::string(chrome),
        .updatedAt = sampleTime };
}

bridge::BrowserBridgePreferencesEnvelope preferences(
    bool filenameLabelsEnabled, std::string_view token)
{
    return { .token = std::string(token), .filenameLabelsEnabled = filenameLabelsEnabled };
}

bridge::BrowserBridgeCommandEnvelope command(std::string_view browser)
{
    return { .token = std::string(validToken),
        .command = { .id = uuid("C0FFEE00-1111-4222-8333-444455556666"),
            .type = bridge::BrowserBridgeCommandType::showLocalPDF,
            .browserBundleIdentifier = std::string(browser),
            .pdfIdentifier = uuid("9B2D6E1C-7C43-4C25-9D5E-0F6A1B2C3D4E"),
            .createdAt = sampleTime } };
}

bridge::BrowserBridgeReadiness validReadiness()
{
    return { .browserBundleIdentifier = std::string(chrome),
        .extensionVersion = "1.2.3",
        .nativeHostVersion = "0.3.0",
        .protocolVersion = 1,
        .connectionAvailable = true,
        .updatedAt = sampleTime };
}

void writeToken(const std::string& root, std::string_view contents)
{
    writeFile(root + "/bridge-token", contents);
}

void writeState(const std::string& root, const bridge::BrowserBridgeState& state)
{
    writeState(root, encoded(state));
}

void writeState(const std::string& root, std::string_view contents)
{
    writeFile(root + "/state.json", contents);
}

void writePreferences(
    const std::string& root, const bridge::BrowserBridgePreferencesEnvelope& preferences)
{
    writePreferences(root, encoded(preferences));
}

void writePreferences(const std::string& root, std::string_view contents)
{
    writeFile(root + "/preferences.json", contents);
}

void writeCommand(const std::string& root, std::string_view name,
    const bridge::BrowserBridgeCommandEnvelope& envelope)
{
    writeCommand(root, name, encoded(envelope));
}

void writeCommand(const std::string& root, std::string_view name, std::string_view contents)
{
    writeFile(root + "/Commands/" + std::string(name), contents);
}

} // namespace support
