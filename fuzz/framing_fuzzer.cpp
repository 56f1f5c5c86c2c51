// The frames of a connection, over a real pipe: what is read of them, and a whole session that
// answers them.

#include "fuzz/support/bridge_world.h"
#include "fuzz/support/byte_source.h"
#include "fuzz/support/claims.h"
#include "fuzz/support/effects.h"
#include "fuzz/support/response_check.h"
#include "host/native_messaging.h"
#include "host/request_loop.h"

#include <array>
#include <cstdio>
#include <cstring>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

namespace {

// A pipe that holds the input, as much of it as a pipe takes, and then ends.
class FilledPipe {
public:
    explicit FilledPipe(std::string_view bytes)
    {
        std::array<int, 2> ends {};
        fuzz::require(::pipe(ends.data()) == 0, "there is a pipe");
        readEnd_ = ends[0];
        // NOLINTNEXTLINE(cppcoreguidelines-pro-type-vararg): the only way to say it
        fuzz::require(::fcntl(ends[1], F_SETFL, O_NONBLOCK) == 0, "the pipe does not block");
        while (!bytes.empty()) {
            const ssize_t count = ::write(ends[1], bytes.data(), bytes.size());
            if (count <= 0)
                break;
            size_ += static_cast<std::size_t>(count);
            bytes.remove_prefix(static_cast<std::size_t>(count));
        }
        ::close(ends[1]);
    }
    FilledPipe(const FilledPipe&) = delete;
    FilledPipe& operator=(const FilledPipe&) = delete;
    ~FilledPipe() { ::close(readEnd_); }

    [[nodiscard]] int readEnd() const { return readEnd_; }
    [[nodiscard]] std::size_t size() const { return size_; }

    [[nodiscard]] std::string rest() const
    {
        std::string bytes(size_, '\0');
        std::size_t total = 0;
        ssize_t count = 0;
        while ((count = ::read(readEnd_, bytes.data() + total, bytes.size() - total)) > 0)
            total += static_cast<std::size_t>(count);
        bytes.resize(total);
        return bytes;
    }

private:
    int readEnd_ = -1;
    std::size_t size_ = 0;
};

// A file without a name, empty each time, that takes what a session writes.
class Output {
public:
    Output()
    {
        fuzz::require(::ftruncate(descriptor(), 0) == 0, "the file can be emptied");
        static_cast<void>(::lseek(descriptor(), 0, SEEK_SET));
    }

    [[nodiscard]] static int descriptor()
    {
        static std::FILE* const file = std::tmpfile();
        fuzz::require(file != nullptr, "there is a temporary file");
        return ::fileno(file);
    }

    [[nodiscard]] static std::string bytes()
    {
        const off_t size = ::lseek(descriptor(), 0, SEEK_END);
        std::string result(static_cast<std::size_t>(size), '\0');
        const ssize_t count = ::pread(descriptor(), result.data(), result.size(), 0);
        fuzz::require(count == static_cast<ssize_t>(result.size()), "the file can be read");
        return result;
    }
};

struct Frames {
    std::vector<std::string> payloads;
    std::string unread; // what is left when the session is over
};

Frames naiveFrames(std::string_view bytes)
{
    Frames frames;
    constexpr std::size_t prefixSize = 4;
    constexpr std::size_t largest = 16384;
    while (bytes.size() >= prefixSize) {
        std::uint32_t length = 0;
        std::memcpy(&length, bytes.data(), prefixSize);
        bytes.remove_prefix(prefixSize);
        if (length == 0 || length > largest) {
            frames.unread = bytes;
            break;
        }
        if (bytes.size() < length)
            break;
        frames.payloads.emplace_back(bytes.substr(0, length));
        bytes.remove_prefix(length);
    }
    return frames;
}

void checkReading(std::string_view bytes)
{
    const FilledPipe pipe(bytes);
    const Frames expected = naiveFrames(bytes.substr(0, pipe.size()));
    for (const std::string& payload : expected.payloads)
        fuzz::require(host::readMessage(pipe.readEnd()) == payload, "a whole frame is read");
    fuzz::require(!host::readMessage(pipe.readEnd()), "then the session is over");
    fuzz::require(pipe.rest() == expected.unread, "nothing is read beyond that");
}

void checkSession(std::string_view bytes)
{
    const FilledPipe pipe(bytes);
    const std::size_t requests = naiveFrames(bytes.substr(0, pipe.size())).payloads.size();
    fuzz::BridgeWorld world;
    const auto before = world.fileSystem().tree();
    const Output output;
    host::runSession(pipe.readEnd(), Output::descriptor(), world.environment());

    const std::string written = Output::bytes();
    const Frames responses = naiveFrames(written);
    std::size_t size = 0;
    for (const std::string& response : responses.payloads) {
        static_cast<void>(fuzz::checkResponse(response, fuzz::soundToken));
        size += sizeof(std::uint32_t) + response.size();
    }
    fuzz::require(responses.payloads.size() == requests, "every request has one response");
    fuzz::require(size == written.size(), "nothing but frames is written");
    fuzz::require(world.fileSystem().openFileCount() == 0, "no file stays open");
    for (const auto& event : fuzz::findEffects(before, world.fileSystem().tree()).newEvents) {
        static_cast<void>(
            fuzz::checkEventFile(event.name, event.contents, fuzz::soundToken, world.now()));
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    checkReading(fuzz::textOf(data, size));
    checkSession(fuzz::textOf(data, size));
    return 0;
}
