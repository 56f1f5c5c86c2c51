#include "tests/events/validation_outcome.h"

#include <algorithm>
#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace events {

namespace {

using Type = BrowserActivityEventType;
using Resource = BrowserActivityResourceType;

// Which of host name (H), tab identifier (T) and PDF identifier (P) are present, as a text like
// "HT".
using Presence = std::string;

struct Shape {
    Type type;
    bool isPrivate;
    Resource resource;
    Presence presence;
};

BrowserActivityEvent eventOf(const Shape& shape)
{
    BrowserActivityEvent event = support::validEvent();
    event.eventType = shape.type;
    event.isPrivate = shape.isPrivate;
    event.resourceType = shape.resource;
    event.hostname.reset();
    event.temporaryTabIdentifier.reset();
    if (shape.presence.contains('H'))
        event.hostname = "example.com";
    if (shape.presence.contains('T'))
        event.temporaryTabIdentifier = "tab-17";
    if (shape.presence.contains('P'))
        event.pdfIdentifier = "9b2d6e1c-7c43-4c25-9d5e-0f6a1b2c3d4e";
    return event;
}

// The presences that are sound for a type, row by row of the rule. Private events have passed the
// check for private data.
std::vector<Presence> soundPresences(Type type, bool isPrivate, Resource resource)
{
    switch (type) {
    case Type::browserBecameActive:
    case Type::tabActivated:
    case Type::tabNavigated:
    case Type::browserWindowFocused:
    case Type::heartbeat:
        if (isPrivate)
            return { "" };
        if (resource == Resource::localPDF)
            return { "P" };
        return { "", "HT" };
    case Type::browserWindowBlurred:
    case Type::extensionDisconnected:
        return { "" };
    case Type::tabClosed:
        if (isPrivate)
            return {};
        if (resource == Resource::localPDF)
            return { "P" };
        return { "T" };
    }
    return {};
}

std::optional<Case> expectedFailure(const Shape& shape)
{
    if (shape.isPrivate && !shape.presence.empty())
        return Case::privateBrowsingDataRejected;
    const auto sound = soundPresences(shape.type, shape.isPrivate, shape.resource);
    if (std::ranges::find(sound, shape.presence) == sound.end())
        return Case::invalidFieldCombination;
    return std::nullopt;
}

std::vector<Shape> allShapes()
{
    std::vector<Shape> shapes;
    for (const Type type : base::allValues<Type>()) {
        for (const bool isPrivate : { false, true }) {
            for (const Resource resource : base::allValues<Resource>()) {
                for (const char* const presence : { "", "H", "T", "P", "HT", "HP", "TP", "HTP" })
                    shapes.push_back({ type, isPrivate, resource, presence });
            }
        }
    }
    return shapes;
}

std::string description(const Shape& shape)
{
    return std::string(base::text(shape.type)) + (shape.isPrivate ? ", private, " : ", ")
        + std::string(base::text(shape.resource)) + ", with " + shape.presence;
}

BrowserActivityEvent privateEvent(Type type)
{
    return eventOf({ type, true, Resource::website, "" });
}

} // namespace

TEST(ValidateFieldCombination, FollowsTheRuleForEveryShapeOfEvent)
{
    const std::vector<Shape> shapes = allShapes();
    ASSERT_EQ(shapes.size(), 256U);
    for (const Shape& shape : shapes)
        EXPECT_EQ(failureOf(eventOf(shape)), expectedFailure(shape)) << description(shape);
}

TEST(ValidateFieldCombination, IgnoresLabelSourceAndPermission)
{
    for (const Shape& shape : allShapes()) {
        BrowserActivityEvent event = eventOf(shape);
        event.localFilePermission = BrowserLocalFilePermission::unsupported;
        EXPECT_EQ(failureOf(event), expectedFailure(shape)) << description(shape);
        if (shape.isPrivate)
            continue;
        event.pdfLabel = "Thesis";
        if (shape.resource == Resource::localPDF)
            event.pdfLabelSource = BrowserPDFLabelSource::manual;
        EXPECT_EQ(failureOf(event), expectedFailure(shape)) << description(shape);
    }
}

TEST(ValidateFieldCombination, WantsHostnameAndTabTogether)
{
    EXPECT_EQ(failureOf(eventOf({ Type::tabNavigated, false, Resource::website, "H" })),
        Case::invalidFieldCombination);
    EXPECT_EQ(
        failureOf(eventOf({ Type::tabNavigated, false, Resource::website, "" })), std::nullopt);
}

TEST(ValidateFieldCombination, RefusesATypeThatIsNone)
{
    BrowserActivityEvent event = support::validEvent();
    event.eventType = static_cast<Type>(8);
    EXPECT_EQ(failureOf(event), Case::invalidFieldCombination);
}

TEST(ValidatePrivateBrowsing, AcceptsAHeartbeatThatNamesNothing)
{
    EXPECT_TRUE(accepted(privateEvent(Type::heartbeat)).isPrivate);
}

TEST(ValidatePrivateBrowsing, RefusesEachFieldThatNamesWhatWasSeen)
{
    using Change = void (*)(BrowserActivityEvent&);
    const std::array<Change, 4> changes {
        [](BrowserActivityEvent& event) { event.hostname = "example.com"; },
        [](BrowserActivityEvent& event) { event.temporaryTabIdentifier = "tab-17"; },
        [](BrowserActivityEvent& event) {
            event.pdfIdentifier = "9b2d6e1c-7c43-4c25-9d5e-0f6a1b2c3d4e";
        },
        [](BrowserActivityEvent& event) { event.pdfLabel = "Thesis"; },
    };
    for (const Type type : base::allValues<Type>()) {
        for (const Change change : changes) {
            BrowserActivityEvent event = privateEvent(type);
            change(event);
            EXPECT_EQ(failureOf(event), Case::privateBrowsingDataRejected) << base::text(type);
        }
    }
}

TEST(ValidatePrivateBrowsing, AcceptsThePermission)
{
    BrowserActivityEvent event = privateEvent(Type::tabActivated);
    event.localFilePermission = BrowserLocalFilePermission::enabled;
    EXPECT_EQ(failureOf(event), std::nullopt);
}

TEST(ValidatePrivateBrowsing, LeavesAPrivateClosedTabToTheCombinationOfFields)
{
    EXPECT_EQ(failureOf(privateEvent(Type::tabClosed)), Case::invalidFieldCombination);
}

TEST(ValidateEvent, ReturnsANormalisedCopy)
{
    BrowserActivityEvent event = support::validPDFEvent();
    event.browserDisplayName = " chrome ";
    event.pdfIdentifier = " 9B2D6E1C-7C43-4C25-9D5E-0F6A1B2C3D4E ";
    event.pdfLabel = " Thesis.pdf ";
    EXPECT_EQ(accepted(event), support::validPDFEvent());

    BrowserActivityEvent website = support::validEvent();
    website.browserDisplayName = "Chromium\n";
    website.hostname = " WWW.EXAMPLE.COM. ";
    website.temporaryTabIdentifier = "\ttab-17\t";
    EXPECT_EQ(accepted(website), support::validEvent());
}

TEST(ValidateEvent, LeavesAnEventInNormalFormAsItIs)
{
    EXPECT_EQ(accepted(support::validEvent()), support::validEvent());
    EXPECT_EQ(accepted(support::validPDFEvent()), support::validPDFEvent());
}

} // namespace events
