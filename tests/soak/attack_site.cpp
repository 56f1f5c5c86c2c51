#include "tests/soak/attack_site.h"

#include "platform/clock.h"
#include "tests/soak/record_reader.h"
#include "tests/support/host_process.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <system_error>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace soak {

namespace {

constexpr std::string_view canaryToken
    = "cccccccccccccccccccccccccccccccccccccccccccccccccccccccccccccccc";
constexpr std::string_view canaryIdentifier = "CCCCCCCC-0000-4000-8000-000000000000";
constexpr std::string_view keptName = "kept.txt"; // in the landing

std::string inQuotes(std::string_view text)
{
    return '"' + std::string(text) + '"';
}

std::string seconds(double value)
{
    std::array<char, 64> text {};
    static_cast<void>(std::snprintf(text.data(), text.size(), "%.6f", value));
    return text.data();
}

double now()
{
    return platform::currentTime().secondsSince2001;
}

// A last reading before the last writing is what systems replace at the next reading even where
// they save themselves the trouble otherwise.
void backdateReading(const std::string& path)
{
    constexpr std::time_t longAgo = 1000000000;
    const std::array<timespec, 2> times { timespec { .tv_sec = longAgo, .tv_nsec = 0 },
        timespec { .tv_sec = 0, .tv_nsec = UTIME_OMIT } };
    if (::utimensat(AT_FDCWD, path.c_str(), times.data(), AT_SYMLINK_NOFOLLOW) != 0)
        throw std::system_error(errno, std::generic_category(), path);
}

struct stat statusOf(const std::string& path)
{
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0)
        throw std::system_error(errno, std::generic_category(), path);
    return status;
}

// Leaves no mark of the reading.
std::string contentsOf(const std::string& path)
{
    const support::Descriptor file(::open(path.c_str(), O_RDONLY | O_NOATIME | O_CLOEXEC));
    struct stat status {};
    if (::fstat(file.number(), &status) == 0 && S_ISDIR(status.st_mode)) {
        auto names = namesIn(file.number());
        std::ranges::sort(names);
        std::string all;
        for (const std::string& name : names)
            all += name + '\n';
        return all;
    }
    std::string contents(static_cast<std::size_t>(status.st_size), '\0');
    const ssize_t count = ::read(file.number(), contents.data(), contents.size());
    contents.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
    return contents;
}

} // namespace

std::string commandName(unsigned number)
{
    constexpr unsigned first = 100000;
    return std::to_string(first + number) + ".command";
}

Known whatTheApplicationGivesOut()
{
    return { .tokens = { applicationTokens.begin(), applicationTokens.end() },
        .sessions = { applicationSessions.begin(), applicationSessions.end() },
        .commandPrefix = std::string(commandPrefix) };
}

std::string stateText(pid_t process, std::string_view session, std::string_view frontmost,
    bool sessionRunning, bool paused, double age)
{
    std::string text = R"({"version":1,"appProcessIdentifier":)" + std::to_string(process)
        + R"(,"sessionRunning":)" + (sessionRunning ? "true" : "false")
        + R"(,"browserTrackingPaused":)" + (paused ? "true" : "false");
    if (!session.empty())
        text += R"(,"sessionIdentifier":)" + inQuotes(session);
    if (!frontmost.empty())
        text += R"(,"frontmostBrowserBundleIdentifier":)" + inQuotes(frontmost);
    return text + R"(,"updatedAt":)" + seconds(now() - age) + '}';
}

std::string preferencesText(std::string_view token, bool labelsEnabled)
{
    return R"({"version":1,"token":)" + inQuotes(token) + R"(,"filenameLabelsEnabled":)"
        + (labelsEnabled ? "true}" : "false}");
}

std::string commandText(std::string_view token, const std::string& identifier,
    std::string_view browser, std::string_view session)
{
    std::string text = R"({"version":1,"token":)" + inQuotes(token) + R"(,"command":{"id":)"
        + inQuotes(identifier)
        + R"(,"type":"showLocalPDF","pdfIdentifier":"3F2504E0-4F89-11D3-9A0C-0305E82C3301")"
        + R"(,"browserBundleIdentifier":)" + inQuotes(browser);
    if (!session.empty())
        text += R"(,"sessionIdentifier":)" + inQuotes(session);
    return text + R"(,"createdAt":)" + seconds(now()) + "}}";
}

AttackSite::AttackSite(const std::string& parent)
    : path_(parent + "/kestrane-attack-XXXXXX")
{
    if (::mkdtemp(path_.data()) == nullptr)
        throw std::system_error(errno, std::generic_category(), parent);
    for (const std::string& path : { bridge(), canaries(), canaries() + "/Commands", landing(),
             stash(), bridge() + "/Inbox", bridge() + "/Readiness", bridge() + "/Commands" })
        std::filesystem::create_directory(path);
    for (const std::string& path : { canaries(), canaries() + "/Commands", landing() })
        ::chmod(path.c_str(), 0700);
    findOutWhetherReadingShows();
    renewCanaries();
}

AttackSite::~AttackSite()
{
    std::error_code ignored;
    // The attacker leaves directories that may not even be looked into.
    for (const auto& entry : std::filesystem::recursive_directory_iterator(path_, ignored)) {
        if (entry.is_directory(ignored) && !entry.is_symlink(ignored))
            ::chmod(entry.path().c_str(), 0700);
    }
    std::filesystem::remove_all(path_, ignored);
}

void AttackSite::findOutWhetherReadingShows()
{
    const std::string probe = stash() + "/probe";
    std::ofstream(probe) << "read me";
    backdateReading(probe);
    const auto before = statusOf(probe).st_atim.tv_sec;
    std::string word;
    std::ifstream(probe) >> word;
    showsReading_ = statusOf(probe).st_atim.tv_sec != before;
    std::filesystem::remove(probe);
}

void AttackSite::writeCanary(const std::string& name, std::string_view contents)
{
    const std::string path = path_ + '/' + name;
    // Hosts are started at the same time and must not inherit it.
    const support::Descriptor file(
        ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0640));
    if (::write(file.number(), contents.data(), contents.size())
        != static_cast<ssize_t>(contents.size()))
        throw std::system_error(errno, std::generic_category(), path);
}

void AttackSite::renewCanaries()
{
    const std::string chrome = "com.google.Chrome";
    const std::string identifier(canaryIdentifier);
    writeCanary("canaries/bridge-token", canaryToken);
    writeCanary(
        "canaries/state.json", stateText(::getpid(), canaryIdentifier, chrome, true, false, 0));
    writeCanary("canaries/preferences.json", preferencesText(applicationTokens[0], true));
    writeCanary("canaries/x.command", commandText(applicationTokens[0], identifier, chrome, {}));
    writeCanary("canaries/x.event", "an event elsewhere");
    writeCanary("canaries/x.readiness", "a readiness file elsewhere");
    for (unsigned number = 0; number < commandFiles; ++number)
        writeCanary("canaries/Commands/" + commandName(number),
            commandText(applicationTokens[number % 2], identifier, chrome, {}));
    writeCanary("landing/" + std::string(keptName), attackersMark);

    canaries_.clear();
    std::vector<std::string> paths { canaries() };
    for (const auto& entry : std::filesystem::recursive_directory_iterator(canaries()))
        paths.push_back(entry.path().string());
    // Only now: walking through a directory is reading it.
    for (const std::string& path : paths)
        remember(path);
    remember(landing() + '/' + std::string(keptName));
}

void AttackSite::remember(const std::string& path)
{
    backdateReading(path);
    canaries_[path] = describe(path);
}

AttackSite::Canary AttackSite::describe(const std::string& path) const
{
    const auto status = statusOf(path);
    std::ostringstream text;
    text << "inode " << status.st_ino << ", mode " << std::oct << status.st_mode << std::dec
         << ", owner " << status.st_uid << ", changed " << status.st_mtim.tv_sec << '.'
         << status.st_mtim.tv_nsec;
    if (showsReading_)
        text << ", read " << status.st_atim.tv_sec;
    return { .description = text.str(), .contents = contentsOf(path) };
}

void AttackSite::inspectCanaries(Findings& findings) const
{
    for (const auto& [path, canary] : canaries_) {
        try {
            const Canary now = describe(path);
            if (now.description != canary.description)
                findings.add(path + " was " + canary.description + " and is " + now.description);
            findings.require(now.contents == canary.contents, path + " has other contents");
        } catch (const std::system_error&) {
            findings.add(path + " is gone");
        }
    }
    if ((statusOf(landing()).st_mode & 07777U) != 0700)
        findings.add("the permissions of a directory elsewhere changed");
    for (const auto& entry : std::filesystem::directory_iterator(landing())) {
        const std::string name = entry.path().filename().string();
        if (name != keptName && kindOfName(name) == NameKind::other)
            findings.add(name + " appeared elsewhere");
    }
}

} // namespace soak
