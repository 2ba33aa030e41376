// The settings an enterprise configuration locks in the preferences: exactly
// those its start-up imposition writes, so a person never edits a value the
// next start takes back, and never finds a free setting shown locked.

#include "ConfigTest.h"

#include "core/config/KTEnterpriseLocks.h"
#include "core/config/KTPlist.h"
#include "core/config/KTQuiltManager.h"
#include "core/config/KTUserDefaults.h"

using namespace quilt;
using namespace quilt::test;

namespace {

class EnterpriseLocksTest : public ::testing::Test {
protected:
    void writeConfig(const char* name, const KTJson& dict)
    {
        ASSERT_TRUE(KTPlist::writeFile(env.bundlePath() + "/Contents/Resources/" + name + ".plist", dict));
    }
    // Every key of a data file whose value differs from `before`.
    static std::set<std::string> changedKeys(const KTJson& before, const KTJson& after)
    {
        std::set<std::string> out;
        for (auto it = after.begin(); it != after.end(); ++it)
            if (it.key() != "version" && (!before.contains(it.key()) || before[it.key()] != it.value()))
                out.insert(it.key());
        return out;
    }

    TestEnvironment env;
    RecordingShellDelegate shell;
};

// A user who set everything the other way round from what the
// configuration imposes, so that every imposed key shows up as changed.
const KTJson kUserSettings = {
    {"main_url", "https://mine.example/"}, {"hideProgressBar", false}, {"windowLevelKey", 0},
    {"windowHasShadow", true}, {"windowOpacityKey", 0.5}, {"windowColor", "0.1 0.2 0.3 1"}, {"hideTitle", false},
    {"hideTitleIcon", true}, {"hideTitlebar", false}, {"hideToolbarButton", false}, {"hidePreferences", false},
    {"enableJavaScript", false}, {"blockPopupWindoww", false}, {"enablePlugins", false}, {"allowCookies", 1},
    {"fontName", "Serif"}, {"refreshTimeInterval", 30.0}, {"blockAds", true}};
const KTJson kUserBehavior = {
    {"version", 1.1}, {"closeApplication", true}, {"windowAllSpace", true}, {"openTabWindow", false},
    {"restoreWindowsAndTabs", false}, {"warnWindowsClose", false}, {"openLinksKey", 2},
    {"openDefaultLinkInNewTab", false}, {"autoRefreshTheViewOnLoad", false}, {"statusBarKey", false},
    {"POPOVER_W_KEY", 400}, {"POPOVER_H_KEY", 400}};
const KTJson kUserAllowList = {
    {"allowAll", true}, {"allowPatterns", false}, {"pattern", {"mine"}}, {"allowSubdomains", false}};
const KTJson kEnterprise = {
    {"isEnterpriseApp", true}, {"URL", "https://corp.example/"}, {"hideProgressBar", true}, {"windowLevel", 1},
    {"windowShadow", false}, {"windowOpacity", 1}, {"colorHex", "FF8000"}, {"hideTitle", true},
    {"hideTitleIcon", false}, {"hideTitlebar", true}, {"hideToolbarButton", true}, {"hidePreferences", true},
    {"customUserAgent", "CorpAgent/1.0"}, {"whiteListAllowAll", false}, {"whiteListAllowPatterns", true},
    {"whiteListPatterns", {"https://corp.example/*"}}, {"userNotifications", true}, {"dockBadge", true}};

TEST_F(EnterpriseLocksTest, LocksExactlyWhatTheImpositionWritesAndHidesTheHomePageAndIcon)
{
    writeConfig("EnterpriseSettings", kEnterprise);
    const std::string folder = env.dataFolder();
    env.writeFile(folder + "settings.json", kUserSettings.dump());
    env.writeFile(folder + "behavior.json", kUserBehavior.dump());
    env.writeFile(folder + "whitelist.json", kUserAllowList.dump());

    KTQuiltManager::create();
    std::set<std::string> imposed;
    for (const auto& [file, before] : {std::pair{"settings.json", kUserSettings}, {"behavior.json", kUserBehavior},
                                       {"whitelist.json", kUserAllowList}})
        imposed.merge(changedKeys(before, env.readJson(folder + file)));
    imposed.insert({"UserNotifications", "DockBadge", "lastUserAnget"}); // user defaults and the agent
    EXPECT_TRUE(KTUserDefaults::standardUserDefaults().boolForKey("DockBadge"));

    const KTEnterpriseLocks locks = KTEnterpriseLocks::current();
    const std::set<std::string> locked(locks.lockedKeys().begin(), locks.lockedKeys().end());
    EXPECT_EQ(locked, imposed);
    for (const char* free : {"fontName", "refreshTimeInterval", "blockAds", "statusBarKey", "appearance"})
        EXPECT_FALSE(locks.locked(free)) << free;
    EXPECT_TRUE(locks.hidden(KTEnterpriseLocks::kHomePageItem));
    EXPECT_TRUE(locks.hidden(KTEnterpriseLocks::kAppIconItem));
}

TEST_F(EnterpriseLocksTest, OptionalKeysLockOnlyWhenGivenAndOtherBuildsLockNothing)
{
    KTJson bare = {{"isEnterpriseApp", true}, {"windowLevel", 0}, {"colorHex", ""}, {"customUserAgent", ""}};
    auto locks = KTEnterpriseLocks::forConfiguration(true, bare);
    EXPECT_TRUE(locks.locked("enableJavaScript"));
    for (const char* key : {"windowLevelKey", "windowColor", "lastUserAnget"})
        EXPECT_FALSE(locks.locked(key)) << key;
    bare["windowLevel"] = 2;
    EXPECT_TRUE(KTEnterpriseLocks::forConfiguration(true, bare).locked("windowLevelKey"));

    // A creation-tool app, even one whose dictionary carries enterprise keys,
    // and a plain app keep every setting free.
    writeConfig("QuiltCreationToolSettings", {{"isCreatedByQuiltCreationTool", true}, {"hideTitle", true}});
    EXPECT_TRUE(KTEnterpriseLocks::current().empty());
    EXPECT_TRUE(KTEnterpriseLocks::forConfiguration(false, kEnterprise).empty());
}

} // namespace
