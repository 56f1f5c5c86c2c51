#pragma once
// Where the attack takes place: the bridge directory, what lies outside it and must stay as it is,
// and what all sides agree on.

#include "tests/soak/checks.h"
#include "tests/soak/findings.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>

#include <sys/types.h>

namespace soak {

/// What the application tells; the second token and session are as good as the first.
inline constexpr std::array<std::string_view, 2> applicationTokens {
    "0123456789abcdef0123456789abcdef0123456789abcdef0123456789abcdef",
    "FEDCBA9876543210FEDCBA9876543210FEDCBA9876543210FEDCBA9876543210"
};
inline constexpr std::array<std::string_view, 2> applicationSessions {
    "5E551011-0000-4000-8000-00000000000A", "5E551011-0000-4000-8000-00000000000B"
};
/// What its commands' identifiers begin with.
inline constexpr std::string_view commandPrefix = "AAAAAAAA";
inline constexpr std::string_view foreignCommandPrefix = "FFFFFFFF";

/// Command files have these numbers for names.
inline constexpr unsigned commandFiles = 24;
[[nodiscard]] std::string commandName(unsigned number);

[[nodiscard]] Known whatTheApplicationGivesOut();

// Records as the application writes them.
[[nodiscard]] std::string stateText(pid_t process, std::string_view session,
    std::string_view frontmost, bool sessionRunning, bool paused, double age);
[[nodiscard]] std::string preferencesText(std::string_view token, bool labelsEnabled);
[[nodiscard]] std::string commandText(std::string_view token, const std::string& identifier,
    std::string_view browser, std::string_view session);

/// What processes of the attack share.
struct Stage {
    std::atomic<bool> isOver = false;
    std::atomic<std::size_t> writes = 0; // of the application
    std::atomic<std::size_t> attacks = 0;
};

/// Directories of the attack, removed at the end.
class AttackSite {
public:
    explicit AttackSite(const std::string& parent);
    AttackSite(const AttackSite&) = delete;
    AttackSite& operator=(const AttackSite&) = delete;
    ~AttackSite();

    [[nodiscard]] std::string bridge() const { return path_ + "/bridge"; }
    /// Sound files, each of which would show if a link to it was followed: "bridge-token",
    /// "state.json", "preferences.json", "x.command", "x.event", "x.readiness"; and the directory
    /// "Commands" with command files of the application's names.
    [[nodiscard]] std::string canaries() const { return path_ + "/canaries"; }
    /// A directory elsewhere that "Inbox" and "Readiness" may be links to: records may come there,
    /// and nothing else may happen.
    [[nodiscard]] std::string landing() const { return path_ + "/landing"; }
    /// Where the attacker prepares what it puts in place.
    [[nodiscard]] std::string stash() const { return path_ + "/stash"; }

    /// Writes the canaries afresh: state and commands age.
    void renewCanaries();

    /// Finds what was done to the canaries since they were written.
    void inspectCanaries(Findings& findings) const;

    /// Whether reading leaves a mark here, so that it would be found.
    [[nodiscard]] bool showsReading() const { return showsReading_; }

private:
    struct Canary {
        std::string description; // of everything but the contents
        std::string contents; // of a directory: its names
    };

    [[nodiscard]] Canary describe(const std::string& path) const;
    void remember(const std::string& path);
    // `name` is that of a file below the site.
    void writeCanary(const std::string& name, std::string_view contents);
    void findOutWhetherReadingShows();

    std::string path_;
    std::map<std::string, Canary> canaries_; // by their paths
    bool showsReading_ = false;
};

/// What the application does in a process of its own until the end: rewrites token, state,
/// preferences and commands, deletes some, makes directories that are missing.
void beApplication(const AttackSite& site, Stage& stage, pid_t process, std::uint64_t seed);

/// What the attacker does: puts links, FIFOs, sockets, directories and files of all sizes in place
/// of everything.
void beAttacker(const AttackSite& site, Stage& stage, std::uint64_t seed);

} // namespace soak
