#include "GuiTest.h"

#include "core/config/KTBehaviorManager.h"
#include "core/config/KTBundle.h"
#include "core/config/KTFileUtil.h"
#include "core/config/KTPlist.h"
#include "core/config/KTSettingsManager.h"
#include "core/config/KTShared.h"
#include "core/web/KTWhiteListManager.h"
#include "ui/dialogs/KTDialogs.h"
#include "ui/windows/KTMainWindowController.h"
#include "web/KTContentBlocker.h"
#include "web/KTScriptMessageHandler.h"
#include "web/KTWebContext.h"
#include "web/KTWebManager.h"
#include "web/KTWebUIDelegate.h"

#include <fcntl.h>
#include <gdk/gdkx.h>
#include <gtk/gtk.h>
#include <libsoup/soup.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <webkit2/webkit2.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <sstream>

namespace quilt::test {

// ---------------------------------------------------------------- server

HttpPage HttpPage::html(const std::string& title, const std::string& body)
{
    return bytes("<!doctype html><html><head><meta charset=\"utf-8\"><title>" + title + "</title></head><body>" + body
                     + "</body></html>",
                 "text/html; charset=utf-8");
}

HttpPage HttpPage::bytes(const std::string& body, const std::string& contentType)
{
    HttpPage p;
    p.body = body;
    p.contentType = contentType;
    return p;
}

HttpPage HttpPage::redirect(const std::string& location)
{
    HttpPage p;
    p.status = 302;
    p.headers.emplace_back("Location", location);
    return p;
}

HttpServer::HttpServer()
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
        port_ = static_cast<unsigned>(g_uri_get_port(static_cast<GUri*>(uris->data)));
    g_slist_free_full(uris, reinterpret_cast<GDestroyNotify>(g_uri_unref));
}

HttpServer::~HttpServer()
{
    soup_server_disconnect(server_);
    g_object_unref(server_);
}

namespace {
bool matches(const HttpRequest& r, const std::string& key)
{
    return key == (key.front() == '/' ? r.path : r.host + r.path);
}
} // namespace

unsigned HttpServer::hits(const std::string& key) const
{
    return static_cast<unsigned>(
        std::count_if(requests_.begin(), requests_.end(), [&](const HttpRequest& r) { return matches(r, key); }));
}

std::optional<HttpRequest> HttpServer::last(const std::string& key) const
{
    for (auto it = requests_.rbegin(); it != requests_.rend(); ++it)
        if (matches(*it, key))
            return *it;
    return std::nullopt;
}

void HttpServer::onRequest(SoupServer*, SoupServerMessage* msg, const char* path, void*, void* data)
{
    auto* self = static_cast<HttpServer*>(data);
    SoupMessageHeaders* in = soup_server_message_get_request_headers(msg);
    auto header = [in](const char* name) {
        const char* v = soup_message_headers_get_one(in, name);
        return std::string(v ? v : "");
    };
    GUri* uri = soup_server_message_get_uri(msg);
    HttpRequest seen;
    // A proxy request carries the whole address; a direct one its Host.
    const char* host = g_uri_get_host(uri);
    seen.host = (host && std::string(host) != "127.0.0.1") ? host : header("Host");
    seen.path = path ? path : "";
    seen.query = g_uri_get_query(uri) ? g_uri_get_query(uri) : "";
    seen.cookie = header("Cookie");
    seen.userAgent = header("User-Agent");
    seen.authorization = header("Authorization");
    self->requests_.push_back(seen);

    for (const std::string& key : {seen.host + seen.path, seen.path})
        if (auto h = self->handlers_.find(key); h != self->handlers_.end() && h->second(msg, seen))
            return;
    auto it = self->pages_.find(seen.host + seen.path);
    if (it == self->pages_.end())
        it = self->pages_.find(seen.path);
    if (it == self->pages_.end()) {
        soup_server_message_set_status(msg, 404, nullptr);
        soup_server_message_set_response(msg, "text/plain", SOUP_MEMORY_COPY, "not found", 9);
        return;
    }
    const HttpPage& page = it->second;
    std::string body = page.make ? page.make(seen) : page.body;
    SoupMessageHeaders* out = soup_server_message_get_response_headers(msg);
    soup_message_headers_append(out, "Cache-Control", "no-store");
    for (const auto& [name, value] : page.headers)
        soup_message_headers_append(out, name.c_str(), value.c_str());
    soup_server_message_set_status(msg, page.status, nullptr);
    soup_server_message_set_response(msg, page.contentType.c_str(), SOUP_MEMORY_COPY, body.data(), body.size());
    if (page.delay.count() > 0) {
        // A slow page: the answer is held back, the main loop keeps running.
        soup_server_message_pause(msg);
        g_timeout_add(static_cast<guint>(page.delay.count()), +[](gpointer m) -> gboolean {
            soup_server_message_unpause(static_cast<SoupServerMessage*>(m));
            g_object_unref(m);
            return G_SOURCE_REMOVE;
        }, g_object_ref(msg));
    }
}

// --------------------------------------------------------------- waiting

void drainEvents()
{
    for (int i = 0; i < 1000 && g_main_context_pending(nullptr); ++i)
        g_main_context_iteration(nullptr, FALSE);
}

// --------------------------------------------------------------- fixture

namespace {
// The web layer's process-wide objects, users before what they use: the
// downloads and sessions, the page scripts, the rule list, then the WebKit
// session itself. Pages and windows must be gone.
void resetWebLayer()
{
    KTShared<KTWebManager>::reset();
    KTShared<KTScriptMessageHandler>::reset();
    KTShared<KTContentBlocker>::reset();
    KTShared<KTWebContext>::reset();
}
} // namespace

void GuiTest::SetUp()
{
    // The private world first: the WebKit session is made in it.
    env = std::make_unique<TestEnvironment>();
    const char* display = std::getenv("DISPLAY");
    if (!display || !*display || !gtk_init_check(nullptr, nullptr))
        GTEST_SKIP() << "no display: run inside tests/desktop-session";
    KTDialogs::install();
    // The test bundle carries the web process extension as a made app does.
    const std::string extensions = KTWebContext::webExtensionsFolder(env->bundlePath());
    std::string error;
    EXPECT_TRUE(KTFileUtil::makeDirectories(KTFileUtil::parentFolder(extensions), &error)
                && KTFileUtil::copyTree(KTWebContext::webExtensionsFolder(AppBundle::templatePath()), extensions, &error))
        << error;
    server = std::make_unique<HttpServer>();
    for (const char* title : {"One", "Two", "Three", "Home"}) {
        std::string path = std::string("/") + title;
        std::transform(path.begin(), path.end(), path.begin(), ::tolower);
        server->route(path, HttpPage::html(title));
    }
    server->route("/title", HttpPage::html("Hello page"));
    server->route("/untitled", HttpPage::html(""));
}

void GuiTest::TearDown()
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
    KTWebUIDelegate::setShared(nullptr);
    resetWebLayer();
    server.reset();
    env.reset();
}

void GuiTest::copyResource(const std::string& name)
{
    // Set by ctest; the build's own path when the test is run by hand.
    const char* source = std::getenv("QUILT_SOURCE_DIR");
    auto data = KTFileUtil::read(std::string(source ? source : QUILT_TEST_SOURCE_DIR) + "/resources/bundle/" + name);
    ASSERT_TRUE(data) << name;
    writeResource(name, *data);
}

void GuiTest::writeResource(const std::string& name, const std::string& content)
{
    env->writeFile(env->bundlePath() + "/Contents/Resources/" + name, content);
}

void GuiTest::writeDataFile(const std::string& name, const KTJson& json)
{
    env->writeFile(env->dataFolder() + name, json::compact(json));
}

KTMainWindowController* GuiTest::newWindow(bool sized)
{
    KTMainWindowController* c = KTMainWindowController::create();
    if (sized)
        gtk_window_resize(c->window().window(), 1000, 700);
    c->showWindow();
    return c;
}

KTWebViewController* GuiTest::pageOf(KTMainWindowController* window, size_t tab)
{
    return window ? window->tabController()->pageAt(tab) : nullptr;
}

bool GuiTest::waitShown(KTWebViewController* page, const std::string& url)
{
    return waitUntil([&] { return page->url() == url && !page->isLoading(); });
}

bool GuiTest::loadAndWait(KTWebViewController* page, const std::string& url)
{
    page->loadRequest(url);
    return waitShown(page, url);
}

bool GuiTest::waitLoaded(KTWebViewController* page, const std::string& url)
{
    return waitUntil([&] { return page && page->url() == url && !page->isLoading() && !page->title().empty(); });
}

std::string GuiTest::runJs(KTWebViewController* page, const std::string& script)
{
    // Shared with the callback: it may come after we stopped waiting.
    auto result = std::make_shared<std::optional<std::string>>();
    webkit_web_view_evaluate_javascript(
        page->webview(), script.c_str(), -1, nullptr, nullptr, nullptr,
        [](GObject* source, GAsyncResult* res, gpointer data) {
            std::unique_ptr<std::shared_ptr<std::optional<std::string>>> r(
                static_cast<std::shared_ptr<std::optional<std::string>>*>(data));
            GError* error = nullptr;
            JSCValue* value = webkit_web_view_evaluate_javascript_finish(WEBKIT_WEB_VIEW(source), res, &error);
            std::string text;
            if (value && !jsc_value_is_undefined(value) && !jsc_value_is_null(value)) {
                char* s = jsc_value_to_string(value);
                text = s ? s : "";
                g_free(s);
            }
            if (value)
                g_object_unref(value);
            g_clear_error(&error);
            **r = text;
        },
        new std::shared_ptr<std::optional<std::string>>(result));
    waitUntil([&] { return result->has_value(); });
    return result->value_or("");
}

namespace {
// xdotool arguments that move the pointer to (x, y) and wait until it is
// there. "mousemove --sync" waits for a motion, which never comes when the
// pointer is already in place: a step beside it first.
std::vector<std::string> pointerTo(int x, int y)
{
    return {"xdotool", "mousemove", std::to_string(x + 1), std::to_string(y),
            "mousemove", "--sync", std::to_string(x), std::to_string(y)};
}
} // namespace

bool GuiTest::clickElement(KTWebViewController* page, const std::string& selector,
                           const std::vector<std::string>& modifiers, int button)
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
    std::vector<std::string> args = pointerTo(ox + x, oy + y);
    for (auto& m : modifiers)
        args.insert(args.end(), {"keydown", m});
    args.insert(args.end(), {"click", std::to_string(button)});
    for (auto it = modifiers.rbegin(); it != modifiers.rend(); ++it)
        args.insert(args.end(), {"keyup", *it});
    return runProgram(args, 5s).exitCode == 0;
}

bool clickWidget(GtkWidget* widget, int button)
{
    if (!waitUntil([&] { return gtk_widget_get_mapped(widget) && gtk_widget_get_allocated_width(widget) > 1; }))
        return false;
    int ox = 0, oy = 0;
    gdk_window_get_origin(gtk_widget_get_window(widget), &ox, &oy);
    GtkAllocation a;
    gtk_widget_get_allocation(widget, &a);
    if (!gtk_widget_get_has_window(widget)) {
        ox += a.x;
        oy += a.y;
    }
    std::vector<std::string> args = pointerTo(ox + a.width / 2, oy + a.height / 2);
    args.insert(args.end(), {"click", std::to_string(button)});
    return runProgram(args, 5s).exitCode == 0;
}

std::string xidOf(GtkWidget* window)
{
    GdkWindow* w = gtk_widget_get_window(gtk_widget_get_toplevel(window));
    return w ? std::to_string(gdk_x11_window_get_xid(w)) : "";
}

bool xdotoolIn(GtkWidget* widget, const std::vector<std::string>& args)
{
    std::string xid = xidOf(widget);
    GtkWindow* window = GTK_WINDOW(gtk_widget_get_toplevel(widget));
    // Not --sync: the window takes the focus through this process's main
    // loop, which must run meanwhile.
    if (!gtk_window_is_active(window)
        && (xid.empty() || runProgram({"xdotool", "windowactivate", xid}, 5s).exitCode != 0
            || !waitUntil([&] { return gtk_window_is_active(window); }, 5s)))
        return false;
    std::vector<std::string> argv = {"xdotool"};
    argv.insert(argv.end(), args.begin(), args.end());
    return runProgram(argv, 10s).exitCode == 0;
}

std::vector<GtkWidget*> poppedUpMenuItems()
{
    std::vector<GtkWidget*> items;
    GList* tops = gtk_window_list_toplevels();
    for (GList* l = tops; l; l = l->next) {
        GtkWidget* w = GTK_WIDGET(l->data);
        if (!gtk_widget_get_mapped(w) || gtk_window_get_window_type(GTK_WINDOW(w)) != GTK_WINDOW_POPUP)
            continue;
        GtkWidget* child = gtk_bin_get_child(GTK_BIN(w));
        if (!child || !GTK_IS_MENU(child))
            continue;
        items.clear(); // the innermost (last mapped) menu wins
        GList* kids = gtk_container_get_children(GTK_CONTAINER(child));
        for (GList* k = kids; k; k = k->next)
            if (gtk_widget_get_visible(GTK_WIDGET(k->data)) && !GTK_IS_SEPARATOR_MENU_ITEM(k->data))
                items.push_back(GTK_WIDGET(k->data));
        g_list_free(kids);
    }
    g_list_free(tops);
    return items;
}

std::string menuItemText(GtkWidget* item)
{
    const char* label = gtk_menu_item_get_label(GTK_MENU_ITEM(item));
    std::string text = label ? label : "";
    std::erase(text, '_');
    return text;
}

GtkWidget* findWindow(const std::function<bool(GtkWidget*)>& match)
{
    GtkWidget* found = nullptr;
    GList* tops = gtk_window_list_toplevels();
    for (GList* l = tops; l && !found; l = l->next)
        if (gtk_widget_get_visible(GTK_WIDGET(l->data)) && match(GTK_WIDGET(l->data)))
            found = GTK_WIDGET(l->data);
    g_list_free(tops);
    return found;
}

GtkWidget* findChild(GtkWidget* root, const std::function<bool(GtkWidget*)>& match)
{
    if (match(root))
        return root;
    GtkWidget* found = nullptr;
    if (GTK_IS_CONTAINER(root)) {
        GList* kids = gtk_container_get_children(GTK_CONTAINER(root));
        for (GList* l = kids; l && !found; l = l->next)
            found = findChild(GTK_WIDGET(l->data), match);
        g_list_free(kids);
    }
    return found;
}

std::string textOf(GtkWidget* dialog, const char* property)
{
    gchar* t = nullptr;
    g_object_get(dialog, property, &t, nullptr);
    std::string text = t ? t : "";
    g_free(t);
    return text;
}

std::vector<std::string> dialogButtons(GtkWidget* dialog)
{
    std::vector<std::string> labels;
    GtkWidget* button = nullptr;
    for (int response : {GTK_RESPONSE_CANCEL, GTK_RESPONSE_ACCEPT, GTK_RESPONSE_OK})
        if (!button)
            button = gtk_dialog_get_widget_for_response(GTK_DIALOG(dialog), response);
    if (!button)
        return labels;
    GList* children = gtk_container_get_children(GTK_CONTAINER(gtk_widget_get_parent(button)));
    for (GList* l = children; l; l = l->next)
        if (GTK_IS_BUTTON(l->data))
            labels.emplace_back(gtk_button_get_label(GTK_BUTTON(l->data)));
    g_list_free(children);
    return labels;
}

GtkWidget* GuiTest::findMessageDialog(const std::string& text) const
{
    return findWindow([&](GtkWidget* w) { return GTK_IS_MESSAGE_DIALOG(w) && textOf(w) == text; });
}

GtkWidget* GuiTest::waitForMessageDialog(const std::string& text)
{
    GtkWidget* found = nullptr;
    waitUntil([&] { return (found = findMessageDialog(text)) != nullptr; });
    return found;
}

GtkWidget* GuiTest::findSaveDialog() const
{
    return findWindow([](GtkWidget* w) { return GTK_IS_FILE_CHOOSER_DIALOG(w); });
}

GtkWidget* GuiTest::waitForSaveDialog()
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

void GuiTest::answerSaveDialog(GtkWidget* dialog, const std::optional<std::string>& path)
{
    if (path) {
        GtkFileChooser* chooser = GTK_FILE_CHOOSER(dialog);
        gtk_file_chooser_set_current_folder(chooser, KTFileUtil::parentFolder(*path).c_str());
        gtk_file_chooser_set_current_name(chooser, KTFileUtil::lastComponent(*path).c_str());
    }
    gtk_button_clicked(GTK_BUTTON(
        gtk_dialog_get_widget_for_response(GTK_DIALOG(dialog), path ? GTK_RESPONSE_ACCEPT : GTK_RESPONSE_CANCEL)));
}

std::string GuiTest::readFile(const std::string& path) { return KTFileUtil::read(path).value_or(""); }
bool GuiTest::exists(const std::string& path) { return KTFileUtil::exists(path); }

KTJson GuiTest::restoredUrls(const KTJson& restore)
{
    KTJson out = KTJson::array();
    for (int i = 0; const KTJson* w = json::lookup(restore, "window" + std::to_string(i)); ++i)
        out.push_back(json::lookup(*w, "url") ? (*w)["url"] : KTJson());
    return out;
}

// ------------------------------------------------------- policy fixture

namespace {
void writeText(const std::string& path, const std::string& text, bool executable = false)
{
    KTFileUtil::makeDirectories(KTFileUtil::parentFolder(path));
    KTFileUtil::writeAtomically(path, text);
    if (executable)
        ::chmod(path.c_str(), 0755);
}
} // namespace

void PolicyTest::SetUp()
{
    GuiTest::SetUp();
    if (IsSkipped())
        return;
    // Recorders: each desktop entry's program appends its arguments to a log.
    const std::string apps = env->home() + "/.local/share/applications/";
    struct Recorder {
        const char *id, *name, *log, *types;
    };
    const Recorder recorders[] = {
        {"quilt-test-browser", "Test Browser", "browser", "x-scheme-handler/http;x-scheme-handler/https;"},
        {"quilt-test-handler", "Quilt Test Handler", "scheme", "x-scheme-handler/quilttest;"},
        {"quilt-test-viewer", "Test Viewer", "files", "text/plain;application/pdf;"},
        {"quilt-test-folders", "Test Folders", "folders", "inode/directory;"},
    };
    std::string defaults = "[Default Applications]\n";
    for (const Recorder& r : recorders) {
        const std::string script = env->root() + "/records/" + r.log + ".sh";
        writeText(script,
                  "#!/bin/sh\nfor a in \"$@\"; do printf '%s\\n' \"$a\" >> '" + env->root() + "/records/" + r.log
                      + ".log'; done\n",
                  true);
        writeText(apps + r.id + ".desktop", std::string("[Desktop Entry]\nType=Application\nName=") + r.name
                                                + "\nExec=" + script + " %u\nMimeType=" + r.types
                                                + "\nNoDisplay=true\n");
        std::istringstream types(r.types);
        for (std::string type; std::getline(types, type, ';');)
            defaults += type + "=" + r.id + ".desktop\n";
    }
    writeText(env->home() + "/.config/mimeapps.list", defaults);
    KTFileUtil::makeDirectories(downloadsFolder());
    // As the creation tool writes it for a new app: scripts on, pages may
    // open windows ("blockPopupWindoww" is passed to WebKit as it stands).
    writeDataFile("settings.json",
                  {{"enableJavaScript", true}, {"blockPopupWindoww", true}, {"downloads", downloadsFolder()}});
    KTShared<KTSettingsManager>::reset();
    WebKitNetworkProxySettings* proxy = webkit_network_proxy_settings_new(server->proxyUrl().c_str(), nullptr);
    webkit_website_data_manager_set_network_proxy_settings(KTWebContext::shared().dataManager(),
                                                           WEBKIT_NETWORK_PROXY_MODE_CUSTOM, proxy);
    webkit_network_proxy_settings_free(proxy);
}

std::vector<std::string> PolicyTest::recorded(const std::string& name) const
{
    std::vector<std::string> lines;
    std::istringstream in(readFile(env->root() + "/records/" + name + ".log"));
    for (std::string line; std::getline(in, line);)
        lines.push_back(line);
    return lines;
}

bool PolicyTest::waitForBrowserUrl(const std::string& url)
{
    return waitUntil([&] {
        auto urls = browserUrls();
        return std::find(urls.begin(), urls.end(), url) != urls.end();
    });
}

void PolicyTest::writeAllowList(bool allowAll, bool allowPatterns, const std::vector<std::string>& patterns,
                                bool allowSubdomains)
{
    writeDataFile("whitelist.json", {{"allowAll", allowAll},
                                     {"allowPatterns", allowPatterns},
                                     {"pattern", patterns},
                                     {"allowSubdomains", allowSubdomains}});
    KTShared<KTWhiteListManager>::reset();
}

// ------------------------------------------------------------ real app

std::string AppBundle::templatePath()
{
    const char* build = std::getenv("QUILT_BUILD_DIR");
    return std::string(build ? build : QUILT_TEST_BUILD_DIR) + "/DefaultApp.app";
}

AppBundle::AppBundle(const std::string& folder, const std::string& name)
{
    path_ = folder + "/" + name + ".app";
    std::string error;
    EXPECT_TRUE(KTFileUtil::copyTree(templatePath(), path_, &error)) << error;
    char* uuid = g_uuid_string_random();
    uniqueId_ = uuid;
    g_free(uuid);
    // A fresh application id per copy: parallel tests never meet on the bus.
    bundleId_ = "org.quilt.e2e." + name + "_" + uniqueId_.substr(0, 8);
    KTJson info = KTPlist::readFile(path_ + "/Contents/Info.plist").value_or(KTJson::object());
    info["CFBundleName"] = name;
    info["CFBundleIdentifier"] = bundleId_;
    EXPECT_TRUE(KTPlist::writeFile(path_ + "/Contents/Info.plist", info));
    EXPECT_TRUE(KTBundle::writeUniqueIdentifier(path_, uniqueId_));
}

std::string AppBundle::dataFolder() const
{
    const char* data = std::getenv("XDG_DATA_HOME");
    return std::string(data ? data : "") + "/Quilt/" + uniqueId_ + "/";
}

void AppBundle::writeDataFile(const std::string& name, const KTJson& json) const
{
    KTFileUtil::makeDirectories(dataFolder());
    EXPECT_TRUE(KTFileUtil::writeAtomically(dataFolder() + name, json::compact(json)));
}

KTJson AppBundle::readDataFile(const std::string& name) const
{
    auto parsed = json::parse(KTFileUtil::read(dataFolder() + name).value_or(std::string()));
    return parsed ? *parsed : KTJson();
}

AppProcess::AppProcess(const AppBundle& bundle, const std::vector<std::string>& args, const std::string& logPath)
    : logPath_(logPath)
{
    std::vector<std::string> argv {bundle.executable()};
    argv.insert(argv.end(), args.begin(), args.end());
    std::vector<char*> cargs;
    for (auto& a : argv)
        cargs.push_back(a.data());
    cargs.push_back(nullptr);
    int logFd = ::open(logPath.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    int nullFd = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    GError* error = nullptr;
    GPid pid = 0;
    // Its own process group, so the web processes it starts go with it.
    bool ok = g_spawn_async_with_fds(nullptr, cargs.data(), nullptr, G_SPAWN_DO_NOT_REAP_CHILD,
                                     +[](gpointer) { ::setpgid(0, 0); }, nullptr, &pid, nullFd, logFd, logFd, &error);
    if (!ok)
        ADD_FAILURE() << "cannot start " << argv[0] << ": " << (error ? error->message : "");
    g_clear_error(&error);
    ::close(logFd);
    ::close(nullFd);
    pid_ = ok ? pid : -1;
}

AppProcess::~AppProcess()
{
    if (pid_ <= 0)
        return;
    // Nothing of this test may outlive it, web processes included.
    ::kill(-pid_, SIGKILL);
    if (!exited_)
        ::waitpid(pid_, nullptr, 0);
}

bool AppProcess::running()
{
    if (pid_ <= 0 || exited_)
        return false;
    if (::waitpid(pid_, &status_, WNOHANG) == pid_)
        exited_ = true;
    return !exited_;
}

bool AppProcess::waitExit(std::chrono::milliseconds timeout, int* status)
{
    bool done = waitUntil([this] { return !running(); }, timeout);
    if (done && status)
        *status = status_;
    return done;
}

void AppProcess::signal(int sig)
{
    if (running())
        ::kill(pid_, sig);
}

std::string AppProcess::log() const { return KTFileUtil::read(logPath_).value_or(""); }

void RealAppTest::SetUp()
{
    PolicyTest::SetUp();
    if (IsSkipped())
        return;
    if (!std::getenv("DBUS_SESSION_BUS_ADDRESS"))
        GTEST_SKIP() << "no D-Bus session: run inside tests/desktop-session";
    if (!KTFileUtil::exists(AppBundle::templatePath() + "/Contents/MacOS/DefaultApp"))
        GTEST_SKIP() << "no template bundle at " << AppBundle::templatePath();
}

void RealAppTest::TearDown()
{
    if (HasFailure())
        for (auto& p : processes)
            std::cerr << "---- app log ----\n" << p->log() << "\n";
    processes.clear();
    PolicyTest::TearDown();
}

AppProcess& RealAppTest::launch(const AppBundle& app, const std::vector<std::string>& args)
{
    std::string log = env->root() + "/app-" + std::to_string(processes.size()) + ".log";
    processes.push_back(std::make_unique<AppProcess>(app, args, log));
    return *processes.back();
}

bool RealAppTest::waitWindows(const AppBundle& app, size_t n, std::chrono::milliseconds timeout)
{
    return waitUntil([&] { return visibleWindows(app.bundleIdentifier()).size() == n; }, timeout);
}

std::string activeWindow()
{
    auto lines = runProgram({"xdotool", "getactivewindow"}, 5s).outLines();
    return lines.empty() ? std::string() : lines.front();
}

GtkWidget* focusOtherWindow()
{
    GtkWidget* other = gtk_window_new(GTK_WINDOW_TOPLEVEL);
    gtk_window_set_title(GTK_WINDOW(other), "Elsewhere");
    gtk_window_set_default_size(GTK_WINDOW(other), 900, 700);
    gtk_widget_show(other);
    EXPECT_TRUE(waitUntil([&] { return gtk_widget_get_mapped(other); }));
    // xdotoolIn activates the window first.
    EXPECT_TRUE(xdotoolIn(other, {"sleep", "0"}) && waitUntil([&] { return activeWindow() == xidOf(other); }))
        << "the other window is not in front";
    return other;
}

std::vector<std::string> visibleWindows(const std::string& windowClass)
{
    std::string pattern = "^";
    for (char c : windowClass)
        pattern += (c == '.' ? std::string("\\.") : std::string(1, c));
    auto ids = runProgram({"xdotool", "search", "--onlyvisible", "--class", pattern + "$"}, 5s).outLines();
    std::erase(ids, "");
    return ids;
}

bool typeKeys(const std::string& windowClass, const std::string& keys)
{
    auto windows = visibleWindows(windowClass);
    return !windows.empty()
        && runProgram({"xdotool", "windowactivate", "--sync", windows.front()}, 5s).exitCode == 0
        && runProgram({"xdotool", "key", "--clearmodifiers", keys}, 5s).exitCode == 0;
}

} // namespace quilt::test
