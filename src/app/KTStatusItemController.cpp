#include "app/KTStatusItemController.h"

#include "core/config/KTBehaviorManager.h"
#include "core/config/KTBundle.h"
#include "core/config/KTIcns.h"
#include "core/config/KTNotificationNames.h"
#include "core/config/KTQuiltManager.h"
#include "core/config/KTSettingsManager.h"
#include "core/menubar/KTDockBadge.h"
#include "core/menubar/KTMainMenu.h"
#include "ui/menubar/KTBrowserPopover.h"
#include "ui/menubar/KTStatusBarItemView.h"
#include "ui/windows/KTMainWindowController.h"

namespace quilt {

KTStatusItemController::KTStatusItemController(GtkApplication* app, KTMainWindowController* controller)
    : app_(app)
    , host_(controller)
{
    std::string id = g_application_get_application_id(G_APPLICATION(app)) ?: "quilt";
    item_ = std::make_unique<KTStatusBarItemView>(id, KTQuiltManager::applicationName(), KTMainMenu::statusItemMenu(),
                                                  G_ACTION_GROUP(app));
    // Without an icon file the theme's browser icon stands in.
    GdkPixbuf* icon = KTIcns::readNearest(KTBundle::main().resourcePath() + "/AppIcon.icns", 48);
    item_->setImage(icon, icon ? "" : "web-browser");
    if (icon)
        g_object_unref(icon);
    item_->action = [this](int x, int y) { showPopUpBrowser(x, y); };
    item_->rightAction = [this](int x, int y) { showStatusBarMenu(x, y); };
    item_->setBadge(KTDockBadge::shared().text());
    badgeObservation_ = KTObservation(names::kDockBadgeChanged, [this](const KTNotification& note) {
        item_->setBadge(note.userInfo.value("text", std::string()));
    });

    popover_ = std::make_unique<KTBrowserPopover>(app);
    auto& behavior = KTBehaviorManager::sharedManager();
    popover_->setContentSize(behavior.popOverSize());
    popover_->setLight(KTSettingsManager::sharedManager().windowColor().colorIsLight());
    popover_->setContent(controller->tabController()->view());
    popover_->resized = [](KTSize size) {
        auto& b = KTBehaviorManager::sharedManager();
        b.setPopOverWidth(static_cast<uint64_t>(size.width));
        b.setPopOverHeight(static_cast<uint64_t>(size.height));
        b.save();
    };
}

KTStatusItemController::~KTStatusItemController()
{
    if (menu_)
        gtk_widget_destroy(menu_);
}

KTMainWindowController* KTStatusItemController::host() const
{
    for (auto& c : KTMainWindowController::mainWindows())
        if (c.get() == host_)
            return host_;
    return nullptr;
}

void KTStatusItemController::showPopUpBrowser(int x, int y)
{
    if (popover_->isShown()) {
        popover_->close();
        return;
    }
    // The click on the item that took the focus away already closed it.
    if (popover_->closedByFocusJustNow())
        return;
    open(x, y);
}

void KTStatusItemController::showPopover()
{
    if (!popover_->isShown())
        open(lastX_, lastY_);
    else
        gtk_window_present(popover_->window());
}

void KTStatusItemController::open(int x, int y)
{
    // The window whose tabs it showed was closed: a fresh one, kept hidden.
    if (!popover_->hasContent() || !host()) {
        host_ = KTMainWindowController::create();
        gtk_window_set_skip_taskbar_hint(host_->window().window(), TRUE);
        popover_->setContent(host_->tabController()->view());
        host_->tabController()->goHome();
    }
    lastX_ = x;
    lastY_ = y;
    popover_->showAt(x, y);
    if (KTBehaviorManager::sharedManager().autoRefreshTheViewOnLoad())
        KTNotificationCenter::defaultCenter().post(names::kReload);
}

void KTStatusItemController::showStatusBarMenu(int x, int y)
{
    if (!menu_) {
        GMenu* model = g_menu_new();
        for (const auto& i : KTMainMenu::statusItemMenu()) {
            GMenuItem* item = g_menu_item_new(i.title.c_str(), ("app." + i.action).c_str());
            // No keys shown: the tray menu is for the mouse.
            g_menu_item_set_attribute(item, "accel", "s", "");
            g_menu_append_item(model, item);
            g_object_unref(item);
        }
        menu_ = gtk_menu_new_from_model(G_MENU_MODEL(model));
        g_object_unref(model);
        // Its "app." actions resolve through the popup, an application window.
        gtk_menu_attach_to_widget(GTK_MENU(menu_), GTK_WIDGET(popover_->window()), nullptr);
    }
    // At the tray's point on the screen: no window of the app need be shown.
    GdkRectangle at {x, y, 1, 1};
    gtk_menu_popup_at_rect(GTK_MENU(menu_), gdk_get_default_root_window(), &at, GDK_GRAVITY_NORTH_WEST,
                           GDK_GRAVITY_NORTH_WEST, nullptr);
}

} // namespace quilt
