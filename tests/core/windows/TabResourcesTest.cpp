// What a window's tabs cost: which tabs share a web process, and which
// background tabs give their page back.

#include "core/windows/KTTabDiscardPolicy.h"
#include "core/windows/KTTabProcessPlan.h"

#include <gtest/gtest.h>

namespace quilt {
namespace {

TEST(TabProcessPlan, TabsShareProcessesUpToTheCapAndRefillWhatClosingFreed)
{
    KTTabProcessPlan plan(3);
    std::vector<std::optional<int>> peers;
    for (int id = 0; id < 7; ++id)
        peers.push_back(plan.join(id));
    EXPECT_EQ(plan.stateString(), "0 1 2 | 3 4 5 | 6");
    EXPECT_EQ(peers, (std::vector<std::optional<int>>{std::nullopt, 0, 0, std::nullopt, 3, 3, std::nullopt}));
    EXPECT_EQ(plan.join(4), std::nullopt) << "a placed tab stays where it is";
    EXPECT_EQ(plan.processCount(), 3u);

    // The first tab of a process leaves: the next one stands for it.
    plan.leave(0);
    plan.leave(4);
    EXPECT_EQ(plan.stateString(), "1 2 | 3 5 | 6");
    EXPECT_EQ(plan.nextPeer(), 1);
    EXPECT_EQ(plan.join(7), 1) << "the fullest process with room";
    EXPECT_EQ(plan.join(8), 3);
    EXPECT_EQ(plan.join(9), 6);
    EXPECT_EQ(plan.sharing(9), (std::vector<int>{6, 9}));
    for (int id : {6, 9})
        plan.leave(id);
    EXPECT_EQ(plan.stateString(), "1 2 7 | 3 5 8");
    EXPECT_TRUE(plan.sharing(6).empty());
    plan.leave(42); // unknown: nothing changes
    EXPECT_EQ(plan.processCount(), 2u);

    KTTabProcessPlan own(0);
    own.join(0);
    EXPECT_EQ(own.join(1), std::nullopt) << "a cap of 0 or 1 gives each tab its own process";
}

TEST(TabProcessPlan, EnvironmentCapIsANumberInRangeOrTheDefault)
{
    EXPECT_EQ(KTTabProcessPlan::tabsPerProcessFromEnvironment("1"), 1u);
    EXPECT_EQ(KTTabProcessPlan::tabsPerProcessFromEnvironment("12"), 12u);
    for (const char* bad : {static_cast<const char*>(nullptr), "", "0", "-3", "101", "4x", "1e3", " 5"})
        EXPECT_EQ(KTTabProcessPlan::tabsPerProcessFromEnvironment(bad), KTTabProcessPlan::kTabsPerProcess)
            << (bad ? bad : "(null)");
}

TEST(TabDiscardPolicy, OnlyIdleBackgroundTabsPastTheirTimeAndOneTimerForTheNext)
{
    using Tab = KTTabDiscardPolicy::Tab;
    KTTabDiscardPolicy policy(100);
    std::vector<Tab> tabs = {
        {0, 0, true, false, false},    // shown: never
        {1, 0, false, false, false},   // long unused
        {2, 0, false, true, false},    // loading or playing sound
        {3, 0, false, false, true},    // already discarded
        {4, 60, false, false, false},  // shown 60 s in: due at 160
        {5, 100, false, false, false}, // exactly at the limit at 200
    };
    EXPECT_EQ(policy.due(tabs, 150), (std::vector<int>{1}));
    EXPECT_EQ(policy.due(tabs, 200), (std::vector<int>{1, 4, 5}));
    EXPECT_EQ(policy.nextCheck(tabs, 150), 0.0) << "tab 1 is due already";

    tabs[1].discarded = true;
    EXPECT_EQ(policy.nextCheck(tabs, 150), 10.0);
    tabs[4].discarded = tabs[5].discarded = true;
    EXPECT_EQ(policy.nextCheck(tabs, 500), 100.0) << "a busy tab is looked at a period later";
    tabs[2].busy = false;
    tabs[2].discarded = true;
    EXPECT_EQ(policy.nextCheck(tabs, 500), std::nullopt) << "nothing left: no timer at all";
    EXPECT_TRUE(policy.due({}, 1e9).empty());
}

} // namespace
} // namespace quilt
