#include "ui/preferences/KTGeneralPane.h"

#include "core/config/KTBehaviorManager.h"
#include "core/config/KTSettingsManager.h"
#include "core/config/KTShellDelegate.h"
#include "core/config/KTUserDefaults.h"

namespace quilt {

namespace {
// Behaviour settings are saved at each change: the app may be killed
// before the window closes, and the file is small.
void behavior(void (KTBehaviorManager::*set)(bool), bool v)
{
    auto& b = KTBehaviorManager::sharedManager();
    (b.*set)(v);
    b.save();
}
} // namespace

GtkWidget* KTGeneralPane::widget()
{
    if (!rows_)
        build();
    return rows_->page();
}

void KTGeneralPane::build()
{
    rows_ = std::make_unique<KTPreferencesRows>();
    auto& rows = *rows_;
    auto& settings = KTSettingsManager::sharedManager();
    auto& b = KTBehaviorManager::sharedManager();

    rows.group("Start");
    if (!rows.locks().hidden(KTEnterpriseLocks::kHomePageItem)) {
        rows.addEntry("main_url", "Home page", "Where new windows and the Home button go.",
                      json::stringFor(settings.settings(), "main_url").value_or(""), [](const std::string& url) {
                          auto& s = KTSettingsManager::sharedManager();
                          s.setUrl(url);
                          s.saveSettings();
                      });
    }
    rows.addSwitch("restoreWindowsAndTabs", "Restore windows and tabs", "Reopen what was open when the app quit.",
                   b.restoreWindowsAndTabs(),
                   [](bool v) { behavior(&KTBehaviorManager::setRestoreWindowsAndTabs, v); });

    rows.group("Links");
    rows.addChoice("openLinksKey", "Open links from other programs in", "",
                   {"A new window", "A new tab", "The current tab"}, static_cast<int>(b.openLinksIn()), [](int v) {
                       if (v < 0)
                           return;
                       auto& bm = KTBehaviorManager::sharedManager();
                       bm.setOpenLinksIn(static_cast<uint64_t>(v));
                       bm.save();
                   });
    rows.addSwitch("openTabWindow", "Open tabs instead of windows", "New windows a page asks for become tabs.",
                   b.openTabInsteadWindow(), [](bool v) { behavior(&KTBehaviorManager::setOpenTabInsteadWindow, v); });

    rows.group("Closing");
    rows.addSwitch("closeApplication", "Quit with the last window",
                   "Otherwise the app keeps running hidden and comes back when opened again.", b.closeApplication(),
                   [](bool v) { behavior(&KTBehaviorManager::setCloseApplication, v); });
    rows.addSwitch("warnWindowsClose", "Warn before quitting", "Ask first when several windows are open.",
                   b.warnCloseWindows(), [](bool v) { behavior(&KTBehaviorManager::setWarnCloseWindows, v); });
    rows.addSwitch("confirmBeforeTabsClose", "Warn before closing several tabs", "", settings.confirmColseTabs(),
                   [](bool v) {
                       auto& s = KTSettingsManager::sharedManager();
                       s.setConfirmColseTabs(v);
                       s.saveSettings();
                   });

    rows.group("Keyboard");
    auto& defaults = KTUserDefaults::standardUserDefaults();
    hotKey_ = std::make_unique<KTShortcutRecorder>(defaults.stringForKey("globalShortcutKey").value_or(""));
    hotKey_->changed = [](const std::string& accel) {
        auto& d = KTUserDefaults::standardUserDefaults();
        if (accel.empty())
            d.removeObjectForKey("globalShortcutKey");
        else
            d.setString("globalShortcutKey", accel);
        d.synchronize();
        // An empty combination unbinds.
        KTShellDelegate::shared().registerGlobalShortcut(accel);
    };
    rows.row("globalShortcutKey", "Show the app from anywhere",
             "A key combination that brings the app's window forward, whichever program is in front.",
             hotKey_->widget());
}

} // namespace quilt
