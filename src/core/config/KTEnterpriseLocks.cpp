#include "core/config/KTEnterpriseLocks.h"

#include "core/config/KTQuiltManager.h"

namespace quilt {

KTEnterpriseLocks KTEnterpriseLocks::current()
{
    return forConfiguration(KTQuiltManager::enterpriseBuild(),
                            KTQuiltManager::settingDict().value_or(KTJson::object()));
}

KTEnterpriseLocks KTEnterpriseLocks::forConfiguration(bool enterpriseBuild, const KTJson& dict)
{
    KTEnterpriseLocks locks;
    if (!enterpriseBuild)
        return locks;
    auto present = [&](const char* key) {
        auto text = json::stringFor(dict, key);
        return text && !text->empty();
    };
    // What KTQuiltManager::setDefaultSettings writes at every start, key by
    // key; the conditional ones only when the configuration gives a value.
    locks.locked_ = {
        // settings.json
        "main_url", "hideProgressBar", "windowHasShadow", "windowOpacityKey", "hideTitle", "hideTitleIcon",
        "hideTitlebar", "hideToolbarButton", "hidePreferences", "enableJavaScript", "blockPopupWindoww",
        "enablePlugins", "allowCookies",
        // whitelist.json
        "allowAll", "allowPatterns", "pattern",
        // user defaults
        "UserNotifications", "DockBadge",
        // behavior.json
        "closeApplication", "windowAllSpace", "openTabWindow", "restoreWindowsAndTabs", "warnWindowsClose",
        "openLinksKey", "openDefaultLinkInNewTab", "autoRefreshTheViewOnLoad"};
    const int64_t level = json::intFor(dict, "windowLevel");
    if (level == 1 || level == 2)
        locks.locked_.insert("windowLevelKey");
    if (present("colorHex"))
        locks.locked_.insert("windowColor");
    if (present("customUserAgent"))
        locks.locked_.insert("lastUserAnget");
    locks.hidden_ = {kHomePageItem, kAppIconItem};
    return locks;
}

} // namespace quilt
