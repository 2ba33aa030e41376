// What a window's tabs cost and survive, on real pages: tabs share a web
// process, a discarded tab comes back where it was, and a page whose web
// process is killed offers a reload while the other tabs keep working.

#include "support/GuiTest.h"

#include "ui/windows/KTMainWindowController.h"

#include <gtk/gtk.h>

#include <dirent.h>
#include <signal.h>
#include <unistd.h>

#include <fstream>
#include <set>

namespace quilt::test {
namespace {

// The web processes WebKit started for this test program.
std::set<pid_t> webProcesses()
{
    std::set<pid_t> out;
    DIR* dir = opendir("/proc");
    while (dirent* e = dir ? readdir(dir) : nullptr) {
        pid_t pid = atoi(e->d_name);
        if (pid <= 0)
            continue;
        std::ifstream stat("/proc/" + std::string(e->d_name) + "/stat");
        std::string line;
        std::getline(stat, line);
        size_t close = line.rfind(')');
        if (close == std::string::npos || line.find("(WebKitWebProces") == std::string::npos)
            continue;
        char state = 0;
        int ppid = 0;
        if (sscanf(line.c_str() + close + 1, " %c %d", &state, &ppid) == 2 && ppid == getpid() && state != 'Z')
            out.insert(pid);
    }
    if (dir)
        closedir(dir);
    return out;
}

class TabProcessesTest : public GuiTest {
protected:
    void SetUp() override
    {
        GuiTest::SetUp();
        // Processes of the tests before have ended: each one seen is this test's.
        ASSERT_TRUE(waitUntil([] { return webProcesses().empty(); }, 20s));
        writeDataFile("settings.json", {{"enableJavaScript", true}});
        std::string rows;
        for (int i = 0; i < 200; ++i)
            rows += "<p style='height:40px'>row " + std::to_string(i) + "</p>";
        server->route("/long", HttpPage::html("Long page", rows));
        server->route("/one", HttpPage::html("One"));
        server->route("/two", HttpPage::html("Two"));
        server->route("/three", HttpPage::html("Three"));
    }
    std::string newTabLoading(KTTabViewController* tabs, const std::string& path)
    {
        tabs->addNewTab();
        KTWebViewController* page = tabs->selectedWebViewController();
        page->loadRequest(server->url(path));
        return waitLoaded(page, server->url(path)) ? page->title() : "(not loaded)";
    }
};

TEST_F(TabProcessesTest, ADiscardedTabComesBackWithItsAddressTitleHistoryAndScroll)
{
    KTTabViewController* tabs = newWindow(true)->tabController();
    KTWebViewController* page = tabs->pageAt(0);
    ASSERT_TRUE(loadAndWait(page, server->url("/one")));
    ASSERT_TRUE(loadAndWait(page, server->url("/long")));
    ASSERT_TRUE(waitLoaded(page, server->url("/long")));
    runJs(page, "window.scrollTo(0, 1500)");
    ASSERT_EQ(runJs(page, "String(window.scrollY)"), "1500");
    tabs->addNewTab();

    WebKitWebView* before = page->webview();
    tabs->discardTabAt(0);
    ASSERT_TRUE(waitUntil([&] { return page->isDiscarded(); }));
    EXPECT_NE(page->webview(), before) << "the page's view is gone";
    EXPECT_EQ(webkit_web_view_get_uri(page->webview()), nullptr) << "its stand-in holds no page";
    EXPECT_EQ(page->url(), server->url("/long"));
    EXPECT_EQ(page->title(), "Long page");
    EXPECT_EQ(page->item->label(), "Long page");
    EXPECT_EQ(tabs->getOpenedUrls().front(), server->url("/long")) << "still saved with the window";
    EXPECT_EQ(tabs->processPlan().sharing(0).size(), 0u);

    const unsigned hits = server->hits("/long");
    tabs->selectTabAt(0);
    ASSERT_TRUE(waitLoaded(page, server->url("/long")));
    EXPECT_FALSE(page->isDiscarded());
    EXPECT_EQ(page->title(), "Long page");
    EXPECT_EQ(server->hits("/long"), hits + 1) << "loaded again when selected";
    EXPECT_TRUE(waitUntil([&] { return runJs(page, "String(window.scrollY)") == "1500"; }));
    EXPECT_TRUE(webkit_web_view_can_go_back(page->webview())) << "the history came back too";
    EXPECT_EQ(tabs->processPlan().sharing(0).size(), 2u) << "back in a shared process";

    // The shown tab is never discarded.
    tabs->discardTabAt(0);
    drainEvents();
    EXPECT_FALSE(page->isDiscarded());
}

TEST_F(TabProcessesTest, AKilledWebProcessOffersAReloadWhileOtherTabsKeepWorking)
{
    KTTabViewController* first = newWindow(true)->tabController();
    ASSERT_TRUE(loadAndWait(first->pageAt(0), server->url("/one")));
    const std::set<pid_t> one = webProcesses();
    ASSERT_EQ(one.size(), 1u);
    EXPECT_EQ(newTabLoading(first, "/two"), "Two");
    EXPECT_EQ(webProcesses(), one) << "a window's second tab shares the first one's process";
    EXPECT_EQ(first->processPlan().stateString(), "0 1");

    KTTabViewController* second = newWindow(true)->tabController();
    KTWebViewController* victim = second->pageAt(0);
    ASSERT_TRUE(loadAndWait(victim, server->url("/three")));
    std::set<pid_t> both = webProcesses();
    ASSERT_EQ(both.size(), 2u) << "another window's tabs run apart";
    both.erase(*one.begin());
    ASSERT_EQ(kill(*both.begin(), SIGKILL), 0);

    ASSERT_TRUE(waitUntil([&] { return !victim->processNoticeText().empty(); }));
    EXPECT_EQ(victim->processNoticeText(), "This page stopped working.");
    for (size_t i = 0; i < 2; ++i) {
        KTWebViewController* other = first->pageAt(i);
        EXPECT_EQ(other->processNoticeText(), "");
        EXPECT_EQ(runJs(other, "document.title"), i == 0 ? "One" : "Two");
    }
    EXPECT_TRUE(loadAndWait(first->pageAt(1), server->url("/three")));

    victim->reloadAfterProcessTrouble();
    EXPECT_TRUE(waitLoaded(victim, server->url("/three")));
    EXPECT_EQ(runJs(victim, "document.title"), "Three");
    EXPECT_EQ(victim->processNoticeText(), "");
}

} // namespace
} // namespace quilt::test
