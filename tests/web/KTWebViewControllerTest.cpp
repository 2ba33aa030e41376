// One page on a real WebKitGTK web view, loading from a local HTTP server:
// the load gate on the content rule list, the refresh timer, zoom, history,
// progress and failures, injected styles and live settings.

#include "support/GuiTest.h"

#include "config/KTHistoryManager.h"
#include "config/KTNotificationCenter.h"
#include "config/KTSettingsManager.h"
#include "config/KTWebPageZoomManager.h"
#include "web/KTWebViewController.h"

#include <gtk/gtk.h>

#include <regex>

namespace quilt::test {
namespace {

// A port on 127.0.0.1 that refuses connections: one just given up.
unsigned closedPort()
{
    GSocket* s = g_socket_new(G_SOCKET_FAMILY_IPV4, G_SOCKET_TYPE_STREAM, G_SOCKET_PROTOCOL_TCP, nullptr);
    GInetAddress* lo = g_inet_address_new_loopback(G_SOCKET_FAMILY_IPV4);
    GSocketAddress* any = g_inet_socket_address_new(lo, 0);
    g_socket_bind(s, any, FALSE, nullptr);
    GSocketAddress* bound = g_socket_get_local_address(s, nullptr);
    unsigned port = bound ? g_inet_socket_address_get_port(G_INET_SOCKET_ADDRESS(bound)) : 1;
    if (bound)
        g_object_unref(bound);
    g_object_unref(any);
    g_object_unref(lo);
    g_socket_close(s, nullptr);
    g_object_unref(s);
    return port;
}

// What a page reports to its tab controller, in order.
struct PageEvents : KTWebViewControllerDelegate {
    std::vector<std::string> events;
    std::vector<std::unique_ptr<KTWebViewController>> opened;

    void newWebViewConstroller(std::unique_ptr<KTWebViewController> c) override
    {
        events.push_back("new");
        opened.push_back(std::move(c));
    }
    void webViewDidBeignLoadUrl(WebKitWebView*, const std::string& url) override { events.push_back("begin " + url); }
    void webViewDidEndLoadUrl(WebKitWebView*, const std::string& url) override { events.push_back("end " + url); }
    void webViewDidChangeLoadStatus(WebKitWebView*, bool loading) override
    {
        events.push_back(loading ? "loading" : "idle");
    }
    size_t count(const std::string& event) const { return std::count(events.begin(), events.end(), event); }
};

class PageTest : public GuiTest {
protected:
    void SetUp() override
    {
        GuiTest::SetUp();
        if (IsSkipped())
            return;
        server->route("/title", HttpPage::html("Hello page", "<p id=\"p\">text</p>"));
        server->route("/other", HttpPage::html("Other page"));
        server->route("/untitled", HttpPage::html(""));
        server->route("/blocked.png", HttpPage::bytes("not an image", "image/png"));
        server->route("/withimage", HttpPage::html("With image", "<img src=\"/blocked.png\">"));
        HttpPage slow = HttpPage::html("Slow page");
        slow.delay = 700ms;
        server->route("/slow", slow);
    }
    void TearDown() override
    {
        pages_.clear();
        if (window_)
            gtk_widget_destroy(window_);
        GuiTest::TearDown();
    }

    // A page shown in a window of its own, reporting to `events`.
    KTWebViewController* makePage()
    {
        auto page = std::make_unique<KTWebViewController>();
        page->delegate = &events;
        if (!window_) {
            window_ = gtk_window_new(GTK_WINDOW_TOPLEVEL);
            gtk_window_set_default_size(GTK_WINDOW(window_), 480, 360);
            gtk_container_add(GTK_CONTAINER(window_), page->view());
            gtk_widget_show(window_);
        }
        pages_.push_back(std::move(page));
        return pages_.back().get();
    }
    bool waitFinished(const std::string& url, size_t times = 1, std::chrono::milliseconds timeout = 10s)
    {
        return waitUntil([&] { return events.count("end " + url) >= times; }, timeout);
    }
    KTWebViewController* loadedPage(const std::string& path)
    {
        KTWebViewController* page = makePage();
        page->loadRequest(server->url(path));
        EXPECT_TRUE(waitFinished(server->url(path))) << path;
        return page;
    }

    PageEvents events;
    std::vector<std::unique_ptr<KTWebViewController>> pages_;
    GtkWidget* window_ = nullptr;
};

// ------------------------------------------------------------ load gate

TEST_F(PageTest, WithoutBlockAdsTheRequestGoesStraightToTheWebView)
{
    KTWebViewController* page = makePage();
    page->loadRequest(server->url("/withimage"));
    EXPECT_FALSE(page->request.has_value());
    EXPECT_FALSE(page->abLoaded());
    ASSERT_TRUE(waitFinished(server->url("/withimage")));
    EXPECT_EQ(server->hits("/withimage"), 1u);
    EXPECT_TRUE(waitUntil([&] { return server->hits("/blocked.png") == 1; }));
}

struct RulesCase {
    const char* name;
    std::optional<std::string> rules; // nullopt: no rules.json in the bundle
    bool blocks;
};

class PageRulesTest : public PageTest, public ::testing::WithParamInterface<RulesCase> {};

TEST_P(PageRulesTest, FirstLoadWaitsForTheRuleListAndHappensOnce)
{
    const RulesCase& c = GetParam();
    writeDataFile("settings.json", {{"blockAds", true}});
    if (c.rules)
        writeResource("rules.json", *c.rules);
    LogCapture log;

    KTWebViewController* page = makePage();
    const std::string url = server->url("/withimage");
    page->loadRequest(url);
    // Held until the rule list is found or compiled.
    EXPECT_EQ(page->request, url);
    EXPECT_EQ(page->url(), "");
    EXPECT_EQ(server->hits("/withimage"), 0u);

    ASSERT_TRUE(waitFinished(url)) << c.name;
    EXPECT_TRUE(page->abLoaded());
    EXPECT_FALSE(page->request.has_value());
    EXPECT_EQ(server->hits("/blocked.png"), c.blocks ? 0u : 1u) << c.name;

    // A second page gets the ready list at once; the first page's load
    // still happened exactly once.
    KTWebViewController* second = makePage();
    second->loadRequest(server->url("/other"));
    EXPECT_FALSE(second->request.has_value());
    ASSERT_TRUE(waitFinished(server->url("/other")));
    EXPECT_EQ(server->hits("/withimage"), 1u);
    EXPECT_EQ(events.count("begin " + url), 1u);
    if (!c.blocks) {
        EXPECT_GE(log.count("error"), 1u) << "a rule list that cannot be used is logged";
    }
}

INSTANTIATE_TEST_SUITE_P(
    Rules, PageRulesTest,
    ::testing::Values(
        RulesCase {"blocking", R"([{"trigger":{"url-filter":"blocked\\.png"},"action":{"type":"block"}}])", true},
        RulesCase {"broken", std::string("[{\"trigger\": this is not json"), false},
        RulesCase {"missing", std::nullopt, false}),
    [](const auto& info) { return std::string(info.param.name); });

TEST_F(PageTest, BundledRulesCompileAndThePageLoads)
{
    writeDataFile("settings.json", {{"blockAds", true}});
    copyResource("rules.json");
    KTWebViewController* page = loadedPage("/title");
    EXPECT_TRUE(page->abLoaded());
    EXPECT_TRUE(waitUntil([&] { return page->title() == "Hello page"; }));
}

TEST_F(PageTest, APageClosedWhileWaitingForTheRulesNeverLoads)
{
    writeDataFile("settings.json", {{"blockAds", true}});
    copyResource("rules.json");
    KTWebViewController* first = makePage();
    first->loadRequest(server->url("/other"));
    pages_.clear(); // closed before the list is ready
    KTWebViewController* second = makePage();
    second->loadRequest(server->url("/title"));
    ASSERT_TRUE(waitFinished(server->url("/title")));
    EXPECT_EQ(server->hits("/other"), 0u);
}

TEST_F(PageTest, BlockAdsNotificationSwitchesTheFilterForTheNextLoad)
{
    writeDataFile("settings.json", {{"blockAds", true}});
    writeResource("rules.json", R"([{"trigger":{"url-filter":"blocked\\.png"},"action":{"type":"block"}}])");
    KTWebViewController* page = loadedPage("/withimage");
    ASSERT_EQ(server->hits("/blocked.png"), 0u);

    auto& settings = KTSettingsManager::sharedManager();
    settings.setBlockAds(false);
    KTNotificationCenter::defaultCenter().post("blockAds");
    EXPECT_FALSE(page->abLoaded());
    page->loadRequest(server->url("/withimage"));
    ASSERT_TRUE(waitFinished(server->url("/withimage"), 2));
    EXPECT_TRUE(waitUntil([&] { return server->hits("/blocked.png") == 1; }));

    settings.setBlockAds(true);
    KTNotificationCenter::defaultCenter().post("blockAds");
    EXPECT_TRUE(waitUntil([&] { return page->abLoaded(); }));
    page->loadRequest(server->url("/withimage"));
    ASSERT_TRUE(waitFinished(server->url("/withimage"), 3));
    EXPECT_EQ(server->hits("/blocked.png"), 1u);
}

// -------------------------------------------------------- refresh timer

struct RefreshCase {
    const char* name;
    double interval;
    bool ticks;
};

class PageRefreshTest : public PageTest, public ::testing::WithParamInterface<RefreshCase> {};

TEST_P(PageRefreshTest, TimerReloadsOnlyForAPositiveInterval)
{
    writeDataFile("settings.json", {{"refreshTimeInterval", GetParam().interval}});
    KTWebViewController* page = loadedPage("/title");
    if (GetParam().ticks) {
        ASSERT_TRUE(waitUntil([&] { return page->refreshTicks() >= 2 && server->hits("/title") >= 3; }, 8s));
    } else {
        // Three would-be intervals pass without a reload.
        EXPECT_FALSE(waitUntil([&] { return page->refreshTicks() > 0; }, 700ms));
        EXPECT_EQ(server->hits("/title"), 1u);
    }
}

INSTANTIATE_TEST_SUITE_P(Intervals, PageRefreshTest,
                         ::testing::Values(RefreshCase {"positive", 0.2, true}, RefreshCase {"zero", 0.0, false},
                                           RefreshCase {"negative", -1.0, false}),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_F(PageTest, RefreshIntervalChangeStartsAndStopsTheTimer)
{
    KTWebViewController* page = loadedPage("/title");
    auto& settings = KTSettingsManager::sharedManager();
    settings.setRefreshTimeInterval(0.2);
    KTNotificationCenter::defaultCenter().post("RefreshTimeIntervalChangeNotification");
    ASSERT_TRUE(waitUntil([&] { return page->refreshTicks() >= 2; }, 8s));

    settings.setRefreshTimeInterval(0.0);
    KTNotificationCenter::defaultCenter().post("RefreshTimeIntervalChangeNotification");
    // Let a reload in flight finish, then no further tick may come.
    waitUntil([&] { return !page->isLoading(); }, 5s);
    unsigned ticks = page->refreshTicks();
    EXPECT_FALSE(waitUntil([&] { return page->refreshTicks() > ticks; }, 700ms));
}

// ----------------------------------------------------------------- zoom

TEST_F(PageTest, ZoomStaysBelowThreeButZoomingOutHasNoLowerBound)
{
    KTWebViewController* page = loadedPage("/title");
    const std::string zoomFile = env->dataFolder() + "webpagezoom.json";

    page->setCurrentZoomFactor(2.5);
    EXPECT_FALSE(page->canZoomIn()) << "2.5 x 1.2 = 3.0 is not below 3.0";
    page->zoomIn();
    EXPECT_DOUBLE_EQ(page->currentZoomFactor(), 2.5);

    page->setCurrentZoomFactor(0.5);
    EXPECT_FALSE(page->canZoomOut());
    page->zoomOut();
    EXPECT_NEAR(page->currentZoomFactor(), 0.5 / 1.2, 1e-6);
    EXPECT_NEAR(json::doubleFor(env->readJson(zoomFile), "currentzoomvalue", -1), 0.5 / 1.2, 1e-6)
        << "the new factor is saved";

    page->setCurrentZoomFactor(1.0);
    EXPECT_FALSE(page->canResetZoom());
    page->zoomIn();
    EXPECT_NEAR(page->currentZoomFactor(), 1.2, 1e-9);
    EXPECT_NEAR(json::doubleFor(env->readJson(zoomFile), "currentzoomvalue", -1), 1.2, 1e-9);
    EXPECT_TRUE(page->canResetZoom());
    page->resetZoom();
    EXPECT_DOUBLE_EQ(page->currentZoomFactor(), 1.0);
    EXPECT_DOUBLE_EQ(json::doubleFor(env->readJson(zoomFile), "currentzoomvalue", -1), 1.0);
}

TEST_F(PageTest, StoredZoomIsAppliedAtEveryCommit)
{
    writeDataFile("webpagezoom.json", {{"currentzoomvalue", 1.44}});
    KTWebViewController* page = loadedPage("/title");
    EXPECT_NEAR(page->currentZoomFactor(), 1.44, 1e-9);
    page->setCurrentZoomFactor(2.0); // not stored
    page->loadRequest(server->url("/other"));
    ASSERT_TRUE(waitFinished(server->url("/other")));
    EXPECT_NEAR(page->currentZoomFactor(), 1.44, 1e-9);
}

// ------------------------------------------------------ finish, history

TEST_F(PageTest, FinishedLoadIsRecordedInHistoryWithTheVisitTime)
{
    loadedPage("/title");
    auto& history = KTHistoryManager::sharedManager();
    // Recorded once the title is known too (it may follow the finish).
    EXPECT_TRUE(waitUntil([&] { return history.getUrlByName("Hello page") == server->url("/title"); }));
    history.save();
    KTJson file = env->readJson(env->dataFolder() + "history.json");
    std::string date = json::stringFor(json::lookup(file, "Hello page") ? *json::lookup(file, "Hello page") : KTJson(),
                                       "date")
                           .value_or("");
    EXPECT_TRUE(std::regex_match(date, std::regex(R"(\d{4}-\d{2}-\d{2} \d{2}:\d{2}:\d{2}(Z|[+-]\d{2}:\d{2}) T)")))
        << date;
}

TEST_F(PageTest, UntitledPageIsNotRecorded)
{
    loadedPage("/untitled");
    EXPECT_TRUE(KTHistoryManager::sharedManager().sortedByDateNames().empty());
}

TEST_F(PageTest, PageReportsBeginStatusAndEndToItsDelegate)
{
    int backgroundPosts = 0;
    KTObservation o("UpdateWindowBackgroundColorNotification", [&](const KTNotification&) { ++backgroundPosts; });
    loadedPage("/title");
    const std::string url = server->url("/title");
    auto pos = [&](const std::string& e) {
        return std::find(events.events.begin(), events.events.end(), e) - events.events.begin();
    };
    EXPECT_EQ(events.count("begin " + url), 1u);
    EXPECT_LT(pos("loading"), pos("end " + url));
    EXPECT_LT(pos("begin " + url), pos("end " + url));
    EXPECT_TRUE(waitUntil([&] { return events.count("idle") == 1; }));
    EXPECT_GE(backgroundPosts, 2) << "posted when loading starts and when it stops";
}

struct ProgressCase {
    const char* name;
    bool hideProgressBar;
};

class PageProgressTest : public PageTest, public ::testing::WithParamInterface<ProgressCase> {};

TEST_P(PageProgressTest, ProgressShowsWhileLoadingUnlessHidden)
{
    writeDataFile("settings.json", {{"hideProgressBar", GetParam().hideProgressBar}});
    KTWebViewController* page = makePage();
    const std::string url = server->url("/slow");
    page->loadRequest(url);
    ASSERT_TRUE(waitUntil([&] { return page->sourceURL.has_value(); }));
    EXPECT_EQ(*page->sourceURL, url);
    EXPECT_EQ(page->progressVisible(), !GetParam().hideProgressBar);
    ASSERT_TRUE(waitFinished(url));
    EXPECT_FALSE(page->progressVisible());
    EXPECT_FALSE(page->sourceURL.has_value());
}

INSTANTIATE_TEST_SUITE_P(Settings, PageProgressTest,
                         ::testing::Values(ProgressCase {"shown", false}, ProgressCase {"hidden", true}),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_F(PageTest, FailedLoadKeepsTheLastPageAndShowsNoErrorPage)
{
    KTWebViewController* page = loadedPage("/title");
    LogCapture log;
    page->loadRequest("http://127.0.0.1:" + std::to_string(closedPort()) + "/nothing");
    ASSERT_TRUE(waitUntil([&] { return !log.lines().empty() && !page->isLoading(); }));
    EXPECT_FALSE(page->progressVisible());
    EXPECT_FALSE(page->sourceURL.has_value());
    EXPECT_EQ(page->title(), "Hello page");
    EXPECT_EQ(page->url(), server->url("/title"));
    EXPECT_FALSE(KTHistoryManager::sharedManager().getUrlByName("").has_value());
}

// ------------------------------------------------------ styles and fonts

TEST_F(PageTest, InjectedStyleWithLineFeedsApplies)
{
    writeDataFile("settings.json", {{"enableJavaScript", true}});
    KTWebViewController* page = loadedPage("/title");
    page->loadCssToWebView("body {\n  background-color: rgb(1, 2, 3);\n}\n");
    EXPECT_TRUE(waitUntil([&] {
        return evaluateScript(page->webview(), "getComputedStyle(document.body).backgroundColor")
            == std::optional<std::string>("rgb(1, 2, 3)");
    }));
}

TEST_F(PageTest, InjectedStyleWithABacktickBreaksTheWrapper)
{
    writeDataFile("settings.json", {{"enableJavaScript", true}});
    KTWebViewController* page = loadedPage("/title");
    page->loadCssToWebView("body { background-color: rgb(1, 2, 3); } /* ` */");
    page->loadCssToWebView(std::nullopt); // nothing at all
    // A script run after both has seen whatever they did.
    EXPECT_EQ(evaluateScript(page->webview(), "getComputedStyle(document.body).backgroundColor"),
              std::optional<std::string>("rgba(0, 0, 0, 0)"));
}

TEST_F(PageTest, StandardFontIsAppliedAtCommit)
{
    writeDataFile("settings.json", {{"enableJavaScript", true}, {"fontName", "DejaVu Serif"}, {"fontSize", 13}});
    KTWebViewController* page = loadedPage("/title");
    EXPECT_EQ(evaluateScript(page->webview(), "getComputedStyle(document.getElementById('p')).fontSize"),
              std::optional<std::string>("13px"));
    auto family = evaluateScript(page->webview(), "getComputedStyle(document.getElementById('p')).fontFamily");
    ASSERT_TRUE(family);
    EXPECT_NE(family->find("DejaVu Serif"), std::string::npos) << *family;
}

// --------------------------------------------------- live page settings

TEST_F(PageTest, SettingNotificationsReachTheLivePreferences)
{
    KTWebViewController* page = makePage();
    WebKitSettings* prefs = webkit_web_view_get_settings(page->webview());
    auto& settings = KTSettingsManager::sharedManager();
    EXPECT_FALSE(webkit_settings_get_enable_javascript(prefs));
    EXPECT_TRUE(webkit_settings_get_enable_developer_extras(prefs));

    settings.setEnableJavaScript(true);
    KTNotificationCenter::defaultCenter().post("enableJavaScript");
    EXPECT_TRUE(webkit_settings_get_enable_javascript(prefs));

    // Passed as it stands: blocking popups lets scripts open windows.
    settings.setBlockPopupWindow(true);
    KTNotificationCenter::defaultCenter().post("blockPopupWindoww");
    EXPECT_TRUE(webkit_settings_get_javascript_can_open_windows_automatically(prefs));
    settings.setBlockPopupWindow(false);
    KTNotificationCenter::defaultCenter().post("blockPopupWindoww");
    EXPECT_FALSE(webkit_settings_get_javascript_can_open_windows_automatically(prefs));
}

} // namespace
} // namespace quilt::test
