#include "platform/descriptor_io.h"
#include "platform/directory_watcher.h"
#include "platform/time_limit.h"

#include <array>
#include <cerrno>
#include <cstdint>
#include <ctime>
#include <map>
#include <tuple>
#include <utility>

#include <fcntl.h>
#include <sys/event.h>
#include <sys/stat.h>
#include <unistd.h>

namespace platform {

namespace {

using std::chrono::milliseconds;

constexpr unsigned awaitedEvents
    = NOTE_WRITE | NOTE_EXTEND | NOTE_DELETE | NOTE_RENAME | NOTE_REVOKE;

struct kevent change(int descriptor, std::int16_t filter, unsigned flags, unsigned events = 0)
{
    struct kevent result {};
    result.ident = static_cast<std::uintptr_t>(descriptor);
    result.filter = filter;
    result.flags = static_cast<std::uint16_t>(flags);
    result.fflags = events;
    return result;
}

// An open directory that belongs to the queue as long as it is open.
class WatchedDirectory {
public:
    WatchedDirectory(int descriptor, const struct stat& status)
        : descriptor_(descriptor)
        , device_(status.st_dev)
        , number_(status.st_ino)
    {
    }
    WatchedDirectory(WatchedDirectory&& other) noexcept
        : descriptor_(std::exchange(other.descriptor_, -1))
        , device_(other.device_)
        , number_(other.number_)
    {
    }
    WatchedDirectory& operator=(WatchedDirectory&&) = delete;
    WatchedDirectory(const WatchedDirectory&) = delete;
    WatchedDirectory& operator=(const WatchedDirectory&) = delete;
    ~WatchedDirectory()
    {
        if (descriptor_ >= 0)
            ::close(descriptor_);
    }

    [[nodiscard]] bool isSameAs(const WatchedDirectory& other) const
    {
        return device_ == other.device_ && number_ == other.number_;
    }

    // Tells of every change once.
    [[nodiscard]] bool addTo(int queue) const
    {
        const auto addition = change(descriptor_, EVFILT_VNODE, EV_ADD | EV_CLEAR, awaitedEvents);
        return ::kevent(queue, &addition, 1, nullptr, 0, nullptr) == 0;
    }

private:
    int descriptor_;
    dev_t device_;
    ino_t number_;
};

std::optional<WatchedDirectory> openDirectory(const std::string& path)
{
    const int descriptor = openAt(AT_FDCWD, path.c_str(), O_EVTONLY | O_DIRECTORY);
    if (descriptor < 0)
        return std::nullopt;
    struct stat status {};
    if (::fstat(descriptor, &status) != 0) {
        ::close(descriptor);
        return std::nullopt;
    }
    return WatchedDirectory(descriptor, status);
}

timespec timeSpecification(milliseconds duration)
{
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(duration);
    const std::chrono::nanoseconds rest = duration - seconds;
    return { .tv_sec = static_cast<time_t>(seconds.count()),
        .tv_nsec = static_cast<long>(rest.count()) };
}

} // namespace

struct DirectoryWatcher::State {
    explicit State(int itsQueue)
        : queue(itsQueue)
    {
    }
    State(State&&) = delete;
    State& operator=(State&&) = delete;
    State(const State&) = delete;
    State& operator=(const State&) = delete;
    ~State() { ::close(queue); }

    [[nodiscard]] bool apply(const struct kevent& wanted) const
    {
        return ::kevent(queue, &wanted, 1, nullptr, 0, nullptr) == 0;
    }

    // Takes the place of what was waited for before. Devices that the queue does not know, the null
    // device among them, can be read at any time; false stands for them.
    [[nodiscard]] bool awaitInput(std::optional<int> wanted)
    {
        if (input == wanted)
            return true;
        if (input)
            std::ignore = apply(change(*input, EVFILT_READ, EV_DELETE)); // Closed: gone by itself.
        input.reset();
        if (wanted && !apply(change(*wanted, EVFILT_READ, EV_ADD)))
            return false;
        input = wanted;
        return true;
    }

    // What has happened until now, or happens within the time; nothing when a signal came first.
    [[nodiscard]] FileResult<Awakening> takeEvents(
        int endDescriptor, std::optional<milliseconds> timeout) const
    {
        const timespec limit = timeSpecification(timeout.value_or(milliseconds::zero()));
        std::array<struct kevent, 8> events {};
        const int count = ::kevent(queue, nullptr, 0, events.data(),
            static_cast<int>(events.size()), timeout ? &limit : nullptr);
        if (count < 0 && errno != EINTR)
            return std::unexpected(FileError { errno });
        Awakening awakening;
        for (int index = 0; index < count; ++index) {
            const auto& event = events.at(static_cast<std::size_t>(index));
            if (event.filter == EVFILT_VNODE)
                awakening.changed = true;
            else if (event.ident == static_cast<std::uintptr_t>(endDescriptor))
                awakening.endRequested = true;
            else
                awakening.inputReady = true;
        }
        return awakening;
    }

    int queue;
    std::map<std::string, WatchedDirectory> directories;
    std::optional<int> input;
};

FileResult<DirectoryWatcher> DirectoryWatcher::make()
{
    const int queue = ::kqueue();
    if (queue < 0)
        return std::unexpected(FileError { errno });
    auto state = std::make_unique<State>(queue);
    if (::fcntl(queue, F_SETFD, FD_CLOEXEC) != 0)
        return std::unexpected(FileError { errno });
    return DirectoryWatcher(std::move(state));
}

DirectoryWatcher::DirectoryWatcher(std::unique_ptr<State> state)
    : state_(std::move(state))
{
}

DirectoryWatcher::DirectoryWatcher(DirectoryWatcher&& other) noexcept = default;

DirectoryWatcher::~DirectoryWatcher() = default;

void DirectoryWatcher::watch(std::span<const std::string> directories)
{
    // What is left in `before` at the end is closed, and the queue forgets it.
    auto before = std::move(state_->directories);
    state_->directories.clear();
    for (const std::string& path : directories) {
        auto directory = openDirectory(path);
        if (!directory)
            continue;
        const auto known = before.find(path);
        if (known != before.end() && known->second.isSameAs(*directory))
            state_->directories.insert(before.extract(known));
        else if (directory->addTo(state_->queue))
            state_->directories.emplace(path, *std::move(directory));
    }
}

FileResult<Awakening> DirectoryWatcher::wait(
    const EndRequests& endRequests, std::optional<int> input, std::optional<milliseconds> timeout)
{
    const auto limit = timeout ? std::optional<TimeLimit>(*timeout) : std::nullopt;
    // Adding what is there already changes nothing.
    if (!state_->apply(change(endRequests.descriptor(), EVFILT_READ, EV_ADD)))
        return std::unexpected(FileError { errno });
    const bool isInputAwaited = state_->awaitInput(input);
    for (;;) {
        auto remaining = limit ? std::optional(limit->remaining()) : std::nullopt;
        if (!isInputAwaited)
            remaining = milliseconds::zero();
        auto awakening = state_->takeEvents(endRequests.descriptor(), remaining);
        if (!awakening)
            return awakening;
        awakening->inputReady = awakening->inputReady || !isInputAwaited;
        if (*awakening != Awakening {} || remaining == milliseconds::zero())
            return awakening;
    }
}

} // namespace platform
