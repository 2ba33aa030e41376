// A main-frame address the allow-list refuses is handed to the browser
// without the app ever requesting it: the foreign server sees nothing (no
// POST body, no cookies, no used-up one-time link), whatever started the
// navigation, while foreign iframes and allowed pages load as before.

#include "support/GuiTest.h"

#include "web/KTWebContext.h"
#include "web/KTWebViewController.h"

#include <webkit2/webkit2.h>

namespace quilt::test {
namespace {

struct RefusalCase {
    const char* name;
    const char* start;   // the document of http://site.example.com/start
    const char* trigger; // what starts the navigation: a script, "click #f", or nothing
    const char* refused; // the foreign address, host and path
    friend void PrintTo(const RefusalCase& c, std::ostream* os) { *os << c.name; }
};

class RefusedRequest : public PolicyTest, public ::testing::WithParamInterface<RefusalCase> {
protected:
    void SetUp() override
    {
        PolicyTest::SetUp();
        if (IsSkipped())
            return;
        ASSERT_TRUE(KTWebContext::shared().refusesBeforeRequest()) << "the test bundle carries the extension";
        openWindow();
        writeAllowList(false, true, {"site.example.com"});
        // Were it requested, the foreign page would ask for a login and set
        // a cookie; only the count of requests is needed to tell.
        for (const char* path : {"/link", "/post", "/location", "/refresh", "/top", "/later"}) {
            HttpPage foreign = HttpPage::html("foreign");
            foreign.status = 401;
            foreign.headers = {{"WWW-Authenticate", "Basic realm=\"foreign\""}, {"Set-Cookie", "tracked=1"}};
            server->route(std::string("elsewhere.org") + path, foreign);
        }
    }

    // The page stayed on `url` with its document alive, and the browser got
    // `refused`, which was never requested.
    void expectHandedOverUnrequested(const std::string& url, const std::string& refused)
    {
        EXPECT_TRUE(waitForBrowserUrl("http://" + refused)) << ::testing::PrintToString(browserUrls());
        EXPECT_EQ(server->hits(refused), 0u);
        EXPECT_TRUE(waitShown(page, url)) << page->url();
        EXPECT_EQ(runJs(page, "document.getElementById('mark') ? 'still' : 'gone'"), "still");
        EXPECT_EQ(findMessageDialog("Authentication Required"), nullptr);
    }
};

TEST_P(RefusedRequest, NeverReachesTheForeignServer)
{
    const RefusalCase& c = GetParam();
    server->route("widgets.other.org/frame",
                  HttpPage::html("frame", "<a id='top' target='_top' href='http://elsewhere.org/top'"
                                          " style='position:fixed;inset:0'>top</a>"));
    server->route("site.example.com/start",
                  HttpPage::bytes(std::string("<!doctype html><html><head><title>start</title>") + c.start
                                      + "</head><body><p id='mark'>start</p>"
                                        "<iframe id='f' src='http://widgets.other.org/frame'></iframe></body></html>",
                                  "text/html"));
    const std::string start = "http://site.example.com/start";
    ASSERT_TRUE(loadAndWait(page, start));
    ASSERT_TRUE(waitUntil([&] { return server->hits("widgets.other.org/frame") == 1; })) << "a foreign iframe loads";
    const std::string trigger = c.trigger;
    if (trigger == "click #f") {
        ASSERT_TRUE(clickElement(page, "#f"));
    } else if (!trigger.empty()) {
        ASSERT_EQ(runJs(page, trigger + "; 'ok'"), "ok");
    }
    expectHandedOverUnrequested(start, c.refused);
}

INSTANTIATE_TEST_SUITE_P(
    Navigations, RefusedRequest,
    ::testing::Values(
        RefusalCase {"Link", "", "var a = document.createElement('a'); a.href = 'http://elsewhere.org/link';"
                                 " document.body.appendChild(a); a.click()",
                     "elsewhere.org/link"},
        RefusalCase {"FormPost", "",
                     "var f = document.createElement('form'); f.method = 'post';"
                     " f.action = 'http://elsewhere.org/post'; f.innerHTML = \"<input name='secret' value='s3cret'>\";"
                     " document.body.appendChild(f); f.submit()",
                     "elsewhere.org/post"},
        RefusalCase {"LocationChange", "", "location.href = 'http://elsewhere.org/location'", "elsewhere.org/location"},
        RefusalCase {"MetaRefresh", "<meta http-equiv='refresh' content='0;url=http://elsewhere.org/refresh'>", "",
                     "elsewhere.org/refresh"},
        RefusalCase {"TopFromIframe", "", "click #f", "elsewhere.org/top"}),
    [](const auto& info) { return std::string(info.param.name); });

// Refusing adds nothing to the history: back and forward move between the
// pages that were shown.
TEST_F(RefusedRequest, HistoryStaysAsItWas)
{
    server->route("site.example.com/one", HttpPage::html("one", "<p id='mark'>one</p>"));
    server->route("site.example.com/two", HttpPage::html("two", "<p id='mark'>two</p>"));
    ASSERT_TRUE(loadAndWait(page, "http://site.example.com/one"));
    ASSERT_TRUE(loadAndWait(page, "http://site.example.com/two"));
    ASSERT_EQ(runJs(page, "location.href = 'http://elsewhere.org/location'; 'ok'"), "ok");
    expectHandedOverUnrequested("http://site.example.com/two", "elsewhere.org/location");

    WebKitBackForwardList* history = webkit_web_view_get_back_forward_list(page->webview());
    EXPECT_EQ(g_list_length(webkit_back_forward_list_get_back_list(history)), 1u);
    EXPECT_EQ(webkit_back_forward_list_get_forward_list(history), nullptr);
    webkit_web_view_go_back(page->webview());
    EXPECT_TRUE(waitShown(page, "http://site.example.com/one")) << page->url();
    webkit_web_view_go_forward(page->webview());
    EXPECT_TRUE(waitShown(page, "http://site.example.com/two")) << page->url();
}

// The web processes judge by the list as it is when the page navigates, not
// as it was when they started.
TEST_F(RefusedRequest, AChangedListReachesRunningPages)
{
    writeAllowList(false, true, {"site.example.com", "elsewhere.org/later"});
    server->route("elsewhere.org/later", HttpPage::html("later", "<p id='mark'>later</p>"));
    server->route("site.example.com/one", HttpPage::html("one", "<p id='mark'>one</p>"));
    ASSERT_TRUE(loadAndWait(page, "http://site.example.com/one"));
    ASSERT_EQ(runJs(page, "location.href = 'http://elsewhere.org/later'; 'ok'"), "ok");
    EXPECT_TRUE(waitShown(page, "http://elsewhere.org/later")) << page->url();
    EXPECT_TRUE(browserUrls().empty());

    writeAllowList(false, true, {"site.example.com"});
    ASSERT_TRUE(loadAndWait(page, "http://site.example.com/one"));
    const unsigned before = server->hits("elsewhere.org/later");
    ASSERT_EQ(runJs(page, "location.href = 'http://elsewhere.org/later'; 'ok'"), "ok");
    EXPECT_TRUE(waitForBrowserUrl("http://elsewhere.org/later"));
    EXPECT_EQ(server->hits("elsewhere.org/later"), before);
    EXPECT_TRUE(waitShown(page, "http://site.example.com/one")) << page->url();
}

} // namespace
} // namespace quilt::test
