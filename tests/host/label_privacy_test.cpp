#include "tests/host/host_test.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <vector>

namespace host {
namespace {

// Which labels of local PDFs reach the application.
struct LabelCase {
    const char* name;
    std::optional<bool> preference; // none: there is no such file
    std::optional<events::BrowserPDFLabelSource> source;
    bool labelArrives;
};

class LabelPrivacy : public HostTest { };

TEST_F(LabelPrivacy, LabelsMadeOfFileNamesArriveOnlyIfTheUserAllowsThem)
{
    using events::BrowserPDFLabelSource;
    const std::vector<LabelCase> cases {
        { "file name, allowed", true, BrowserPDFLabelSource::filename, true },
        { "file name, not allowed", false, BrowserPDFLabelSource::filename, false },
        { "file name, not known", std::nullopt, BrowserPDFLabelSource::filename, false },
        { "by hand, allowed", true, BrowserPDFLabelSource::manual, true },
        { "by hand, not allowed", false, BrowserPDFLabelSource::manual, true },
        { "by hand, not known", std::nullopt, BrowserPDFLabelSource::manual, true },
        { "without source, allowed", true, std::nullopt, true },
        { "without source, not allowed", false, std::nullopt, true },
        { "without source, not known", std::nullopt, std::nullopt, true },
    };
    for (const LabelCase& testCase : cases) {
        SCOPED_TRACE(testCase.name);
        std::filesystem::remove_all(pathOf("Inbox"));
        std::filesystem::remove(pathOf("preferences.json"));
        if (testCase.preference)
            support::writePreferences(root(), support::preferences(*testCase.preference));
        events::BrowserActivityEvent event = support::validPDFEvent();
        event.pdfLabelSource = testCase.source;
        EXPECT_TRUE(handle(activityText(event)).accepted);
        if (!testCase.labelArrives) {
            event.pdfLabel.reset();
            event.pdfLabelSource.reset();
        }
        ASSERT_EQ(inbox().size(), 1U);
        EXPECT_EQ(inbox().front().event, event); // everything else is as it was
    }
}

TEST_F(LabelPrivacy, AWebsitesLabelIsKept)
{
    events::BrowserActivityEvent event = support::validEvent();
    event.pdfLabel = "Label";
    EXPECT_TRUE(handle(activityText(event)).accepted);
    ASSERT_EQ(inbox().size(), 1U);
    EXPECT_EQ(inbox().front().event, event);
}

TEST_F(LabelPrivacy, APreferenceThatDoesNotCountAllowsNothing)
{
    bridge::BrowserBridgePreferencesEnvelope otherVersion = support::preferences(true);
    otherVersion.version = 2;
    const auto arrives = [this] {
        std::filesystem::remove_all(pathOf("Inbox"));
        EXPECT_TRUE(handle(activityText(support::validPDFEvent())).accepted);
        return inbox().at(0).event.pdfLabel.has_value();
    };
    support::writePreferences(root(), support::preferences(true, support::otherToken));
    EXPECT_FALSE(arrives());
    support::writePreferences(root(), otherVersion);
    EXPECT_FALSE(arrives());
    support::writePreferences(root(), "{");
    EXPECT_FALSE(arrives());
    support::writePreferences(root(), support::preferences(true));
    EXPECT_TRUE(arrives());
}

// The token comes back before the event is written, but was not there to check the preference
// against.
TEST_F(LabelPrivacy, AMissingTokenAllowsNothing)
{
    support::writePreferences(root(), support::preferences(true));
    std::filesystem::remove(pathOf("bridge-token"));
    beforeOpening("state.json", 1, [this] { support::writeToken(root()); });
    EXPECT_TRUE(handle(activityText(support::validPDFEvent())).accepted);
    ASSERT_EQ(inbox().size(), 1U);
    EXPECT_EQ(inbox().front().event.pdfLabel, std::nullopt);
    EXPECT_EQ(inbox().front().event.pdfLabelSource, std::nullopt);
}

} // namespace
} // namespace host
