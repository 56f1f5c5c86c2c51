#include "tests/faults/errors_of_calls.h"

#include <array>
#include <cerrno>

namespace faults {

namespace {

// NOLINTBEGIN(cppcoreguidelines-macro-usage): a name and its number cannot part this way
#define KESTRANE_ERROR(name)                                                                       \
    Error                                                                                          \
    {                                                                                              \
        #name, name                                                                                \
    }
// NOLINTEND(cppcoreguidelines-macro-usage)

constexpr Error access = KESTRANE_ERROR(EACCES);
constexpr Error again = KESTRANE_ERROR(EAGAIN);
constexpr Error brokenPipe = KESTRANE_ERROR(EPIPE);
constexpr Error busy = KESTRANE_ERROR(EBUSY);
constexpr Error exists = KESTRANE_ERROR(EEXIST);
constexpr Error interrupted = KESTRANE_ERROR(EINTR);
constexpr Error invalid = KESTRANE_ERROR(EINVAL);
constexpr Error inputOutput = KESTRANE_ERROR(EIO);
constexpr Error isDirectory = KESTRANE_ERROR(EISDIR);
constexpr Error links = KESTRANE_ERROR(ELOOP);
constexpr Error nameTooLong = KESTRANE_ERROR(ENAMETOOLONG);
constexpr Error noChild = KESTRANE_ERROR(ECHILD);
constexpr Error noCall = KESTRANE_ERROR(ENOSYS);
constexpr Error noEntry = KESTRANE_ERROR(ENOENT);
constexpr Error noMemory = KESTRANE_ERROR(ENOMEM);
constexpr Error noProcess = KESTRANE_ERROR(ESRCH);
constexpr Error noSpace = KESTRANE_ERROR(ENOSPC);
constexpr Error notDirectory = KESTRANE_ERROR(ENOTDIR);
constexpr Error notEmpty = KESTRANE_ERROR(ENOTEMPTY);
constexpr Error notPermitted = KESTRANE_ERROR(EPERM);
constexpr Error otherDevice = KESTRANE_ERROR(EXDEV);
constexpr Error quota = KESTRANE_ERROR(EDQUOT);
constexpr Error readOnly = KESTRANE_ERROR(EROFS);
constexpr Error tooLarge = KESTRANE_ERROR(EFBIG);
constexpr Error tooManyHere = KESTRANE_ERROR(EMFILE);
constexpr Error tooManyLinks = KESTRANE_ERROR(EMLINK);
constexpr Error tooManyInSystem = KESTRANE_ERROR(ENFILE);

#undef KESTRANE_ERROR

constexpr std::array opening { access, notPermitted, noEntry, notDirectory, links, inputOutput,
    tooManyHere, tooManyInSystem, nameTooLong, interrupted, noMemory };
constexpr std::array creating { access, notPermitted, noEntry, notDirectory, links, isDirectory,
    exists, noSpace, quota, readOnly, inputOutput, tooManyHere, tooManyInSystem, nameTooLong,
    interrupted, noMemory };
constexpr std::array reading { inputOutput, isDirectory, interrupted, nothingDone };
constexpr std::array writing { inputOutput, noSpace, quota, tooLarge, notPermitted, interrupted,
    nothingDone };
constexpr std::array receiving { inputOutput, isDirectory, interrupted, again, nothingDone };
constexpr std::array sending { inputOutput, noSpace, quota, notPermitted, brokenPipe, interrupted,
    again, nothingDone };
constexpr std::array listing { access, noEntry, notDirectory, inputOutput, interrupted,
    nothingDone };
constexpr std::array closing { inputOutput, noSpace, quota, interrupted };
constexpr std::array askingAFile { access, inputOutput, noMemory };
constexpr std::array askingAPath { access, noEntry, notDirectory, links, nameTooLong, inputOutput,
    noMemory };
constexpr std::array settingPermissions { access, notPermitted, noEntry, notDirectory, links,
    readOnly, inputOutput, nameTooLong, noMemory };
constexpr std::array settingPermissionsOfAFile { notPermitted, readOnly, inputOutput };
constexpr std::array makingADirectory { access, notPermitted, noEntry, notDirectory, links, exists,
    noSpace, quota, readOnly, inputOutput, nameTooLong, tooManyLinks, noMemory };
constexpr std::array renaming { access, notPermitted, noEntry, notDirectory, links, isDirectory,
    noSpace, quota, readOnly, inputOutput, nameTooLong, otherDevice, busy, tooManyLinks, noMemory };
constexpr std::array removing { access, notPermitted, noEntry, notDirectory, links, isDirectory,
    notEmpty, readOnly, inputOutput, nameTooLong, busy, noMemory };
constexpr std::array askingForAProcess { notPermitted, noProcess };
constexpr std::array askingForRandomness { notPermitted, noCall, interrupted };
constexpr std::array duplicating { tooManyHere, invalid };
constexpr std::array startingAProcess { again, noMemory };
constexpr std::array awaitingAProcess { interrupted, noChild };
// The kernel answers a brk that failed with where the break is, and the C library takes whatever is
// below what it asked for as a failure.
constexpr std::array movingTheBreak { nothingDone };
constexpr std::array takingMemory { noMemory };
constexpr std::array settingSignals { invalid };
constexpr std::array forbiddingCoreFiles { invalid, noCall };
constexpr std::array startingASession { notPermitted };
constexpr std::array redirecting { tooManyHere, busy, interrupted };
constexpr std::array closingAll { noMemory, noCall };
constexpr std::array enteringADirectory { access, noEntry, notDirectory, links, nameTooLong,
    inputOutput, noMemory };

struct Row {
    std::string_view call;
    std::span<const Error> errors;
};

constexpr std::array table {
    Row { "openat", opening },
    Row { "openat O_CREAT", creating },
    Row { "read", reading },
    Row { "write", writing },
    Row { "read 0", receiving },
    Row { "write 1", sending },
    Row { "getdents64", listing },
    Row { "close", closing },
    Row { "newfstatat", askingAFile },
    Row { "fstat", askingAFile },
    Row { "newfstatat path", askingAPath },
    Row { "lstat", askingAPath },
    Row { "stat", askingAPath },
    Row { "chmod", settingPermissions },
    Row { "fchmod", settingPermissionsOfAFile },
    Row { "mkdir", makingADirectory },
    Row { "rename", renaming },
    Row { "unlinkat", removing },
    Row { "unlink", removing },
    Row { "kill", askingForAProcess },
    Row { "getrandom", askingForRandomness },
    Row { "fcntl", duplicating },
    Row { "clone", startingAProcess },
    Row { "clone3", startingAProcess },
    Row { "vfork", startingAProcess },
    Row { "wait4", awaitingAProcess },
    Row { "brk", movingTheBreak },
    Row { "mmap", takingMemory },
    Row { "munmap", takingMemory },
    Row { "mremap", takingMemory },
    Row { "rt_sigaction", settingSignals },
    Row { "rt_sigprocmask", settingSignals },
    Row { "prctl", forbiddingCoreFiles },
    Row { "setsid", startingASession },
    Row { "dup2", redirecting },
    Row { "close_range", closingAll },
    Row { "chdir", enteringADirectory },
};

} // namespace

std::optional<std::span<const Error>> errorsOf(std::string_view call)
{
    for (const Row& row : table) {
        if (row.call == call)
            return row.errors;
    }
    return std::nullopt;
}

std::size_t callsInTable()
{
    return table.size();
}

} // namespace faults
