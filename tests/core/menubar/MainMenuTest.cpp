// The main menu's rules: what the switches offer, the History and Bookmarks
// menus as they are rebuilt, the close-tab rule and the key table.

#include "core/menubar/KTMainMenu.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>

using namespace quilt;

namespace {

using Strings = std::vector<std::string>;

Strings titles(const std::vector<KTMenuItem>& items, bool withHidden = true)
{
    Strings out;
    for (const auto& i : items)
        if (withHidden || !i.hidden)
            out.push_back(i.separator() ? "-" : i.title);
    return out;
}

const KTMenu* menu(const std::vector<KTMenu>& menus, const std::string& id)
{
    auto it = std::find_if(menus.begin(), menus.end(), [&](const KTMenu& m) { return m.id == id; });
    return it == menus.end() ? nullptr : &*it;
}

bool offers(const std::vector<KTMenu>& menus, const std::string& action)
{
    for (const auto& m : menus)
        for (const auto& i : m.items)
            if (i.action == action)
                return true;
    return false;
}

TEST(MainMenuTest, WithoutConfigurationEveryPartIsOffered)
{
    auto menus = KTMainMenu::menus("Mail", {});
    Strings ids;
    for (const auto& m : menus)
        ids.push_back(m.id);
    EXPECT_EQ(ids, (Strings{"app", "file", "edit", "view", "history", "bookmarks", "window", "help"}));
    EXPECT_EQ(menus[0].title, "Mail");
    EXPECT_EQ(titles(menus[0].items),
              (Strings{"About Mail", "Preferences…", "-", "Show in Menu Bar", "-", "Hide Mail", "Quit Mail"}));
    EXPECT_EQ(titles(menu(menus, "help")->items), Strings{"Mail Help"});
    for (const char* action : {"request-mobile", "request-desktop", "user-scripts", "user-styles",
                               "show-bookmark-bar", "toggle-toolbar", "empty-cache", "find"})
        EXPECT_TRUE(offers(menus, action)) << action;
}

TEST(MainMenuTest, SwitchesHideTheirItemsAndLeaveNoStraySeparators)
{
    KTMenuSwitches s;
    s.statusBarOption = false;
    s.hidePreferences = true;
    s.userScriptStyleOption = false;
    s.mobileDesktopOption = false;
    s.hideBookmark = true;
    s.toolbarItem = false;
    auto menus = KTMainMenu::menus("Mail", s);
    EXPECT_FALSE(menu(menus, "bookmarks"));
    for (const char* action : {"status-bar-mode", "preferences", "user-scripts", "user-styles", "request-mobile",
                               "request-desktop", "show-bookmark-bar", "toggle-toolbar"})
        EXPECT_FALSE(offers(menus, action)) << action;
    EXPECT_EQ(titles(menus[0].items), (Strings{"About Mail", "-", "Hide Mail", "Quit Mail"}));
    for (const auto& m : menus) {
        for (size_t i = 0; i < m.items.size(); ++i) {
            EXPECT_FALSE(m.items[i].separator() && (i == 0 || i + 1 == m.items.size() || m.items[i - 1].separator()))
                << m.id << " item " << i;
        }
    }
    // The bookmark bar item names what choosing it will do.
    s = {};
    s.bookmarkBarShown = true;
    auto shown = KTMainMenu::menus("M", s);
    const auto& view = menu(shown, "view")->items;
    EXPECT_TRUE(std::any_of(view.begin(), view.end(), [](const KTMenuItem& i) { return i.title == "Hide Bookmark Bar"; }));
}

TEST(MainMenuTest, HistoryMenuListsOldestFirstAndItsNavigationItemsClearTheHistory)
{
    auto empty = KTMainMenu::historyMenu({});
    EXPECT_EQ(titles(empty, false), (Strings{"Back", "Forward", "Home", "-"}));
    EXPECT_EQ(titles(empty), (Strings{"Back", "Back", "Forward", "Forward", "Home", "-"}));

    auto full = KTMainMenu::historyMenu({"Old", "New"});
    EXPECT_EQ(titles(full, false), (Strings{"Back", "Forward", "Home", "-", "Old", "New", "-", "Clear History"}));
    for (const auto& i : full) {
        if (i.title == "Old" || i.title == "New") {
            EXPECT_EQ(i.action, "open-history");
            EXPECT_EQ(i.target, i.title);
        } else if (!i.separator()) {
            EXPECT_EQ(i.action, "clear-history") << i.title;
        }
    }

    // Years of titles: the menu lists the latest ones, still oldest first.
    Strings many;
    for (size_t n = 0; n < KTMainMenu::kHistoryMenuTitles + 50; ++n)
        many.push_back("Page " + std::to_string(n));
    auto latest = titles(KTMainMenu::historyMenu(many), false);
    ASSERT_EQ(latest.size(), KTMainMenu::kHistoryMenuTitles + 6);
    EXPECT_EQ(latest[4], "Page 50");
    EXPECT_EQ(latest[latest.size() - 3], "Page " + std::to_string(KTMainMenu::kHistoryMenuTitles + 49));
    EXPECT_EQ(latest.back(), "Clear History");
}

TEST(MainMenuTest, BookmarksMenuEnablesAddAndRemoveOnlyWhenTheyApply)
{
    auto none = KTMainMenu::bookmarksMenu({}, false);
    ASSERT_EQ(titles(none), (Strings{"Add bookmark", "Remove bookmark", "-"}));
    EXPECT_FALSE(none[0].enabled || none[1].enabled); // no page to bookmark

    auto some = KTMainMenu::bookmarksMenu({"B", "a"}, true);
    EXPECT_EQ(titles(some), (Strings{"Add bookmark", "Remove bookmark", "-", "B", "a"}));
    EXPECT_TRUE(some[0].enabled && some[1].enabled);
    EXPECT_EQ(some[3].action, "open-bookmark");
    EXPECT_EQ(some[4].target, "a");
}

TEST(MainMenuTest, CloseTabRuleByTabCount)
{
    using R = KTCloseTabRule;
    const std::vector<R> rules = {R::CloseWindow, R::CloseWindow, R::RemoveTabAndHideTabBar, R::RemoveTab, R::RemoveTab};
    for (size_t tabs = 0; tabs < rules.size(); ++tabs)
        EXPECT_EQ(KTMainMenu::closeTabRule(tabs), rules[tabs]) << tabs;
}

TEST(MainMenuTest, EveryKeyBelongsToOneCommandAndEveryCommandWithKeysIsInTheMenu)
{
    std::set<std::string> seen;
    auto menus = KTMainMenu::menus("M", {});
    for (const auto& a : KTMainMenu::accelerators()) {
        for (const char* accel : a.accels)
            EXPECT_TRUE(seen.insert(accel).second) << accel << " is bound twice";
        // Back, forward and home live on the toolbar and the keys only.
        std::string action = a.action;
        bool keysOnly = action == "back" || action == "forward" || action == "home" || action == "add-bookmark";
        EXPECT_TRUE(keysOnly || offers(menus, action)) << action;
    }
    const auto find = KTMainMenu::acceleratorsFor("find");
    EXPECT_EQ(std::vector<std::string>(find.begin(), find.end()), std::vector<std::string>{"<Control>f"});
    EXPECT_TRUE(KTMainMenu::acceleratorsFor("clear-history").empty());
}

TEST(MainMenuTest, MenuBarShowsWhileTheToolbarIsOffOrAltIsHeld)
{
    EXPECT_TRUE(KTMainMenu::menuBarVisible(false, false));
    EXPECT_FALSE(KTMainMenu::menuBarVisible(true, false));
    EXPECT_TRUE(KTMainMenu::menuBarVisible(true, true));
}

} // namespace
