// The settings store: absent values, the exact keys of "settings.json", the
// corrupt-file rules, the home-page normalisation and the app icon.

#include "ConfigTest.h"

#include "core/config/GRef.h"
#include "core/config/KTBundle.h"
#include "core/config/KTFileUtil.h"
#include "core/config/KTIcns.h"
#include "core/config/KTSettingsManager.h"
#include "core/config/KTShared.h"

#include <cmath>
#include <sys/stat.h>
#include <tuple>

using namespace quilt;
using namespace quilt::test;

namespace {

class SettingsTest : public ::testing::Test {
protected:
    std::string file() const { return env.dataFolder() + "settings.json"; }
    void writeSettings(const std::string& text) { env.writeFile(file(), text); }
    // A new process's store: the current one is saved as at termination.
    KTSettingsManager& restart()
    {
        KTShared<KTSettingsManager>::reset();
        return KTSettingsManager::sharedManager();
    }

    TestEnvironment env;
    RecordingShellDelegate shell;
};

TEST_F(SettingsTest, AbsentValues)
{
    auto& s = KTSettingsManager::sharedManager();
    EXPECT_EQ(s.windowOpacity(), 100.0);
    EXPECT_TRUE(s.windowShadow());
    EXPECT_TRUE(s.autoWindowColor());
    for (bool v : {s.hideTitle(), s.hidePreferences(), s.hideToolbarButton(), s.hideTitlebar(), s.hideTitleIcon(),
                   s.openEmptyPage(), s.hideProgressBar(), s.enablePlugins(), s.enableJavaScript(),
                   s.blockPopupWindow(), s.blockAds(), s.selectNewTab(), s.returnToPrior(), s.confirmColseTabs(),
                   s.showBookmarkBar(), s.isWindowColorSystem()})
        EXPECT_FALSE(v);
    EXPECT_EQ(std::make_tuple(s.windowLevel(), s.appearance(), s.cookiesAllow(), s.refreshTimeInterval()),
              std::make_tuple(0l, 0ul, 0ul, 0.0));
    EXPECT_FALSE(s.getMainUrl());
    EXPECT_FALSE(s.standardFont());
    EXPECT_TRUE(s.windowColor().isSystem());
    EXPECT_EQ(s.pathToDownloadsFolder(), env.home() + "/Downloads");
}

struct UrlCase {
    const char* stored;
    std::optional<std::string> expected;
};

class MainUrl : public SettingsTest, public ::testing::WithParamInterface<UrlCase> {};

TEST_P(MainUrl, Normalised)
{
    writeSettings(KTJson{{"main_url", GetParam().stored}}.dump());
    EXPECT_EQ(KTSettingsManager::sharedManager().getMainUrl(), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Table, MainUrl,
    ::testing::Values(UrlCase{"mail.example.com/inbox", "https://mail.example.com/inbox"},
                      UrlCase{"http://intranet.example/", "http://intranet.example/"},
                      UrlCase{"https://app.example/a?b=1#c", "https://app.example/a?b=1#c"},
                      // The prefix test is case-sensitive: a capital scheme gets a second one.
                      UrlCase{"HTTPS://x.example", "https://HTTPS://x.example"},
                      UrlCase{"", std::nullopt}));

TEST_F(SettingsTest, KeysWrittenByteForByteAndReadBack)
{
    auto& s = KTSettingsManager::sharedManager();
    s.setUrl("app.example"); // stored unchanged, normalised only when read
    s.setOpenEmptyPage(true);
    s.setPathToDownloadFolder("/srv/dl");
    s.setRefreshTimeInterval(30.5);
    s.setWindowOpacity(0.75);
    s.setAppearance(2);
    s.setWindowLevel(3);
    s.setWindowShadow(false);
    for (auto set : {&KTSettingsManager::setHideProgressBar, &KTSettingsManager::setHideTitle,
                     &KTSettingsManager::setHidePreferences, &KTSettingsManager::setHideToolbarButton,
                     &KTSettingsManager::setHideTitlebar, &KTSettingsManager::setHideTitleIcon})
        (s.*set)(true);
    s.setAutoWindowColor(false);
    s.setStandardFont({"DejaVu Serif", 13});
    s.setWindowColor(KTColor::rgb(1, 0.5, 0));
    for (auto set : {&KTSettingsManager::setEnablePlugins, &KTSettingsManager::setEnableJavaScript,
                     &KTSettingsManager::setBlockPopupWindow, &KTSettingsManager::setBlockAds})
        (s.*set)(true);
    s.setCookiesAllow(2);
    for (auto set : {&KTSettingsManager::setConfirmColseTabs, &KTSettingsManager::setSelectNewTab,
                     &KTSettingsManager::setReturnToPrior, &KTSettingsManager::setShowBookmarkBar})
        (s.*set)(true);
    s.saveSettings();

    EXPECT_EQ(env.readFile(file()),
              R"({"main_url":"app.example","openEmptyPage;":1,"downloads":"/srv/dl","refreshTimeInterval":30.5,)"
              R"("windowOpacityKey":0.75,"appearance":2,"windowLevelKey":3,"windowHasShadow":false,)"
              R"("hideProgressBar":true,"hideTitle":true,"hidePreferences":true,"hideToolbarButton":true,)"
              R"("hideTitlebar":true,"hideTitleIcon":true,"autowindowColor":false,"fontName":"DejaVu Serif",)"
              R"("fontSize":13.0,"windowColor":"1.000000 0.500000 0.000000 1.000000","enablePlugins":true,)"
              R"("enableJavaScript":true,"blockPopupWindoww":true,"blockAds":true,"allowCookies":2,)"
              R"("confirmBeforeTabsClose":true,"selectNewTab":true,"returnToPrior":true,"showBookmark":true})");

    auto& r = restart();
    EXPECT_EQ(r.getMainUrl(), "https://app.example");
    EXPECT_TRUE(r.openEmptyPage());
    EXPECT_EQ(r.pathToDownloadsFolder(), "/srv/dl");
    EXPECT_EQ(std::make_tuple(r.refreshTimeInterval(), r.windowOpacity(), r.appearance(), r.windowLevel(),
                              r.cookiesAllow()),
              std::make_tuple(30.5, 0.75, 2ul, 3l, 2ul));
    EXPECT_FALSE(r.windowShadow() || r.autoWindowColor());
    for (bool v : {r.hideProgressBar(), r.hideTitle(), r.hidePreferences(), r.hideToolbarButton(), r.hideTitlebar(),
                   r.hideTitleIcon(), r.enablePlugins(), r.enableJavaScript(), r.blockPopupWindow(), r.blockAds(),
                   r.confirmColseTabs(), r.selectNewTab(), r.returnToPrior(), r.showBookmarkBar()})
        EXPECT_TRUE(v);
    EXPECT_EQ(r.standardFont(), (KTFont{"DejaVu Serif", 13}));
    EXPECT_EQ(r.windowColor(), KTColor::rgb(1, 0.5, 0));
}

TEST_F(SettingsTest, FlagsFromOlderWritersUseTruthValues)
{
    writeSettings(R"({"hideTitle":1,"blockPopupWindoww":"YES","enableJavaScript":0,"openEmptyPage;":1,)"
                  R"("appearance":-1,"hideTitlebar":"false"})");
    auto& s = KTSettingsManager::sharedManager();
    EXPECT_EQ((std::vector<bool>{s.hideTitle(), s.blockPopupWindow(), s.enableJavaScript(), s.openEmptyPage(),
                                 s.hideTitlebar()}),
              (std::vector<bool>{true, true, false, true, false}));
    // A 32-bit signed reading widened to unsigned.
    EXPECT_EQ(s.appearance(), static_cast<unsigned long>(static_cast<int32_t>(-1)));
}

TEST_F(SettingsTest, CorruptFileLogsTwiceAndIsNeverOverwritten)
{
    const std::string corrupt = "{\"main_url\": \"https://a.example\", ";
    writeSettings(corrupt);
    LogCapture log;
    auto& s = KTSettingsManager::sharedManager();
    EXPECT_EQ(log.count("loadSettings2 "), 2u);
    EXPECT_TRUE(s.settings().is_null());

    s.setHideTitle(true);
    s.setUrl("https://b.example");
    s.setWindowShadow(false);
    EXPECT_TRUE(!s.hideTitle() && s.windowShadow() && !s.getMainUrl());
    s.saveSettings();
    EXPECT_EQ(env.readFile(file()), corrupt);
    KTShared<KTSettingsManager>::reset(); // destruction saves too
    EXPECT_EQ(env.readFile(file()), corrupt);
}

TEST_F(SettingsTest, UnreadableFileIsSetAsideBeforeDefaultsAreSavedOverIt)
{
    ASSERT_TRUE(KTFileUtil::makeDirectories(KTFileUtil::parentFolder(file())));
    ASSERT_EQ(::mkfifo(file().c_str(), 0600), 0); // opened at once, never read
    auto& s = KTSettingsManager::sharedManager();
    EXPECT_EQ(s.settings(), KTJson::object());
    s.setUrl("https://b.example");
    s.saveSettings();
    EXPECT_EQ(json::stringFor(env.readJson(file()), "main_url"), "https://b.example");
    const auto aside = setAsideCopies(file());
    struct stat st {};
    ASSERT_EQ(aside.size(), 1u);
    EXPECT_TRUE(::lstat(aside[0].c_str(), &st) == 0 && S_ISFIFO(st.st_mode)) << "the unreadable file, kept as it was";
}

TEST(RefreshInterval, TimerPeriodIsClampedAndNonsenseMeansNoTimer)
{
    // Not ninety reloads a second, nor a timer that never fires.
    const std::pair<double, unsigned> cases[] = {{0.0, 0},       {-3.0, 0},          {std::nan(""), 0},
                                                 {0.001, 1000},  {30.5, 30500},      {1e300, 86400000},
                                                 {INFINITY, 86400000}};
    for (auto [seconds, ms] : cases)
        EXPECT_EQ(KTSettingsManager::refreshTimerMilliseconds(seconds), ms) << seconds;
}

TEST_F(SettingsTest, ArrayFileIsKeptAndLookupsFail)
{
    writeSettings("[]");
    auto& s = KTSettingsManager::sharedManager();
    EXPECT_TRUE(s.settings().is_array());
    EXPECT_EQ(s.windowOpacity(), 100.0);
    EXPECT_TRUE(s.windowShadow());
    s.setHideTitle(true);
    EXPECT_FALSE(s.hideTitle());
    s.saveSettings();
    EXPECT_EQ(env.readFile(file()), "[]");
}

GRef<GdkPixbuf> makeImage(int width, int height)
{
    auto image = GRef<GdkPixbuf>::adopt(gdk_pixbuf_new(GDK_COLORSPACE_RGB, TRUE, 8, width, height));
    gdk_pixbuf_fill(image.get(), 0xff8000ff);
    return image;
}

TEST_F(SettingsTest, SaveIconWritesA128PixelIcns)
{
    const std::string icon = KTBundle::main().resourcePath() + "/AppIcon.icns";
    env.writeFile(icon, "an old icon");
    auto image = makeImage(300, 200);
    LogCapture log;
    KTError error;
    ASSERT_TRUE(KTSettingsManager::sharedManager().saveIconError(image.get(), &error));
    EXPECT_EQ(log.count("AppIcon.icns created successfully."), 1u);
    EXPECT_EQ(shell.icon, image.get()); // the given image, not the resized copy

    auto elements = KTIcns::decode(env.readFile(icon));
    ASSERT_TRUE(elements);
    ASSERT_EQ(elements->size(), 1u);
    EXPECT_EQ((*elements)[0].type, "ic07");
    auto decoded = GRef<GdkPixbuf>::adopt(KTIcns::readLargest(icon));
    ASSERT_TRUE(decoded);
    EXPECT_EQ(gdk_pixbuf_get_width(decoded.get()), 128);
    EXPECT_EQ(gdk_pixbuf_get_height(decoded.get()), 128);
    const guchar* px = gdk_pixbuf_get_pixels(decoded.get());
    EXPECT_EQ((std::pair<int, int>(px[0], px[1])), (std::pair<int, int>(0xff, 0x80)));
}

TEST_F(SettingsTest, SaveIconFailureGivesErrorCode2)
{
    auto& s = KTSettingsManager::sharedManager();
    auto image = makeImage(256, 256);
    LogCapture log;
    KTError error;
    bool ok;
    {
        ScopedFileSizeLimit full(16);
        ok = s.saveIconError(image.get(), &error);
    }
    EXPECT_FALSE(ok);
    EXPECT_EQ(std::tie(error.code, error.localizedDescription, error.domain),
              std::make_tuple(2l, std::string("Error creating icon."), std::string(QUILT_ERROR_DOMAIN)));
    EXPECT_EQ(log.count("Error writing to AppIcon.icns."), 1u);
    EXPECT_EQ(shell.icon, nullptr);
    for (const auto& name : folderEntries(KTBundle::main().resourcePath()))
        EXPECT_EQ(name.find("AppIcon"), std::string::npos) << name;
}

} // namespace
