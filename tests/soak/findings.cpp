#include "tests/soak/findings.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <iostream>

namespace soak {

void Findings::add(std::string what)
{
    constexpr std::size_t shown = 20;
    const std::scoped_lock lock(mutex_);
    ++count_;
    if (first_.size() < shown && std::ranges::find(first_, what) == first_.end())
        first_.push_back(std::move(what));
}

void Findings::require(bool holds, std::string_view what)
{
    if (!holds)
        add(std::string(what));
}

void Findings::addIfAny(const std::string& what, std::string_view about)
{
    constexpr std::size_t longest = 300;
    if (!what.empty())
        add(what + ": " + std::string(about.substr(0, longest)));
}

std::size_t Findings::count() const
{
    const std::scoped_lock lock(mutex_);
    return count_;
}

void Findings::print() const
{
    const std::scoped_lock lock(mutex_);
    for (const std::string& what : first_)
        std::cout << "Wrong: " << what << '\n';
    if (count_ > first_.size())
        std::cout << "... " << count_ << " in all\n";
}

void printRow(std::string_view name, std::size_t value)
{
    printRow(name, std::to_string(value));
}

void printRow(std::string_view name, std::string_view value)
{
    constexpr std::size_t width = 62;
    const std::string space(name.size() < width ? width - name.size() : 1, ' ');
    std::cout << name << space << value << std::endl; // seen at once, also through a pipe
}

std::string rounded(double value)
{
    std::array<char, 64> text {};
    const int length = std::snprintf(text.data(), text.size(), "%.2f", value);
    return { text.data(), static_cast<std::size_t>(length) };
}

} // namespace soak
