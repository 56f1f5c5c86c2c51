#pragma once
// What the launching tests need: the record of the probe that was launched, and the end of all that
// was launched.

#include <string>
#include <vector>

namespace support {

/// The path of the program that notes what it was started with (launch_probe.cpp).
[[nodiscard]] std::string launchProbe();

/// The lines that `launch_probe` left in the file; none if it was not started.
class LaunchRecord {
public:
    explicit LaunchRecord(const std::string& path);

    /// How often the probe was started.
    [[nodiscard]] int startCount() const;

    /// The values of all lines of that name, in order.
    [[nodiscard]] std::vector<std::string> values(const std::string& name) const;

    /// The value of the only line of that name; "none or several" if there is not one.
    [[nodiscard]] std::string value(const std::string& name) const;

    /// The value of an environment variable; "unset" without one.
    [[nodiscard]] std::string variable(const std::string& name) const;

private:
    std::vector<std::string> lines_;
};

/// While it lives, this process inherits what launched programs leave behind, so that their end can
/// be waited for.
class Descendants {
public:
    Descendants();
    Descendants(const Descendants&) = delete;
    Descendants& operator=(const Descendants&) = delete;
    ~Descendants();

    /// Waits until every one has ended; yields how many there were.
    int waitForAll();
};

/// Whether this process has no child at all, not even one that has ended.
[[nodiscard]] bool hasNoChild();

} // namespace support
