#pragma once

#include <optional>
#include <string>
#include <vector>

namespace quilt {

// One entry of a menu. `action` names the command ("new-tab"); an entry
// without one is a separator, or the place of a submenu named by `submenu`.
struct KTMenuItem {
    std::string title;
    std::string action;
    std::optional<std::string> target; // the command's string argument
    long tag = 0;
    bool enabled = true;
    // Kept only for its key equivalent on the other platform; not shown.
    bool hidden = false;
    std::string submenu;
    bool separator() const { return action.empty() && submenu.empty(); }
    bool operator==(const KTMenuItem&) const = default;
};

struct KTMenu {
    std::string id;
    std::string title;
    std::vector<KTMenuItem> items;
};

// The configuration switches (creation tool, enterprise) that show or hide
// parts of the menu. Without a configuration every part is offered.
struct KTMenuSwitches {
    bool statusBarOption = true;     // setStausBarOption: true shows
    bool hidePreferences = false;    // setHidePreferences: true hides
    bool userScriptStyleOption = true;
    bool mobileDesktopOption = true;
    bool hideBookmark = false;       // setBookmark: true hides, on purpose the other sense
    bool toolbarItem = true;         // an enterprise build has no toolbar switch
    bool bookmarkBarShown = false;   // titles the bookmark bar item
    // The dock monitor's entry says what it does next; its edit entry shows
    // while a running monitor's square can be changed.
    std::string dockMonitorTitle = "Start Dock Monitor";
    bool editDockMonitorShown = false;
};

// A command's keys, as GTK accelerator strings. `focusHandles`: the focused
// entry or page already answers these keys itself; the menu only shows them.
struct KTAccelerator {
    const char* action;
    std::vector<const char*> accels;
    bool focusHandles = false;
};

// What closing a tab does, by the number of tabs of the front window.
enum class KTCloseTabRule { RemoveTab, RemoveTabAndHideTabBar, CloseWindow };

// The main menu as data: its static menus, the History and Bookmarks menus
// rebuilt from the stores each time they open, and the one table of keys.
class KTMainMenu {
public:
    static std::vector<KTMenu> menus(const std::string& appName, const KTMenuSwitches& switches);
    // Back, Forward and Home here clear the history, as Clear History does;
    // navigating is the toolbar's and the keys' job. Kept deliberately.
    // Only the latest kHistoryMenuTitles titles are listed (still oldest
    // first): GTK makes a widget per item in every copy of the menu, about
    // half a millisecond and 19 KB each, so a history of years (100 000
    // titles) would freeze the app for a minute and take gigabytes. The store
    // keeps every title.
    static constexpr size_t kHistoryMenuTitles = 100;
    static std::vector<KTMenuItem> historyMenu(const std::vector<std::string>& namesOldestFirst);
    // One title's item, as historyMenu() lists it.
    static KTMenuItem historyItem(const std::string& name);
    static std::vector<KTMenuItem> bookmarksMenu(const std::vector<std::string>& sortedNames, bool canAdd);
    // The tray item's menu: commands of the main menu, by the same names.
    static std::vector<KTMenuItem> statusItemMenu();
    static const std::vector<KTAccelerator>& accelerators();
    static std::vector<const char*> acceleratorsFor(const std::string& action);

    static KTCloseTabRule closeTabRule(size_t tabCount);
    // The menu bar stands in for the toolbar: shown while the toolbar is
    // off, and while Alt is held, as Linux browsers do.
    static bool menuBarVisible(bool toolbarShown, bool altHeld) { return !toolbarShown || altHeld; }
    static const char* bookmarkBarTitle(bool shown) { return shown ? "Hide Bookmark Bar" : "Show Bookmark Bar"; }

    static constexpr long kAddBookmarkTag = 71;
    static constexpr long kRemoveBookmarkTag = 72;
};

} // namespace quilt
