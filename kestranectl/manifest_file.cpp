#include "kestranectl/manifest_file.h"

#include "base/uuid.h"
#include "bridge/bridge_store.h"
#include "platform/random.h"

#include <tuple>
#include <variant>

namespace kestranectl {

namespace {

constexpr unsigned manifestPermissions = 0644;

platform::FileResult<void> writeNewFile(const std::string& path, std::string_view text)
{
    const platform::FileSystem& files = platform::localFileSystem();
    const auto file = files.createFile(path);
    if (!file)
        return std::unexpected(file.error());
    if (auto written = files.write(*file, text); !written)
        return written;
    return files.setPermissions(*file, manifestPermissions);
}

std::string reason(const bridge::StoreFailure& failure)
{
    if (failure == bridge::StoreFailure(bridge::BrowserBridgeStoreError::payloadTooLarge))
        return "it is larger than " + std::to_string(maximumManifestBytes) + " bytes";
    if (failure == bridge::StoreFailure(bridge::BrowserBridgeStoreError::malformedEnvelope))
        return "it is no regular file";
    return message(failure);
}

} // namespace

std::string manifestPath(
    const BrowserLocation& browser, Scope scope, const Surroundings& surroundings)
{
    const std::string directory = manifestDirectory(browser, scope, surroundings);
    return directory.empty() ? directory
                             : bridge::appendingPathComponent(directory, manifestFileName);
}

std::expected<std::string, std::string> readManifestText(const std::string& path)
{
    auto text
        = bridge::readLimitedRegularFile(path, maximumManifestBytes, platform::localFileSystem());
    if (!text)
        return std::unexpected(reason(text.error()));
    return *std::move(text);
}

platform::FileResult<void> replaceManifest(const std::string& path, std::string_view text)
{
    const auto uuid = platform::randomUUID();
    if (!uuid)
        return std::unexpected(uuid.error());
    // Browsers look for names that end in ".json" alone.
    const std::string temporary = path + '.' + base::upperCaseText(*uuid) + ".temporary";
    const platform::FileSystem& files = platform::localFileSystem();
    auto outcome = writeNewFile(temporary, text);
    if (outcome)
        outcome = files.rename(temporary, path);
    if (!outcome)
        std::ignore = files.remove(temporary); // What went wrong first is what counts.
    return outcome;
}

} // namespace kestranectl
