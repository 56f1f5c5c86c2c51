#pragma once
// What a fuzz target says about the code: claims that end the process when one of them is wrong.

#include <string_view>

namespace fuzz {

/// Ends the process, with `claim` on standard error, unless `holds`.
void require(bool holds, std::string_view claim);

/// The same, with the text that the claim was about.
void requireFor(bool holds, std::string_view claim, std::string_view about);

} // namespace fuzz
