#include "kestranectl/host_probe.h"

#include "kestranectl/extension_identifiers.h"
#include "kestranectl/manifest.h"
#include "platform/child_process.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace kestranectl {

namespace {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

constexpr std::size_t keptBytes = 256;

// The origin of an extension that the host is for, or of none.
std::string origin()
{
    const auto& identifiers = builtInExtensionIdentifiers();
    return extensionOrigin(identifiers.empty() ? std::string(32, 'a') : identifiers.front());
}

milliseconds remaining(Clock::time_point deadline)
{
    return std::max(milliseconds(0), std::chrono::ceil<milliseconds>(deadline - Clock::now()));
}

// Up to the end of the output, the last byte that is kept, or the deadline.
std::string beginningOfOutput(const platform::ChildProcess& process, Clock::time_point deadline)
{
    std::array<char, keptBytes> buffer {};
    std::span<char> rest = buffer;
    while (!rest.empty()) {
        const auto count = process.read(rest, remaining(deadline));
        if (!count || *count == 0)
            break;
        rest = rest.subspan(*count);
    }
    return { buffer.data(), buffer.size() - rest.size() };
}

} // namespace

HostProbe probeHost(const std::string& hostPath, milliseconds timeout)
{
    const auto deadline = Clock::now() + timeout;
    auto process = platform::ChildProcess::start({
        .arguments = { hostPath, origin() },
        .workingDirectory = hostPath.substr(0, std::max<std::size_t>(hostPath.rfind('/'), 1)),
    });
    if (!process)
        return { .startError = process.error() };
    process->closeInput();
    HostProbe probe { .output = beginningOfOutput(*process, deadline) };
    if (const auto end = process->wait(remaining(deadline))) {
        probe.status = end->status;
        probe.signal = end->signal;
    }
    return probe;
}

} // namespace kestranectl
