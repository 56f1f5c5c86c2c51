#include "events/supported_browsers.h"

#include <cstddef>

namespace events {

namespace {

struct BrowserAttributes {
    std::string_view bundleIdentifier;
    std::string_view displayName;
    std::string_view readinessKey;
};

constexpr std::array<BrowserAttributes, allSupportedBrowsers.size()> table { {
    { "com.google.Chrome", "Google Chrome", "googleChrome" },
    { "com.microsoft.edgemac", "Microsoft Edge", "microsoftEdge" },
    { "com.brave.Browser", "Brave", "brave" },
    { "company.thebrowser.Browser", "Arc", "arc" },
    { "com.operasoftware.Opera", "Opera", "opera" },
    { "com.vivaldi.Vivaldi", "Vivaldi", "vivaldi" },
    { "com.apple.Safari", "Safari", "safari" },
    { "org.mozilla.firefox", "Firefox", "firefox" },
} };

constexpr const BrowserAttributes& attributes(SupportedBrowser browser)
{
    return table[static_cast<std::size_t>(browser)];
}

} // namespace

std::optional<SupportedBrowser> supportedBrowser(std::string_view bundleIdentifier)
{
    for (const SupportedBrowser browser : allSupportedBrowsers) {
        if (attributes(browser).bundleIdentifier == bundleIdentifier)
            return browser;
    }
    return std::nullopt;
}

std::string_view bundleIdentifier(SupportedBrowser browser)
{
    return attributes(browser).bundleIdentifier;
}

std::string_view displayName(SupportedBrowser browser)
{
    return attributes(browser).displayName;
}

std::string_view readinessKey(std::optional<SupportedBrowser> browser)
{
    return browser ? attributes(*browser).readinessKey : "unsupported";
}

} // namespace events
