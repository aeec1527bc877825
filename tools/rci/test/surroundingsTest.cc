#include "surroundings.h"

#include <gmock/gmock.h>
#include <sys/resource.h>

namespace {

using Rci::descriptorLimit;
using Rci::fileSizeLimit;
using Rci::Level;
using Rci::loginManagerHint;
using testing::IsEmpty;
using testing::SizeIs;

constexpr std::uint64_t kMiB = 1U << 20;

TEST(Surroundings, AFileSizeLimitBelowThatOfAnInboxIsAProblem) {
    EXPECT_EQ(fileSizeLimit(kMiB - 1, kMiB).level, Level::kProblem);
    EXPECT_EQ(fileSizeLimit(kMiB, kMiB).level, Level::kOk);
    EXPECT_EQ(fileSizeLimit(RLIM_INFINITY, kMiB).level, Level::kOk);
    EXPECT_EQ(fileSizeLimit(RLIM_INFINITY, kMiB).details.text(), "{\"limit\": \"unlimited\"}");
}

TEST(Surroundings, FewDescriptorsAreWorthANote) {
    EXPECT_EQ(descriptorLimit(1023).level, Level::kNote);
    EXPECT_EQ(descriptorLimit(1024).level, Level::kOk);
}

TEST(Surroundings, TheDefaultDomainOfAnOrdinaryUserIsWorthAHint) {
    EXPECT_THAT(loginManagerHint("/dev/shm/itc-1000", 1000), SizeIs(1));
    EXPECT_EQ(loginManagerHint("/dev/shm/itc-1000", 1000)[0].level, Level::kNote);
    EXPECT_THAT(loginManagerHint("/dev/shm/itc-999", 999), IsEmpty());
    EXPECT_THAT(loginManagerHint("/dev/shm/itc-0", 0), IsEmpty());
    EXPECT_THAT(loginManagerHint("/dev/shm/itc-65534", 65534), IsEmpty());
    EXPECT_THAT(loginManagerHint("/srv/domain", 1000), IsEmpty());
}

}  // namespace
