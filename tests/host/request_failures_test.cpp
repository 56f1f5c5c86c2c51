#include "host/request_handler.h"

#include "tests/host/host_test.h"

#include <gtest/gtest.h>

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

} // namespace
} // namespace host
