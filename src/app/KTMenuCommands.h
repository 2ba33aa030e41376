#pragma once

#include "ui/menubar/KTMainMenuController.h"

#include <gtk/gtk.h>

#include <memory>
#include <string>

namespace quilt {

class AppDelegate;

// The main menu's commands as the application's actions ("app.<name>"),
// with their keys from the one table in KTMainMenu, and the menu model they
// are shown in. Most commands act on the front window or post a command by
// name for its selected page.
class KTMenuCommands {
public:
    KTMenuCommands(AppDelegate& app, GtkApplication* application);
    ~KTMenuCommands();
    KTMenuCommands(const KTMenuCommands&) = delete;
    KTMenuCommands& operator=(const KTMenuCommands&) = delete;

    KTMainMenuController& menu() { return *menu_; }

    void searchClick();
    void addBookmarkClick();
    void removeBookmarkClick();
    void itemClick(const std::string& historyTitle);
    void bookmarkClick(const std::string& name);
    void clearHistoryAction();
    void showBookmarkBarClick();
    void emptyCacheClick();
    void aboutClick();
    // Undo, cut, copy, ...: the focused entry, else the focused page.
    void editCommand(const std::string& name);

    // In menu-bar mode "Show in Menu Bar" has nothing to do and the tray
    // menu's "Switch to Regular Mode" has; the other way round outside it.
    void setStatusBarModeShown(bool shown);

    // The configuration switches.
    void setStausBarOption(bool show);
    void setHidePreferences(bool hide);
    void setUserScriptStyleOption(bool show);
    void setMobileDesktopOption(bool show);
    void setBookmark(bool hide);
    void disableToolBarMenuItem();
    void setBookmarkTitle(bool shown);
    // The dock monitor's entry title and whether its edit entry shows.
    void setDockMonitorState(const std::string& title, bool editShown);

private:
    void install();
    void enablePreferences(bool enabled);

    AppDelegate& app_;
    GtkApplication* application_;
    std::unique_ptr<KTMainMenuController> menu_;
};

} // namespace quilt
