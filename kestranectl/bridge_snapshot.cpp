#include "kestranectl/bridge_snapshot.h"

#include "kestranectl/bridge_items.h"

#include <algorithm>
#include <cerrno>
#include <optional>

namespace kestranectl {

namespace {

using ItemReader = bridge::StoreResult<BridgeItem> (*)(
    const platform::Location&, std::string_view, const platform::FileSystem&);

ItemReader readerOf(BridgeSubject subject)
{
    switch (subject) {
    case BridgeSubject::event:
        return readEventItem;
    case BridgeSubject::command:
        return readCommandItem;
    default:
        return readReadinessItem;
    }
}

// Looks at everything once.
class Look {
public:
    Look(const host::HostEnvironment& environment, const BridgeSnapshot& previous)
        : environment_(environment)
        , previous_(previous)
    {
    }

    BridgeSnapshot take()
    {
        if (!lookAtRoot())
            return std::move(snapshot_);
        lookAtToken();
        areEventsKnown_ = snapshot_.token() == previous_.token();
        add(BridgeSubject::state, bridge::stateFileName, readStateItem(environment_));
        add(BridgeSubject::preferences, bridge::preferencesFileName,
            readPreferencesItem(path(bridge::preferencesFileName), snapshot_.token(), files()));
        for (const BridgeSubject subject :
            { BridgeSubject::readiness, BridgeSubject::command, BridgeSubject::event })
            lookAtDirectory(subject);
        return std::move(snapshot_);
    }

private:
    [[nodiscard]] const platform::FileSystem& files() const { return environment_.fileSystem; }

    [[nodiscard]] std::string path(std::string_view name) const
    {
        return bridge::appendingPathComponent(environment_.store.rootURL, name);
    }

    void add(BridgeSubject subject, std::string_view name, bridge::StoreResult<BridgeItem> item)
    {
        if (!item && isAbsence(item.error()))
            return;
        snapshot_.items.emplace(BridgeSnapshot::Key(subject, name),
            item ? *std::move(item) : BridgeItem { .problem = reason(item.error()) });
    }

    bool lookAtRoot()
    {
        // The dot at the end leads through a link, as it does for hosts.
        const auto attributes = files().attributes(path("."));
        if (!attributes && attributes.error().code == ENOENT)
            return false;
        add(BridgeSubject::directory, environment_.store.rootURL,
            attributes ? bridge::StoreResult<BridgeItem>(BridgeItem {})
                       : std::unexpected<bridge::StoreFailure>(attributes.error()));
        return attributes.has_value();
    }

    void lookAtToken()
    {
        if (auto token = environment_.store.readToken(files())) {
            add(BridgeSubject::token, bridge::tokenFileName,
                BridgeItem { .secret = *std::move(token) });
            return;
        }
        const auto attributes = files().attributes(path(bridge::tokenFileName));
        if (attributes || attributes.error().code != ENOENT)
            add(BridgeSubject::token, bridge::tokenFileName,
                BridgeItem { .problem = "not a readable file of exactly 64 hexadecimal digits" });
    }

    void lookAtDirectory(BridgeSubject subject)
    {
        const std::string_view name = directoryName(subject);
        const auto listing = files().visibleNames(path(name));
        if (!listing) {
            add(BridgeSubject::directory, name, std::unexpected(listing.error()));
            return;
        }
        add(BridgeSubject::directory, name, BridgeItem {});
        for (const std::string& file : listing->names)
            lookAtFile(subject, file, *listing);
    }

    void lookAtFile(
        BridgeSubject subject, const std::string& name, const platform::DirectoryListing& listing)
    {
        const auto known = previous_.items.find({ subject, name });
        if (!name.ends_with(nameEnding(subject))) {
            add(subject, name,
                BridgeItem { .problem = "nobody reads it: its name does not end in \""
                        + std::string(nameEnding(subject)) + '"' });
        } else if (subject == BridgeSubject::event && areEventsKnown_
            && known != previous_.items.end()) {
            snapshot_.items.insert(*known);
        } else {
            const std::string inDirectory
                = bridge::appendingPathComponent(directoryName(subject), name);
            const std::string itsPath = path(inDirectory);
            add(subject, name,
                readerOf(subject)({ itsPath, listing.directory }, snapshot_.token(), files()));
        }
    }

    const host::HostEnvironment& environment_;
    const BridgeSnapshot& previous_;
    BridgeSnapshot snapshot_;
    bool areEventsKnown_ = false;
};

bool counts(const Field& field)
{
    return field.counts;
}

std::vector<Field> countingFields(const BridgeItem& item)
{
    std::vector<Field> fields;
    std::ranges::copy_if(item.fields, std::back_inserter(fields), counts);
    return fields;
}

} // namespace

bool saysTheSame(const BridgeItem& left, const BridgeItem& right)
{
    return left.problem == right.problem && left.secret == right.secret
        && countingFields(left) == countingFields(right);
}

std::string_view BridgeSnapshot::token() const
{
    const auto found = items.find({ BridgeSubject::token, std::string(bridge::tokenFileName) });
    return found == items.end() ? std::string_view() : std::string_view(found->second.secret);
}

BridgeSnapshot takeSnapshot(
    const host::HostEnvironment& environment, const BridgeSnapshot& previous)
{
    return Look(environment, previous).take();
}

std::string_view directoryName(BridgeSubject subject)
{
    switch (subject) {
    case BridgeSubject::readiness:
        return bridge::readinessDirectoryName;
    case BridgeSubject::command:
        return bridge::commandsDirectoryName;
    case BridgeSubject::event:
        return bridge::inboxDirectoryName;
    default:
        return {};
    }
}

std::string_view nameEnding(BridgeSubject subject)
{
    switch (subject) {
    case BridgeSubject::readiness:
        return ".readiness";
    case BridgeSubject::command:
        return ".command";
    case BridgeSubject::event:
        return ".event";
    default:
        return {};
    }
}

} // namespace kestranectl
