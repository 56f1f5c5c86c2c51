#include "platform/directory_names.h"

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include <dirent.h>

namespace platform {

namespace {

constexpr std::size_t bufferSize = 8192;
using Buffer = std::array<char, bufferSize>;

// The records that the system put into the first `size` bytes (getdents64(2)).
void appendNames(std::vector<std::string>& names, const Buffer& records, std::size_t size)
{
    for (std::size_t start = 0; start < size;) {
        const char* const record = records.data() + start;
        std::uint16_t recordSize = 0;
        std::memcpy(&recordSize, record + offsetof(dirent64, d_reclen), sizeof recordSize);
        if (const std::string_view name = record + offsetof(dirent64, d_name);
            !isOwnOrParentName(name))
            names.emplace_back(name);
        start += recordSize;
    }
}

} // namespace

FileResult<std::vector<std::string>> namesInDirectory(int descriptor)
{
    // A directory is listed for every response. The C library's directory streams first ask twice
    // what the descriptor is good for, and take memory of their own.
    std::vector<std::string> names;
    alignas(dirent64)
        Buffer records; // NOLINT(cppcoreguidelines-pro-type-member-init): the system fills it
    for (;;) {
        const ssize_t size = ::getdents64(descriptor, records.data(), records.size());
        if (size == 0)
            return names;
        if (size > 0)
            appendNames(names, records, static_cast<std::size_t>(size));
        else if (errno != EINTR)
            return std::unexpected(FileError { errno });
    }
}

} // namespace platform
