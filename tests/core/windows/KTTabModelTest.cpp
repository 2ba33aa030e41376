// The tabs of a window as data: order, selection and the recently-selected
// order that closing a tab returns to.

#include "core/windows/KTTabModel.h"

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

} // namespace
} // namespace quilt
