// The tabs of a real main window: the recently-selected order, the tab
// strip, restoring and listing URLs, pages opened by pages, and commands
// that arrive by name.

#include "support/WindowTest.h"

#include "config/KTNotificationCenter.h"
#include "config/KTRestoreManager.h"
#include "config/KTUserDefaults.h"

namespace quilt::test {
namespace {

class TabsTest : public WindowTest {
protected:
    // A window with n tabs, ids 0..n-1.
    KTTabViewController* tabsWith(size_t n)
    {
        KTTabViewController* tabs = newWindow()->tabController();
        while (tabs->tabsCount() < n)
            tabs->addNewTab();
        return tabs;
    }
    void visit(KTTabViewController* tabs, std::initializer_list<size_t> indexes)
    {
        for (size_t i : indexes)
            tabs->selectTabAt(i);
    }
    static std::string recent(const KTTabViewController* tabs)
    {
        std::string out;
        for (auto id : tabs->model().tabsOrder())
            out += (out.empty() ? "" : " ") + std::to_string(id);
        return out;
    }
    static bool selectionMatchesNotebook(KTTabViewController* tabs)
    {
        auto* sel = tabs->selectedWebViewController();
        return sel && gtk_widget_get_visible(sel->view()) && gtk_widget_get_mapped(sel->view());
    }
};

// ------------------------------------------------------ recent order

TEST_F(TabsTest, ClosingWithReturnToPriorSelectsThePreviouslySelectedTab)
{
    KTSettingsManager::sharedManager().setReturnToPrior(true);
    KTTabViewController* tabs = tabsWith(5);
    visit(tabs, {0, 4, 1});
    EXPECT_EQ(tabs->model().stateString(), "0 1* 2 3 4");
    tabs->removeCurrentTab();
    EXPECT_EQ(tabs->model().stateString(), "0 2 3 4*") << "back to 4, not to the neighbour";
    EXPECT_TRUE(waitUntil([&] { return selectionMatchesNotebook(tabs); }));
    tabs->removeCurrentTab();
    EXPECT_EQ(tabs->model().stateString(), "0* 2 3");
}

TEST_F(TabsTest, ClosingWithoutReturnToPriorKeepsTheTabStripsChoice)
{
    KTSettingsManager::sharedManager().setReturnToPrior(false);
    KTTabViewController* tabs = tabsWith(5);
    visit(tabs, {0, 4, 1});
    tabs->removeCurrentTab();
    std::string state = tabs->model().stateString();
    EXPECT_TRUE(state == "0* 2 3 4" || state == "0 2* 3 4") << state << ": a neighbour of the closed tab";
    EXPECT_NE(recent(tabs).find('1'), std::string::npos) << "the closed tab stays in the recent order";
    EXPECT_TRUE(waitUntil([&] { return selectionMatchesNotebook(tabs); }));
}

// --------------------------------------------------------- tab strip

TEST_F(TabsTest, TabStripHeightFollowsTheTabs)
{
    KTTabViewController* tabs = tabsWith(1);
    EXPECT_EQ(tabs->tabbarHeight(), 0);
    tabs->addNewTab();
    EXPECT_EQ(tabs->tabbarHeight(), 26);
    tabs->removeCurrentTab();
    EXPECT_EQ(tabs->tabbarHeight(), 0);

    ASSERT_TRUE(tabs->restoreUrls({server->url("/one"), server->url("/two")}));
    EXPECT_EQ(tabs->tabsCount(), 2u);
    EXPECT_EQ(tabs->tabbarHeight(), 22) << "right after restoring several URLs";
    tabs->updateTabBar();
    EXPECT_EQ(tabs->tabbarHeight(), 26);
}

// ------------------------------------------------ restoring and listing

TEST_F(TabsTest, RestoredUrlsStartInTheLastTabAndLabelTheirTabs)
{
    KTTabViewController* tabs = tabsWith(2);
    tabs->selectTabAt(0);
    const std::vector<std::string> urls {server->url("/one"), server->url("/two"), server->url("/three")};
    ASSERT_TRUE(tabs->restoreUrls(urls));
    ASSERT_EQ(tabs->tabsCount(), 4u);
    EXPECT_EQ(tabs->pageAt(1)->item->label(), urls[0]);
    EXPECT_EQ(tabs->pageAt(3)->item->label(), urls[2]);
    for (size_t i = 0; i < 3; ++i)
        EXPECT_TRUE(waitLoaded(tabs->pageAt(i + 1), urls[i])) << urls[i];
    // The tab that had no page is skipped.
    EXPECT_EQ(tabs->pageAt(0)->url(), "");
    EXPECT_EQ(tabs->getOpenedUrls(), urls);
    // Titles replace the URL labels.
    EXPECT_EQ(tabs->pageAt(1)->item->label(), "One");
}

TEST_F(TabsTest, RestoringNothingSendsTheLastTabHome)
{
    writeDataFile("settings.json", {{"main_url", server->url("/home")}});
    KTTabViewController* tabs = tabsWith(2);
    tabs->selectTabAt(0);
    EXPECT_TRUE(tabs->restoreUrls({}));
    EXPECT_TRUE(waitLoaded(tabs->pageAt(1), server->url("/home")));
    EXPECT_EQ(tabs->pageAt(0)->url(), "");
    EXPECT_EQ(tabs->tabsCount(), 2u);
}

TEST_F(TabsTest, TabLabelFollowsThePageTitle)
{
    KTTabViewController* tabs = tabsWith(1);
    KTWebViewController* page = tabs->pageAt(0);
    EXPECT_EQ(page->item->label(), "New tab");
    page->isRecentNewTab = true;
    page->loadRequest(server->url("/title"));
    ASSERT_TRUE(waitLoaded(page, server->url("/title")));
    EXPECT_EQ(page->item->label(), "Hello page");
    EXPECT_FALSE(page->isRecentNewTab) << "settled on a page of its own";

    // An untitled page: the title change empties the label, and the finish
    // does not bring the old one back.
    page->loadRequest(server->url("/untitled"));
    ASSERT_TRUE(waitUntil([&] { return page->url() == server->url("/untitled") && !page->isLoading(); }));
    EXPECT_EQ(page->item->label(), "");
}

// ----------------------------------------------- pages opening pages

struct OpenCase {
    const char* name;
    bool openTabInsteadWindow;
    bool openOtherAppInBackground;
    bool selectNewTab;
    size_t windows;  // afterwards
    bool selected;   // the new tab is the selected one
};

class TabsOpenTest : public TabsTest, public ::testing::WithParamInterface<OpenCase> {};

TEST_P(TabsOpenTest, PageOpenedByAPageBecomesATabOrAWindow)
{
    const OpenCase& c = GetParam();
    writeDataFile("behavior.json", {{"version", 1.1},
                                    {"openTabWindow", c.openTabInsteadWindow},
                                    {"openOtherWindowInBackground", c.openOtherAppInBackground}});
    writeDataFile("settings.json", {{"selectNewTab", c.selectNewTab}});
    KTTabViewController* tabs = tabsWith(1);
    auto page = std::make_unique<KTWebViewController>();
    KTWebViewController* raw = page.get();
    raw->loadRequest(server->url("/title"));
    tabs->newWebViewConstroller(std::move(page));

    ASSERT_EQ(KTMainWindowController::mainWindows().size(), c.windows);
    EXPECT_EQ(KTSettingsManager::sharedManager().selectNewTab(), c.selectNewTab) << "reads as before";
    if (c.windows == 2) {
        KTTabViewController* other = KTMainWindowController::mainWindows().back()->tabController();
        EXPECT_EQ(other->tabsCount(), 1u);
        EXPECT_EQ(other->pageAt(0), raw) << "the page is tab 0 of the new window";
        EXPECT_EQ(tabs->tabsCount(), 1u);
    } else {
        ASSERT_EQ(tabs->tabsCount(), 2u);
        EXPECT_EQ(tabs->pageAt(1), raw);
        EXPECT_EQ(tabs->selectedWebViewController() == raw, c.selected);
        EXPECT_EQ(tabs->tabbarHeight(), 26);
    }
    EXPECT_TRUE(waitLoaded(raw, server->url("/title")));
}

INSTANTIATE_TEST_SUITE_P(
    Behaviour, TabsOpenTest,
    ::testing::Values(OpenCase {"NewWindow", false, false, false, 2, false},
                      OpenCase {"TabAlwaysSelected", true, false, false, 1, true},
                      OpenCase {"BackgroundTabNotSelected", true, true, false, 1, false},
                      OpenCase {"BackgroundTabSelectedBySetting", true, true, true, 1, true}),
    [](const auto& info) { return std::string(info.param.name); });

TEST_F(TabsTest, NewTabOpensTheHomePageWhenAsked)
{
    writeDataFile("behavior.json", {{"version", 1.1}, {"openDefaultLinkInNewTab", true}});
    writeDataFile("settings.json", {{"main_url", server->url("/home")}});
    KTTabViewController* tabs = tabsWith(1);
    tabs->addNewTab();
    EXPECT_EQ(tabs->model().stateString(), "0 1*");
    EXPECT_TRUE(waitLoaded(tabs->pageAt(1), server->url("/home")));
    EXPECT_EQ(tabs->pageAt(0)->url(), "");
}

TEST_F(TabsTest, AddingATabShowsTheToolbar)
{
    KTMainWindowController* window = newWindow();
    EXPECT_FALSE(window->toolbarShown());
    window->tabController()->addNewTab();
    EXPECT_TRUE(window->toolbarShown());
    EXPECT_TRUE(KTUserDefaults::standardUserDefaults().boolForKey("ToolbarVisible"));
}

// --------------------------------------------------- commands by name

TEST_F(TabsTest, CommandsByNameActOnTheSelectedPageOfEveryWindow)
{
    KTTabViewController* first = tabsWith(2);
    KTTabViewController* second = newWindow()->tabController();
    first->selectTabAt(0);
    auto& center = KTNotificationCenter::defaultCenter();
    center.post("zoomin");
    EXPECT_NEAR(first->pageAt(0)->currentZoomFactor(), 1.2, 1e-9);
    EXPECT_DOUBLE_EQ(first->pageAt(1)->currentZoomFactor(), 1.0);
    EXPECT_NEAR(second->pageAt(0)->currentZoomFactor(), 1.2, 1e-9);
    center.post("zoomout");
    center.post("resetzoom");
    EXPECT_DOUBLE_EQ(first->pageAt(0)->currentZoomFactor(), 1.0);

    center.post("Open Link In New Tab", {}, KTJson {{"url", server->url("/one")}});
    ASSERT_EQ(first->tabsCount(), 3u);
    ASSERT_EQ(second->tabsCount(), 2u);
    EXPECT_TRUE(waitLoaded(first->selectedWebViewController(), server->url("/one")));
    EXPECT_EQ(first->selectedWebViewController(), first->pageAt(2));

    center.post("New tab");
    EXPECT_EQ(first->tabsCount(), 4u);
    EXPECT_EQ(second->tabsCount(), 3u);
}

TEST_F(TabsTest, NeedCloseWebViewRecordsTheWindowAndClosesTheTab)
{
    writeDataFile("behavior.json", {{"version", 1.1}, {"closeApplication", true}});
    KTTabViewController* tabs = tabsWith(1);
    ASSERT_TRUE(tabs->restoreUrls({server->url("/one"), server->url("/two")}));
    ASSERT_TRUE(waitLoaded(tabs->pageAt(1), server->url("/two")));
    ASSERT_TRUE(waitLoaded(tabs->pageAt(0), server->url("/one")));

    KTNotificationCenter::defaultCenter().post("needCloseWebView", tabs->pageAt(1)->webview());
    KTJson file = env->readJson(env->dataFolder() + "restore.json");
    const KTJson* record = json::lookup(file, "window0");
    ASSERT_TRUE(record) << file.dump();
    EXPECT_EQ((*record)["url"], KTJson::array({server->url("/one"), server->url("/two")}));
    EXPECT_TRUE(json::stringFor(*record, "windowFrame").has_value());
    EXPECT_EQ(tabs->tabsCount(), 1u);
    EXPECT_EQ(tabs->getOpenedUrls(), std::vector<std::string> {server->url("/one")});
}

} // namespace
} // namespace quilt::test
