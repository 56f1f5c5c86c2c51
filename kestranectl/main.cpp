// The companion tool of the native-messaging host, for people.

#include "kestranectl/command_line.h"
#include "kestranectl/host_probe.h"
#include "platform/clock.h"
#include "platform/descriptor_io.h"
#include "platform/process.h"
#include "platform/standard_streams.h"

#include <cerrno>
#include <cstddef>
#include <exception>
#include <new>
#include <span>
#include <string>
#include <string_view>
#include <tuple>
#include <variant>

namespace kestranectl {

namespace {

constexpr int standardErrorDescriptor = 2;

// Nobody reads what the tool has to say, or there is no room for it: then it has nothing to do.
struct OutputError {
    platform::FileError error;
};

void writeError(std::string_view text)
{
    // If it fails, there is no other place to say so.
    std::ignore = platform::writeAll(standardErrorDescriptor, text);
}

void writeOutput(std::string_view text)
{
    if (const auto written = platform::writeAll(platform::standardOutputDescriptor, text); !written)
        throw OutputError { written.error() };
}

// Carries out each command.
struct Execution {
    const Console& console;

    ExitStatus operator()(const RegisterOptions& options) const
    {
        return registerHost(options, currentSurroundings(), console);
    }
    ExitStatus operator()(const UnregisterOptions& options) const
    {
        return unregisterHost(options, currentSurroundings(), console);
    }
    ExitStatus operator()(const DoctorOptions& options) const
    {
        const DoctorProbes probes {
            .startHost = [](const std::string& path) { return probeHost(path); },
            .now = platform::currentTime,
            .processExists = platform::processExists,
        };
        return runDoctor(options, currentSurroundings(), probes, console);
    }
    ExitStatus operator()(const WatchOptions& options) const { return runWatch(options, console); }
    ExitStatus operator()(const SimulateOptions& options) const
    {
        return runSimulate(options, console);
    }
    ExitStatus operator()(const ConnectOptions& options) const
    {
        return runConnect(options, console, platform::standardInputDescriptor);
    }
    ExitStatus operator()(const DecodeLengthOptions& options) const
    {
        std::string explanation = explainLength(options.length);
        if (!explanation.ends_with('\n'))
            explanation += '\n';
        console.output(explanation);
        return ExitStatus::success;
    }
};

ExitStatus run(std::span<const char* const> arguments)
{
    const Console console { .output = writeOutput, .error = writeError };
    const auto command = parseCommandLine(arguments, console);
    return command ? std::visit(Execution { console }, *command) : command.error();
}

// The same, with what comes up to here said in a sentence.
ExitStatus runAndExplain(std::span<const char* const> arguments)
{
    try {
        return run(arguments);
    } catch (const OutputError& failure) {
        // Who closes a pipe has read enough and needs no words.
        if (failure.error.code != EPIPE)
            writeError("kestranectl: The output cannot be written: "
                + platform::message(failure.error) + ".\n");
    } catch (const std::bad_alloc&) {
        writeError("kestranectl: There is not enough memory.\n");
    } catch (const std::exception& failure) {
        writeError(std::string("kestranectl: Something unexpected went wrong: ")
            + printable(failure.what()) + ".\n");
    }
    return ExitStatus::problem;
}

} // namespace

} // namespace kestranectl

int main(int count, char** arguments)
{
    platform::fillMissingStandardStreams();
    // A host that has gone, or whoever reads the output, must not end the tool in the middle of
    // its work.
    platform::ignoreSignalsOfFailedWrites();
    try {
        return static_cast<int>(
            kestranectl::runAndExplain({ arguments, static_cast<std::size_t>(count) }));
    } catch (...) {
        // Not even a sentence could be made.
        return static_cast<int>(kestranectl::ExitStatus::problem);
    }
}
