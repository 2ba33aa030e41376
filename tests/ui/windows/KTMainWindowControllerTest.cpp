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
    // Asks the window's close question and waits for the answer.
    static std::optional<bool> shouldClose(KTMainWindowController* window)
    {
        auto answer = std::make_shared<std::optional<bool>>();
        window->windowShouldClose([answer](bool closes) { *answer = closes; });
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
    auto closes = std::make_shared<std::optional<bool>>();
    second->windowShouldClose([closes](bool answer) { *closes = answer; });
    EXPECT_EQ(closes->has_value(), !c.alert) << "the question is answered later, from the main loop";
    if (c.alert) {
        GtkWidget* alert = waitForMessageDialog("Are you sure you want to quit?");
        ASSERT_TRUE(alert);
        EXPECT_EQ(textOf(alert, "secondary-text"), "Quiting will close all Windows and Tabs.");
        EXPECT_EQ(dialogButtons(alert), (std::vector<std::string> {"Cancel", "Quit"})) << "GTK order: yes on the right";
        GtkWidget* byDefault = gtk_window_get_default_widget(GTK_WINDOW(alert));
        EXPECT_STREQ(byDefault ? gtk_button_get_label(GTK_BUTTON(byDefault)) : "", "Quit");
        gtk_dialog_response(GTK_DIALOG(alert), c.answer);
    }
    ASSERT_TRUE(waitUntil([&] { return closes->has_value(); }));
    EXPECT_EQ(**closes, c.closes);
    if (!c.closes)
        EXPECT_EQ(second->tabController()->tabsCount(), c.tabs) << "nothing changes";
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
