#include "app/KTMenuCommands.h"

#include "app/AppDelegate.h"
#include "app/KTDockMonitor.h"
#include "core/config/KTBookmarksManager.h"
#include "core/config/KTHistoryManager.h"
#include "core/config/KTLog.h"
#include "core/config/KTNotificationNames.h"
#include "core/config/KTQuiltManager.h"
#include "core/config/KTSettingsManager.h"
#include "core/menubar/KTMainMenu.h"
#include "ui/dialogs/KTBookmarkViewController.h"
#include "ui/windows/KTMainWindowController.h"
#include "web/KTWebContext.h"

#include <webkit2/webkit2.h>

namespace quilt {

namespace {
KTTabViewController* frontTabs(AppDelegate& app)
{
    auto* top = app.getTopMainController();
    return top ? top->tabController() : nullptr;
}

KTWebViewController* frontPage(AppDelegate& app)
{
    auto* tabs = frontTabs(app);
    return tabs ? tabs->selectedWebViewController() : nullptr;
}

void post(const char* name) { KTNotificationCenter::defaultCenter().post(name); }

struct Command {
    const char* name;
    void (*run)(KTMenuCommands&, AppDelegate&, const std::string& argument);
    bool takesText = false;
};

// Commands whose names are listed in the menu but that this version does
// not offer yet (help) are not actions at all, so their items show
// insensitive.
const Command commands[] = {
    {"about", [](KTMenuCommands& c, AppDelegate&, const std::string&) { c.aboutClick(); }},
    {"hide", [](KTMenuCommands&, AppDelegate& a, const std::string&) { a.hideApplication(); }},
    {"preferences", [](KTMenuCommands&, AppDelegate& a, const std::string&) { a.showPreferences(); }},
    {"user-scripts", [](KTMenuCommands&, AppDelegate& a, const std::string&) { a.showPreferences("user-content"); }},
    {"user-styles", [](KTMenuCommands&, AppDelegate& a, const std::string&) { a.showPreferences("user-content"); }},
    {"quit", [](KTMenuCommands&, AppDelegate& a, const std::string&) { a.quit(true); }},
    {"new-tab", [](KTMenuCommands&, AppDelegate& a, const std::string&) {
         if (auto* t = frontTabs(a))
             t->addNewTab();
     }},
    {"new-window", [](KTMenuCommands&, AppDelegate& a, const std::string&) { a.newWindowClick(); }},
    {"status-bar-mode", [](KTMenuCommands&, AppDelegate& a, const std::string&) { a.showAsStatusItem(); }},
    {"switch-to-normal-mode", [](KTMenuCommands&, AppDelegate& a, const std::string&) { a.switchToNormalMode(); }},
    {"focus-url", [](KTMenuCommands&, AppDelegate& a, const std::string&) {
         if (auto* top = a.getTopMainController())
             top->editUrl();
     }},
    {"close-tab", [](KTMenuCommands&, AppDelegate& a, const std::string&) { a.closeTab(); }},
    {"close-window", [](KTMenuCommands&, AppDelegate& a, const std::string&) {
         if (auto* top = a.getTopMainController())
             top->close();
     }},
    {"print", [](KTMenuCommands&, AppDelegate&, const std::string&) { post(names::kPrintPage); }},
    {"undo", [](KTMenuCommands& c, AppDelegate&, const std::string&) { c.editCommand("Undo"); }},
    {"redo", [](KTMenuCommands& c, AppDelegate&, const std::string&) { c.editCommand("Redo"); }},
    {"cut", [](KTMenuCommands& c, AppDelegate&, const std::string&) { c.editCommand(WEBKIT_EDITING_COMMAND_CUT); }},
    {"copy", [](KTMenuCommands& c, AppDelegate&, const std::string&) { c.editCommand(WEBKIT_EDITING_COMMAND_COPY); }},
    {"paste", [](KTMenuCommands& c, AppDelegate&, const std::string&) { c.editCommand(WEBKIT_EDITING_COMMAND_PASTE); }},
    {"select-all", [](KTMenuCommands& c, AppDelegate&, const std::string&) {
         c.editCommand(WEBKIT_EDITING_COMMAND_SELECT_ALL);
     }},
    {"find", [](KTMenuCommands& c, AppDelegate&, const std::string&) { c.searchClick(); }},
    {"toggle-toolbar", [](KTMenuCommands&, AppDelegate& a, const std::string&) {
         if (auto* top = a.getTopMainController())
             top->toggleToolbar();
     }},
    {"show-bookmark-bar", [](KTMenuCommands& c, AppDelegate&, const std::string&) { c.showBookmarkBarClick(); }},
    {"reload", [](KTMenuCommands&, AppDelegate&, const std::string&) { post(names::kReload); }},
    {"stop", [](KTMenuCommands&, AppDelegate&, const std::string&) { post(names::kStop); }},
    {"zoom-in", [](KTMenuCommands&, AppDelegate&, const std::string&) { post(names::kZoomIn); }},
    {"zoom-out", [](KTMenuCommands&, AppDelegate&, const std::string&) { post(names::kZoomOut); }},
    {"zoom-reset", [](KTMenuCommands&, AppDelegate&, const std::string&) { post(names::kResetZoom); }},
    {"request-desktop", [](KTMenuCommands&, AppDelegate&, const std::string&) { post(names::kRequestDesktopVersion); }},
    {"request-mobile", [](KTMenuCommands&, AppDelegate&, const std::string&) { post(names::kRequestMobileVersion); }},
    {"empty-cache", [](KTMenuCommands& c, AppDelegate&, const std::string&) { c.emptyCacheClick(); }},
    {"back", [](KTMenuCommands&, AppDelegate& a, const std::string&) {
         if (auto* t = frontTabs(a))
             t->goBack();
     }},
    {"forward", [](KTMenuCommands&, AppDelegate& a, const std::string&) {
         if (auto* t = frontTabs(a))
             t->goForward();
     }},
    {"home", [](KTMenuCommands&, AppDelegate& a, const std::string&) {
         if (auto* t = frontTabs(a))
             t->goHome();
     }},
    {"clear-history", [](KTMenuCommands& c, AppDelegate&, const std::string&) { c.clearHistoryAction(); }},
    {"open-history", [](KTMenuCommands& c, AppDelegate&, const std::string& t) { c.itemClick(t); }, true},
    {"add-bookmark", [](KTMenuCommands& c, AppDelegate&, const std::string&) { c.addBookmarkClick(); }},
    {"remove-bookmark", [](KTMenuCommands& c, AppDelegate&, const std::string&) { c.removeBookmarkClick(); }},
    {"open-bookmark", [](KTMenuCommands& c, AppDelegate&, const std::string& t) { c.bookmarkClick(t); }, true},
    {"minimize", [](KTMenuCommands&, AppDelegate& a, const std::string&) {
         if (auto* top = a.getTopMainController())
             gtk_window_iconify(top->window().window());
     }},
    {"toggle-dock-monitor", [](KTMenuCommands&, AppDelegate& a, const std::string&) {
         a.dockMonitor().toggleDockMonitor();
     }},
    {"edit-dock-monitor", [](KTMenuCommands&, AppDelegate& a, const std::string&) { a.dockMonitor().editDockMonitor(); }},
    {"next-tab", [](KTMenuCommands&, AppDelegate& a, const std::string&) {
         if (auto* t = frontTabs(a))
             t->selectRelative(1);
     }},
    {"previous-tab", [](KTMenuCommands&, AppDelegate& a, const std::string&) {
         if (auto* t = frontTabs(a))
             t->selectRelative(-1);
     }},
};
} // namespace

KTMenuCommands::KTMenuCommands(AppDelegate& app, GtkApplication* application)
    : app_(app)
    , application_(application)
{
    install();
    menu_ = std::make_unique<KTMainMenuController>(KTQuiltManager::applicationName(), G_ACTION_MAP(application_));
    menu_->canAddBookmark = [this] {
        auto* page = frontPage(app_);
        return page && !page->url().empty();
    };
    auto& settings = KTSettingsManager::sharedManager();
    menu_->switches().hidePreferences = settings.hidePreferences();
    enablePreferences(!settings.hidePreferences());
    menu_->switches().bookmarkBarShown = settings.showBookmarkBar();
    menu_->switches().toolbarItem = !KTQuiltManager::enterpriseBuild();
    menu_->rebuild();
    setStatusBarModeShown(false);
}

KTMenuCommands::~KTMenuCommands() = default;

void KTMenuCommands::setStatusBarModeShown(bool shown)
{
    auto enable = [this](const char* name, bool enabled) {
        if (GAction* a = g_action_map_lookup_action(G_ACTION_MAP(application_), name))
            g_simple_action_set_enabled(G_SIMPLE_ACTION(a), enabled);
    };
    enable("status-bar-mode", !shown);
    enable("switch-to-normal-mode", shown);
}

void KTMenuCommands::install()
{
    struct Bound {
        KTMenuCommands* self;
        const Command* command;
    };
    for (const Command& c : commands) {
        GSimpleAction* action = g_simple_action_new(c.name, c.takesText ? G_VARIANT_TYPE_STRING : nullptr);
        g_signal_connect_data(action, "activate", G_CALLBACK(+[](GSimpleAction*, GVariant* value, gpointer data) {
                                  auto* b = static_cast<Bound*>(data);
                                  std::string text = value ? g_variant_get_string(value, nullptr) : "";
                                  b->command->run(*b->self, b->self->app_, text);
                              }),
                              new Bound {this, &c}, [](gpointer data, GClosure*) { delete static_cast<Bound*>(data); },
                              GConnectFlags(0));
        g_action_map_add_action(G_ACTION_MAP(application_), G_ACTION(action));
        g_object_unref(action);
    }
    for (const KTAccelerator& a : KTMainMenu::accelerators()) {
        if (a.focusHandles)
            continue;
        std::vector<const char*> accels = a.accels;
        accels.push_back(nullptr);
        std::string detailed = std::string("app.") + a.action;
        gtk_application_set_accels_for_action(application_, detailed.c_str(), accels.data());
    }
}

void KTMenuCommands::searchClick()
{
    if (auto* page = frontPage(app_))
        page->biginSearch();
}

void KTMenuCommands::addBookmarkClick()
{
    auto* top = app_.getTopMainController();
    auto* page = frontPage(app_);
    if (!top || !page || page->url().empty())
        return;
    KTBookmarkViewController::showAddBookmark(top->tabController()->view(), page->url(), page->title());
}

void KTMenuCommands::removeBookmarkClick()
{
    auto* top = app_.getTopMainController();
    if (top && !KTBookmarksManager::sharedManager().bookmarks().empty())
        KTBookmarkViewController::showRemoveBookmark(top->tabController()->view());
}

void KTMenuCommands::itemClick(const std::string& title)
{
    // A title no longer in the store opens nothing.
    auto* top = app_.getTopMainController();
    if (auto url = KTHistoryManager::sharedManager().getUrlByName(title); url && top)
        top->openUrl(*url);
}

void KTMenuCommands::bookmarkClick(const std::string& name)
{
    auto* top = app_.getTopMainController();
    if (auto url = KTBookmarksManager::sharedManager().getUrlByName(name); url && top)
        top->openUrl(*url);
}

void KTMenuCommands::clearHistoryAction()
{
    // Saved with the other stores when the app quits.
    KTHistoryManager::sharedManager().clearHistory();
    menu_->refresh();
}

void KTMenuCommands::showBookmarkBarClick()
{
    auto& settings = KTSettingsManager::sharedManager();
    settings.setShowBookmarkBar(!settings.showBookmarkBar());
    setBookmarkTitle(settings.showBookmarkBar());
    post(names::kShowBookmark);
}

void KTMenuCommands::emptyCacheClick()
{
    // Through the engine: its network process holds the cache folder open.
    webkit_web_context_clear_cache(KTWebContext::shared().context());
}

void KTMenuCommands::aboutClick()
{
    auto* top = app_.getTopMainController();
    std::string name = KTQuiltManager::applicationName();
    gtk_show_about_dialog(top ? top->window().window() : nullptr, "program-name", name.c_str(), "logo-icon-name",
                          nullptr, "title", ("About " + name).c_str(), nullptr);
}

void KTMenuCommands::editCommand(const std::string& name)
{
    auto* top = app_.getTopMainController();
    GtkWidget* focus = top ? gtk_window_get_focus(top->window().window()) : nullptr;
    if (focus && GTK_IS_EDITABLE(focus)) {
        if (name == WEBKIT_EDITING_COMMAND_CUT)
            gtk_editable_cut_clipboard(GTK_EDITABLE(focus));
        else if (name == WEBKIT_EDITING_COMMAND_COPY)
            gtk_editable_copy_clipboard(GTK_EDITABLE(focus));
        else if (name == WEBKIT_EDITING_COMMAND_PASTE)
            gtk_editable_paste_clipboard(GTK_EDITABLE(focus));
        else if (name == WEBKIT_EDITING_COMMAND_SELECT_ALL)
            gtk_editable_select_region(GTK_EDITABLE(focus), 0, -1);
        return;
    }
    if (auto* page = frontPage(app_))
        webkit_web_view_execute_editing_command(page->webview(), name.c_str());
}

void KTMenuCommands::setStausBarOption(bool show)
{
    menu_->switches().statusBarOption = show;
    menu_->rebuild();
}

void KTMenuCommands::setHidePreferences(bool hide)
{
    menu_->switches().hidePreferences = hide;
    enablePreferences(!hide);
    menu_->rebuild();
}

void KTMenuCommands::enablePreferences(bool enabled)
{
    // Hidden means its key does nothing either.
    if (GAction* action = g_action_map_lookup_action(G_ACTION_MAP(application_), "preferences"))
        g_simple_action_set_enabled(G_SIMPLE_ACTION(action), enabled);
}

void KTMenuCommands::setUserScriptStyleOption(bool show)
{
    menu_->switches().userScriptStyleOption = show;
    menu_->rebuild();
}

void KTMenuCommands::setMobileDesktopOption(bool show)
{
    menu_->switches().mobileDesktopOption = show;
    menu_->rebuild();
}

void KTMenuCommands::setBookmark(bool hide)
{
    menu_->switches().hideBookmark = hide;
    menu_->rebuild();
}

void KTMenuCommands::disableToolBarMenuItem()
{
    menu_->switches().toolbarItem = false;
    menu_->rebuild();
}

void KTMenuCommands::setDockMonitorState(const std::string& title, bool editShown)
{
    menu_->switches().dockMonitorTitle = title;
    menu_->switches().editDockMonitorShown = editShown;
    menu_->rebuild();
}

void KTMenuCommands::setBookmarkTitle(bool shown)
{
    menu_->switches().bookmarkBarShown = shown;
    menu_->rebuild();
}

} // namespace quilt
