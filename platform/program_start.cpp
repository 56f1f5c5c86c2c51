#include "platform/program_start.h"

#include "platform/null_terminated.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/types.h>
#include <unistd.h>

// POSIX has programs declare it themselves (POSIX.1-2017, "environ"), and not every system's header
// does it for them.
// NOLINTNEXTLINE(*-redundant-declaration,*-avoid-non-const-global-variables)
extern char** environ;

namespace platform {

namespace {

std::unexpected<FileError> failure(int code)
{
    return std::unexpected(FileError { code });
}

struct DirectoryCloser {
    void operator()(DIR* open) const { ::closedir(open); }
};

// What this process was itself started with above the standard streams and would pass on. Both
// systems list open descriptors in this directory; where it is missing, nothing is known of any.
std::vector<int> inheritableDescriptors()
{
    std::vector<int> found;
    const std::unique_ptr<DIR, DirectoryCloser> directory(::opendir("/dev/fd"));
    if (directory == nullptr)
        return found;
    while (const dirent* const entry = ::readdir(directory.get())) {
        constexpr int decimal = 10;
        const auto number
            = static_cast<int>(std::strtol(std::data(entry->d_name), nullptr, decimal));
        const int flags = number > STDERR_FILENO ? ::fcntl(number, F_GETFD) : -1;
        if (flags >= 0 && (static_cast<unsigned>(flags) & FD_CLOEXEC) == 0)
            found.push_back(number);
    }
    return found;
}

// The first failure of a series of calls that yield an error number.
class FirstFailure {
public:
    void note(int error)
    {
        if (error_ == 0)
            error_ = error;
    }
    [[nodiscard]] int error() const { return error_; }

private:
    int error_ = 0;
};

// What happens to the program's descriptors and working directory before it runs.
class FileActions {
public:
    FileActions(int input, int output, const std::string& workingDirectory)
    {
        failure_.note(::posix_spawn_file_actions_init(&actions_));
        failure_.note(::posix_spawn_file_actions_adddup2(&actions_, input, STDIN_FILENO));
        failure_.note(::posix_spawn_file_actions_adddup2(&actions_, output, STDOUT_FILENO));
        for (const int number : inheritableDescriptors())
            failure_.note(::posix_spawn_file_actions_addclose(&actions_, number));
        if (!workingDirectory.empty())
            failure_.note(
                ::posix_spawn_file_actions_addchdir_np(&actions_, workingDirectory.c_str()));
    }
    FileActions(const FileActions&) = delete;
    FileActions& operator=(const FileActions&) = delete;
    FileActions(FileActions&&) = delete;
    FileActions& operator=(FileActions&&) = delete;
    ~FileActions() { ::posix_spawn_file_actions_destroy(&actions_); }

    [[nodiscard]] const posix_spawn_file_actions_t* get() const { return &actions_; }
    [[nodiscard]] int error() const { return failure_.error(); }

private:
    posix_spawn_file_actions_t actions_ {};
    FirstFailure failure_;
};

// Every signal in its default disposition, and none blocked.
class SignalAttributes {
public:
    SignalAttributes()
    {
        failure_.note(::posix_spawnattr_init(&attributes_));
        failure_.note(::posix_spawnattr_setflags(
            &attributes_, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK));
        sigset_t none {};
        sigset_t changeable {};
        // These are macros on some systems; none of them fails for signals that exist.
        std::ignore = sigemptyset(&none);
        std::ignore = sigfillset(&changeable);
        for (const int unchangeable : { SIGKILL, SIGSTOP })
            std::ignore = sigdelset(&changeable, unchangeable);
        failure_.note(::posix_spawnattr_setsigdefault(&attributes_, &changeable));
        failure_.note(::posix_spawnattr_setsigmask(&attributes_, &none));
    }
    SignalAttributes(const SignalAttributes&) = delete;
    SignalAttributes& operator=(const SignalAttributes&) = delete;
    SignalAttributes(SignalAttributes&&) = delete;
    SignalAttributes& operator=(SignalAttributes&&) = delete;
    ~SignalAttributes() { ::posix_spawnattr_destroy(&attributes_); }

    [[nodiscard]] const posix_spawnattr_t* get() const { return &attributes_; }
    [[nodiscard]] int error() const { return failure_.error(); }

private:
    posix_spawnattr_t attributes_ {};
    FirstFailure failure_;
};

// "NAME=", by which two variables are the same.
std::string_view nameOf(std::string_view variable)
{
    return variable.substr(0, variable.find('=') + 1);
}

std::vector<std::string> environmentWith(const std::vector<std::string>& added)
{
    std::vector<std::string> all = added;
    for (char** variable = environ; variable != nullptr && *variable != nullptr; ++variable) {
        const std::string_view name = nameOf(*variable);
        if (std::ranges::none_of(added, [name](const auto& one) { return nameOf(one) == name; }))
            all.emplace_back(*variable);
    }
    return all;
}

} // namespace

FileResult<int> startProgram(const ChildProcessOptions& options, int input, int output)
{
    const FileActions actions(input, output, options.workingDirectory);
    const SignalAttributes signals;
    for (const int error : { actions.error(), signals.error() }) {
        if (error != 0)
            return failure(error);
    }
    std::vector<std::string> arguments = options.arguments;
    std::vector<std::string> environment = environmentWith(options.addedEnvironment);
    const std::vector<char*> argumentPointers = nullTerminated(arguments);
    const std::vector<char*> environmentPointers = nullTerminated(environment);
    pid_t identifier = -1;
    const int error = ::posix_spawn(&identifier, arguments.front().c_str(), actions.get(),
        signals.get(), argumentPointers.data(), environmentPointers.data());
    if (error != 0)
        return failure(error);
    return identifier;
}

} // namespace platform
