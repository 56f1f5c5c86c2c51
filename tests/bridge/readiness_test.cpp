#include "events/supported_browsers.h"
#include "tests/bridge/bridge_directory.h"
#include "tests/support/utf8.h"

#include <cstddef>
#include <functional>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace bridge {

namespace {

using support::FileOperation;
using support::namesIn;
using support::permissionsOf;
using Names = std::vector<std::string>;

std::optional<StoreFailure> failureOf(const BridgeDirectory& bridge,
    const BrowserBridgeReadiness& readiness = support::validReadiness(),
    std::string_view token = support::validToken)
{
    const auto written = bridge.store.writeReadiness(readiness, token, bridge.fileSystem);
    EXPECT_EQ(bridge.fileSystem.openFileCount(), 0);
    return written ? std::nullopt : std::optional(written.error());
}

BrowserBridgeReadiness changed(const std::function<void(BrowserBridgeReadiness&)>& change)
{
    BrowserBridgeReadiness readiness = support::validReadiness();
    change(readiness);
    return readiness;
}

void expectRefused(const BrowserBridgeReadiness& readiness)
{
    const BridgeDirectory bridge;
    EXPECT_EQ(failureOf(bridge, readiness), malformedEnvelope);
    EXPECT_EQ(namesIn(bridge.path()), Names {});
    EXPECT_TRUE(bridge.fileSystem.calls().empty());
}

void expectWritten(const BrowserBridgeReadiness& readiness)
{
    const BridgeDirectory bridge;
    EXPECT_EQ(failureOf(bridge, readiness), std::nullopt);
    const auto envelope = decodeBrowserBridgeReadinessEnvelope(
        support::readFile(bridge / "Readiness/googleChrome.readiness"));
    EXPECT_EQ(envelope,
        (BrowserBridgeReadinessEnvelope {
            .token = std::string(support::validToken), .readiness = readiness }));
}

// A token that makes the envelope of the sample this long.
std::string tokenForEnvelopeOf(std::size_t size)
{
    const auto empty
        = encode(BrowserBridgeReadinessEnvelope { .readiness = support::validReadiness() });
    EXPECT_TRUE(empty);
    return std::string(size - empty->size(), 'a');
}

const std::string chromeFile = "Readiness/googleChrome.readiness";

} // namespace

TEST(WriteReadiness, WritesTheRecordAsItIs)
{
    expectWritten(support::validReadiness());
    expectWritten(changed([](BrowserBridgeReadiness& readiness) {
        readiness.connectionAvailable = false;
        readiness.extensionVersion = "...";
        readiness.nativeHostVersion = "7";
        readiness.updatedAt = { -1e300 };
    }));
}

TEST(WriteReadiness, WritesCompactJson)
{
    const BridgeDirectory bridge;
    EXPECT_EQ(failureOf(bridge), std::nullopt);
    EXPECT_EQ(support::readFile(bridge / chromeFile),
        encode(BrowserBridgeReadinessEnvelope {
            .token = std::string(support::validToken), .readiness = support::validReadiness() }));
}

TEST(WriteReadiness, NamesTheFileByTheBrowsersKey)
{
    const BridgeDirectory bridge;
    const std::vector<std::pair<std::string, std::string>> files {
        { "com.google.Chrome", "googleChrome.readiness" },
        { "com.microsoft.edgemac", "microsoftEdge.readiness" },
        { "com.brave.Browser", "brave.readiness" },
        { "company.thebrowser.Browser", "arc.readiness" },
        { "com.operasoftware.Opera", "opera.readiness" },
        { "com.vivaldi.Vivaldi", "vivaldi.readiness" },
        { "com.apple.Safari", "safari.readiness" },
        { "org.mozilla.firefox", "firefox.readiness" },
    };
    for (const auto& [browser, file] : files) {
        BrowserBridgeReadiness readiness = support::validReadiness();
        readiness.browserBundleIdentifier = browser;
        EXPECT_EQ(failureOf(bridge, readiness), std::nullopt);
        EXPECT_TRUE(support::exists(bridge / ("Readiness/" + file))) << file;
    }
    EXPECT_EQ(namesIn(bridge / "Readiness").size(), files.size());
}

TEST(WriteReadiness, RefusesAnyOtherVersion)
{
    for (const std::int64_t version : { 0, 2, -1 }) {
        expectRefused(
            changed([=](BrowserBridgeReadiness& readiness) { readiness.version = version; }));
    }
}

TEST(WriteReadiness, RefusesABrowserThatIsNotInTheTable)
{
    for (const char* const browser : { "", "com.google.chrome", "com.example.Browser",
             "googleChrome", "com.google.Chrome ", "../googleChrome" }) {
        expectRefused(changed([=](BrowserBridgeReadiness& readiness) {
            readiness.browserBundleIdentifier = browser;
        }));
    }
}

TEST(WriteReadiness, ChecksBothVersionStrings)
{
    const auto withVersion
        = [](std::string BrowserBridgeReadiness::* field, const std::string& version) {
              BrowserBridgeReadiness readiness = support::validReadiness();
              readiness.*field = version;
              return readiness;
          };
    for (std::string BrowserBridgeReadiness::* const field :
        { &BrowserBridgeReadiness::extensionVersion, &BrowserBridgeReadiness::nativeHostVersion }) {
        for (const char* const version : { "1.2.3", "...", "12345678901234567890123456789012" })
            expectWritten(withVersion(field, version));
        expectWritten(withVersion(field, support::repeated("\u0663", 32)));
        for (const char* const version :
            { "1.2.3-beta", "", "123456789012345678901234567890123", "v1.0", " 1.0" })
            expectRefused(withVersion(field, version));
    }
}

TEST(WriteReadiness, RefusesAnyOtherProtocolVersion)
{
    for (const std::int64_t version : { 0, 2, -1 }) {
        expectRefused(changed(
            [=](BrowserBridgeReadiness& readiness) { readiness.protocolVersion = version; }));
    }
}

TEST(WriteReadiness, PassesOnTheEncodersError)
{
    const BridgeDirectory bridge;
    const auto readiness = changed([](BrowserBridgeReadiness& record) {
        record.updatedAt = { std::numeric_limits<double>::infinity() };
    });
    EXPECT_EQ(
        failureOf(bridge, readiness), jsonError(base::JsonErrorKind::invalidValue, "updatedAt"));
    EXPECT_EQ(namesIn(bridge.path()), Names {});
}

TEST(WriteReadiness, TakesAnEnvelopeOf4096Bytes)
{
    const BridgeDirectory bridge;
    EXPECT_EQ(failureOf(bridge, support::validReadiness(), tokenForEnvelopeOf(4096)), std::nullopt);
    EXPECT_EQ(support::readFile(bridge / chromeFile).size(), 4096U);
}

TEST(WriteReadiness, RefusesALongerEnvelopeAndTouchesNothing)
{
    const BridgeDirectory bridge;
    EXPECT_EQ(
        failureOf(bridge, support::validReadiness(), tokenForEnvelopeOf(4097)), payloadTooLarge);
    EXPECT_EQ(namesIn(bridge.path()), Names {});
}

TEST(WriteReadiness, ChecksTheRecordThenItsEncodingThenItsSizeThenTheDisk)
{
    using Change = std::function<void(BrowserBridgeReadiness&)>;
    const std::vector<Change> breaches {
        [](BrowserBridgeReadiness& readiness) { readiness.version = 2; },
        [](BrowserBridgeReadiness& readiness) { readiness.browserBundleIdentifier = "x"; },
        [](BrowserBridgeReadiness& readiness) { readiness.extensionVersion = "x"; },
        [](BrowserBridgeReadiness& readiness) { readiness.nativeHostVersion = "x"; },
        [](BrowserBridgeReadiness& readiness) { readiness.protocolVersion = 2; },
    };
    const Change notFinite = [](BrowserBridgeReadiness& readiness) {
        readiness.updatedAt = { std::numeric_limits<double>::quiet_NaN() };
    };
    const std::string longToken(5000, 'a');
    BridgeDirectory bridge;
    bridge.fileSystem.failOperation(FileOperation::setDirectoryPermissions, EIO);
    for (const Change& breach : breaches) {
        BrowserBridgeReadiness readiness = changed(breach);
        EXPECT_EQ(failureOf(bridge, readiness, longToken), malformedEnvelope);
        notFinite(readiness);
        EXPECT_EQ(failureOf(bridge, readiness), malformedEnvelope);
    }
    EXPECT_EQ(failureOf(bridge, changed(notFinite), longToken),
        jsonError(base::JsonErrorKind::invalidValue, "updatedAt"));
    EXPECT_EQ(failureOf(bridge, support::validReadiness(), longToken), payloadTooLarge);
    EXPECT_EQ(failureOf(bridge), fileError(EIO));
}

TEST(WriteReadiness, MakesAMissingDirectoryWithItsParents)
{
    const BridgeDirectory bridge;
    const BrowserBridgeStore store { bridge / "a/b" };
    ASSERT_TRUE(
        store.writeReadiness(support::validReadiness(), support::validToken, bridge.fileSystem));
    for (const char* const name : { "a", "a/b", "a/b/Readiness" })
        EXPECT_EQ(permissionsOf(bridge / name), 0700U) << name;
}

TEST(WriteReadiness, EndsWithPrivatePermissionsWhateverWasThere)
{
    const BridgeDirectory bridge;
    support::writeFile(bridge / chromeFile, "old", 0644);
    support::setPermissions(bridge / "Readiness", 0755);
    EXPECT_EQ(failureOf(bridge), std::nullopt);
    EXPECT_EQ(permissionsOf(bridge / chromeFile), 0600U);
    EXPECT_EQ(permissionsOf(bridge / "Readiness"), 0700U);
}

TEST(WriteReadiness, ReplacesTheWholeFile)
{
    const BridgeDirectory bridge;
    BrowserBridgeReadiness readiness = support::validReadiness();
    readiness.extensionVersion = "1.2.3.4.5.6.7.8";
    EXPECT_EQ(failureOf(bridge, readiness), std::nullopt);
    readiness.extensionVersion = "2";
    readiness.connectionAvailable = false;
    EXPECT_EQ(failureOf(bridge, readiness), std::nullopt);
    const auto envelope
        = decodeBrowserBridgeReadinessEnvelope(support::readFile(bridge / chromeFile));
    ASSERT_TRUE(envelope);
    EXPECT_EQ(envelope->readiness, readiness);
    EXPECT_EQ(namesIn(bridge / "Readiness"), Names { "googleChrome.readiness" });
}

TEST(WriteReadiness, LeavesTheFilesOfOtherBrowsersAndOfDeadWriters)
{
    const BridgeDirectory bridge;
    const std::string dead
        = ".googleChrome.readiness.3F2504E0-4F89-11D3-9A0C-0305E82C3301.temporary";
    support::writeFile(bridge / ("Readiness/" + dead), "half");
    support::writeFile(bridge / "Readiness/firefox.readiness", "another's");
    EXPECT_EQ(failureOf(bridge), std::nullopt);
    EXPECT_EQ(namesIn(bridge / "Readiness"),
        (Names { dead, "firefox.readiness", "googleChrome.readiness" }));
    EXPECT_EQ(support::readFile(bridge / ("Readiness/" + dead)), "half");
    EXPECT_EQ(support::readFile(bridge / "Readiness/firefox.readiness"), "another's");
}

TEST(WriteReadiness, PassesOnAnErrorOfTheDirectory)
{
    for (const auto operation :
        { FileOperation::createDirectories, FileOperation::setDirectoryPermissions }) {
        for (const int code : everydayErrors) {
            BridgeDirectory bridge;
            bridge.fileSystem.failOperation(operation, code);
            EXPECT_EQ(failureOf(bridge), fileError(code));
            EXPECT_EQ(namesIn(bridge / "Readiness"), Names {});
        }
    }
}

TEST(WriteReadiness, PassesOnAnErrorOfWritingAndKeepsThePreviousFile)
{
    for (const auto operation : { FileOperation::createFile, FileOperation::write,
             FileOperation::setPermissions, FileOperation::rename }) {
        for (const int code : everydayErrors) {
            BridgeDirectory bridge;
            support::writeFile(bridge / chromeFile, "old");
            bridge.fileSystem.failOperation(operation, code);
            EXPECT_EQ(failureOf(bridge), fileError(code));
            EXPECT_EQ(support::readFile(bridge / chromeFile), "old");
            EXPECT_EQ(namesIn(bridge / "Readiness"), Names { "googleChrome.readiness" });
        }
    }
}

TEST(WriteReadiness, FailsWhereTheFileIsADirectory)
{
    const BridgeDirectory bridge;
    support::makeDirectory(bridge / chromeFile);
    EXPECT_EQ(failureOf(bridge), fileError(EISDIR));
    EXPECT_EQ(namesIn(bridge / "Readiness"), Names { "googleChrome.readiness" });
}

TEST(WriteReadiness, FailsWhereTheDirectoryIsAFile)
{
    const BridgeDirectory bridge;
    support::writeFile(bridge / "Readiness", "a file");
    EXPECT_EQ(failureOf(bridge), fileError(EEXIST));
    EXPECT_EQ(support::readFile(bridge / "Readiness"), "a file");
}

} // namespace bridge
