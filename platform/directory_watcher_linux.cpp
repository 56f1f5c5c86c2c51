#include "platform/directory_watcher.h"
#include "platform/time_limit.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <set>
#include <utility>

#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

namespace platform {

namespace {

using std::chrono::milliseconds;

constexpr std::uint32_t awaitedEvents = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO
    | IN_CLOSE_WRITE | IN_DELETE_SELF | IN_MOVE_SELF;

// Room for many events, and for one with the longest name.
using Buffer = std::array<char, 8192>;

// What poll(2) takes: -1 for no limit. Longer times end early, and are begun again.
int pollTimeout(std::optional<milliseconds> remaining)
{
    if (!remaining)
        return -1;
    constexpr milliseconds longest = std::chrono::hours(1);
    return static_cast<int>(std::min(*remaining, longest).count());
}

} // namespace

struct DirectoryWatcher::State {
    explicit State(int itsDescriptor)
        : descriptor(itsDescriptor)
    {
    }
    State(State&&) = delete;
    State& operator=(State&&) = delete;
    State(const State&) = delete;
    State& operator=(const State&) = delete;
    ~State() { ::close(descriptor); }

    // Events of directories that are no longer watched may still be in the queue.
    [[nodiscard]] bool tellsChange(const inotify_event& event) const
    {
        return (event.mask & IN_Q_OVERFLOW) != 0 || watches.contains(event.wd);
    }

    [[nodiscard]] bool tellChange(const Buffer& events, std::size_t size) const
    {
        bool changed = false;
        for (std::size_t start = 0; start < size;) {
            inotify_event event {};
            std::memcpy(&event, events.data() + start, sizeof event);
            changed = changed || tellsChange(event);
            start += sizeof event + event.len;
        }
        return changed;
    }

    // Empties the queue. Yields whether it told of a change.
    [[nodiscard]] FileResult<bool> takeEvents() const
    {
        bool changed = false;
        Buffer events; // NOLINT(cppcoreguidelines-pro-type-member-init): the system fills it
        for (;;) {
            const ssize_t size = ::read(descriptor, events.data(), events.size());
            if (size > 0)
                changed = tellChange(events, static_cast<std::size_t>(size)) || changed;
            else if (size == 0 || errno == EAGAIN)
                return changed;
            else if (errno != EINTR)
                return std::unexpected(FileError { errno });
        }
    }

    int descriptor;
    std::set<int> watches;
};

FileResult<DirectoryWatcher> DirectoryWatcher::make()
{
    const int descriptor = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (descriptor < 0)
        return std::unexpected(FileError { errno });
    return DirectoryWatcher(std::make_unique<State>(descriptor));
}

DirectoryWatcher::DirectoryWatcher(std::unique_ptr<State> state)
    : state_(std::move(state))
{
}

DirectoryWatcher::DirectoryWatcher(DirectoryWatcher&& other) noexcept = default;

DirectoryWatcher::~DirectoryWatcher() = default;

void DirectoryWatcher::watch(std::span<const std::string> directories)
{
    // For a directory that is watched already the kernel gives the same number again.
    std::set<int> watches;
    for (const std::string& directory : directories) {
        const int watch = ::inotify_add_watch(
            state_->descriptor, directory.c_str(), awaitedEvents | IN_ONLYDIR);
        if (watch >= 0)
            watches.insert(watch);
    }
    // One whose directory is gone is no longer there, and removing it fails; no matter.
    for (const int watch : state_->watches) {
        if (!watches.contains(watch))
            ::inotify_rm_watch(state_->descriptor, watch);
    }
    state_->watches = std::move(watches);
}

FileResult<Awakening> DirectoryWatcher::wait(
    const EndRequests& endRequests, std::optional<int> input, std::optional<milliseconds> timeout)
{
    const auto limit = timeout ? std::optional<TimeLimit>(*timeout) : std::nullopt;
    constexpr int passedOver = -1; // by poll(2)
    std::array<pollfd, 3> awaited { {
        { .fd = state_->descriptor, .events = POLLIN, .revents = 0 },
        { .fd = input.value_or(passedOver), .events = POLLIN, .revents = 0 },
        { .fd = endRequests.descriptor(), .events = POLLIN, .revents = 0 },
    } };
    for (;;) {
        const auto remaining = limit ? std::optional(limit->remaining()) : std::nullopt;
        if (::poll(awaited.data(), awaited.size(), pollTimeout(remaining)) < 0) {
            if (errno != EINTR)
                return std::unexpected(FileError { errno });
            continue;
        }
        const auto changed = state_->takeEvents();
        if (!changed)
            return std::unexpected(changed.error());
        const Awakening awakening { .changed = *changed,
            .inputReady = awaited[1].revents != 0,
            .endRequested = awaited[2].revents != 0 };
        if (awakening != Awakening {} || remaining == milliseconds::zero())
            return awakening;
    }
}

} // namespace platform
