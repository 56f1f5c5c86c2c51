#pragma once
// The host's surroundings in a script: a bridge directory in memory, a clock, and an application
// that is there or not.

#include "fuzz/support/memory_file_system.h"
#include "fuzz/support/script.h"
#include "host/companion_application.h"

#include <string>
#include <string_view>

namespace fuzz {

inline constexpr const char* bridgeDirectory = "/home/bridge";
inline constexpr const char* outsideDirectory = "/outside";

/// The token that the application has written, unless a script says otherwise.
inline constexpr std::string_view soundToken
    = "0123456789abcdef0123456789ABCDEF00112233445566778899aabbccddeeff";

/// 2025-03-14T09:26:53Z.
inline constexpr double startOfClock = 763637213.0;

/// The path of a name in the bridge directory.
[[nodiscard]] std::string inBridge(std::string_view name);

/// What the application writes, at the start of the clock: a session runs, Chrome is frontmost.
[[nodiscard]] std::string soundState();
[[nodiscard]] std::string soundPreferences();

/// A call that was made to fail.
struct Failure {
    FailedCall call = FailedCall::none;
    std::string error {}; // as a text
};

class BridgeWorld {
public:
    /// A running application with a session, and no commands.
    BridgeWorld();
    BridgeWorld(const BridgeWorld&) = delete;
    BridgeWorld& operator=(const BridgeWorld&) = delete;
    ~BridgeWorld() = default;

    /// Does what a step says that is not a request and not the end of a session.
    void change(const Step& step);

    [[nodiscard]] MemoryFileSystem& fileSystem() { return fileSystem_; }
    [[nodiscard]] const host::HostEnvironment& environment() const { return environment_; }
    [[nodiscard]] double now() const { return now_; }
    [[nodiscard]] bool processExists() const { return processExists_; }

    /// Whether every file of `tree` reads the same however many bytes come at once: none is growing
    /// while it is read in pieces.
    [[nodiscard]] bool readsAreCertain(const MemoryTree& tree) const;

    /// Lets no further call fail. Yields which one has failed since the last time.
    [[nodiscard]] Failure endFailure();

    [[nodiscard]] int openings() const { return openings_; }

private:
    void putFile(std::string_view name, std::string_view contents);
    void putCommand(std::string_view payload);
    void putItem(std::string_view payload);
    void padFile(std::string_view payload);
    void growFile(std::string_view payload);
    void limitReads(std::string_view payload);
    void moveClock(std::string_view payload);
    void failCall(std::string_view payload);

    MemoryFileSystem fileSystem_;
    double now_ = startOfClock;
    bool processExists_ = true;
    bool limitsReads_ = false;
    int failureCode_ = 0; // of the call that is to fail
    int openings_ = 0; // of the application, on request
    host::HostEnvironment environment_;
};

} // namespace fuzz
