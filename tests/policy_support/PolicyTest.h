#pragma once

// Fixture of the tests of the policy glue and the downloads: real main
// windows with real WebKitGTK pages, a SoupServer on 127.0.0.1 that the
// app's WebKit session uses as its HTTP proxy (so any host name, a.x.y or
// b.other, reaches it), and real desktop entries registered as the default
// browser and as handlers of a test scheme, text files and folders, whose
// programs record what they are given.

#include "TestEnvironment.h"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

typedef struct _SoupServer SoupServer;
typedef struct _SoupServerMessage SoupServerMessage;
typedef struct _WebKitWebView WebKitWebView;
typedef struct _GtkWidget GtkWidget;
typedef struct _GtkWindow GtkWindow;

namespace quilt {
class KTMainWindowController;
class KTWebViewController;
}

namespace quilt::test {

using namespace std::chrono_literals;

// What the server saw of one request.
struct SeenRequest {
    std::string host;
    std::string path;
    std::string userAgent;
    std::string authorization;
};

// One answer of the server.
struct Reply {
    unsigned status = 200;
    std::string contentType = "text/html; charset=utf-8";
    std::string body;
    std::vector<std::pair<std::string, std::string>> headers;

    static Reply html(const std::string& body);
    static Reply redirect(const std::string& location);
};

// The web as the app sees it: every host name, answered by one SoupServer
// on 127.0.0.1 acting as the session's HTTP proxy. Routes are "host/path"
// ("a.x.y/page"); a raw handler can take over a request (streaming, holding
// the answer back).
class WebServer {
public:
    // True when the handler answered (or paused) the message.
    using Handler = std::function<bool(SoupServerMessage* msg, const SeenRequest& request)>;

    WebServer();
    ~WebServer();
    WebServer(const WebServer&) = delete;
    WebServer& operator=(const WebServer&) = delete;

    void route(const std::string& hostAndPath, Reply reply);
    void handle(const std::string& hostAndPath, Handler handler);
    unsigned port() const { return port_; }
    std::string proxyUrl() const;

    unsigned hits(const std::string& hostAndPath) const;
    const std::vector<SeenRequest>& requests() const { return requests_; }
    std::optional<SeenRequest> last(const std::string& hostAndPath) const;

private:
    static void onRequest(SoupServer*, SoupServerMessage* msg, const char* path, void* query, void* self);

    SoupServer* server_ = nullptr;
    unsigned port_ = 0;
    std::map<std::string, Reply> replies_;
    std::map<std::string, Handler> handlers_;
    std::vector<SeenRequest> requests_;
};

// Runs the main loop until cond() holds or the deadline passes.
bool waitUntil(const std::function<bool()>& cond, std::chrono::milliseconds timeout = 15s);
// Lets pending main-loop work run (idle callbacks, deferred closes).
void drainEvents();

class PolicyTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    std::unique_ptr<TestEnvironment> env;
    std::unique_ptr<WebServer> server;

    // A main window, shown, with its first (empty) page.
    KTMainWindowController* newWindow();
    KTWebViewController* pageOf(KTMainWindowController* window, size_t tab = 0);
    // Loads and waits until the page shows url and stopped loading.
    bool loadAndWait(KTWebViewController* page, const std::string& url);
    bool waitShown(KTWebViewController* page, const std::string& url);

    // JavaScript in the page's main frame; the result as text ("" on error).
    std::string runJs(KTWebViewController* page, const std::string& script);
    // A real click (X input) on the element's centre, with modifier keys
    // ("ctrl", "shift") held.
    bool clickElement(KTWebViewController* page, const std::string& selector,
                      const std::vector<std::string>& modifiers = {});

    // What the recording applications were given, one line per argument.
    std::vector<std::string> browserUrls() const;
    std::vector<std::string> schemeHandlerUrls() const;
    std::vector<std::string> openedFiles() const;
    std::vector<std::string> openedFolders() const;
    bool waitForBrowserUrl(const std::string& url);

    // The allow-list as the preferences would write it, loaded afresh.
    void writeAllowList(bool allowAll, bool allowPatterns, const std::vector<std::string>& patterns,
                        bool allowSubdomains = false);

    // A visible toplevel dialog whose text (GtkMessageDialog) is `text`.
    GtkWidget* findMessageDialog(const std::string& text) const;
    GtkWidget* waitForMessageDialog(const std::string& text);
    // The save dialog of a download.
    GtkWidget* findSaveDialog() const;
    GtkWidget* waitForSaveDialog();
    // Saves under `folder/name` as the user would: types the name, "Save".
    void answerSaveDialog(GtkWidget* dialog, const std::optional<std::string>& path);

    std::string downloadsFolder() const { return downloads_; }
    static std::string readFile(const std::string& path);
    static bool exists(const std::string& path);

private:
    std::vector<std::string> recorded(const std::string& name) const;
    void registerRecorders();

    std::string downloads_;
    std::string records_;
};

} // namespace quilt::test
