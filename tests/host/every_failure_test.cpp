// Every call to the file system that a request or the session's end makes fails, with every error
// that it can give: the first, the second, and so on to the last, alone or with all that follow.
// Answer, calls and directory are those of a model.

#include "host/request_handler.h"
#include "host/request_loop.h"

#include "tests/host/host_model.h"
#include "tests/host/host_test.h"
#include "tests/support/host_process.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <ostream>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include <unistd.h>

namespace host {
namespace {

using support::FileOperation;

// Everything is tried in a bridge directory that no host has used before, and in one that was used.
class EveryFailure : public HostTest {
protected:
    EveryFailure()
    {
        support::writePreferences(root(), support::preferences(true));
        fileSystem.beforeCall(
            [this](FileOperation operation, const std::string& path) { note(operation, path); });
    }

    // The bridge directory as `model` has it before anything happens.
    void setUpBridge(const HostModel& model)
    {
        setUpDirectory("Inbox", model.inbox);
        setUpDirectory("Readiness", model.readinessDirectory);
        support::writeCommand(root(), "1.command");
        memory = {};
        calls.clear();
    }

    // The directory, the calls and what is open are as the model says.
    void expectWorld(const HostModel& model) const
    {
        EXPECT_EQ(calls, model.calls());
        EXPECT_EQ(fileSystem.openFileCount(), 0);
        EXPECT_EQ(support::exists(pathOf("Commands/1.command")), model.hasCommand);
        EXPECT_EQ(directory("Inbox"), model.inbox.exists ? model.inbox : HostModel::Directory {});
        EXPECT_EQ(directory("Readiness"),
            model.readinessDirectory.exists ? model.readinessDirectory : HostModel::Directory {});
        expectFiles(model);
    }

    // Requests are answered as if nothing had happened.
    void expectRecovery(HostModel& model)
    {
        fileSystem.failCall(0, 0);
        calls.clear();
        model.recover();
        EXPECT_EQ(handle(payloadOf(RequestKind::activity)), model.answer(RequestKind::activity));
        expectWorld(model);
    }

    void fail(const PlannedFailure& failure)
    {
        const int number = static_cast<int>(failure.number);
        if (failure.lasts)
            fileSystem.failFromCall(number, failure.code);
        else
            fileSystem.failCall(number, failure.code);
    }

    using Trial = std::function<void(const PlannedFailure&)>;

    // Fails every one of the calls alone, with every error that it can give.
    static void failEachOf(const std::vector<FileCall>& made, const Trial& trial)
    {
        EXPECT_GE(made.size(), 9U); // there are calls to fail
        for (std::size_t number = 1; number <= made.size() && !HasFailure(); ++number) {
            for (const int code : support::possibleErrors(made[number - 1].operation))
                trial({ .number = number, .code = code });
        }
    }

    // Fails every one of the calls with all that follow.
    static void failFromEachOf(const std::vector<FileCall>& made, const Trial& trial)
    {
        EXPECT_GE(made.size(), 9U);
        for (std::size_t number = 1; number <= made.size() && !HasFailure(); ++number)
            trial({ .number = number, .code = EIO, .lasts = true });
    }

    static std::string textOf(bool hasDirectories, const PlannedFailure& failure)
    {
        return std::string(hasDirectories ? "used" : "new") + " directory, call "
            + std::to_string(failure.number) + (failure.lasts ? " and all after it" : "")
            + " failing with " + std::to_string(failure.code);
    }

    static std::size_t openDescriptors() { return support::namesIn("/dev/fd").size(); }

    std::vector<FileCall> calls;

private:
    // Descriptors' calls come without a path; the host has one file open at a time.
    void note(FileOperation operation, const std::string& path)
    {
        if (!path.empty())
            item_ = itemAt(path);
        calls.push_back({ operation, item_ });
    }

    // Temporary files have names that cannot be foretold, but that must be hidden.
    std::string itemAt(const std::string& path) const
    {
        EXPECT_TRUE(path.starts_with(root() + '/')) << path;
        const std::filesystem::path item = path.substr(std::min(path.size(), root().size() + 1));
        if (!item.string().ends_with(".temporary"))
            return item;
        EXPECT_TRUE(item.filename().string().starts_with('.')) << path;
        return item.parent_path() / "*";
    }

    void setUpDirectory(const std::string& name, const HostModel::Directory& wanted) const
    {
        std::filesystem::remove_all(pathOf(name));
        if (wanted.exists)
            support::makeDirectory(pathOf(name), wanted.permissions);
    }

    HostModel::Directory directory(const std::string& name) const
    {
        if (!support::exists(pathOf(name)))
            return {};
        return { .exists = true, .permissions = support::permissionsOf(pathOf(name)) };
    }

    void expectFiles(const HostModel& model) const
    {
        std::size_t temporaryFiles = 0;
        std::vector<std::string> finished;
        for (const std::string directoryName : { "Inbox/", "Readiness/" }) {
            for (const std::string& name : support::namesIn(pathOf(directoryName))) {
                EXPECT_EQ(support::permissionsOf(pathOf(directoryName + name)), 0600U) << name;
                if (name.starts_with('.'))
                    ++temporaryFiles;
                else
                    finished.push_back(directoryName + name);
            }
        }
        EXPECT_EQ(temporaryFiles, model.temporaryFiles);
        expectRelayed(model, finished);
        EXPECT_EQ(std::erase(finished, "Readiness/googleChrome.readiness"),
            model.connectionAvailable ? 1U : 0U);
        if (model.connectionAvailable) {
            EXPECT_EQ(readiness().connectionAvailable, *model.connectionAvailable);
        }
    }

    void expectRelayed(const HostModel& model, const std::vector<std::string>& finished) const
    {
        std::vector<HostModel::Event> relayed;
        for (const std::string& name : finished) {
            if (!name.starts_with("Inbox/"))
                continue;
            EXPECT_TRUE(name.ends_with(".event")) << name;
            const auto envelope
                = bridge::decodeBrowserBridgeEnvelope(support::readFile(pathOf(name)));
            ASSERT_TRUE(envelope) << name;
            const auto event = events::decodeBrowserActivityEvent(envelope->eventData);
            ASSERT_TRUE(event) << name;
            relayed.push_back({ event->eventType, event->pdfLabel });
        }
        EXPECT_EQ(relayed.size(), model.relayed.size());
        // Those of one moment are in no order.
        EXPECT_TRUE(std::ranges::is_permutation(relayed, model.relayed));
    }

    std::string item_;
};

struct RequestCase {
    const char* name;
    RequestKind kind;

    friend std::ostream& operator<<(std::ostream& stream, const RequestCase& testCase)
    {
        return stream << testCase.name;
    }
};

class EveryFailureOfARequest : public EveryFailure,
                               public testing::WithParamInterface<RequestCase> {
protected:
    // Answers the request with that failure; yields the calls that it made.
    std::vector<FileCall> answerWith(bool hasDirectories, const PlannedFailure& failure)
    {
        SCOPED_TRACE(textOf(hasDirectories, failure));
        HostModel model(hasDirectories, failure);
        setUpBridge(model);
        openings = 0;
        fail(failure);
        const NativeHostResponse response = handle(payloadOf(kind()));
        EXPECT_EQ(response, model.answer(kind()));
        EXPECT_EQ(openings, opensApplication() ? 1 : 0);
        expectWorld(model);
        std::vector<FileCall> made = calls;
        expectRecovery(model);
        return made;
    }

    void failEveryCall(bool hasDirectories)
    {
        const std::size_t descriptors = openDescriptors();
        failEachOf(answerWith(hasDirectories, {}), [&](const PlannedFailure& failure) {
            std::ignore = answerWith(hasDirectories, failure);
        });
        EXPECT_EQ(openDescriptors(), descriptors);
    }

private:
    static RequestKind kind() { return GetParam().kind; }

    static bool opensApplication()
    {
        return kind() == RequestKind::openMerrowin || kind() == RequestKind::openDiagnostics;
    }
};

TEST_P(EveryFailureOfARequest, InANewDirectoryIsAnsweredAsItMustBe)
{
    failEveryCall(false);
}

TEST_P(EveryFailureOfARequest, ThatLastsIsAnsweredAsItMustBe)
{
    const std::size_t descriptors = openDescriptors();
    for (const bool hasDirectories : { false, true }) {
        failFromEachOf(answerWith(hasDirectories, {}), [&](const PlannedFailure& failure) {
            std::ignore = answerWith(hasDirectories, failure);
        });
    }
    EXPECT_EQ(openDescriptors(), descriptors);
}

std::string nameOf(const testing::TestParamInfo<RequestCase>& testCase)
{
    return testCase.param.name;
}

INSTANTIATE_TEST_SUITE_P(OfEveryType, EveryFailureOfARequest,
    testing::Values(RequestCase { "readinessPing", RequestKind::readinessPing },
        RequestCase { "openMerrowin", RequestKind::openMerrowin },
        RequestCase { "openDiagnostics", RequestKind::openDiagnostics },
        RequestCase { "activity", RequestKind::activity },
        RequestCase { "activityWithVersion", RequestKind::activityWithVersion },
        RequestCase { "pdfActivityWithVersion", RequestKind::pdfActivityWithVersion },
        RequestCase { "trackingPaused", RequestKind::trackingPaused },
        RequestCase { "trackingResumed", RequestKind::trackingResumed },
        RequestCase { "malformed", RequestKind::malformed },
        RequestCase { "refused", RequestKind::refused }),
    nameOf);

// Requests that write find their directories there.
class EveryFailureOfAWritingRequest : public EveryFailureOfARequest { };

TEST_P(EveryFailureOfAWritingRequest, InAUsedDirectoryIsAnsweredAsItMustBe)
{
    failEveryCall(true);
}

INSTANTIATE_TEST_SUITE_P(OfEveryType, EveryFailureOfAWritingRequest,
    testing::Values(RequestCase { "activityWithVersion", RequestKind::activityWithVersion },
        RequestCase { "trackingPaused", RequestKind::trackingPaused }),
    nameOf);

class EveryFailureAtTheEnd : public EveryFailure {
protected:
    // A session of one readiness ping, at whose end `failure` happens; its calls are counted from
    // the answer on. Yields those that were made.
    std::vector<FileCall> endWith(bool hasDirectories, PlannedFailure failure)
    {
        SCOPED_TRACE(textOf(hasDirectories, failure));
        HostModel before(hasDirectories, {});
        setUpBridge(before);
        const NativeHostResponse expected = before.answer(RequestKind::readinessPing);
        const auto answered = static_cast<std::ptrdiff_t>(before.calls().size());
        if (failure.number != 0)
            failure.number += before.calls().size();
        HostModel model(hasDirectories, failure);
        std::ignore = model.answer(RequestKind::readinessPing);
        model.endSession();
        fail(failure);
        EXPECT_EQ(outputOf(support::frame(payloadOf(RequestKind::readinessPing))),
            support::frame(encode(expected).value_or("")));
        expectWorld(model);
        std::vector<FileCall> made(
            calls.begin() + std::min(answered, std::ssize(calls)), calls.end());
        expectRecovery(model);
        return made;
    }

private:
    std::string outputOf(std::string_view input)
    {
        support::Pipe in;
        support::Pipe out;
        EXPECT_EQ(::write(in.writeEnd.number(), input.data(), input.size()),
            static_cast<ssize_t>(input.size()));
        in.writeEnd.close();
        runSession(in.readEnd.number(), out.writeEnd.number(), environment);
        out.writeEnd.close();
        return support::readToEnd(out.readEnd.number());
    }
};

TEST_F(EveryFailureAtTheEnd, IsSwallowed)
{
    const std::size_t descriptors = openDescriptors();
    for (const bool hasDirectories : { false, true }) {
        failEachOf(endWith(hasDirectories, {}),
            [&](const PlannedFailure& failure) { std::ignore = endWith(hasDirectories, failure); });
    }
    EXPECT_EQ(openDescriptors(), descriptors);
}

TEST_F(EveryFailureAtTheEnd, ThatLastsIsSwallowed)
{
    const std::size_t descriptors = openDescriptors();
    for (const bool hasDirectories : { false, true }) {
        failFromEachOf(endWith(hasDirectories, {}),
            [&](const PlannedFailure& failure) { std::ignore = endWith(hasDirectories, failure); });
    }
    EXPECT_EQ(openDescriptors(), descriptors);
}

} // namespace
} // namespace host
