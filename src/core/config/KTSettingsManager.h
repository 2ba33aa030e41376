#pragma once

#include "core/config/KTColor.h"
#include "core/config/KTError.h"
#include "core/config/KTJson.h"

#include <gdk-pixbuf/gdk-pixbuf.h>

#include <array>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace quilt {

struct KTFont {
    std::string family;
    double size = 0; // 0 = the default size
    bool operator==(const KTFont&) const = default;
};

// The app's look and web settings in "settings.json". Unlike the other
// stores it has its own load and save and guards its dictionary with a lock:
// page and download callbacks read it too. A corrupt file leaves the
// dictionary null, so lookups give defaults and setters do nothing until the
// next start, and the file is never overwritten behind the user's back.
class KTSettingsManager {
public:
    static KTSettingsManager& sharedManager();
    static std::unique_ptr<KTSettingsManager> create();
    ~KTSettingsManager();
    KTSettingsManager(const KTSettingsManager&) = delete;
    KTSettingsManager& operator=(const KTSettingsManager&) = delete;

    void loadSettings();
    void saveSettings();
    void loadValues();
    void registerShortCut();
    void restoreAfterUpdate() {} // inactive: bundles are never renamed in place
    std::string path() const;
    // A copy of the dictionary (null after a corrupt file).
    KTJson settings() const;

    // Home page: "https://" is put in front of text that does not start with
    // "http" (case-sensitive); nullopt when absent, empty or not a URL.
    std::optional<std::string> getMainUrl();
    void setUrl(const std::string& url);
    bool openEmptyPage();
    void setOpenEmptyPage(bool v);
    std::string pathToDownloadsFolder();
    void setPathToDownloadFolder(const std::string& path);
    double refreshTimeInterval() const { return refreshTimeInterval_; }
    // The timer's period in milliseconds for an interval in seconds: 0 (no
    // timer) for zero, negative or non-numbers; otherwise at least one second
    // (a page reloaded ninety times a second helps no one) and at most a day.
    static unsigned refreshTimerMilliseconds(double seconds);
    void setRefreshTimeInterval(double v);
    double windowOpacity();
    void setWindowOpacity(double v);
    unsigned long appearance() const { return appearance_; }
    void setAppearance(unsigned long v);
    long windowLevel();
    void setWindowLevel(long v);
    bool windowShadow();
    void setWindowShadow(bool v);
    bool hideProgressBar() const { return hideProgressBar_; }
    void setHideProgressBar(bool v);
    bool hideTitle();
    void setHideTitle(bool v);
    bool hidePreferences();
    void setHidePreferences(bool v);
    bool hideToolbarButton();
    void setHideToolbarButton(bool v);
    bool hideTitlebar();
    void setHideTitlebar(bool v);
    bool hideTitleIcon();
    void setHideTitleIcon(bool v);
    bool autoWindowColor();
    void setAutoWindowColor(bool v);
    std::optional<KTFont> standardFont() const { return standardFont_; }
    void setStandardFont(const KTFont& font);
    KTColor windowColor() const { return windowColor_; }
    void setWindowColor(const KTColor& color);
    bool enablePlugins() const { return enablePlugins_; }
    void setEnablePlugins(bool v);
    bool enableJavaScript() const { return enableJavaScript_; }
    void setEnableJavaScript(bool v);
    bool blockPopupWindow() const { return blockPopupWindow_; }
    void setBlockPopupWindow(bool v);
    bool blockAds() const { return blockAds_; }
    void setBlockAds(bool v);
    unsigned long cookiesAllow() const { return cookiesAllow_; }
    void setCookiesAllow(unsigned long v);
    bool confirmColseTabs() const { return confirmColseTabs_; }
    void setConfirmColseTabs(bool v);
    bool selectNewTab() const { return selectNewTab_; }
    void setSelectNewTab(bool v);
    bool returnToPrior() const { return returnToPrior_; }
    void setReturnToPrior(bool v);
    bool showBookmarkBar() const { return showBookmarkBar_; }
    void setShowBookmarkBar(bool v);
    bool isWindowColorSystem() const { return isWindowColorSystem_; }
    void setIsWindowColorSystem(bool v) { isWindowColorSystem_ = v; }

    // Replaces "AppIcon.icns" in the bundle's resources with the image at
    // 128 x 128 and sets it as the running app's icon.
    bool saveIconError(GdkPixbuf* image, KTError* error);

private:
    KTSettingsManager() = default;
    template <class T>
    void write(const char* key, T value);

    // A flag of settings.json: its key, its value when the key is absent and
    // the member that keeps it. Flags whose getters are inline are read once
    // by loadValues(); the others' getters read the dictionary every time.
    struct BoolSetting {
        const char* key;
        bool absent;
        bool KTSettingsManager::*field;
    };
    static const std::array<BoolSetting, 17> kBoolSettings;
    // The entry of a member, found while compiling: a member missing from
    // the table does not build.
    static consteval const BoolSetting& boolSetting(bool KTSettingsManager::*field);
    template <bool KTSettingsManager::*Field>
    bool readBool();
    template <bool KTSettingsManager::*Field>
    void writeBool(bool v);

    mutable std::mutex lock_;
    std::unique_ptr<KTJson> settings_; // null after a corrupt file

    bool windowShadow_ = true;
    bool autoWindowColor_ = true;
    bool hideTitle_ = false;
    bool hidePreferences_ = false;
    bool hideTitlebar_ = false;
    bool hideToolbarButton_ = false;
    bool hideProgressBar_ = false;
    bool hideTitleIcon_ = false;
    bool enablePlugins_ = false;
    bool enableJavaScript_ = false;
    bool blockPopupWindow_ = false;
    bool blockAds_ = false;
    bool selectNewTab_ = false;
    bool returnToPrior_ = false;
    bool confirmColseTabs_ = false;
    bool showBookmarkBar_ = false;
    bool isWindowColorSystem_ = false;
    bool openEmptyPage_ = false;
    double windowOpacity_ = 100.0;
    long windowLevel_ = 0;
    std::optional<KTFont> standardFont_;
    KTColor windowColor_ = KTColor::windowBackgroundColor();
    unsigned long appearance_ = 0;
    unsigned long cookiesAllow_ = 0;
    double refreshTimeInterval_ = 0.0;
    std::string mainUrl_;
    std::string downloads_;
};

} // namespace quilt
