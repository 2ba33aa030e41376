// Page notifications reach the desktop: a real page served on 127.0.0.1
// constructs them, the bus starts quilt-helper from its activation file and
// the session's dunst shows them.

#include "support/DunstWatcher.h"
#include "support/GuiTest.h"
#include "support/InHelperSession.h"

#include "core/config/KTShared.h"
#include "core/services/KTNotificationThrottle.h"
#include "core/services/KTServiceManager.h"
#include "web/KTWebViewController.h"

namespace quilt::test {
namespace {

class NotificationBridge : public InHelperSession<GuiTest> {
protected:
    void SetUp() override
    {
        InHelperSession::SetUp();
        start();
    }
    void TearDown() override
    {
        KTShared<KTServiceManager>::reset();
        log.reset();
        GuiTest::TearDown();
    }

    // The page, once the fixture's world is up.
    void start()
    {
        if (IsSkipped())
            return;
        log = std::make_unique<LogCapture>();
        writeDataFile("settings.json", {{"enableJavaScript", true}});
        copyResource("KTAPIHelper.js");
        server->route("/notify", HttpPage::html("Notify", "<p id=result></p>"));
        auto& manager = KTServiceManager::sharedManager();
        manager.setApplicationIdentity("Quilt Test", "dialog-information");
        DunstWatcher::closeAllAndReadHistory();
        page = pageOf(newWindow());
        ASSERT_TRUE(loadAndWait(page, server->url("/notify")));
    }

    // Waits until dunst has shown a notification with this summary; the
    // ones shown so far.
    std::vector<ShownNotification> waitShown(const std::string& summary, size_t count = 1)
    {
        std::vector<ShownNotification> shown;
        waitUntil([&] {
            shown = DunstWatcher::shownWithSummary(summary);
            return shown.size() >= count;
        });
        return shown;
    }

    std::unique_ptr<LogCapture> log;
    KTWebViewController* page = nullptr;
};

// The page sees a granted permission and a working object; dunst shows the
// title, the page's host over the body, and the app's name. A tag does not
// reach the desktop: two notifications with the same tag are two, each shown.
TEST_F(NotificationBridge, PageNotificationIsShownWithTheAppsNameAndThePagesHost)
{
    EXPECT_EQ(runJs(page, "var n = new Notification('Hi', {body: 'There', tag: 't-1',"
                          " actions: [{action: 'open', title: 'Open'}]});"
                          "[Notification.permission, n instanceof Notification, n.title, n.body, n.tag].join('|')"),
              "granted|true|Hi|There|t-1");
    auto shown = waitShown("Hi");
    ASSERT_EQ(shown.size(), 1u);
    EXPECT_EQ(shown[0].appname, "Quilt Test");
    EXPECT_EQ(shown[0].body, "127.0.0.1\nThere");
    // requestPermission answers at once, by promise and by callback.
    EXPECT_EQ(runJs(page, "Notification.requestPermission(function (p) { document.title = 'cb ' + p; })"
                          ".then(function (p) { document.getElementById('result').textContent = p; }); 'asked'"),
              "asked");
    EXPECT_TRUE(waitUntil([&] { return runJs(page, "document.title + ' ' + result.textContent") == "cb granted granted"; }));

    runJs(page, "new Notification('Tagged', {body: 'first', tag: 'same'});"
                "new Notification('Tagged', {body: 'second', tag: 'same'}); 1");
    shown = waitShown("Tagged", 2);
    ASSERT_EQ(shown.size(), 2u);
    EXPECT_EQ(shown[0].body, "127.0.0.1\nfirst");
    EXPECT_EQ(shown[1].body, "127.0.0.1\nsecond");
}

// Whatever else a page posts on the channel shows nothing and leaves the
// page and the app working; a flood shows no more than a burst.
TEST_F(NotificationBridge, GarbageAndFloodsChangeNothing)
{
    const char* garbage[] = {
        "'Hi'", "7", "null", "({title: 'Hi'})", "[7]", "[null]", "['Garbage', 'options']", "['Garbage', null]",
        "['Garbage', {body: 5}]", "['Garbage', {actions: 'open'}]", "['Garbage', {actions: [1]}]",
        "['Garbage', {actions: [{action: 1}]}]", "['Garbage', {body: 'x'.repeat(70000)}]",
        "(function () { var a = []; for (var i = 0; i < 5000; ++i) a = [a]; return ['Garbage', a]; })()",
        "['Garbage', {actions: Array.from({length: 40}, function (_, i) { return {action: 'a' + i}; })}]"};
    for (const char* body : garbage)
        EXPECT_EQ(runJs(page, std::string("window.webkit.messageHandlers.notifications.postMessage(") + body
                                  + "); 'posted'"),
                  "posted")
            << body;
    // Odd arguments to the page's own constructor still make sane messages.
    EXPECT_EQ(runJs(page, "new Notification({toString: function () { return 'Odd'; }}, 'not options');"
                          "new Notification('Odd', {body: {}, actions: 'nope'}); 'ok'"),
              "ok");
    EXPECT_EQ(waitShown("Odd", 2).size(), 2u);
    EXPECT_TRUE(DunstWatcher::shownWithSummary("Garbage").empty());

    EXPECT_EQ(runJs(page, "for (var i = 0; i < 500; ++i) new Notification('Flood', {body: '' + i}); 'done'"), "done");
    EXPECT_EQ(runJs(page, "6 * 7"), "42");
    // Straight to the helper, past the page's limit: once it is shown, so is
    // everything the flood got through before it.
    KTServiceManager::sharedManager().postNotification({"Marker", std::nullopt, "end", "M-1", {}});
    waitShown("Marker");
    const size_t flood = DunstWatcher::shownWithSummary("Flood").size();
    EXPECT_GE(flood, 1u);
    EXPECT_LE(flood, size_t(KTNotificationThrottle::kBurst + 2));
}

// Without the helper (no activation file in this session) a page's
// notifications go nowhere, once logged, and the page goes on.
class NotificationsWithoutHelper : public NotificationBridge {
protected:
    void SetUp() override
    {
        if (!std::getenv("QUILT_NO_HELPER_SESSION"))
            GTEST_SKIP() << "needs a desktop session without the helper: run through ctest";
        GuiTest::SetUp();
        start();
    }
};

TEST_F(NotificationsWithoutHelper, PageKeepsWorking)
{
    EXPECT_EQ(runJs(page, "new Notification('Nobody', {body: 'there'}); new Notification('Nobody'); 'still here'"),
              "still here");
    EXPECT_TRUE(waitUntil([&] { return log->count("connection cannot be established") == 1; }));
    EXPECT_EQ(runJs(page, "new Notification('Nobody'); Notification.permission"), "granted");
    EXPECT_TRUE(DunstWatcher::shownWithSummary("Nobody").empty());
    EXPECT_EQ(log->count("connection cannot be established"), 1u);
}

} // namespace
} // namespace quilt::test
