#pragma once

#include "core/config/GRef.h"
#include "core/config/KTJson.h"
#include "core/config/KTSignal.h"
#include "core/services/KTDownloadQueue.h"
#include "core/web/KTUserAgents.h"

#include <gtk/gtk.h>
#include <webkit2/webkit2.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quilt {

// The named user agents of the process and its downloads: where to save
// (asked of the UI), the queue (at most three at once) and the WebKit
// downloads that pages hand over. Every download goes through the page's own WebKit session, so the
// site's cookies apply and the network process streams the file to disk.
class KTWebManager {
public:
    // Made on first use (KTShared).
    static KTWebManager& sharedManager();
    static std::unique_ptr<KTWebManager> create();
    ~KTWebManager();
    KTWebManager(const KTWebManager&) = delete;
    KTWebManager& operator=(const KTWebManager&) = delete;

    // The agent table, built once per process from the running engine.
    const KTUserAgents& userAgents() const { return agents_; }
    const std::string& webkitVersion() const { return agents_.webkitVersion(); }
    std::optional<std::string> userAgentNamed(std::string_view name) const { return agents_.agentNamed(name); }
    // A new tab's agent: a custom agent in force, else the mobile one, else
    // the one chosen last.
    std::optional<std::string> agentForNewTab() const;
    // The agent "changeUserAnget" stands for: a name of the table, or else
    // an agent text of its own (the enterprise "customUserAgent"), which then
    // stays in force for pages opened later until a name is chosen.
    std::optional<std::string> chooseAgent(const std::string& nameOrText);
    // The raw "settings.json" of the data folder; null when unreadable.
    KTJson getSettings() const;

    KTDownloadQueue& downloadQueue() { return queue_; }

    // Asks where to save the file (the downloads folder, the name filled in);
    // on "Save" the URL is downloaded through the page's session (the app's
    // session when no page is given), the window shows its toolbar and
    // "downloadAdd" is posted.
    void downloadFileFromUrl(const std::string& fileName, const std::string& url, WebKitWebView* page = nullptr);
    // No dialog: "%@/%@" in the downloads folder ("file" for an empty name).
    std::shared_ptr<KTDownloadOperation> downloadFileWithRequest(const std::string& fileName, const std::string& url,
                                                                 WebKitWebView* page = nullptr);
    // A response the page saves instead of showing. It becomes a WebKit
    // download at once, so the request is not sent twice (a POST result or
    // a one-time link stays what the server sent); the save dialog is then
    // asked while the transfer waits for its destination.
    void downloadResponse(WebKitPolicyDecision* decision, WebKitWebView* page, const std::string& fileName,
                          const std::string& url);

    // Once per WebKit session: certificates are accepted as the app always
    // did, and downloads the engine starts by itself (links with a
    // "download" attribute) get the same save dialog.
    void prepareSession(WebKitWebContext* context);

    // Suppresses the reaction to "download-started" while an operation starts
    // its own transfer (the signal may come before the call returns).
    class OwnTransfer {
    public:
        explicit OwnTransfer(KTWebManager& m) : m_(m) { ++m_.ownTransfers_; }
        ~OwnTransfer() { --m_.ownTransfers_; }
        OwnTransfer(const OwnTransfer&) = delete;
        OwnTransfer& operator=(const OwnTransfer&) = delete;

    private:
        KTWebManager& m_;
    };

private:
    struct Pending {
        WebKitWebView* page; // compared only, never dereferenced
        std::string url;
        std::string fileName;
    };

    KTWebManager();
    void onDownloadStarted(WebKitDownload* download);
    void askForDestination(WebKitDownload* download, const std::string& url, const std::string& fileName);
    void addOperation(std::shared_ptr<KTDownloadOperation> operation, GtkWindow* window, bool showToolbar);
    // The save dialog (KTWebUIDelegate) in the downloads folder, the name
    // made safe; done(path) with nullopt when cancelled.
    static void askWhereToSave(const std::string& fileName, GtkWindow* parent,
                               std::function<void(std::optional<std::string>)> done);

    KTUserAgents agents_;
    std::optional<std::string> customAgent_;
    KTDownloadQueue queue_;
    std::vector<Pending> pending_;
    std::vector<GRef<WebKitWebContext>> sessions_;
    std::vector<KTSignal> signals_;
    int ownTransfers_ = 0;
};

} // namespace quilt
