// The address field of a real window over real pages: its two faces,
// typing an address and Escape, following the selected tab, the stop/reload
// button, and the tab strip it sits above.

#include "support/GuiTest.h"
#include "support/XWindow.h"

#include "core/config/KTNotificationNames.h"
#include "ui/windows/KTMainWindowController.h"

#include <gtk/gtk.h>

namespace quilt::test {
namespace {

class URLBarTest : public GuiTest {
protected:
    void SetUp() override
    {
        GuiTest::SetUp();
        if (IsSkipped())
            return;
        for (const char* p : {"/a", "/b", "/c"})
            server->route(p, HttpPage::html(std::string("Page ") + p));
        HttpPage slow = HttpPage::html("Slow");
        slow.delay = 4s;
        server->route("/slow", slow);
        window = newWindow(true);
        field = &window->urlTextField();
        tabs = window->tabController();
    }
    GtkWidget* entry() const { return GTK_WIDGET(field->entry()); }
    std::string entryText() const { return gtk_entry_get_text(field->entry()); }
    bool pageHasFocus(KTWebViewController* page) const
    {
        return gtk_widget_has_focus(GTK_WIDGET(page->webview()));
    }
    // A real click on the field's stop/reload button.
    bool clickLoadButton()
    {
        GtkWidget* b = field->loadStatusButton();
        if (!waitUntil([&] { return gtk_widget_is_drawable(b) && gtk_widget_get_allocated_width(b) > 1; }))
            return false;
        return XWindow::click(b, gtk_widget_get_allocated_width(b) / 2, gtk_widget_get_allocated_height(b) / 2);
    }

    KTMainWindowController* window = nullptr;
    KTURLBarField* field = nullptr;
    KTTabViewController* tabs = nullptr;
};

TEST_F(URLBarTest, SummaryFaceUntilEditingThenTheWholeURLSelected)
{
    ASSERT_TRUE(loadAndWait(pageOf(window), server->url("/a")));
    window->tabController()->showToolbar();
    EXPECT_TRUE(field->summaryShown());
    EXPECT_EQ(field->hostText(), "127.0.0.1");
    EXPECT_FALSE(field->lockShown()) << "plain http is not secure";
    EXPECT_EQ(entryText(), "") << "the summary face shows no text of its own";

    window->editUrl();
    ASSERT_TRUE(waitUntil([&] { return field->isEditing(); }));
    EXPECT_FALSE(field->summaryShown()) << "never both faces at once";
    EXPECT_EQ(entryText(), server->url("/a"));
    int start = -1, end = -1;
    EXPECT_TRUE(waitUntil([&] {
        return gtk_editable_get_selection_bounds(GTK_EDITABLE(entry()), &start, &end) && start == 0
            && end == int(entryText().size());
    })) << start << ".." << end;
}

TEST_F(URLBarTest, ReturnLoadsTheTypedAddressEscapeRestoresThePagesOne)
{
    KTWebViewController* page = pageOf(window);
    ASSERT_TRUE(loadAndWait(page, server->url("/a")));
    XWindow x(window->window().window());
    ASSERT_TRUE(x.valid());
    // Escape: editing ends, nothing is loaded, the page's address is back.
    window->editUrl();
    ASSERT_TRUE(waitUntil([&] { return gtk_widget_has_focus(entry()); }));
    ASSERT_TRUE(x.type("not where we are"));
    ASSERT_TRUE(x.key("Escape"));
    ASSERT_TRUE(waitUntil([&] { return !field->isEditing(); }));
    EXPECT_TRUE(pageHasFocus(page));
    EXPECT_EQ(field->urlString(), server->url("/a"));
    window->editUrl();
    EXPECT_TRUE(waitUntil([&] { return entryText() == server->url("/a"); })) << entryText();
    EXPECT_EQ(server->hits("/a"), 1u) << "nothing was loaded";

    // Return: the typed address loads and the page has the keys.
    ASSERT_TRUE(waitUntil([&] { return gtk_widget_has_focus(entry()); }));
    gtk_editable_delete_text(GTK_EDITABLE(entry()), 0, -1);
    ASSERT_TRUE(x.type(server->url("/b")));
    ASSERT_TRUE(x.key("Return"));
    EXPECT_TRUE(waitLoaded(page, server->url("/b")));
    EXPECT_FALSE(field->isEditing());
    EXPECT_TRUE(pageHasFocus(page));
    EXPECT_EQ(field->urlString(), server->url("/b"));

    // Without a scheme the address is completed to https, which this
    // server does not speak: the tab says why instead of staying blank.
    window->editUrl();
    ASSERT_TRUE(waitUntil([&] { return gtk_widget_has_focus(entry()); }));
    std::string bare = server->url("/c").substr(std::string("http://").size());
    ASSERT_TRUE(x.type(bare));
    ASSERT_TRUE(x.key("Return"));
    EXPECT_TRUE(waitUntil([&] { return !page->failureText().empty(); }, 20s));
    EXPECT_NE(page->failureText().find("https://" + bare), std::string::npos) << page->failureText();
    EXPECT_EQ(server->hits("/c"), 0u);
    // The next load that works takes the notice away.
    ASSERT_TRUE(loadAndWait(page, server->url("/a")));
    EXPECT_EQ(page->failureText(), "");
}

TEST_F(URLBarTest, TheFieldShowsTheSelectedTabThroughSwitchesAndCloses)
{
    ASSERT_TRUE(loadAndWait(pageOf(window), server->url("/a")));
    tabs->openLinkInNewTab(server->url("/b"));
    tabs->openLinkInNewTab(server->url("/c"));
    ASSERT_TRUE(waitLoaded(pageOf(window, 1), server->url("/b")) && waitLoaded(pageOf(window, 2), server->url("/c")));
    EXPECT_EQ(field->urlString(), server->url("/c"));

    // Switching while the field has the keys: it follows and lets go.
    window->editUrl();
    ASSERT_TRUE(waitUntil([&] { return gtk_widget_has_focus(entry()); }));
    tabs->selectTabAt(0);
    EXPECT_EQ(field->urlString(), server->url("/a"));
    EXPECT_FALSE(field->isEditing());
    EXPECT_TRUE(pageHasFocus(pageOf(window, 0)));

    tabs->removeCurrentTab();
    EXPECT_TRUE(field->urlString() == server->url("/b") || field->urlString() == server->url("/c"));
    EXPECT_EQ(field->urlString(), tabs->selectedWebViewController()->url());

    // The strip's tabs keep a browser's width (less their 8 px of padding),
    // far from the whole strip.
    for (size_t i = 0; i < tabs->tabsCount(); ++i) {
        GtkWidget* label = gtk_notebook_get_tab_label(
            GTK_NOTEBOOK(gtk_widget_get_parent(tabs->pageAt(i)->view())), tabs->pageAt(i)->view());
        ASSERT_TRUE(waitUntil([&] { return gtk_widget_get_allocated_width(label) > 1; }));
        int w = gtk_widget_get_allocated_width(label);
        EXPECT_GE(w, 22) << i;
        EXPECT_LE(w, 142) << i;
    }

    // Crowded tabs shrink so that all of them stay in view.
    while (tabs->tabsCount() < 16)
        tabs->addNewTabToTabView();
    GtkWidget* strip = gtk_widget_get_parent(tabs->pageAt(0)->view());
    auto labelsWidth = [&] {
        int sum = 0;
        for (size_t i = 0; i < tabs->tabsCount(); ++i)
            sum += gtk_widget_get_allocated_width(
                gtk_notebook_get_tab_label(GTK_NOTEBOOK(strip), tabs->pageAt(i)->view()));
        return sum;
    };
    EXPECT_TRUE(waitUntil([&] { return labelsWidth() > 0 && labelsWidth() <= gtk_widget_get_allocated_width(strip); }))
        << labelsWidth() << " in " << gtk_widget_get_allocated_width(strip);
}

TEST_F(URLBarTest, TheButtonStopsALoadingPageAndReloadsALoadedOne)
{
    std::vector<std::string> posted;
    KTObservation stop(names::kStop, [&](const KTNotification&) { posted.push_back("stop"); });
    KTObservation reload(names::kReload, [&](const KTNotification&) { posted.push_back("reload"); });
    KTWebViewController* page = pageOf(window);
    ASSERT_TRUE(loadAndWait(page, server->url("/a")));
    window->tabController()->showToolbar();
    EXPECT_FALSE(field->isLoading());
    ASSERT_TRUE(clickLoadButton());
    EXPECT_TRUE(waitUntil([&] { return server->hits("/a") == 2; })) << "reload";
    EXPECT_TRUE(waitLoaded(page, server->url("/a")));

    page->loadRequest(server->url("/slow"));
    ASSERT_TRUE(waitUntil([&] { return field->isLoading() && server->hits("/slow") == 1; }));
    ASSERT_TRUE(clickLoadButton());
    EXPECT_TRUE(waitUntil([&] { return posted.size() == 2; }));
    EXPECT_EQ(posted, (std::vector<std::string> {"reload", "stop"}));
    EXPECT_TRUE(waitUntil([&] { return !page->isLoading(); }, 2s)) << "stopped long before the page's answer";
    EXPECT_FALSE(field->isLoading());
    EXPECT_EQ(page->failureText(), "") << "a stop is no failure";
}

} // namespace
} // namespace quilt::test
