// The main menu in the running application, used as a person would: the
// menu bar and its switches, the History and Bookmarks menus with the
// bookmark popovers, a shortcut word typed into the address entry, and the
// system-wide hot key bringing the real app forward.

#include "support/AppTest.h"

#include "app/AppDelegate.h"
#include "core/config/KTBookmarksManager.h"
#include "core/config/KTFileUtil.h"
#include "core/config/KTHistoryManager.h"
#include "core/config/KTUserDefaults.h"
#include "ui/windows/KTMainWindowController.h"

#include <gtk/gtk.h>

#include <algorithm>

namespace quilt::test {
namespace {

using Strings = std::vector<std::string>;

Strings texts(const std::vector<GtkWidget*>& items)
{
    Strings out;
    for (GtkWidget* i : items)
        out.push_back(menuItemText(i));
    return out;
}

GtkWidget* itemNamed(const std::vector<GtkWidget*>& items, const std::string& text)
{
    for (GtkWidget* i : items)
        if (menuItemText(i) == text)
            return i;
    return nullptr;
}

class AppMenusTest : public AppTest {
protected:
    void SetUp() override
    {
        AppTest::SetUp();
        if (IsSkipped())
            return;
        for (const char* p : {"/home", "/a", "/b"})
            server->route(p, HttpPage::html(std::string("Page ") + p));
        writeDataFile("settings.json", {{"main_url", server->url("/home")}, {"showBookmark", true}});
    }

    static GtkWidget* menuBar(KTMainWindowController& w) { return w.menuBar() ? w.menuBar()->widget() : nullptr; }
    static Strings barTitles(KTMainWindowController& w)
    {
        Strings out;
        GList* kids = gtk_container_get_children(GTK_CONTAINER(menuBar(w)));
        for (GList* l = kids; l; l = l->next)
            out.push_back(menuItemText(GTK_WIDGET(l->data)));
        g_list_free(kids);
        return out;
    }
    // Opens a menu of the bar with a click; its items once it is up.
    static std::vector<GtkWidget*> openMenu(KTMainWindowController& w, const std::string& title)
    {
        GtkWidget* item = findChild(menuBar(w), [&](GtkWidget* c) {
            return GTK_IS_MENU_ITEM(c) && menuItemText(c) == title;
        });
        EXPECT_TRUE(item) << title;
        if (!item || !clickWidget(item))
            return {};
        GtkWidget* submenu = gtk_menu_item_get_submenu(GTK_MENU_ITEM(item));
        // Up, and laid out: the items have their places.
        waitUntil([&] {
            auto items = poppedUpMenuItems();
            return submenu && gtk_widget_get_mapped(submenu) && !items.empty()
                && std::all_of(items.begin(), items.end(), [](GtkWidget* i) { return gtk_widget_get_allocated_width(i) > 1; });
        });
        // GTK takes a click that comes within half a second of the one that
        // opened the menu for the end of that one, and drops it.
        waitUntil([] { return false; }, 600ms);
        return poppedUpMenuItems();
    }
    static void closeMenus(KTMainWindowController& w)
    {
        gtk_menu_shell_deactivate(GTK_MENU_SHELL(menuBar(w)));
        waitUntil([] { return poppedUpMenuItems().empty(); });
    }
    // The popover that holds the window's focus, once one does.
    static GtkWidget* focusedPopover(KTMainWindowController& w, const char* name)
    {
        GtkWidget* popover = nullptr;
        waitUntil([&] {
            GtkWidget* focus = gtk_window_get_focus(w.window().window());
            popover = focus ? gtk_widget_get_ancestor(focus, GTK_TYPE_POPOVER) : nullptr;
            return popover && gtk_widget_get_name(popover) == std::string(name);
        });
        return popover;
    }
};

TEST_F(AppMenusTest, MenuBarStandsInForTheToolbarShowsWithAltAndFollowsItsSwitches)
{
    runAppAtHome([&](AppDelegate& app, KTMainWindowController& w) {
        ASSERT_TRUE(menuBar(w));
        GtkWidget* window = GTK_WIDGET(w.window().window());
        EXPECT_TRUE(waitUntil([&] { return gtk_widget_is_visible(menuBar(w)); }));
        Strings titles = barTitles(w);
        ASSERT_FALSE(titles.empty());
        EXPECT_EQ(Strings(titles.begin() + 1, titles.end()),
                  (Strings {"File", "Edit", "View", "History", "Bookmarks", "Window", "Help"}));

        // The toolbar's key puts the toolbar up and the bar away.
        ASSERT_TRUE(xdotoolIn(window, {"key", "ctrl+shift+l"}));
        ASSERT_TRUE(waitUntil([&] { return w.toolbarShown(); }));
        EXPECT_FALSE(gtk_widget_is_visible(menuBar(w)));
        ASSERT_TRUE(xdotoolIn(window, {"keydown", "Alt_L"}));
        EXPECT_TRUE(waitUntil([&] { return gtk_widget_is_visible(menuBar(w)); }));
        ASSERT_TRUE(xdotoolIn(window, {"keyup", "Alt_L"}));
        EXPECT_TRUE(waitUntil([&] { return !gtk_widget_is_visible(menuBar(w)); }));

        // A configuration that hides the bookmarks takes the menu away, and
        // gives it back; the menu-bar items follow their own switch.
        app.setBookmark(true);
        EXPECT_TRUE(waitUntil([&] {
            auto t = barTitles(w);
            return std::find(t.begin(), t.end(), "Bookmarks") == t.end() && t.size() == 7;
        }));
        app.setBookmark(false);
        EXPECT_TRUE(waitUntil([&] { return barTitles(w).size() == 8; }));
        ASSERT_TRUE(xdotoolIn(window, {"key", "ctrl+shift+l"}));
        ASSERT_TRUE(waitUntil([&] { return gtk_widget_is_visible(menuBar(w)); }));
        app.setStausBarOption(false);
        app.setHidePreferences(true);
        Strings appMenu = texts(openMenu(w, titles.front()));
        EXPECT_EQ(std::count(appMenu.begin(), appMenu.end(), "Preferences…"), 0) << ::testing::PrintToString(appMenu);
        EXPECT_EQ(std::count(appMenu.begin(), appMenu.end(), "Show in Menu Bar"), 0);
        EXPECT_EQ(appMenu.back(), "Quit " + titles.front());
        closeMenus(w);
    });
}

TEST_F(AppMenusTest, HistoryMenuIsRebuiltWhenOpenedAndItsBackItemClearsTheHistory)
{
    runAppAtHome([&](AppDelegate&, KTMainWindowController& w) {
        KTWebViewController* page = pageOf(&w);
        ASSERT_TRUE(loadAndWait(page, server->url("/a")));
        ASSERT_TRUE(loadAndWait(page, server->url("/b")));
        ASSERT_TRUE(waitUntil([] { return KTHistoryManager::sharedManager().sortedByDateNames().size() == 3; }));
        // Each visit under its own title.
        EXPECT_EQ(KTHistoryManager::sharedManager().getUrlByName("Page /a"), server->url("/a"));
        auto items = openMenu(w, "History");
        EXPECT_EQ(texts(items), (Strings {"Back", "Forward", "Home", "Page /home", "Page /a", "Page /b", "Clear History"}));
        ASSERT_TRUE(itemNamed(items, "Page /a"));
        ASSERT_TRUE(clickWidget(itemNamed(items, "Page /a")));
        EXPECT_TRUE(waitShown(page, server->url("/a")));
        // The visit is recorded before the menu opens again.
        ASSERT_TRUE(waitLoaded(page, server->url("/a")));

        // The menu follows the visit: the title moves to the end.
        items = openMenu(w, "History");
        EXPECT_EQ(texts(items), (Strings {"Back", "Forward", "Home", "Page /home", "Page /b", "Page /a", "Clear History"}));
        // Back here clears the history; the page stays where it is.
        ASSERT_TRUE(itemNamed(items, "Back"));
        ASSERT_TRUE(clickWidget(itemNamed(items, "Back")));
        EXPECT_TRUE(waitUntil([] { return KTHistoryManager::sharedManager().sortedByDateNames().empty(); }));
        EXPECT_EQ(page->url(), server->url("/a"));
        EXPECT_EQ(texts(openMenu(w, "History")), (Strings {"Back", "Forward", "Home"}));
        closeMenus(w);
    });
}

TEST_F(AppMenusTest, BookmarksAreAddedAndRemovedThroughTheMenuAndThePopovers)
{
    runAppAtHome([&](AppDelegate&, KTMainWindowController& w) {
        GtkWidget* window = GTK_WIDGET(w.window().window());
        auto items = openMenu(w, "Bookmarks");
        ASSERT_EQ(texts(items), (Strings {"Add bookmark", "Remove bookmark"}));
        EXPECT_TRUE(gtk_widget_is_sensitive(items[0]));
        EXPECT_FALSE(gtk_widget_is_sensitive(items[1])) << "nothing to remove yet";
        ASSERT_TRUE(clickWidget(items[0]));

        GtkWidget* add = focusedPopover(w, "AddBookmarks");
        ASSERT_TRUE(add);
        GtkWidget* entry = gtk_window_get_focus(w.window().window());
        EXPECT_STREQ(gtk_entry_get_text(GTK_ENTRY(entry)), "Page /home") << "the page title names it at first";
        ASSERT_TRUE(xdotoolIn(window, {"key", "ctrl+a", "type", "Mine"}));
        ASSERT_TRUE(xdotoolIn(window, {"key", "Return"}));
        ASSERT_TRUE(waitUntil([] { return KTBookmarksManager::sharedManager().getUrlByName("Mine").has_value(); }));
        EXPECT_EQ(KTBookmarksManager::sharedManager().getUrlByName("Mine"), server->url("/home"));
        EXPECT_TRUE(waitUntil([&] {
            return findChild(window, [](GtkWidget* c) {
                return GTK_IS_BUTTON(c) && gtk_widget_is_visible(c) && gtk_button_get_label(GTK_BUTTON(c))
                    && gtk_button_get_label(GTK_BUTTON(c)) == std::string("Mine");
            });
        })) << "the bookmark bar has its button";

        items = openMenu(w, "Bookmarks");
        ASSERT_EQ(texts(items), (Strings {"Add bookmark", "Remove bookmark", "Mine"}));
        EXPECT_TRUE(gtk_widget_is_sensitive(items[1]));
        ASSERT_TRUE(clickWidget(items[1]));
        GtkWidget* remove = focusedPopover(w, "RemoveBookmarks");
        ASSERT_TRUE(remove);
        GtkWidget* button = findChild(remove, [](GtkWidget* c) {
            return GTK_IS_BUTTON(c) && gtk_button_get_label(GTK_BUTTON(c))
                && gtk_button_get_label(GTK_BUTTON(c)) == std::string("Remove");
        });
        ASSERT_TRUE(button);
        ASSERT_TRUE(clickWidget(button));
        EXPECT_TRUE(waitUntil([] { return KTBookmarksManager::sharedManager().bookmarks().empty(); }));
        items = openMenu(w, "Bookmarks");
        ASSERT_EQ(items.size(), 2u);
        EXPECT_FALSE(gtk_widget_is_sensitive(items[1]));
        closeMenus(w);

        // With the menus closed the key asks for a name too.
        ASSERT_TRUE(xdotoolIn(window, {"key", "ctrl+d"}));
        EXPECT_TRUE(focusedPopover(w, "AddBookmarks"));
        ASSERT_TRUE(xdotoolIn(window, {"key", "Escape"}));
    });
}

TEST_F(AppMenusTest, AShortcutWordTypedInTheAddressEntryOpensItsAddressInItsOwnCaseOnly)
{
    writeDataFile("shortcuts.json", {{"mine", server->url("/a")}});
    runAppAtHome([&](AppDelegate&, KTMainWindowController& w) {
        GtkWidget* window = GTK_WIDGET(w.window().window());
        KTWebViewController* page = pageOf(&w);
        ASSERT_TRUE(xdotoolIn(window, {"key", "ctrl+l"}));
        ASSERT_TRUE(waitUntil([&] { return gtk_widget_has_focus(GTK_WIDGET(w.urlTextField().entry())); }));
        ASSERT_TRUE(xdotoolIn(window, {"key", "ctrl+a", "type", "mine"}));
        ASSERT_TRUE(xdotoolIn(window, {"key", "Return"}));
        EXPECT_TRUE(waitShown(page, server->url("/a")));

        ASSERT_TRUE(xdotoolIn(window, {"key", "ctrl+l", "ctrl+a", "type", "Mine"}));
        ASSERT_TRUE(xdotoolIn(window, {"key", "Return"}));
        // Not a shortcut: the text is searched for instead.
        EXPECT_TRUE(waitUntil([&] { return page->url().find("Mine") != std::string::npos; })) << page->url();
        EXPECT_EQ(server->hits("/a"), 1u);
    });
}

// The real app in its own process, with a hot key recorded.
TEST_F(AppMenusTest, TheGlobalHotKeyBringsTheAppsWindowForward)
{
    if (!KTFileUtil::exists(AppBundle::templatePath() + "/Contents/MacOS/DefaultApp"))
        GTEST_SKIP() << "no template bundle at " << AppBundle::templatePath();
    AppBundle bundle(env->root(), "HotKey");
    bundle.writeDataFile("settings.json", {{"main_url", server->url("/home")}});
    env->writeFile(KTUserDefaults::pathForBundleIdentifier(bundle.bundleIdentifier()),
                   "[Defaults]\nglobalShortcutKey=<Control><Alt>k\n");
    AppProcess app(bundle, {}, env->root() + "/hotkey.log");
    ASSERT_TRUE(waitUntil([&] { return visibleWindows(bundle.bundleIdentifier()).size() == 1; }, 20s)) << app.log();
    std::string appWindow = visibleWindows(bundle.bundleIdentifier()).front();

    // Another program's window takes the focus, over the app's.
    GtkWidget* other = focusOtherWindow();
    ASSERT_TRUE(runProgram({"xdotool", "key", "ctrl+alt+k"}, 5s).exitCode == 0);
    EXPECT_TRUE(waitUntil([&] { return activeWindow() == appWindow; }, 10s)) << app.log();
    gtk_widget_destroy(other);
}

} // namespace
} // namespace quilt::test
