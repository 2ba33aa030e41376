// The application brought up in this process, on its own application id:
// which windows and tabs a launch opens from the saved records, and what
// quitting records for the next launch.

#include "support/AppTest.h"

#include "app/AppDelegate.h"
#include "core/config/KTRect.h"
#include "ui/windows/KTMainWindowController.h"

#include <gtk/gtk.h>
#include <unistd.h>

namespace quilt::test {
namespace {

class LaunchTest : public AppTest {
protected:
    void SetUp() override
    {
        AppTest::SetUp();
        if (IsSkipped())
            return;
        for (const char* p : {"/home", "/a", "/b", "/c", "/d", "/e"})
            server->route(p, HttpPage::html(std::string("Page ") + p));
        writeDataFile("settings.json", {{"main_url", server->url("/home")}});
    }

    // Three saved windows, each with its own frame.
    void writeThreeWindows()
    {
        writeDataFile("restore.json",
                      {{"version", 1.1},
                       {"window0", {{"url", urls({"/a", "/b"})}, {"windowFrame", frames[0]}}},
                       {"window1", {{"url", urls({"/c"})}, {"windowFrame", frames[1]}}},
                       {"window2", {{"url", urls({"/d", "/e"})}, {"windowFrame", frames[2]}}}});
    }
    void writeBehavior(bool restore, bool tabsInsteadOfWindows)
    {
        writeDataFile("behavior.json", {{"version", 1.1},
                                        {"restoreWindowsAndTabs", restore},
                                        {"openTabWindow", tabsInsteadOfWindows}});
    }

    static KTJson urlsOf(size_t window)
    {
        return KTJson(KTMainWindowController::mainWindows()[window]->tabController()->getOpenedUrls());
    }
    bool waitAllLoaded(const std::vector<std::string>& paths)
    {
        return waitUntil([&] {
            for (const auto& p : paths)
                if (server->hits(p) == 0)
                    return false;
            for (auto& w : KTMainWindowController::mainWindows())
                for (size_t i = 0; i < w->tabController()->tabsCount(); ++i)
                    if (w->tabController()->pageAt(i)->isLoading())
                        return false;
            return true;
        });
    }
    KTJson urls(std::initializer_list<const char*> paths) { return server->urls(paths); }

    // Wide enough for the toolbar, which sets a window's smallest width.
    const std::string frames[3] = {"{{40, 30}, {820, 500}}", "{{80, 60}, {800, 480}}", "{{120, 90}, {780, 420}}"};
};

TEST_F(LaunchTest, WithoutRestoringOneWindowGoesHomeInTheFirstRecordsFrame)
{
    writeThreeWindows();
    writeBehavior(false, false);
    runApp([&](AppDelegate&) {
        EXPECT_TRUE(waitAllLoaded({"/home"}));
        ASSERT_EQ(KTMainWindowController::mainWindows().size(), 1u);
        EXPECT_EQ(urlsOf(0), urls({"/home"}));
        KTMainWindow& w = KTMainWindowController::mainWindows()[0]->window();
        EXPECT_TRUE(waitUntil([&] { return w.frame() == KTRect::fromString(frames[0]); }, 5s)) << w.frame().toString();
    });
    EXPECT_EQ(server->hits("/a"), 0u);
    // Not restoring: the file keeps the three records.
    EXPECT_EQ(restoredUrls(env->readJson(env->dataFolder() + "restore.json")).size(), 3u);
}

TEST_F(LaunchTest, RestoringWithTabsInsteadOfWindowsGathersEveryTabInOneWindow)
{
    writeThreeWindows();
    writeBehavior(true, true);
    runApp([&](AppDelegate&) {
        // The tab shown last of each saved window loads; the others wait
        // until they are shown, and are saved all the same.
        EXPECT_TRUE(waitAllLoaded({"/b", "/c", "/e"}));
        EXPECT_EQ(server->hits("/a") + server->hits("/d"), 0u);
        ASSERT_EQ(KTMainWindowController::mainWindows().size(), 1u);
        EXPECT_EQ(urlsOf(0), urls({"/a", "/b", "/c", "/d", "/e"}));
    });
    EXPECT_EQ(server->hits("/home"), 0u);
    // What quitting recorded: one window holding them all.
    EXPECT_EQ(restoredUrls(env->readJson(env->dataFolder() + "restore.json")),
              KTJson::array({urls({"/a", "/b", "/c", "/d", "/e"})}));
}

// With several windows the quit command asks first; only Quit quits, and
// what it records brings each window back in its frame.
TEST_F(LaunchTest, RestoringIntoWindowsReopensEachWindowWithItsFrameAndQuitAsksFirst)
{
    writeThreeWindows();
    writeDataFile("behavior.json", {{"version", 1.1},
                                    {"restoreWindowsAndTabs", true},
                                    {"openTabWindow", false},
                                    {"warnWindowsClose", true}});
    const std::string restoreFile = env->dataFolder() + "restore.json";
    runApp([&](AppDelegate& app) {
        EXPECT_TRUE(waitAllLoaded({"/b", "/c", "/e"}));
        auto& list = KTMainWindowController::mainWindows();
        ASSERT_EQ(list.size(), 3u);
        EXPECT_EQ(KTJson::array({urlsOf(0), urlsOf(1), urlsOf(2)}),
                  KTJson::array({urls({"/a", "/b"}), urls({"/c"}), urls({"/d", "/e"})}));
        for (size_t i = 0; i < 3; ++i)
            EXPECT_TRUE(waitUntil([&] { return list[i]->window().frame() == KTRect::fromString(frames[i]); }, 5s))
                << i << ": " << list[i]->window().frame().toString();
        // Something changes before quitting: a tab more in the last window.
        list[2]->tabController()->addNewTab();
        list[2]->tabController()->openUrl(server->url("/home"));
        EXPECT_TRUE(waitAllLoaded({"/home"}));
        ::unlink(restoreFile.c_str()); // written again only by quitting
        for (int answer : {GTK_RESPONSE_CANCEL, GTK_RESPONSE_ACCEPT}) {
            app.quit(true); // Control+Q
            GtkWidget* alert = waitForMessageDialog("Are you sure you want to quit?");
            ASSERT_TRUE(alert);
            EXPECT_EQ(textOf(alert, "secondary-text"), "Quitting will close all Windows and Tabs.");
            gtk_dialog_response(GTK_DIALOG(alert), answer);
            drainEvents();
            EXPECT_EQ(exists(restoreFile), answer == GTK_RESPONSE_ACCEPT) << "quit and saved only on Quit";
            EXPECT_EQ(KTMainWindowController::mainWindows().size(), 3u);
        }
    });
    KTJson file = env->readJson(restoreFile);
    EXPECT_EQ(restoredUrls(file), KTJson::array({urls({"/a", "/b"}), urls({"/c"}), urls({"/d", "/e", "/home"})}));
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(json::stringFor(file["window" + std::to_string(i)], "windowFrame"), frames[i]);
    EXPECT_DOUBLE_EQ(json::doubleFor(file, "version", 0), 1.1);
}

} // namespace
} // namespace quilt::test
