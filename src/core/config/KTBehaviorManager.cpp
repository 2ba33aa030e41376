#include "core/config/KTBehaviorManager.h"

namespace quilt {

// The keys differ from the member names on purpose ("openTabWindow",
// "openOtherWindowInBackground", "warnWindowsClose", "statusBarKey"): files
// already hold them.
constexpr std::array<KTBehaviorManager::BoolSetting, 10> KTBehaviorManager::kBoolSettings{{
    {"closeApplication", &KTBehaviorManager::closeApplication_},
    {"windowAllSpace", &KTBehaviorManager::windowAllSpace_},
    {"mobileVersion", &KTBehaviorManager::mobileVersion_},
    {"openTabWindow", &KTBehaviorManager::openTabInsteadWindow_},
    {"openOtherWindowInBackground", &KTBehaviorManager::openOtherAppInBackground_},
    {"openDefaultLinkInNewTab", &KTBehaviorManager::openDefaultLinkInNewTab_},
    {"autoRefreshTheViewOnLoad", &KTBehaviorManager::autoRefreshTheViewOnLoad_},
    {"restoreWindowsAndTabs", &KTBehaviorManager::restoreWindowsAndTabs_},
    {"warnWindowsClose", &KTBehaviorManager::warnCloseWindows_},
    {"statusBarKey", &KTBehaviorManager::statusBarMode_},
}};

consteval const KTBehaviorManager::BoolSetting& KTBehaviorManager::boolSetting(bool KTBehaviorManager::*field)
{
    for (const BoolSetting& setting : kBoolSettings)
        if (setting.field == field)
            return setting;
    throw "a flag missing from kBoolSettings";
}

void KTBehaviorManager::loadValues()
{
    const KTJson& j = json();
    for (const BoolSetting& setting : kBoolSettings)
        this->*setting.field = json::boolFor(j, setting.key);
    // Written back at once: every saved file holds the status-bar flag.
    setStatusBarMode(statusBarMode_);
    openLinksIn_ = json::unsignedFor(j, "openLinksKey");
    routeLinksToSiteApps_ = json::boolFor(j, "routeLinksToSiteApps", true);
    setPopOverWidth(static_cast<uint64_t>(json::intFor(j, "POPOVER_W_KEY")));
    setPopOverHeight(static_cast<uint64_t>(json::intFor(j, "POPOVER_H_KEY")));
    // An absent or tiny popover becomes 400 x 400.
    if (popOverWidth_ <= 49)
        setPopOverWidth(400);
    if (popOverHeight_ <= 49)
        setPopOverHeight(400);
}

void KTBehaviorManager::updateToNewFormat()
{
    const KTJson* v = json::lookup(json(), "version");
    if (v && v->is_number() && v->get<double>() == kVersion)
        return;
    // Files from before 1.1 had the all-desktops option reset once.
    setWindowAllSpace(false);
    save();
}

void KTBehaviorManager::save()
{
    if (json().is_object())
        json()["version"] = kVersion;
    KTManager::save();
}

template <bool KTBehaviorManager::*Field>
void KTBehaviorManager::setBool(bool v)
{
    this->*Field = v;
    if (json().is_object())
        json()[boolSetting(Field).key] = v;
}

void KTBehaviorManager::setNumber(const char* key, uint64_t& field, uint64_t v)
{
    field = v;
    if (json().is_object())
        json()[key] = v;
}

void KTBehaviorManager::setCloseApplication(bool v) { setBool<&KTBehaviorManager::closeApplication_>(v); }
void KTBehaviorManager::setWindowAllSpace(bool v) { setBool<&KTBehaviorManager::windowAllSpace_>(v); }
void KTBehaviorManager::setOpenTabInsteadWindow(bool v) { setBool<&KTBehaviorManager::openTabInsteadWindow_>(v); }
void KTBehaviorManager::setOpenOtherAppInBackground(bool v)
{
    setBool<&KTBehaviorManager::openOtherAppInBackground_>(v);
    openTabInsteadWindow_ = true;
}
void KTBehaviorManager::setOpenDefaultLinkInNewTab(bool v) { setBool<&KTBehaviorManager::openDefaultLinkInNewTab_>(v); }
void KTBehaviorManager::setAutoRefreshTheViewOnLoad(bool v)
{
    setBool<&KTBehaviorManager::autoRefreshTheViewOnLoad_>(v);
}
void KTBehaviorManager::setRestoreWindowsAndTabs(bool v) { setBool<&KTBehaviorManager::restoreWindowsAndTabs_>(v); }
void KTBehaviorManager::setWarnCloseWindows(bool v) { setBool<&KTBehaviorManager::warnCloseWindows_>(v); }
void KTBehaviorManager::setStatusBarMode(bool v) { setBool<&KTBehaviorManager::statusBarMode_>(v); }

void KTBehaviorManager::setRouteLinksToSiteApps(bool v)
{
    routeLinksToSiteApps_ = v;
    if (json().is_object())
        json()["routeLinksToSiteApps"] = v;
}
void KTBehaviorManager::setOpenLinksIn(uint64_t v) { setNumber("openLinksKey", openLinksIn_, v); }
void KTBehaviorManager::setPopOverWidth(uint64_t v) { setNumber("POPOVER_W_KEY", popOverWidth_, v); }
void KTBehaviorManager::setPopOverHeight(uint64_t v) { setNumber("POPOVER_H_KEY", popOverHeight_, v); }

} // namespace quilt
