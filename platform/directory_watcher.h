#pragma once
// Waiting until something changes in directories. Systems differ in what they tell, so this tells
// the least of them: that a directory has changed, not what; whoever waits looks for himself.

#include "platform/end_requests.h"
#include "platform/file_system.h"

#include <chrono>
#include <memory>
#include <optional>
#include <span>
#include <string>

namespace platform {

/// Everything that there was to wake up for; nothing is set when the time was over.
struct Awakening {
    bool changed = false; // a name came, went or was replaced in a watched directory, or such a
                          // directory itself went
    bool inputReady = false; // the input can be read without waiting, has ended or cannot be read
    bool endRequested = false; // the process was asked to end

    friend bool operator==(const Awakening&, const Awakening&) = default;
};

/// Linux: inotify(7). macOS: kqueue(2) with EVFILT_VNODE, which does not tell when a file is
/// written to in its place; Linux counts that as a change.
class DirectoryWatcher {
public:
    /// Fails with the system's error.
    [[nodiscard]] static FileResult<DirectoryWatcher> make();
    DirectoryWatcher(DirectoryWatcher&& other) noexcept;
    DirectoryWatcher& operator=(DirectoryWatcher&&) = delete;
    DirectoryWatcher(const DirectoryWatcher&) = delete;
    DirectoryWatcher& operator=(const DirectoryWatcher&) = delete;
    ~DirectoryWatcher();

    /// From now on waits for changes in exactly these directories, the ones that the paths lead to
    /// now; symbolic links are followed. Those that were watched before stay so without a gap. What
    /// is no directory or cannot be opened is passed over.
    void watch(std::span<const std::string> directories);

    /// Waits until something has happened since the last call. Several changes may be one, and one
    /// may be told twice. `input` is a descriptor to be waited for as well, if there is one: one
    /// that has ended is ready every time. Without `timeout` there is no limit. Wakes up for
    /// nothing else. Fails with the system's error.
    [[nodiscard]] FileResult<Awakening> wait(const EndRequests& endRequests,
        std::optional<int> input, std::optional<std::chrono::milliseconds> timeout);

private:
    struct State;
    explicit DirectoryWatcher(std::unique_ptr<State> state);

    std::unique_ptr<State> state_;
};

} // namespace platform
