// What happens to responses: files saved through the save dialog instead of
// shown, attachments in frames, responses given no decision, and HTTP Basic
// logins answered through the login dialog.

#include "support/GuiTest.h"

#include "core/services/KTDownloadQueue.h"
#include "ui/dialogs/KTAuthenticationDialog.h"
#include "ui/windows/KTMainWindowController.h"
#include "web/KTPageHooks.h"
#include "web/KTWebManager.h"
#include "web/KTWebUIDelegate.h"
#include "web/KTWebViewController.h"

#include <gtk/gtk.h>
#include <libsoup/soup.h>
#include <webkit2/webkit2.h>

namespace quilt::test {
namespace {

class ResponseGlueTest : public PolicyTest {
protected:
    void SetUp() override
    {
        PolicyTest::SetUp();
        if (IsSkipped())
            return;
        openWindow();
    }

    std::string startPage(const std::string& body)
    {
        server->route("site.example.com/start", HttpPage::html("t", body));
        EXPECT_TRUE(loadAndWait(page, "http://site.example.com/start"));
        return "http://site.example.com/start";
    }

    static std::string taken(char* text)
    {
        std::string out = text ? text : "";
        g_free(text);
        return out;
    }
    static std::string currentName(GtkWidget* d) { return taken(gtk_file_chooser_get_current_name(GTK_FILE_CHOOSER(d))); }
    static std::string currentFolder(GtkWidget* d) { return taken(gtk_file_chooser_get_current_folder(GTK_FILE_CHOOSER(d))); }

    KTDownloadQueue& queue() { return KTWebManager::sharedManager().downloadQueue(); }

};

HttpPage file(const std::string& body, const std::string& type, const std::string& disposition = "")
{
    HttpPage r;
    r.body = body;
    r.contentType = type;
    if (!disposition.empty())
        r.headers.emplace_back("Content-Disposition", disposition);
    return r;
}

TEST_F(ResponseGlueTest, PdfIsOfferedAsADownloadAndSavedWhereTheUserSays)
{
    const std::string pdf = "%PDF-1.4\n% a small test document\n%%EOF\n";
    server->route("site.example.com/files/report.pdf", file(pdf, "application/pdf"));
    const std::string start = startPage("<a id='pdf' href='/files/report.pdf'>report</a>");
    runJs(page, "document.getElementById('pdf').click(); 'ok'");

    GtkWidget* save = waitForSaveDialog();
    ASSERT_NE(save, nullptr);
    EXPECT_EQ(currentName(save), "report.pdf");
    EXPECT_EQ(currentFolder(save), downloadsFolder());
    EXPECT_EQ(gtk_window_get_transient_for(GTK_WINDOW(save)), window->window().window());
    const std::string target = downloadsFolder() + "/saved.pdf";
    answerSaveDialog(save, target);

    ASSERT_TRUE(waitUntil([&] { return exists(target); }));
    EXPECT_EQ(readFile(target), pdf);
    EXPECT_FALSE(exists(target + ".part"));
    // The response itself became the download: the server was asked once.
    EXPECT_EQ(server->hits("site.example.com/files/report.pdf"), 1u);
    EXPECT_TRUE(waitShown(page, start));
    // Listed under the name the site gave, and the toolbar shows the list.
    ASSERT_EQ(queue().operationsArray().size(), 1u);
    EXPECT_EQ(queue().operationsArray()[0]->fileName(), "report.pdf");
    EXPECT_EQ(queue().operationsArray()[0]->path(), target);
    EXPECT_TRUE(window->toolbarShown());
    EXPECT_TRUE(gtk_widget_get_visible(window->downloadsView()->button()));
}

TEST_F(ResponseGlueTest, WithNoOneToAskADownloadIsDeclinedAndThePageGoesOn)
{
    KTWebUIDelegate::setShared(nullptr);
    server->route("site.example.com/files/report.pdf", file("%PDF-1.4\n%%EOF\n", "application/pdf"));
    const std::string start = startPage("<a id='pdf' href='/files/report.pdf'>report</a>");
    runJs(page, "document.getElementById('pdf').click(); 'ok'");
    ASSERT_TRUE(waitUntil([&] { return server->hits("site.example.com/files/report.pdf") == 1; }));

    server->route("site.example.com/next", HttpPage::html("Next"));
    EXPECT_TRUE(loadAndWait(page, "http://site.example.com/next"));
    EXPECT_EQ(findSaveDialog(), nullptr);
    EXPECT_TRUE(queue().operationsArray().empty());
    EXPECT_EQ(folderEntries(downloadsFolder()), std::vector<std::string> {});
}

// ---- responses in frames (which dispositions download is the core's table) ----

struct FrameCase {
    const char* name;
    const char* disposition;
    bool downloads;
    friend void PrintTo(const FrameCase& c, std::ostream* os) { *os << c.name; }
};

class FrameResponse : public ResponseGlueTest, public ::testing::WithParamInterface<FrameCase> {};

TEST_P(FrameResponse, AttachmentsAreSavedInlineOnesShown)
{
    const FrameCase& c = GetParam();
    server->route("site.example.com/notes", file("<p id='n'>the notes</p>", "text/html", c.disposition));
    startPage("<iframe id='f' src='/notes'></iframe>");
    if (c.downloads) {
        GtkWidget* save = waitForSaveDialog();
        ASSERT_NE(save, nullptr);
        EXPECT_EQ(currentName(save), "notes.html");
        answerSaveDialog(save, downloadsFolder() + "/notes.html");
        EXPECT_TRUE(waitUntil([&] { return exists(downloadsFolder() + "/notes.html"); }));
    } else {
        EXPECT_TRUE(waitUntil([&] {
            return runJs(page, "(function(){var d=document.getElementById('f').contentDocument;"
                               " var n=d && d.getElementById('n'); return n ? n.textContent : '';})()")
                == "the notes";
        }));
        EXPECT_EQ(findSaveDialog(), nullptr);
        EXPECT_TRUE(queue().operationsArray().empty());
    }
}

INSTANTIATE_TEST_SUITE_P(
    Dispositions, FrameResponse,
    ::testing::Values(FrameCase {"Attachment", "attachment; filename=\"notes.html\"", true},
                      FrameCase {"NoDisposition", "", false}),
    [](const auto& info) { return std::string(info.param.name); });

// ---- HTTP Basic login ----

class BasicAuthTest : public ResponseGlueTest {
protected:
    void SetUp() override
    {
        ResponseGlueTest::SetUp();
        if (IsSkipped())
            return;
        char* token = g_base64_encode(reinterpret_cast<const guchar*>("ann:secret"), 10);
        const std::string expected = std::string("Basic ") + token;
        g_free(token);
        server->handle("secure.example.com/area", [expected](SoupServerMessage* msg, const HttpRequest& r) {
            const bool in = r.authorization == expected;
            const std::string body = in ? "<p id='state'>welcome</p>" : "<p id='state'>denied</p>";
            soup_server_message_set_status(msg, in ? 200 : 401, nullptr);
            if (!in)
                soup_message_headers_append(soup_server_message_get_response_headers(msg), "WWW-Authenticate",
                                            "Basic realm=\"Members\"");
            soup_server_message_set_response(msg, "text/html", SOUP_MEMORY_COPY, body.data(), body.size());
            return true;
        });
    }

    GtkWidget* field(GtkWidget* dialog, const char* name)
    {
        struct Find {
            const char* name;
            GtkWidget* found = nullptr;
            static void visit(GtkWidget* w, gpointer data)
            {
                auto* f = static_cast<Find*>(data);
                if (f->found)
                    return;
                if (GTK_IS_ENTRY(w) && g_strcmp0(gtk_widget_get_name(w), f->name) == 0)
                    f->found = w;
                else if (GTK_IS_CONTAINER(w))
                    gtk_container_forall(GTK_CONTAINER(w), visit, data);
            }
        } find {name};
        gtk_container_forall(GTK_CONTAINER(dialog), Find::visit, &find);
        return find.found;
    }

    GtkWidget* loginDialog() { return waitForMessageDialog("Authentication Required"); }

    void logIn(GtkWidget* dialog, const char* user, const char* password)
    {
        gtk_entry_set_text(GTK_ENTRY(field(dialog, KTAuthenticationDialog::kUserFieldName)), user);
        gtk_entry_set_text(GTK_ENTRY(field(dialog, KTAuthenticationDialog::kPasswordFieldName)), password);
        gtk_button_clicked(GTK_BUTTON(gtk_dialog_get_widget_for_response(GTK_DIALOG(dialog), GTK_RESPONSE_OK)));
    }

    std::string state() { return runJs(page, "document.getElementById('state') ? document.getElementById('state').textContent : ''"); }
};

TEST_F(BasicAuthTest, RightCredentialsOpenTheArea)
{
    page->loadRequest("http://secure.example.com/area");
    GtkWidget* dialog = loginDialog();
    ASSERT_NE(dialog, nullptr);
    EXPECT_EQ(textOf(dialog, "secondary-text"), "To view this page, you must login to this area on secure.example.com");
    ASSERT_NE(field(dialog, KTAuthenticationDialog::kUserFieldName), nullptr);
    GtkWidget* password = field(dialog, KTAuthenticationDialog::kPasswordFieldName);
    ASSERT_NE(password, nullptr);
    EXPECT_FALSE(gtk_entry_get_visibility(GTK_ENTRY(password)));
    logIn(dialog, "ann", "secret");
    ASSERT_TRUE(waitShown(page, "http://secure.example.com/area"));
    EXPECT_TRUE(waitUntil([&] { return state() == "welcome"; })) << state();
}

TEST_F(BasicAuthTest, WrongCredentialsAskAgainAndCancelShowsTheRefusal)
{
    page->loadRequest("http://secure.example.com/area");
    GtkWidget* dialog = loginDialog();
    ASSERT_NE(dialog, nullptr);
    logIn(dialog, "ann", "wrong");
    // The server refused: asked again (a new dialog).
    ASSERT_TRUE(waitUntil([&] { return server->hits("secure.example.com/area") >= 2; }));
    dialog = loginDialog();
    ASSERT_NE(dialog, nullptr);
    gtk_button_clicked(GTK_BUTTON(gtk_dialog_get_widget_for_response(GTK_DIALOG(dialog), GTK_RESPONSE_CANCEL)));
    EXPECT_TRUE(waitUntil([&] { return state() == "denied"; })) << state();
    EXPECT_EQ(findMessageDialog("Authentication Required"), nullptr);
}

TEST_F(BasicAuthTest, WithNoOneToAskTheRefusalShows)
{
    KTWebUIDelegate::setShared(nullptr);
    page->loadRequest("http://secure.example.com/area");
    EXPECT_TRUE(waitUntil([&] { return state() == "denied"; })) << state();
    EXPECT_EQ(findMessageDialog("Authentication Required"), nullptr);
    EXPECT_EQ(server->hits("secure.example.com/area"), 1u);
}

} // namespace
} // namespace quilt::test
