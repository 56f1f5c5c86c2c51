#pragma once
// Waiting until something changes in directories. Systems differ in what they tell, so this tells
// the least of them: that a directory has changed, not what; whoever waits looks for himself.

#include "platform/file_system.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

namespace platform {

enum class Awakening : std::uint8_t {
    change, // a name came, went or was replaced in a watched directory, or the directory itself
            // went
    input, // the watched descriptor can be read or has ended
    interruption, // the process was asked to end (see `EndRequests`)
    timeout
};

/// From its making on, SIGINT and SIGTERM no longer end the process but its waiting; the
/// dispositions of before come back at the end. There is one at a time.
class EndRequests {
public:
    EndRequests();
    EndRequests(const EndRequests&) = delete;
    EndRequests& operator=(const EndRequests&) = delete;
    ~EndRequests();

    /// A descriptor that can be read once the process was asked to end.
    [[nodiscard]] int descriptor() const;
};

/// Linux: inotify(7). macOS: kqueue(2) with EVFILT_VNODE.
class DirectoryWatcher {
public:
    [[nodiscard]] static FileResult<DirectoryWatcher> make();
    DirectoryWatcher(DirectoryWatcher&&) noexcept;
    DirectoryWatcher& operator=(DirectoryWatcher&&) = delete;
    DirectoryWatcher(const DirectoryWatcher&) = delete;
    DirectoryWatcher& operator=(const DirectoryWatcher&) = delete;
    ~DirectoryWatcher();

    /// From now on waits for changes in exactly these directories; those that were watched before
    /// stay so without a gap. One that cannot be opened is passed over.
    void watch(std::span<const std::string> directories);

    /// Waits until something has happened since the last call; what comes first in `Awakening`
    /// counts. Several changes may be one. `input` is a descriptor to be waited for as well, if
    /// there is one; without `timeout` there is no limit. Wakes up for nothing else.
    [[nodiscard]] FileResult<Awakening> wait(const EndRequests& endRequests,
        std::optional<int> input, std::optional<std::chrono::milliseconds> timeout);

private:
    struct State;
    explicit DirectoryWatcher(std::unique_ptr<State> state);
    std::unique_ptr<State> state_;
};

} // namespace platform
