#include "core/menubar/KTMainMenu.h"

namespace quilt {

namespace {
KTMenuItem item(std::string title, std::string action)
{
    KTMenuItem i;
    i.title = std::move(title);
    i.action = std::move(action);
    return i;
}

KTMenuItem separator() { return KTMenuItem {}; }

std::string replaced(std::string format, const std::string& name)
{
    if (auto at = format.find("%@"); at != std::string::npos)
        format.replace(at, 2, name);
    return format;
}

// Drops separators that would lead, trail or double up once hidden items
// are gone.
std::vector<KTMenuItem> tidy(std::vector<KTMenuItem> items)
{
    std::vector<KTMenuItem> out;
    for (auto& i : items) {
        if (i.separator() && (out.empty() || out.back().separator()))
            continue;
        out.push_back(std::move(i));
    }
    if (!out.empty() && out.back().separator())
        out.pop_back();
    return out;
}
} // namespace

std::vector<KTMenu> KTMainMenu::menus(const std::string& appName, const KTMenuSwitches& s)
{
    std::vector<KTMenu> m;
    std::vector<KTMenuItem> app {item(replaced("About %@", appName), "about")};
    if (!s.hidePreferences)
        app.push_back(item("Preferences…", "preferences"));
    app.push_back(separator());
    if (s.statusBarOption)
        app.push_back(item("Show in Menu Bar", "status-bar-mode"));
    app.push_back(separator());
    app.push_back(item(replaced("Hide %@", appName), "hide"));
    app.push_back(item(replaced("Quit %@", appName), "quit"));
    m.push_back({"app", appName, tidy(std::move(app))});

    m.push_back({"file", "File",
                 {item("New Tab", "new-tab"), item("New Window", "new-window"), item("Open Location…", "focus-url"),
                  separator(), item("Close Tab", "close-tab"), item("Close Window", "close-window"), separator(),
                  item("Print…", "print")}});

    m.push_back({"edit", "Edit",
                 {item("Undo", "undo"), item("Redo", "redo"), separator(), item("Cut", "cut"), item("Copy", "copy"),
                  item("Paste", "paste"), item("Select All", "select-all"), separator(), item("Find…", "find")}});

    std::vector<KTMenuItem> view;
    if (s.toolbarItem)
        view.push_back(item("Show or Hide the Toolbar", "toggle-toolbar"));
    if (!s.hideBookmark)
        view.push_back(item(bookmarkBarTitle(s.bookmarkBarShown), "show-bookmark-bar"));
    view.push_back(separator());
    for (auto i : {item("Reload", "reload"), item("Stop", "stop"), separator(), item("Zoom In", "zoom-in"),
                   item("Zoom Out", "zoom-out"), item("Actual Size", "zoom-reset"), separator()})
        view.push_back(i);
    KTMenuItem agents;
    agents.title = "User Agent";
    agents.submenu = "user-agent";
    view.push_back(agents);
    if (s.mobileDesktopOption) {
        view.push_back(item("Request Desktop Version", "request-desktop"));
        view.push_back(item("Request Mobile Version", "request-mobile"));
    }
    view.push_back(separator());
    if (s.userScriptStyleOption) {
        view.push_back(item("User Scripts…", "user-scripts"));
        view.push_back(item("User Styles…", "user-styles"));
    }
    if (s.statusBarOption)
        view.push_back(item("Show in Menu Bar", "status-bar-mode"));
    view.push_back(separator());
    view.push_back(item("Empty Cache", "empty-cache"));
    m.push_back({"view", "View", tidy(std::move(view))});

    m.push_back({"history", "History", {}});
    if (!s.hideBookmark)
        m.push_back({"bookmarks", "Bookmarks", {}});
    std::vector<KTMenuItem> window {item("Minimise", "minimize"), separator(),
                                    item(s.dockMonitorTitle, "toggle-dock-monitor")};
    if (s.editDockMonitorShown)
        window.push_back(item("Edit Dock Monitor", "edit-dock-monitor"));
    for (auto i : {separator(), item("Show Next Tab", "next-tab"), item("Show Previous Tab", "previous-tab")})
        window.push_back(i);
    m.push_back({"window", "Window", std::move(window)});
    m.push_back({"help", "Help", {item(replaced("%@ Help", appName), "help")}});
    return m;
}

std::vector<KTMenuItem> KTMainMenu::historyMenu(const std::vector<std::string>& names)
{
    auto clearing = [](const char* title, bool hidden) {
        KTMenuItem i = item(title, "clear-history");
        i.hidden = hidden;
        return i;
    };
    std::vector<KTMenuItem> out {clearing("Back", false), clearing("Back", true), clearing("Forward", false),
                                 clearing("Forward", true), clearing("Home", false), separator()};
    const size_t first = names.size() > kHistoryMenuTitles ? names.size() - kHistoryMenuTitles : 0;
    out.reserve(out.size() + names.size() - first + 2);
    for (size_t i = first; i < names.size(); ++i)
        out.push_back(historyItem(names[i]));
    if (!names.empty()) {
        out.push_back(separator());
        out.push_back(clearing("Clear History", false));
    }
    return out;
}

KTMenuItem KTMainMenu::historyItem(const std::string& name)
{
    KTMenuItem i = item(name, "open-history");
    i.target = name;
    return i;
}

std::vector<KTMenuItem> KTMainMenu::bookmarksMenu(const std::vector<std::string>& names, bool canAdd)
{
    KTMenuItem add = item("Add bookmark", "add-bookmark");
    add.tag = kAddBookmarkTag;
    add.enabled = canAdd;
    KTMenuItem remove = item("Remove bookmark", "remove-bookmark");
    remove.tag = kRemoveBookmarkTag;
    remove.enabled = !names.empty();
    std::vector<KTMenuItem> out {add, remove, separator()};
    for (const auto& name : names) {
        KTMenuItem i = item(name, "open-bookmark");
        i.target = name;
        out.push_back(std::move(i));
    }
    return out;
}

const std::vector<KTAccelerator>& KTMainMenu::accelerators()
{
    // Control stands for Command and Alt for Option; where a Linux browser
    // has its own key for a command (back, reload, tabs) that key is used.
    static const std::vector<KTAccelerator> table = {
        {"preferences", {"<Control>comma"}},
        {"hide", {"<Control>h"}},
        {"quit", {"<Control>q"}},
        {"new-tab", {"<Control>t"}},
        {"new-window", {"<Control>n"}},
        {"focus-url", {"<Control>l", "<Alt>d", "F6"}},
        {"close-tab", {"<Control>w", "<Control>F4"}},
        {"close-window", {"<Control><Shift>w"}},
        {"print", {"<Control>p"}},
        {"undo", {"<Control>z"}, true},
        {"redo", {"<Control><Shift>z"}, true},
        {"cut", {"<Control>x"}, true},
        {"copy", {"<Control>c"}, true},
        {"paste", {"<Control>v"}, true},
        {"select-all", {"<Control>a"}, true},
        {"find", {"<Control>f"}},
        {"toggle-toolbar", {"<Control><Shift>l"}},
        {"show-bookmark-bar", {"<Control><Shift>b"}},
        {"reload", {"<Control>r", "F5"}},
        {"zoom-in", {"<Control>plus", "<Control>equal", "<Control>KP_Add"}},
        {"zoom-out", {"<Control>minus", "<Control>KP_Subtract"}},
        {"zoom-reset", {"<Control>0", "<Control>KP_0"}},
        {"back", {"<Alt>Left"}},
        {"forward", {"<Alt>Right"}},
        {"home", {"<Alt>Home"}},
        {"add-bookmark", {"<Control>d"}},
        {"minimize", {"<Control>m"}},
        {"next-tab", {"<Control>Page_Down", "<Control>Tab"}},
        {"previous-tab", {"<Control>Page_Up", "<Control><Shift>ISO_Left_Tab"}},
    };
    return table;
}

std::vector<const char*> KTMainMenu::acceleratorsFor(const std::string& action)
{
    for (const auto& a : accelerators())
        if (action == a.action)
            return a.accels;
    return {};
}

std::vector<KTMenuItem> KTMainMenu::statusItemMenu()
{
    return {item("Add Tab", "new-tab"), item("Switch to Regular Mode", "switch-to-normal-mode"),
            item("Preferences", "preferences"), item("Quit", "quit")};
}

KTCloseTabRule KTMainMenu::closeTabRule(size_t tabCount)
{
    if (tabCount >= 3)
        return KTCloseTabRule::RemoveTab;
    if (tabCount == 2)
        return KTCloseTabRule::RemoveTabAndHideTabBar;
    return KTCloseTabRule::CloseWindow;
}

} // namespace quilt
