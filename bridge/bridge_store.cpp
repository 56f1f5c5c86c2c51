#include "bridge/bridge_store.h"

#include "base/hexadecimal.h"
#include "base/unicode_text.h"
#include "bridge/private_file.h"
#include "platform/random.h"

#include <array>
#include <cassert>
#include <cerrno>
#include <cstddef>
#include <span>
#include <utility>

namespace bridge {

namespace {

constexpr std::size_t tokenCharacters = 64;

// No file in the bridge directory may be larger than an event's.
constexpr std::size_t largestMaximumBytes = maximumEventEnvelopeBytes;

bool isASCIIToken(std::string_view text)
{
    if (text.size() != tokenCharacters)
        return false;
    unsigned allBits = 0;
    for (const char character : text)
        allBits |= base::hexadecimalValue(character);
    return allBits < base::notHexadecimal;
}

bool isValidToken(std::string_view text)
{
    // The tokens that applications make; one is read several times for each request.
    if (isASCIIToken(text))
        return true;
    // Nothing joins to a hexadecimal digit that is one itself, so characters are scalar values
    // here.
    std::size_t characters = 0;
    const bool isHexadecimal = base::allScalars(text, [&characters](char32_t scalar) {
        ++characters;
        return base::isHexadecimalDigit(scalar);
    });
    return isHexadecimal && characters == tokenCharacters;
}

// An item that could not be opened may still be one that is refused for what it is (a link, a
// socket), and that answer comes first.
StoreFailure openingFailure(const platform::Location& location, std::int64_t maximumBytes,
    platform::FileError openingError, const platform::FileSystem& fileSystem)
{
    const auto attributes = fileSystem.attributes(location);
    if (!attributes)
        return attributes.error();
    if (attributes->kind != platform::FileKind::regular)
        return BrowserBridgeStoreError::malformedEnvelope;
    if (attributes->size > static_cast<std::uint64_t>(maximumBytes))
        return BrowserBridgeStoreError::payloadTooLarge;
    return openingError;
}

// Reads until there are `expectedBytes`, fewer than `buffer` holds, or the file ends. A regular
// file gives what it has in one piece; asking again after as many bytes as it was said to hold
// would only cost time.
platform::FileResult<std::size_t> readUpTo(std::span<char> buffer, std::uint64_t expectedBytes,
    const platform::OpenFile& file, const platform::FileSystem& fileSystem)
{
    std::size_t total = 0;
    for (;;) {
        const auto count = fileSystem.read(file, buffer.subspan(total));
        if (!count)
            return count;
        total += *count;
        if (*count == 0 || total >= expectedBytes)
            return total;
    }
}

} // namespace

std::string_view message(BrowserBridgeStoreError error)
{
    switch (error) {
    case BrowserBridgeStoreError::tokenUnavailable:
        return "Kestrane is not running or its browser bridge is not ready.";
    case BrowserBridgeStoreError::payloadTooLarge:
        return "The browser message exceeds Kestrane's size limit.";
    case BrowserBridgeStoreError::malformedEnvelope:
        break;
    }
    return "The browser bridge message is malformed.";
}

std::string message(const StoreFailure& failure)
{
    return std::visit([](const auto& error) { return std::string(message(error)); }, failure);
}

std::string BrowserBridgeStore::defaultRootURL(
    const platform::FileSystem& fileSystem, const platform::UserEnvironment& environment)
{
    if (auto root = environment.variable(bridgeDirectoryVariable); root && !root->empty())
        return *std::move(root);
    const auto home = environment.passwordDatabaseHome();
    const std::string support = appendingPathComponent(
        home ? *home : fileSystem.homeDirectoryForCurrentUser(), "Library/Application Support");
    return appendingPathComponent(support, "Merrowin/BrowserBridge");
}

std::expected<std::string, BrowserBridgeStoreError> BrowserBridgeStore::readToken(
    const platform::FileSystem& fileSystem) const
{
    auto contents = readLimitedRegularFile(
        appendingPathComponent(rootURL, tokenFileName), maximumTokenBytes, fileSystem);
    if (!contents || !isValidToken(*contents))
        return std::unexpected(BrowserBridgeStoreError::tokenUnavailable);
    return *std::move(contents);
}

std::string appendingPathComponent(std::string_view directory, std::string_view component)
{
    std::string path;
    path.reserve(directory.size() + 1 + component.size());
    path += directory;
    // An empty path is the working directory; a slash would make it the root.
    if (!directory.empty() && !directory.ends_with('/'))
        path += '/';
    path += component;
    return path;
}

platform::FileResult<void> ensurePrivateDirectory(
    const std::string& path, const platform::FileSystem& fileSystem)
{
    // Nearly always the directory is there, and then setting its permissions is all that is to be
    // done.
    if (fileSystem.setDirectoryPermissions(path, privateDirectoryPermissions))
        return {};
    if (const auto created = fileSystem.createDirectories(path, privateDirectoryPermissions);
        !created)
        return created;
    return fileSystem.setDirectoryPermissions(path, privateDirectoryPermissions);
}

StoreResult<std::string> readLimitedRegularFile(const platform::Location& location,
    std::int64_t maximumBytes, const platform::FileSystem& fileSystem)
{
    assert(maximumBytes <= std::int64_t { largestMaximumBytes });
    const auto file = fileSystem.openForReading(location);
    if (!file)
        return std::unexpected(openingFailure(location, maximumBytes, file.error(), fileSystem));
    const auto attributes = fileSystem.attributes(*file);
    if (!attributes)
        return std::unexpected(attributes.error());
    if (attributes->kind != platform::FileKind::regular)
        return std::unexpected(BrowserBridgeStoreError::malformedEnvelope);
    if (attributes->size > static_cast<std::uint64_t>(maximumBytes))
        return std::unexpected(BrowserBridgeStoreError::payloadTooLarge);

    // One byte more than allowed is asked for: the application may write at any time, and a file
    // that grew since its size was asked must not pass. The contents are few mostly; memory for all
    // that they may be is taken from the stack, where it costs nothing.
    const auto limit = static_cast<std::size_t>(maximumBytes);
    std::array<char, largestMaximumBytes + 1> buffer; // NOLINT(*-member-init): overwritten
    const auto count
        = readUpTo(std::span(buffer).first(limit + 1), attributes->size, *file, fileSystem);
    if (!count)
        return std::unexpected(count.error());
    if (*count > limit)
        return std::unexpected(BrowserBridgeStoreError::payloadTooLarge);
    return std::string(buffer.data(), *count);
}

platform::FileResult<void> writePrivateFileAtomically(
    std::string_view bytes, const std::string& path, const platform::FileSystem& fileSystem)
{
    const auto uuid = platform::randomUUID();
    if (!uuid)
        return std::unexpected(uuid.error());
    const std::size_t slash = path.rfind('/');
    const std::size_t nameStart = slash == std::string::npos ? 0 : slash + 1;
    const std::string temporaryPath = path.substr(0, nameStart) + '.' + path.substr(nameStart) + '.'
        + base::upperCaseText(*uuid) + ".temporary";

    const auto file = TemporaryFile::write(bytes, temporaryPath, fileSystem);
    if (!file)
        return std::unexpected(file.error());
    if (const auto set = file->makePrivate(); !set)
        return set;
    if (const auto renamed = file->renameTo(path); !renamed) {
        const platform::FileError ioError { EIO };
        return std::unexpected(isKnown(renamed.error()) ? renamed.error() : ioError);
    }
    return file->makePrivate();
}

} // namespace bridge
