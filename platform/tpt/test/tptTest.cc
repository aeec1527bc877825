#include "tpt.h"

#include <gtest/gtest.h>

TEST(ShortFileName, IsThePartAfterTheLastSlash) {
    EXPECT_STREQ("eventLoopImpl.cc", tpt_short_fname("sw/eventLoop/src/eventLoopImpl.cc"));
    EXPECT_STREQ("b.cc", tpt_short_fname("/a/b.cc"));
}

TEST(ShortFileName, IsTheWholePathWhenItHasNoSlash) {
    EXPECT_STREQ("main.cc", tpt_short_fname("main.cc"));
}

TEST(ShortFileName, IsEmptyForAPathThatEndsInASlash) {
    EXPECT_STREQ("", tpt_short_fname("sw/"));
    EXPECT_STREQ("", tpt_short_fname(""));
}

TEST(ShortFileName, PointsIntoThePathItWasGiven) {
    const char* path = "a/b";
    EXPECT_EQ(path + 2, tpt_short_fname(path));
}

TEST(ShortFileName, OfNullIsNull) {
    EXPECT_EQ(nullptr, tpt_short_fname(nullptr));
}
