#pragma once

#include "core/config/GRef.h"
#include "core/config/KTNotificationCenter.h"
#include "core/config/KTRateLimit.h"
#include "core/config/KTSignal.h"
#include "web/KTFindBar.h"
#include "web/KTWebView.h"

#include <gtk/gtk.h>
#include <webkit2/webkit2.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace quilt {

class KTWebViewController;

// The tab that shows a page: the page sets its label and icon.
class KTTabItem {
public:
    virtual ~KTTabItem() = default;
    virtual void setLabel(const std::string& label) = 0;
    virtual std::string label() const = 0;
    virtual void setIcon(cairo_surface_t* favicon) = 0;
};

// How a page reports to its tab controller.
class KTWebViewControllerDelegate {
public:
    virtual ~KTWebViewControllerDelegate() = default;
    // A page asks for another page to be shown as a tab or window; the
    // delegate takes ownership.
    virtual void newWebViewConstroller(std::unique_ptr<KTWebViewController> controller) = 0;
    virtual void webViewDidBeignLoadUrl(WebKitWebView*, const std::string& /*url*/) {}
    virtual void webViewDidEndLoadUrl(WebKitWebView*, const std::string& /*url*/) {}
    virtual void webViewDidChangeLoadStatus(WebKitWebView*, bool /*loading*/) {}
    // A page opened only to carry a link that left the site closes again.
    virtual void closeTabForController(KTWebViewController*) {}
};

// One page: its web view, the progress line above it, the per-page state,
// the load gate on the content rule list, and everything that reconfigures a
// live page when a setting changes.
class KTWebViewController {
public:
    // A page with a web view of its own.
    KTWebViewController();
    // A page for a view WebKit made for a window the opener asked for; it
    // shares the opener's process, session and user content.
    explicit KTWebViewController(WebKitWebView* relatedTo);
    // A tab's page in the web process of another tab's page, with settings
    // and user content of its own; a null peer gives it a process of its own.
    struct InProcessOf {
        WebKitWebView* peer;
    };
    explicit KTWebViewController(InProcessOf process);
    ~KTWebViewController();
    KTWebViewController(const KTWebViewController&) = delete;
    KTWebViewController& operator=(const KTWebViewController&) = delete;

    // The widget to place in a tab: the web view under its progress line.
    GtkWidget* view() const { return container_; }
    WebKitWebView* webview() const { return webview_; }
    GtkWidget* progress() const { return progress_; }
    // The line that says why the last load failed; empty when it did not.
    std::string failureText() const;

    KTWebViewControllerDelegate* delegate = nullptr;
    KTTabItem* item = nullptr;
    // A request waiting to be loaded (before the rule list is ready).
    std::optional<std::string> request;
    bool isRecentNewTab = false;
    bool abLoaded() const { return abLoaded_; }
    bool progressVisible() const { return progressVisible_; }
    std::optional<std::string> sourceURL;
    std::optional<std::string> dockLabel;

    void loadRequest(const std::string& url);
    // Keeps the URL to load when the page is first shown (loadDeferred);
    // until then url() answers it, so the page is saved with its tab.
    void deferRequest(const std::string& url) { deferred_ = url; }
    void loadDeferred();
    void goHome();
    // A typed address or search text.
    void openUrl(const std::string& text);
    void refresh();
    void stop();
    std::string url() const;
    std::string title() const;
    bool isLoading() const;

    // Zoom by 1.2 between 0.5 and 3.0; zooming out by command tests
    // canZoomIn, so it has no lower bound (kept on purpose).
    double currentZoomFactor() const;
    void setCurrentZoomFactor(double factor);
    bool canZoomIn() const;
    bool canZoomOut() const;
    bool canResetZoom() const;
    void zoomIn();
    void zoomOut();
    void resetZoom();

    void printWebView();
    // Find in page: shows the find bar above the page and focuses its
    // field; a second call only focuses it again.
    void biginSearch();
    void hideSearchBar();
    bool findTextMode() const { return findBar_ && gtk_widget_get_parent(findBar_->widget()); }
    KTFindBar* findBar() const { return findBar_.get(); }
    void setUserAgent();
    void setCustomUserAgent(const std::optional<std::string>& agent);
    void clearCache();
    void loadUserScripts();
    void loadCssToWebView(const std::optional<std::string>& css);
    void updateTabInfo();
    // How many times the page was reloaded by the refresh timer (tests).
    unsigned refreshTicks() const { return refreshTicks_; }
    bool hasRefreshTimer() const { return refreshTimer_.active(); }
    // The page sets the app's badge (by script or by its title).
    bool feedsBadge() const;

    // Gives the page back: its web view is replaced by an empty one that
    // starts no web process; the address, title, history and scroll position
    // stay (the tab keeps its label and icon). The scroll position is asked
    // of the page first, so this completes from the main loop. A page with
    // nothing loaded is kept.
    void discard();
    bool isDiscarded() const { return discarded_ != nullptr; }
    // A loaded page that is not being given back: what discarding can free.
    bool holdsPage() const { return !discarded_ && !discardPending_ && webkit_web_view_get_uri(webview_); }
    // Loads a discarded page again where it was, in the process of `peer`
    // when given.
    void restore(WebKitWebView* peer = nullptr);
    // The line that offers a reload when the page's web process ended or
    // stopped answering; empty when it is not shown.
    std::string processNoticeText() const;
    // What its Reload button does.
    void reloadAfterProcessTrouble();

private:
    struct Discarded;
    void build(WebKitWebView* opener, WebKitWebView* peer);
    // Makes the web view and connects to it; detachView lets it go.
    void attachView(WebKitWebView* opener, WebKitWebView* peer);
    void detachView();
    void finishDiscard(double scrollY);
    void startLoad(const std::string& url);
    void onProcessTerminated(WebKitWebProcessTerminationReason reason);
    void onResponsiveChanged();
    void showProcessNotice(const char* text);
    void applyPreferences();
    void observeNotifications();
    void initializeContentBlocker();
    void loadNow(const std::string& url);
    void scheduleRefreshTimer(bool replace);
    void onLoadChanged(WebKitLoadEvent event);
    void recordFinishedPage();
    void onLoadFailed(const char* uri, GError* error);
    void onLoadingChanged();
    bool onScriptDialog(WebKitScriptDialog* dialog);
    bool onFileChooser(WebKitFileChooserRequest* request);
    bool onPermissionRequest(WebKitPermissionRequest* request);
    GtkWidget* onCreate(WebKitNavigationAction* action);
    bool onDecidePolicy(WebKitPolicyDecision* decision, WebKitPolicyDecisionType type);
    void setProgressVisible(bool visible);
    void saveZoom(double factor);

    GtkWidget* container_ = nullptr; // owned through a reference
    GtkWidget* progress_ = nullptr;
    GtkWidget* failureNotice_ = nullptr;
    GtkWidget* processNotice_ = nullptr; // made at the first trouble
    GtkWidget* processNoticeLabel_ = nullptr;
    WebKitWebView* webview_ = nullptr;
    GRef<WebKitUserContentManager> contentManager_;
    std::unique_ptr<KTWebView> pageTools_;
    std::unique_ptr<KTFindBar> findBar_;
    bool abLoaded_ = false;
    bool committed_ = false;
    bool finishPending_ = false; // finished, visit not yet recorded
    // The address that finished: by the time the title comes, the view may
    // already be on its way to the next one.
    std::string finishedUrl_;
    bool progressVisible_ = false;
    bool ownsMessageChannels_ = false;
    unsigned refreshTicks_ = 0;
    std::optional<std::string> deferred_;
    std::unique_ptr<Discarded> discarded_;
    bool discardPending_ = false;
    // A page back from being discarded resumes its history entry and
    // scrolls to where it was.
    GRef<WebKitBackForwardListItem> resumeItem_;
    std::optional<double> resumeScrollY_;
    unsigned dialogsShown_ = 0;
    bool dialogsSilenced_ = false; // the person chose to see no more of them
    KTRateLimit windowsOnGesture_{1, 1};      // one window a click
    KTRateLimit windowsWithoutGesture_{3, 0.1}; // three, then one every 10 s
    KTSource refreshTimer_;
    std::vector<KTSignal> signals_;
    std::vector<KTObservation> observations_;
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

} // namespace quilt
