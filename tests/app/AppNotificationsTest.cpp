// The real DefaultApp and a page's notification, as a person meets it: the
// site posts one, the desktop (dunst, started quilt-helper) shows it under
// the app's name, and a click on it brings the app's window to the front.

#include "support/DunstWatcher.h"
#include "support/GuiTest.h"

#include "core/config/KTFileUtil.h"

#include <gtk/gtk.h>

#include <algorithm>

namespace quilt::test {
namespace {

std::string activeWindow()
{
    auto lines = runProgram({"xdotool", "getactivewindow"}, 5s).outLines();
    return lines.empty() ? std::string() : lines.front();
}

class AppNotifications : public GuiTest {
protected:
    static void SetUpTestSuite()
    {
        if (std::getenv("QUILT_HELPER_SESSION"))
            DunstWatcher::installHelperServiceFile();
    }
    void SetUp() override
    {
        if (!std::getenv("QUILT_HELPER_SESSION"))
            GTEST_SKIP() << "needs its own desktop session: run through ctest";
        GuiTest::SetUp();
        if (IsSkipped())
            return;
        if (!KTFileUtil::exists(AppBundle::templatePath() + "/Contents/MacOS/DefaultApp"))
            GTEST_SKIP() << "no template bundle at " << AppBundle::templatePath();
        server->route("/site", HttpPage::html("Site", R"(<script>
            var n = new Notification("Hi from the site", {body: "Build finished", tag: "build",
                                                          actions: [{action: "open", title: "Open"}]});
            n.onclick = function () { document.title = "clicked"; };
            </script>)"));
        DunstWatcher::closeAllAndReadHistory();
    }
    void TearDown() override
    {
        if (HasFailure() && process)
            std::cerr << "---- app log ----\n" << process->log() << "\n";
        process.reset();
        if (elsewhere)
            gtk_widget_destroy(elsewhere);
        GuiTest::TearDown();
    }

    // Another application's window has the focus.
    void focusElsewhere()
    {
        elsewhere = gtk_window_new(GTK_WINDOW_TOPLEVEL);
        gtk_window_set_title(GTK_WINDOW(elsewhere), "Elsewhere");
        gtk_window_set_default_size(GTK_WINDOW(elsewhere), 900, 700);
        gtk_widget_show(elsewhere);
        std::vector<std::string> ids;
        ASSERT_TRUE(waitUntil([&] {
            ids = runProgram({"xdotool", "search", "--onlyvisible", "--name", "^Elsewhere$"}, 5s).outLines();
            std::erase(ids, "");
            return !ids.empty();
        }));
        runProgram({"xdotool", "windowactivate", "--sync", ids.front()}, 5s);
        ASSERT_TRUE(waitUntil([&] { return activeWindow() == ids.front(); })) << "the other window is in front";
    }

    std::unique_ptr<AppProcess> process;
    GtkWidget* elsewhere = nullptr;
};

TEST_F(AppNotifications, SiteNotificationIsShownAndItsClickBringsTheAppForward)
{
    AppBundle app(env->root(), "NotifySite");
    app.writeDataFile("settings.json", {{"main_url", server->url("/site")}, {"enableJavaScript", true}});
    process = std::make_unique<AppProcess>(app, std::vector<std::string>{}, env->root() + "/app.log");
    ASSERT_TRUE(waitUntil([&] { return visibleWindows(app.bundleIdentifier()).size() == 1; }, 20s));
    ASSERT_TRUE(waitUntil([&] { return DunstWatcher::displayed() == 1; }, 20s)) << "nothing shown";

    focusElsewhere();
    ASSERT_FALSE(HasFatalFailure());
    ASSERT_EQ(DunstWatcher::displayed(), 1) << "still open for the click";
    DunstWatcher::clickLatest();
    const auto appWindows = visibleWindows(app.bundleIdentifier());
    EXPECT_TRUE(waitUntil([&] {
        auto active = activeWindow();
        return std::find(appWindows.begin(), appWindows.end(), active) != appWindows.end();
    })) << "the app's window is not in front";

    auto shown = DunstWatcher::shownWithSummary("Hi from the site");
    ASSERT_EQ(shown.size(), 1u);
    EXPECT_EQ(shown[0].appname, "NotifySite");
    EXPECT_EQ(shown[0].body, "127.0.0.1\nBuild finished");
    EXPECT_TRUE(process->running());
}

} // namespace
} // namespace quilt::test
