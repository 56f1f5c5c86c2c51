#include "platform/descriptor_io.h"

#include <cerrno>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace platform {

namespace {

// Whether the failed call is worth making again; waits until it is, if the descriptor is set not to
// block.
bool shouldTryAgain(int error, int descriptor, short awaitedEvent)
{
    if (error == EINTR)
        return true;
    static_assert(EWOULDBLOCK == EAGAIN, "POSIX lets them differ");
    if (error != EAGAIN)
        return false;
    pollfd waiting { .fd = descriptor, .events = awaitedEvent, .revents = 0 };
    constexpr int withoutTimeLimit = -1;
    return ::poll(&waiting, 1, withoutTimeLimit) > 0 || errno == EINTR;
}

} // namespace

int openAt(int directory, const char* path, int flags)
{
    constexpr mode_t ownerMayReadAndWrite = 0600;
    int descriptor = -1;
    do
        descriptor = ::openat(directory, path, flags | O_CLOEXEC, ownerMayReadAndWrite);
    while (descriptor < 0 && errno == EINTR);
    return descriptor;
}

FileResult<std::size_t> readSome(int descriptor, std::span<char> buffer)
{
    for (;;) {
        const ssize_t count = ::read(descriptor, buffer.data(), buffer.size());
        if (count >= 0)
            return static_cast<std::size_t>(count);
        const int error = errno;
        if (!shouldTryAgain(error, descriptor, POLLIN))
            return std::unexpected(FileError { error });
    }
}

FileResult<void> writeAll(int descriptor, std::string_view bytes)
{
    while (!bytes.empty()) {
        const ssize_t count = ::write(descriptor, bytes.data(), bytes.size());
        if (count > 0) {
            bytes.remove_prefix(static_cast<std::size_t>(count));
            continue;
        }
        // Nothing written and no reason given: asking for ever would not help.
        const int error = count < 0 ? errno : EIO;
        if (!shouldTryAgain(error, descriptor, POLLOUT))
            return std::unexpected(FileError { error });
    }
    return {};
}

} // namespace platform
