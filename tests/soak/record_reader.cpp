#include "tests/soak/record_reader.h"

#include "tests/support/host_process.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <optional>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace soak {

namespace {

constexpr int withoutLinks = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;

// Longer than any record; what is longer is cut and then no record.
std::string readFrom(int descriptor)
{
    constexpr std::size_t longest = 65536;
    std::string contents(longest, '\0');
    std::size_t size = 0;
    while (size < longest) {
        const ssize_t count = ::read(descriptor, contents.data() + size, longest - size);
        if (count <= 0)
            break;
        size += static_cast<std::size_t>(count);
    }
    contents.resize(size);
    return contents;
}

} // namespace

std::vector<std::string> namesIn(int directory)
{
    std::vector<std::string> names;
    const int copy = ::openat(directory, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NOATIME);
    DIR* const stream = copy < 0 ? nullptr : ::fdopendir(copy);
    if (stream == nullptr) {
        if (copy >= 0)
            ::close(copy);
        return names;
    }
    while (const dirent* const entry = ::readdir(stream)) {
        const std::string_view name = &entry->d_name[0];
        if (name != "." && name != "..")
            names.emplace_back(name);
    }
    ::closedir(stream);
    return names;
}

RecordReader::RecordReader(std::vector<std::string> directories, Known known,
    Surroundings surroundings, Findings& findings)
    : directories_(std::move(directories))
    , known_(std::move(known))
    , surroundings_(surroundings)
    , findings_(findings)
    , thread_([this] {
        while (!isEnding_) {
            for (const std::string& path : directories_)
                lookThrough(path);
            ++passes_;
            passes_.notify_all();
        }
    })
{
}

RecordReader::~RecordReader()
{
    isEnding_ = true;
    thread_.join();
}

void RecordReader::catchUp() const
{
    // The pass that is under way may have been where something new lies already; the next one ends
    // after it began.
    const std::size_t start = passes_;
    for (std::size_t now = start; now < start + 2; now = passes_)
        passes_.wait(now);
}

bool RecordReader::hasSeen(const std::string& eventIdentifier) const
{
    const std::scoped_lock lock(mutex_);
    return seen_.contains(eventIdentifier);
}

void RecordReader::lookThrough(const std::string& path)
{
    const support::Descriptor directory(::open(path.c_str(), withoutLinks | O_DIRECTORY));
    if (directory.number() < 0)
        return;
    for (const std::string& name : namesIn(directory.number()))
        lookAt(directory.number(), name);
}

void RecordReader::lookAt(int directory, const std::string& name)
{
    const bool isAttacked = surroundings_ == Surroundings::underAttack;
    const NameKind kind = kindOfName(name);
    if (kind == NameKind::temporary)
        return;
    // It leaves no mark of its reading where the attack's own files are looked at for one.
    const int quietly = isAttacked ? O_NOATIME : 0;
    const support::Descriptor file(::openat(directory, name.c_str(), withoutLinks | quietly));
    struct stat status {};
    const bool isGone = file.number() < 0 && errno == ENOENT; // replaced, or consumed
    if (file.number() < 0 || ::fstat(file.number(), &status) != 0 || !S_ISREG(status.st_mode)) {
        findings_.require(isAttacked || isGone, name + " cannot be read");
        return;
    }
    const std::string contents = readFrom(file.number());
    if (isAttacked && contents.starts_with(attackersMark))
        return;
    if ((status.st_mode & 07777U) != 0600)
        findings_.add(name + " is not private to the user");
    if (kind == NameKind::event) {
        readEvent(directory, name, contents);
    } else if (kind == NameKind::readiness) {
        findings_.addIfAny(checkReadinessFile(contents, known_).wrong, contents);
        ++readiness_;
    } else {
        findings_.add("nothing may be named " + name);
    }
}

void RecordReader::readEvent(int directory, const std::string& name, const std::string& contents)
{
    const EventCheck check = checkEventFile(name, contents, known_);
    findings_.addIfAny(check.wrong, name + ' ' + contents);
    ::unlinkat(directory, name.c_str(), 0);
    ++events_;
    // The attacker may have had the file in the stash when it was to be consumed.
    if (!check.wrong.empty() || surroundings_ == Surroundings::underAttack)
        return;
    const std::scoped_lock lock(mutex_);
    if (++seen_[check.identifier] == 2)
        findings_.add("an event was left twice: " + check.identifier);
}

} // namespace soak
