// One page on a real WebKitGTK web view, loading from a local HTTP server:
// the load gate on the content rule list, the refresh timer, zoom, injected
// styles and the page's alerts.

#include "support/GuiTest.h"

#include "core/config/KTHistoryManager.h"
#include "core/config/KTNotificationCenter.h"
#include "core/config/KTSettingsManager.h"
#include "core/config/KTWebPageZoomManager.h"
#include "web/KTWebUIDelegate.h"
#include "web/KTWebViewController.h"

#include <gtk/gtk.h>

#include <regex>

namespace quilt::test {
namespace {

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
    EXPECT_TRUE(page->request == url && page->url().empty() && server->hits("/withimage") == 0);

    ASSERT_TRUE(waitFinished(url)) << c.name;
    EXPECT_TRUE(page->abLoaded() && !page->request.has_value());
    EXPECT_EQ(server->hits("/blocked.png"), c.blocks ? 0u : 1u) << c.name;

    // A second page gets the ready list at once; the first page's load
    // still happened exactly once.
    KTWebViewController* second = makePage();
    second->loadRequest(server->url("/other"));
    EXPECT_FALSE(second->request.has_value());
    ASSERT_TRUE(waitFinished(server->url("/other")));
    EXPECT_EQ(server->hits("/withimage"), 1u);
    EXPECT_EQ(events.count("begin " + url), 1u);
    EXPECT_TRUE(c.blocks || log.count("error") >= 1) << "a rule list that cannot be used is logged";
}

INSTANTIATE_TEST_SUITE_P(
    Rules, PageRulesTest,
    ::testing::Values(
        RulesCase {"blocking", R"([{"trigger":{"url-filter":"blocked\\.png"},"action":{"type":"block"}}])", true},
        RulesCase {"broken", std::string("[{\"trigger\": this is not json"), false},
        RulesCase {"missing", std::nullopt, false}),
    [](const auto& info) { return std::string(info.param.name); });

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

// ----------------------------------------------------------------- zoom

TEST_F(PageTest, ZoomStaysBelowThreeButZoomingOutHasNoLowerBound)
{
    KTWebViewController* page = loadedPage("/title");
    auto saved = [&] { return json::doubleFor(env->readJson(env->dataFolder() + "webpagezoom.json"), "currentzoomvalue", -1); };

    page->setCurrentZoomFactor(2.5);
    EXPECT_FALSE(page->canZoomIn()) << "2.5 x 1.2 = 3.0 is not below 3.0";
    page->zoomIn();
    EXPECT_DOUBLE_EQ(page->currentZoomFactor(), 2.5);

    page->setCurrentZoomFactor(0.5);
    EXPECT_FALSE(page->canZoomOut());
    page->zoomOut();
    EXPECT_NEAR(page->currentZoomFactor(), 0.5 / 1.2, 1e-6);
    EXPECT_NEAR(saved(), 0.5 / 1.2, 1e-6) << "the new factor is saved";

    page->setCurrentZoomFactor(1.0);
    EXPECT_FALSE(page->canResetZoom());
    page->zoomIn();
    EXPECT_NEAR(page->currentZoomFactor(), 1.2, 1e-9);
    EXPECT_NEAR(saved(), 1.2, 1e-9);
    EXPECT_TRUE(page->canResetZoom());
    page->resetZoom();
    EXPECT_DOUBLE_EQ(page->currentZoomFactor(), 1.0);
    EXPECT_DOUBLE_EQ(saved(), 1.0);
}

// ------------------------------------------------------ styles and fonts

TEST_F(PageTest, InjectedStyleWithLineFeedsApplies)
{
    writeDataFile("settings.json", {{"enableJavaScript", true}});
    KTWebViewController* page = loadedPage("/title");
    page->loadCssToWebView("body {\n  background-color: rgb(1, 2, 3);\n}\n");
    EXPECT_TRUE(waitUntil([&] { return runJs(page, "getComputedStyle(document.body).backgroundColor") == "rgb(1, 2, 3)"; }));
}

// ------------------------------------------------------- script dialogs

struct ScriptDialogCase {
    const char* name;
    const char* call;             // what the page runs while it loads
    std::optional<int> response;  // the button pressed; nullopt: no dialogs installed
    const char* title;            // the page's title once answered
};

class ScriptDialogTest : public PageTest, public ::testing::WithParamInterface<ScriptDialogCase> {};

TEST_P(ScriptDialogTest, TheAnswerReachesThePage)
{
    const ScriptDialogCase& c = GetParam();
    const bool confirm = std::string(c.call).rfind("confirm", 0) == 0;
    writeDataFile("settings.json", {{"enableJavaScript", true}});
    server->route("/ask", HttpPage::html("asking", std::string("<script>document.title = 'answer ' + String(") + c.call
                                                      + ");</script>"));
    if (!c.response)
        KTWebUIDelegate::setShared(nullptr); // the neutral delegate declines at once
    KTWebViewController* page = makePage();
    page->loadRequest(server->url("/ask"));
    if (c.response) {
        GtkWidget* alert = waitForMessageDialog("Quilt");
        ASSERT_NE(alert, nullptr);
        EXPECT_EQ(textOf(alert, "secondary-text"), "Leave now?");
        EXPECT_EQ(gtk_window_get_transient_for(GTK_WINDOW(alert)), GTK_WINDOW(window_));
        EXPECT_TRUE(gtk_window_get_modal(GTK_WINDOW(alert)));
        GtkWidget* ok = gtk_dialog_get_widget_for_response(GTK_DIALOG(alert), GTK_RESPONSE_OK);
        ASSERT_NE(ok, nullptr);
        EXPECT_STREQ(gtk_button_get_label(GTK_BUTTON(ok)), "OK");
        EXPECT_EQ(gtk_dialog_get_widget_for_response(GTK_DIALOG(alert), GTK_RESPONSE_CANCEL) != nullptr, confirm);
        gtk_button_clicked(GTK_BUTTON(gtk_dialog_get_widget_for_response(GTK_DIALOG(alert), *c.response)));
    }
    ASSERT_TRUE(waitFinished(server->url("/ask"))) << "the page waits on no one";
    EXPECT_TRUE(waitUntil([&] { return page->title() == c.title; })) << page->title();
    EXPECT_EQ(findMessageDialog("Quilt"), nullptr);
}

INSTANTIATE_TEST_SUITE_P(
    Answers, ScriptDialogTest,
    ::testing::Values(ScriptDialogCase {"AlertOk", "alert('Leave now?')", GTK_RESPONSE_OK, "answer undefined"},
                      ScriptDialogCase {"ConfirmOk", "confirm('Leave now?')", GTK_RESPONSE_OK, "answer true"},
                      ScriptDialogCase {"ConfirmCancel", "confirm('Leave now?')", GTK_RESPONSE_CANCEL, "answer false"},
                      ScriptDialogCase {"AlertNoOneToAsk", "alert('Leave now?')", std::nullopt, "answer undefined"},
                      ScriptDialogCase {"ConfirmNoOneToAsk", "confirm('Leave now?')", std::nullopt, "answer false"}),
    [](const auto& info) { return std::string(info.param.name); });

} // namespace
} // namespace quilt::test
