#include "bridge/bridge_store.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <string>

namespace bridge {

TEST(BrowserBridgeStoreErrorMessage, IsFixedForEveryCase)
{
    EXPECT_EQ(message(BrowserBridgeStoreError::tokenUnavailable),
        "Kestrane is not running or its browser bridge is not ready.");
    EXPECT_EQ(message(BrowserBridgeStoreError::payloadTooLarge),
        "The browser message exceeds Kestrane's size limit.");
    EXPECT_EQ(message(BrowserBridgeStoreError::malformedEnvelope),
        "The browser bridge message is malformed.");
}

TEST(StoreFailureMessage, IsThatOfTheFailureWhoeverItComesFrom)
{
    EXPECT_EQ(message(StoreFailure(BrowserBridgeStoreError::payloadTooLarge)),
        "The browser message exceeds Kestrane's size limit.");
    const platform::FileError fileError { EACCES };
    EXPECT_EQ(message(StoreFailure(fileError)), message(fileError));
    const base::JsonError jsonError { .kind = base::JsonErrorKind::invalidValue,
        .key = "receivedAt" };
    EXPECT_EQ(message(StoreFailure(jsonError)), message(jsonError));
    EXPECT_NE(message(StoreFailure(fileError)), message(StoreFailure(jsonError)));
}

TEST(BridgeLimits, AreThoseOfTheContract)
{
    EXPECT_EQ(maximumTokenBytes, 128);
    EXPECT_EQ(maximumStateBytes, 4096);
    EXPECT_EQ(maximumPreferencesBytes, 4096);
    EXPECT_EQ(maximumCommandBytes, 16384);
    EXPECT_EQ(maximumEventDataBytes, 16384U);
    EXPECT_EQ(maximumEventEnvelopeBytes, 32768U);
    EXPECT_EQ(maximumReadinessEnvelopeBytes, 4096U);
}

} // namespace bridge
