#include "kestranectl/host_probe.h"

#include "kestranectl/extension_identifiers.h"
#include "kestranectl/manifest.h"
#include "platform/child_process.h"
#include "platform/time_limit.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace kestranectl {

namespace {

using std::chrono::milliseconds;

constexpr std::size_t keptBytes = 256;

// Up to the end of the output, the last byte that is kept, or the end of the time.
std::string beginningOfOutput(
    const platform::ChildProcess& process, const platform::TimeLimit& limit)
{
    std::array<char, keptBytes> buffer {};
    std::span<char> rest = buffer;
    while (!rest.empty()) {
        const auto count = process.read(rest, limit.remaining());
        if (!count || *count == 0)
            break;
        rest = rest.subspan(*count);
    }
    return { buffer.data(), buffer.size() - rest.size() };
}

} // namespace

HostProbe probeHost(const std::string& hostPath, milliseconds timeout)
{
    const platform::TimeLimit limit(timeout);
    auto process = platform::ChildProcess::start({
        .arguments = { hostPath, extensionOrigin(usualExtensionIdentifier()) },
        .workingDirectory = hostPath.substr(0, std::max<std::size_t>(hostPath.rfind('/'), 1)),
    });
    if (!process)
        return { .startError = process.error() };
    process->closeInput();
    HostProbe probe { .output = beginningOfOutput(*process, limit) };
    if (const auto end = process->wait(limit.remaining())) {
        probe.status = end->status;
        probe.signal = end->signal;
    }
    return probe;
}

} // namespace kestranectl
