#include "quantity.h"

#include <gtest/gtest.h>

namespace {

using Rci::durationText;
using Rci::sizeText;

constexpr std::uint64_t kSecond = 1000;
constexpr std::uint64_t kMinute = 60 * kSecond;
constexpr std::uint64_t kHour = 60 * kMinute;

TEST(Quantity, ADurationIsToldInItsTwoLargestUnits) {
    EXPECT_EQ(durationText(999), "0 s");
    EXPECT_EQ(durationText(3 * kSecond), "3 s");
    EXPECT_EQ(durationText(kMinute - 1), "59 s");
    EXPECT_EQ(durationText(kMinute), "1 min");
    EXPECT_EQ(durationText(2 * kHour + 5 * kMinute + 7 * kSecond), "2 h 5 min");
    EXPECT_EQ(durationText(24 * kHour + 59 * kMinute), "1 d");
    EXPECT_EQ(durationText(50 * kHour), "2 d 2 h");
}

TEST(Quantity, ASizeIsToldInItsLargestUnit) {
    EXPECT_EQ(sizeText(0), "0 B");
    EXPECT_EQ(sizeText(1023), "1023 B");
    EXPECT_EQ(sizeText(1536), "1.5 KiB");
    EXPECT_EQ(sizeText(64U << 20), "64.0 MiB");
    EXPECT_EQ(sizeText(std::uint64_t{5} << 40), "5.0 TiB");
    EXPECT_EQ(sizeText(std::uint64_t{5} << 50), "5120.0 TiB");
}

}  // namespace
