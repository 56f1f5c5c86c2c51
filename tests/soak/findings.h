#pragma once
// What went wrong during a run, and the table of what was done.

#include <cstddef>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace soak {

/// Any thread may add to it.
class Findings {
public:
    void add(std::string what);
    void require(bool holds, std::string_view what);
    /// Adds `what` unless it is empty, with what it is about.
    void addIfAny(const std::string& what, std::string_view about);

    [[nodiscard]] std::size_t count() const;

    /// The first of them, one a line.
    void print() const;

private:
    mutable std::mutex mutex_;
    std::vector<std::string> first_;
    std::size_t count_ = 0;
};

// Rows of a table of figures.
void printRow(std::string_view name, std::size_t value);
void printRow(std::string_view name, std::string_view value);

/// A number with two digits after the point.
[[nodiscard]] std::string rounded(double value);

} // namespace soak
