#pragma once
// The native-messaging manifest: the JSON file by which a browser finds the host. (Source: Chrome
// for Developers, "Native messaging", section "Native messaging host".)

#include <cstdint>
#include <expected>
#include <string>
#include <string_view>
#include <vector>

namespace kestranectl {

/// The host's name in manifests and in the extension's calls.
inline constexpr std::string_view nativeHostName = "com.kestrane.native_host";

/// The file's name in every directory of manifests.
inline constexpr std::string_view manifestFileName = "com.kestrane.native_host.json";

/// Larger manifests are not read.
inline constexpr std::int64_t maximumManifestBytes = 16384;

struct Manifest {
    std::string name;
    std::string description;
    std::string path; // of the executable
    std::string type;
    std::vector<std::string> allowedOrigins;

    friend bool operator==(const Manifest&, const Manifest&) = default;
};

/// Whether `text` is an extension's identifier: 32 letters from "a" to "p".
[[nodiscard]] bool isExtensionIdentifier(std::string_view text);

/// For people: that `text` is none.
[[nodiscard]] std::string notAnExtensionIdentifier(std::string_view text);

/// "chrome-extension://IDENTIFIER/", the slash included: without it browsers find no host.
[[nodiscard]] std::string extensionOrigin(std::string_view identifier);

/// The manifest of the host at `hostPath` for these extensions.
[[nodiscard]] Manifest makeManifest(
    std::string hostPath, const std::vector<std::string>& extensionIdentifiers);

/// Indented JSON with a line feed at the end.
[[nodiscard]] std::string encode(const Manifest& manifest);

/// Reads a manifest by the browser's rules, in the browser's order: JSON, the members one by one,
/// then that it has the name of its file and an absolute path. Members that are not known are
/// ignored, and so is a byte-order mark. The error is a sentence
/// that says which rule is broken, as the browser itself does not.
[[nodiscard]] std::expected<Manifest, std::string> decodeManifest(std::string_view text);

/// The identifiers of the extensions that the manifest lets in; origins of another form, which
/// browsers may understand, are left out.
[[nodiscard]] std::vector<std::string> allowedIdentifiers(const Manifest& manifest);

} // namespace kestranectl
