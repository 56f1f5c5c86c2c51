// What the launching tests launch: it notes what it was started with.
//
// Usage: launch_probe RECORD [GATE]
// Appends its record, lines of a name, a blank and a value, to the file RECORD in one piece. With
// the FIFO GATE it first waits until somebody opens that for writing.

#include <array>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <tuple>

#include <fcntl.h>
#include <unistd.h>

namespace {

void notePlace(std::ostream& record)
{
    record << "session " << ::getsid(0) << "\nprocess " << ::getpid() << "\ndirectory "
           << std::filesystem::current_path().string() << '\n';
    const int terminal = ::open("/dev/tty", O_RDWR);
    record << "terminal " << (terminal >= 0 ? "some" : "none") << '\n';
    if (terminal >= 0)
        ::close(terminal);
}

void noteDescriptors(std::ostream& record)
{
    // Enough; looking into a directory would open one more.
    constexpr int highest = 1023;
    for (int number = 0; number <= highest; ++number) {
        std::array<char, 256> target {};
        const std::string link = "/proc/self/fd/" + std::to_string(number);
        const ssize_t size = ::readlink(link.c_str(), target.data(), target.size());
        if (size >= 0)
            record << "descriptor" << number << ' '
                   << std::string(target.data(), static_cast<std::size_t>(size)) << '\n';
    }
}

void noteSignals(std::ostream& record)
{
    std::ifstream status("/proc/self/status");
    for (std::string name, value; status >> name && std::getline(status >> std::ws, value);) {
        if (name == "SigIgn:" || name == "SigBlk:")
            record << name << ' ' << value << '\n';
    }
}

void noteEnvironment(std::ostream& record)
{
    for (char** variable = environ; *variable != nullptr; ++variable)
        record << "variable " << *variable << '\n';
}

} // namespace

// NOLINTNEXTLINE(bugprone-exception-escape): a probe that fails leaves no record
int main(int count, char** arguments)
{
    if (count > 2)
        ::close(::open(arguments[2], O_RDONLY));
    if (count < 2)
        return 1;
    std::ostringstream record;
    record << "arguments " << count << '\n';
    notePlace(record);
    noteDescriptors(record);
    noteSignals(record);
    noteEnvironment(record);
    record << "end\n";
    const std::string text = record.str();
    const int file = ::open(arguments[1], O_WRONLY | O_CREAT | O_APPEND, 0600);
    std::ignore = ::write(file, text.data(), text.size());
    return 0;
}
