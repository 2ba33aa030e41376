// How pages keep to their site: the allow-list applied to real navigations,
// links leaving the site reaching the default browser, redirects, windows
// opened by pages, Control-clicks, iframes and other applications' schemes.

#include "support/GuiTest.h"

#include "core/config/KTBehaviorManager.h"
#include "ui/windows/KTMainWindowController.h"
#include "web/KTWebViewController.h"

#include <gtk/gtk.h>
#include <libsoup/soup.h>

namespace quilt::test {
namespace {

class NavigationGlueTest : public PolicyTest {
protected:
    void SetUp() override
    {
        PolicyTest::SetUp();
        if (IsSkipped())
            return;
        openWindow();
    }

    // A page on `host` with one link to `target`.
    std::string linkPage(const std::string& host, const std::string& target, const std::string& attrs = "")
    {
        server->route(host + "/links", HttpPage::html("t", "<a id='go' " + attrs + " href='" + target
                                                   + "' style='display:block;width:300px;height:40px'>go</a>"));
        return "http://" + host + "/links";
    }

    // Follows the link #go as a script click would.
    void followLink()
    {
        ASSERT_EQ(runJs(page, "document.getElementById('go').click(); 'ok'"), "ok");
    }

};

// ---- the allow-list on real pages, redirects judged by where the load started ----
// (How patterns match is the core's table; here: the file's switches reach
// real navigations.)

struct AllowListCase {
    const char* name;
    bool allowAll;
    bool allowPatterns;
    std::vector<std::string> patterns;
    bool allowSubdomains;
    const char* target;         // where the link of the allowed start page goes
    bool stays;                 // shown in the page, or handed to the browser
    const char* landing = "";   // where the server redirects `target`, if anywhere
    friend void PrintTo(const AllowListCase& c, std::ostream* os) { *os << c.name; }
};

class AllowListEndToEnd : public NavigationGlueTest, public ::testing::WithParamInterface<AllowListCase> {};

TEST_P(AllowListEndToEnd, LinkStaysOrGoesToTheDefaultBrowser)
{
    const AllowListCase& c = GetParam();
    writeAllowList(c.allowAll, c.allowPatterns, c.patterns, c.allowSubdomains);
    const std::string target = c.target, shown = *c.landing ? c.landing : c.target;
    if (*c.landing)
        server->route(target.substr(7), HttpPage::redirect(shown));
    server->route(shown.substr(7), HttpPage::html("t", "<p id='arrived'>target</p>"));
    std::string start = linkPage("site.example.com", target);
    ASSERT_TRUE(loadAndWait(page, start)) << page->url();

    followLink();
    if (c.stays) {
        EXPECT_TRUE(waitShown(page, shown)) << page->url();
        EXPECT_TRUE(browserUrls().empty());
    } else {
        EXPECT_TRUE(waitForBrowserUrl(shown));
        // The page stays where it was and never showed the refused one.
        EXPECT_TRUE(waitShown(page, start)) << page->url();
        EXPECT_EQ(runJs(page, "document.getElementById('go') ? 'still' : 'gone'"), "still");
        // A main-frame redirect is known as such: the app never fetched its end.
        EXPECT_EQ(*c.landing ? server->hits(shown.substr(7)) : 0u, 0u);
    }
}

// For redirects only a.x.y and the start page are on the list; b.x.y shares
// the root domain x.y with a.x.y, c.other.org does not.
const std::vector<std::string> kRedirectList = {"a.x.y", "site.example.com"};

INSTANTIATE_TEST_SUITE_P(
    Patterns, AllowListEndToEnd,
    ::testing::Values(
        AllowListCase {"AllowAll", true, true, {}, false, "http://elsewhere.org/p", true},
        AllowListCase {"AllowListMatch", false, true, {"site.example.com", "*docs.example.net*"}, false,
                       "http://docs.example.net/guide", true},
        AllowListCase {"AllowListMiss", false, true, {"site.example.com"}, false, "http://elsewhere.org/p", false},
        AllowListCase {"BlockListMatch", false, false, {"*elsewhere*"}, false, "http://elsewhere.org/p", false},
        AllowListCase {"SubdomainsWidened", false, true, {"http://www.example.com"}, true,
                       "http://shop.example.com/cart", true},
        AllowListCase {"RedirectWithinRootDomain", false, true, kRedirectList, false, "http://a.x.y/go", true,
                       "http://b.x.y/in"},
        AllowListCase {"RedirectLeavingRootDomain", false, true, kRedirectList, false, "http://a.x.y/go", false,
                       "http://c.other.org/out"}),
    [](const auto& info) { return std::string(info.param.name); });

// ---- windows opened by pages ----

struct PopupCase {
    const char* name;
    const char* open; // script that opens the window
    bool foreign;
    friend void PrintTo(const PopupCase& c, std::ostream* os) { *os << c.name; }
};

class PageOpenedWindow : public NavigationGlueTest, public ::testing::WithParamInterface<PopupCase> {};

TEST_P(PageOpenedWindow, ForeignOnesGoToTheBrowserAndTheirTabCloses)
{
    const PopupCase& c = GetParam();
    KTBehaviorManager::sharedManager().setOpenTabInsteadWindow(true);
    writeAllowList(false, true, {"site.example.com"});
    server->route("site.example.com/popup", HttpPage::html("t", "<p>own popup</p>"));
    server->route("elsewhere.org/popup", HttpPage::html("t", "<p>foreign popup</p>"));
    server->route("site.example.com/opener",
                  HttpPage::html("t", "<a id='blank' target='_blank' href='http://" + std::string(c.foreign ? "elsewhere.org" : "site.example.com")
                              + "/popup'>new</a>"));
    ASSERT_TRUE(loadAndWait(page, "http://site.example.com/opener"));
    ASSERT_EQ(runJs(page, std::string(c.open) + "; 'ok'"), "ok");

    auto* tabs = window->tabController();
    const std::string target = std::string("http://") + (c.foreign ? "elsewhere.org" : "site.example.com") + "/popup";
    if (c.foreign) {
        EXPECT_TRUE(waitForBrowserUrl(target));
        EXPECT_TRUE(waitUntil([&] { return tabs->tabsCount() == 1; })) << tabs->tabsCount();
        EXPECT_EQ(server->hits("elsewhere.org/popup"), 0u);
        EXPECT_EQ(pageOf(window)->url(), "http://site.example.com/opener");
    } else {
        ASSERT_TRUE(waitUntil([&] { return tabs->tabsCount() == 2; }));
        KTWebViewController* popup = pageOf(window, 1);
        ASSERT_NE(popup, nullptr);
        EXPECT_TRUE(waitShown(popup, target));
        EXPECT_TRUE(browserUrls().empty());
    }
}

INSTANTIATE_TEST_SUITE_P(
    Windows, PageOpenedWindow,
    ::testing::Values(PopupCase {"TargetBlankForeign", "document.getElementById('blank').click()", true},
                      PopupCase {"WindowOpenForeign", "window.open('http://elsewhere.org/popup')", true},
                      PopupCase {"WindowOpenOwnSite", "window.open('http://site.example.com/popup')", false}),
    [](const auto& info) { return std::string(info.param.name); });

// ---- Control-click ----

TEST_F(NavigationGlueTest, ControlClickOpensATabControlShiftClickDoesNot)
{
    KTBehaviorManager::sharedManager().setOpenTabInsteadWindow(true);
    server->route("site.example.com/next", HttpPage::html("t", "<p>next</p>"));
    std::string start = linkPage("site.example.com", "http://site.example.com/next");
    ASSERT_TRUE(loadAndWait(page, start));
    auto* tabs = window->tabController();
    ASSERT_TRUE(waitUntil([&] { return gtk_window_is_active(window->window().window()); }));

    ASSERT_TRUE(clickElement(page, "#go", {"ctrl"}));
    ASSERT_TRUE(waitUntil([&] { return tabs->tabsCount() == 2; }));
    KTWebViewController* tab = nullptr;
    for (size_t i = 0; i < tabs->tabsCount(); ++i)
        if (pageOf(window, i) != page)
            tab = pageOf(window, i);
    ASSERT_NE(tab, nullptr);
    EXPECT_TRUE(waitShown(tab, "http://site.example.com/next"));
    EXPECT_TRUE(waitShown(page, start)) << page->url(); // the clicked page stays

    // Control with Shift is an ordinary click: the page itself follows it.
    for (size_t i = 0; i < tabs->tabsCount(); ++i)
        if (pageOf(window, i) == page)
            tabs->selectTabAt(i);
    drainEvents();
    ASSERT_TRUE(clickElement(page, "#go", {"ctrl", "shift"}));
    EXPECT_TRUE(waitShown(page, "http://site.example.com/next"));
    EXPECT_EQ(tabs->tabsCount(), 2u);
}

// ---- iframes ----

TEST_F(NavigationGlueTest, ForeignIframesStayInThePage)
{
    writeAllowList(false, true, {"site.example.com"});
    // Each framed document tells the page it was shown; one the policy had
    // refused (and handed over) would never show.
    auto framed = [](const std::string& name) {
        return HttpPage::html("t", "<a id='inner' style='position:fixed;inset:0' href='http://tiles.third.net/more'>more</a>"
                           "<script>parent.postMessage('"
                           + name + "', '*');</script>");
    };
    server->route("maps.other.org/embed", framed("embed"));
    server->route("tiles.third.net/more", framed("more"));
    server->route("site.example.com/framed",
                  HttpPage::html("t", "<iframe id='f' src='http://maps.other.org/embed'></iframe><script>window.seen = [];"
                              " addEventListener('message', function(e) { seen.push(e.data); });</script>"));
    ASSERT_TRUE(loadAndWait(page, "http://site.example.com/framed"));
    ASSERT_TRUE(waitUntil([&] { return runJs(page, "seen.join(',')") == "embed"; }));
    // A link clicked inside the frame navigates the frame to a third site.
    ASSERT_TRUE(clickElement(page, "#f"));
    EXPECT_TRUE(waitUntil([&] { return runJs(page, "seen.join(',')") == "embed,more"; }))
        << runJs(page, "seen.join(',')");
    EXPECT_EQ(page->url(), "http://site.example.com/framed");
    EXPECT_TRUE(browserUrls().empty());
}

// ---- other applications' schemes ----

TEST_F(NavigationGlueTest, OtherSchemeAsksBeforeOpeningItsApplication)
{
    std::string start = linkPage("site.example.com", "quilttest:hello");
    ASSERT_TRUE(loadAndWait(page, start));
    followLink();
    GtkWidget* ask = waitForMessageDialog("Open Quilt Test Handler?");
    ASSERT_NE(ask, nullptr);
    EXPECT_EQ(textOf(ask, "secondary-text"), "A website wants to open this application.");
    EXPECT_EQ(gtk_window_get_transient_for(GTK_WINDOW(ask)), window->window().window());
    // Decided at once: the page did not wait for the answer.
    EXPECT_TRUE(waitShown(page, start)) << page->url();
    EXPECT_TRUE(schemeHandlerUrls().empty());

    gtk_button_clicked(GTK_BUTTON(gtk_dialog_get_widget_for_response(GTK_DIALOG(ask), GTK_RESPONSE_ACCEPT)));
    EXPECT_TRUE(waitUntil([&] { return schemeHandlerUrls() == std::vector<std::string> {"quilttest:hello"}; }));

    // "Cancel" opens nothing.
    followLink();
    ask = waitForMessageDialog("Open Quilt Test Handler?");
    ASSERT_NE(ask, nullptr);
    gtk_button_clicked(GTK_BUTTON(gtk_dialog_get_widget_for_response(GTK_DIALOG(ask), GTK_RESPONSE_CANCEL)));
    EXPECT_TRUE(waitUntil([&] { return findMessageDialog("Open Quilt Test Handler?") == nullptr; }));
    server->route("site.example.com/after", HttpPage::html("t", "<p>after</p>"));
    ASSERT_TRUE(loadAndWait(page, "http://site.example.com/after"));
    EXPECT_EQ(schemeHandlerUrls().size(), 1u);
    EXPECT_TRUE(browserUrls().empty());
}

} // namespace
} // namespace quilt::test
