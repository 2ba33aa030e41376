// The preferences window in the running application, used as a person
// would: opened with its key, panes chosen in the sidebar, switches clicked
// and keys pressed; the effects checked in the files, the open page and
// what the window manager is told.

#include "support/AppTest.h"
#include "support/XWindow.h"

#include "app/AppDelegate.h"
#include "core/config/KTEnterpriseLocks.h"
#include "core/config/KTPlist.h"
#include "core/config/KTUserDefaults.h"
#include "ui/menubar/KTGlobalShortcut.h"
#include "ui/preferences/KTPreferencesWindow.h"
#include "ui/windows/KTMainWindowController.h"
#include "web/KTWebViewController.h"

#include <gtk/gtk.h>
#include <webkit2/webkit2.h>

namespace quilt::test {
namespace {

// A page that says in its title whether its script ran.
const char kScriptPage[] = "<html><head><title>no script</title></head>"
                           "<body><script>document.title = 'script ran'</script></body></html>";

class AppPreferencesTest : public AppTest {
protected:
    void SetUp() override
    {
        AppTest::SetUp();
        if (IsSkipped())
            return;
        HttpPage page;
        page.body = kScriptPage;
        server->route("/home", page);
    }

    // The preferences window once it is up and drawn.
    static KTPreferencesWindow* waitPreferences(AppDelegate& app)
    {
        waitUntil([&] {
            auto* p = app.preferencesWindow();
            return p && gtk_widget_get_mapped(GTK_WIDGET(p->window()));
        });
        return app.preferencesWindow();
    }
    static GtkWidget* control(KTPreferencesWindow* p, const std::string& key)
    {
        return findChild(GTK_WIDGET(p->window()), [&](GtkWidget* w) { return key == gtk_widget_get_name(w); });
    }
    // A real click in the preferences window, once the window manager has
    // made it the active one (a first click would only activate it).
    static bool clickIn(GtkWidget* widget)
    {
        reveal(widget);
        return xdotoolIn(widget, {"sleep", "0"}) && clickWidget(widget);
    }
    // Scrolls the pane so the widget shows, as a person would.
    static void reveal(GtkWidget* widget)
    {
        GtkWidget* scrolled = gtk_widget_get_ancestor(widget, GTK_TYPE_SCROLLED_WINDOW);
        if (!scrolled)
            return;
        GtkWidget* content = gtk_bin_get_child(GTK_BIN(gtk_bin_get_child(GTK_BIN(scrolled))));
        int x = 0, y = 0;
        if (!gtk_widget_translate_coordinates(widget, content, 0, 0, &x, &y))
            return;
        GtkAdjustment* v = gtk_scrolled_window_get_vadjustment(GTK_SCROLLED_WINDOW(scrolled));
        const double top = gtk_adjustment_get_value(v);
        if (y >= top && y + gtk_widget_get_allocated_height(widget) <= top + gtk_adjustment_get_page_size(v))
            return; // in view already
        gtk_adjustment_set_value(v, std::max(0, y - 40));
        waitUntil([] { return false; }, std::chrono::milliseconds(200)); // redrawn where it now is
    }
    // A click on the sidebar's entry of a pane; true once it shows.
    static bool choosePane(KTPreferencesWindow* p, const std::string& title, const std::string& name)
    {
        GtkWidget* entry = findChild(GTK_WIDGET(p->window()), [&](GtkWidget* w) {
            return GTK_IS_LABEL(w) && title == gtk_label_get_text(GTK_LABEL(w));
        });
        return entry && clickIn(entry) && waitUntil([&] { return p->visiblePane() == name; });
    }
    KTJson dataFile(const char* name) const { return env->readJson(env->dataFolder() + name); }
    static std::string titleOf(KTWebViewController* page)
    {
        const char* t = webkit_web_view_get_title(page->webview());
        return t ? t : "";
    }
};

TEST_F(AppPreferencesTest, ControlCommaOpensOneWindowWhoseChangesReachTheOpenPageAndWindow)
{
    writeDataFile("settings.json", {{"main_url", server->url("/home")}, {"enableJavaScript", true}});
    runAppAtHome([&](AppDelegate& app, KTMainWindowController& w) {
        KTWebViewController* page = pageOf(&w);
        ASSERT_TRUE(waitUntil([&] { return titleOf(page) == "script ran"; }));

        ASSERT_TRUE(xdotoolIn(GTK_WIDGET(w.window().window()), {"key", "ctrl+comma"}));
        KTPreferencesWindow* prefs = waitPreferences(app);
        ASSERT_TRUE(prefs);
        EXPECT_EQ(prefs->visiblePane(), "general");
        g_action_group_activate_action(G_ACTION_GROUP(app.application()), "preferences", nullptr);
        EXPECT_EQ(app.preferencesWindow(), prefs) << "one window per app";

        // JavaScript off, with a click: stored, and the open tab runs no
        // script from its next document on.
        ASSERT_TRUE(choosePane(prefs, "Behaviour & Web", "behaviour"));
        GtkWidget* js = control(prefs, "enableJavaScript");
        ASSERT_TRUE(js && gtk_widget_is_sensitive(js));
        ASSERT_TRUE(clickIn(js));
        EXPECT_TRUE(waitUntil([&] { return dataFile("settings.json")["enableJavaScript"] == false; }));
        EXPECT_FALSE(webkit_settings_get_enable_javascript(webkit_web_view_get_settings(page->webview())));
        webkit_web_view_reload(page->webview());
        EXPECT_TRUE(waitUntil([&] { return !webkit_web_view_is_loading(page->webview()) && titleOf(page) == "no script"; }))
            << titleOf(page);

        // Opacity: the window manager hears of it while the window is open.
        ASSERT_TRUE(choosePane(prefs, "Appearance", "appearance"));
        GtkWidget* opacity = control(prefs, "windowOpacityKey");
        ASSERT_TRUE(opacity);
        gtk_range_set_value(GTK_RANGE(opacity), 60);
        XWindow x(w.window().window());
        EXPECT_TRUE(waitUntil([&] {
            std::string v = x.property("_NET_WM_WINDOW_OPACITY");
            return !v.empty() && std::abs(std::stod(v) / 0xffffffffu - 0.6) < 0.003;
        })) << x.property("_NET_WM_WINDOW_OPACITY");
        EXPECT_NEAR(dataFile("settings.json")["windowOpacityKey"].get<double>(), 0.6, 1e-9);

        // Where other programs' links go, chosen with the keyboard.
        ASSERT_TRUE(choosePane(prefs, "General", "general"));
        GtkWidget* links = control(prefs, "openLinksKey");
        ASSERT_TRUE(links);
        gtk_widget_grab_focus(links);
        ASSERT_TRUE(xdotoolIn(links, {"key", "space"}));
        ASSERT_TRUE(waitUntil([&] { return !poppedUpMenuItems().empty(); }));
        ASSERT_TRUE(xdotoolIn(poppedUpMenuItems().front(), {"key", "Down", "Down", "Return"}));
        EXPECT_TRUE(waitUntil([&] { return dataFile("behavior.json")["openLinksKey"] == 2; }));

        // Escape closes it, and the app lets it go.
        ASSERT_TRUE(xdotoolIn(GTK_WIDGET(prefs->window()), {"key", "Escape"}));
        EXPECT_TRUE(waitUntil([&] { return app.preferencesWindow() == nullptr; }));
    });
}

TEST_F(AppPreferencesTest, HotKeyRecorderStoresTheKeysBindsThemAndBackspaceClears)
{
    writeDataFile("settings.json", {{"main_url", server->url("/home")}});
    runAppAtHome([&](AppDelegate& app, KTMainWindowController&) {
        KTPreferencesWindow* prefs = waitPreferences(app);
        ASSERT_TRUE(prefs);
        GtkWidget* recorder = control(prefs, "globalShortcutKey");
        ASSERT_TRUE(recorder);
        EXPECT_TRUE(control(prefs, KTEnterpriseLocks::kAppIconItem)) << "offered outside enterprise builds";
        auto stored = [] {
            return KTUserDefaults(KTUserDefaults::standardUserDefaults().path()).stringForKey("globalShortcutKey");
        };

        ASSERT_TRUE(clickIn(recorder));
        ASSERT_TRUE(waitUntil([&] { return gtk_widget_has_focus(recorder); }));
        // A plain letter is no system-wide key: the recorder waits on.
        ASSERT_TRUE(xdotoolIn(recorder, {"key", "k", "ctrl+alt+k"}));
        EXPECT_TRUE(waitUntil([&] { return stored() == std::optional<std::string>("<Control><Alt>k"); }));
        EXPECT_EQ(KTGlobalShortcut::bound(), "<Control><Alt>k");
        EXPECT_STRNE(gtk_button_get_label(GTK_BUTTON(recorder)), "Not set");

        ASSERT_TRUE(xdotoolIn(recorder, {"key", "BackSpace"}));
        EXPECT_TRUE(waitUntil([&] { return !stored(); }));
        EXPECT_EQ(KTGlobalShortcut::bound(), "");
        EXPECT_STREQ(gtk_button_get_label(GTK_BUTTON(recorder)), "Not set");
    }, {"--preferences=general"});
}

TEST_F(AppPreferencesTest, EnterpriseSettingsAreShownLockedAndCannotBeChanged)
{
    ASSERT_TRUE(KTPlist::writeFile(env->bundlePath() + "/Contents/Resources/EnterpriseSettings.plist",
                                   {{"isEnterpriseApp", true}, {"URL", server->url("/home")}, {"windowOpacity", 1}}));
    runAppAtHome([&](AppDelegate& app, KTMainWindowController&) {
        KTPreferencesWindow* prefs = waitPreferences(app);
        ASSERT_TRUE(prefs);
        EXPECT_EQ(prefs->visiblePane(), "behaviour");
        GtkWidget* js = control(prefs, "enableJavaScript");
        ASSERT_TRUE(js);
        EXPECT_FALSE(gtk_widget_is_sensitive(js));
        GtkWidget* row = gtk_widget_get_ancestor(js, GTK_TYPE_LIST_BOX_ROW);
        GtkWidget* why = findChild(row, [](GtkWidget* w) { return gtk_widget_get_name(w) == std::string("locked-reason"); });
        ASSERT_TRUE(why);
        EXPECT_STREQ(gtk_label_get_text(GTK_LABEL(why)), KTEnterpriseLocks::kReason);
        ASSERT_TRUE(clickIn(js));
        // The free switch next to it does take a click: the click was real.
        GtkWidget* ads = control(prefs, "blockAds");
        ASSERT_TRUE(ads);
        EXPECT_TRUE(gtk_widget_is_sensitive(ads));
        ASSERT_TRUE(clickIn(ads));
        EXPECT_TRUE(waitUntil([&] { return dataFile("settings.json")["blockAds"] == true; }));
        EXPECT_TRUE(gtk_switch_get_active(GTK_SWITCH(js)));
        EXPECT_EQ(dataFile("settings.json")["enableJavaScript"], true);

        // The home page and the icon are not offered at all.
        EXPECT_FALSE(control(prefs, "main_url"));
        EXPECT_FALSE(control(prefs, KTEnterpriseLocks::kAppIconItem));
        EXPECT_FALSE(gtk_widget_is_sensitive(control(prefs, "openLinksKey")));
    }, {"--preferences=behaviour"});
}

TEST_F(AppPreferencesTest, HiddenPreferencesCannotBeOpenedByKeyOrAction)
{
    writeDataFile("settings.json", {{"main_url", server->url("/home")}, {"hidePreferences", true}});
    runAppAtHome([&](AppDelegate& app, KTMainWindowController& w) {
        EXPECT_FALSE(g_action_group_get_action_enabled(G_ACTION_GROUP(app.application()), "preferences"));
        ASSERT_TRUE(xdotoolIn(GTK_WIDGET(w.window().window()), {"key", "ctrl+comma"}));
        drainEvents();
        app.showPreferences();
        EXPECT_EQ(app.preferencesWindow(), nullptr);
    }, {"--preferences"});
}

// View ▸ User Scripts… and User Styles… open their pane; the shortcuts
// table reaches its file when the window closes.
TEST_F(AppPreferencesTest, ScriptMenusOpenTheirPaneAndShortcutsSaveOnClose)
{
    writeDataFile("settings.json", {{"main_url", server->url("/home")}});
    writeDataFile("shortcuts.json", {{"b", "https://b.example/"}, {"", "https://no-word.example/"}});
    runAppAtHome([&](AppDelegate& app, KTMainWindowController&) {
        g_action_group_activate_action(G_ACTION_GROUP(app.application()), "user-styles", nullptr);
        KTPreferencesWindow* prefs = waitPreferences(app);
        ASSERT_TRUE(prefs);
        EXPECT_EQ(prefs->visiblePane(), "user-content");
        prefs->present("shortcuts");
        EXPECT_EQ(prefs->visiblePane(), "shortcuts");
        gtk_window_close(prefs->window());
        EXPECT_TRUE(waitUntil([&] { return app.preferencesWindow() == nullptr; }));
        // Written anew from the table, which drops a row without a word.
        EXPECT_EQ(readFile(env->dataFolder() + "shortcuts.json"), R"({"b":"https://b.example/"})");
    });
}

} // namespace
} // namespace quilt::test
