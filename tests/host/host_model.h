#pragma once
// What the host makes of a request when files fail, told a second time: every step of a request in
// its order, with what comes of its failure. The steps name the calls to the file system one by
// one, so a test can say which of them fails.

#include "events/browser_activity_event.h"
#include "host/messages.h"
#include "tests/support/failing_file_system.h"

#include <cstddef>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace host {

/// One call to the file system. Items are paths below the bridge directory, new files
/// "<directory>/*"; calls for an open file have the item that was opened.
struct FileCall {
    support::FileOperation operation {};
    std::string item;

    friend bool operator==(const FileCall&, const FileCall&) = default;
    friend std::ostream& operator<<(std::ostream& stream, const FileCall& call)
    {
        return stream << "operation " << static_cast<int>(call.operation) << " on " << call.item;
    }
};

/// The `number`-th call (from 1) fails with `code`, and if the failure lasts, all after it do; 0
/// for none.
struct PlannedFailure {
    std::size_t number = 0;
    int code = 0;
    bool lasts = false;
};

enum class RequestKind {
    readinessPing,
    openMerrowin,
    openDiagnostics,
    activity,
    activityWithVersion,
    pdfActivityWithVersion,
    trackingPaused,
    trackingResumed,
    malformed,
    refused
};

/// The request's JSON.
[[nodiscard]] std::string payloadOf(RequestKind kind);

/// A host in a bridge directory in which the application runs a session with Chrome in front,
/// allows file names as labels and has left one command, "1.command".
class HostModel {
public:
    struct Directory {
        bool exists = false;
        unsigned permissions = 0;

        friend bool operator==(const Directory&, const Directory&) = default;
    };

    struct Event {
        events::BrowserActivityEventType type {};
        std::optional<std::string> pdfLabel;

        friend bool operator==(const Event&, const Event&) = default;
    };

    /// Inbox and Readiness are there, too wide, if `hasDirectories`.
    HostModel(bool hasDirectories, PlannedFailure failure);

    [[nodiscard]] NativeHostResponse answer(RequestKind kind);
    void endSession();

    /// Counts calls anew, none of which fails.
    void recover();

    /// The calls so far.
    [[nodiscard]] const std::vector<FileCall>& calls() const { return calls_; }

    // What is in the bridge directory.
    Directory inbox;
    Directory readinessDirectory;
    std::vector<Event> relayed;
    std::optional<bool> connectionAvailable; // as the readiness record has it
    bool hasCommand = true;
    std::size_t temporaryFiles = 0; // those whose removal failed, too

private:
    // These yield the error of the call or of the step.
    std::optional<int> call(support::FileOperation operation, std::string_view item);
    std::optional<int> ensure(Directory& directory, std::string_view name);
    std::optional<int> writeTemporary(std::string_view item);
    std::optional<int> writeInboxEvent(const Event& event);
    std::optional<int> writeReadinessFile(bool isAvailable);

    bool canRead(std::string_view item);
    bool labelsEnabled();
    bool takeCommand();
    void removeTemporary(std::string_view item);

    void announce(bool isAvailable);
    void reportDisconnected();
    NativeHostResponse respond(bool hasState, bool hasBrowser, std::string_view error = {});
    NativeHostResponse answerActivity(events::BrowserActivityEvent event, bool hasVersion);

    PlannedFailure failure_;
    std::vector<FileCall> calls_;
    std::optional<events::BrowserLocalFilePermission> permission_;
};

} // namespace host
