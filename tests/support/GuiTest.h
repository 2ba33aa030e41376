#pragma once

// Support of the GUI tests: a real HTTP server on 127.0.0.1 (also the HTTP
// proxy for any host name), waiting on conditions while the GLib main loop
// runs, real main windows and pages, recorder desktop entries, and the real
// DefaultApp run as a separate process.

#include "TestEnvironment.h"
#include "core/config/KTJson.h"

#include <gtest/gtest.h>
#include <sys/types.h>

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

typedef struct _SoupServer SoupServer;
typedef struct _SoupServerMessage SoupServerMessage;
typedef struct _GtkWidget GtkWidget;

namespace quilt {
class KTMainWindowController;
class KTWebViewController;
}

namespace quilt::test {

using namespace std::chrono_literals;

// What the server saw of one request.
struct HttpRequest {
    std::string host, path, query, cookie, userAgent, authorization;
};

// One answer of the server; `make` builds the body from the request.
struct HttpPage {
    std::string body;
    std::string contentType = "text/html; charset=utf-8";
    unsigned status = 200;
    std::vector<std::pair<std::string, std::string>> headers;
    std::chrono::milliseconds delay {0}; // a slow page answers this late
    std::function<std::string(const HttpRequest&)> make;

    static HttpPage html(const std::string& title, const std::string& body = "");
    static HttpPage bytes(const std::string& body, const std::string& contentType);
    static HttpPage redirect(const std::string& location);
};

// A SoupServer on a free port of 127.0.0.1. Routes are "/path" (any host)
// or "host/path" (as reached through the proxy); a raw handler can take
// over a request (streaming, holding the answer back).
class HttpServer {
public:
    // True when the handler answered (or paused) the message.
    using Handler = std::function<bool(SoupServerMessage* msg, const HttpRequest& request)>;

    HttpServer();
    ~HttpServer();
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;

    void route(const std::string& key, HttpPage page) { pages_[key] = std::move(page); }
    void handle(const std::string& key, Handler handler) { handlers_[key] = std::move(handler); }
    std::string url(const std::string& path) const { return proxyUrl() + path; }
    KTJson urls(std::initializer_list<const char*> paths) const
    {
        KTJson out = KTJson::array();
        for (const char* p : paths)
            out.push_back(url(p));
        return out;
    }
    std::string proxyUrl() const { return "http://127.0.0.1:" + std::to_string(port_); }
    unsigned port() const { return port_; }

    unsigned hits(const std::string& key) const;
    const std::vector<HttpRequest>& requests() const { return requests_; }
    std::optional<HttpRequest> last(const std::string& key) const;

private:
    static void onRequest(SoupServer*, SoupServerMessage* msg, const char* path, void* query, void* self);

    SoupServer* server_ = nullptr;
    unsigned port_ = 0;
    std::map<std::string, HttpPage> pages_;
    std::map<std::string, Handler> handlers_;
    std::vector<HttpRequest> requests_;
};

// Lets pending main-loop work run (idle callbacks, deferred closes).
void drainEvents();

// Skips without a display; a private world (TestEnvironment), the real
// dialogs (KTDialogs) and an HTTP server per test; windows made by the test
// closed as their close button would close them, then the web layer's
// process-wide objects (WebKit session, rule list, downloads) made afresh.
class GuiTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    // Copies a file of resources/bundle into the test bundle's resources.
    void copyResource(const std::string& name);
    void writeResource(const std::string& name, const std::string& content);
    // Writes a data-folder JSON file before its store is first used.
    void writeDataFile(const std::string& name, const KTJson& json);

    // A main window, shown, with its first (empty) page; a browser's size
    // when `sized` (the application is not there to give it one).
    KTMainWindowController* newWindow(bool sized = false);
    KTWebViewController* pageOf(KTMainWindowController* window, size_t tab = 0);
    bool waitShown(KTWebViewController* page, const std::string& url);
    bool loadAndWait(KTWebViewController* page, const std::string& url);
    // Shown, stopped loading and titled.
    bool waitLoaded(KTWebViewController* page, const std::string& url);
    // JavaScript in the main frame; the result as text ("" for null, on error).
    std::string runJs(KTWebViewController* page, const std::string& script);
    // A real click (X input) on the element's centre with modifiers held.
    bool clickElement(KTWebViewController* page, const std::string& selector,
                      const std::vector<std::string>& modifiers = {}, int button = 1);

    GtkWidget* findMessageDialog(const std::string& text) const;
    GtkWidget* waitForMessageDialog(const std::string& text);
    GtkWidget* findSaveDialog() const;
    GtkWidget* waitForSaveDialog();
    // Saves under `path` as the user would, or cancels (nullopt).
    void answerSaveDialog(GtkWidget* dialog, const std::optional<std::string>& path);

    static std::string readFile(const std::string& path);
    static bool exists(const std::string& path);
    // The "url" lists of a restore file's "window0", "window1", ... records.
    static KTJson restoredUrls(const KTJson& restore);

    std::unique_ptr<TestEnvironment> env;
    std::unique_ptr<HttpServer> server;
};

// Pages reach every host name through the server as proxy; the default
// browser and the handlers of a test scheme, text files and folders are
// recorder desktop entries.
class PolicyTest : public GuiTest {
protected:
    void SetUp() override;

    std::vector<std::string> browserUrls() const { return recorded("browser"); }
    std::vector<std::string> schemeHandlerUrls() const { return recorded("scheme"); }
    std::vector<std::string> openedFiles() const { return recorded("files"); }
    std::vector<std::string> openedFolders() const { return recorded("folders"); }
    bool waitForBrowserUrl(const std::string& url);

    // The allow-list as the preferences would write it, loaded afresh.
    void writeAllowList(bool allowAll, bool allowPatterns, const std::vector<std::string>& patterns,
                        bool allowSubdomains = false);
    std::string downloadsFolder() const { return env->root() + "/downloads"; }
    // A shown main window and its first page, kept in window and page.
    void openWindow()
    {
        window = newWindow(true);
        page = pageOf(window);
    }

    KTMainWindowController* window = nullptr;
    KTWebViewController* page = nullptr;

private:
    std::vector<std::string> recorded(const std::string& name) const;
};

// A copy of the build's template bundle with its own name, bundle
// identifier (the application id, hence the window class) and unique id.
class AppBundle {
public:
    AppBundle(const std::string& folder, const std::string& name);

    static std::string templatePath();
    const std::string& path() const { return path_; }
    const std::string& bundleIdentifier() const { return bundleId_; }
    const std::string& uniqueId() const { return uniqueId_; }
    std::string executable() const { return path_ + "/Contents/MacOS/DefaultApp"; }
    std::string dataFolder() const; // under the current $XDG_DATA_HOME
    void writeDataFile(const std::string& name, const KTJson& json) const;
    KTJson readDataFile(const std::string& name) const;

private:
    std::string path_, bundleId_, uniqueId_;
};

// The real app as a child process in its own process group, output in a
// log file; killed with its web processes if still running at the end.
class AppProcess {
public:
    AppProcess(const AppBundle& bundle, const std::vector<std::string>& args, const std::string& logPath);
    ~AppProcess();
    AppProcess(const AppProcess&) = delete;
    AppProcess& operator=(const AppProcess&) = delete;

    pid_t pid() const { return pid_; }
    bool running();
    bool waitExit(std::chrono::milliseconds timeout, int* status = nullptr);
    void signal(int sig);
    std::string log() const;

private:
    pid_t pid_ = -1;
    bool exited_ = false;
    int status_ = 0;
    std::string logPath_;
};

// Real DefaultApp processes started from copies of the template bundle;
// skips without a session bus or a built template. The apps' logs are
// printed when a test fails.
class RealAppTest : public PolicyTest {
protected:
    void SetUp() override;
    void TearDown() override;

    AppProcess& launch(const AppBundle& app, const std::vector<std::string>& args = {});
    // `n` of the app's windows are visible.
    static bool waitWindows(const AppBundle& app, size_t n, std::chrono::milliseconds timeout = 20s);

    std::vector<std::unique_ptr<AppProcess>> processes;
};

// The first visible top-level GTK window of this process that `match` takes.
GtkWidget* findWindow(const std::function<bool(GtkWidget*)>& match);
// Depth first: the first widget under `root`, itself included, that `match` takes.
GtkWidget* findChild(GtkWidget* root, const std::function<bool(GtkWidget*)>& match);
// A string property of a widget ("text", "secondary-text" of a message dialog).
std::string textOf(GtkWidget* dialog, const char* property = "text");
// A dialog's button labels, left to right as they show.
std::vector<std::string> dialogButtons(GtkWidget* dialog);

// A real click (X input) on the middle of a shown widget.
bool clickWidget(GtkWidget* widget, int button = 1);
// Activates the widget's window, then runs `xdotool <args...>` (key, type).
bool xdotoolIn(GtkWidget* widget, const std::vector<std::string>& args);
// The items of the menu that is popped up now (a context menu, an open
// menu of a menu bar), in order; none when no menu is up.
std::vector<GtkWidget*> poppedUpMenuItems();
// A menu item's text without its mnemonic underscores.
std::string menuItemText(GtkWidget* item);
// The X window id of a top-level window, as xdotool names it.
std::string xidOf(GtkWidget* window);

// The active window's X id as xdotool names it; "" when none is.
std::string activeWindow();
// Another program's window, as a person switches to one: shown and active.
// The caller destroys it.
GtkWidget* focusOtherWindow();

// Visible top-level windows whose class is the bundle identifier.
std::vector<std::string> visibleWindows(const std::string& windowClass);
// Activates the first such window and types a key combination into it.
bool typeKeys(const std::string& windowClass, const std::string& keys);

} // namespace quilt::test
