#include "kestranectl/extension_identifiers.h"

#include <string_view>

namespace kestranectl {

namespace {

std::vector<std::string> split(std::string_view list)
{
    std::vector<std::string> elements;
    while (!list.empty()) {
        const std::size_t end = list.find(' ');
        if (end != 0)
            elements.emplace_back(list.substr(0, end));
        list.remove_prefix(end == std::string_view::npos ? list.size() : end + 1);
    }
    return elements;
}

} // namespace

const std::vector<std::string>& builtInExtensionIdentifiers()
{
    static const std::vector<std::string> identifiers = split(KESTRANE_EXTENSION_IDENTIFIERS);
    return identifiers;
}

std::string usualExtensionIdentifier()
{
    constexpr std::size_t identifierLength = 32;
    const auto& identifiers = builtInExtensionIdentifiers();
    return identifiers.empty() ? std::string(identifierLength, 'a') : identifiers.front();
}

} // namespace kestranectl
