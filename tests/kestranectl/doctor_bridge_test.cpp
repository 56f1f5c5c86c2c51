#include "tests/kestranectl/doctor_test.h"

#include "base/uuid.h"
#include "bridge/bridge_store.h"
#include "platform/item_status.h"
#include "tests/support/as_other_user.h"
#include "tests/support/samples.h"

#include <cmath>
#include <cstdio>
#include <limits>

#include <unistd.h>

namespace kestranectl {
namespace {

using DoctorBridge = DoctorTest;

TEST_F(DoctorBridge, IsTheDirectoryThatWasAskedFor)
{
    examineAll({ .bridgeDirectory = root + "/other" });
    EXPECT_TRUE(found(Verdict::bad, "bridge directory", root + "/other is not there"));
    EXPECT_FALSE(found(Verdict::notice, "environment"));
}

TEST_F(DoctorBridge, MayBeAnotherForABrowser)
{
    examineAll();
    EXPECT_TRUE(found(Verdict::notice, "environment", "MERROWIN_BRIDGE_DIR is " + bridgeRoot));
}

TEST_F(DoctorBridge, IsNoDirectory)
{
    support::writeFile(root + "/file", "");
    examineAll({ .bridgeDirectory = root + "/file" });
    EXPECT_TRUE(found(Verdict::bad, "bridge directory", "is no directory"));
}

TEST_F(DoctorBridge, IsClosedToOthers)
{
    for (const unsigned open : { 0710U, 0701U, 0740U, 0704U }) {
        support::setPermissions(bridgeRoot, open);
        examineAll();
        EXPECT_TRUE(found(Verdict::notice, "bridge directory", "open to other users")) << open;
    }
    support::setPermissions(bridgeRoot, 0700);
    examineAll();
    EXPECT_TRUE(found(Verdict::good, "bridge directory", "is the user's alone"));
}

TEST_F(DoctorBridge, IsNotWhereOthersCanReplaceIt)
{
    support::setPermissions(bridgeRoot, 0702);
    examineAll();
    EXPECT_TRUE(found(Verdict::bad, "bridge directory", "can be changed by everybody"));
}

TEST_F(DoctorBridge, IsNotTakenForMissingWhereTheSystemDoesNotTell)
{
    if (!support::isRoot())
        GTEST_SKIP() << "only root can act as another user";
    support::makeDirectory(root + "/closed");
    support::setPermissions(root, 0755);
    support::asUser(support::unprivilegedUser, [this] {
        examineAll({ .bridgeDirectory = root + "/closed/bridge" });
        EXPECT_TRUE(found(Verdict::unknown, "bridge directory"));
        EXPECT_FALSE(found(Verdict::bad, "bridge directory"));
    });
}

TEST_F(DoctorBridge, HasNoToken)
{
    ASSERT_EQ(std::remove((bridgeRoot + "/bridge-token").c_str()), 0);
    examineAll();
    EXPECT_TRUE(found(Verdict::bad, "token", "cannot be read: No such file or directory."));
}

TEST_F(DoctorBridge, HasATokenOfAnotherForm)
{
    support::writeToken(bridgeRoot, std::string(support::validToken) + '\n');
    examineAll();
    EXPECT_TRUE(found(Verdict::bad, "token", "holds 65 bytes that are no token"));
    support::writeToken(bridgeRoot, std::string(129, 'a'));
    examineAll();
    EXPECT_TRUE(found(Verdict::bad, "token", "is larger than a token may be"));
}

TEST_F(DoctorBridge, HasATokenThatIsNoFile)
{
    ASSERT_EQ(std::remove((bridgeRoot + "/bridge-token").c_str()), 0);
    support::makeFIFO(bridgeRoot + "/bridge-token");
    examineAll();
    EXPECT_TRUE(found(Verdict::bad, "token", "is no regular file"));
}

TEST_F(DoctorBridge, HasATokenThatOthersCanRead)
{
    support::setPermissions(bridgeRoot + "/bridge-token", 0640);
    examineAll();
    EXPECT_TRUE(found(Verdict::notice, "token", "open to other users"));
}

TEST_F(DoctorBridge, HasNoState)
{
    ASSERT_EQ(std::remove((bridgeRoot + "/state.json").c_str()), 0);
    examineAll();
    EXPECT_TRUE(
        found(Verdict::bad, "application", "state.json is not there: Kestrane does not run."));
    EXPECT_FALSE(found(Verdict::good, "session"));
}

TEST_F(DoctorBridge, HasAStateThatBreaksARule)
{
    support::writeState(bridgeRoot, "{}");
    examineAll();
    EXPECT_TRUE(found(Verdict::bad, "application", "gives no state"));
    auto state = support::validState();
    state.version = 2;
    support::writeState(bridgeRoot, state);
    examineAll();
    EXPECT_TRUE(found(Verdict::bad, "application", "gives no state"));
}

TEST_F(DoctorBridge, HasAStateThatIsTooOld)
{
    auto state = support::validState();
    state.updatedAt = support::after(support::sampleTime, -10);
    support::writeState(bridgeRoot, state);
    examineAll();
    EXPECT_EQ(all(Verdict::bad), "");
    state.updatedAt = support::after(support::sampleTime, -10.5);
    support::writeState(bridgeRoot, state);
    examineAll();
    EXPECT_TRUE(found(Verdict::bad, "application", "was last written 10 seconds ago"));
}

TEST_F(DoctorBridge, HasAStateFromTheFuture)
{
    auto state = support::validState();
    state.updatedAt = support::after(support::sampleTime, 2);
    support::writeState(bridgeRoot, state);
    examineAll();
    EXPECT_EQ(all(Verdict::bad), "");
    state.updatedAt = support::after(support::sampleTime, 2.5);
    support::writeState(bridgeRoot, state);
    examineAll();
    EXPECT_TRUE(found(Verdict::bad, "application", "was written 2 seconds ahead"));
}

TEST_F(DoctorBridge, HasAStateOfAnyNumber)
{
    auto state = support::validState();
    for (const double time : { 1e300, -1e300 }) {
        state.updatedAt = { time };
        support::writeState(bridgeRoot, state);
        examineAll();
        EXPECT_TRUE(found(Verdict::bad, "application", "centuries")) << time;
    }
}

TEST_F(DoctorBridge, NamesAProcessThatIsGone)
{
    isApplicationThere = false;
    examineAll();
    EXPECT_TRUE(found(Verdict::bad, "application", "names process 4711, which is not there"));
}

TEST_F(DoctorBridge, NamesAProcessThatCannotBe)
{
    auto state = support::validState();
    state.appProcessIdentifier = 0;
    support::writeState(bridgeRoot, state);
    examineAll();
    EXPECT_TRUE(found(Verdict::bad, "application", "names process 0, which cannot be"));
}

TEST_F(DoctorBridge, SaysWhyActivityIsRefused)
{
    auto state = support::validState();
    state.browserTrackingPaused = true;
    state.frontmostBrowserBundleIdentifier = std::nullopt;
    support::writeState(bridgeRoot, state);
    examineAll();
    EXPECT_TRUE(found(Verdict::notice, "session", "paused"));
    EXPECT_TRUE(found(Verdict::good, "frontmost browser", "No browser is in front"));
    state.sessionIdentifier = std::nullopt;
    support::writeState(bridgeRoot, state);
    examineAll();
    EXPECT_TRUE(found(Verdict::bad, "session", "without an identifier"));
    state.sessionRunning = false;
    support::writeState(bridgeRoot, state);
    examineAll();
    EXPECT_TRUE(found(Verdict::notice, "session", "No session runs"));
    EXPECT_EQ(all(Verdict::bad), "");
}

TEST_F(DoctorBridge, TellsTheFrontmostBrowser)
{
    examineAll();
    EXPECT_TRUE(found(Verdict::good, "frontmost browser", "In front is com.google.Chrome;"));
}

TEST_F(DoctorBridge, TellsThePreferences)
{
    examineAll();
    EXPECT_TRUE(found(Verdict::good, "preferences", "are allowed"));
    support::writePreferences(bridgeRoot, support::preferences(false));
    examineAll();
    EXPECT_TRUE(found(Verdict::good, "preferences", "are off"));
    support::writePreferences(bridgeRoot, support::preferences(true, support::otherToken));
    examineAll();
    EXPECT_TRUE(found(Verdict::notice, "preferences", "carries another token"));
    ASSERT_EQ(std::remove((bridgeRoot + "/preferences.json").c_str()), 0);
    examineAll();
    EXPECT_TRUE(found(Verdict::notice, "preferences", "is not there"));
}

} // namespace
} // namespace kestranectl
