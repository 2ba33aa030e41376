// What happens to responses: files saved through the save dialog instead of
// shown, attachments in frames, responses given no decision, and HTTP Basic
// logins answered through the login dialog.

#include "PolicyTest.h"

#include "services/KTDownloadQueue.h"
#include "web/KTAuthenticationDialog.h"
#include "web/KTPageHooks.h"
#include "web/KTWebManager.h"
#include "web/KTWebViewController.h"
#include "windows/KTMainWindowController.h"

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
        window = newWindow();
        page = pageOf(window);
    }

    std::string startPage(const std::string& body)
    {
        server->route("site.example.com/start", Reply::html(body));
        EXPECT_TRUE(loadAndWait(page, "http://site.example.com/start"));
        return "http://site.example.com/start";
    }

    static std::string currentName(GtkWidget* dialog)
    {
        char* name = gtk_file_chooser_get_current_name(GTK_FILE_CHOOSER(dialog));
        std::string out = name ? name : "";
        g_free(name);
        return out;
    }

    static std::string currentFolder(GtkWidget* dialog)
    {
        char* folder = gtk_file_chooser_get_current_folder(GTK_FILE_CHOOSER(dialog));
        std::string out = folder ? folder : "";
        g_free(folder);
        return out;
    }

    KTDownloadQueue& queue() { return KTWebManager::sharedManager().downloadQueue(); }

    KTMainWindowController* window = nullptr;
    KTWebViewController* page = nullptr;
};

Reply file(const std::string& body, const std::string& type, const std::string& disposition = "")
{
    Reply r;
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

TEST_F(ResponseGlueTest, CancelledSaveDialogDropsTheDownload)
{
    server->route("site.example.com/files/a.zip", file(std::string(4096, 'z'), "application/zip"));
    const std::string start = startPage("<a id='zip' href='/files/a.zip'>zip</a>");
    runJs(page, "document.getElementById('zip').click(); 'ok'");
    GtkWidget* save = waitForSaveDialog();
    ASSERT_NE(save, nullptr);
    EXPECT_EQ(currentName(save), "a.zip");
    answerSaveDialog(save, std::nullopt);
    EXPECT_TRUE(waitUntil([&] { return findSaveDialog() == nullptr; }));
    drainEvents();
    EXPECT_TRUE(queue().operationsArray().empty());
    GDir* dir = g_dir_open(downloadsFolder().c_str(), 0, nullptr);
    ASSERT_NE(dir, nullptr);
    EXPECT_EQ(g_dir_read_name(dir), nullptr) << "the downloads folder stays empty";
    g_dir_close(dir);
    EXPECT_TRUE(waitShown(page, start));
}

// ---- responses in frames ----

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
                      FrameCase {"AttachmentEncodedName", "attachment; filename*=UTF-8''notes.html", true},
                      FrameCase {"InlineWithName", "inline; filename=\"notes.html\"", false},
                      FrameCase {"NoDisposition", "", false}),
    [](const auto& info) { return std::string(info.param.name); });

TEST_F(ResponseGlueTest, ImageWhoseNameHasAQuestionMarkIsGivenNoDecision)
{
    // 1x1 transparent GIF.
    const std::string gif("GIF89a\x01\x00\x01\x00\x80\x00\x00\x00\x00\x00\x00\x00\x00!\xf9\x04\x01\x00\x00\x00\x00,"
                          "\x00\x00\x00\x00\x01\x00\x01\x00\x00\x02\x02\x44\x01\x00;",
                          43);
    server->route("site.example.com/pixel", file(gif, "image/gif"));
    const std::string start = startPage("<a id='img' href='/pixel?size=1'>pixel</a>");
    runJs(page, "document.getElementById('img').click(); 'ok'");
    ASSERT_TRUE(waitUntil([&] { return server->hits("site.example.com/pixel") == 1; }));
    // Neither shown nor saved: the page stays as it was.
    EXPECT_TRUE(waitShown(page, start));
    drainEvents();
    EXPECT_EQ(findSaveDialog(), nullptr);
    EXPECT_TRUE(queue().operationsArray().empty());
}

TEST_F(ResponseGlueTest, DownloadMarkSavesTheNextPageAsHtml)
{
    server->route("site.example.com/article", Reply::html("<p>article</p>"));
    startPage("<a id='a' href='/article'>article</a>");
    KTPageHooks::setNeedToDownload(page->webview(), true);
    runJs(page, "document.getElementById('a').click(); 'ok'");
    GtkWidget* save = waitForSaveDialog();
    ASSERT_NE(save, nullptr);
    EXPECT_EQ(currentName(save), "article.html");
    EXPECT_FALSE(KTPageHooks::needToDownload(page->webview())) << "used up";
    answerSaveDialog(save, std::nullopt);
}

TEST_F(ResponseGlueTest, DownloadAttributeLinkAsksWithItsName)
{
    server->route("site.example.com/files/sample.txt", file("plain text\n", "text/plain"));
    startPage("<a id='dl' href='/files/sample.txt' download='kept-name.txt'>sample</a>");
    runJs(page, "document.getElementById('dl').click(); 'ok'");
    GtkWidget* save = waitForSaveDialog();
    ASSERT_NE(save, nullptr);
    EXPECT_EQ(currentName(save), "kept-name.txt");
    answerSaveDialog(save, downloadsFolder() + "/kept-name.txt");
    ASSERT_TRUE(waitUntil([&] { return exists(downloadsFolder() + "/kept-name.txt"); }));
    EXPECT_EQ(readFile(downloadsFolder() + "/kept-name.txt"), "plain text\n");
}

// ---- certificates ----

TEST_F(ResponseGlueTest, SelfSignedCertificateIsAccepted)
{
    // A certificate no authority signed, for a name that is not the host.
    const std::string cert = env->root() + "/cert.pem", key = env->root() + "/key.pem";
    std::string command = "openssl req -x509 -newkey rsa:2048 -nodes -days 1 -subj /CN=not-this-host -keyout '" + key
        + "' -out '" + cert + "'";
    int status = 0;
    if (!g_spawn_command_line_sync(command.c_str(), nullptr, nullptr, &status, nullptr) || status != 0)
        GTEST_SKIP() << "openssl cannot make a certificate here";
    GError* error = nullptr;
    GTlsCertificate* tls = g_tls_certificate_new_from_files(cert.c_str(), key.c_str(), &error);
    ASSERT_NE(tls, nullptr) << error->message;
    SoupServer* https = soup_server_new("tls-certificate", tls, nullptr);
    g_object_unref(tls);
    soup_server_add_handler(https, nullptr,
                            [](SoupServer*, SoupServerMessage* msg, const char*, GHashTable*, gpointer) {
                                const std::string body = "<p id='x'>secure page</p>";
                                soup_server_message_set_status(msg, 200, nullptr);
                                soup_server_message_set_response(msg, "text/html", SOUP_MEMORY_COPY, body.data(),
                                                                 body.size());
                            },
                            nullptr, nullptr);
    ASSERT_TRUE(soup_server_listen_local(https, 0, SoupServerListenOptions(SOUP_SERVER_LISTEN_HTTPS | SOUP_SERVER_LISTEN_IPV4_ONLY), &error))
        << error->message;
    GSList* uris = soup_server_get_uris(https);
    const std::string url = "https://127.0.0.1:" + std::to_string(g_uri_get_port(static_cast<GUri*>(uris->data))) + "/";
    g_slist_free_full(uris, reinterpret_cast<GDestroyNotify>(g_uri_unref));
    // Straight to it, not through the test's proxy.
    const char* direct[] = {"127.0.0.1", nullptr};
    WebKitNetworkProxySettings* proxy = webkit_network_proxy_settings_new(server->proxyUrl().c_str(), direct);
    webkit_website_data_manager_set_network_proxy_settings(
        webkit_web_context_get_website_data_manager(webkit_web_view_get_context(page->webview())),
        WEBKIT_NETWORK_PROXY_MODE_CUSTOM, proxy);
    webkit_network_proxy_settings_free(proxy);

    ASSERT_TRUE(loadAndWait(page, url));
    EXPECT_EQ(runJs(page, "document.getElementById('x') ? document.getElementById('x').textContent : ''"),
              "secure page");
    soup_server_disconnect(https);
    g_object_unref(https);
}

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
        server->handle("secure.example.com/area", [expected](SoupServerMessage* msg, const SeenRequest& r) {
            if (r.authorization == expected) {
                const std::string body = "<p id='state'>welcome</p>";
                soup_server_message_set_status(msg, 200, nullptr);
                soup_server_message_set_response(msg, "text/html", SOUP_MEMORY_COPY, body.data(), body.size());
            } else {
                const std::string body = "<p id='state'>denied</p>";
                soup_server_message_set_status(msg, 401, nullptr);
                soup_message_headers_append(soup_server_message_get_response_headers(msg), "WWW-Authenticate",
                                            "Basic realm=\"Members\"");
                soup_server_message_set_response(msg, "text/html", SOUP_MEMORY_COPY, body.data(), body.size());
            }
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
    char* secondary = nullptr;
    g_object_get(dialog, "secondary-text", &secondary, nullptr);
    EXPECT_STREQ(secondary, "To view this page, you must login to this area on secure.example.com");
    g_free(secondary);
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

} // namespace
} // namespace quilt::test
