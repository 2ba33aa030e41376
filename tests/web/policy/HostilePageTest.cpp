// Pages that abuse what a page may ask of the app: dialogs in a loop,
// windows opened in a loop, messages posted in a loop.

#include "support/GuiTest.h"

#include "core/config/KTBehaviorManager.h"
#include "core/config/KTSettingsManager.h"
#include "ui/windows/KTMainWindowController.h"
#include "ui/windows/KTTabViewController.h"
#include "web/KTWebViewController.h"

#include <gtk/gtk.h>

namespace quilt::test {
namespace {

class HostilePageTest : public PolicyTest {
protected:
    void SetUp() override
    {
        PolicyTest::SetUp();
        if (IsSkipped())
            return;
        openWindow();
    }

    GtkWidget* silenceBoxOf(GtkWidget* dialog)
    {
        GtkWidget* area = gtk_message_dialog_get_message_area(GTK_MESSAGE_DIALOG(dialog));
        GtkWidget* found = nullptr;
        GList* children = gtk_container_get_children(GTK_CONTAINER(area));
        for (GList* l = children; l; l = l->next)
            if (GTK_IS_CHECK_BUTTON(l->data))
                found = GTK_WIDGET(l->data);
        g_list_free(children);
        return found;
    }
    GtkWidget* alertSaying(const std::string& text)
    {
        GtkWidget* found = nullptr;
        waitUntil([&] {
            found = findWindow([&](GtkWidget* w) {
                return GTK_IS_MESSAGE_DIALOG(w) && textOf(w, "secondary-text") == text;
            });
            return found != nullptr;
        });
        return found;
    }
};

TEST_F(HostilePageTest, APageThatKeepsAskingCanBeSilenced)
{
    server->route("site.example.com/ask",
                  HttpPage::html("asking", "<script>for (let i = 1; i <= 500; ++i) { if (!confirm('question ' + i)) "
                                           "alert('refused ' + i); } document.title = 'done';</script>"));
    page->loadRequest("http://site.example.com/ask");

    GtkWidget* first = alertSaying("question 1");
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(silenceBoxOf(first), nullptr) << "one question is no nuisance yet";
    gtk_dialog_response(GTK_DIALOG(first), GTK_RESPONSE_OK);

    GtkWidget* second = alertSaying("question 2");
    ASSERT_NE(second, nullptr);
    GtkWidget* silence = silenceBoxOf(second);
    ASSERT_NE(silence, nullptr) << "from the second dialog on, the page can be silenced";
    EXPECT_EQ(gtk_button_get_label(GTK_BUTTON(silence)), std::string("Don't let this page show more dialogs"));
    gtk_toggle_button_set_active(GTK_TOGGLE_BUTTON(silence), TRUE);
    gtk_dialog_response(GTK_DIALOG(second), GTK_RESPONSE_OK);

    // The other 498 questions are answered "Cancel" at once, and their
    // alerts shown to no one.
    EXPECT_TRUE(waitUntil([&] { return page->title() == "done"; }, 20s)) << page->title();
    EXPECT_EQ(findWindow([](GtkWidget* w) { return GTK_IS_MESSAGE_DIALOG(w); }), nullptr);
}

TEST_F(HostilePageTest, WindowsOpenedInALoopAreBounded)
{
    // Scripts may open windows here (the setting that lets them is on), so
    // only the app's own bound holds them back.
    KTSettingsManager::sharedManager().setBlockPopupWindow(true);
    KTBehaviorManager::sharedManager().setOpenTabInsteadWindow(true);
    server->route("site.example.com/popup", HttpPage::html("popup"));
    server->route("site.example.com/opener",
                  HttpPage::html("opener", "<button id='go' style='position:fixed;inset:0' onclick=\""
                                           "for (let i = 0; i < 100; ++i) window.open('/popup?' + i)\">go</button>"
                                           "<script>function burst() { for (let i = 0; i < 100; ++i) "
                                           "window.open('/popup?auto' + i); }</script>"));
    ASSERT_TRUE(loadAndWait(page, "http://site.example.com/opener"));
    auto* tabs = window->tabController();

    ASSERT_TRUE(clickElement(page, "#go"));
    ASSERT_TRUE(waitUntil([&] { return tabs->tabsCount() >= 2; }));
    drainEvents();
    EXPECT_EQ(tabs->tabsCount(), 2u) << "one click, one window";

    for (size_t i = 0; i < tabs->tabsCount(); ++i)
        if (pageOf(window, i) == page)
            tabs->selectTabAt(i);
    // From a timer well after any click: no user gesture is involved.
    runJs(page, "setTimeout(burst, 1500); 'ok'");
    ASSERT_TRUE(waitUntil([&] { return tabs->tabsCount() >= 5; }));
    drainEvents();
    EXPECT_EQ(tabs->tabsCount(), 5u) << "a few windows without a click, not a hundred";
}

} // namespace
} // namespace quilt::test
