// What a look at the bridge directory finds, and what it does not do to it.

#include "kestranectl/bridge_snapshot.h"
#include "tests/kestranectl/bridge_fixture.h"
#include "tests/support/failing_file_system.h"

#include <algorithm>
#include <cerrno>
#include <optional>

#include <unistd.h>

namespace kestranectl {
namespace {

class BridgeSnapshotTest : public BridgeFixture {
protected:
    void SetUp() override { support::makeDirectory(root); }

    [[nodiscard]] BridgeItem item(BridgeSubject subject, const std::string& name) const
    {
        const BridgeSnapshot snapshot = takeSnapshot(environment);
        const auto found = snapshot.items.find({ subject, name });
        if (found == snapshot.items.end()) {
            ADD_FAILURE() << "there is no " << name;
            return {};
        }
        return found->second;
    }

    [[nodiscard]] bool holds(BridgeSubject subject, const std::string& name) const
    {
        return takeSnapshot(environment).items.contains({ subject, name });
    }

    // The problem of what an event's file holds that is `contents`.
    std::string problemOfEvent(std::string_view contents)
    {
        support::writeFile(path("Inbox/1.event"), contents);
        return item(BridgeSubject::event, "1.event").problem;
    }
};

std::optional<FieldValue> field(const BridgeItem& item, std::string_view key)
{
    const auto found = std::ranges::find(item.fields, key, &Field::key);
    return found == item.fields.end() ? std::nullopt : std::optional(found->value);
}

std::vector<std::string_view> keys(const BridgeItem& item)
{
    std::vector<std::string_view> result;
    std::ranges::transform(item.fields, std::back_inserter(result), &Field::key);
    return result;
}

FieldValue text(std::string_view value)
{
    return std::string(value);
}

constexpr const char* malformed = "The browser bridge message is malformed.";
constexpr const char* tooLarge = "The browser message exceeds Kestrane's size limit.";

TEST_F(BridgeSnapshotTest, IsEmptyWithoutADirectory)
{
    environment.store.rootURL = directory / "missing";
    EXPECT_TRUE(takeSnapshot(environment).items.empty());
    EXPECT_FALSE(support::exists(directory / "missing"));
}

TEST_F(BridgeSnapshotTest, HoldsTheDirectoriesThatAreThere)
{
    support::makeDirectory(path("Inbox"));
    const auto snapshot = takeSnapshot(environment);
    ASSERT_EQ(snapshot.items.size(), 2U);
    EXPECT_TRUE(holds(BridgeSubject::directory, root));
    EXPECT_TRUE(holds(BridgeSubject::directory, "Inbox"));
}

TEST_F(BridgeSnapshotTest, FollowsALinkToTheBridgeDirectory)
{
    support::makeSymbolicLink(root, directory / "link");
    environment.store.rootURL = directory / "link";
    support::writeToken(root);
    EXPECT_TRUE(holds(BridgeSubject::token, "bridge-token"));
}

TEST_F(BridgeSnapshotTest, SaysWhatIsInTheDirectorysPlace)
{
    environment.store.rootURL = directory / "file";
    support::writeFile(directory / "file", "");
    EXPECT_EQ(item(BridgeSubject::directory, directory / "file").problem, "Not a directory");
}

TEST_F(BridgeSnapshotTest, SaysWhyADirectoryCannotBeListed)
{
    support::makeDirectory(directory / "elsewhere");
    support::writeFile(directory / "elsewhere/1.event", "");
    support::makeSymbolicLink(directory / "elsewhere", path("Inbox"));
    EXPECT_NE(item(BridgeSubject::directory, "Inbox").problem, "");
    EXPECT_FALSE(holds(BridgeSubject::event, "1.event"));
}

TEST_F(BridgeSnapshotTest, KeepsTheTokenToItself)
{
    support::writeToken(root);
    const BridgeItem token = item(BridgeSubject::token, "bridge-token");
    EXPECT_TRUE(token.fields.empty());
    EXPECT_EQ(token.problem, "");
    EXPECT_EQ(takeSnapshot(environment).token(), support::validToken);
}

TEST_F(BridgeSnapshotTest, SaysThatATokenCannotBeUsed)
{
    EXPECT_FALSE(holds(BridgeSubject::token, "bridge-token"));
    for (const std::string& contents :
        { std::string(), std::string(63, 'a'), std::string(65, 'a'), std::string(129, 'a') }) {
        support::writeToken(root, contents);
        const BridgeItem token = item(BridgeSubject::token, "bridge-token");
        EXPECT_EQ(token.problem, "not a readable file of exactly 64 hexadecimal digits");
        EXPECT_EQ(token.secret, "");
        EXPECT_EQ(takeSnapshot(environment).token(), "");
    }
}

TEST_F(BridgeSnapshotTest, ReadsTheState)
{
    support::writeState(root);
    const BridgeItem state = item(BridgeSubject::state, "state.json");
    EXPECT_EQ(field(state, "appRunning"), FieldValue(true));
    EXPECT_EQ(field(state, "appProcessIdentifier"), FieldValue(std::int64_t { 4711 }));
    EXPECT_EQ(field(state, "sessionRunning"), FieldValue(true));
    EXPECT_EQ(field(state, "sessionIdentifier"), text("5E551011-0000-4000-8000-00000000000A"));
    EXPECT_EQ(field(state, "browserTrackingPaused"), FieldValue(false));
    EXPECT_EQ(field(state, "frontmostBrowserBundleIdentifier"), text("com.google.Chrome"));
    EXPECT_EQ(field(state, "updatedAt"), text("2025-03-14T09:26:53.000Z"));
    EXPECT_EQ(keys(state).size(), 7U);
}

TEST_F(BridgeSnapshotTest, LeavesOutWhatTheStateDoesNotSay)
{
    auto state = support::validState();
    state.sessionIdentifier.reset();
    state.frontmostBrowserBundleIdentifier.reset();
    support::writeState(root, state);
    EXPECT_EQ(keys(item(BridgeSubject::state, "state.json")),
        (std::vector<std::string_view> { "appRunning", "appProcessIdentifier", "sessionRunning",
            "browserTrackingPaused", "updatedAt" }));
}

TEST_F(BridgeSnapshotTest, TellsAnApplicationThatDoesNotRun)
{
    support::writeState(root);
    const auto appRunning
        = [this] { return field(item(BridgeSubject::state, "state.json"), "appRunning"); };
    now = support::after(support::sampleTime, 10);
    EXPECT_EQ(appRunning(), FieldValue(true));
    now = support::after(support::sampleTime, 10.5);
    EXPECT_EQ(appRunning(), FieldValue(false));
    now = support::sampleTime;
    runningProcess = 1;
    EXPECT_EQ(appRunning(), FieldValue(false));
}

TEST_F(BridgeSnapshotTest, SaysWhyAStateIsRefused)
{
    const auto problem = [this](std::string_view contents) {
        support::writeState(root, contents);
        return item(BridgeSubject::state, "state.json").problem;
    };
    EXPECT_EQ(problem("{"), "The text is not valid JSON.");
    EXPECT_EQ(problem("{}"), "The value of a required key is missing. (version)");
    EXPECT_EQ(problem(std::string(4097, ' ')), tooLarge);
    ASSERT_EQ(::unlink(path("state.json").c_str()), 0);
    support::makeSymbolicLink("nowhere", path("state.json"));
    EXPECT_EQ(item(BridgeSubject::state, "state.json").problem, malformed);
}

TEST_F(BridgeSnapshotTest, ReadsPreferences)
{
    support::writeToken(root);
    support::writePreferences(root, support::preferences(true));
    const BridgeItem preferences = item(BridgeSubject::preferences, "preferences.json");
    EXPECT_EQ(field(preferences, "filenameLabelsEnabled"), FieldValue(true));
    EXPECT_EQ(keys(preferences).size(), 1U);
    EXPECT_EQ(preferences.problem, "");
}

TEST_F(BridgeSnapshotTest, SaysWhyPreferencesAreIgnored)
{
    const auto problem = [this](const bridge::BrowserBridgePreferencesEnvelope& envelope) {
        support::writePreferences(root, envelope);
        return item(BridgeSubject::preferences, "preferences.json").problem;
    };
    const char* const otherToken = "the record does not carry the bridge's token";
    EXPECT_EQ(problem(support::preferences(true)), otherToken) << "there is no token";
    support::writeToken(root);
    EXPECT_EQ(problem(support::preferences(true, support::otherToken)), otherToken);
    auto ofAnotherVersion = support::preferences(true);
    ofAnotherVersion.version = 2;
    EXPECT_EQ(problem(ofAnotherVersion), "the record has version 2, not 1");
}

TEST_F(BridgeSnapshotTest, ReadsReadiness)
{
    support::writeToken(root);
    publishReadiness();
    const BridgeItem readiness = item(BridgeSubject::readiness, "googleChrome.readiness");
    EXPECT_EQ(field(readiness, "browserBundleIdentifier"), text("com.google.Chrome"));
    EXPECT_EQ(field(readiness, "extensionVersion"), text("1.2.3"));
    EXPECT_EQ(field(readiness, "nativeHostVersion"), text("0.3.0"));
    EXPECT_EQ(field(readiness, "protocolVersion"), FieldValue(std::int64_t { 1 }));
    EXPECT_EQ(field(readiness, "connectionAvailable"), FieldValue(true));
    EXPECT_EQ(field(readiness, "updatedAt"), text("2025-03-14T09:26:53.000Z"));
    EXPECT_EQ(readiness.problem, "");
}

TEST_F(BridgeSnapshotTest, ReadsCommands)
{
    support::writeToken(root);
    support::writeCommand(root, "1.command");
    const BridgeItem command = item(BridgeSubject::command, "1.command");
    EXPECT_EQ(field(command, "type"), text("showLocalPDF"));
    EXPECT_EQ(field(command, "pdfIdentifier"), text("9B2D6E1C-7C43-4C25-9D5E-0F6A1B2C3D4E"));
    EXPECT_EQ(field(command, "browserBundleIdentifier"), text("com.google.Chrome"));
    EXPECT_EQ(field(command, "createdAt"), text("2025-03-14T09:26:53.000Z"));
    EXPECT_EQ(field(command, "sessionIdentifier"), std::nullopt);
    EXPECT_EQ(command.problem, "");
}

TEST_F(BridgeSnapshotTest, ReadsEvents)
{
    support::writeToken(root);
    leaveEvent(support::validPDFEvent());
    const BridgeItem event = item(BridgeSubject::event, namesIn("Inbox").at(0));
    EXPECT_EQ(field(event, "eventType"), text("tabNavigated"));
    EXPECT_EQ(field(event, "resourceType"), text("localPDF"));
    EXPECT_EQ(field(event, "pdfLabel"), text("Thesis.pdf"));
    EXPECT_EQ(field(event, "pdfLabelSource"), text("filename"));
    EXPECT_EQ(field(event, "localFilePermission"), text("enabled"));
    EXPECT_EQ(field(event, "isPrivate"), FieldValue(false));
    EXPECT_EQ(field(event, "sessionIdentifier"), text("5E551011-0000-4000-8000-00000000000A"));
    EXPECT_EQ(field(event, "receivedAt"), text("2025-03-14T09:26:53.000Z"));
    EXPECT_EQ(field(event, "hostname"), std::nullopt);
    EXPECT_EQ(event.problem, "");
}

TEST_F(BridgeSnapshotTest, NamesTheHostOfAnEvent)
{
    leaveEvent();
    const BridgeItem event = item(BridgeSubject::event, namesIn("Inbox").at(0));
    EXPECT_EQ(field(event, "hostname"), text("www.example.com"));
    EXPECT_EQ(event.problem, "the record does not carry the bridge's token");
}

TEST_F(BridgeSnapshotTest, SaysWhyAnEventIsRefused)
{
    EXPECT_EQ(problemOfEvent("no"), "The text is not valid JSON.");
    EXPECT_EQ(
        problemOfEvent(R"({"version":true})"), "A value is not of the expected type. (version)");
    EXPECT_EQ(
        problemOfEvent(bridge::encode(bridge::BrowserBridgeEnvelope { .eventData = "no" }).value()),
        "the event in the record: The text is not valid JSON.");
}

TEST_F(BridgeSnapshotTest, ReadsEventsUpToTheirLimit)
{
    const std::string limit(32768, ' ');
    EXPECT_EQ(problemOfEvent(limit), "The text is not valid JSON.");
    EXPECT_EQ(problemOfEvent(limit + ' '), tooLarge);
}

TEST_F(BridgeSnapshotTest, RefusesEventsThatAreNoFiles)
{
    support::makeDirectory(path("Inbox"));
    support::makeFIFO(path("Inbox/fifo.event"));
    support::makeSocket(path("Inbox/socket.event"));
    support::makeDirectory(path("Inbox/directory.event"));
    support::makeSymbolicLink("/etc/passwd", path("Inbox/link.event"));
    for (const char* const name : { "fifo.event", "socket.event", "directory.event", "link.event" })
        EXPECT_EQ(item(BridgeSubject::event, name).problem, malformed) << name;
}

TEST_F(BridgeSnapshotTest, LeavesOutHiddenFilesAndPointsOutNamesThatNobodyReads)
{
    support::writeFile(path("Inbox/.1.event.temporary"), "");
    support::writeFile(path("Commands/1.COMMAND"), "");
    const auto snapshot = takeSnapshot(environment);
    EXPECT_EQ(snapshot.items.size(), 4U); // three directories and this:
    EXPECT_EQ(item(BridgeSubject::command, "1.COMMAND").problem,
        "nobody reads it: its name does not end in \".command\"");
}

TEST_F(BridgeSnapshotTest, SortsEventsByTheTimeOfTheirReceipt)
{
    for (const double seconds : { 2.0, 1.0, 3.0 })
        leaveEvent(support::validEvent(), support::after(support::sampleTime, seconds));
    std::vector<FieldValue> times;
    for (const auto& [key, item] : takeSnapshot(environment).items) {
        if (key.first == BridgeSubject::event)
            times.push_back(field(item, "receivedAt").value_or(false));
    }
    EXPECT_EQ(times,
        (std::vector { text("2025-03-14T09:26:54.000Z"), text("2025-03-14T09:26:55.000Z"),
            text("2025-03-14T09:26:56.000Z") }));
}

TEST_F(BridgeSnapshotTest, ChangesNothing)
{
    support::writeToken(root);
    support::writeState(root);
    support::writeCommand(root, "1.command", "broken");
    support::writeFile(path("Inbox/1.event"), "broken", 0644);
    ASSERT_EQ(takeSnapshot(environment).items.size(), 7U);
    EXPECT_EQ(support::namesIn(root),
        (std::vector<std::string> { "Commands", "Inbox", "bridge-token", "state.json" }));
    EXPECT_EQ(namesIn("Commands"), std::vector<std::string> { "1.command" });
    EXPECT_EQ(support::permissionsOf(path("Inbox/1.event")), 0644U);
}

// A look through a file system on which something happens at the calls.
class BridgeSnapshotOnAFileSystem : public BridgeSnapshotTest {
protected:
    BridgeSnapshot take(const BridgeSnapshot& previous = {})
    {
        const host::HostEnvironment onIt { environment.store, fileSystem, environment.services };
        return takeSnapshot(onIt, previous);
    }

    [[nodiscard]] std::ptrdiff_t openings() const
    {
        return std::ranges::count(fileSystem.calls(), support::FileOperation::openForReading);
    }

    support::FailingFileSystem fileSystem;
};

TEST_F(BridgeSnapshotOnAFileSystem, DoesNotReadEventsAgain)
{
    support::writeToken(root);
    leaveEvent();
    const BridgeSnapshot first = take();
    const auto before = openings();
    ASSERT_EQ(before, 5); // token, state twice, preferences, event
    const BridgeSnapshot second = take(first);
    EXPECT_EQ(openings() - before, 4);
    EXPECT_EQ(second.items.size(), first.items.size());
}

TEST_F(BridgeSnapshotOnAFileSystem, ReadsEventsAgainForAnotherToken)
{
    support::writeToken(root);
    leaveEvent();
    const BridgeSnapshot::Key key(BridgeSubject::event, namesIn("Inbox").at(0));
    const BridgeSnapshot first = take();
    EXPECT_EQ(first.items.at(key).problem, "");
    support::writeToken(root, support::otherToken);
    EXPECT_NE(take(first).items.at(key).problem, "");
}

TEST_F(BridgeSnapshotOnAFileSystem, LeavesOutWhatIsTakenBeforeItCouldBeRead)
{
    support::writeFile(path("Inbox/1.event"), "");
    fileSystem.beforeCall([](support::FileOperation, const std::string& itsPath) {
        if (itsPath.ends_with("1.event"))
            ::unlink(itsPath.c_str());
    });
    EXPECT_FALSE(take().items.contains({ BridgeSubject::event, "1.event" }));
}

TEST_F(BridgeSnapshotOnAFileSystem, RefusesAnEventThatGrowsWhileItIsRead)
{
    support::writeFile(path("Inbox/1.event"), "");
    fileSystem.beforeCall([this](support::FileOperation operation, const std::string&) {
        if (operation == support::FileOperation::read)
            support::writeFile(path("Inbox/1.event"), std::string(32769, ' '));
    });
    EXPECT_EQ(take().items.at({ BridgeSubject::event, "1.event" }).problem, tooLarge);
}

TEST_F(BridgeSnapshotOnAFileSystem, SaysWhatTheSystemSays)
{
    support::writeFile(path("Inbox/1.event"), "");
    fileSystem.failOperation(support::FileOperation::read, EIO);
    EXPECT_EQ(take().items.at({ BridgeSubject::event, "1.event" }).problem, "Input/output error");
    fileSystem.failOperation(support::FileOperation::visibleNames, EACCES);
    EXPECT_EQ(take().items.at({ BridgeSubject::directory, "Inbox" }).problem, "Permission denied");
    fileSystem.failOperation(support::FileOperation::attributesOfPath, EACCES);
    const BridgeSnapshot locked = take();
    EXPECT_EQ(locked.items.size(), 1U);
    EXPECT_EQ(locked.items.at({ BridgeSubject::directory, root }).problem, "Permission denied");
    EXPECT_EQ(fileSystem.openFileCount(), 0);
}

} // namespace
} // namespace kestranectl
