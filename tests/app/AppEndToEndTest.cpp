// The real DefaultApp, run from copies of the build's template bundle:
// quitting by key and by SIGTERM and what it records, a second
// launch handing its URL to the running instance, and cookies that survive
// a restart without leaking into another app; an enterprise app's own agent
// and allow-list at work in a made bundle.

#include "support/GuiTest.h"

#include "core/config/KTFileUtil.h"
#include "core/config/KTPaths.h"
#include "core/config/KTPlist.h"

#include <signal.h>
#include <sys/wait.h>

#include <regex>

namespace quilt::test {
namespace {

class EndToEndTest : public RealAppTest {
protected:
    void SetUp() override
    {
        RealAppTest::SetUp();
        if (IsSkipped())
            return;
        for (const char* p : {"/a", "/b", "/c", "/second"})
            server->route(p, HttpPage::html(std::string("Page ") + p));
        server->route("/pixel", HttpPage::bytes("", "image/gif"));
        HttpPage set = HttpPage::html("Cookie set", "<img src=\"/pixel\">");
        set.headers = {{"Set-Cookie", "quilt=alpha; Max-Age=86400; Path=/"}};
        server->route("/setcookie", set);
        HttpPage echo;
        echo.make = [](const HttpRequest& r) {
            return "<!doctype html><html><head><title>cookie " + r.cookie + "</title></head><body></body></html>";
        };
        server->route("/echo", echo);
    }

    AppBundle makeApp(const std::string& name, const KTJson& settings, const KTJson& behavior = KTJson::object())
    {
        AppBundle app(env->root(), name);
        app.writeDataFile("settings.json", settings);
        KTJson b = behavior;
        b["version"] = 1.1;
        app.writeDataFile("behavior.json", b);
        return app;
    }
    bool waitHits(const std::string& path, unsigned n)
    {
        return waitUntil([&] { return server->hits(path) >= n; }, 20s);
    }
    static bool exitedCleanly(AppProcess& p, std::chrono::milliseconds timeout = 10s)
    {
        int status = -1;
        return p.waitExit(timeout, &status) && WIFEXITED(status) && WEXITSTATUS(status) == 0;
    }
    KTJson urls(std::initializer_list<const char*> paths) { return server->urls(paths); }
};

const std::regex kFrame(R"(\{\{-?\d+, -?\d+\}, \{\d+, \d+\}\})");

// What a launch restores and what quitting records are driven in-process
// (AppLaunchTest); here a real process is asked to leave as a logout does.
TEST_F(EndToEndTest, SigtermQuitsAndRecordsTheRestoredWindows)
{
    AppBundle app = makeApp("Restore", {{"main_url", server->url("/a")}}, {{"restoreWindowsAndTabs", true}});
    app.writeDataFile("restore.json", {{"version", 1.1},
                                       {"window0", {{"url", urls({"/a", "/b"})}}},
                                       {"window1", {{"url", urls({"/c"})}}}});
    const std::string restoreFile = app.dataFolder() + "restore.json";

    AppProcess& p = launch(app);
    ASSERT_TRUE(waitWindows(app, 2)) << "two saved windows";
    ASSERT_TRUE(waitHits("/b", 1) && waitHits("/c", 1)) << "the tab shown in each window";
    EXPECT_EQ(server->hits("/a"), 0u) << "restored, not sent home; loaded only once shown";
    ::unlink(restoreFile.c_str()); // read at launch; rewritten by the quit
    p.signal(SIGTERM);
    ASSERT_TRUE(exitedCleanly(p)) << "SIGTERM quits";

    KTJson saved = app.readDataFile("restore.json");
    EXPECT_EQ(restoredUrls(saved), KTJson::array({urls({"/a", "/b"}), urls({"/c"})}));
    for (const char* key : {"window0", "window1"}) {
        std::string frame = json::stringFor(saved[key], "windowFrame").value_or("");
        EXPECT_TRUE(std::regex_match(frame, kFrame)) << key << ": " << frame;
    }
}

TEST_F(EndToEndTest, ControlQQuitsWhileAPageKeepsShowingAlerts)
{
    server->route("/alerts", HttpPage::html("Alerts", "<script>for (;;) alert('again');</script>"));
    AppBundle app = makeApp("Alerts", {{"main_url", server->url("/alerts")}, {"enableJavaScript", true}});
    AppProcess& p = launch(app);
    ASSERT_TRUE(waitHits("/alerts", 1) && waitWindows(app, 1));
    // The window and, in front of it, the page's alert (the same class).
    EXPECT_TRUE(waitUntil([&] { return visibleWindows(app.bundleIdentifier()).size() >= 2; }, 20s))
        << "no alert in sight";
    // Control+Q typed into whichever of the app's windows has the focus.
    for (const auto& w : visibleWindows(app.bundleIdentifier())) {
        runProgram({"xdotool", "windowactivate", "--sync", w}, 5s);
        runProgram({"xdotool", "key", "--clearmodifiers", "ctrl+q"}, 5s);
        if (p.waitExit(3s))
            break;
    }
    EXPECT_TRUE(exitedCleanly(p)) << "Control+Q quits, the next alert notwithstanding";
}

TEST_F(EndToEndTest, SecondLaunchHandsItsUrlToTheRunningInstance)
{
    // The refresh timer reloads a page only after it has loaded: a second
    // request for a page tells that its visit is recorded.
    AppBundle app = makeApp("Single", {{"main_url", server->url("/a")}, {"refreshTimeInterval", 0.5}});
    AppProcess& first = launch(app);
    ASSERT_TRUE(waitWindows(app, 1) && waitHits("/a", 1));

    AppProcess& second = launch(app, {server->url("/second")});
    EXPECT_TRUE(exitedCleanly(second, 5s)) << "the second launch only passes the URL on";
    ASSERT_TRUE(waitHits("/second", 1));
    EXPECT_TRUE(waitWindows(app, 2)) << "a URL from outside opens in a new window";
    EXPECT_TRUE(first.running());
    ASSERT_TRUE(waitHits("/second", 2));

    first.signal(SIGTERM);
    ASSERT_TRUE(exitedCleanly(first));
    // Not restoring: the windows are not recorded, the visits are.
    EXPECT_EQ(restoredUrls(app.readDataFile("restore.json")), KTJson::array());
    KTJson history = app.readDataFile("history.json");
    const KTJson* visit = json::lookup(history, "Page /second");
    ASSERT_TRUE(visit) << history.dump();
    EXPECT_EQ(json::stringFor(*visit, "url"), server->url("/second"));
}

TEST_F(EndToEndTest, CookiesSurviveARestartAndStayInTheirOwnApp)
{
    AppBundle alpha = makeApp("Alpha", {{"main_url", server->url("/setcookie")}});
    AppBundle beta = makeApp("Beta", {{"main_url", server->url("/echo")}});

    AppProcess& setter = launch(alpha);
    ASSERT_TRUE(waitHits("/pixel", 1)) << "the page that sets the cookie has loaded";
    setter.signal(SIGTERM);
    ASSERT_TRUE(exitedCleanly(setter));

    // The timer's reload tells that the echoing page has loaded.
    alpha.writeDataFile("settings.json", {{"main_url", server->url("/echo")}, {"refreshTimeInterval", 0.5}});
    AppProcess& again = launch(alpha);
    ASSERT_TRUE(waitHits("/echo", 2));
    EXPECT_EQ(server->last("/echo")->cookie, "quilt=alpha");
    ASSERT_TRUE(waitWindows(alpha, 1));
    again.signal(SIGTERM);
    ASSERT_TRUE(exitedCleanly(again));
    KTJson history = alpha.readDataFile("history.json");
    EXPECT_TRUE(json::lookup(history, "cookie quilt=alpha")) << "the page saw it: " << history.dump();

    const unsigned before = server->hits("/echo");
    AppProcess& other = launch(beta);
    ASSERT_TRUE(waitHits("/echo", before + 1));
    EXPECT_EQ(server->last("/echo")->cookie, "") << "another app has cookies of its own";
    ASSERT_TRUE(waitWindows(beta, 1));
    other.signal(SIGTERM);
    EXPECT_TRUE(exitedCleanly(other));
}

TEST_F(EndToEndTest, EnterpriseAgentReachesPagesAndRefusedAddressesAreNeverRequested)
{
    const std::string agent = "CorpAgent/1.0 (managed)";
    // The server is the app's site as 127.0.0.1 and a foreign one as localhost.
    const std::string foreign = "http://localhost:" + std::to_string(server->port()) + "/foreign";
    server->route("/corp", HttpPage::bytes("<!doctype html><html><head><title>Corp</title><meta http-equiv='refresh'"
                                           " content='1;url=" + foreign + "'></head><body><img src='/pixel'></body></html>",
                                           "text/html"));
    AppBundle app(env->root(), "Corp");
    ASSERT_TRUE(KTPlist::writeFile(app.path() + "/Contents/Resources/EnterpriseSettings.plist",
                                   {{"isEnterpriseApp", true},
                                    {"URL", server->url("/corp")},
                                    {"customUserAgent", agent},
                                    {"windowOpacity", 1},
                                    {"whiteListAllowAll", false},
                                    {"whiteListAllowPatterns", true},
                                    {"whiteListPatterns", {"127.0.0.1"}}}));
    AppProcess& corp = launch(app);
    ASSERT_TRUE(waitForBrowserUrl(foreign)) << ::testing::PrintToString(browserUrls());
    EXPECT_EQ(server->hits("/foreign"), 0u);
    ASSERT_TRUE(waitHits("/pixel", 1));
    EXPECT_EQ(server->last("/corp")->userAgent, agent);
    EXPECT_EQ(server->last("/pixel")->userAgent, agent);
    corp.signal(SIGTERM);
    EXPECT_TRUE(exitedCleanly(corp));
}

TEST_F(EndToEndTest, ARefusedLinkOpensInTheRunningAppThatClaimsIt)
{
    // Chat claims localhost's /chat/; Mail keeps 127.0.0.1 and its page
    // moves on to a chat room.
    const std::string chatBase = "http://localhost:" + std::to_string(server->port()) + "/chat/";
    const std::string room = chatBase + "room";
    server->route("/chat/home", HttpPage::html("Chat home"));
    server->route("/chat/room", HttpPage::html("Chat room"));
    server->route("/mail", HttpPage::bytes("<!doctype html><html><head><title>Mail</title><meta http-equiv='refresh'"
                                           " content='0;url=" + room + "'></head><body></body></html>",
                                           "text/html"));
    auto allowOnly = [](const std::string& pattern) {
        return KTJson {{"allowAll", false}, {"allowPatterns", true}, {"pattern", {pattern}}};
    };
    AppBundle chat = makeApp("Chat", {{"main_url", chatBase + "home"}});
    chat.writeDataFile("whitelist.json", allowOnly("://localhost:" + std::to_string(server->port()) + "/chat/"));
    AppBundle mail = makeApp("Mail", {{"main_url", server->url("/mail")}});
    mail.writeDataFile("whitelist.json", allowOnly("://127.0.0.1:"));

    AppProcess& chatProcess = launch(chat);
    ASSERT_TRUE(waitWindows(chat, 1) && waitHits("/chat/home", 1));
    // A running app is known to the others once it is in the registry,
    // which it joins a moment after its first page.
    const std::string registry = KTPaths::home() + "/.QVT/.update";
    ASSERT_TRUE(waitUntil([&] { return KTFileUtil::read(registry).value_or("").find(chat.path()) != std::string::npos; },
                          20s));
    AppProcess& mailProcess = launch(mail);
    ASSERT_TRUE(waitHits("/chat/room", 1)) << "the room opens in Chat";
    EXPECT_TRUE(waitWindows(chat, 2)) << "in a window of the running Chat";
    EXPECT_TRUE(chatProcess.running());
    EXPECT_EQ(browserUrls(), std::vector<std::string> {});
    mailProcess.signal(SIGTERM);
    ASSERT_TRUE(exitedCleanly(mailProcess));

    // With the switch off the room goes to the browser, as any refused address.
    mail.writeDataFile("behavior.json", {{"version", 1.1}, {"routeLinksToSiteApps", false}});
    AppProcess& again = launch(mail);
    ASSERT_TRUE(waitForBrowserUrl(room)) << ::testing::PrintToString(browserUrls());
    EXPECT_EQ(server->hits("/chat/room"), 1u);
    again.signal(SIGTERM);
    EXPECT_TRUE(exitedCleanly(again));
    chatProcess.signal(SIGTERM);
    EXPECT_TRUE(exitedCleanly(chatProcess));
}

} // namespace
} // namespace quilt::test
