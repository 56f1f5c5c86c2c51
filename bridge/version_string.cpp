#include "bridge/version_string.h"

#include "base/unicode_text.h"

#include <cstddef>

namespace bridge {

bool isValidVersionString(std::string_view version)
{
    constexpr std::size_t maximumCharacters = 32;
    std::size_t characters = 0;
    bool followsDigit = false;
    const bool isSound = base::allScalars(version, [&](char32_t scalar) {
        // Nothing but such a mark ever joins to a digit, so this is all of text segmentation that
        // versions need.
        if (followsDigit && base::extendsCharacterBefore(scalar))
            return true;
        ++characters;
        followsDigit = base::isNumericCharacter(scalar);
        return followsDigit || scalar == U'.';
    });
    return isSound && characters >= 1 && characters <= maximumCharacters;
}

} // namespace bridge
