#pragma once

#include "core/config/KTRect.h"
#include "core/config/KTStore.h"

#include <array>
#include <cstdint>

namespace quilt {

// How the app behaves, in "behavior.json": quitting, all desktops, tabs
// instead of windows, where handed-over links open, restoring, warnings,
// menu-bar mode and the popover size.
class KTBehaviorManager : public KTStore<KTBehaviorManager> {
public:
    explicit KTBehaviorManager(Key)
        : KTStore("behavior.json")
    {
    }

    void loadValues() override;
    void updateToNewFormat() override;
    void save() override;

    bool closeApplication() const { return closeApplication_; }
    bool windowAllSpace() const { return windowAllSpace_; }
    bool mobileVersion() const { return mobileVersion_; }
    bool openTabInsteadWindow() const { return openTabInsteadWindow_; }
    bool openOtherAppInBackground() const { return openOtherAppInBackground_; }
    bool openDefaultLinkInNewTab() const { return openDefaultLinkInNewTab_; }
    bool autoRefreshTheViewOnLoad() const { return autoRefreshTheViewOnLoad_; }
    bool restoreWindowsAndTabs() const { return restoreWindowsAndTabs_; }
    bool warnCloseWindows() const { return warnCloseWindows_; }
    bool statusBarMode() const { return statusBarMode_; }
    // "routeLinksToSiteApps": a refused address that another made app's
    // allow-list claims opens in that app instead of the browser. On when absent.
    bool routeLinksToSiteApps() const { return routeLinksToSiteApps_; }
    uint64_t openLinksIn() const { return openLinksIn_; }
    uint64_t popOverWidth() const { return popOverWidth_; }
    uint64_t popOverHeight() const { return popOverHeight_; }
    KTSize popOverSize() const
    {
        return {static_cast<double>(popOverWidth_), static_cast<double>(popOverHeight_)};
    }

    void setCloseApplication(bool v);
    void setWindowAllSpace(bool v);
    // Changes the field only; the key is never written.
    void setMobileVersion(bool v) { mobileVersion_ = v; }
    void setOpenTabInsteadWindow(bool v);
    // Also turns openTabInsteadWindow on in memory (not in the file) until
    // the next start; kept on purpose.
    void setOpenOtherAppInBackground(bool v);
    void setOpenDefaultLinkInNewTab(bool v);
    void setAutoRefreshTheViewOnLoad(bool v);
    void setRestoreWindowsAndTabs(bool v);
    void setWarnCloseWindows(bool v);
    void setStatusBarMode(bool v);
    void setOpenLinksIn(uint64_t v);
    void setRouteLinksToSiteApps(bool v);
    void setPopOverWidth(uint64_t v);
    void setPopOverHeight(uint64_t v);

    static constexpr double kVersion = 1.1;

private:
    // A flag of behavior.json (absent reads as false) and the member that
    // keeps it; loadValues() reads them all.
    struct BoolSetting {
        const char* key;
        bool KTBehaviorManager::*field;
    };
    static const std::array<BoolSetting, 10> kBoolSettings;
    // The entry of a member, found while compiling.
    static consteval const BoolSetting& boolSetting(bool KTBehaviorManager::*field);
    template <bool KTBehaviorManager::*Field>
    void setBool(bool v);
    void setNumber(const char* key, uint64_t& field, uint64_t v);

    bool closeApplication_ = false;
    bool windowAllSpace_ = false;
    bool mobileVersion_ = false;
    bool openTabInsteadWindow_ = false;
    bool openOtherAppInBackground_ = false;
    bool openDefaultLinkInNewTab_ = false;
    bool autoRefreshTheViewOnLoad_ = false;
    bool restoreWindowsAndTabs_ = false;
    bool warnCloseWindows_ = false;
    bool statusBarMode_ = false;
    bool routeLinksToSiteApps_ = true;
    uint64_t openLinksIn_ = 0;
    uint64_t popOverWidth_ = 400;
    uint64_t popOverHeight_ = 400;
};

} // namespace quilt
