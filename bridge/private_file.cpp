#include "bridge/private_file.h"

#include <tuple>

namespace bridge {

platform::FileResult<TemporaryFile> TemporaryFile::write(
    std::string_view bytes, std::string path, const platform::FileSystem& fileSystem)
{
    auto created = fileSystem.createFile(path);
    if (!created)
        return std::unexpected(created.error());
    TemporaryFile file(*std::move(created), std::move(path), fileSystem);
    if (const auto written = fileSystem.write(file.file_, bytes); !written)
        return std::unexpected(written.error());
    return file;
}

TemporaryFile::TemporaryFile(TemporaryFile&& other) noexcept
    : fileSystem_(other.fileSystem_)
    , file_(std::move(other.file_))
    , path_(std::move(other.path_))
    , isNamed_(std::exchange(other.isNamed_, false))
{
}

TemporaryFile::~TemporaryFile()
{
    // Nobody waits for the outcome: a name that cannot be removed is hidden and never read.
    if (isNamed_)
        std::ignore = fileSystem_.remove(path_);
}

platform::FileResult<void> TemporaryFile::makePrivate() const
{
    return fileSystem_.setPermissions(file_, privateFilePermissions);
}

platform::FileResult<void> TemporaryFile::renameTo(const std::string& finalPath) const
{
    return fileSystem_.rename(path_, finalPath);
}

} // namespace bridge
