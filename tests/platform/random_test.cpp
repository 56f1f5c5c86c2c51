#include "platform/random.h"

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <set>

namespace {

TEST(RandomUUID, IsOfVersion4AndItsVariant)
{
    for (int round = 0; round < 1000; ++round) {
        const base::UUID uuid = platform::randomUUID().value();
        EXPECT_EQ(uuid.bytes[6] >> 4U, 4U);
        EXPECT_EQ(uuid.bytes[8] >> 6U, 2U);
    }
}

TEST(RandomUUID, IsAnotherEachTime)
{
    std::set<base::UUID> uuids;
    for (int round = 0; round < 1000; ++round)
        uuids.insert(platform::randomUUID().value());
    EXPECT_EQ(uuids.size(), 1000U);
}

// Every one of the other 122 bits is seen both set and clear; that one is not is less likely than 1
// in 10^298.
TEST(RandomUUID, VariesInEveryOtherBit)
{
    std::array<std::uint8_t, 16> everSet {};
    std::array<std::uint8_t, 16> alwaysSet {};
    alwaysSet.fill(0xFF);
    for (int round = 0; round < 1000; ++round) {
        const base::UUID uuid = platform::randomUUID().value();
        for (std::size_t index = 0; index < uuid.bytes.size(); ++index) {
            everSet[index] = static_cast<std::uint8_t>(everSet[index] | uuid.bytes[index]);
            alwaysSet[index] = static_cast<std::uint8_t>(alwaysSet[index] & uuid.bytes[index]);
        }
    }
    for (std::size_t index = 0; index < everSet.size(); ++index) {
        const bool hasVersion = index == 6;
        const bool hasVariant = index == 8;
        EXPECT_EQ(everSet[index], hasVersion ? 0x4F : hasVariant ? 0xBF : 0xFF) << index;
        EXPECT_EQ(alwaysSet[index], hasVersion ? 0x40 : hasVariant ? 0x80 : 0) << index;
    }
}

} // namespace
