#include "ui/menubar/KTMainMenuController.h"

#include "core/config/KTBookmarksManager.h"
#include "core/config/KTHistoryManager.h"
#include "core/config/KTNotificationNames.h"
#include "core/web/KTUserAgents.h"

namespace quilt {

KTMainMenuController::KTMainMenuController(std::string appName, GActionMap* actions)
    : appName_(std::move(appName))
    , actions_(actions)
{
    root_ = g_menu_new();
    history_ = g_menu_new();
    bookmarks_ = g_menu_new();
    agents_ = g_menu_new();
    for (const char* name : KTUserAgents::kNames) {
        GMenuItem* item = g_menu_item_new(name, nullptr);
        g_menu_item_set_action_and_target_value(item, "app.user-agent", g_variant_new_string(name));
        g_menu_append_item(agents_, item);
        g_object_unref(item);
    }
    // A bookmark added or removed anywhere changes what Remove can do.
    bookmarksChanged_ = KTObservation(names::kShowBookmark, [this](const KTNotification&) { refresh(); });
    rebuild();
}

KTMainMenuController::~KTMainMenuController()
{
    for (GMenu* m : {root_, history_, bookmarks_, agents_})
        g_object_unref(m);
}

void KTMainMenuController::rebuild()
{
    g_menu_remove_all(root_);
    for (const KTMenu& m : KTMainMenu::menus(appName_, switches_)) {
        GMenu* sub = m.id == "history" ? history_ : m.id == "bookmarks" ? bookmarks_ : fill(g_menu_new(), m.items);
        GMenuItem* item = g_menu_item_new_submenu(m.title.c_str(), G_MENU_MODEL(sub));
        g_menu_item_set_attribute(item, "quilt-id", "s", m.id.c_str());
        g_menu_append_item(root_, item);
        g_object_unref(item);
        if (sub != history_ && sub != bookmarks_)
            g_object_unref(sub);
    }
    refresh();
}

void KTMainMenuController::menuWillOpen()
{
    open_ = true;
    refresh();
}

void KTMainMenuController::refresh()
{
    // A store still loading in the background is waited for only when its
    // menu opens: until then its menu keeps what it showed (at first, empty).
    const bool history = open_ || KTHistoryManager::isSharedReady();
    const bool bookmarks = open_ || KTBookmarksManager::isSharedReady();
    std::vector<std::string> names;
    if (bookmarks)
        names = KTBookmarksManager::sharedManager().bookmarks();
    bool canAdd = canAddBookmark && canAddBookmark();
    if (firstFill_) {
        // The empty menus get their first items even when there are none.
        firstFill_ = false;
        fill(history_, historyShown_ = KTMainMenu::historyMenu({}));
        fill(bookmarks_, bookmarksShown_ = KTMainMenu::bookmarksMenu({}, canAdd));
    }
    if (history)
        followHistory();
    if (bookmarks)
        refill(bookmarks_, bookmarksShown_, KTMainMenu::bookmarksMenu(names, canAdd));
    if (open_) {
        enable("add-bookmark", canAdd);
        enable("remove-bookmark", !names.empty());
    }
}

void KTMainMenuController::menuDidClose()
{
    open_ = false;
    enable("add-bookmark", true);
    enable("remove-bookmark", true);
}

void KTMainMenuController::refill(GMenu* menu, std::vector<KTMenuItem>& shown, std::vector<KTMenuItem> items)
{
    if (items == shown)
        return;
    fill(menu, items);
    shown = std::move(items);
}

void KTMainMenuController::followHistory()
{
    auto& store = KTHistoryManager::sharedManager();
    const uint64_t revision = store.revision();
    if (revision == historyRevision_)
        return;
    refill(history_, historyShown_,
           KTMainMenu::historyMenu(store.latestByDateNames(KTMainMenu::kHistoryMenuTitles)));
    historyRevision_ = revision;
}

GMenuItem* KTMainMenuController::newItem(const KTMenuItem& i)
{
    GMenuItem* item = g_menu_item_new(i.title.c_str(), nullptr);
    const std::string action = "app." + i.action;
    g_menu_item_set_action_and_target_value(item, action.c_str(),
                                            i.target ? g_variant_new_string(i.target->c_str()) : nullptr);
    if (i.tag)
        g_menu_item_set_attribute(item, "quilt-tag", "x", gint64(i.tag));
    // Keys the focused entry or page answers itself are only shown.
    for (const auto& a : KTMainMenu::accelerators())
        if (a.focusHandles && i.action == a.action)
            g_menu_item_set_attribute(item, "accel", "s", a.accels.front());
    return item;
}

GMenu* KTMainMenuController::fill(GMenu* menu, const std::vector<KTMenuItem>& items)
{
    // Separators are the borders between sections of a GMenu.
    g_menu_remove_all(menu);
    GMenu* section = g_menu_new();
    auto close = [&] {
        if (g_menu_model_get_n_items(G_MENU_MODEL(section)) > 0)
            g_menu_append_section(menu, nullptr, G_MENU_MODEL(section));
        g_object_unref(section);
        section = g_menu_new();
    };
    for (const KTMenuItem& i : items) {
        if (i.hidden)
            continue;
        if (i.separator()) {
            close();
            continue;
        }
        GMenuItem* item = i.submenu == "user-agent" ? g_menu_item_new_submenu(i.title.c_str(), G_MENU_MODEL(agents_))
                                                    : newItem(i);
        g_menu_append_item(section, item);
        g_object_unref(item);
    }
    close();
    g_object_unref(section);
    return menu;
}

void KTMainMenuController::enable(const char* action, bool enabled)
{
    if (!actions_)
        return;
    if (GAction* a = g_action_map_lookup_action(actions_, action); a && G_IS_SIMPLE_ACTION(a))
        g_simple_action_set_enabled(G_SIMPLE_ACTION(a), enabled);
}

} // namespace quilt
