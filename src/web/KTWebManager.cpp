#include "web/KTWebManager.h"

#include "core/config/KTBehaviorManager.h"
#include "core/config/KTFileManager.h"
#include "core/config/KTFileUtil.h"
#include "core/config/KTLog.h"
#include "core/config/KTNotificationCenter.h"
#include "core/config/KTNotificationNames.h"
#include "core/config/KTSettingsManager.h"
#include "core/config/KTShared.h"
#include "core/config/KTUserDefaults.h"
#include "web/KTWebKitDownload.h"
#include "web/KTWebUIDelegate.h"

#include <algorithm>

namespace quilt {

namespace {

GtkWindow* windowOf(WebKitWebView* page)
{
    GtkWidget* top = page ? gtk_widget_get_toplevel(GTK_WIDGET(page)) : nullptr;
    return (top && GTK_IS_WINDOW(top)) ? GTK_WINDOW(top) : nullptr;
}

// Downloads a page asked for but WebKit has not announced yet; a few at most.
constexpr size_t kMaxPending = 16;

} // namespace

KTWebManager& KTWebManager::sharedManager() { return KTShared<KTWebManager>::get(); }

std::unique_ptr<KTWebManager> KTWebManager::create() { return std::unique_ptr<KTWebManager>(new KTWebManager()); }

KTWebManager::KTWebManager()
    : agents_(KTUserAgents::forWebKitGTK(webkit_get_major_version(), webkit_get_minor_version(),
                                         webkit_get_micro_version()))
{
}

KTWebManager::~KTWebManager() = default;

std::optional<std::string> KTWebManager::chooseAgent(const std::string& nameOrText)
{
    if (auto agent = agents_.agentNamed(nameOrText)) {
        customAgent_.reset();
        return agent;
    }
    if (!nameOrText.empty())
        customAgent_ = nameOrText;
    return customAgent_;
}

std::optional<std::string> KTWebManager::agentForNewTab() const
{
    if (customAgent_)
        return customAgent_;
    return agents_.agentForNewPage(KTBehaviorManager::sharedManager().mobileVersion(),
                                   KTUserDefaults::standardUserDefaults());
}

KTJson KTWebManager::getSettings() const
{
    std::string error;
    std::string path = KTFileManager::getSettingsPath() + "settings.json";
    auto text = KTFileUtil::read(path, &error);
    if (!text) {
        if (!error.empty())
            KTLog::line(error);
        return nullptr;
    }
    if (text->empty())
        return nullptr;
    auto parsed = json::parse(*text);
    if (!parsed) {
        KTLog::line("error: " + path + " is not JSON");
        return nullptr;
    }
    return *parsed;
}

void KTWebManager::prepareSession(WebKitWebContext* context)
{
    if (!context)
        return;
    for (auto& s : sessions_)
        if (s.get() == context)
            return;
    sessions_.push_back(GRef<WebKitWebContext>::retain(context));
    // Certificates the system would question (self-signed, expired, another
    // host) are accepted without asking, as the app has always done.
    webkit_website_data_manager_set_tls_errors_policy(webkit_web_context_get_website_data_manager(context),
                                                      WEBKIT_TLS_ERRORS_POLICY_IGNORE);
    KTLog::line("TLS certificate errors are ignored for this app's pages");
    signals_.emplace_back(context, "download-started",
                          G_CALLBACK(+[](WebKitWebContext*, WebKitDownload* download, KTWebManager* self) {
                              self->onDownloadStarted(download);
                          }),
                          this);
}

void KTWebManager::downloadResponse(WebKitPolicyDecision* decision, WebKitWebView* page, const std::string& fileName,
                                    const std::string& url)
{
    if (page)
        prepareSession(webkit_web_view_get_context(page));
    if (pending_.size() >= kMaxPending)
        pending_.erase(pending_.begin());
    pending_.push_back({page, url, fileName});
    webkit_policy_decision_download(decision);
}

void KTWebManager::onDownloadStarted(WebKitDownload* download)
{
    if (ownTransfers_ > 0)
        return; // an operation's own transfer: it watches it itself
    WebKitWebView* page = webkit_download_get_web_view(download);
    WebKitURIRequest* request = webkit_download_get_request(download);
    std::string url = request ? webkit_uri_request_get_uri(request) : "";
    std::string fileName;
    auto it = std::find_if(pending_.begin(), pending_.end(),
                           [&](const Pending& p) { return p.page == page && p.url == url; });
    if (it != pending_.end()) {
        fileName = it->fileName;
        pending_.erase(it);
    }
    KTLog::debug("download started: " + url + " as " + (fileName.empty() ? "(suggested name)" : fileName));
    askForDestination(download, url, fileName);
}

void KTWebManager::askForDestination(WebKitDownload* download, const std::string& url, const std::string& fileName)
{
    // The transfer waits at "decide-destination" (answered later) until the
    // user has chosen; then an operation takes it over.
    struct Ask {
        GRef<WebKitDownload> download;
        std::string url, fileName;
        bool failed = false;
        bool asked = false;
        KTSignal decide, failedSignal;
    };
    auto* ask = new Ask{GRef<WebKitDownload>::retain(download), url, fileName, false, false, {}, {}};
    ask->failedSignal = KTSignal(download, "failed", G_CALLBACK(+[](WebKitDownload*, GError*, Ask* a) {
                                     a->failed = true;
                                     if (!a->asked)
                                         delete a; // gone before anyone was asked
                                 }),
                                 ask);
    ask->decide = KTSignal(
        download, "decide-destination", G_CALLBACK(+[](WebKitDownload* d, const char* suggested, Ask* a) -> gboolean {
            a->decide.disconnect();
            a->asked = true;
            std::string name = a->fileName.empty() ? (suggested ? suggested : "") : a->fileName;
            WebKitWebView* page = webkit_download_get_web_view(d);
            askWhereToSave(name, windowOf(page), [a, name, page](std::optional<std::string> path) {
                std::unique_ptr<Ask> owned(a);
                owned->failedSignal.disconnect();
                KTLog::debug("save " + owned->url + " to " + path.value_or("(cancelled)"));
                if (!path) {
                    webkit_download_cancel(owned->download.get());
                    return;
                }
                if (owned->failed) {
                    KTLog::line("error: " + owned->url + " ended before it was saved");
                    return;
                }
                auto op = std::make_shared<KTWebKitDownload>(*path, owned->url, name, owned->download.get());
                // The manager of the moment: the answer may come after a reset.
                sharedManager().addOperation(op, windowOf(page), true);
            });
            return TRUE;
        }),
        ask);
}

void KTWebManager::downloadFileFromUrl(const std::string& fileName, const std::string& url, WebKitWebView* page)
{
    if (page)
        prepareSession(webkit_web_view_get_context(page));
    GRef<WebKitWebView> keep = GRef<WebKitWebView>::retain(page);
    askWhereToSave(fileName, windowOf(page), [fileName, url, keep](std::optional<std::string> path) {
        if (!path)
            return;
        auto op = std::make_shared<KTWebKitDownload>(*path, url, fileName, keep.get());
        sharedManager().addOperation(op, windowOf(keep.get()), true);
    });
}

std::shared_ptr<KTDownloadOperation> KTWebManager::downloadFileWithRequest(const std::string& fileName,
                                                                          const std::string& url, WebKitWebView* page)
{
    if (page)
        prepareSession(webkit_web_view_get_context(page));
    std::string folder = KTSettingsManager::sharedManager().pathToDownloadsFolder();
    KTFileUtil::makeDirectories(folder);
    KTDownloadTarget target = KTDownloadQueue::targetInFolder(folder, fileName);
    auto op = std::make_shared<KTWebKitDownload>(target.path, url, target.fileName, page);
    addOperation(op, nullptr, false);
    return op;
}

void KTWebManager::addOperation(std::shared_ptr<KTDownloadOperation> operation, GtkWindow* window, bool showToolbar)
{
    queue_.addDownloadOperation(std::move(operation));
    if (showToolbar)
        KTWebUIDelegate::shared().showDownloadsToolbar(window);
    KTNotificationCenter::defaultCenter().post(names::kDownloadAdd);
}

void KTWebManager::askWhereToSave(const std::string& fileName, GtkWindow* parent,
                                  std::function<void(std::optional<std::string>)> done)
{
    std::string folder = KTSettingsManager::sharedManager().pathToDownloadsFolder();
    // The user's Downloads folder may not exist yet in a fresh home.
    KTFileUtil::makeDirectories(folder);
    KTWebUIDelegate::shared().chooseSavePath(parent, folder, KTDownloadQueue::safeFileName(fileName), std::move(done));
}

} // namespace quilt
