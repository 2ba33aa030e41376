// The behaviour store: first start, popover sizes and the 1.1 upgrade.

#include "ConfigTest.h"

#include "core/config/KTBehaviorManager.h"

using namespace quilt;
using namespace quilt::test;

namespace {

class BehaviorTest : public ::testing::Test {
protected:
    std::string file() const { return env.dataFolder() + "behavior.json"; }
    TestEnvironment env;
};

TEST_F(BehaviorTest, FirstStartWritesTheUpgradedDefaults)
{
    auto& b = KTBehaviorManager::sharedManager();
    EXPECT_EQ(env.readFile(file()),
              R"({"statusBarKey":false,"POPOVER_W_KEY":400,"POPOVER_H_KEY":400,"windowAllSpace":false,"version":1.1})");
    EXPECT_EQ(b.popOverSize(), (KTSize{400, 400}));
    // A flipped default would change every new app.
    EXPECT_FALSE(b.closeApplication() || b.windowAllSpace() || b.mobileVersion() || b.openTabInsteadWindow()
                 || b.openOtherAppInBackground() || b.openDefaultLinkInNewTab() || b.autoRefreshTheViewOnLoad()
                 || b.restoreWindowsAndTabs() || b.warnCloseWindows() || b.statusBarMode());
    EXPECT_EQ(b.openLinksIn(), 0u);
}

struct PopoverCase {
    const char* file;
    uint64_t width, height;
};

class Popover : public BehaviorTest, public ::testing::WithParamInterface<PopoverCase> {};

TEST_P(Popover, TinySizesBecome400)
{
    env.writeFile(file(), GetParam().file);
    auto& b = KTBehaviorManager::sharedManager();
    EXPECT_EQ(b.popOverWidth(), GetParam().width);
    EXPECT_EQ(b.popOverHeight(), GetParam().height);
    // Written back into the dictionary, whatever the file said.
    EXPECT_EQ(json::unsignedFor(b.json(), "POPOVER_W_KEY"), GetParam().width);
}

INSTANTIATE_TEST_SUITE_P(
    Sizes, Popover,
    ::testing::Values(PopoverCase{R"({"version":1.1,"POPOVER_W_KEY":49,"POPOVER_H_KEY":50})", 400, 50},
                      PopoverCase{R"({"version":1.1,"POPOVER_W_KEY":640,"POPOVER_H_KEY":0})", 640, 400},
                      PopoverCase{R"({"version":1.1,"POPOVER_W_KEY":50.9,"POPOVER_H_KEY":"300"})", 50, 300},
                      // Compared as unsigned: a negative width is huge, not tiny.
                      PopoverCase{R"({"version":1.1,"POPOVER_W_KEY":-1})", UINT64_MAX, 400}));

TEST_F(BehaviorTest, OldVersionResetsAllSpacesAndSavesAtOnce)
{
    env.writeFile(file(), R"({"version":1.0,"windowAllSpace":true,"closeApplication":true})");
    auto& b = KTBehaviorManager::sharedManager();
    EXPECT_FALSE(b.windowAllSpace());
    EXPECT_TRUE(b.closeApplication());
    KTJson saved = env.readJson(file());
    EXPECT_EQ(saved["version"], 1.1);
    EXPECT_EQ(saved["windowAllSpace"], false);
    EXPECT_EQ(saved["closeApplication"], true);
}

} // namespace
