#include "GuiTest.h"

#include "config/KTBundle.h"
#include "config/KTFileUtil.h"
#include "config/KTPlist.h"

#include <fcntl.h>
#include <gtk/gtk.h>
#include <libsoup/soup.h>
#include <webkit2/webkit2.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>

namespace quilt::test {

// ---------------------------------------------------------------- pages

HttpPage HttpPage::html(const std::string& title, const std::string& body)
{
    HttpPage p;
    p.body = "<!doctype html><html><head><meta charset=\"utf-8\"><title>" + title + "</title></head><body>" + body
        + "</body></html>";
    return p;
}

HttpPage HttpPage::bytes(const std::string& body, const std::string& contentType)
{
    HttpPage p;
    p.body = body;
    p.contentType = contentType;
    return p;
}

HttpPage HttpPage::solid(const std::string& colour, const std::string& title)
{
    HttpPage p;
    p.body = "<!doctype html><html><head><meta charset=\"utf-8\"><title>" + title
        + "</title><style>html,body{margin:0;height:100%;overflow:hidden;background:" + colour
        + "}</style></head><body></body></html>";
    return p;
}

// --------------------------------------------------------------- server

HttpServer::HttpServer()
{
    server_ = soup_server_new(nullptr, nullptr);
    GError* error = nullptr;
    if (!soup_server_listen_local(server_, 0, SOUP_SERVER_LISTEN_IPV4_ONLY, &error)) {
        ADD_FAILURE() << "test server: " << (error ? error->message : "cannot listen");
        g_clear_error(&error);
        return;
    }
    GSList* uris = soup_server_get_uris(server_);
    if (uris)
        port_ = static_cast<unsigned>(g_uri_get_port(static_cast<GUri*>(uris->data)));
    g_slist_free_full(uris, reinterpret_cast<GDestroyNotify>(g_uri_unref));
    soup_server_add_handler(server_, nullptr,
                            reinterpret_cast<SoupServerCallback>(+[](SoupServer* s, SoupServerMessage* m,
                                                                     const char* path, GHashTable* q, gpointer self) {
                                handle(s, m, path, q, self);
                            }),
                            this, nullptr);
}

HttpServer::~HttpServer()
{
    if (server_) {
        soup_server_disconnect(server_);
        g_object_unref(server_);
    }
}

void HttpServer::route(const std::string& path, HttpPage page) { pages_[path] = std::move(page); }

std::string HttpServer::url(const std::string& path) const
{
    return "http://127.0.0.1:" + std::to_string(port_) + path;
}

unsigned HttpServer::hits(const std::string& path) const
{
    unsigned n = 0;
    for (const auto& r : requests_)
        if (r.path == path)
            ++n;
    return n;
}

std::optional<HttpRequest> HttpServer::lastRequest(const std::string& path) const
{
    for (auto it = requests_.rbegin(); it != requests_.rend(); ++it)
        if (it->path == path)
            return *it;
    return std::nullopt;
}

void HttpServer::handle(SoupServer*, void* message, const char* path, void*, void* data)
{
    auto* self = static_cast<HttpServer*>(data);
    auto* msg = static_cast<SoupServerMessage*>(message);
    SoupMessageHeaders* in = soup_server_message_get_request_headers(msg);
    HttpRequest req;
    req.path = path ? path : "";
    const char* query = g_uri_get_query(soup_server_message_get_uri(msg));
    req.query = query ? query : "";
    const char* cookie = soup_message_headers_get_one(in, "Cookie");
    req.cookie = cookie ? cookie : "";
    const char* agent = soup_message_headers_get_one(in, "User-Agent");
    req.userAgent = agent ? agent : "";
    self->requests_.push_back(req);

    auto it = self->pages_.find(req.path);
    if (it == self->pages_.end()) {
        soup_server_message_set_status(msg, 404, nullptr);
        soup_server_message_set_response(msg, "text/plain", SOUP_MEMORY_COPY, "not found", 9);
        return;
    }
    const HttpPage& page = it->second;
    std::string body = page.make ? page.make(req) : page.body;
    SoupMessageHeaders* out = soup_server_message_get_response_headers(msg);
    soup_message_headers_append(out, "Cache-Control", "no-store");
    for (const auto& [name, value] : page.headers)
        soup_message_headers_append(out, name.c_str(), value.c_str());
    soup_server_message_set_status(msg, page.status, nullptr);
    soup_server_message_set_response(msg, page.contentType.c_str(), SOUP_MEMORY_COPY, body.data(), body.size());
    if (page.delay.count() > 0) {
        // A slow page: the answer is held back, the main loop keeps running.
        soup_server_message_pause(msg);
        g_object_ref(msg);
        g_timeout_add(static_cast<guint>(page.delay.count()), +[](gpointer m) -> gboolean {
            soup_server_message_unpause(static_cast<SoupServerMessage*>(m));
            g_object_unref(m);
            return G_SOURCE_REMOVE;
        }, msg);
    }
}

// ------------------------------------------------------------- waiting

void drainEvents()
{
    while (g_main_context_pending(nullptr))
        g_main_context_iteration(nullptr, FALSE);
}

bool waitUntil(const std::function<bool()>& cond, std::chrono::milliseconds timeout)
{
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    for (;;) {
        drainEvents();
        if (cond())
            return true;
        if (std::chrono::steady_clock::now() >= deadline)
            return false;
        // Block until something happens, but look again within 5 ms.
        bool fired = false;
        guint id = g_timeout_add(5, +[](gpointer f) -> gboolean {
            *static_cast<bool*>(f) = true;
            return G_SOURCE_REMOVE;
        }, &fired);
        g_main_context_iteration(nullptr, TRUE);
        if (!fired)
            g_source_remove(id);
    }
}

std::optional<std::string> evaluateScript(WebKitWebView* view, const std::string& script)
{
    struct Answer {
        bool done = false;
        std::optional<std::string> value;
    };
    // Shared with the callback: it may come after we stopped waiting.
    auto answer = std::make_shared<Answer>();
    webkit_web_view_evaluate_javascript(
        view, script.c_str(), -1, nullptr, nullptr, nullptr,
        +[](GObject* source, GAsyncResult* result, gpointer data) {
            std::unique_ptr<std::shared_ptr<Answer>> a(static_cast<std::shared_ptr<Answer>*>(data));
            GError* error = nullptr;
            JSCValue* v = webkit_web_view_evaluate_javascript_finish(WEBKIT_WEB_VIEW(source), result, &error);
            if (v) {
                char* text = jsc_value_to_string(v);
                (*a)->value = text ? text : "";
                g_free(text);
                g_object_unref(v);
            }
            g_clear_error(&error);
            (*a)->done = true;
        },
        new std::shared_ptr<Answer>(answer));
    waitUntil([&] { return answer->done; }, 5s);
    return answer->value;
}

std::string runCommand(const std::vector<std::string>& argv, int* status)
{
    std::vector<char*> args;
    for (const auto& a : argv)
        args.push_back(const_cast<char*>(a.c_str()));
    args.push_back(nullptr);
    gchar* out = nullptr;
    gint wait = -1;
    GError* error = nullptr;
    bool ok = g_spawn_sync(nullptr, args.data(), nullptr,
                           GSpawnFlags(G_SPAWN_SEARCH_PATH | G_SPAWN_STDERR_TO_DEV_NULL), nullptr, nullptr, &out,
                           nullptr, &wait, &error);
    g_clear_error(&error);
    if (status)
        *status = ok ? wait : -1;
    std::string result = out ? out : "";
    g_free(out);
    return result;
}

// ------------------------------------------------------------- fixture

void GuiTest::SetUp()
{
    const char* display = std::getenv("DISPLAY");
    if (!display || !*display)
        GTEST_SKIP() << "no DISPLAY: run inside tests/desktop-session";
    static bool gtkReady = gtk_init_check(nullptr, nullptr);
    if (!gtkReady)
        GTEST_SKIP() << "cannot open the display " << display;
    env = std::make_unique<TestEnvironment>();
    server = std::make_unique<HttpServer>();
}

void GuiTest::TearDown()
{
    drainEvents();
    server.reset();
    env.reset();
}

void GuiTest::copyResource(const std::string& name)
{
    // Set by ctest; the build's own path when the test is run by hand.
    const char* source = std::getenv("QUILT_SOURCE_DIR");
    if (!source)
        source = QUILT_TEST_SOURCE_DIR;
    auto data = KTFileUtil::read(std::string(source) + "/resources/bundle/" + name);
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

// ---------------------------------------------------------- app bundle

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
    std::string suffix = uniqueId_.substr(0, 8);
    bundleId_ = "org.quilt.e2e." + name + "_" + suffix;
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

// --------------------------------------------------------- app process

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
                                     +[](gpointer) { ::setpgid(0, 0); }, nullptr, &pid, nullFd, logFd, logFd,
                                     &error);
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
    if (!exited_) {
        ::kill(-pid_, SIGKILL);
        int st = 0;
        ::waitpid(pid_, &st, 0);
    } else {
        // The app is gone; its web processes follow it on their own, but
        // nothing of this test may outlive it.
        ::kill(-pid_, SIGKILL);
    }
}

void AppProcess::reap(int status)
{
    exited_ = true;
    status_ = status;
}

bool AppProcess::running()
{
    if (pid_ <= 0 || exited_)
        return false;
    int st = 0;
    pid_t r = ::waitpid(pid_, &st, WNOHANG);
    if (r == pid_)
        reap(st);
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

std::string AppProcess::log() const { return KTFileUtil::read(logPath_).value_or(std::string()); }

// -------------------------------------------------------------- windows

namespace {
std::string classPattern(const std::string& windowClass)
{
    std::string p = "^";
    for (char c : windowClass) {
        if (c == '.')
            p += "\\";
        p += c;
    }
    return p + "$";
}
} // namespace

std::vector<std::string> visibleWindows(const std::string& windowClass)
{
    std::string out
        = runCommand({"timeout", "5", "xdotool", "search", "--onlyvisible", "--class", classPattern(windowClass)});
    std::vector<std::string> ids;
    std::string line;
    for (char c : out) {
        if (c == '\n') {
            if (!line.empty())
                ids.push_back(line);
            line.clear();
        } else {
            line += c;
        }
    }
    if (!line.empty())
        ids.push_back(line);
    return ids;
}

bool typeKeys(const std::string& windowClass, const std::string& keys)
{
    auto windows = visibleWindows(windowClass);
    if (windows.empty())
        return false;
    int status = -1;
    runCommand({"timeout", "5", "xdotool", "windowactivate", "--sync", windows.front()}, &status);
    if (status != 0)
        return false;
    runCommand({"timeout", "5", "xdotool", "key", "--clearmodifiers", keys}, &status);
    return status == 0;
}

} // namespace quilt::test
