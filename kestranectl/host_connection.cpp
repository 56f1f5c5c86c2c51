#include "kestranectl/host_connection.h"

#include "bridge/bridge_store.h"
#include "kestranectl/console.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <optional>
#include <utility>

namespace kestranectl {

namespace {

using std::chrono::milliseconds;

using LengthPrefix = std::uint32_t;

std::string frame(std::string_view payload)
{
    const auto length = static_cast<LengthPrefix>(payload.size());
    std::string bytes(sizeof length, '\0');
    std::memcpy(bytes.data(), &length, sizeof length);
    return bytes.append(payload);
}

std::string secondsText(milliseconds time)
{
    std::string text = std::to_string(static_cast<double>(time.count()) / 1000);
    text.erase(text.find_last_not_of('0') + 1);
    if (text.ends_with('.'))
        text.pop_back();
    return text + (text == "1" ? " second" : " seconds");
}

std::unexpected<std::string> sentence(std::string text)
{
    return std::unexpected(std::move(text));
}

std::string directoryOf(const std::string& path)
{
    return path.substr(0, std::max<std::size_t>(path.rfind('/'), 1));
}

std::expected<std::size_t, std::string> checkedLength(std::string_view header)
{
    LengthPrefix length = 0;
    std::memcpy(&length, header.data(), sizeof length);
    if (length == 0)
        return sentence("The host's answer is empty; browsers drop such answers.");
    if (length > HostConnection::maximumAnswerBytes)
        return sentence("The host announced an answer of " + std::to_string(length)
            + " bytes, more than browsers take; \"kestranectl decode-length "
            + std::to_string(length) + "\" says what that may have been.");
    return length;
}

// Reads what is left of the output; yields how many bytes that were, none where the end did not
// come in time.
std::optional<std::size_t> sizeOfRest(
    const platform::ChildProcess& process, const platform::TimeLimit& limit)
{
    std::array<char, 4096> piece {};
    std::size_t size = 0;
    for (;;) {
        const auto count = process.read(piece, limit.remaining());
        if (!count || (*count > 0 && limit.remaining() == milliseconds::zero()))
            return std::nullopt;
        if (*count == 0)
            return size;
        size += *count;
    }
}

std::optional<std::string> faultOf(
    const platform::FileResult<platform::ProcessEnd>& end, milliseconds timeToEnd)
{
    if (!end && end.error().code != ETIMEDOUT)
        return "The host's end cannot be seen: " + platform::message(end.error()) + ".";
    if (!end)
        return "The host did not end within " + secondsText(timeToEnd)
            + " after its input was closed; browsers kill it then, and so was it now.";
    if (end->signal)
        return "The host was ended by signal " + std::to_string(*end->signal) + ".";
    if (end->status != 0)
        return "The host ended with status " + std::to_string(end->status.value_or(0))
            + " instead of 0.";
    return std::nullopt;
}

} // namespace

HostConnection::HostConnection(platform::ChildProcess process, const HostConnectionOptions& options)
    : process_(std::move(process))
    , timeout_(options.timeout)
    , timeToEnd_(options.timeToEnd)
{
}

std::expected<HostConnection, std::string> HostConnection::open(
    const HostConnectionOptions& options)
{
    platform::ChildProcessOptions program {
        .arguments = { options.hostPath, options.origin },
        .workingDirectory = directoryOf(options.hostPath),
    };
    if (!options.bridgeDirectory.empty())
        program.addedEnvironment.push_back(
            std::string(bridge::bridgeDirectoryVariable) + '=' + options.bridgeDirectory);
    auto process = platform::ChildProcess::start(program);
    if (!process)
        return sentence("The host " + printable(options.hostPath)
            + " cannot be started: " + platform::message(process.error()) + ".");
    return HostConnection(std::move(*process), options);
}

std::expected<std::string, std::string> HostConnection::ask(std::string_view request) const
{
    const platform::TimeLimit limit(timeout_);
    // A host that takes nothing any more says by its end why; the reading finds it.
    if (const auto sent = process_.write(frame(request), timeout_);
        !sent && sent.error().code != EPIPE)
        return sentence("The request cannot be sent: " + platform::message(sent.error()) + ".");
    std::array<char, sizeof(LengthPrefix)> header {};
    if (const auto filled = fill(header, false, limit); !filled)
        return sentence(filled.error());
    const auto length = checkedLength({ header.data(), header.size() });
    if (!length)
        return sentence(length.error());
    std::string answer(*length, '\0');
    if (const auto filled = fill(answer, true, limit); !filled)
        return sentence(filled.error());
    return answer;
}

std::expected<void, std::string> HostConnection::fill(
    std::span<char> buffer, bool isBegun, const platform::TimeLimit& limit) const
{
    while (!buffer.empty()) {
        const auto count = process_.read(buffer, limit.remaining());
        if (count && *count > 0) {
            buffer = buffer.subspan(*count);
            isBegun = true;
            continue;
        }
        if (count)
            return sentence(isBegun ? "The host closed its output in the middle of an answer."
                                    : "The host closed its output without an answer.");
        if (count.error().code == ETIMEDOUT)
            return sentence("The host did not answer within " + secondsText(timeout_) + ".");
        return sentence("The answer cannot be read: " + platform::message(count.error()) + ".");
    }
    return {};
}

std::vector<std::string> HostConnection::close()
{
    std::vector<std::string> faults;
    const platform::TimeLimit limit(timeToEnd_);
    process_.closeInput();
    if (const auto size = sizeOfRest(process_, limit); size.value_or(0) > 0)
        faults.push_back("The host wrote " + std::to_string(*size)
            + " bytes that nobody asked for; browsers take the first four of them for a length.");
    if (auto fault = faultOf(process_.wait(limit.remaining()), timeToEnd_))
        faults.push_back(std::move(*fault));
    return faults;
}

} // namespace kestranectl
