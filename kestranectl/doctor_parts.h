#pragma once
// The parts of the doctor's examination, one source file each.

#include "kestranectl/doctor.h"

#include <string>
#include <string_view>
#include <vector>

namespace kestranectl {

/// One examination, from the first step to the last.
struct Examination {
    const DoctorOptions& options;
    const Surroundings& surroundings;
    const DoctorProbes& probes;
    std::vector<Finding> findings {};
    std::vector<std::string> examinedExecutables {};

    void good(std::string subject, std::string text);
    void notice(std::string subject, std::string text, std::string advice = {});
    void bad(std::string subject, std::string text, std::string advice = {});
    void unknown(std::string subject, std::string text, std::string advice = {});
};

enum class Presence : std::uint8_t { present, absent, unknown };

/// Whether the path leads to something. Only the system's word that nothing is there counts as
/// absence.
[[nodiscard]] Presence presenceOf(const std::string& path);

/// A finding for what the system does not let be seen, with what can be done about that.
void reportHidden(Examination& examination, const std::string& subject, const std::string& path,
    platform::FileError error);

/// The text, with the full stop that texts of the system lack.
[[nodiscard]] std::string asSentence(std::string text);

/// A number of seconds in words for people: "12 seconds", "3 hours".
[[nodiscard]] std::string durationText(double seconds);

/// `count` with the word for the things counted, in the right number.
[[nodiscard]] std::string countText(std::size_t count, std::string_view singular);

/// Whether nobody but the current user and the administrator can put something else at the path:
/// looks at the owner and the permissions of the item and of everything above it, before and after
/// links are resolved. A path that ends early is examined as far as it goes. Returns whether what
/// lies there may be trusted.
bool examineTrust(Examination& examination, const std::string& subject, const std::string& path);

/// All browsers: profiles, manifests, extensions, executables.
void examineBrowsers(Examination& examination);

/// The executable that a manifest names.
void examineExecutable(Examination& examination, const std::string& path);

/// The bridge directory and everything in it that comes from the application.
void examineBridge(Examination& examination);

/// What hosts leave in the bridge directory, and what waits there; `token` is the valid one, if
/// any.
void examineQueues(Examination& examination, const std::string& root, const std::string& token);

} // namespace kestranectl
