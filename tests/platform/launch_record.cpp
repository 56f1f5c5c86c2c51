#include "tests/platform/launch_record.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <fstream>

#include <sys/prctl.h>
#include <sys/wait.h>

namespace support {

std::string launchProbe()
{
    return KESTRANE_LAUNCH_PROBE;
}

LaunchRecord::LaunchRecord(const std::string& path)
{
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);)
        lines_.push_back(line);
}

int LaunchRecord::startCount() const
{
    return static_cast<int>(std::ranges::count(lines_, "end"));
}

std::vector<std::string> LaunchRecord::values(const std::string& name) const
{
    std::vector<std::string> values;
    for (const std::string& line : lines_) {
        if (line.starts_with(name + ' '))
            values.push_back(line.substr(name.size() + 1));
    }
    return values;
}

std::string LaunchRecord::value(const std::string& name) const
{
    const auto found = values(name);
    return found.size() == 1 ? found.front() : "none or several";
}

std::string LaunchRecord::variable(const std::string& name) const
{
    for (const std::string& variable : values("variable")) {
        if (variable.starts_with(name + '='))
            return variable.substr(name.size() + 1);
    }
    return "unset";
}

Descendants::Descendants()
{
    EXPECT_EQ(::prctl(PR_SET_CHILD_SUBREAPER, 1), 0);
}

Descendants::~Descendants()
{
    waitForAll();
    ::prctl(PR_SET_CHILD_SUBREAPER, 0);
}

// NOLINTNEXTLINE(readability-convert-member-functions-to-static): only while there is one
int Descendants::waitForAll()
{
    int count = 0;
    for (;;) {
        if (::waitpid(-1, nullptr, 0) > 0)
            ++count;
        else if (errno != EINTR)
            return count;
    }
}

bool hasNoChild()
{
    return ::waitpid(-1, nullptr, WNOHANG) == -1 && errno == ECHILD;
}

} // namespace support
