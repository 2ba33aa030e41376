// Real main windows: what closing the last one means, the confirmation
// alert before closing several tabs, and the window colour taken from the
// page shown.

#include "support/GuiTest.h"

#include "core/config/KTBehaviorManager.h"
#include "core/config/KTSettingsManager.h"
#include "ui/windows/KTMainWindowController.h"

#include <gtk/gtk.h>

#include <memory>
#include <optional>

namespace quilt::test {
namespace {

// Answers the first message dialog that shows up, as a user would, and
// keeps its texts; it polls from a timer while the test waits.
class AlertAnswerer {
public:
    explicit AlertAnswerer(int response)
        : response_(response)
    {
        id_ = g_timeout_add(20, +[](gpointer data) -> gboolean {
            return static_cast<AlertAnswerer*>(data)->poll() ? G_SOURCE_REMOVE : G_SOURCE_CONTINUE;
        }, this);
    }
    ~AlertAnswerer()
    {
        if (!done_)
            g_source_remove(id_);
    }
    bool seen() const { return !text.empty(); }
    std::string text, secondary;
    std::vector<std::string> buttons;
    std::string defaultButton;

private:
    bool poll()
    {
        GtkWidget* dialog = findWindow([](GtkWidget* w) { return GTK_IS_MESSAGE_DIALOG(w); });
        if (!dialog)
            return false;
        text = textOf(dialog);
        secondary = textOf(dialog, "secondary-text");
        // The buttons in the order they show.
        GtkWidget* cancel = gtk_dialog_get_widget_for_response(GTK_DIALOG(dialog), GTK_RESPONSE_CANCEL);
        if (GtkWidget* box = cancel ? gtk_widget_get_parent(cancel) : nullptr) {
            GList* kids = gtk_container_get_children(GTK_CONTAINER(box));
            for (GList* l = kids; l; l = l->next)
                if (GTK_IS_BUTTON(l->data))
                    buttons.emplace_back(gtk_button_get_label(GTK_BUTTON(l->data)));
            g_list_free(kids);
        }
        if (GtkWidget* d = gtk_window_get_default_widget(GTK_WINDOW(dialog)); d && GTK_IS_BUTTON(d))
            defaultButton = gtk_button_get_label(GTK_BUTTON(d));
        gtk_dialog_response(GTK_DIALOG(dialog), response_);
        done_ = true;
        return true;
    }
    int response_;
    guint id_ = 0;
    bool done_ = false;
};

// Stands in for the application above the windows: counts the hides.
struct CountingApplication : KTMainWindowsDelegate {
    void hideApplication() override { ++hides; }
    int hides = 0;
};

class MainWindowTest : public GuiTest {
protected:
    void SetUp() override
    {
        GuiTest::SetUp();
        KTMainWindowController::setWindowsDelegate(&app);
    }
    void TearDown() override
    {
        GuiTest::TearDown();
        KTMainWindowController::setWindowsDelegate(nullptr);
    }
    // Asks the window's close question; `asked` tells whether it was still
    // open when the call returned (no nested main loop), then waits for it.
    static std::optional<bool> shouldClose(KTMainWindowController* window, bool* asked = nullptr)
    {
        auto answer = std::make_shared<std::optional<bool>>();
        window->windowShouldClose([answer](bool closes) { *answer = closes; });
        if (asked)
            *asked = !answer->has_value();
        waitUntil([&] { return answer->has_value(); });
        return *answer;
    }
    CountingApplication app;
};

// ------------------------------------------------------------- closing

TEST_F(MainWindowTest, ClosingTheLastWindowHidesTheApplication)
{
    KTMainWindowController* window = newWindow();
    window->tabController()->addNewTab();
    EXPECT_EQ(shouldClose(window), false);
    EXPECT_EQ(app.hides, 1);
    window->close();
    drainEvents();
    EXPECT_EQ(app.hides, 2);
    ASSERT_EQ(KTMainWindowController::mainWindows().size(), 1u);
    EXPECT_EQ(window->tabController()->tabsCount(), 2u) << "the window survives with its tabs";
}

TEST_F(MainWindowTest, WithCloseApplicationTheLastWindowCloses)
{
    writeDataFile("behavior.json", {{"version", 1.1}, {"closeApplication", true}});
    KTMainWindowController* window = newWindow();
    GtkWidget* w = GTK_WIDGET(window->window().window());
    window->close();
    EXPECT_FALSE(gtk_widget_get_visible(w));
    EXPECT_TRUE(KTMainWindowController::mainWindows().empty());
    drainEvents();
    EXPECT_EQ(app.hides, 0);
}

// ------------------------------------------------------------- colour

TEST_F(MainWindowTest, TheWindowColourFollowsTheSelectedTab)
{
    writeDataFile("settings.json", {{"autowindowColor", true}});
    server->route("/dark", HttpPage::html("Dark", "<style>html,body{background:#101010;height:100%}</style>"));
    server->route("/light", HttpPage::html("Light", "<style>html,body{background:#f8f8f8;height:100%}</style>"));
    KTMainWindowController* window = newWindow(true);
    KTTabViewController* tabs = window->tabController();
    ASSERT_TRUE(loadAndWait(pageOf(window), server->url("/dark")));
    tabs->openLinkInNewTab(server->url("/light"));
    ASSERT_TRUE(waitLoaded(pageOf(window, 1), server->url("/light")));
    auto light = [&] { return window->window().backgroundColor().colorIsLight(); };
    EXPECT_TRUE(waitUntil([&] { return light(); }));
    tabs->selectTabAt(0);
    EXPECT_TRUE(waitUntil([&] { return !light(); })) << "switched to the dark page";
    tabs->removeCurrentTab();
    EXPECT_TRUE(waitUntil([&] { return light(); })) << "the dark page's tab closed";
}

struct ConfirmCase {
    const char* name;
    size_t tabs;      // in the window being closed
    int answer;       // the alert's button, if it comes
    bool alert;
    bool closes;
};

class MainWindowConfirmTest : public MainWindowTest, public ::testing::WithParamInterface<ConfirmCase> {};

TEST_P(MainWindowConfirmTest, ConfirmationOnlyForSeveralTabs)
{
    const ConfirmCase& c = GetParam();
    writeDataFile("settings.json", {{"confirmBeforeTabsClose", true}});
    newWindow();
    KTMainWindowController* second = newWindow();
    while (second->tabController()->tabsCount() < c.tabs)
        second->tabController()->addNewTab();
    AlertAnswerer answerer(c.answer);
    bool asked = false;
    std::optional<bool> closes = shouldClose(second, &asked);
    EXPECT_EQ(closes, c.closes);
    EXPECT_EQ(answerer.seen(), c.alert);
    EXPECT_EQ(asked, c.alert) << "the question is answered later, from the main loop";
    if (c.alert) {
        EXPECT_EQ(answerer.text, "Are you sure you want to quit?");
        EXPECT_EQ(answerer.secondary, "Quiting will close all Windows and Tabs.");
        EXPECT_EQ(answerer.buttons, (std::vector<std::string> {"Cancel", "Quit"})) << "GTK order: yes on the right";
        EXPECT_EQ(answerer.defaultButton, "Quit");
    }
    if (closes == false) {
        EXPECT_EQ(second->tabController()->tabsCount(), c.tabs) << "nothing changes";
    }
}

INSTANTIATE_TEST_SUITE_P(Tabs, MainWindowConfirmTest,
                         ::testing::Values(ConfirmCase {"OneTabNoAlert", 1, GTK_RESPONSE_CANCEL, false, true},
                                           ConfirmCase {"TwoTabsCancelled", 2, GTK_RESPONSE_CANCEL, true, false},
                                           ConfirmCase {"TwoTabsQuit", 2, GTK_RESPONSE_ACCEPT, true, true},
                                           ConfirmCase {"AlertClosedOtherwise", 3, GTK_RESPONSE_DELETE_EVENT, true,
                                                        false}),
                         [](const auto& info) { return std::string(info.param.name); });

} // namespace
} // namespace quilt::test
