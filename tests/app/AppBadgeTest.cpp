// The unread badge and the dock monitor as the desktop sees them, in a
// session of their own (bus, dunst, quilt-helper): LauncherEntry Update
// signals read by a second connection to the session bus, the windows'
// _NET_WM_ICON read with xprop, the watcher's notification in dunst, and
// the selection overlay driven with real X pointer input.

#include "support/DunstWatcher.h"
#include "support/GuiTest.h"
#include "support/InHelperSession.h"
#include "support/XWindow.h"

#include "app/KTDockMonitor.h"
#include "core/config/KTShared.h"
#include "core/config/KTUserDefaults.h"
#include "core/menubar/KTDockBadge.h"
#include "core/services/KTLauncherEntry.h"
#include "ui/menubar/KTAppIcon.h"
#include "ui/windows/KTMainWindowController.h"
#include "web/KTUnreadWatcher.h"
#include "web/KTWebViewController.h"

#include <gtk/gtk.h>

namespace quilt::test {
namespace {

struct Update {
    std::string uri;
    long count = 0;
    bool visible = false;
};

// Update signals as a dock receives them: on its own connection.
class LauncherEntryListener {
public:
    LauncherEntryListener()
    {
        char* address = g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SESSION, nullptr, nullptr);
        connection_ = g_dbus_connection_new_for_address_sync(
            address, GDBusConnectionFlags(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT
                                          | G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
            nullptr, nullptr, nullptr);
        g_free(address);
        if (connection_)
            id_ = g_dbus_connection_signal_subscribe(connection_, nullptr, KTLauncherEntry::kInterface, "Update",
                                                     nullptr, nullptr, G_DBUS_SIGNAL_FLAGS_NONE, onSignal, this,
                                                     nullptr);
    }
    ~LauncherEntryListener()
    {
        if (connection_) {
            g_dbus_connection_signal_unsubscribe(connection_, id_);
            g_object_unref(connection_);
        }
    }
    bool connected() const { return connection_; }
    bool waitFor(long count, bool visible)
    {
        return waitUntil([&] { return !updates.empty() && updates.back().count == count && updates.back().visible == visible; });
    }
    std::vector<Update> updates;

private:
    static void onSignal(GDBusConnection*, const char*, const char*, const char*, const char*, GVariant* params,
                         gpointer self)
    {
        const char* uri = nullptr;
        GVariant* props = nullptr;
        g_variant_get(params, "(&s@a{sv})", &uri, &props);
        Update u{uri};
        g_variant_lookup(props, "count", "x", &u.count);
        gboolean visible = FALSE;
        g_variant_lookup(props, "count-visible", "b", &visible);
        u.visible = visible;
        g_variant_unref(props);
        static_cast<LauncherEntryListener*>(self)->updates.push_back(u);
    }
    GDBusConnection* connection_ = nullptr;
    guint id_ = 0;
};

class AppBadge : public InHelperSession<PolicyTest> {
protected:
    void SetUp() override
    {
        InHelperSession::SetUp();
        if (IsSkipped())
            return;
        copyResource("KTAPIHelper.js");
        DunstWatcher::closeAllAndReadHistory();
        // A plain blue icon of the app to draw on.
        GdkPixbuf* icon = gdk_pixbuf_new(GDK_COLORSPACE_RGB, TRUE, 8, KTAppIcon::kSize, KTAppIcon::kSize);
        gdk_pixbuf_fill(icon, 0x3050c0ff);
        KTAppIcon::shared().setBaseIcon(icon);
        g_object_unref(icon);
        entry = std::make_unique<KTLauncherEntry>(KTLauncherEntry::appUriFor("org.quilt.test.Badges"));
        openWindow();
        xwindow = std::make_unique<XWindow>(window->window().window());
        ASSERT_TRUE(listener.connected());
    }
    void TearDown() override
    {
        monitor.reset();
        watcher.reset();
        entry.reset();
        PolicyTest::TearDown();
        KTShared<KTAppIcon>::reset();
    }
    // The icon's pixels as numbers (xprop's default for this property is a
    // picture in text, too coarse to tell colours apart).
    std::string icon() const
    {
        gdk_display_sync(gdk_display_get_default());
        auto r = runProgram({"xprop", "-id", xwindow->id(), "-f", "_NET_WM_ICON", "32c", "_NET_WM_ICON"}, 10s);
        auto eq = r.out.find(" = ");
        return eq == std::string::npos ? std::string() : r.out.substr(eq + 3);
    }
    bool waitIcon(const std::string& expected)
    {
        return waitUntil([&] { return icon() == expected; });
    }

    LauncherEntryListener listener;
    std::unique_ptr<KTLauncherEntry> entry;
    std::unique_ptr<KTUnreadWatcher> watcher;
    std::unique_ptr<KTDockMonitor> monitor;
    std::unique_ptr<XWindow> xwindow;
};

TEST_F(AppBadge, WatchedPageSetAppBadgeAndTitleReachTheDockAndTheWindowIcon)
{
    ASSERT_TRUE(xwindow->valid());
    const std::string plain = icon();
    ASSERT_FALSE(plain.empty()) << "the window shows the app's icon";

    // A watched chat site with two unread messages; each pass of the
    // watcher reads it again.
    server->route("www.facebook.com/", HttpPage::html("Chat", "<span id='mercurymessagesCountValue'>2</span>"));
    watcher = std::make_unique<KTUnreadWatcher>([this] { return page; });
    ASSERT_TRUE(loadAndWait(page, "http://www.facebook.com/"));
    watcher->injectScripts();
    ASSERT_TRUE(listener.waitFor(2, true));
    EXPECT_EQ(listener.updates.back().uri, "application://org.quilt.test.Badges.desktop");
    EXPECT_EQ(page->dockLabel, "2");
    ASSERT_TRUE(waitUntil([&] { return icon() != plain && !icon().empty(); })) << "no badge in the window icon";
    const std::string two = icon();
    watcher->injectScripts();
    watcher->injectScripts();
    ASSERT_TRUE(waitUntil([&] { return DunstWatcher::displayed() >= 1; }, 20s)) << "nothing shown";
    drainEvents();
    auto shown = DunstWatcher::shownWithSummary("2 New Messages.");
    ASSERT_EQ(shown.size(), 1u) << "one notification for one new count";
    EXPECT_NE(shown[0].body.find("www.facebook.com"), std::string::npos) << shown[0].body;

    runJs(page, "document.getElementById('mercurymessagesCountValue').innerText = '0'");
    watcher->injectScripts();
    ASSERT_TRUE(listener.waitFor(0, false));
    EXPECT_TRUE(waitIcon(plain)) << "the app's own icon is back";

    // Any other site: a count in its title, then the web's own badge call,
    // which wins until it is cleared.
    server->route("/inbox", HttpPage::html("(5) Inbox"));
    ASSERT_TRUE(loadAndWait(page, server->url("/inbox")));
    ASSERT_TRUE(listener.waitFor(5, true));
    runJs(page, "navigator.setAppBadge(3)");
    ASSERT_TRUE(listener.waitFor(3, true));
    EXPECT_TRUE(waitUntil([&] { return icon() != plain && icon() != two; }));
    runJs(page, "navigator.setAppBadge(-1).then(() => window.refused = 'no', e => window.refused = e.name)");
    EXPECT_TRUE(waitUntil([&] { return runJs(page, "window.refused") == "TypeError"; })) << "a negative badge is refused";
    runJs(page, "navigator.clearAppBadge()");
    ASSERT_TRUE(listener.waitFor(5, true)) << "the title's count again";
    runJs(page, "document.title = 'Inbox'");
    ASSERT_TRUE(listener.waitFor(0, false));
    EXPECT_TRUE(waitIcon(plain));

    // With "DockBadge" off, pages cannot set a badge.
    KTUserDefaults::standardUserDefaults().setBool("DockBadge", false);
    const size_t before = listener.updates.size();
    runJs(page, "navigator.setAppBadge(8); document.title = '(4) Inbox'");
    drainEvents();
    EXPECT_EQ(KTDockBadge::shared().text(), "");
    EXPECT_EQ(listener.updates.size(), before);
}

TEST_F(AppBadge, DockMonitorShowsTheChosenSquareInTheWindowIcon)
{
    server->route("/status", HttpPage::html("Status", R"(<style>body{margin:0}
        #light{position:absolute;left:40px;top:40px;width:200px;height:200px;background:#0c0}</style>
        <div id='light'></div>)"));
    ASSERT_TRUE(loadAndWait(page, server->url("/status")));
    const std::string plain = icon();
    std::vector<std::string> titles;
    monitor = std::make_unique<KTDockMonitor>([&] { titles.push_back(monitor->title()); });

    monitor->toggleDockMonitor();
    ASSERT_NE(monitor->selectionView(), nullptr);
    GtkWidget* veil = monitor->selectionView()->widget();
    ASSERT_TRUE(waitUntil([&] {
        return gtk_widget_get_mapped(veil)
            && gtk_widget_get_allocated_width(veil) == gtk_widget_get_allocated_width(window->window().contentArea());
    })) << "the veil covers the content";
    EXPECT_EQ(monitor->title(), KTDockMonitor::kCancelTitle);

    // A real drag over the green square, from inside the page.
    int ox = 0, oy = 0, x = 0, y = 0;
    GtkWidget* top = gtk_widget_get_toplevel(veil);
    gdk_window_get_origin(gtk_widget_get_window(top), &ox, &oy);
    ASSERT_TRUE(gtk_widget_translate_coordinates(GTK_WIDGET(page->webview()), top, 0, 0, &x, &y));
    auto X = [&](int px) { return std::to_string(ox + x + px); };
    auto Y = [&](int py) { return std::to_string(oy + y + py); };
    ASSERT_EQ(runProgram({"xdotool", "mousemove", X(60), Y(60), "mousedown", "1", "mousemove", X(100), Y(90),
                          "mousemove", X(160), Y(170), "mouseup", "1"}, 5s).exitCode, 0);
    ASSERT_TRUE(waitUntil([&] { return monitor->running(); })) << "the drag did not start the monitor";
    EXPECT_EQ(monitor->title(), KTDockMonitor::kStopTitle);
    EXPECT_EQ(monitor->dockMonitorRect().width, 100);
    EXPECT_EQ(monitor->dockMonitorRect().height, 100);
    ASSERT_TRUE(waitUntil([&] { return monitor->pictures() > 0; })) << "no picture";
    const std::string green = icon();
    EXPECT_NE(green, plain) << "the picture is not in the window icon";

    // A plain click closes the overlay; the monitor keeps running.
    ASSERT_TRUE(XWindow::click(veil, 400, 400));
    ASSERT_TRUE(waitUntil([&] { return !gtk_widget_get_parent(veil); }));
    EXPECT_TRUE(monitor->running());
    EXPECT_TRUE(monitor->editItemShown());

    // Once the square is drawn as it stays, the timer captures nothing.
    const auto interval = std::chrono::milliseconds(KTDockMonitor::kIntervalMs);
    waitUntil([] { return false; }, 2 * interval + 500ms);
    const unsigned before = monitor->pictures();
    waitUntil([] { return false; }, 2 * interval + 500ms);
    EXPECT_EQ(monitor->pictures(), before) << "an unchanged square is captured again";

    // The page changes under the square: the next capture shows it.
    runJs(page, "document.getElementById('light').style.background = '#c00'");
    // Waiting on the captures, not on xprop: a poll of the 64 KiB property
    // between main-loop turns starves the engine's snapshot replies here.
    ASSERT_TRUE(waitUntil([&] { return monitor->pictures() > before; }, 10s)) << "no capture";
    EXPECT_NE(icon(), green) << "the icon did not follow the page";

    monitor->toggleDockMonitor();
    EXPECT_FALSE(monitor->running());
    EXPECT_FALSE(monitor->editItemShown());
    EXPECT_TRUE(waitIcon(plain)) << "stopping brings the app's icon back";
    EXPECT_EQ(titles.front(), KTDockMonitor::kCancelTitle);
    EXPECT_EQ(titles.back(), KTDockMonitor::kStartTitle);
}

} // namespace
} // namespace quilt::test
