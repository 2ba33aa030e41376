// Real main windows: what closing means, the confirmation alert, the title,
// the appearance, the hidden title bar with its corner buttons, the address
// entry and the frame string.

#include "support/WindowTest.h"

#include "config/KTNotificationCenter.h"
#include "config/KTRect.h"

#include <regex>

namespace quilt::test {
namespace {

// Answers the first message dialog that shows up, as a user would, and
// keeps its texts. Dialogs run their own main loop, so it polls from a timer.
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

private:
    bool poll()
    {
        GList* tops = gtk_window_list_toplevels();
        GtkWidget* dialog = nullptr;
        for (GList* l = tops; l; l = l->next)
            if (GTK_IS_MESSAGE_DIALOG(l->data) && gtk_widget_get_visible(GTK_WIDGET(l->data)))
                dialog = GTK_WIDGET(l->data);
        g_list_free(tops);
        if (!dialog)
            return false;
        gchar *t = nullptr, *s = nullptr;
        g_object_get(dialog, "text", &t, "secondary-text", &s, nullptr);
        text = t ? t : "";
        secondary = s ? s : "";
        g_free(t);
        g_free(s);
        // The buttons in the order they show.
        GtkWidget* cancel = gtk_dialog_get_widget_for_response(GTK_DIALOG(dialog), GTK_RESPONSE_CANCEL);
        if (GtkWidget* box = cancel ? gtk_widget_get_parent(cancel) : nullptr) {
            GList* kids = gtk_container_get_children(GTK_CONTAINER(box));
            for (GList* l = kids; l; l = l->next)
                if (GTK_IS_BUTTON(l->data))
                    buttons.emplace_back(gtk_button_get_label(GTK_BUTTON(l->data)));
            g_list_free(kids);
        }
        gtk_dialog_response(GTK_DIALOG(dialog), response_);
        done_ = true;
        return true;
    }
    int response_;
    guint id_ = 0;
    bool done_ = false;
};

class MainWindowTest : public WindowTest {};

// ------------------------------------------------------------- closing

TEST_F(MainWindowTest, ClosingTheLastWindowHidesTheApplication)
{
    int hides = 0;
    KTMainWindowController::hideApplication = [&] { ++hides; };
    KTMainWindowController* window = newWindow();
    window->tabController()->addNewTab();
    EXPECT_FALSE(window->windowShouldClose());
    EXPECT_EQ(hides, 1);
    window->close();
    drainEvents();
    EXPECT_EQ(hides, 2);
    ASSERT_EQ(KTMainWindowController::mainWindows().size(), 1u);
    EXPECT_EQ(window->tabController()->tabsCount(), 2u) << "the window survives with its tabs";
    KTMainWindowController::hideApplication = nullptr;
}

TEST_F(MainWindowTest, WithCloseApplicationTheLastWindowCloses)
{
    int hides = 0;
    KTMainWindowController::hideApplication = [&] { ++hides; };
    writeDataFile("behavior.json", {{"version", 1.1}, {"closeApplication", true}});
    KTMainWindowController* window = newWindow();
    GtkWidget* w = GTK_WIDGET(window->window().window());
    window->close();
    EXPECT_FALSE(gtk_widget_get_visible(w));
    EXPECT_TRUE(KTMainWindowController::mainWindows().empty());
    drainEvents();
    EXPECT_EQ(hides, 0);
    KTMainWindowController::hideApplication = nullptr;
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
    bool closes = second->windowShouldClose();
    EXPECT_EQ(closes, c.closes);
    EXPECT_EQ(answerer.seen(), c.alert);
    if (c.alert) {
        EXPECT_EQ(answerer.text, "Are you sure you want to quit?");
        EXPECT_EQ(answerer.secondary, "Quiting will close all Windows and Tabs.");
        EXPECT_EQ(answerer.buttons, (std::vector<std::string> {"Quit", "Cancel"}));
    }
    if (!closes) {
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

// --------------------------------------------------------- look, title

struct TitleCase {
    const char* name;
    bool hideTitle;
    const char* title;
};

class MainWindowTitleTest : public MainWindowTest, public ::testing::WithParamInterface<TitleCase> {};

TEST_P(MainWindowTitleTest, TitleIsTheAppNameOrOneBlank)
{
    writeDataFile("settings.json", {{"hideTitle", GetParam().hideTitle}});
    KTMainWindowController* window = newWindow();
    EXPECT_STREQ(gtk_window_get_title(window->window().window()), GetParam().title);
    EXPECT_EQ(window->titleText(), GetParam().title);
}

INSTANTIATE_TEST_SUITE_P(Settings, MainWindowTitleTest,
                         ::testing::Values(TitleCase {"Shown", false, "Test"}, TitleCase {"Hidden", true, " "}),
                         [](const auto& info) { return std::string(info.param.name); });

struct AppearanceCase {
    const char* name;
    unsigned appearance;
    bool dark; // the system's choice was dark before the window came
};

class MainWindowAppearanceTest : public MainWindowTest, public ::testing::WithParamInterface<AppearanceCase> {};

TEST_P(MainWindowAppearanceTest, AppearanceOneAndTwoChooseOthersFollowTheSystem)
{
    g_object_set(gtk_settings_get_default(), "gtk-application-prefer-dark-theme", TRUE, nullptr);
    writeDataFile("settings.json", {{"appearance", GetParam().appearance}});
    newWindow();
    gboolean dark = FALSE;
    g_object_get(gtk_settings_get_default(), "gtk-application-prefer-dark-theme", &dark, nullptr);
    EXPECT_EQ(bool(dark), GetParam().dark);
}

INSTANTIATE_TEST_SUITE_P(Settings, MainWindowAppearanceTest,
                         ::testing::Values(AppearanceCase {"Zero", 0, true}, AppearanceCase {"Light", 1, false},
                                           AppearanceCase {"Dark", 2, true}, AppearanceCase {"Three", 3, true}),
                         [](const auto& info) { return std::string(info.param.name); });

// ------------------------------------------------- hidden title bar

TEST_F(MainWindowTest, HiddenTitlebarButtonsAppearOnlyUnderThePointer)
{
    writeDataFile("settings.json", {{"hideTitlebar", true}});
    KTMainWindowController* controller = newWindow();
    KTMainWindow& window = controller->window();
    // Placed as the application places its windows.
    const KTRect frame {100, 100, 800, 600};
    window.setFrame(frame);
    ASSERT_TRUE(waitUntil([&] { return window.frame() == frame; }, 5s)) << window.frame().toString();
    ASSERT_TRUE(window.titlebarVisibilityHidden());
    EXPECT_FALSE(gtk_widget_get_visible(GTK_WIDGET(window.headerBar())));
    GtkWidget* corner = window.buttonWrapperView();
    ASSERT_TRUE(corner);
    ASSERT_TRUE(waitUntil([&] { return gtk_widget_get_mapped(corner); }));
    EXPECT_FALSE(window.buttonsShown());

    // The real pointer, moved by the X server's test extension.
    GtkWidget* top = GTK_WIDGET(window.window());
    int x = 0, y = 0, cx = 0, cy = 0;
    gdk_window_get_origin(gtk_widget_get_window(top), &x, &y);
    ASSERT_TRUE(gtk_widget_translate_coordinates(corner, top, 0, 0, &cx, &cy));
    auto move = [](int px, int py) {
        runCommand({"timeout", "5", "xdotool", "mousemove", std::to_string(px), std::to_string(py)});
    };
    move(x + cx + 5, y + cy + 5);
    EXPECT_TRUE(waitUntil([&] { return window.buttonsShown(); }, 5s));
    move(x + cx + 300, y + cy + 200);
    EXPECT_TRUE(waitUntil([&] { return !window.buttonsShown(); }, 5s));

    // Back to the normal title bar: every window follows the notification.
    KTNotificationCenter::defaultCenter().post("TitlebarVisibilityChangeNotification", {},
                                               KTJson {{"TitlebarVisibility", false}});
    EXPECT_FALSE(window.titlebarVisibilityHidden());
    EXPECT_TRUE(gtk_widget_get_visible(GTK_WIDGET(window.headerBar())));
}

// ------------------------------------------------- address entry, frame

TEST_F(MainWindowTest, AddressEntryFollowsThePageAndOpensWhatIsTyped)
{
    KTMainWindowController* window = newWindow();
    window->tabController()->addNewTab(); // the toolbar with the entry shows
    GtkEntry* entry = GTK_ENTRY(window->urlTextField());
    gtk_entry_set_text(entry, server->url("/one").c_str());
    gtk_widget_activate(GTK_WIDGET(entry));
    KTWebViewController* page = window->tabController()->selectedWebViewController();
    ASSERT_TRUE(waitLoaded(page, server->url("/one")));

    window->tabController()->selectTabAt(0);
    window->tabController()->pageAt(0)->loadRequest(server->url("/two"));
    ASSERT_TRUE(waitLoaded(window->tabController()->pageAt(0), server->url("/two")));
    EXPECT_EQ(std::string(gtk_entry_get_text(entry)), server->url("/two"));
    window->tabController()->selectTabAt(1);
    EXPECT_EQ(std::string(gtk_entry_get_text(entry)), server->url("/one"));
}

TEST_F(MainWindowTest, FrameRoundTripsThroughItsString)
{
    KTMainWindowController* window = newWindow();
    KTRect wanted {120, 90, 640, 480};
    window->window().setFrame(KTRect::fromString(wanted.toString()));
    EXPECT_TRUE(waitUntil([&] { return window->window().frame() == wanted; }, 5s))
        << window->window().frame().toString();
    EXPECT_TRUE(std::regex_match(window->window().frame().toString(),
                                 std::regex(R"(\{\{-?\d+, -?\d+\}, \{\d+, \d+\}\})")))
        << window->window().frame().toString();
}

} // namespace
} // namespace quilt::test
