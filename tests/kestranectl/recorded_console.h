#pragma once
// A console that keeps what is written to it.

#include "kestranectl/console.h"

#include <string>
#include <string_view>

namespace support {

struct RecordedConsole {
    std::string output {};
    std::string error {};

    [[nodiscard]] kestranectl::Console console()
    {
        return {
            .output = [this](std::string_view text) { output += text; },
            .error = [this](std::string_view text) { error += text; },
        };
    }
};

} // namespace support
