#include "core/config/KTBehaviorManager.h"

#include "core/config/KTShared.h"

namespace quilt {

KTBehaviorManager& KTBehaviorManager::sharedManager() { return KTShared<KTBehaviorManager>::get(); }

std::unique_ptr<KTBehaviorManager> KTBehaviorManager::create() { return make<KTBehaviorManager>(); }

std::string KTBehaviorManager::getPath()
{
    if (path_.empty())
        path_ = dataFilePath("behavior.json");
    return path_;
}

void KTBehaviorManager::loadValues()
{
    const KTJson& j = json();
    closeApplication_ = json::boolFor(j, "closeApplication");
    windowAllSpace_ = json::boolFor(j, "windowAllSpace");
    mobileVersion_ = json::boolFor(j, "mobileVersion");
    openTabInsteadWindow_ = json::boolFor(j, "openTabWindow");
    openOtherAppInBackground_ = json::boolFor(j, "openOtherWindowInBackground");
    openDefaultLinkInNewTab_ = json::boolFor(j, "openDefaultLinkInNewTab");
    autoRefreshTheViewOnLoad_ = json::boolFor(j, "autoRefreshTheViewOnLoad");
    restoreWindowsAndTabs_ = json::boolFor(j, "restoreWindowsAndTabs");
    warnCloseWindows_ = json::boolFor(j, "warnWindowsClose");
    setStatusBarMode(json::boolFor(j, "statusBarKey"));
    openLinksIn_ = json::unsignedFor(j, "openLinksKey");
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

void KTBehaviorManager::setBool(const char* key, bool& field, bool v)
{
    field = v;
    if (json().is_object())
        json()[key] = v;
}

void KTBehaviorManager::setCloseApplication(bool v) { setBool("closeApplication", closeApplication_, v); }
void KTBehaviorManager::setWindowAllSpace(bool v) { setBool("windowAllSpace", windowAllSpace_, v); }
void KTBehaviorManager::setOpenTabInsteadWindow(bool v) { setBool("openTabWindow", openTabInsteadWindow_, v); }
void KTBehaviorManager::setOpenOtherAppInBackground(bool v)
{
    setBool("openOtherWindowInBackground", openOtherAppInBackground_, v);
    openTabInsteadWindow_ = true;
}
void KTBehaviorManager::setOpenDefaultLinkInNewTab(bool v)
{
    setBool("openDefaultLinkInNewTab", openDefaultLinkInNewTab_, v);
}
void KTBehaviorManager::setAutoRefreshTheViewOnLoad(bool v)
{
    setBool("autoRefreshTheViewOnLoad", autoRefreshTheViewOnLoad_, v);
}
void KTBehaviorManager::setRestoreWindowsAndTabs(bool v)
{
    setBool("restoreWindowsAndTabs", restoreWindowsAndTabs_, v);
}
void KTBehaviorManager::setWarnCloseWindows(bool v) { setBool("warnWindowsClose", warnCloseWindows_, v); }
void KTBehaviorManager::setStatusBarMode(bool v) { setBool("statusBarKey", statusBarMode_, v); }

void KTBehaviorManager::setOpenLinksIn(uint64_t v)
{
    openLinksIn_ = v;
    if (json().is_object())
        json()["openLinksKey"] = v;
}
void KTBehaviorManager::setPopOverWidth(uint64_t v)
{
    popOverWidth_ = v;
    if (json().is_object())
        json()["POPOVER_W_KEY"] = v;
}
void KTBehaviorManager::setPopOverHeight(uint64_t v)
{
    popOverHeight_ = v;
    if (json().is_object())
        json()["POPOVER_H_KEY"] = v;
}

} // namespace quilt
