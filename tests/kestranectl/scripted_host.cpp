#include "tests/kestranectl/scripted_host.h"

#include "tests/support/host_process.h"

#include <array>
#include <cstdio>

namespace support {

ScriptedHost::ScriptedHost(std::string_view script)
{
    makeFIFO(directory_ / "gate");
    writeFile(directory_ / "host", "#!/bin/sh\n" + std::string(script) + '\n', 0700);
}

std::string ScriptedHost::left(std::string_view name) const
{
    return readFile(directory_ / name);
}

std::string writing(std::string_view payload)
{
    std::string command = "printf '";
    for (const char byte : frame(payload)) {
        std::array<char, 8> octal {};
        std::snprintf(octal.data(), octal.size(), "\\%03o",
            static_cast<unsigned>(static_cast<unsigned char>(byte)));
        command += octal.data();
    }
    return command + "'\n";
}

} // namespace support
