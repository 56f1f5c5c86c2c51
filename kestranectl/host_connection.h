#pragma once
// The browser's end of a connection with the host: the host's process, and frames to and from it.
// (Chrome for Developers, "Native messaging", section "Native messaging protocol".)

#include "platform/child_process.h"
#include "platform/time_limit.h"

#include <chrono>
#include <cstddef>
#include <expected>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace kestranectl {

struct HostConnectionOptions {
    std::string hostPath {}; // absolute
    std::string origin {}; // of the extension
    std::string bridgeDirectory {}; // absolute; empty: the host's own rule
    std::chrono::milliseconds timeout {}; // for each answer
    // What browsers give a host to end after its input was closed, before they kill it.
    std::chrono::milliseconds timeToEnd = std::chrono::seconds(2);
};

/// All errors are sentences for the user.
class HostConnection {
public:
    /// Browsers take no longer answer from a host.
    static constexpr std::size_t maximumAnswerBytes = 1048576;

    /// Starts the host as a browser does: its path and the extension's origin as arguments, in its
    /// own directory, with this process's environment.
    [[nodiscard]] static std::expected<HostConnection, std::string> open(
        const HostConnectionOptions& options);

    /// Sends one frame and yields the JSON text of the next one, 1 to `maximumAnswerBytes` bytes.
    /// After a failure nothing more can be asked.
    [[nodiscard]] std::expected<std::string, std::string> ask(std::string_view request) const;

    /// Closes the host's input and waits for its end. Yields what was wrong with that: output that
    /// nobody asked for, an end that is late (the host is killed when this object goes), or one
    /// other than with status 0.
    [[nodiscard]] std::vector<std::string> close();

private:
    HostConnection(platform::ChildProcess process, const HostConnectionOptions& options);

    // Reads that many bytes of an answer, of which something was read before or not.
    [[nodiscard]] std::expected<void, std::string> fill(
        std::span<char> buffer, bool isBegun, const platform::TimeLimit& limit) const;

    platform::ChildProcess process_;
    std::chrono::milliseconds timeout_;
    std::chrono::milliseconds timeToEnd_;
};

} // namespace kestranectl
