#include "host/request_handler.h"

#include "tests/host/host_test.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

namespace host {
namespace {

using support::FileOperation;

// Requests on a file system that fails.
class FailingFiles : public HostTest {
protected:
    // The bridge as at the start, with something to be done by every kind of request.
    void setUpBridge() const
    {
        std::filesystem::remove_all(root());
        support::writeToken(root());
        support::writeState(root());
        support::writePreferences(root(), support::preferences(true));
        support::writeCommand(root(), "1.command");
    }

    NativeHostResponse handleOnceWith(FileOperation operation, int code, std::string_view payload)
    {
        setUpBridge();
        fileSystem.failOperation(operation, code);
        return handle(payload);
    }

    std::size_t eventCount() const { return support::namesIn(pathOf("Inbox")).size(); }
};

struct OperationCase {
    const char* name;
    FileOperation operation;
    int code;
    std::string_view error;
    std::size_t eventsLeft;
};

TEST_F(FailingFiles, AnEventThatCannotBeWrittenIsRefusedWithTheSystemsReason)
{
    const std::vector<OperationCase> cases {
        { "making the file", FileOperation::createFile, ENOSPC, "No space left on device", 0 },
        { "making the file, read-only", FileOperation::createFile, EROFS, "Read-only file system",
            0 },
        { "writing", FileOperation::write, EIO, "Input/output error", 0 },
        { "renaming", FileOperation::rename, EACCES, "Permission denied", 0 },
        { "making the directory", FileOperation::createDirectories, ENOTDIR, "Not a directory", 0 },
        { "narrowing the directory", FileOperation::setDirectoryPermissions, EPERM,
            "Operation not permitted", 0 },
        // The event is there by then, and stays.
        { "narrowing the file", FileOperation::setPermissions, EPERM, "Operation not permitted",
            1 },
    };
    for (const OperationCase& testCase : cases) {
        SCOPED_TRACE(testCase.name);
        const NativeHostResponse response
            = handleOnceWith(testCase.operation, testCase.code, activityText());
        EXPECT_FALSE(response.accepted);
        EXPECT_EQ(response.error, testCase.error);
        EXPECT_TRUE(response.sessionRunning); // told as usual
        EXPECT_TRUE(response.command);
        EXPECT_EQ(eventCount(), testCase.eventsLeft);
        expectNothingUnfinished();
    }
}

TEST_F(FailingFiles, WhatCannotBeReadIsAsIfItWereNotThere)
{
    for (const FileOperation operation : { FileOperation::openForReading, FileOperation::read,
             FileOperation::attributesOfOpenFile }) {
        const NativeHostResponse response = handleOnceWith(operation, EIO, activityText());
        EXPECT_EQ(response, refused({}, appUnavailableText));
        EXPECT_EQ(eventCount(), 0U);
        expectNothingUnfinished();
    }
}

TEST_F(FailingFiles, ReadinessThatCannotBeWrittenChangesNoResponse)
{
    setUpBridge();
    const NativeHostResponse expected = handle(pingText());
    EXPECT_TRUE(expected.accepted);
    for (const FileOperation operation : { FileOperation::createFile, FileOperation::write,
             FileOperation::rename, FileOperation::createDirectories,
             FileOperation::setDirectoryPermissions, FileOperation::setPermissions }) {
        EXPECT_EQ(handleOnceWith(operation, EIO, pingText()), expected);
        EXPECT_FALSE(hasReadiness());
        expectNothingUnfinished();
    }
}

TEST_F(FailingFiles, ADisconnectEventThatCannotBeWrittenChangesNoResponse)
{
    setUpBridge();
    const NativeHostResponse expected = handle(pauseText(true));
    EXPECT_TRUE(expected.accepted);
    for (const FileOperation operation : { FileOperation::createFile, FileOperation::write,
             FileOperation::rename, FileOperation::createDirectories }) {
        EXPECT_EQ(handleOnceWith(operation, ENOSPC, pauseText(true)), expected);
        EXPECT_EQ(eventCount(), 0U);
        expectNothingUnfinished();
    }
}

TEST_F(FailingFiles, CommandsThatCannotBeListedOrDeletedChangeNothingElse)
{
    NativeHostResponse expected = liveResponse();
    expected.filenameLabelsEnabled = true;
    EXPECT_EQ(handleOnceWith(FileOperation::visibleNames, EACCES, pauseText(false)), expected);
    expected.command = support::command().command;
    EXPECT_EQ(handleOnceWith(FileOperation::remove, EACCES, pauseText(false)), expected);
    EXPECT_TRUE(support::exists(pathOf("Commands/1.command")));
}

// Fails the first file operation of a request, then the second, and so on to its last.
class EveryFailure : public FailingFiles, public testing::WithParamInterface<const char*> {
protected:
    static std::string payload()
    {
        const std::string type = GetParam();
        if (type == "readinessPing")
            return pingText();
        if (type == "browserActivity")
            return activityText(support::validPDFEvent(), versionMember);
        if (type == "trackingPauseChanged")
            return pauseText(true);
        if (type == "malformed")
            return "{";
        return requestText(type);
    }

    static bool isAllowed(const NativeHostResponse& response)
    {
        if (std::string_view(GetParam()) == "malformed")
            return !response.accepted && response.error == malformedText;
        if (response.accepted)
            return !response.error;
        const std::vector<std::string_view> reasons { appUnavailableText, bridgeNotReadyText,
            "Input/output error" };
        return std::string_view(GetParam()) == "browserActivity" && response.error
            && std::ranges::find(reasons, *response.error) != reasons.end();
    }

    // Which of the request's calls fails, counted from 1; yields whether there was such a call.
    bool failsAt(int number)
    {
        setUpBridge();
        memory = {};
        const std::size_t before = fileSystem.calls().size();
        fileSystem.failCall(number, EIO);
        const NativeHostResponse response = handle(payload());
        const std::size_t calls = fileSystem.calls().size() - before;
        fileSystem.failCall(0, 0);

        EXPECT_TRUE(isAllowed(response)) << testing::PrintToString(response);
        expectNothingUnfinished();
        if (calls < static_cast<std::size_t>(number))
            return false;
        const FileOperation failed
            = fileSystem.calls()[before + static_cast<std::size_t>(number) - 1];
        expectEvents(response, failed);
        expectNextRequestAnswered();
        return true;
    }

private:
    // An event that was refused is not there, unless all that failed was narrowing its file.
    void expectEvents(const NativeHostResponse& response, FileOperation failed) const
    {
        if (std::string_view(GetParam()) != "browserActivity")
            return;
        const bool isThere = response.accepted || failed == FileOperation::setPermissions;
        EXPECT_EQ(eventCount(), isThere ? 1U : 0U);
    }

    void expectNextRequestAnswered()
    {
        setUpBridge();
        const NativeHostResponse response = handle(activityText(support::validPDFEvent()));
        NativeHostResponse expected = liveResponse();
        expected.filenameLabelsEnabled = true;
        expected.localFilePermission = events::BrowserLocalFilePermission::enabled;
        expected.command = support::command().command;
        EXPECT_EQ(response, expected);
        EXPECT_EQ(eventCount(), 1U);
    }
};

TEST_P(EveryFailure, IsAnsweredAndLeavesNothingUnfinished)
{
    constexpr int moreThanAnyRequestTakes = 200;
    int number = 1;
    while (number < moreThanAnyRequestTakes && failsAt(number)) {
        if (HasFailure()) {
            ADD_FAILURE() << "with call " << number << " failing";
            return;
        }
        ++number;
    }
    EXPECT_GT(number, 6); // there were calls to fail
    EXPECT_LT(number, moreThanAnyRequestTakes);
}

INSTANTIATE_TEST_SUITE_P(OfEveryType, EveryFailure,
    testing::Values("readinessPing", "openMerrowin", "openDiagnostics", "browserActivity",
        "trackingPauseChanged", "malformed"),
    [](const auto& testCase) { return std::string(testCase.param); });

} // namespace
} // namespace host
