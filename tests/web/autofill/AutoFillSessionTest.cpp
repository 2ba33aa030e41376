// Logins filled and saved over real pages: the helper started by D-Bus
// activation in this group's own desktop session, logins in its
// gnome-keyring, checked with secret-tool.
#include "support/GuiTest.h"
#include "support/InHelperSession.h"
#include "core/services/KTServiceManager.h"
#include "ui/dialogs/KTAutoFillMenuViewController.h"
#include "ui/windows/KTMainWindowController.h"
#include "web/KTScriptMessageHandler.h"
#include "web/KTWebViewController.h"

#include <gtk/gtk.h>

#include <cstdlib>

using namespace quilt;
using namespace quilt::test;

namespace {

const char* kLoginPage = R"(<!DOCTYPE html><title>Sign in</title>
<form id="login" action="/welcome" method="get">
<input type="text" id="username" name="username">
<input type="password" id="password" name="password">
<input type="submit" id="submit" value="Sign in"></form>)";

// The form comes a moment after the page, as a script-built page adds it.
const char* kLatePage = R"(<!DOCTYPE html><title>Late</title><div id="slot"></div>
<script>setTimeout(function () {
  document.getElementById("slot").innerHTML =
    '<form action="/welcome"><input type="email" id="username"><input type="password" id="password">'
    + '<input type="submit" id="submit"></form>';
}, 200);</script>)";

HttpPage htmlOf(const char* html)
{
    HttpPage p;
    p.body = html;
    return p;
}

const char* kSaveQuestion = "Would you like to save this password?";

class AutoFillSession : public InHelperSession<GuiTest> {
protected:
    void SetUp() override
    {
        InHelperSession::SetUp();
        if (IsSkipped())
            return;
        copyResource("KTAPIHelper.js");
        // Page scripts run only where the settings let JavaScript run.
        writeDataFile("settings.json", {{"enableJavaScript", true}});
        server->route("/login", htmlOf(kLoginPage));
        server->route("/late", htmlOf(kLatePage));
        server->route("/welcome", HttpPage::html("Welcome"));
        window = newWindow(true);
        page = pageOf(window);
    }

    static KTAutoFillHandler& handler() { return KTScriptMessageHandler::shared().autoFillHandler(); }
    static KTAutoFillMenuViewController& menu() { return KTAutoFillMenuViewController::shared(); }
    std::string site() const { return server->proxyUrl(); }

    bool save(const std::string& user, const std::string& password, const std::string& where)
    {
        auto ok = std::make_shared<std::optional<bool>>();
        KTServiceManager::sharedManager().saveCredentialsUsernameForURLWithReply(password, user, where,
                                                                                 [ok](bool r) { *ok = r; });
        waitUntil([&] { return ok->has_value(); });
        return ok->value_or(false);
    }
    static std::string keyring(const std::string& where, const std::string& user)
    {
        return runProgram({"secret-tool", "lookup", "site", where, "username", user}, std::chrono::seconds(20)).out;
    }
    std::string field(const char* id) { return runJs(page, std::string("document.getElementById('") + id + "').value"); }
    bool fieldsHold(const std::string& user, const std::string& password)
    {
        return waitUntil([&] { return field("username") == user && field("password") == password; });
    }
    bool open(const std::string& path)
    {
        return loadAndWait(page, server->url(path))
               && waitUntil([&] { return handler().loginDataFor(page->webview()) != nullptr; });
    }
    // As a person types: the value changes and the page hears an input event.
    void type(const char* id, const std::string& text)
    {
        runJs(page, std::string("(function(){var f=document.getElementById('") + id + "'); f.focus(); f.value="
                        + json::compact(KTJson(text)) + "; f.dispatchEvent(new Event('input',{bubbles:true}));})()");
    }
    void key(const char* id, const char* name)
    {
        runJs(page, std::string("document.getElementById('") + id + "').dispatchEvent(new KeyboardEvent('keyup',{key:'"
                        + name + "',bubbles:true}))");
    }
    void submitAndWait()
    {
        // The menu under a focused field may cover the button: put away
        // first, as a person would.
        key("password", "Escape");
        ASSERT_TRUE(waitUntil([] { return !menu().isVisible(); }));
        ASSERT_TRUE(clickElement(page, "#submit"));
        ASSERT_TRUE(waitUntil([&] { return page->url().find("/welcome") != std::string::npos && !page->isLoading(); }));
        // The keyring's answer to "is this password saved?" has come back.
        EXPECT_TRUE(waitUntil([] { return !handler().isOngoingPasswordSaveRequest(); }) || findAnyQuestion());
    }
    static GtkWidget* findAnyQuestion()
    {
        return findWindow([](GtkWidget* w) { return GTK_IS_MESSAGE_DIALOG(w); });
    }
    // Returns once the helper has answered a question sent after everything
    // sent before.
    void syncWithHelper()
    {
        auto done = std::make_shared<bool>(false);
        KTServiceManager::sharedManager().credentialsSavedForWithReply(site(), [done](auto) { *done = true; });
        EXPECT_TRUE(waitUntil([&] { return *done; }));
        drainEvents();
    }

    KTMainWindowController* window = nullptr;
    KTWebViewController* page = nullptr;
};

// A login form, there at once or added later, is filled with the first
// login saved for the page's site, quotes and backslashes as they are.
TEST_F(AutoFillSession, FormsAreFilledWithTheFirstSavedLoginOnDiscovery)
{
    ASSERT_TRUE(save("o'neil", "p\"a's\\s", site() + "/login"));
    ASSERT_TRUE(save("zed", "second", site()));
    ASSERT_TRUE(open("/login"));
    EXPECT_TRUE(fieldsHold("o'neil", "p\"a's\\s"));
    ASSERT_TRUE(open("/late"));
    EXPECT_TRUE(fieldsHold("o'neil", "p\"a's\\s"));
    // Filling is not typing: no menu opened by it.
    EXPECT_FALSE(menu().isVisible());
}

// Typed "al" lists what begins with it; the user-name field leaves out the
// login it already holds, the password field keeps it; the keys move and
// choose, and the choice fills the form.
TEST_F(AutoFillSession, MenuFiltersAsThePersonTypesAndTheKeysChoose)
{
    for (const char* user : {"al", "alice", "bob"})
        ASSERT_TRUE(save(user, std::string("pw-") + user, site()));
    ASSERT_TRUE(open("/login"));
    ASSERT_TRUE(fieldsHold("al", "pw-al"));
    type("username", "al");
    ASSERT_TRUE(waitUntil([] { return menu().isVisible(); }));
    EXPECT_EQ(menu().items(), std::vector<std::string>{"alice"});
    int width = 0, height = 0;
    menu().getSize(width, height);
    EXPECT_EQ(width, KTAutoFillMenuViewController::kMinWidth);
    EXPECT_EQ(height, KTAutoFillMenuViewController::kRowHeight);

    runJs(page, "document.getElementById('username').blur()");
    ASSERT_TRUE(waitUntil([] { return !menu().isVisible(); }));
    runJs(page, "document.getElementById('password').focus()");
    runJs(page, "document.getElementById('password').dispatchEvent(new FocusEvent('focus'))");
    ASSERT_TRUE(waitUntil([] { return menu().isVisible(); }));
    EXPECT_EQ(menu().items(), (std::vector<std::string>{"al", "alice"}));

    key("password", "ArrowDown");
    ASSERT_TRUE(waitUntil([] { return menu().selectedRow() == 0; }));
    key("password", "ArrowDown");
    key("password", "ArrowDown"); // past the end: stays
    ASSERT_TRUE(waitUntil([] { return menu().selectedRow() == 1; }));
    key("password", "ArrowUp");
    key("password", "ArrowUp");
    ASSERT_TRUE(waitUntil([] { return menu().selectedRow() == -1; }));
    key("password", "Enter"); // nothing selected: nothing chosen
    key("password", "ArrowDown");
    key("password", "ArrowDown");
    ASSERT_TRUE(waitUntil([] { return menu().selectedRow() == 1; }));
    key("password", "Enter");
    ASSERT_TRUE(waitUntil([] { return !menu().isVisible(); }));
    EXPECT_TRUE(fieldsHold("alice", "pw-alice"));
}

// A new login typed and submitted is offered for saving; saved, it is in
// the keyring and fills the form on the next visit.
TEST_F(AutoFillSession, NewLoginIsOfferedSavedAndFilledNextTime)
{
    ASSERT_TRUE(open("/login"));
    type("username", "carol");
    type("password", "c4rol's");
    submitAndWait();
    GtkWidget* question = waitForMessageDialog(kSaveQuestion);
    ASSERT_TRUE(question);
    EXPECT_EQ(textOf(question, "secondary-text"), "You can view and remove saved passwords in preferences.");
    EXPECT_EQ(dialogButtons(question), (std::vector<std::string>{"Not Now", "Save Password"}));
    EXPECT_EQ(gtk_window_get_transient_for(GTK_WINDOW(question)),
              GTK_WINDOW(gtk_widget_get_toplevel(GTK_WIDGET(page->webview()))));
    gtk_dialog_response(GTK_DIALOG(question), GTK_RESPONSE_ACCEPT);
    EXPECT_TRUE(waitUntil([&] { return keyring(site(), "carol") == "c4rol's"; }));
    EXPECT_FALSE(handler().isOngoingPasswordSaveRequest());

    ASSERT_TRUE(open("/login"));
    EXPECT_TRUE(fieldsHold("carol", "c4rol's"));
}

// A different password for a saved user asks to update, naming user and
// host; "Not Now" keeps the old one, "Update Password" replaces it.
TEST_F(AutoFillSession, ChangedPasswordAsksToUpdateNamingUserAndHost)
{
    ASSERT_TRUE(save("dave", "old", site()));
    const std::string text = "Do you want to update the password saved in your keyring for \"dave\" on \"127.0.0.1\"";
    for (int response : {GTK_RESPONSE_CANCEL, GTK_RESPONSE_ACCEPT}) {
        ASSERT_TRUE(open("/login"));
        ASSERT_TRUE(fieldsHold("dave", "old"));
        type("password", "new");
        submitAndWait();
        GtkWidget* question = waitForMessageDialog(text);
        ASSERT_TRUE(question);
        EXPECT_EQ(dialogButtons(question), (std::vector<std::string>{"Not Now", "Update Password"}));
        gtk_dialog_response(GTK_DIALOG(question), response);
        if (response == GTK_RESPONSE_CANCEL) {
            EXPECT_TRUE(waitUntil([] { return !handler().isOngoingPasswordSaveRequest(); }));
        }
    }
    EXPECT_TRUE(waitUntil([&] { return keyring(site(), "dave") == "new"; }));
}

struct QuietCase {
    const char* name;
    const char* user;     // typed, or nullptr for untouched
    const char* password; // typed, or nullptr for untouched
};

class AutoFillQuiet : public AutoFillSession, public testing::WithParamInterface<QuietCase> {};

// Leaving a form asks nothing when the password is the saved one, a field
// is empty or nothing was typed.
TEST_P(AutoFillQuiet, NoQuestion)
{
    ASSERT_TRUE(save("erin", "same", site()));
    ASSERT_TRUE(open("/login"));
    ASSERT_TRUE(fieldsHold("erin", "same"));
    if (GetParam().user)
        type("username", GetParam().user);
    if (GetParam().password)
        type("password", GetParam().password);
    submitAndWait();
    drainEvents();
    EXPECT_EQ(findAnyQuestion(), nullptr);
    EXPECT_EQ(keyring(site(), "erin"), "same");
}

INSTANTIATE_TEST_SUITE_P(Forms, AutoFillQuiet,
                         testing::Values(QuietCase {"FilledAndUntouched", nullptr, nullptr},
                                         QuietCase {"SamePasswordTypedAgain", "erin", "same"},
                                         QuietCase {"EmptyPassword", "frank", ""},
                                         QuietCase {"EmptyUser", "", "secret"}),
                         [](const auto& info) { return std::string(info.param.name); });

// Another site (another port) never gets the first site's login: not
// filled, not listed.
TEST_F(AutoFillSession, SecondSiteNeverSeesTheFirstSitesLogin)
{
    ASSERT_TRUE(save("grace", "hers", site()));
    HttpServer other;
    other.route("/login", htmlOf(kLoginPage));
    ASSERT_TRUE(loadAndWait(page, other.url("/login")));
    ASSERT_TRUE(waitUntil([&] { return handler().loginDataFor(page->webview()) != nullptr; }));
    syncWithHelper();
    EXPECT_EQ(field("username"), "");
    EXPECT_EQ(field("password"), "");
    type("username", "g");
    runJs(page, "document.getElementById('password').dispatchEvent(new FocusEvent('focus'))");
    syncWithHelper();
    EXPECT_FALSE(menu().isVisible());
    // The same page on the first site does get it.
    ASSERT_TRUE(open("/login"));
    EXPECT_TRUE(fieldsHold("grace", "hers"));
}

// Whatever a page posts on the channel changes nothing it should not and
// crashes nothing; a flood costs one keyring question at a time, and the
// form still works afterwards.
TEST_F(AutoFillSession, GarbageOnTheChannelChangesNothing)
{
    ASSERT_TRUE(save("heidi", "pw-h", site()));
    ASSERT_TRUE(open("/login"));
    ASSERT_TRUE(fieldsHold("heidi", "pw-h"));
    runJs(page, R"((function () {
        var h = window.webkit.messageHandlers.autoFill, deep = [];
        for (var i = 0; i < 3000; ++i) deep = [deep];
        var bodies = [null, 1, "onLoginFound", {}, [], [null], [1, 2], ["onLoginFound", "x"],
            ["onLoginFound", {username: {a: 1}, password: []}], ["onUsernameChange", 5, "x"],
            ["onKeyUp", "13"], ["onKeyUp", 1e308], ["onPasswordFocused", deep],
            ["onUsernameChange", "x".repeat(200000)], ["onLoginFound", {username: "x".repeat(5000)}],
            deep, ["onUsernameFocused", {left: "a", top: {}}]];
        bodies.forEach(function (b) { try { h.postMessage(b); } catch (e) {} });
        for (var j = 0; j < 2000; ++j) {
            h.postMessage(["onLoginFound", {username: "", password: ""}]);
            h.postMessage(["onPasswordFocused", {left: j, top: j}]);
            h.postMessage(["onKeyUp", 1]);
        }
        return true;
    })())");
    // The last form found is filled once the answers are in. The fields
    // already held the login before the flood, so wait for the answers
    // themselves, not for the fields.
    ASSERT_TRUE(waitUntil([&] {
        const KTLoginData* data = handler().loginDataFor(page->webview());
        return data && data->username == "heidi";
    }));
    EXPECT_TRUE(fieldsHold("heidi", "pw-h"));
    // The page's message budget refills at 100 a second; a person's next key
    // comes well after a flood has been taken in, and so does this one.
    waitUntil([] { return false; }, std::chrono::seconds(2));
    // The flood's menu still goes with Escape, and leaving asks nothing.
    submitAndWait();
    drainEvents();
    EXPECT_EQ(findAnyQuestion(), nullptr);
}

} // namespace
