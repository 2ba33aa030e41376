// The bundle's creation-tool and enterprise configuration, and what an
// enterprise configuration imposes on the stores at start.

#include "ConfigTest.h"

#include "core/config/KTBehaviorManager.h"
#include "core/config/KTBundle.h"
#include "core/config/KTFileUtil.h"
#include "core/config/KTNotificationCenter.h"
#include "core/config/KTNotificationNames.h"
#include "core/config/KTPlist.h"
#include "core/config/KTQuiltManager.h"
#include "core/config/KTSettingsManager.h"
#include "core/config/KTShared.h"
#include "core/config/KTUserDefaults.h"
#include "core/web/KTWhiteListManager.h"

using namespace quilt;
using namespace quilt::test;

namespace {

struct HexCase {
    std::optional<std::string> text;
    unsigned rgb;
};

class HexColor : public ::testing::TestWithParam<HexCase> {};

TEST_P(HexColor, Parse)
{
    const unsigned v = GetParam().rgb;
    EXPECT_EQ(KTQuiltManager::colorWithHexColorString(GetParam().text),
              KTColor::rgb(((v >> 16) & 0xff) / 255.0, ((v >> 8) & 0xff) / 255.0, (v & 0xff) / 255.0, 1.0,
                           KTColorSpace::CalibratedRGB));
}

INSTANTIATE_TEST_SUITE_P(Table, HexColor,
                         ::testing::Values(HexCase{"FF8000", 0xFF8000}, HexCase{"ff8000", 0xFF8000},
                                           HexCase{"#FF8000", 0}, HexCase{"0xFF8000", 0xFF8000},
                                           HexCase{"0XFF8000", 0xFF8000}, HexCase{std::nullopt, 0},
                                           HexCase{"garbage", 0}, HexCase{"", 0}, HexCase{"  FF8000", 0xFF8000},
                                           HexCase{"12FF8000", 0xFF8000}, HexCase{"beef", 0xBEEF},
                                           HexCase{"FF80zz", 0xFF80}, HexCase{"FFFFFFFFFFFFFFFFFF123456", 0x123456}));

class QuiltTest : public ::testing::Test {
protected:
    void writeConfig(const char* name, const KTJson& dict)
    {
        ASSERT_TRUE(KTPlist::writeFile(env.bundlePath() + "/Contents/Resources/" + name + ".plist", dict));
    }
    std::string data(const char* file) const { return env.dataFolder() + file; }

    // Records the two notifications the configuration posts, in the same
    // list as the application calls, to check the order.
    void observeNotifications()
    {
        observations.emplace_back(names::kShowHideToolbarButton, [this](const KTNotification& n) {
            shell.calls.push_back("post ShowHideToolbarButtonNotification " + n.userInfo.dump());
        });
        observations.emplace_back(names::kSetCustomUserAgent, [this](const KTNotification& n) {
            shell.calls.push_back("post setCustomUserAnget " + std::any_cast<std::string>(n.object));
        });
    }

    TestEnvironment env;
    RecordingShellDelegate shell;
    std::vector<KTObservation> observations;
};

const KTJson kEnterprise = {
    {"isEnterpriseApp", true}, {"URL", "https://corp.example/"}, {"hideProgressBar", true}, {"windowLevel", 1},
    {"windowShadow", false}, {"windowOpacity", 0.8}, {"colorHex", "FF8000"}, {"hideTitle", true},
    {"hideTitleIcon", false}, {"hideTitlebar", true}, {"hideToolbarButton", true}, {"hidePreferences", true},
    {"customUserAgent", "CorpAgent/1.0"}, {"showStatusBarOption", true}, {"showUserScriptStyleOption", false},
    {"showMobileDesktopOption", true}, {"hideBookmark", true}, {"defaultWindowSize", "1024x768"},
    {"whiteListAllowAll", false}, {"whiteListAllowPatterns", true},
    {"whiteListPatterns", {"https://corp.example/*", "*.corp.example*", "https://corp.example/*"}},
    {"userNotifications", true}, {"dockBadge", false}, {"appName", "Corp Mail"}};

TEST_F(QuiltTest, EnterpriseConfigurationIsImposedInOrder)
{
    writeConfig("EnterpriseSettings", kEnterprise);
    env.writeFile(data("whitelist.json"), R"({"allowAll":true,"pattern":["old"],"allowSubdomains":true})");
    env.writeFile(data("behavior.json"), R"({"version":1.1,"closeApplication":true,"windowAllSpace":true})");
    observeNotifications();

    KTQuiltManager::sharedManager();
    KTQuiltManager::sharedManager(); // once per process

    const std::vector<std::string> expected = {
        "applyCookieAcceptPolicy 0", // the settings store coming up
        "setFirstWindowLevel 3", "setFirstWindowShadow 0",
        "setFirstWindowAlpha 0.000000", // "windowOpacity" read as an integer here
        "setMainWindowColor 1.000000 0.501961 0.000000 1.000000",
        "post ShowHideToolbarButtonNotification {\"hide\":true}", "post setCustomUserAnget CorpAgent/1.0",
        "setMainWindowTitle 1", "setMainWindowTitleIcon 0", "setMainWindowTitleBar 1", "setStausBarOption 1",
        "setHidePreferences 1", "setUserScriptStyleOption 0", "setMobileDesktopOption 1", "setBookmark 1",
        "setDefaultWindowSize 1024x768", "applyCookieAcceptPolicy 0"};
    EXPECT_EQ(shell.calls, expected);

    EXPECT_EQ(env.readFile(data("settings.json")),
              R"({"main_url":"https://corp.example/","hideProgressBar":true,"windowLevelKey":3,)"
              R"("windowHasShadow":false,"windowOpacityKey":0.0,"windowColor":"1.000000 0.501961 0.000000 1.000000",)"
              R"("hideTitle":true,"hideTitleIcon":false,"hideTitlebar":true,"hideToolbarButton":true,)"
              R"("hidePreferences":true,"enableJavaScript":true,"blockPopupWindoww":true,"enablePlugins":true,)"
              R"("allowCookies":0})");
    EXPECT_EQ(KTSettingsManager::sharedManager().windowColor(),
              KTColor::rgb(1, 128 / 255.0, 0, 1, KTColorSpace::CalibratedRGB));

    EXPECT_EQ(env.readFile(data("whitelist.json")),
              R"({"allowAll":false,"allowPatterns":true,"pattern":["https://corp.example/*","*.corp.example*"],"allowSubdomains":true})");

    auto& defaults = KTUserDefaults::standardUserDefaults();
    EXPECT_TRUE(defaults.boolForKeyDefaultValue("UserNotifications", false));
    EXPECT_FALSE(defaults.boolForKeyDefaultValue("DockBadge", true));
    KTUserDefaults onDisk(defaults.path());
    EXPECT_TRUE(onDisk.boolForKey("UserNotifications"));
    EXPECT_TRUE(onDisk.hasKey("DockBadge"));

    const KTJson behavior = env.readJson(data("behavior.json"));
    EXPECT_EQ(behavior["closeApplication"], false);
    EXPECT_EQ(behavior["windowAllSpace"], false);
    for (const char* key : {"openTabWindow", "restoreWindowsAndTabs", "warnWindowsClose", "openDefaultLinkInNewTab",
                            "autoRefreshTheViewOnLoad"})
        EXPECT_EQ(behavior[key], true) << key;
    EXPECT_EQ(behavior["openLinksKey"], 1);
    EXPECT_EQ(behavior["version"], 1.1);

    // The launch reads the same opacity key as a float.
    EXPECT_FLOAT_EQ(KTQuiltManager::alphaValue(), 0.8f);
    EXPECT_EQ(KTQuiltManager::appName(), "Corp Mail");
}

struct LevelCase {
    std::optional<int> level;
    long expected;
    bool windowTouched;
};

class WindowLevel : public QuiltTest, public ::testing::WithParamInterface<LevelCase> {};

TEST_P(WindowLevel, Imposed)
{
    KTJson d = {{"isEnterpriseApp", true}};
    if (GetParam().level)
        d["windowLevel"] = *GetParam().level;
    writeConfig("EnterpriseSettings", d);
    env.writeFile(data("settings.json"), R"({"windowLevelKey":5})");
    KTQuiltManager::sharedManager();
    EXPECT_EQ(KTSettingsManager::sharedManager().windowLevel(), GetParam().expected);
    EXPECT_EQ(shell.count("setFirstWindowLevel"), GetParam().windowTouched ? 1u : 0u);
    if (GetParam().windowTouched) {
        EXPECT_EQ(shell.calls[1], "setFirstWindowLevel " + std::to_string(GetParam().expected));
    }
}

INSTANTIATE_TEST_SUITE_P(Table, WindowLevel,
                         ::testing::Values(LevelCase{1, 3, true}, LevelCase{2, 0, true}, LevelCase{0, 5, false},
                                           LevelCase{std::nullopt, 5, false}, LevelCase{3, 5, false}));

TEST_F(QuiltTest, BothFilesUseTheCreationToolDictionaryButStillImpose)
{
    writeConfig("QuiltCreationToolSettings",
                {{"isCreatedByQuiltCreationTool", true}, {"URL", "https://tool.example/"}, {"appName", "Tool"},
                 {"hideTitle", true}, {"defaultWindowSize", "800x600"}});
    writeConfig("EnterpriseSettings", kEnterprise);
    EXPECT_TRUE(KTQuiltManager::quiltCreationToolBuild());
    EXPECT_TRUE(KTQuiltManager::enterpriseBuild());
    EXPECT_EQ(KTQuiltManager::appName(), "Tool");
    EXPECT_EQ(KTQuiltManager::quiltCreationToolWindowSize(), (KTSize{800, 600}));

    KTQuiltManager::sharedManager();
    const KTJson settings = env.readJson(data("settings.json"));
    EXPECT_EQ(settings["main_url"], "https://tool.example/");
    EXPECT_EQ(settings["hideTitle"], true);
    EXPECT_EQ(settings["hideTitlebar"], false); // not in the creation-tool dictionary
    EXPECT_EQ(settings["enableJavaScript"], true);
    EXPECT_FALSE(settings.contains("windowColor"));
    EXPECT_EQ(shell.count("setDefaultWindowSize 800x600"), 1u);
}

TEST_F(QuiltTest, WindowSizeNeedsTheCreationToolFlag)
{
    writeConfig("QuiltCreationToolSettings", {{"defaultWindowSize", "1024x768"}});
    EXPECT_EQ(KTQuiltManager::quiltCreationToolWindowSize(), (KTSize{1600, 900}));
    writeConfig("QuiltCreationToolSettings", {{"isCreatedByQuiltCreationTool", true}, {"defaultWindowSize", "1024x768"}});
    EXPECT_EQ(KTQuiltManager::quiltCreationToolWindowSize(), (KTSize{1024, 768}));
    writeConfig("QuiltCreationToolSettings", {{"isCreatedByQuiltCreationTool", true}, {"defaultWindowSize", "640.5x480"}});
    EXPECT_EQ(KTQuiltManager::quiltCreationToolWindowSize(), (KTSize{640.5, 480}));
}

} // namespace
