#include "PolicyTest.h"

#include "config/KTBehaviorManager.h"
#include "config/KTFileUtil.h"
#include "config/KTSettingsManager.h"
#include "config/KTShared.h"
#include "web/KTWebContext.h"
#include "web/KTWhiteListManager.h"
#include "windows/KTMainWindowController.h"

#include <gtk/gtk.h>
#include <libsoup/soup.h>
#include <webkit2/webkit2.h>

#include <sys/stat.h>

#include <algorithm>
#include <fstream>
#include <sstream>

namespace quilt::test {

// ---- the server ----

Reply Reply::html(const std::string& body)
{
    Reply r;
    r.body = "<!DOCTYPE html><html><head><meta charset='utf-8'><title>t</title></head><body>" + body
        + "</body></html>";
    return r;
}

Reply Reply::redirect(const std::string& location)
{
    Reply r;
    r.status = 302;
    r.headers.emplace_back("Location", location);
    return r;
}

WebServer::WebServer()
{
    server_ = soup_server_new(nullptr, nullptr);
    soup_server_add_handler(server_, nullptr, reinterpret_cast<SoupServerCallback>(onRequest), this, nullptr);
    GError* error = nullptr;
    if (!soup_server_listen_local(server_, 0, SOUP_SERVER_LISTEN_IPV4_ONLY, &error)) {
        ADD_FAILURE() << "cannot listen on 127.0.0.1: " << error->message;
        g_clear_error(&error);
        return;
    }
    GSList* uris = soup_server_get_uris(server_);
    if (uris)
        port_ = g_uri_get_port(static_cast<GUri*>(uris->data));
    g_slist_free_full(uris, reinterpret_cast<GDestroyNotify>(g_uri_unref));
}

WebServer::~WebServer()
{
    soup_server_disconnect(server_);
    g_object_unref(server_);
}

std::string WebServer::proxyUrl() const { return "http://127.0.0.1:" + std::to_string(port_); }

void WebServer::route(const std::string& hostAndPath, Reply reply) { replies_[hostAndPath] = std::move(reply); }

void WebServer::handle(const std::string& hostAndPath, Handler handler) { handlers_[hostAndPath] = std::move(handler); }

unsigned WebServer::hits(const std::string& hostAndPath) const
{
    return static_cast<unsigned>(std::count_if(requests_.begin(), requests_.end(), [&](const SeenRequest& r) {
        return r.host + r.path == hostAndPath;
    }));
}

std::optional<SeenRequest> WebServer::last(const std::string& hostAndPath) const
{
    for (auto it = requests_.rbegin(); it != requests_.rend(); ++it)
        if (it->host + it->path == hostAndPath)
            return *it;
    return std::nullopt;
}

void WebServer::onRequest(SoupServer*, SoupServerMessage* msg, const char* path, void*, void* data)
{
    auto* self = static_cast<WebServer*>(data);
    SoupMessageHeaders* in = soup_server_message_get_request_headers(msg);
    SeenRequest seen;
    GUri* uri = soup_server_message_get_uri(msg);
    // A proxy request carries the whole address; a direct one its Host.
    const char* host = g_uri_get_host(uri);
    const char* hostHeader = soup_message_headers_get_one(in, "Host");
    seen.host = (host && std::string(host) != "127.0.0.1") ? host : (hostHeader ? hostHeader : "");
    seen.path = path;
    if (const char* ua = soup_message_headers_get_one(in, "User-Agent"))
        seen.userAgent = ua;
    if (const char* auth = soup_message_headers_get_one(in, "Authorization"))
        seen.authorization = auth;
    self->requests_.push_back(seen);

    const std::string key = seen.host + seen.path;
    if (auto h = self->handlers_.find(key); h != self->handlers_.end() && h->second(msg, seen))
        return;
    auto r = self->replies_.find(key);
    if (r == self->replies_.end()) {
        soup_server_message_set_status(msg, 404, nullptr);
        soup_server_message_set_response(msg, "text/plain", SOUP_MEMORY_COPY, "not found", 9);
        return;
    }
    const Reply& reply = r->second;
    soup_server_message_set_status(msg, reply.status, nullptr);
    SoupMessageHeaders* out = soup_server_message_get_response_headers(msg);
    for (auto& [name, value] : reply.headers)
        soup_message_headers_append(out, name.c_str(), value.c_str());
    soup_server_message_set_response(msg, reply.contentType.c_str(), SOUP_MEMORY_COPY, reply.body.data(),
                                     reply.body.size());
}

// ---- waiting ----

bool waitUntil(const std::function<bool()>& cond, std::chrono::milliseconds timeout)
{
    const gint64 deadline = g_get_monotonic_time() + std::chrono::duration_cast<std::chrono::microseconds>(timeout).count();
    // A ticking source wakes the loop up, so the condition is looked at even
    // when nothing else happens.
    guint tick = g_timeout_add(10, [](gpointer) -> gboolean { return G_SOURCE_CONTINUE; }, nullptr);
    bool held = cond();
    while (!held && g_get_monotonic_time() < deadline) {
        g_main_context_iteration(nullptr, TRUE);
        held = cond();
    }
    g_source_remove(tick);
    return held;
}

void drainEvents()
{
    for (int i = 0; i < 50 && g_main_context_pending(nullptr); ++i)
        g_main_context_iteration(nullptr, FALSE);
}

// ---- the fixture ----

namespace {
bool testRanInThisProcess = false;

void writeText(const std::string& path, const std::string& text, bool executable = false)
{
    KTFileUtil::makeDirectories(KTFileUtil::parentFolder(path));
    std::ofstream(path) << text;
    if (executable)
        ::chmod(path.c_str(), 0755);
}
} // namespace

void PolicyTest::SetUp()
{
    // WebKit's session and GLib's XDG folders are per process: ctest runs
    // every test in a process of its own.
    if (testRanInThisProcess)
        GTEST_SKIP() << "one test per process (run through ctest)";
    testRanInThisProcess = true;
    env = std::make_unique<TestEnvironment>();
    if (!gtk_init_check(nullptr, nullptr))
        GTEST_SKIP() << "no display: run inside tests/desktop-session";
    registerRecorders();
    downloads_ = env->root() + "/downloads";
    KTFileUtil::makeDirectories(downloads_);
    // As the creation tool writes it for a new app: scripts on, pages may
    // open windows ("blockPopupWindoww" is passed to WebKit as it stands).
    KTJson settings = {{"enableJavaScript", true}, {"blockPopupWindoww", true}, {"downloads", downloads_}};
    env->writeFile(env->dataFolder() + "settings.json", json::compact(settings));
    KTShared<KTSettingsManager>::reset();
    server = std::make_unique<WebServer>();
    WebKitNetworkProxySettings* proxy = webkit_network_proxy_settings_new(server->proxyUrl().c_str(), nullptr);
    webkit_website_data_manager_set_network_proxy_settings(KTWebContext::shared().dataManager(),
                                                           WEBKIT_NETWORK_PROXY_MODE_CUSTOM, proxy);
    webkit_network_proxy_settings_free(proxy);
}

void PolicyTest::TearDown()
{
    if (!IsSkipped()) {
        // Every window goes the way its close button takes it.
        KTBehaviorManager::sharedManager().setCloseApplication(true);
        KTSettingsManager::sharedManager().setConfirmColseTabs(false);
        while (!KTMainWindowController::mainWindows().empty())
            KTMainWindowController::mainWindows().back()->close();
        drainEvents();
        // Dialogs left open by a failed test.
        GList* tops = gtk_window_list_toplevels();
        for (GList* l = tops; l; l = l->next)
            if (GTK_IS_DIALOG(l->data))
                gtk_widget_destroy(GTK_WIDGET(l->data));
        g_list_free(tops);
        drainEvents();
    }
    server.reset();
    env.reset();
}

void PolicyTest::registerRecorders()
{
    records_ = env->root() + "/records";
    KTFileUtil::makeDirectories(records_);
    const std::string apps = env->home() + "/.local/share/applications/";
    struct Recorder {
        const char* id;
        const char* name;
        const char* log;
        const char* types;
    };
    const Recorder recorders[] = {
        {"quilt-test-browser", "Test Browser", "browser", "x-scheme-handler/http;x-scheme-handler/https;"},
        {"quilt-test-handler", "Quilt Test Handler", "scheme", "x-scheme-handler/quilttest;"},
        {"quilt-test-viewer", "Test Viewer", "files", "text/plain;application/pdf;"},
        {"quilt-test-folders", "Test Folders", "folders", "inode/directory;"},
    };
    std::string defaults = "[Default Applications]\n";
    for (const Recorder& r : recorders) {
        const std::string script = records_ + "/" + r.log + ".sh";
        writeText(script,
                  "#!/bin/sh\nfor a in \"$@\"; do printf '%s\\n' \"$a\" >> '" + records_ + "/" + r.log + ".log'; done\n",
                  true);
        writeText(apps + r.id + ".desktop", std::string("[Desktop Entry]\nType=Application\nName=") + r.name
                                                + "\nExec=" + script + " %u\nMimeType=" + r.types
                                                + "\nNoDisplay=true\n");
        std::string types = r.types;
        for (size_t from = 0, semi; (semi = types.find(';', from)) != std::string::npos; from = semi + 1)
            defaults += types.substr(from, semi - from) + "=" + r.id + ".desktop\n";
    }
    writeText(env->home() + "/.config/mimeapps.list", defaults);
}

std::vector<std::string> PolicyTest::recorded(const std::string& name) const
{
    std::vector<std::string> lines;
    std::ifstream in(records_ + "/" + name + ".log");
    for (std::string line; std::getline(in, line);)
        lines.push_back(line);
    return lines;
}

std::vector<std::string> PolicyTest::browserUrls() const { return recorded("browser"); }
std::vector<std::string> PolicyTest::schemeHandlerUrls() const { return recorded("scheme"); }
std::vector<std::string> PolicyTest::openedFiles() const { return recorded("files"); }
std::vector<std::string> PolicyTest::openedFolders() const { return recorded("folders"); }

bool PolicyTest::waitForBrowserUrl(const std::string& url)
{
    return waitUntil([&] {
        auto urls = browserUrls();
        return std::find(urls.begin(), urls.end(), url) != urls.end();
    });
}

KTMainWindowController* PolicyTest::newWindow()
{
    KTMainWindowController* c = KTMainWindowController::create();
    // The application gives windows their size; without it, one of a
    // browser's, so that pages have room and can be clicked.
    gtk_window_resize(c->window().window(), 1000, 700);
    c->showWindow();
    return c;
}

KTWebViewController* PolicyTest::pageOf(KTMainWindowController* window, size_t tab)
{
    return window ? window->tabController()->pageAt(tab) : nullptr;
}

bool PolicyTest::waitShown(KTWebViewController* page, const std::string& url)
{
    return waitUntil([&] { return page->url() == url && !page->isLoading(); });
}

bool PolicyTest::loadAndWait(KTWebViewController* page, const std::string& url)
{
    page->loadRequest(url);
    return waitShown(page, url);
}

std::string PolicyTest::runJs(KTWebViewController* page, const std::string& script)
{
    struct Result {
        bool done = false;
        std::string text;
    } result;
    webkit_web_view_evaluate_javascript(
        page->webview(), script.c_str(), -1, nullptr, nullptr, nullptr,
        [](GObject* source, GAsyncResult* res, gpointer data) {
            auto* r = static_cast<Result*>(data);
            GError* error = nullptr;
            JSCValue* value = webkit_web_view_evaluate_javascript_finish(WEBKIT_WEB_VIEW(source), res, &error);
            if (value) {
                if (!jsc_value_is_undefined(value) && !jsc_value_is_null(value)) {
                    char* s = jsc_value_to_string(value);
                    r->text = s ? s : "";
                    g_free(s);
                }
                g_object_unref(value);
            } else {
                ADD_FAILURE() << "script failed: " << (error ? error->message : "?");
                g_clear_error(&error);
            }
            r->done = true;
        },
        &result);
    waitUntil([&] { return result.done; });
    return result.text;
}

bool PolicyTest::clickElement(KTWebViewController* page, const std::string& selector,
                              const std::vector<std::string>& modifiers)
{
    std::string at = runJs(page, "(function(){var e=document.querySelector('" + selector
                                     + "'); if(!e) return ''; var r=e.getBoundingClientRect();"
                                       " return Math.round(r.left+r.width/2)+','+Math.round(r.top+r.height/2);})()");
    size_t comma = at.find(',');
    if (comma == std::string::npos)
        return false;
    int x = std::stoi(at.substr(0, comma)), y = std::stoi(at.substr(comma + 1));
    GtkWidget* view = GTK_WIDGET(page->webview());
    if (!waitUntil([&] { return gtk_widget_get_mapped(view) && gtk_widget_get_allocated_height(view) > y; }))
        return false;
    int ox = 0, oy = 0;
    gdk_window_get_origin(gtk_widget_get_window(view), &ox, &oy);
    if (!gtk_widget_get_has_window(view)) {
        GtkAllocation a;
        gtk_widget_get_allocation(view, &a);
        ox += a.x;
        oy += a.y;
    }
    std::vector<std::string> args = {"xdotool", "mousemove", "--sync", std::to_string(ox + x), std::to_string(oy + y)};
    for (auto& m : modifiers) {
        args.push_back("keydown");
        args.push_back(m);
    }
    args.push_back("click");
    args.push_back("1");
    for (auto it = modifiers.rbegin(); it != modifiers.rend(); ++it) {
        args.push_back("keyup");
        args.push_back(*it);
    }
    std::vector<char*> argv;
    for (auto& a : args)
        argv.push_back(a.data());
    argv.push_back(nullptr);
    int status = 0;
    GError* error = nullptr;
    bool ok = g_spawn_sync(nullptr, argv.data(), nullptr, G_SPAWN_SEARCH_PATH, nullptr, nullptr, nullptr, nullptr,
                           &status, &error);
    if (error) {
        ADD_FAILURE() << "xdotool: " << error->message;
        g_clear_error(&error);
    }
    return ok && g_spawn_check_wait_status(status, nullptr);
}

void PolicyTest::writeAllowList(bool allowAll, bool allowPatterns, const std::vector<std::string>& patterns,
                                bool allowSubdomains)
{
    KTJson list = {{"allowAll", allowAll},
                   {"allowPatterns", allowPatterns},
                   {"pattern", patterns},
                   {"allowSubdomains", allowSubdomains}};
    env->writeFile(env->dataFolder() + "whitelist.json", json::compact(list));
    KTShared<KTWhiteListManager>::reset();
}

GtkWidget* PolicyTest::findMessageDialog(const std::string& text) const
{
    GtkWidget* found = nullptr;
    GList* tops = gtk_window_list_toplevels();
    for (GList* l = tops; l && !found; l = l->next) {
        if (!GTK_IS_MESSAGE_DIALOG(l->data) || !gtk_widget_get_visible(GTK_WIDGET(l->data)))
            continue;
        char* t = nullptr;
        g_object_get(l->data, "text", &t, nullptr);
        if (t && text == t)
            found = GTK_WIDGET(l->data);
        g_free(t);
    }
    g_list_free(tops);
    return found;
}

GtkWidget* PolicyTest::waitForMessageDialog(const std::string& text)
{
    GtkWidget* d = nullptr;
    waitUntil([&] { return (d = findMessageDialog(text)) != nullptr; });
    return d;
}

GtkWidget* PolicyTest::findSaveDialog() const
{
    GtkWidget* found = nullptr;
    GList* tops = gtk_window_list_toplevels();
    for (GList* l = tops; l && !found; l = l->next)
        if (GTK_IS_FILE_CHOOSER_DIALOG(l->data) && gtk_widget_get_visible(GTK_WIDGET(l->data)))
            found = GTK_WIDGET(l->data);
    g_list_free(tops);
    return found;
}

GtkWidget* PolicyTest::waitForSaveDialog()
{
    GtkWidget* d = nullptr;
    // Ready once it has taken in its folder, as a user would wait for it.
    waitUntil([&] {
        if (!(d = findSaveDialog()))
            return false;
        char* folder = gtk_file_chooser_get_current_folder(GTK_FILE_CHOOSER(d));
        g_free(folder);
        return folder != nullptr;
    });
    return d;
}

void PolicyTest::answerSaveDialog(GtkWidget* dialog, const std::optional<std::string>& path)
{
    if (!path) {
        gtk_button_clicked(GTK_BUTTON(gtk_dialog_get_widget_for_response(GTK_DIALOG(dialog), GTK_RESPONSE_CANCEL)));
        return;
    }
    GtkFileChooser* chooser = GTK_FILE_CHOOSER(dialog);
    gtk_file_chooser_set_current_folder(chooser, KTFileUtil::parentFolder(*path).c_str());
    gtk_file_chooser_set_current_name(chooser, KTFileUtil::lastComponent(*path).c_str());
    gtk_button_clicked(GTK_BUTTON(gtk_dialog_get_widget_for_response(GTK_DIALOG(dialog), GTK_RESPONSE_ACCEPT)));
}

std::string PolicyTest::readFile(const std::string& path) { return KTFileUtil::read(path).value_or(""); }

bool PolicyTest::exists(const std::string& path) { return KTFileUtil::exists(path); }

} // namespace quilt::test
