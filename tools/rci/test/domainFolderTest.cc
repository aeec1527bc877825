#include "domainFolder.h"

#include <gtest/gtest.h>

namespace {

using Rci::Level;
using Rci::spaceFinding;

constexpr std::uint64_t kMiB = 1U << 20;

TEST(DomainFolder, LittleSpaceIsAProblem) {
    EXPECT_EQ(spaceFinding(16 * kMiB - 1, true).level, Level::kProblem);
    EXPECT_EQ(spaceFinding(16 * kMiB, true).level, Level::kOk);
    EXPECT_EQ(spaceFinding(kMiB, true).details.text(),
              "{\"tmpfs\": true, \"free_bytes\": 1048576}");
}

TEST(DomainFolder, AFileSystemThatIsNotInMemoryIsWorthANote) {
    EXPECT_EQ(spaceFinding(64 * kMiB, false).level, Level::kNote);
    EXPECT_EQ(spaceFinding(kMiB, false).level, Level::kProblem);
}

}  // namespace
