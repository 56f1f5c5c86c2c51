#pragma once
// The application's side of "Inbox" and "Readiness": a thread that looks through them again and
// again, as fast as it can, and reads every record the moment it appears.

#include "tests/soak/checks.h"
#include "tests/soak/findings.h"

#include <atomic>
#include <cstddef>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace soak {

/// What every file of the attacker begins with, so that nobody takes it for the host's.
inline constexpr std::string_view attackersMark = "left by the attacker";

enum class Surroundings : unsigned char { hostsAlone, underAttack };

class RecordReader {
public:
    /// Under attack, what is no regular file and what bears the attacker's mark is passed over.
    RecordReader(std::vector<std::string> directories, Known known, Surroundings surroundings,
        Findings& findings);
    RecordReader(const RecordReader&) = delete;
    RecordReader& operator=(const RecordReader&) = delete;
    ~RecordReader();

    /// Returns when everything that is there at the time of the call has been read.
    void catchUp() const;

    [[nodiscard]] bool hasSeen(const std::string& eventIdentifier) const;
    [[nodiscard]] std::size_t eventCount() const { return events_; }
    [[nodiscard]] std::size_t readinessCount() const { return readiness_; }
    [[nodiscard]] std::size_t passCount() const { return passes_; }

private:
    void lookThrough(const std::string& path);
    void lookAt(int directory, const std::string& name);
    void readEvent(int directory, const std::string& name, const std::string& contents);

    std::vector<std::string> directories_;
    Known known_;
    Surroundings surroundings_;
    Findings& findings_;
    mutable std::mutex mutex_;
    std::map<std::string, std::size_t> seen_; // by the events' identifiers
    std::atomic<std::size_t> passes_ = 0;
    std::atomic<std::size_t> events_ = 0;
    std::atomic<std::size_t> readiness_ = 0;
    std::atomic<bool> isEnding_ = false;
    std::thread thread_; // begins when all else is there
};

/// The names in a directory that is none of another name; empty for anything else.
[[nodiscard]] std::vector<std::string> namesIn(int directory);

} // namespace soak
