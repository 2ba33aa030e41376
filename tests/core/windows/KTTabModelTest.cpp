// The tabs of a window as data: order, selection and the recently-selected
// order that closing a tab returns to.

#include "core/windows/KTTabModel.h"

#include <gtest/gtest.h>

#include <functional>
#include <vector>

namespace quilt {
namespace {

std::string recent(const KTTabModel& m)
{
    std::string out;
    for (auto id : m.tabsOrder())
        out += (out.empty() ? "" : " ") + std::to_string(id);
    return out;
}

// n tabs, then the given ids selected in turn.
KTTabModel made(int n, const std::vector<int>& visits)
{
    KTTabModel m;
    for (int i = 0; i < n; ++i)
        m.add();
    for (int id : visits)
        m.select(id);
    return m;
}

struct ModelCase {
    const char* name;
    int tabs;
    std::vector<int> visits;
    std::function<void(KTTabModel&)> act;
    const char* state;  // afterwards
    const char* recent; // the recently-selected order afterwards
};

class TabModelTest : public ::testing::TestWithParam<ModelCase> {};

TEST_P(TabModelTest, CommandLeavesTheExpectedState)
{
    const ModelCase& c = GetParam();
    KTTabModel m = made(c.tabs, c.visits);
    c.act(m);
    EXPECT_EQ(m.stateString(), c.state);
    EXPECT_EQ(recent(m), c.recent);
}

auto insertAt(size_t at) { return [at](KTTabModel& m) { m.add(at); }; }
auto moveTo(int id, size_t to) { return [id, to](KTTabModel& m) { m.move(id, to); }; }
auto closing(int id, bool prior) { return [id, prior](KTTabModel& m) { m.close(id, prior); }; }
auto selecting(int id) { return [id](KTTabModel& m) { m.select(id); }; }

INSTANTIATE_TEST_SUITE_P(
    Insert, TabModelTest,
    ::testing::Values(ModelCase {"AtTheFront", 3, {1}, insertAt(0), "3 0 1* 2", "1"},
                      ModelCase {"InTheMiddle", 3, {1}, insertAt(2), "0 1* 3 2", "1"},
                      ModelCase {"AtTheEnd", 3, {1}, insertAt(3), "0 1* 2 3", "1"},
                      ModelCase {"PastTheEndAppends", 3, {1}, insertAt(9), "0 1* 2 3", "1"}),
    [](const auto& info) { return std::string(info.param.name); });

INSTANTIATE_TEST_SUITE_P(
    Move, TabModelTest,
    ::testing::Values(ModelCase {"ToTheFront", 3, {1}, moveTo(2, 0), "2 0 1*", "1"},
                      ModelCase {"ToTheEnd", 3, {1}, moveTo(0, 2), "1* 2 0", "1"},
                      ModelCase {"PastTheEnd", 3, {1}, moveTo(0, 9), "1* 2 0", "1"},
                      ModelCase {"OntoItself", 3, {1}, moveTo(1, 1), "0 1* 2", "1"},
                      ModelCase {"UnknownTabIgnored", 3, {1}, moveTo(7, 0), "0 1* 2", "1"}),
    [](const auto& info) { return std::string(info.param.name); });

INSTANTIATE_TEST_SUITE_P(
    Select, TabModelTest,
    ::testing::Values(ModelCase {"GoesToTheEndOfTheRecentOrder", 3, {0, 1, 2}, selecting(0), "0* 1 2", "1 2 0"},
                      ModelCase {"AgainChangesNothing", 3, {0, 1}, selecting(1), "0 1* 2", "0 1"},
                      ModelCase {"UnknownTabIgnored", 3, {0, 1}, selecting(5), "0 1* 2", "0 1"}),
    [](const auto& info) { return std::string(info.param.name); });

// Four tabs visited 0, 2, 1, 3: the most recent is 3, then 1.
INSTANTIATE_TEST_SUITE_P(
    Close, TabModelTest,
    ::testing::Values(
        ModelCase {"SelectedReturnsToPrior", 4, {0, 2, 1, 3}, closing(3, true), "0 1* 2", "0 2 1"},
        ModelCase {"SelectedGoesToTheRightNeighbour", 4, {0, 2, 3, 1}, closing(1, false), "0 2* 3", "0 3 1 2"},
        ModelCase {"SelectedLastGoesToTheLeftNeighbour", 4, {0, 2, 1, 3}, closing(3, false), "0 1 2*", "0 1 3 2"},
        ModelCase {"PriorNeverSelectedFallsBackToTheNeighbour", 3, {0}, closing(0, true), "1* 2", "1"},
        ModelCase {"UnselectedWithPriorKeepsTheSelection", 4, {0, 2, 1, 3}, closing(1, true), "0 2 3*", "0 2 3"},
        ModelCase {"UnselectedWithoutPriorLeavesTheRecentOrder", 4, {0, 2, 1, 3}, closing(1, false), "0 2 3*",
                   "0 2 1 3"},
        ModelCase {"TheLastTabWithPrior", 1, {0}, closing(0, true), "", ""},
        ModelCase {"TheLastTabWithoutPrior", 1, {0}, closing(0, false), "", "0"},
        ModelCase {"UnknownTabIgnored", 2, {1}, closing(5, true), "0 1*", "1"},
        // A tab closed without the setting stays in the recent order; later,
        // with it, that stale entry is skipped.
        ModelCase {"StaleRecentEntrySkipped", 4, {0, 2, 1, 3},
                   [](KTTabModel& m) {
                       m.close(3, false);
                       m.close(2, true);
                   },
                   "0 1*", "0 3 1"}),
    [](const auto& info) { return std::string(info.param.name); });

} // namespace
} // namespace quilt
