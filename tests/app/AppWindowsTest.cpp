// The application's windows as the X server and the window manager see
// them: where every kind of new window comes up and how big, the title the
// task list shows, the window's transparency, the hidden title bar with its
// tools, and closing tabs down to the last.

#include "support/AppTest.h"
#include "support/XWindow.h"

#include "app/AppDelegate.h"
#include "core/config/KTQuiltManager.h"
#include "ui/windows/KTMainWindowController.h"

#include <gtk/gtk.h>

#include <cmath>

namespace quilt::test {
namespace {

class AppWindowsTest : public AppTest {
protected:
    void SetUp() override
    {
        AppTest::SetUp();
        if (IsSkipped())
            return;
        for (const char* p : {"/home", "/b", "/c", "/d"})
            server->route(p, HttpPage::html(std::string("Page ") + p));
    }
    void writeSettings(KTJson extra = KTJson::object())
    {
        extra["main_url"] = server->url("/home");
        writeDataFile("settings.json", extra);
    }

    bool waitWindows(size_t n)
    {
        return waitUntil([&] { return KTMainWindowController::mainWindows().size() == n; });
    }
    // The window's frame once the window manager has it, and a real page
    // area under the header, not just a header.
    static std::optional<XGeometry> placed(KTMainWindowController* c)
    {
        XWindow x(c->window().window());
        GtkWidget* content = c->tabController()->view();
        if (!x.valid() || !waitUntil([&] { return gtk_widget_get_allocated_height(content) >= 300; }, 5s))
            return std::nullopt;
        std::optional<XGeometry> g;
        waitUntil([&] {
            auto now = x.geometry();
            bool settled = now && g && now->x == g->x && now->y == g->y && now->width == g->width
                && now->height == g->height;
            g = now;
            return settled;
        }, 5s);
        return g;
    }
    // The frame as the user sees it: without a compositor GTK does not tell
    // the border it keeps around its own decorations, so a frame is read
    // back from the X window as its centre rectangle, the border being the
    // same on every side.
    static std::string frameText(const std::optional<XGeometry>& g, const XGeometry& border)
    {
        return g ? std::to_string(g->x + border.x) + "," + std::to_string(g->y + border.y) + " "
                + std::to_string(g->width - 2 * border.x) + "x" + std::to_string(g->height - 2 * border.y)
                 : "none";
    }
    static std::string geometryText(const std::optional<XGeometry>& g) { return frameText(g, XGeometry{}); }
    // Within the screen, but for that invisible border.
    static bool onScreen(const std::optional<XGeometry>& g)
    {
        XGeometry s = XWindow::screen();
        const int b = kBorder;
        return g && g->x >= -b && g->y >= -b && g->x + g->width <= s.width + b && g->y + g->height <= s.height + b;
    }
    static constexpr int kBorder = 5;
    static std::string quoted(const std::string& s) { return "\"" + s + "\""; }
};

TEST_F(AppWindowsTest, EveryNewWindowTakesTheFrameOfTheWindowItCameFrom)
{
    writeSettings();
    writeDataFile("behavior.json", {{"version", 1.1}, {"openTabWindow", false}});
    writeDataFile("restore.json", {{"version", 1.1}, {"window0", {{"windowFrame", "{{40, 30}, {820, 500}}"}}}});
    runApp([&](AppDelegate& app) {
        KTMainWindowController* first = windowAt(0);
        auto g = placed(first);
        ASSERT_TRUE(g) << "the first window is shown";
        // GTK's invisible border: what surrounds the 820 x 500 we asked for.
        XGeometry border{g->x < 40 ? 40 - g->x : 0, g->y < 30 ? 30 - g->y : 0, 0, 0};
        EXPECT_LE(border.x, kBorder);
        EXPECT_EQ(frameText(g, border), "40,30 820x500");

        // A step down and right from the window that asked, same size.
        const std::string cascaded = "64,54 820x500";
        struct Kind {
            const char* name;
            std::function<void()> open;
            std::string expected;
        };
        // What window.open and a Control-click do with tabs off: the page's
        // tab controller is handed a new page and asks for a window.
        auto pageAsks = [&] { first->tabController()->newWebViewConstroller(std::make_unique<KTWebViewController>()); };
        std::vector<Kind> kinds = {
            {"a page asks for a window", pageAsks, cascaded},
            // From the front window, which is now the one just made.
            {"handed over by the desktop", [&] { app.handleURLEvent(server->url("/b")); }, "88,78 820x500"},
            {"Control+N, the saved first frame", [&] { app.newWindowClick(); }, "40,30 820x500"},
        };
        for (size_t i = 0; i < kinds.size(); ++i) {
            SCOPED_TRACE(kinds[i].name);
            kinds[i].open();
            ASSERT_TRUE(waitWindows(i + 2));
            auto made = placed(windowAt(i + 1));
            EXPECT_EQ(frameText(made, border), kinds[i].expected);
        }
    });
}

TEST_F(AppWindowsTest, WithoutASavedFrameNewWindowsFillTheScreenAndNoMore)
{
    writeSettings();
    runApp([&](AppDelegate& app) {
        XGeometry screen = XWindow::screen();
        auto first = placed(windowAt(0));
        EXPECT_TRUE(onScreen(first)) << geometryText(first);
        EXPECT_GE(first ? first->width : 0, screen.width * 9 / 10) << geometryText(first);

        app.newWindowClick(); // Control+N
        ASSERT_TRUE(waitWindows(2));
        auto made = placed(windowAt(1));
        EXPECT_TRUE(onScreen(made)) << geometryText(made);
        EXPECT_GE(made ? made->height : 0, screen.height * 8 / 10) << geometryText(made);

        app.handleURLEvent(server->url("/b"));
        ASSERT_TRUE(waitWindows(3));
        auto handed = placed(windowAt(2));
        EXPECT_TRUE(onScreen(handed)) << geometryText(handed);
        EXPECT_GE(handed ? handed->height : 0, screen.height * 8 / 10) << geometryText(handed);
    });
}

TEST_F(AppWindowsTest, HiddenTitleBarHidesTheTitleButKeepsTheTools)
{
    writeSettings({{"hideTitlebar", true}});
    runApp([&](AppDelegate&) {
        KTMainWindowController* w = windowAt(0);
        KTWebViewController* page = pageOf(w);
        ASSERT_TRUE(waitLoaded(page, server->url("/home")));
        XWindow x(w->window().window());
        ASSERT_TRUE(x.valid());
        EXPECT_TRUE(w->window().titlebarVisibilityHidden());
        EXPECT_EQ(x.property("_NET_WM_NAME"), quoted(KTQuiltManager::applicationName()));

        // Control+L, an address, Return: the page goes there.
        ASSERT_TRUE(x.key("ctrl+l"));
        GtkWidget* entry = GTK_WIDGET(w->urlTextField().entry());
        ASSERT_TRUE(waitUntil([&] { return gtk_widget_has_focus(entry); }));
        EXPECT_TRUE(gtk_widget_is_drawable(entry));
        ASSERT_TRUE(x.type(server->url("/b")));
        ASSERT_TRUE(x.key("Return"));
        EXPECT_TRUE(waitLoaded(page, server->url("/b")));

        // A new tab is for typing an address, and takes one.
        ASSERT_TRUE(x.key("ctrl+t"));
        ASSERT_TRUE(waitUntil([&] { return w->tabController()->tabsCount() == 2 && gtk_widget_has_focus(entry); }));
        ASSERT_TRUE(x.type(server->url("/c")));
        ASSERT_TRUE(x.key("Return"));
        EXPECT_TRUE(waitLoaded(pageOf(w, 1), server->url("/c")));

        // The corner buttons sit in the header, clear of the first tab.
        GtkWidget* corner = w->window().buttonWrapperView();
        ASSERT_TRUE(corner);
        EXPECT_TRUE(gtk_widget_is_ancestor(corner, GTK_WIDGET(w->window().headerBar())));
        EXPECT_FALSE(w->window().buttonsShown()) << "invisible until the pointer comes";
    });
}

// The task list keeps showing the app's name whatever the tabs; the
// window manager is told the window's opacity.
TEST_F(AppWindowsTest, ClosingTabsWithThreeTwoAndOneTabUnderTheAppsNameAndOpacity)
{
    writeSettings({{"windowOpacityKey", 0.7}});
    runApp([&](AppDelegate& app) {
        KTMainWindowController* w = windowAt(0);
        KTTabViewController* tabs = w->tabController();
        XWindow x(w->window().window());
        ASSERT_TRUE(x.valid());
        const std::string name = quoted(KTQuiltManager::applicationName());
        EXPECT_EQ(x.property("_NET_WM_NAME"), name) << "one tab";
        // GTK keeps opacity in 8 bits: 0.7 arrives as 179/255.
        std::string opacity = x.property("_NET_WM_WINDOW_OPACITY");
        EXPECT_NEAR(opacity.empty() ? 0 : std::stod(opacity) / 0xffffffffu, 0.7, 0.003) << "the window manager was told";
        tabs->openLinkInNewTab(server->url("/b"));
        tabs->openLinkInNewTab(server->url("/c"));
        ASSERT_TRUE(waitLoaded(pageOf(w, 2), server->url("/c")));
        EXPECT_EQ(x.property("_NET_WM_NAME"), name) << "three tabs, the toolbar shown";

        app.closeTab();
        EXPECT_EQ(tabs->tabsCount(), 2u);
        EXPECT_TRUE(w->toolbarShown());
        EXPECT_EQ(tabs->tabbarHeight(), 26);
        EXPECT_EQ(w->urlTextField().urlString(), tabs->selectedWebViewController()->url());

        app.closeTab();
        EXPECT_EQ(tabs->tabsCount(), 1u);
        EXPECT_FALSE(w->toolbarShown()) << "one tab left: the toolbar goes";
        EXPECT_EQ(tabs->tabbarHeight(), 0);
        EXPECT_EQ(w->urlTextField().urlString(), tabs->selectedWebViewController()->url());

        GtkWidget* win = GTK_WIDGET(w->window().window());
        app.closeTab();
        drainEvents();
        EXPECT_FALSE(gtk_widget_get_visible(win)) << "the last window hides the app";
        EXPECT_EQ(KTMainWindowController::mainWindows().size(), 1u) << "and is kept with its tab";
    });
}

} // namespace
} // namespace quilt::test
