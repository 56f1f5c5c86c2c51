#include "platform/file_system.h"

#include <cstring>
#include <utility>

namespace platform {

std::string message(FileError error)
{
    // Not the C++ library's text, which is its own where there is no such error.
    return std::strerror(error.code);
}

bool isKnown(FileError error)
{
    return !message(error).starts_with("Unknown error");
}

OpenFile::OpenFile(OpenFile&& other) noexcept
    : fileSystem_(std::exchange(other.fileSystem_, nullptr))
    , number_(other.number_)
{
}

OpenFile::~OpenFile()
{
    if (fileSystem_ != nullptr)
        fileSystem_->close(number_);
}

} // namespace platform
