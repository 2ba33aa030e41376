// The tabs of a window as data: order, selection and the recently-selected
// order that closing a tab returns to.

#include "windows/KTTabModel.h"

#include <gtest/gtest.h>

namespace quilt {
namespace {

std::string mru(const KTTabModel& m)
{
    std::string out;
    for (auto id : m.tabsOrder())
        out += (out.empty() ? "" : " ") + std::to_string(id);
    return out;
}

// Four tabs, visited 0, 2, 1, 3: the most recent is 3, then 1.
KTTabModel visited()
{
    KTTabModel m;
    for (int i = 0; i < 4; ++i)
        m.add();
    for (int id : {0, 2, 1, 3})
        m.select(id);
    return m;
}

TEST(TabModelTest, AddingKeepsTheSelectionAndInsertsWhereAsked)
{
    KTTabModel m;
    m.select(m.add());
    m.add();
    EXPECT_EQ(m.stateString(), "0* 1");
    m.add(1);
    EXPECT_EQ(m.stateString(), "0* 2 1");
    m.add(99);
    EXPECT_EQ(m.stateString(), "0* 2 1 3");
}

TEST(TabModelTest, SelectingMovesATabToTheEndOfTheRecentOrder)
{
    KTTabModel m = visited();
    EXPECT_EQ(m.stateString(), "0 1 2 3*");
    EXPECT_EQ(mru(m), "0 2 1 3");
    m.select(2);
    EXPECT_EQ(mru(m), "0 1 3 2");
    m.select(42); // not a tab: nothing changes
    EXPECT_EQ(m.stateString(), "0 1 2* 3");
}

TEST(TabModelTest, ClosingWithReturnToPriorChoosesThePreviouslySelectedTab)
{
    KTTabModel m = visited();
    auto next = m.willClose(3, true);
    ASSERT_TRUE(next);
    EXPECT_EQ(*next, 1) << "the previously selected tab, not the neighbour 2";
    EXPECT_EQ(mru(m), "0 2 1");
    m.remove(3);
    m.select(*next);
    EXPECT_EQ(m.stateString(), "0 1* 2");
}

TEST(TabModelTest, ClosingWithoutReturnToPriorLeavesTheRecentOrderAlone)
{
    KTTabModel m = visited();
    EXPECT_FALSE(m.willClose(3, false));
    m.remove(3);
    EXPECT_EQ(m.stateString(), "0 1 2");
    EXPECT_EQ(mru(m), "0 2 1 3") << "the closed tab stays in the recent order";
    // Later, with the setting on, the stale entry is skipped.
    m.select(2);
    auto next = m.willClose(2, true);
    ASSERT_TRUE(next);
    EXPECT_EQ(*next, 1);
}

TEST(TabModelTest, LastTabClosingHasNoSuccessor)
{
    KTTabModel m;
    m.select(m.add());
    EXPECT_FALSE(m.willClose(0, true));
    m.remove(0);
    EXPECT_EQ(m.stateString(), "");
    EXPECT_FALSE(m.selected());
}

TEST(TabModelTest, MovingReordersWithoutChangingSelection)
{
    KTTabModel m = visited();
    m.move(3, 0);
    EXPECT_EQ(m.stateString(), "3* 0 1 2");
    m.move(0, 10);
    EXPECT_EQ(m.stateString(), "3* 1 2 0");
    EXPECT_EQ(m.indexOf(0), 3u);
    m.move(7, 0); // unknown id
    EXPECT_EQ(m.stateString(), "3* 1 2 0");
}

} // namespace
} // namespace quilt
