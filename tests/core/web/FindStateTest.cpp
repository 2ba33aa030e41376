// The find bar's counting, labels and wrapping.

#include "core/web/KTFindState.h"

#include <gtest/gtest.h>

using namespace quilt;

namespace {

TEST(FindStateTest, ThreeMatchesStartAtOneAndWrapBothWays)
{
    KTFindState f;
    EXPECT_EQ(f.found(3), 1);
    EXPECT_EQ(f.label(), "3 match");
    EXPECT_TRUE(f.arrowsEnabled());
    EXPECT_EQ(f.next(), 0);
    EXPECT_EQ(f.next(), 2); // below 1: wraps to count - 1
    EXPECT_EQ(f.next(), 1);
    EXPECT_EQ(f.previous(), 2);
    EXPECT_EQ(f.previous(), 0); // at count - 1: wraps to 0
    EXPECT_EQ(f.previous(), 1);
}

TEST(FindStateTest, NoMatchOrNoTextLeavesNothingToMoveThrough)
{
    KTFindState f;
    f.found(2);
    EXPECT_EQ(f.found(0), -1);
    EXPECT_EQ(f.label(), "Not Found");
    EXPECT_FALSE(f.arrowsEnabled());
    EXPECT_EQ(f.next(), -1);
    EXPECT_EQ(f.previous(), -1);
    f.found(1);
    EXPECT_EQ(f.label(), "1 match");
    EXPECT_EQ(f.next(), 0);
    EXPECT_EQ(f.next(), 0);
    EXPECT_EQ(f.previous(), 0);
    f.cleared();
    EXPECT_EQ(f.label(), "");
    EXPECT_EQ(f.index(), 0);
    EXPECT_EQ(f.count(), 0);
}

} // namespace
