#include "web/KTWebViewController.h"

#include "core/config/KTBehaviorManager.h"
#include "core/config/KTFileManager.h"
#include "core/config/KTFileUtil.h"
#include "core/config/KTHistoryManager.h"
#include "core/config/KTLog.h"
#include "core/config/KTNotificationNames.h"
#include "core/config/KTSettingsManager.h"
#include "core/config/KTWebPageZoomManager.h"
#include "core/menubar/KTDockBadge.h"
#include "core/web/KTStylesManager.h"
#include "web/KTContentBlocker.h"
#include "web/KTPageHooks.h"
#include "web/KTScriptMessageHandler.h"
#include "web/KTWebContext.h"
#include "web/KTWebUIDelegate.h"

#include <cmath>
#include <cstdio>
#include <ctime>
#include <memory>
#include <utility>

namespace quilt {

namespace {
constexpr double kZoomStep = 1.2;

GtkWindow* windowOf(GtkWidget* widget)
{
    GtkWidget* top = widget ? gtk_widget_get_toplevel(widget) : nullptr;
    return (top && GTK_IS_WINDOW(top)) ? GTK_WINDOW(top) : nullptr;
}
} // namespace

struct KTWebViewController::Discarded {
    std::string url, title, agent;
    double scrollY = 0;
    std::shared_ptr<WebKitWebViewSessionState> history;
};

KTWebViewController::KTWebViewController() { build(nullptr, nullptr); }

KTWebViewController::KTWebViewController(WebKitWebView* relatedTo) { build(relatedTo, nullptr); }

KTWebViewController::KTWebViewController(InProcessOf process) { build(nullptr, process.peer); }

void KTWebViewController::build(WebKitWebView* opener, WebKitWebView* peer)
{
    // The progress line sits above the page and keeps its 2 px when idle
    // (transparent), so the page never jumps when a load starts.
    progress_ = gtk_progress_bar_new();
    gtk_style_context_add_class(gtk_widget_get_style_context(progress_), "quilt-progress");
    container_ = gtk_box_new(GTK_ORIENTATION_VERTICAL, 0);
    g_object_ref_sink(container_);
    gtk_box_pack_start(GTK_BOX(container_), progress_, FALSE, FALSE, 0);
    // Why the last load failed, over whatever page stays visible.
    failureNotice_ = gtk_label_new("");
    gtk_label_set_ellipsize(GTK_LABEL(failureNotice_), PANGO_ELLIPSIZE_END);
    gtk_label_set_xalign(GTK_LABEL(failureNotice_), 0);
    gtk_widget_set_margin_start(failureNotice_, 8);
    gtk_widget_set_margin_end(failureNotice_, 8);
    gtk_widget_set_margin_top(failureNotice_, 4);
    gtk_widget_set_margin_bottom(failureNotice_, 4);
    gtk_widget_set_no_show_all(failureNotice_, TRUE);
    gtk_style_context_add_class(gtk_widget_get_style_context(failureNotice_), "quilt-load-failure");
    gtk_box_pack_start(GTK_BOX(container_), failureNotice_, FALSE, FALSE, 0);
    gtk_widget_set_opacity(progress_, 0.0);
    gtk_widget_show(progress_);
    gtk_widget_show(container_);
    observeNotifications();
    attachView(opener, peer);
}

void KTWebViewController::attachView(WebKitWebView* opener, WebKitWebView* peer)
{
    WebKitSettings* settings = KTWebContext::newSettings();
    if (opener) {
        // Same process and user content as the opener, settings of its own
        // (the agent is copied, then each page may change it alone).
        contentManager_ = GRef<WebKitUserContentManager>::retain(webkit_web_view_get_user_content_manager(opener));
        webkit_settings_set_user_agent(settings, webkit_settings_get_user_agent(webkit_web_view_get_settings(opener)));
        webview_ = WEBKIT_WEB_VIEW(g_object_new(WEBKIT_TYPE_WEB_VIEW, "related-view", opener, "settings", settings,
                                                "user-content-manager", contentManager_.get(), nullptr));
    } else {
        contentManager_ = GRef<WebKitUserContentManager>::adopt(webkit_user_content_manager_new());
        // A related view runs in its peer's web process; its session is the
        // peer's, which is the app's own.
        webview_ = peer ? WEBKIT_WEB_VIEW(g_object_new(WEBKIT_TYPE_WEB_VIEW, "related-view", peer, "settings", settings,
                                                       "user-content-manager", contentManager_.get(), nullptr))
                        : WEBKIT_WEB_VIEW(g_object_new(WEBKIT_TYPE_WEB_VIEW, "web-context",
                                                       KTWebContext::shared().context(), "settings", settings,
                                                       "user-content-manager", contentManager_.get(), nullptr));
        KTScriptMessageHandler::shared().registerWith(contentManager_.get(), webview_);
        ownsMessageChannels_ = true;
    }
    g_object_unref(settings);
    g_object_ref_sink(webview_);
    gtk_box_pack_start(GTK_BOX(container_), GTK_WIDGET(webview_), TRUE, TRUE, 0);
    gtk_widget_show(GTK_WIDGET(webview_));
    pageTools_ = std::make_unique<KTWebView>(webview_);

    if (!opener)
        loadUserScripts();
    // The policy glue follows the view's loads from before the first one.
    KTPageHooks::attach(webview_, this);

    auto connect = [this](const char* signal, GCallback cb) { signals_.emplace_back(webview_, signal, cb, this); };
    connect("load-changed", G_CALLBACK(+[](WebKitWebView*, WebKitLoadEvent e, KTWebViewController* self) {
                self->onLoadChanged(e);
            }));
    connect("load-failed", G_CALLBACK(+[](WebKitWebView*, WebKitLoadEvent, const char* uri, GError* error,
                                          KTWebViewController* self) -> gboolean {
                self->onLoadFailed(uri, error);
                return TRUE; // handled: no engine error page, the last page stays
            }));
    connect("notify::estimated-load-progress", G_CALLBACK(+[](WebKitWebView* v, GParamSpec*, KTWebViewController* self) {
                gtk_progress_bar_set_fraction(GTK_PROGRESS_BAR(self->progress_), webkit_web_view_get_estimated_load_progress(v));
            }));
    connect("notify::title", G_CALLBACK(+[](WebKitWebView* v, GParamSpec*, KTWebViewController* self) {
                const char* t = webkit_web_view_get_title(v);
                if (self->item)
                    self->item->setLabel(t ? t : "");
                KTDockBadge::shared().setTitleCount(reinterpret_cast<uintptr_t>(v),
                                                    KTDockBadge::countOfTitle(t ? t : ""));
                self->recordFinishedPage();
            }));
    connect("notify::is-loading", G_CALLBACK(+[](WebKitWebView*, GParamSpec*, KTWebViewController* self) {
                self->onLoadingChanged();
            }));
    connect("notify::favicon", G_CALLBACK(+[](WebKitWebView* v, GParamSpec*, KTWebViewController* self) {
                if (self->item)
                    self->item->setIcon(webkit_web_view_get_favicon(v));
            }));
    connect("web-process-terminated",
            G_CALLBACK(+[](WebKitWebView*, WebKitWebProcessTerminationReason reason, KTWebViewController* self) {
                self->onProcessTerminated(reason);
            }));
    connect("notify::is-web-process-responsive", G_CALLBACK(+[](WebKitWebView*, GParamSpec*, KTWebViewController* self) {
                self->onResponsiveChanged();
            }));
    connect("script-dialog", G_CALLBACK(+[](WebKitWebView*, WebKitScriptDialog* d, KTWebViewController* self) -> gboolean {
                return self->onScriptDialog(d);
            }));
    connect("run-file-chooser", G_CALLBACK(+[](WebKitWebView*, WebKitFileChooserRequest* r,
                                              KTWebViewController* self) -> gboolean { return self->onFileChooser(r); }));
    connect("permission-request", G_CALLBACK(+[](WebKitWebView*, WebKitPermissionRequest* r,
                                                KTWebViewController* self) -> gboolean {
                return self->onPermissionRequest(r);
            }));
    connect("create", G_CALLBACK(+[](WebKitWebView*, WebKitNavigationAction* a, KTWebViewController* self) -> GtkWidget* {
                return self->onCreate(a);
            }));
    connect("decide-policy", G_CALLBACK(+[](WebKitWebView*, WebKitPolicyDecision* d, WebKitPolicyDecisionType t,
                                           KTWebViewController* self) -> gboolean { return self->onDecidePolicy(d, t); }));
    connect("close", G_CALLBACK(+[](WebKitWebView*, KTWebViewController* self) {
                // window.close() from the page: the tab goes, as a browser would.
                if (self->delegate)
                    self->delegate->closeTabForController(self);
            }));

    applyPreferences();
    setUserAgent();
    setCurrentZoomFactor(1.0);
}

void KTWebViewController::detachView()
{
    KTPageHooks::attach(webview_, nullptr);
    KTDockBadge::shared().forgetPage(reinterpret_cast<uintptr_t>(webview_));
    signals_.clear();
    refreshTimer_.reset();
    findBar_.reset();
    pageTools_.reset();
    webkit_web_view_stop_loading(webview_);
    // Out of the box first: the box's reference goes, then ours, and the
    // page closes in its web process.
    gtk_container_remove(GTK_CONTAINER(container_), GTK_WIDGET(webview_));
    g_object_unref(webview_);
    webview_ = nullptr;
    contentManager_ = {};
}

bool KTWebViewController::feedsBadge() const
{
    return webview_ && KTDockBadge::shared().holdsBadge(reinterpret_cast<uintptr_t>(webview_));
}

KTWebViewController::~KTWebViewController()
{
    *alive_ = false;
    observations_.clear();
    if (webview_)
        detachView();
    if (container_) {
        gtk_widget_destroy(container_);
        g_object_unref(container_);
    }
}

void KTWebViewController::discard()
{
    if (discarded_ || discardPending_ || url().empty() || !webkit_web_view_get_uri(webview_))
        return;
    discardPending_ = true;
    auto* data = new std::weak_ptr<bool>(alive_);
    webkit_web_view_evaluate_javascript(
        webview_, "window.scrollY", -1, nullptr, nullptr, nullptr,
        +[](GObject* view, GAsyncResult* result, gpointer p) {
            std::unique_ptr<std::weak_ptr<bool>> weak(static_cast<std::weak_ptr<bool>*>(p));
            JSCValue* value = webkit_web_view_evaluate_javascript_finish(WEBKIT_WEB_VIEW(view), result, nullptr);
            double y = value && jsc_value_is_number(value) ? jsc_value_to_double(value) : 0;
            if (value)
                g_object_unref(value);
            auto alive = weak->lock();
            if (!alive || !*alive)
                return;
            // The controller is alive, so the view is still its own or
            // it was replaced; only its own view's answer counts.
            auto* self = static_cast<KTWebViewController*>(
                KTPageHooks::controllerOf(WEBKIT_WEB_VIEW(view)));
            if (self)
                self->finishDiscard(y);
        },
        data);
}

void KTWebViewController::finishDiscard(double scrollY)
{
    if (!discardPending_)
        return; // shown again meanwhile
    discardPending_ = false;
    auto d = std::make_unique<Discarded>();
    d->url = url();
    d->title = title();
    d->agent = webkit_settings_get_user_agent(webkit_web_view_get_settings(webview_));
    d->scrollY = scrollY;
    d->history = std::shared_ptr<WebKitWebViewSessionState>(webkit_web_view_get_session_state(webview_),
                                                           webkit_web_view_session_state_unref);
    detachView();
    discarded_ = std::move(d);
    // An empty view stands in, so every command still has a page to act
    // on; it starts no web process until it loads.
    attachView(nullptr, nullptr);
    if (processNotice_)
        gtk_widget_hide(processNotice_);
    gtk_widget_hide(failureNotice_);
}

void KTWebViewController::restore(WebKitWebView* peer)
{
    discardPending_ = false;
    if (!discarded_)
        return;
    std::unique_ptr<Discarded> d = std::move(discarded_);
    detachView();
    attachView(nullptr, peer);
    webkit_settings_set_user_agent(webkit_web_view_get_settings(webview_), d->agent.c_str());
    if (d->history)
        webkit_web_view_restore_session_state(webview_, d->history.get());
    WebKitBackForwardListItem* current =
        webkit_back_forward_list_get_current_item(webkit_web_view_get_back_forward_list(webview_));
    resumeItem_ = GRef<WebKitBackForwardListItem>::retain(current);
    resumeScrollY_ = d->scrollY;
    // The new view's user content has no rule list yet: the load waits for
    // it as a first load does.
    abLoaded_ = false;
    startLoad(d->url);
}

std::string KTWebViewController::processNoticeText() const
{
    return processNotice_ && gtk_widget_get_visible(processNotice_) ? gtk_label_get_text(GTK_LABEL(processNoticeLabel_))
                                                                     : "";
}

void KTWebViewController::showProcessNotice(const char* text)
{
    if (!processNotice_) {
        processNotice_ = gtk_info_bar_new_with_buttons("_Reload", GTK_RESPONSE_ACCEPT, nullptr);
        gtk_info_bar_set_message_type(GTK_INFO_BAR(processNotice_), GTK_MESSAGE_WARNING);
        processNoticeLabel_ = gtk_label_new("");
        gtk_label_set_xalign(GTK_LABEL(processNoticeLabel_), 0);
        gtk_label_set_line_wrap(GTK_LABEL(processNoticeLabel_), TRUE);
        gtk_widget_show(processNoticeLabel_);
        gtk_container_add(GTK_CONTAINER(gtk_info_bar_get_content_area(GTK_INFO_BAR(processNotice_))),
                          processNoticeLabel_);
        gtk_widget_set_no_show_all(processNotice_, TRUE);
        // Connected once, for the controller's life: the bar outlives views.
        g_signal_connect(processNotice_, "response", G_CALLBACK(+[](GtkInfoBar*, int, KTWebViewController* self) {
                             self->reloadAfterProcessTrouble();
                         }),
                         this);
        gtk_box_pack_start(GTK_BOX(container_), processNotice_, FALSE, FALSE, 0);
        gtk_box_reorder_child(GTK_BOX(container_), processNotice_, 1);
    }
    gtk_label_set_text(GTK_LABEL(processNoticeLabel_), text);
    gtk_widget_show(processNotice_);
}

void KTWebViewController::onProcessTerminated(WebKitWebProcessTerminationReason reason)
{
    KTLog::line(std::string("web process of ") + url() + " ended: "
                + (reason == WEBKIT_WEB_PROCESS_EXCEEDED_MEMORY_LIMIT ? "over its memory limit"
                   : reason == WEBKIT_WEB_PROCESS_TERMINATED_BY_API ? "stopped"
                                                                     : "crashed"));
    setProgressVisible(false);
    showProcessNotice(reason == WEBKIT_WEB_PROCESS_EXCEEDED_MEMORY_LIMIT
                          ? "This page used too much memory and was stopped."
                          : "This page stopped working.");
}

void KTWebViewController::onResponsiveChanged()
{
    if (webkit_web_view_get_is_web_process_responsive(webview_)) {
        if (processNoticeText() == "This page is not responding.")
            gtk_widget_hide(processNotice_);
        return;
    }
    showProcessNotice("This page is not responding.");
}

void KTWebViewController::reloadAfterProcessTrouble()
{
    if (processNotice_)
        gtk_widget_hide(processNotice_);
    // A hung process is ended first; the reload starts a new one.
    if (!webkit_web_view_get_is_web_process_responsive(webview_))
        webkit_web_view_terminate_web_process(webview_);
    webkit_web_view_reload(webview_);
}

void KTWebViewController::applyPreferences()
{
    auto& s = KTSettingsManager::sharedManager();
    WebKitSettings* prefs = webkit_web_view_get_settings(webview_);
    // The setting's value is passed as it stands: turning popup blocking on
    // lets scripts open windows. A deliberate inversion, kept.
    webkit_settings_set_javascript_can_open_windows_automatically(prefs, s.blockPopupWindow());
    webkit_settings_set_enable_javascript(prefs, s.enableJavaScript());
}

void KTWebViewController::observeNotifications()
{
    auto on = [this](const char* name, auto fn) {
        observations_.emplace_back(name, [this, fn](const KTNotification& n) { fn(this, n); });
    };
    on(names::kChangeUserAgent, [](KTWebViewController* self, const KTNotification& n) {
        if (auto* name = std::any_cast<std::string>(&n.object))
            self->setCustomUserAgent(KTPageHooks::chooseAgent(*name));
        self->clearCache();
    });
    on(names::kRefreshFont, [](KTWebViewController* self, const KTNotification&) {
        if (auto font = KTSettingsManager::sharedManager().standardFont())
            self->loadCssToWebView(KTStylesManager::fontStyle(font->family, font->size));
        else
            self->refresh();
    });
    on(names::kEnablePlugins, [](KTWebViewController* self, const KTNotification&) { self->applyPreferences(); });
    on(names::kEnableJavaScript, [](KTWebViewController* self, const KTNotification&) { self->applyPreferences(); });
    on(names::kBlockPopupWindow, [](KTWebViewController* self, const KTNotification&) { self->applyPreferences(); });
    on(names::kHideProgressBar, [](KTWebViewController*, const KTNotification&) {
        // Read at the next provisional start.
    });
    on(names::kBlockAds, [](KTWebViewController* self, const KTNotification&) {
        if (KTSettingsManager::sharedManager().blockAds()) {
            auto alive = self->alive_;
            KTContentBlocker::shared().lookup([self, alive](WebKitUserContentFilter* filter) {
                if (!*alive)
                    return;
                if (filter)
                    webkit_user_content_manager_add_filter(self->contentManager_.get(), filter);
                self->abLoaded_ = true;
            });
        } else {
            webkit_user_content_manager_remove_filter_by_id(self->contentManager_.get(), KTContentBlocker::kIdentifier);
            self->abLoaded_ = false;
        }
    });
    on(names::kRequestDesktopVersion, [](KTWebViewController* self, const KTNotification&) {
        self->setCustomUserAgent(KTPageHooks::userAgentNamed("Safari-Mac"));
        KTPageHooks::clearLoginData(self->webview_);
        webkit_web_view_reload(self->webview_);
    });
    on(names::kRequestMobileVersion, [](KTWebViewController* self, const KTNotification&) {
        self->setCustomUserAgent(KTPageHooks::userAgentNamed("iPhone"));
        KTPageHooks::clearLoginData(self->webview_);
        webkit_web_view_reload(self->webview_);
    });
    on(names::kRefreshTimeIntervalChange,
       [](KTWebViewController* self, const KTNotification&) { self->scheduleRefreshTimer(false); });
}

void KTWebViewController::loadRequest(const std::string& url)
{
    resumeItem_ = {};
    resumeScrollY_.reset();
    startLoad(url);
}

void KTWebViewController::startLoad(const std::string& url)
{
    deferred_.reset();
    if (!abLoaded_ && KTSettingsManager::sharedManager().blockAds()) {
        // The first load waits for the rule list, then happens exactly once.
        bool started = request.has_value();
        request = url;
        if (!started)
            initializeContentBlocker();
        return;
    }
    loadNow(url);
}

void KTWebViewController::initializeContentBlocker()
{
    auto alive = alive_;
    KTContentBlocker::shared().lookup([this, alive](WebKitUserContentFilter* filter) {
        if (!*alive)
            return;
        if (filter)
            webkit_user_content_manager_add_filter(contentManager_.get(), filter);
        abLoaded_ = true;
        if (request) {
            std::string url = *request;
            request.reset();
            loadNow(url);
        }
    });
}

void KTWebViewController::loadNow(const std::string& url)
{
    request.reset();
    if (auto item = std::exchange(resumeItem_, {})) {
        webkit_web_view_go_to_back_forward_list_item(webview_, item.get());
        return;
    }
    webkit_web_view_load_uri(webview_, url.c_str());
}

void KTWebViewController::goHome()
{
    auto& s = KTSettingsManager::sharedManager();
    if (s.openEmptyPage())
        return;
    if (auto home = s.getMainUrl())
        loadRequest(*home);
}

void KTWebViewController::openUrl(const std::string& text)
{
    if (auto address = KTPageHooks::addressForTypedText(text)) {
        loadRequest(*address);
        dockLabel.reset();
    }
}

void KTWebViewController::refresh()
{
    KTPageHooks::clearLoginData(webview_);
    webkit_web_view_reload(webview_);
}

void KTWebViewController::stop() { webkit_web_view_stop_loading(webview_); }

void KTWebViewController::loadDeferred()
{
    if (auto url = std::exchange(deferred_, std::nullopt))
        loadRequest(*url);
}

std::string KTWebViewController::url() const
{
    if (discarded_)
        return discarded_->url;
    const char* u = webkit_web_view_get_uri(webview_);
    return u ? u : deferred_.value_or("");
}

std::string KTWebViewController::title() const
{
    if (discarded_)
        return discarded_->title;
    const char* t = webkit_web_view_get_title(webview_);
    return t ? t : "";
}

std::string KTWebViewController::failureText() const
{
    return gtk_widget_get_visible(failureNotice_) ? gtk_label_get_text(GTK_LABEL(failureNotice_)) : "";
}

bool KTWebViewController::isLoading() const { return webkit_web_view_is_loading(webview_); }

void KTWebViewController::setProgressVisible(bool visible)
{
    progressVisible_ = visible;
    if (visible)
        gtk_progress_bar_set_fraction(GTK_PROGRESS_BAR(progress_), webkit_web_view_get_estimated_load_progress(webview_));
    gtk_widget_set_opacity(progress_, visible ? 1.0 : 0.0);
}

void KTWebViewController::onLoadChanged(WebKitLoadEvent event)
{
    auto& settings = KTSettingsManager::sharedManager();
    switch (event) {
    case WEBKIT_LOAD_STARTED:
        gtk_widget_hide(failureNotice_);
        if (processNotice_)
            gtk_widget_hide(processNotice_);
        committed_ = false;
        finishPending_ = false;
        sourceURL = url();
        setProgressVisible(!settings.hideProgressBar());
        if (delegate)
            delegate->webViewDidBeignLoadUrl(webview_, url());
        break;
    case WEBKIT_LOAD_REDIRECTED:
        break;
    case WEBKIT_LOAD_COMMITTED:
        committed_ = true;
        scheduleRefreshTimer(true);
        loadUserScripts();
        if (auto font = settings.standardFont())
            loadCssToWebView(KTStylesManager::fontStyle(font->family, font->size));
        setCurrentZoomFactor(KTWebPageZoomManager::sharedManager().zoomValue().value_or(1.0));
        break;
    case WEBKIT_LOAD_FINISHED: {
        sourceURL.reset();
        setProgressVisible(false);
        updateTabInfo();
        finishPending_ = true;
        finishedUrl_ = url();
        recordFinishedPage();
        if (item && item->label() != "New tab")
            isRecentNewTab = false;
        if (resumeScrollY_ && *resumeScrollY_ > 0) {
            std::string js = "window.scrollTo(0, " + std::to_string(long(*resumeScrollY_)) + ")";
            webkit_web_view_evaluate_javascript(webview_, js.c_str(), -1, nullptr, nullptr, nullptr, nullptr, nullptr);
        }
        resumeScrollY_.reset();
        if (delegate)
            delegate->webViewDidEndLoadUrl(webview_, url());
        break;
    }
    }
}

void KTWebViewController::recordFinishedPage()
{
    // WebKitGTK may report the title only after the load has finished: the
    // visit is recorded when both are known, once per load.
    if (!finishPending_ || title().empty())
        return;
    finishPending_ = false;
    updateTabInfo();
    KTHistoryManager::sharedManager().addUrlWithNameForDate(finishedUrl_, title(),
                                                            KTHistoryManager::dateString(std::time(nullptr)));
    if (item && item->label() != "New tab")
        isRecentNewTab = false;
}

void KTWebViewController::onLoadFailed(const char* uri, GError* error)
{
    // Logged; the last page stays visible, with no error page over it.
    KTLog::line(std::string(error ? error->message : "load failed") + " (" + (uri ? uri : "") + ")");
    sourceURL.reset();
    setProgressVisible(false);
    // A load the user or the app stopped on purpose (stop, a download, a
    // link sent to the browser) is no failure to tell about.
    bool deliberate = !error || g_error_matches(error, WEBKIT_NETWORK_ERROR, WEBKIT_NETWORK_ERROR_CANCELLED)
        || g_error_matches(error, WEBKIT_POLICY_ERROR, WEBKIT_POLICY_ERROR_FRAME_LOAD_INTERRUPTED_BY_POLICY_CHANGE)
        || g_error_matches(error, WEBKIT_PLUGIN_ERROR, WEBKIT_PLUGIN_ERROR_WILL_HANDLE_LOAD);
    if (deliberate)
        return;
    std::string text = "Could not open " + std::string(uri ? uri : "the page") + ": " + error->message;
    gtk_label_set_text(GTK_LABEL(failureNotice_), text.c_str());
    gtk_widget_show(failureNotice_);
}

void KTWebViewController::onLoadingChanged()
{
    if (delegate)
        delegate->webViewDidChangeLoadStatus(webview_, isLoading());
    KTNotificationCenter::defaultCenter().post(names::kUpdateWindowBackgroundColor);
}

void KTWebViewController::scheduleRefreshTimer(bool replace)
{
    const guint ms = KTSettingsManager::refreshTimerMilliseconds(KTSettingsManager::sharedManager().refreshTimeInterval());
    if (replace || ms == 0)
        refreshTimer_.reset();
    if (ms == 0)
        return;
    refreshTimer_ = KTSource(g_timeout_add(ms, +[](gpointer data) -> gboolean {
        auto* self = static_cast<KTWebViewController*>(data);
        ++self->refreshTicks_;
        self->refresh();
        return G_SOURCE_CONTINUE;
    }, this));
}

void KTWebViewController::loadUserScripts()
{
    WebKitUserContentManager* ucm = contentManager_.get();
    webkit_user_content_manager_remove_all_scripts(ucm);
    for (WebKitUserScript* script : KTScriptMessageHandler::shared().userScripts())
        webkit_user_content_manager_add_script(ucm, script);
    const std::string current = url();
    auto add = [ucm](const std::string& source) {
        WebKitUserScript* s = webkit_user_script_new(source.c_str(), WEBKIT_USER_CONTENT_INJECT_TOP_FRAME,
                                                     WEBKIT_USER_SCRIPT_INJECT_AT_DOCUMENT_END, nullptr, nullptr);
        webkit_user_content_manager_add_script(ucm, s);
        webkit_user_script_unref(s);
    };
    if (auto css = KTPageHooks::userStyleFor(current))
        add(KTStylesManager::wrapStyle(*css));
    if (auto script = KTPageHooks::userScriptFor(current))
        add(*script);
}

void KTWebViewController::loadCssToWebView(const std::optional<std::string>& css)
{
    if (!css)
        return;
    webkit_web_view_evaluate_javascript(webview_, KTStylesManager::wrapStyle(*css).c_str(), -1, nullptr, nullptr, nullptr, nullptr,
                                        nullptr);
}

void KTWebViewController::updateTabInfo()
{
    if (item && !title().empty())
        item->setLabel(title());
}

double KTWebViewController::currentZoomFactor() const { return webkit_web_view_get_zoom_level(webview_); }

void KTWebViewController::setCurrentZoomFactor(double factor) { webkit_web_view_set_zoom_level(webview_, factor); }

bool KTWebViewController::canZoomIn() const { return currentZoomFactor() * kZoomStep < 3.0; }
bool KTWebViewController::canZoomOut() const { return currentZoomFactor() / kZoomStep > 0.5; }
bool KTWebViewController::canResetZoom() const { return currentZoomFactor() != 1.0; }

void KTWebViewController::saveZoom(double factor)
{
    auto& zoom = KTWebPageZoomManager::sharedManager();
    zoom.setZoomValue(factor);
    zoom.save();
}

void KTWebViewController::zoomIn()
{
    if (!canZoomIn())
        return;
    setCurrentZoomFactor(currentZoomFactor() * kZoomStep);
    KTLog::debug(std::to_string(currentZoomFactor()));
    saveZoom(currentZoomFactor());
}

void KTWebViewController::zoomOut()
{
    // Tests canZoomIn on purpose: zooming out by command has no lower bound.
    if (!canZoomIn())
        return;
    setCurrentZoomFactor(currentZoomFactor() / kZoomStep);
    saveZoom(currentZoomFactor());
}

void KTWebViewController::resetZoom()
{
    if (!canResetZoom())
        return;
    setCurrentZoomFactor(1.0);
    saveZoom(1.0);
}

void KTWebViewController::printWebView()
{
    WebKitPrintOperation* op = webkit_print_operation_new(webview_);
    webkit_print_operation_run_dialog(op, windowOf(container_));
    g_object_unref(op);
}

void KTWebViewController::biginSearch()
{
    if (!findBar_)
        findBar_ = std::make_unique<KTFindBar>(*pageTools_);
    if (!findTextMode()) {
        // Between the progress line and the page, which moves down for it.
        gtk_box_pack_start(GTK_BOX(container_), findBar_->widget(), FALSE, FALSE, 0);
        gtk_box_reorder_child(GTK_BOX(container_), findBar_->widget(), 1);
    }
    gtk_widget_grab_focus(findBar_->searchField());
}

void KTWebViewController::hideSearchBar()
{
    if (findTextMode())
        findBar_->searchDoneAction();
}

void KTWebViewController::setUserAgent()
{
    if (!KTBehaviorManager::sharedManager().mobileVersion())
        return;
    setCustomUserAgent(KTPageHooks::userAgentNamed("iPhone"));
    clearCache();
}

void KTWebViewController::setCustomUserAgent(const std::optional<std::string>& agent)
{
    // An unknown agent name leaves the engine's own agent in place.
    if (agent)
        webkit_settings_set_user_agent(webkit_web_view_get_settings(webview_), agent->c_str());
}

void KTWebViewController::clearCache()
{
    // Through the engine, not by deleting its folder under the running
    // network process; the compiled rule list and favicons stay.
    webkit_web_context_clear_cache(KTWebContext::shared().context());
}

bool KTWebViewController::onScriptDialog(WebKitScriptDialog* dialog)
{
    auto type = webkit_script_dialog_get_dialog_type(dialog);
    if (type != WEBKIT_SCRIPT_DIALOG_ALERT && type != WEBKIT_SCRIPT_DIALOG_CONFIRM)
        return FALSE; // prompts and leave-page questions: the engine's own
    const char* message = webkit_script_dialog_get_message(dialog);
    KTLog::debug(std::string("message: ") + (message ? message : ""));
    const bool confirm = type == WEBKIT_SCRIPT_DIALOG_CONFIRM;
    if (dialogsSilenced_) {
        // Answered at once, as "Cancel" would: the page keeps running.
        if (confirm)
            webkit_script_dialog_confirm_set_confirmed(dialog, FALSE);
        return TRUE;
    }
    // From the second dialog on, the person may silence the page.
    const bool offerSilence = ++dialogsShown_ >= 2;
    // Held until answered; let go also when the question closes unanswered.
    std::shared_ptr<WebKitScriptDialog> held(webkit_script_dialog_ref(dialog), webkit_script_dialog_unref);
    KTWebUIDelegate::shared().runScriptAlert(windowOf(container_), message ? message : "", confirm, offerSilence,
                                             [this, alive = alive_, held, confirm](bool ok, bool silence) {
                                                 if (silence && *alive)
                                                     dialogsSilenced_ = true;
                                                 if (confirm)
                                                     webkit_script_dialog_confirm_set_confirmed(held.get(), ok);
                                                 webkit_script_dialog_close(held.get());
                                             });
    return TRUE;
}

bool KTWebViewController::onFileChooser(WebKitFileChooserRequest* request)
{
    GRef<WebKitFileChooserRequest> held = GRef<WebKitFileChooserRequest>::retain(request);
    KTWebUIDelegate::shared().chooseUploadFiles(
        windowOf(container_), webkit_file_chooser_request_get_select_multiple(request),
        [held](std::vector<std::string> files) {
            if (files.empty()) {
                webkit_file_chooser_request_cancel(held.get());
                return;
            }
            std::vector<const char*> names;
            for (const std::string& f : files)
                names.push_back(f.c_str());
            names.push_back(nullptr);
            webkit_file_chooser_request_select_files(held.get(), names.data());
        });
    return TRUE;
}

bool KTWebViewController::onPermissionRequest(WebKitPermissionRequest* request)
{
    // Camera and microphone are granted without asking; the desktop's
    // own consent still applies. Other requests get the engine's answer.
    if (WEBKIT_IS_USER_MEDIA_PERMISSION_REQUEST(request) || WEBKIT_IS_DEVICE_INFO_PERMISSION_REQUEST(request)) {
        webkit_permission_request_allow(request);
        return TRUE;
    }
    return KTPageHooks::decidePermission(webview_, request);
}

GtkWidget* KTWebViewController::onCreate(WebKitNavigationAction* action)
{
    if (!delegate) {
        // No one to show a window: the page replaces itself instead.
        WebKitURIRequest* req = webkit_navigation_action_get_request(action);
        webkit_web_view_load_request(webview_, req);
        return nullptr;
    }
    // Bounded as browsers bound them: a click opens one window (a loop in
    // its handler gets no more), and windows a script opens by itself (only
    // reaching here when the settings let scripts open windows) come a few
    // at a time.
    const bool gesture = webkit_navigation_action_is_user_gesture(action);
    if (!(gesture ? windowsOnGesture_ : windowsWithoutGesture_).take()) {
        KTLog::debug("window from the page refused: too many");
        return nullptr;
    }
    auto page = std::make_unique<KTWebViewController>(webview_);
    page->isRecentNewTab = true;
    KTPageHooks::moveNeedToDownload(webview_, page->webview());
    GtkWidget* view = GTK_WIDGET(page->webview());
    delegate->newWebViewConstroller(std::move(page));
    return view;
}

bool KTWebViewController::onDecidePolicy(WebKitPolicyDecision* decision, WebKitPolicyDecisionType type)
{
    return KTPageHooks::decidePolicy(this, decision, type);
}

} // namespace quilt
