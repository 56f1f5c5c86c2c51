#include "fuzz/support/bridge_world.h"

#include "fuzz/support/byte_source.h"
#include "fuzz/support/claims.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

namespace fuzz {

namespace {

constexpr std::array<std::string_view, 10> places { "bridge-token", "state.json",
    "preferences.json", "Inbox", "Commands", "Readiness", "Readiness/googleChrome.readiness",
    "Commands/b.command", "", "Commands/b.command/inner" };

// On both sides of the limits of tokens, records and commands.
constexpr std::array<std::size_t, 9> sizes { 127, 128, 129, 4095, 4096, 4097, 16383, 16384, 16385 };

// Of the clock's movements, in seconds.
constexpr std::array<double, 3> units { 0.125, 1, 60 };

constexpr std::array errors { EACCES, EPERM, ENOENT, ENOTDIR, ELOOP, EISDIR, ENOSPC, EDQUOT, EROFS,
    EIO, EMFILE, ENFILE, ENAMETOOLONG, EXDEV };

// What an item's form byte means: what it is, and with which permissions.
const std::array<MemoryItem, 12> forms { {
    { .kind = ItemKind::directory, .permissions = 0755 },
    { .kind = ItemKind::directory, .permissions = 0000 },
    { .kind = ItemKind::directory, .permissions = 0500 },
    { .kind = ItemKind::directory, .permissions = 0400 },
    { .kind = ItemKind::file, .permissions = 0644, .contents = "anything" },
    { .kind = ItemKind::file, .permissions = 0000 },
    { .kind = ItemKind::symbolicLink, .contents = "/outside/directory" },
    { .kind = ItemKind::symbolicLink, .contents = "/outside/secret" },
    { .kind = ItemKind::symbolicLink, .contents = "/outside/nothing" },
    { .kind = ItemKind::fifo },
    { .kind = ItemKind::socket },
    { .kind = ItemKind::file, .permissions = 0600 },
} };

std::string placeAt(ByteSource& source)
{
    return inBridge(places.at(source.below(places.size())));
}

// Makes any bytes a name that a directory can hold.
std::string soundName(std::string_view bytes)
{
    constexpr std::size_t longestName = 255;
    std::string name(bytes.substr(0, longestName));
    std::ranges::replace(name, '/', '_');
    std::ranges::replace(name, '\0', '_');
    if (name.empty() || name == "." || name == "..")
        name += "_";
    return name;
}

} // namespace

std::string inBridge(std::string_view name)
{
    return name.empty() ? bridgeDirectory : bridgeDirectory + ('/' + std::string(name));
}

std::string soundState()
{
    return R"({"version":1,"appProcessIdentifier":4711,"sessionRunning":true,)"
           R"("sessionIdentifier":"6BA7B810-9DAD-11D1-80B4-00C04FD430C8","browserTrackingPaused":false,)"
           R"("frontmostBrowserBundleIdentifier":"com.google.Chrome","updatedAt":763637213})";
}

std::string soundPreferences()
{
    return R"({"version":1,"token":")" + std::string(soundToken)
        + R"(","filenameLabelsEnabled":true})";
}

BridgeWorld::BridgeWorld()
    : environment_ {
        .store = { bridgeDirectory },
        .fileSystem = fileSystem_,
        .services = {
            .now = [this] { return base::Timestamp { now_ }; },
            .processExists =
                [this](std::int32_t process) {
                    require(process >= 1, "nothing but single processes is asked for");
                    return processExists_;
                },
            .openCompanionApplication = [this] { ++openings_; },
        },
    }
{
    fileSystem_.put(outsideDirectory, { .kind = ItemKind::directory, .permissions = 0700 });
    fileSystem_.put("/outside/secret", { .contents = std::string(soundToken) });
    fileSystem_.put("/outside/directory", { .kind = ItemKind::directory, .permissions = 0700 });
    fileSystem_.put("/outside/directory/secret.command", { .contents = "secret" });
    putFile("bridge-token", soundToken);
    putFile("state.json", soundState());
    putFile("preferences.json", soundPreferences());
}

void BridgeWorld::change(const Step& step)
{
    ByteSource source(step.payload);
    switch (step.kind) {
    case StepKind::token:
        return putFile("bridge-token", step.payload);
    case StepKind::state:
        return putFile("state.json", step.payload);
    case StepKind::preferences:
        return putFile("preferences.json", step.payload);
    case StepKind::command:
        return putCommand(step.payload);
    case StepKind::item:
        return putItem(step.payload);
    case StepKind::padding:
        return padFile(step.payload);
    case StepKind::growth:
        return growFile(step.payload);
    case StepKind::readLimit:
        return limitReads(step.payload);
    case StepKind::failingCall:
        return failCall(step.payload);
    case StepKind::clock:
        return moveClock(step.payload);
    case StepKind::process:
        processExists_ = source.flag();
        return;
    case StepKind::request:
    case StepKind::longRequest:
    case StepKind::endOfSession:
        return;
    }
}

void BridgeWorld::putFile(std::string_view name, std::string_view contents)
{
    // Only where the application could: a script may have made the bridge directory a file.
    if (const MemoryItem* const root = fileSystem_.find(bridgeDirectory);
        root != nullptr && root->kind != ItemKind::directory)
        return;
    fileSystem_.put(inBridge(name), { .contents = std::string(contents) });
}

void BridgeWorld::putCommand(std::string_view payload)
{
    const MemoryItem* const commands = fileSystem_.find(inBridge("Commands"));
    if (commands != nullptr && commands->kind != ItemKind::directory)
        return;
    const std::size_t lineBreak = std::min(payload.find('\n'), payload.size());
    const std::string name = soundName(payload.substr(0, lineBreak));
    putFile("Commands/" + name, payload.substr(std::min(lineBreak + 1, payload.size())));
}

void BridgeWorld::putItem(std::string_view payload)
{
    ByteSource source(payload);
    const std::string place = placeAt(source);
    const std::size_t form = source.below(forms.size() + 1);
    const MemoryItem* const above = fileSystem_.find(parentPath(place));
    if (above != nullptr && above->kind != ItemKind::directory)
        return;
    if (form == forms.size()) {
        fileSystem_.take(place);
        return;
    }
    const MemoryItem& item = forms.at(form);
    MemoryItem* const existing = fileSystem_.find(place);
    const bool bothAreDirectories = existing != nullptr && existing->kind == ItemKind::directory
        && item.kind == ItemKind::directory;
    if (bothAreDirectories)
        existing->permissions = item.permissions;
    else
        fileSystem_.put(place, item);
}

void BridgeWorld::padFile(std::string_view payload)
{
    ByteSource source(payload);
    MemoryItem* const item = fileSystem_.find(placeAt(source));
    const std::size_t size = sizes.at(source.below(sizes.size()));
    if (item != nullptr && item->kind == ItemKind::file && item->contents.size() < size)
        item->contents.resize(size, ' ');
}

void BridgeWorld::growFile(std::string_view payload)
{
    ByteSource source(payload);
    MemoryItem* const item = fileSystem_.find(placeAt(source));
    if (item != nullptr && item->kind == ItemKind::file)
        item->bytesThatGrow = source.word();
}

void BridgeWorld::limitReads(std::string_view payload)
{
    ByteSource source(payload);
    const std::size_t limit = source.byte();
    limitsReads_ = limit != 0;
    fileSystem_.limitReads(limitsReads_ ? limit : static_cast<std::size_t>(-1));
}

void BridgeWorld::moveClock(std::string_view payload)
{
    if (payload.empty()) {
        now_ = startOfClock;
        return;
    }
    ByteSource source(payload);
    const auto distance = static_cast<std::int16_t>(source.word());
    now_ += distance * units.at(source.below(units.size()));
}

void BridgeWorld::failCall(std::string_view payload)
{
    ByteSource source(payload);
    constexpr std::size_t mostCalls = 64;
    const auto number = static_cast<int>(source.below(mostCalls));
    failureCode_ = errors.at(source.below(errors.size()));
    fileSystem_.failCall(number, failureCode_);
}

Failure BridgeWorld::endFailure()
{
    const FailedCall call = fileSystem_.failedCall();
    fileSystem_.failCall(0, 0);
    if (call == FailedCall::none)
        return {};
    return { .call = call, .error = std::strerror(failureCode_) };
}

bool BridgeWorld::readsAreCertain(const MemoryTree& tree) const
{
    return !limitsReads_ || std::ranges::none_of(tree, [](const auto& entry) {
        return entry.second.bytesThatGrow > 0;
    });
}

} // namespace fuzz
