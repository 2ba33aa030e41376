// What a page gets injected and how it presents itself: the user script of
// the bundle and the user style of the data folder only where their
// patterns match, and the user agent switched by name.

#include "support/GuiTest.h"

#include "core/config/KTNotificationCenter.h"
#include "core/config/KTNotificationNames.h"
#include "core/config/KTShared.h"
#include "core/web/KTScriptsManager.h"
#include "core/web/KTStylesManager.h"
#include "ui/windows/KTMainWindowController.h"
#include "web/KTWebManager.h"
#include "web/KTWebViewController.h"

#include <webkit2/webkit2.h>

namespace quilt::test {
namespace {

class PageContentTest : public PolicyTest {
protected:
    void SetUp() override
    {
        PolicyTest::SetUp();
        if (IsSkipped())
            return;
        server->route("app.example.com/inbox", HttpPage::html("t", "<h1 id='t'>inbox</h1>"));
        server->route("app.example.com/settings", HttpPage::html("t", "<h1 id='t'>settings</h1>"));
        server->route("other.example.org/page", HttpPage::html("t", "<h1 id='t'>other</h1>"));
    }

    // Scripts and styles take effect from the next document of a URL on
    // (they are chosen at each commit): the page is shown twice.
    void showSteadily(KTWebViewController* page, const std::string& url)
    {
        ASSERT_TRUE(loadAndWait(page, url));
        webkit_web_view_reload(page->webview());
        ASSERT_TRUE(waitUntil([&] { return !page->isLoading() && runJs(page, "document.readyState") == "complete"; }));
    }

    std::string scriptMark(KTWebViewController* page) { return runJs(page, "String(window.quiltMark)"); }
    std::string titleColour(KTWebViewController* page)
    {
        return runJs(page, "getComputedStyle(document.getElementById('t')).color");
    }
};

TEST_F(PageContentTest, UserScriptAndStyleApplyOnlyWhereTheirPatternsMatch)
{
    // The script comes with the app (inside its bundle), the style is the
    // user's (in the data folder); each with a pattern of its own.
    env->writeFile(env->bundlePath() + "/Contents/Resources/Scripts/userscripts.json",
                   R"([{"name":"Mark","state":1,"script":"window.quiltMark = 'injected';",)"
                   R"("pattern":{"*app.example.com/inbox*":{"name":"*app.example.com/inbox*","state":1}}}])");
    env->writeFile(env->dataFolder() + "userstyles.json",
                   R"([{"name":"Red","state":1,"script":"#t {\n color: rgb(200, 0, 0);\n}",)"
                   R"("pattern":{"app.example.com*settings":{"name":"app.example.com*settings","state":1}}}])");
    KTShared<KTScriptsManager>::reset();
    KTShared<KTStylesManager>::reset();

    KTWebViewController* page = pageOf(newWindow(true));
    for (auto [url, seen] : {std::pair{"http://app.example.com/inbox", "injected rgb(0, 0, 0)"},
                             {"http://app.example.com/settings", "undefined rgb(200, 0, 0)"},
                             {"http://other.example.org/page", "undefined rgb(0, 0, 0)"}}) {
        SCOPED_TRACE(url);
        showSteadily(page, url);
        EXPECT_EQ(scriptMark(page) + " " + titleColour(page), seen);
    }
}

// The agent chosen by name (the names' agents are the core's table):
// scripts see it at once, the server with the next request.
TEST_F(PageContentTest, PagesPresentTheChosenAgent)
{
    KTWebViewController* page = pageOf(newWindow(true));
    ASSERT_TRUE(loadAndWait(page, "http://app.example.com/inbox"));
    for (const char* name : {"iPhone", "Firefox-Mac"}) {
        SCOPED_TRACE(name);
        const auto expected = KTWebManager::sharedManager().userAgentNamed(name);
        ASSERT_TRUE(expected.has_value());
        const unsigned hits = server->hits("app.example.com/inbox");
        KTNotificationCenter::defaultCenter().post(names::kChangeUserAgent, std::string(name));
        EXPECT_TRUE(waitUntil([&] { return runJs(page, "navigator.userAgent") == *expected; }))
            << runJs(page, "navigator.userAgent");
        webkit_web_view_reload(page->webview());
        ASSERT_TRUE(waitUntil([&] { return server->hits("app.example.com/inbox") == hits + 1 && !page->isLoading(); }));
        EXPECT_EQ(server->last("app.example.com/inbox")->userAgent, *expected);
    }
}

} // namespace
} // namespace quilt::test
