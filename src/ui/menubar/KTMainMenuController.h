#pragma once

#include "core/config/KTNotificationCenter.h"
#include "core/menubar/KTMainMenu.h"

#include <gtk/gtk.h>

#include <cstdint>
#include <functional>
#include <map>
#include <string>

namespace quilt {

// The main menu as one GMenuModel shared by every window's menu bar and
// menu button: the static menus from KTMainMenu with the configuration
// switches applied, the user-agent submenu, and the History and Bookmarks
// menus brought up to date with their stores each time a menu opens (the
// History menu only when the store changed, and with its latest titles).
// Commands are the application's actions ("app.<name>"); this class only
// names them.
class KTMainMenuController {
public:
    // `actions`: where the commands live, to enable the bookmark items.
    KTMainMenuController(std::string appName, GActionMap* actions);
    ~KTMainMenuController();
    KTMainMenuController(const KTMainMenuController&) = delete;
    KTMainMenuController& operator=(const KTMainMenuController&) = delete;

    GMenuModel* model() const { return G_MENU_MODEL(root_); }
    KTMenuSwitches& switches() { return switches_; }
    // The static menus again, after a switch changed.
    void rebuild();
    // History and Bookmarks from the stores; other menus hold no state.
    void menuWillOpen();
    // The bookmark items are greyed only while a menu shows them; the keys
    // reach the commands, which check for themselves.
    void menuDidClose();
    // The History and Bookmarks menus follow their stores.
    void refresh();
    // Whether there is a page to bookmark; none means no.
    std::function<bool()> canAddBookmark;

private:
    GMenu* fill(GMenu* menu, const std::vector<KTMenuItem>& items);
    // Refills a menu only when its items changed, so that a menu that is
    // already up is not rebuilt under the pointer.
    void refill(GMenu* menu, std::vector<KTMenuItem>& shown, std::vector<KTMenuItem> items);
    void followHistory();
    static GMenuItem* newItem(const KTMenuItem& item);
    void enable(const char* action, bool enabled);

    std::string appName_;
    GActionMap* actions_;
    GMenu* root_ = nullptr;
    GMenu* history_ = nullptr;
    GMenu* bookmarks_ = nullptr;
    GMenu* agents_ = nullptr;
    KTMenuSwitches switches_;
    std::vector<KTMenuItem> bookmarksShown_;
    uint64_t historyRevision_ = 0; // the store's revision the menu shows; 0: none yet
    std::vector<KTMenuItem> historyShown_;
    bool firstFill_ = true;
    bool open_ = false;
    KTObservation bookmarksChanged_;
};

} // namespace quilt
