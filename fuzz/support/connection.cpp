#include "fuzz/support/connection.h"

#include "fuzz/support/claims.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <limits>

#include <dlfcn.h>
#include <unistd.h>

namespace fuzz {

namespace {

// The one that is open, if one is.
Connection*& current()
{
    static Connection* connection = nullptr;
    return connection;
}

} // namespace

Connection::Connection(std::string_view schedule, std::string_view input)
    : schedule_(schedule)
    , input_(input)
{
    require(current() == nullptr, "there is one connection at a time");
    current() = this;
}

Connection::~Connection()
{
    current() = nullptr;
}

int Connection::descriptor()
{
    // No real one is as large, so a call that is not replaced fails.
    return std::numeric_limits<int>::max();
}

std::ptrdiff_t Connection::nextCall(std::size_t size)
{
    if (schedule_.empty())
        return static_cast<std::ptrdiff_t>(size);
    const auto order = static_cast<std::uint8_t>(schedule_.front());
    schedule_.remove_prefix(1);
    switch (order) {
    case inFull:
        return static_cast<std::ptrdiff_t>(size);
    case interrupted:
        errno = EINTR;
        return -1;
    case wouldBlock:
        errno = EAGAIN;
        return -1;
    case failing:
        errno = EIO;
        return -1;
    case nothing:
        return 0;
    default:
        return static_cast<std::ptrdiff_t>(std::min<std::size_t>(order, size));
    }
}

std::ptrdiff_t Connection::read(char* buffer, std::size_t size)
{
    const std::ptrdiff_t count = nextCall(std::min(size, input_.size() - consumed_));
    if (count <= 0)
        return count;
    const std::string_view bytes = input_.substr(consumed_, static_cast<std::size_t>(count));
    std::ranges::copy(bytes, buffer);
    consumed_ += bytes.size();
    return count;
}

std::ptrdiff_t Connection::write(const char* bytes, std::size_t size)
{
    const std::ptrdiff_t count = nextCall(size);
    if (count > 0)
        written_.back().append(bytes, static_cast<std::size_t>(count));
    else if (count == 0 || errno == EIO)
        written_.emplace_back();
    return count;
}

namespace {

template <typename Function> Function* libraryFunction(const char* name)
{
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): the only way to say it
    return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

} // namespace

} // namespace fuzz

// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name): as the C library has them
extern "C" __attribute__((visibility("default"))) ssize_t read(
    int descriptor, void* buffer, std::size_t size)
{
    if (fuzz::current() != nullptr && descriptor == fuzz::Connection::descriptor())
        return fuzz::current()->read(static_cast<char*>(buffer), size);
    static auto* const original = fuzz::libraryFunction<ssize_t(int, void*, std::size_t)>("read");
    return original(descriptor, buffer, size);
}

extern "C" __attribute__((visibility("default"))) ssize_t write(
    int descriptor, const void* bytes, std::size_t size)
{
    if (fuzz::current() != nullptr && descriptor == fuzz::Connection::descriptor())
        return fuzz::current()->write(static_cast<const char*>(bytes), size);
    static auto* const original
        = fuzz::libraryFunction<ssize_t(int, const void*, std::size_t)>("write");
    return original(descriptor, bytes, size);
}
// NOLINTEND(readability-inconsistent-declaration-parameter-name)
