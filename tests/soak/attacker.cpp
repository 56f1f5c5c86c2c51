// The attacker's part: whatever is put in place of something is made in the stash first and goes
// there in one step, so that nobody takes half of it for a record.

#include "tests/soak/attack_site.h"
#include "tests/soak/randomness.h"
#include "tests/soak/record_reader.h"
#include "tests/support/host_process.h"

#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <thread>
#include <tuple>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace soak {

namespace {

struct Target {
    const char* directory; // below the bridge directory, or empty
    std::string name;
};

class Attacker {
public:
    Attacker(const AttackSite& site, std::uint64_t seed)
        : site_(site)
        , random_(seed)
        , root_(openDirectory(AT_FDCWD, site.bridge().c_str()))
    {
    }

    void act();

private:
    static support::Descriptor openDirectory(int directory, const char* name)
    {
        constexpr int flags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
        return support::Descriptor(::openat(directory, name, flags));
    }

    Target chooseTarget();
    std::string nameIn(const char* directory);
    void make(const std::string& path, const Target& target);
    void makeLink(const std::string& path, const Target& target);
    std::string linkTarget(const Target& target);
    void makeSocket(const std::string& path);
    void makeDirectory(const std::string& path);
    void makeFile(const std::string& path);
    void growAndShrink(int directory, const std::string& name);
    void rest();

    const AttackSite& site_;
    Random random_;
    support::Descriptor root_;
    std::size_t made_ = 0;
};

std::string Attacker::nameIn(const char* directory)
{
    const support::Descriptor opened = openDirectory(root_.number(), directory);
    const auto names = opened.number() < 0 ? std::vector<std::string>() : namesIn(opened.number());
    if (!names.empty() && random_.withChance(80))
        return random_.oneOf(names);
    if (std::strcmp(directory, "Commands") == 0)
        return commandName(random_.below(commandFiles));
    return std::strcmp(directory, "Readiness") == 0
        ? "googleChrome.readiness"
        : "00000000000000000001-" + random_.uuid() + ".event";
}

Target Attacker::chooseTarget()
{
    constexpr std::array<const char*, 3> directories { "Inbox", "Commands", "Readiness" };
    constexpr std::array<const char*, 4> files { "bridge-token", "state.json", "preferences.json",
        "state.json" };
    const unsigned chance = random_.below(11U);
    if (chance == 10)
        return { .directory = "", .name = "Commands" };
    if (chance < 3)
        return { .directory = "", .name = random_.oneOf(directories) };
    if (chance < 6)
        return { .directory = "", .name = random_.oneOf(files) };
    const char* const directory = random_.oneOf(directories);
    return { .directory = directory, .name = nameIn(directory) };
}

// Where a link leads that hosts might take for what the name says: to what is sound there but lies
// elsewhere, or nowhere.
std::string Attacker::linkTarget(const Target& target)
{
    const bool isInRoot = *target.directory == '\0';
    if (isInRoot && (target.name == "Inbox" || target.name == "Readiness"))
        return random_.withChance(60) ? site_.landing() : site_.landing() + "/nowhere/at/all";
    if (random_.withChance(15))
        return "/dev/zero";
    if (random_.withChance(15))
        return site_.stash() + "/nowhere";
    if (random_.withChance(10))
        return target.name; // itself
    if (isInRoot)
        return site_.canaries() + '/' + target.name;
    if (random_.withChance(20))
        return site_.canaries();
    const std::string ending = std::filesystem::path(target.name).extension().string();
    return site_.canaries() + "/x" + (ending == ".temporary" ? ".event" : ending);
}

void Attacker::makeLink(const std::string& path, const Target& target)
{
    std::ignore = ::symlink(linkTarget(target).c_str(), path.c_str());
}

void Attacker::makeSocket(const std::string& path)
{
    const support::Descriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_un address {};
    address.sun_family = AF_UNIX;
    if (path.size() < sizeof address.sun_path) {
        std::memcpy(&address.sun_path[0], path.c_str(), path.size() + 1);
        // The system's way of saying that this is an address of some kind.
        std::ignore = ::bind(socket.number(), reinterpret_cast<const sockaddr*>(&address), // NOLINT
            sizeof address);
    }
}

// With something in it that leads elsewhere, for those who remove it.
void Attacker::makeDirectory(const std::string& path)
{
    ::mkdir(path.c_str(), 0700);
    if (random_.withChance(40))
        return;
    ::mkdir((path + "/deeper").c_str(), random_.withChance(50) ? 0700 : 0);
    std::ignore = ::symlink(site_.canaries().c_str(), (path + "/elsewhere").c_str());
    std::ignore = ::symlink((site_.canaries() + "/x.event").c_str(), (path + "/x.event").c_str());
    std::ignore = ::mkfifo((path + "/fifo").c_str(), 0600);
}

// Empty but for the mark, of about the sizes that decide something, or enormous.
void Attacker::makeFile(const std::string& path)
{
    constexpr std::array<off_t, 9> sizes { 20, 128, 129, 4096, 4097, 16384, 16385, 70000,
        off_t { 1 } << 40 };
    const support::Descriptor file(
        ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    std::ignore = ::write(file.number(), attackersMark.data(), attackersMark.size());
    std::ignore = ::ftruncate(file.number(), random_.oneOf(sizes));
    if (random_.withChance(25))
        ::fchmod(file.number(), 0);
}

void Attacker::make(const std::string& path, const Target& target)
{
    // While the names in it are gone through, the directory becomes another one of the same names.
    const bool isDirectoryOfCommands = *target.directory == '\0' && target.name == "Commands";
    switch (isDirectoryOfCommands && random_.withChance(70) ? 0 : random_.below(8U)) {
    case 0:
    case 1:
    case 2:
        return makeLink(path, target);
    case 3:
        std::ignore = ::mkfifo(path.c_str(), 0600);
        return;
    case 4:
        return makeSocket(path);
    case 5:
        return makeDirectory(path);
    default:
        return makeFile(path);
    }
}

// While it may be being read; never below the mark.
void Attacker::growAndShrink(int directory, const std::string& name)
{
    constexpr int flags = O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
    const support::Descriptor file(::openat(directory, name.c_str(), flags));
    struct stat status {};
    std::array<char, attackersMark.size()> start {};
    if (file.number() < 0 || ::fstat(file.number(), &status) != 0 || !S_ISREG(status.st_mode)
        || ::pread(file.number(), start.data(), start.size(), 0)
            != static_cast<ssize_t>(start.size())
        || std::string_view(start.data(), start.size()) != attackersMark)
        return;
    for (int round = 0; round < 20; ++round) {
        constexpr off_t furthest = 40000;
        const auto size = static_cast<off_t>(attackersMark.size()) + random_.below(furthest);
        std::ignore = ::ftruncate(file.number(), size);
    }
}

void Attacker::rest()
{
    std::this_thread::sleep_for(random_.upTo(std::chrono::microseconds { 400 }));
}

// In place of something for a while, then away again, or for good.
void Attacker::act()
{
    const Target target = chooseTarget();
    const support::Descriptor directory
        = openDirectory(root_.number(), *target.directory == '\0' ? "." : target.directory);
    if (directory.number() < 0)
        return;
    const std::string stashed = site_.stash() + '/' + std::to_string(made_++);
    make(stashed, target);
    const auto exchange = [&] {
        return ::renameat2(
            AT_FDCWD, stashed.c_str(), directory.number(), target.name.c_str(), RENAME_EXCHANGE);
    };
    if (exchange() == 0) {
        if (random_.withChance(30))
            growAndShrink(directory.number(), target.name);
        rest();
        // Hosts look at the same name again and again within one request.
        const unsigned exchanges = random_.withChance(30) ? 1 + 2 * random_.below(20U) : 1;
        for (unsigned number = 0; number < exchanges && random_.withChance(97); ++number)
            exchange();
    } else {
        std::ignore
            = ::renameat(AT_FDCWD, stashed.c_str(), directory.number(), target.name.c_str());
        rest();
    }
    std::error_code ignored;
    std::filesystem::remove_all(stashed, ignored);
}

} // namespace

void beAttacker(const AttackSite& site, Stage& stage, std::uint64_t seed)
{
    Attacker attacker(site, seed);
    while (!stage.isOver) {
        attacker.act();
        ++stage.attacks;
    }
}

} // namespace soak
