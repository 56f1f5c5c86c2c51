#include "platform/process.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <tuple>

#include <pwd.h>
#include <sys/types.h>
#include <unistd.h>

namespace platform {

namespace {

std::optional<std::string> environmentVariable(const char* name)
{
    const char* const value = std::getenv(name);
    return value != nullptr ? std::optional<std::string>(value) : std::nullopt;
}

std::optional<std::string> homeInPasswordDatabase()
{
    const passwd* const entry = ::getpwuid(::getuid());
    if (entry == nullptr || entry->pw_dir == nullptr)
        return std::nullopt;
    return entry->pw_dir;
}

} // namespace

bool processExists(std::int32_t identifier)
{
    errno = 0;
    return ::kill(static_cast<pid_t>(identifier), 0) == 0 || errno == EPERM;
}

void ignoreSignalsOfFailedWrites()
{
    constexpr std::array signals { SIGPIPE, SIGXFSZ };
    for (const int signal : signals)
        std::ignore = std::signal(signal, SIG_IGN); // Fails for no signal that may be ignored.
}

const UserEnvironment& systemUserEnvironment()
{
    static constexpr UserEnvironment environment {
        .variable = environmentVariable,
        .passwordDatabaseHome = homeInPasswordDatabase,
    };
    return environment;
}

} // namespace platform
