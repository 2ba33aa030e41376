// The real DefaultApp and a page's notification, as a person meets it: the
// site posts one, the desktop (dunst, started quilt-helper) shows it under
// the app's name, and a click on it brings the app's window to the front.

#include "support/DunstWatcher.h"
#include "support/GuiTest.h"
#include "support/InHelperSession.h"

#include <gtk/gtk.h>

#include <algorithm>

namespace quilt::test {
namespace {

class AppNotifications : public InHelperSession<RealAppTest> {
protected:
    void SetUp() override
    {
        InHelperSession::SetUp();
        if (IsSkipped())
            return;
        server->route("/site", HttpPage::html("Site", R"(<script>
            var n = new Notification("Hi from the site", {body: "Build finished", tag: "build",
                                                          actions: [{action: "open", title: "Open"}]});
            n.onclick = function () { document.title = "clicked"; };
            </script>)"));
        DunstWatcher::closeAllAndReadHistory();
    }
};

TEST_F(AppNotifications, SiteNotificationIsShownAndItsClickBringsTheAppForward)
{
    AppBundle app(env->root(), "NotifySite");
    app.writeDataFile("settings.json", {{"main_url", server->url("/site")}, {"enableJavaScript", true}});
    AppProcess& process = launch(app);
    ASSERT_TRUE(waitWindows(app, 1));
    ASSERT_TRUE(waitUntil([&] { return DunstWatcher::displayed() == 1; }, 20s)) << "nothing shown";

    GtkWidget* elsewhere = focusOtherWindow();
    ASSERT_EQ(DunstWatcher::displayed(), 1) << "still open for the click";
    DunstWatcher::clickLatest();
    const auto appWindows = visibleWindows(app.bundleIdentifier());
    EXPECT_TRUE(waitUntil([&] {
        return std::find(appWindows.begin(), appWindows.end(), activeWindow()) != appWindows.end();
    })) << "the app's window is not in front";
    gtk_widget_destroy(elsewhere);

    auto shown = DunstWatcher::shownWithSummary("Hi from the site");
    ASSERT_EQ(shown.size(), 1u);
    EXPECT_EQ(shown[0].appname, "NotifySite");
    EXPECT_EQ(shown[0].body, "127.0.0.1\nBuild finished");
    EXPECT_TRUE(process.running());
}

} // namespace
} // namespace quilt::test
