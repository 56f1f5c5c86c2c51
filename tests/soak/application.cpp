// The application's part of the attack.

#include "tests/soak/attack_site.h"
#include "tests/soak/randomness.h"
#include "tests/support/host_process.h"

#include <chrono>
#include <thread>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace soak {

namespace {

class Application {
public:
    Application(const AttackSite& site, pid_t process, std::uint64_t seed)
        : bridge_(site.bridge())
        , process_(process)
        , random_(seed)
        , root_(openDirectory(AT_FDCWD, bridge_.c_str()))
    {
    }

    void act()
    {
        const unsigned chance = random_.below(100U);
        if (chance < 45)
            replace(root_, "state.json", state());
        else if (chance < 55)
            replace(root_, "bridge-token", std::string(random_.oneOf(applicationTokens)));
        else if (chance < 65)
            replace(root_, "preferences.json", preferences());
        else if (chance < 90)
            leaveCommand();
        else if (chance < 93)
            removeSomething();
        else
            repairDirectories();
    }

private:
    static support::Descriptor openDirectory(int directory, const char* name)
    {
        constexpr int flags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
        return support::Descriptor(::openat(directory, name, flags));
    }

    // As an application must: complete under a hidden name, then in place in one step. Whether it
    // succeeds is up to the attacker.
    void replace(
        const support::Descriptor& directory, const std::string& name, const std::string& contents)
    {
        const std::string hidden = '.' + name + ".new";
        const support::Descriptor file(::openat(directory.number(), hidden.c_str(),
            O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0600));
        if (file.number() < 0
            || ::write(file.number(), contents.data(), contents.size())
                != static_cast<ssize_t>(contents.size()))
            return;
        if (::renameat(directory.number(), hidden.c_str(), directory.number(), name.c_str()) != 0)
            ::unlinkat(directory.number(), hidden.c_str(), 0);
    }

    std::string state()
    {
        const std::string_view session = random_.oneOf(applicationSessions);
        const std::string_view chrome = "com.google.Chrome";
        constexpr pid_t nobody = 2147483647;
        switch (random_.below(16U)) {
        case 0:
            return stateText(process_, session, chrome, false, false, 0);
        case 1:
            return stateText(process_, session, chrome, true, true, 0);
        case 2:
            return stateText(process_, session, "org.mozilla.firefox", true, false, 0);
        case 3:
            return stateText(process_, {}, chrome, true, false, 0);
        case 4:
            return stateText(process_, session, chrome, true, false, 30);
        case 5:
            return stateText(nobody, session, chrome, true, false, 0);
        case 6:
            return "{";
        default:
            return stateText(process_, session, chrome, true, false, 0);
        }
    }

    // File names never become labels, unless somebody else says so.
    std::string preferences()
    {
        if (random_.withChance(20))
            return preferencesText(std::string(applicationTokens[0].size(), '0'), true);
        return preferencesText(random_.oneOf(applicationTokens), false);
    }

    void leaveCommand()
    {
        const support::Descriptor commands = openDirectory(root_.number(), "Commands");
        if (commands.number() < 0)
            return;
        const bool isForeign = random_.withChance(40);
        const std::string identifier = std::string(isForeign ? foreignCommandPrefix : commandPrefix)
            + random_.uuid().substr(commandPrefix.size());
        const std::string_view session
            = random_.withChance(50) ? random_.oneOf(applicationSessions) : std::string_view();
        replace(commands, commandName(random_.below(commandFiles)),
            commandText(random_.oneOf(applicationTokens), identifier,
                isForeign ? "org.mozilla.firefox" : "com.google.Chrome", session));
    }

    void removeSomething()
    {
        constexpr std::array<const char*, 3> names { "bridge-token", "state.json",
            "preferences.json" };
        ::unlinkat(root_.number(), random_.oneOf(names), 0);
    }

    void repairDirectories()
    {
        constexpr std::array<const char*, 3> names { "Inbox", "Commands", "Readiness" };
        const char* const name = random_.oneOf(names);
        struct stat status {};
        if (::fstatat(root_.number(), name, &status, AT_SYMLINK_NOFOLLOW) == 0
            && !S_ISDIR(status.st_mode))
            ::unlinkat(root_.number(), name, 0);
        ::mkdirat(root_.number(), name, 0700);
    }

    std::string bridge_;
    pid_t process_;
    Random random_;
    support::Descriptor root_;
};

} // namespace

void beApplication(const AttackSite& site, Stage& stage, pid_t process, std::uint64_t seed)
{
    constexpr std::chrono::microseconds pause { 100 };
    Application application(site, process, seed);
    while (!stage.isOver) {
        application.act();
        ++stage.writes;
        std::this_thread::sleep_for(pause);
    }
}

} // namespace soak
