#pragma once
// The browsers that the system knows. This is the one place that names them.

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

namespace events {

/// In the order of look-up.
enum class SupportedBrowser : std::uint8_t {
    googleChrome,
    microsoftEdge,
    brave,
    arc,
    opera,
    vivaldi,
    safari,
    firefox
};

inline constexpr std::array allSupportedBrowsers {
    SupportedBrowser::googleChrome,
    SupportedBrowser::microsoftEdge,
    SupportedBrowser::brave,
    SupportedBrowser::arc,
    SupportedBrowser::opera,
    SupportedBrowser::vivaldi,
    SupportedBrowser::safari,
    SupportedBrowser::firefox,
};

/// The browser whose bundle identifier is exactly `bundleIdentifier`, letter case included, or
/// none.
[[nodiscard]] std::optional<SupportedBrowser> supportedBrowser(std::string_view bundleIdentifier);

[[nodiscard]] std::string_view bundleIdentifier(SupportedBrowser browser);

/// The browser's name as people know it.
[[nodiscard]] std::string_view displayName(SupportedBrowser browser);

/// The name of the browser's readiness file without its extension; "unsupported" when there is no
/// browser.
[[nodiscard]] std::string_view readinessKey(std::optional<SupportedBrowser> browser);

} // namespace events
