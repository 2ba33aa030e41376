#pragma once

// Shared support of the GUI tests: a real HTTP server on 127.0.0.1, waiting
// on conditions while the GLib main loop runs, a fixture with a private
// world per test, and the real DefaultApp run as a separate process.

#include "TestEnvironment.h"
#include "config/KTJson.h"

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
typedef struct _WebKitWebView WebKitWebView;

namespace quilt::test {

using namespace std::chrono_literals;

// What the server saw of one request.
struct HttpRequest {
    std::string path;
    std::string query;
    std::string cookie;
    std::string userAgent;
};

// One response of the test server. `make`, when set, builds the body from
// the request (pages that echo what they were sent).
struct HttpPage {
    std::string body;
    std::string contentType = "text/html; charset=utf-8";
    unsigned status = 200;
    std::vector<std::pair<std::string, std::string>> headers;
    std::chrono::milliseconds delay {0}; // a slow page answers this late
    std::function<std::string(const HttpRequest&)> make;

    static HttpPage html(const std::string& title, const std::string& body = "");
    static HttpPage bytes(const std::string& body, const std::string& contentType);
    // A page filled with one colour (CSS colour such as "#12aa5d").
    static HttpPage solid(const std::string& colour, const std::string& title = "Solid");
};

// A SoupServer on 127.0.0.1 with a free port, serving a table of pages on
// the default main context: it answers while a test waits in waitUntil.
class HttpServer {
public:
    HttpServer();
    ~HttpServer();
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;

    void route(const std::string& path, HttpPage page);
    std::string url(const std::string& path) const;
    unsigned port() const { return port_; }

    unsigned hits(const std::string& path) const;
    const std::vector<HttpRequest>& requests() const { return requests_; }
    std::optional<HttpRequest> lastRequest(const std::string& path) const;

private:
    static void handle(SoupServer*, void* msg, const char* path, void* query, void* self);

    SoupServer* server_ = nullptr;
    unsigned port_ = 0;
    std::map<std::string, HttpPage> pages_;
    std::vector<HttpRequest> requests_;
};

// Runs the default main context until cond() holds or the timeout passes;
// true when it held. Never a fixed sleep: returns as soon as it holds.
bool waitUntil(const std::function<bool()>& cond, std::chrono::milliseconds timeout = 10s);
// Handles whatever the main context has pending, without waiting.
void drainEvents();

// Runs a script in the page and returns its value as a string (nullopt on
// an error or when no answer came within 5 s).
std::optional<std::string> evaluateScript(WebKitWebView* view, const std::string& script);

// Runs a short command line and returns its standard output ("" on failure).
std::string runCommand(const std::vector<std::string>& argv, int* status = nullptr);

// Fixture for tests that need a display: skips without one, initialises
// GTK once per process, gives each test a private world (TestEnvironment)
// and an HTTP server.
class GuiTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    // Copies a file of resources/bundle into the test bundle's resources.
    void copyResource(const std::string& name);
    // Writes a file of the test bundle's resources.
    void writeResource(const std::string& name, const std::string& content);
    // Writes a data-folder JSON file before its store is first used.
    void writeDataFile(const std::string& name, const KTJson& json);

    std::unique_ptr<TestEnvironment> env;
    std::unique_ptr<HttpServer> server;
};

// A copy of the build's template bundle (build/DefaultApp.app) with its own
// name, bundle identifier (the application id, hence the window class) and
// unique id, ready to be run as the real app.
class AppBundle {
public:
    AppBundle(const std::string& folder, const std::string& name);

    static std::string templatePath();
    const std::string& path() const { return path_; }
    const std::string& bundleIdentifier() const { return bundleId_; }
    const std::string& uniqueId() const { return uniqueId_; }
    std::string executable() const { return path_ + "/Contents/MacOS/DefaultApp"; }
    // The data folder under the current $XDG_DATA_HOME.
    std::string dataFolder() const;
    void writeDataFile(const std::string& name, const KTJson& json) const;
    KTJson readDataFile(const std::string& name) const;

private:
    std::string path_, bundleId_, uniqueId_;
};

// The real app as a child process, with its output in a log file. Killed
// (with its web processes) if still running when the object goes.
class AppProcess {
public:
    AppProcess(const AppBundle& bundle, const std::vector<std::string>& args, const std::string& logPath);
    ~AppProcess();
    AppProcess(const AppProcess&) = delete;
    AppProcess& operator=(const AppProcess&) = delete;

    pid_t pid() const { return pid_; }
    bool running();
    // Waits (running the main loop) for the exit; its status in *status.
    bool waitExit(std::chrono::milliseconds timeout, int* status = nullptr);
    void signal(int sig);
    std::string log() const;

private:
    void reap(int status);
    pid_t pid_ = -1;
    bool exited_ = false;
    int status_ = 0;
    std::string logPath_;
};

// Visible top-level windows whose class is the bundle identifier.
std::vector<std::string> visibleWindows(const std::string& windowClass);
// Activates the first such window and types a key combination into it.
bool typeKeys(const std::string& windowClass, const std::string& keys);

} // namespace quilt::test
