// The tabs of a real main window: the recently-selected order, the tab
// strip and pages opened by pages.

#include "support/GuiTest.h"

#include "core/config/KTBehaviorManager.h"
#include "core/config/KTSettingsManager.h"
#include "ui/windows/KTMainWindowController.h"

#include <gtk/gtk.h>

namespace quilt::test {
namespace {

class TabsTest : public GuiTest {
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
    static GtkNotebook* stripOf(KTTabViewController* tabs)
    {
        GtkNotebook* strip = nullptr;
        GList* kids = gtk_container_get_children(GTK_CONTAINER(tabs->view()));
        for (GList* l = kids; l; l = l->next)
            if (GTK_IS_NOTEBOOK(l->data))
                strip = GTK_NOTEBOOK(l->data);
        g_list_free(kids);
        return strip;
    }
    // The strip shows the model's order and its selected tab.
    static bool stripFollowsModel(KTTabViewController* tabs)
    {
        GtkNotebook* strip = stripOf(tabs);
        if (size_t(gtk_notebook_get_n_pages(strip)) != tabs->tabsCount())
            return false;
        for (size_t i = 0; i < tabs->tabsCount(); ++i)
            if (gtk_notebook_get_nth_page(strip, gint(i)) != tabs->pageAt(i)->view())
                return false;
        return gtk_notebook_get_nth_page(strip, gtk_notebook_get_current_page(strip))
            == tabs->selectedWebViewController()->view();
    }
};

// ------------------------------------------------------ recent order

// With "return to prior" the previously selected tab comes back; without
// it, a neighbour of the closed tab, and the closed one stays in the order.
TEST_F(TabsTest, ClosingATabSelectsThePriorOneOnlyWhenAsked)
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

    KTSettingsManager::sharedManager().setReturnToPrior(false);
    tabs = tabsWith(5);
    visit(tabs, {0, 4, 1});
    tabs->removeCurrentTab();
    std::string state = tabs->model().stateString();
    EXPECT_TRUE(state == "0* 2 3 4" || state == "0 2* 3 4") << state << ": a neighbour of the closed tab";
    EXPECT_NE(recent(tabs).find('1'), std::string::npos) << "the closed tab stays in the recent order";
    EXPECT_TRUE(waitUntil([&] { return selectionMatchesNotebook(tabs); }));
}

// --------------------------------------------------------- tab strip

TEST_F(TabsTest, DraggingATabInTheStripReordersTheTabs)
{
    KTTabViewController* tabs = tabsWith(1);
    const std::vector<std::string> u = {server->url("/one"), server->url("/two"), server->url("/three")};
    ASSERT_TRUE(tabs->restoreUrls(u));
    ASSERT_TRUE(waitUntil([&] { return tabs->getOpenedUrls() == u; }));
    EXPECT_EQ(tabs->model().stateString(), "0 1 2*");
    // A drag in the strip ends as this does: the page moves, "page-reordered".
    gtk_notebook_reorder_child(stripOf(tabs), tabs->pageAt(2)->view(), 0);
    EXPECT_EQ(tabs->model().stateString(), "2* 0 1");
    EXPECT_EQ(tabs->getOpenedUrls(), (std::vector<std::string> {u[2], u[0], u[1]})) << "saved in the order shown";
    tabs->selectRelative(1); // Control+Page Down: the tab to the right as shown
    EXPECT_EQ(tabs->model().stateString(), "2 0* 1");
    EXPECT_TRUE(stripFollowsModel(tabs));
    tabs->removeCurrentTab();
    EXPECT_TRUE(stripFollowsModel(tabs));
    EXPECT_EQ(tabs->getOpenedUrls(), (std::vector<std::string> {u[2], u[1]}));
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

} // namespace
} // namespace quilt::test
