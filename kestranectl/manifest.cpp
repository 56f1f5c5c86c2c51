#include "kestranectl/manifest.h"

#include <boost/json.hpp>

#include <algorithm>
#include <array>
#include <optional>
#include <utility>

namespace kestranectl {

namespace {

constexpr std::string_view hostDescription = "Connects the Kestrane browser extension to Kestrane";
constexpr std::string_view standardStreams = "stdio"; // the only type there is
constexpr std::string_view scheme = "chrome-extension://";
constexpr std::size_t identifierLength = 32;

using Problem = std::unexpected<std::string>;

Problem problem(std::string text)
{
    return Problem(std::move(text));
}

std::expected<boost::json::object, std::string> parsedObject(std::string_view text)
{
    constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
    if (text.starts_with(byteOrderMark))
        text.remove_prefix(byteOrderMark.size());
    boost::system::error_code error;
    boost::json::value value
        = boost::json::parse(boost::json::string_view(text.data(), text.size()), error);
    if (error.failed())
        return problem("It is no valid JSON (" + error.message() + ").");
    if (!value.is_object())
        return problem("It is JSON, but no object.");
    return std::move(value.get_object());
}

std::expected<std::string, std::string> textOf(
    const boost::json::object& object, std::string_view key)
{
    const auto* const value = object.if_contains(boost::json::string_view(key.data(), key.size()));
    const std::string quoted = '"' + std::string(key) + '"';
    if (value == nullptr)
        return problem("It has no " + quoted + '.');
    if (!value->is_string())
        return problem("Its " + quoted + " is no text.");
    const boost::json::string& text = value->get_string();
    return std::string(text.data(), text.size());
}

bool isHostName(std::string_view name)
{
    const auto isAllowed = [](char character) {
        return (character >= 'a' && character <= 'z') || (character >= '0' && character <= '9')
            || character == '.' || character == '_';
    };
    return !name.empty() && std::ranges::all_of(name, isAllowed) && !name.starts_with('.')
        && !name.ends_with('.') && name.find("..") == std::string_view::npos;
}

// What is wrong with an origin, if something is.
std::optional<std::string> originProblem(std::string_view origin)
{
    const std::string quoted = "Its allowed origin \"" + std::string(origin) + "\" ";
    if (!origin.starts_with(scheme))
        return quoted + "does not begin with \"chrome-extension://\".";
    const std::string_view rest = origin.substr(scheme.size());
    if (rest.find('*') != std::string_view::npos)
        return quoted + "holds \"*\", and browsers refuse wildcards there.";
    const std::size_t slash = rest.find('/');
    if (slash == std::string_view::npos)
        return quoted + "lacks the slash at its end.";
    if (slash == 0)
        return quoted + "names no extension.";
    return std::nullopt;
}

std::expected<std::vector<std::string>, std::string> originsOf(const boost::json::object& object)
{
    const auto* const value = object.if_contains("allowed_origins");
    if (value == nullptr)
        return problem("It has no \"allowed_origins\".");
    if (!value->is_array())
        return problem("Its \"allowed_origins\" is no list.");
    std::vector<std::string> origins;
    for (const boost::json::value& element : value->get_array()) {
        if (!element.is_string())
            return problem("Its \"allowed_origins\" holds something that is no text.");
        const boost::json::string& text = element.get_string();
        origins.emplace_back(text.data(), text.size());
        if (auto wrong = originProblem(origins.back()))
            return problem(*std::move(wrong));
    }
    return origins;
}

// The members that are texts, in the order in which they are looked at.
constexpr std::array<std::pair<std::string_view, std::string Manifest::*>, 4> textMembers { {
    { "name", &Manifest::name },
    { "description", &Manifest::description },
    { "type", &Manifest::type },
    { "path", &Manifest::path },
} };

// What is wrong with a member's text, whatever the other members are.
std::optional<std::string> memberProblem(std::string_view key, const std::string& value)
{
    if (key == "name" && !isHostName(value))
        return R"(Its "name" is ")" + value
            + R"(", but names consist of lower-case letters, digits, "_" and single dots.)";
    if (key == "description" && value.empty())
        return "Its \"description\" is empty.";
    if (key == "type" && value != standardStreams)
        return R"(Its "type" is ")" + value + R"(" instead of "stdio".)";
    return std::nullopt;
}

// What the browser finds only once the manifest itself is in order.
std::optional<std::string> useProblem(const Manifest& manifest)
{
    if (manifest.name != nativeHostName)
        return R"(Its "name" is ")" + manifest.name + R"(", but the file's name asks for ")"
            + std::string(nativeHostName) + "\".";
    if (!manifest.path.starts_with('/'))
        return R"(Its "path" is ")" + manifest.path
            + R"(", but it must be absolute; "~" and variables are not replaced.)";
    // The system would take the path to end there.
    if (manifest.path.find('\0') != std::string::npos)
        return "Its \"path\" holds a NUL character.";
    return std::nullopt;
}

std::string serialized(const std::string& text)
{
    return boost::json::serialize(boost::json::string_view(text.data(), text.size()));
}

} // namespace

bool isExtensionIdentifier(std::string_view text)
{
    return text.size() == identifierLength && std::ranges::all_of(text, [](char character) {
        return character >= 'a' && character <= 'p';
    });
}

std::string notAnExtensionIdentifier(std::string_view text)
{
    return '"' + std::string(text)
        + R"(" is no extension identifier: those are 32 letters from "a" to "p".)";
}

std::string extensionOrigin(std::string_view identifier)
{
    return std::string(scheme) + std::string(identifier) + '/';
}

Manifest makeManifest(std::string hostPath, const std::vector<std::string>& extensionIdentifiers)
{
    Manifest manifest {
        .name = std::string(nativeHostName),
        .description = std::string(hostDescription),
        .path = std::move(hostPath),
        .type = std::string(standardStreams),
        .allowedOrigins = {},
    };
    for (const std::string& identifier : extensionIdentifiers) {
        std::string origin = extensionOrigin(identifier);
        if (std::ranges::find(manifest.allowedOrigins, origin) == manifest.allowedOrigins.end())
            manifest.allowedOrigins.push_back(std::move(origin));
    }
    return manifest;
}

std::string encode(const Manifest& manifest)
{
    std::string text = "{\n";
    text += "  \"name\": " + serialized(manifest.name) + ",\n";
    text += "  \"description\": " + serialized(manifest.description) + ",\n";
    text += "  \"path\": " + serialized(manifest.path) + ",\n";
    text += "  \"type\": " + serialized(manifest.type) + ",\n";
    text += "  \"allowed_origins\": [";
    std::string_view separator = "\n";
    for (const std::string& origin : manifest.allowedOrigins) {
        text += std::string(separator) + "    " + serialized(origin);
        separator = ",\n";
    }
    return text + "\n  ]\n}\n";
}

std::expected<Manifest, std::string> decodeManifest(std::string_view text)
{
    const auto object = parsedObject(text);
    if (!object)
        return problem(object.error());
    Manifest manifest;
    for (const auto& [key, member] : textMembers) {
        auto value = textOf(*object, key);
        if (!value)
            return problem(value.error());
        manifest.*member = *std::move(value);
        if (auto wrong = memberProblem(key, manifest.*member))
            return problem(*std::move(wrong));
    }
    auto origins = originsOf(*object);
    if (!origins)
        return problem(origins.error());
    manifest.allowedOrigins = *std::move(origins);
    if (auto wrong = useProblem(manifest))
        return problem(*std::move(wrong));
    return manifest;
}

std::vector<std::string> allowedIdentifiers(const Manifest& manifest)
{
    std::vector<std::string> identifiers;
    for (const std::string& origin : manifest.allowedOrigins) {
        if (!origin.starts_with(scheme))
            continue;
        std::string identifier = origin.substr(scheme.size(), identifierLength);
        if (isExtensionIdentifier(identifier) && origin == extensionOrigin(identifier))
            identifiers.push_back(std::move(identifier));
    }
    return identifiers;
}

} // namespace kestranectl
