#pragma once
// A bridge directory of its own for a test, with a clock that stands, the application's process
// 4711, and a console that keeps what is printed.

#include "host/companion_application.h"
#include "kestranectl/console.h"
#include "tests/support/samples.h"
#include "tests/support/temporary_directory.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kestranectl {

class BridgeFixture : public testing::Test {
protected:
    [[nodiscard]] std::string path(std::string_view name) const
    {
        return root + '/' + std::string(name);
    }

    /// What was printed since it was asked last.
    [[nodiscard]] std::string output() { return std::exchange(output_, {}); }
    [[nodiscard]] std::string errors() { return std::exchange(errors_, {}); }

    /// A host leaves an event, received at `receivedAt`.
    void leaveEvent(const events::BrowserActivityEvent& event = support::validEvent(),
        base::Timestamp receivedAt = support::sampleTime,
        std::string_view token = support::validToken)
    {
        const auto written = environment.store.writeInboxEvent(events::encode(event).value(), token,
            support::sessionIdentifier(), receivedAt, environment.fileSystem);
        ASSERT_TRUE(written) << bridge::message(written.error());
    }

    void publishReadiness(
        const bridge::BrowserBridgeReadiness& readiness = support::validReadiness())
    {
        const auto written = environment.store.writeReadiness(
            readiness, support::validToken, environment.fileSystem);
        ASSERT_TRUE(written) << bridge::message(written.error());
    }

    [[nodiscard]] std::vector<std::string> namesIn(std::string_view name) const
    {
        return support::namesIn(path(name));
    }

    support::TemporaryDirectory directory;
    std::string root = directory / "bridge";
    base::Timestamp now = support::sampleTime;
    std::int32_t runningProcess = 4711;
    host::HostEnvironment environment {
        .store = { root },
        .fileSystem = platform::localFileSystem(),
        .services = {
            .now = [this] { return now; },
            .processExists
            = [this](std::int32_t identifier) { return identifier == runningProcess; },
            .openCompanionApplication = [] { ADD_FAILURE() << "opens the application"; },
        },
    };
    Console console {
        .output = [this](std::string_view text) { output_ += text; },
        .error = [this](std::string_view text) { errors_ += text; },
    };

private:
    std::string output_;
    std::string errors_;
};

} // namespace kestranectl
