#include "platform/core_files.h"

#include "tests/support/as_other_user.h"
#include "tests/support/temporary_directory.h"

#include <gtest/gtest.h>

#include <sys/prctl.h>

namespace {

using namespace support;

// Also where no core files are written, so that nobody attaches to the process either.
TEST(ForbidCoreFiles, MakesTheProcessOneThatCannotBeDumped)
{
    const TemporaryDirectory directory;
    inChildProcess([&directory] {
        const int before = ::prctl(PR_GET_DUMPABLE);
        platform::forbidCoreFiles();
        if (before == 1 && ::prctl(PR_GET_DUMPABLE) == 0)
            writeFile(directory / "passed", "");
    });
    EXPECT_TRUE(exists(directory / "passed"));
}

} // namespace
