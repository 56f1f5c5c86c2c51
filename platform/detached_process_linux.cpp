#include "platform/detached_process.h"

#include "platform/null_terminated.h"

#include <cerrno>
#include <csignal>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace platform {

namespace {

// From here on, up to the exec, nothing but calls that are safe between fork and exec, as after a
// signal.

void resetSignals()
{
    struct sigaction action {};
    action.sa_handler = SIG_DFL;
    for (int signal = 1; signal < NSIG; ++signal)
        ::sigaction(signal, &action, nullptr); // Refused for those that cannot be changed.
    sigset_t none;
    ::sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
}

// Whoever holds the browser's pipe keeps the connection open in the browser's eyes, so none of ours
// may be passed on.
bool replaceDescriptors()
{
    const int null = ::open("/dev/null", O_RDWR);
    if (null < 0)
        return false;
    for (const int stream : { STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO }) {
        if (::dup2(null, stream) < 0)
            return false;
    }
    ::closefrom(STDERR_FILENO + 1);
    return true;
}

bool enterDirectory(const char* workingDirectory)
{
    return ::chdir(workingDirectory) == 0 || ::chdir("/") == 0;
}

[[noreturn]] void becomeLauncher(
    char* const* arguments, char* const* environment, const char* workingDirectory)
{
    if (::setsid() >= 0 && replaceDescriptors()) {
        resetSignals();
        // The child of a child that ends at once belongs to nobody: it leaves no zombie here. It
        // does not lead its session either, so no terminal can become its own. Nobody waits for
        // what it does, so a home directory that does not answer holds up nothing.
        if (::fork() == 0 && enterDirectory(workingDirectory))
            ::execve(arguments[0], arguments, environment);
    }
    ::_exit(0);
}

} // namespace

void startDetached(std::vector<std::string> arguments, std::vector<std::string> environment,
    const std::string& workingDirectory)
{
    const std::vector<char*> argumentPointers = nullTerminated(arguments);
    const std::vector<char*> environmentPointers = nullTerminated(environment);
    const pid_t launcher = ::fork();
    if (launcher == 0)
        becomeLauncher(
            argumentPointers.data(), environmentPointers.data(), workingDirectory.c_str());
    if (launcher < 0)
        return;
    while (::waitpid(launcher, nullptr, 0) < 0 && errno == EINTR) { }
}

} // namespace platform
