#pragma once

#include "core/config/KTNotificationCenter.h"
#include "core/config/KTRect.h"

#include <gtk/gtk.h>

#include <memory>
#include <string>

namespace quilt {

class KTBrowserPopover;
class KTMainWindowController;
class KTStatusBarItemView;

// Menu-bar mode while it runs: the tray item, its menu and the popup
// browser that hosts a main window's tabs. The application makes one when
// it enters the mode; leaving the mode relaunches the app, so it never
// tears the mode down while running.
class KTStatusItemController {
public:
    // Builds the item and the popup around `controller`'s tabs.
    KTStatusItemController(GtkApplication* app, KTMainWindowController* controller);
    ~KTStatusItemController();
    KTStatusItemController(const KTStatusItemController&) = delete;
    KTStatusItemController& operator=(const KTStatusItemController&) = delete;

    KTStatusBarItemView& statusItemView() { return *item_; }
    KTBrowserPopover& browserPopOver() { return *popover_; }
    // The window whose tabs the popup shows (null once it is gone).
    KTMainWindowController* host() const;

    // The item's left click: closes the popup when open, else opens it at
    // the point the tray gave.
    void showPopUpBrowser(int x, int y);
    // Opens it (or keeps it open) where it last was.
    void showPopover();
    // The item's menu at the point, for trays that ask the item to show it.
    void showStatusBarMenu(int x, int y);

private:
    void open(int x, int y);

    GtkApplication* app_;
    KTMainWindowController* host_;
    std::unique_ptr<KTStatusBarItemView> item_;
    std::unique_ptr<KTBrowserPopover> popover_;
    GtkWidget* menu_ = nullptr;
    int lastX_ = 0, lastY_ = 0;
    // The app's unread badge, drawn on the item's icon (last: it calls into item_).
    KTObservation badgeObservation_;
};

} // namespace quilt
