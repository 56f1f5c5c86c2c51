#pragma once
// Texts in the form in which programs are handed their arguments and environment (POSIX.1-2017,
// exec).

#include <string>
#include <vector>

namespace platform {

/// A pointer to each text and a null pointer at the end; they point into `texts`.
[[nodiscard]] inline std::vector<char*> nullTerminated(std::vector<std::string>& texts)
{
    std::vector<char*> pointers;
    pointers.reserve(texts.size() + 1);
    for (std::string& text : texts)
        pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
}

} // namespace platform
