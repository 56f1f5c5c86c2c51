#include "events/supported_browsers.h"

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <optional>
#include <string_view>

namespace events {

namespace {

struct Row {
    SupportedBrowser browser;
    std::string_view bundleIdentifier;
    std::string_view displayName;
    std::string_view readinessKey;
};

constexpr std::array<Row, 8> rows { {
    { SupportedBrowser::googleChrome, "com.google.Chrome", "Google Chrome", "googleChrome" },
    { SupportedBrowser::microsoftEdge, "com.microsoft.edgemac", "Microsoft Edge", "microsoftEdge" },
    { SupportedBrowser::brave, "com.brave.Browser", "Brave", "brave" },
    { SupportedBrowser::arc, "company.thebrowser.Browser", "Arc", "arc" },
    { SupportedBrowser::opera, "com.operasoftware.Opera", "Opera", "opera" },
    { SupportedBrowser::vivaldi, "com.vivaldi.Vivaldi", "Vivaldi", "vivaldi" },
    { SupportedBrowser::safari, "com.apple.Safari", "Safari", "safari" },
    { SupportedBrowser::firefox, "org.mozilla.firefox", "Firefox", "firefox" },
} };

} // namespace

TEST(SupportedBrowserLookUp, FindsEveryBrowserByItsIdentifier)
{
    for (const Row& row : rows)
        EXPECT_EQ(supportedBrowser(row.bundleIdentifier), row.browser) << row.bundleIdentifier;
}

TEST(SupportedBrowserLookUp, FindsNothingForAnyOtherIdentifier)
{
    constexpr std::array<std::string_view, 14> others { "", "com.apple.safari", "com.google.chrome",
        "COM.GOOGLE.CHROME", "com.google.Chrome.canary", "com.google.Chrome ", " com.google.Chrome",
        "com.google.Chrome\n", "com.google.Chrom", "com.google", "Google Chrome", "googleChrome",
        "unsupported", "c\u043Em.google.Chrome" };
    for (const std::string_view other : others)
        EXPECT_EQ(supportedBrowser(other), std::nullopt) << '"' << other << '"';
}

TEST(SupportedBrowserLookUp, TakesNulAsACharacterLikeAnyOther)
{
    constexpr std::string_view identifier("com.google.Chrome\0", 18);
    EXPECT_EQ(supportedBrowser(identifier), std::nullopt);
}

TEST(SupportedBrowser, ListsAllInTheOrderOfTheTable)
{
    ASSERT_EQ(allSupportedBrowsers.size(), rows.size());
    for (std::size_t index = 0; index < rows.size(); ++index) {
        EXPECT_EQ(allSupportedBrowsers[index], rows[index].browser) << rows[index].displayName;
        EXPECT_EQ(static_cast<std::size_t>(allSupportedBrowsers[index]), index);
    }
}

TEST(SupportedBrowser, HasTheAttributesOfItsRow)
{
    for (const Row& row : rows) {
        SCOPED_TRACE(row.bundleIdentifier);
        EXPECT_EQ(bundleIdentifier(row.browser), row.bundleIdentifier);
        EXPECT_EQ(displayName(row.browser), row.displayName);
        EXPECT_EQ(readinessKey(row.browser), row.readinessKey);
    }
}

TEST(SupportedBrowser, HasTheKeyUnsupportedWhereThereIsNone)
{
    EXPECT_EQ(readinessKey(std::nullopt), "unsupported");
}

} // namespace events
