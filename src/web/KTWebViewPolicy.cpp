#include "web/KTWebViewPolicy.h"

#include "core/config/GRef.h"
#include "core/config/KTBehaviorManager.h"
#include "core/config/KTLog.h"
#include "core/config/KTSignal.h"
#include "core/web/KTResponsePolicy.h"
#include "core/web/KTWhiteListManager.h"
#include "web/KTAppLauncher.h"
#include "web/KTWebManager.h"
#include "web/KTWebContext.h"
#include "web/KTWebUIDelegate.h"
#include "web/KTWebViewController.h"

#include <algorithm>
#include <memory>

namespace quilt {

namespace {

constexpr const char* kDataKey = "quilt-web-view-policy";
constexpr size_t kMaxRemembered = 16;

GtkWindow* windowOf(WebKitWebView* view)
{
    GtkWidget* top = gtk_widget_get_toplevel(GTK_WIDGET(view));
    return GTK_IS_WINDOW(top) ? GTK_WINDOW(top) : nullptr;
}

// Addresses are compared without their fragment: WebKit may drop it from the
// request it sends.
std::string withoutFragment(const std::string& url)
{
    size_t hash = url.find('#');
    return hash == std::string::npos ? url : url.substr(0, hash);
}

void remember(std::vector<std::string>& list, const std::string& url)
{
    if (list.size() >= kMaxRemembered)
        list.erase(list.begin());
    list.push_back(url);
}

bool contains(const std::vector<std::string>& list, const std::string& url)
{
    const std::string key = withoutFragment(url);
    return std::any_of(list.begin(), list.end(), [&](const std::string& u) { return withoutFragment(u) == key; });
}

bool isUrlAllow(std::string_view url) { return KTWhiteListManager::sharedManager().isUrlAllow(url); }

std::string proposedUser(WebKitAuthenticationRequest* request)
{
    std::string user;
    if (WebKitCredential* proposed = webkit_authentication_request_get_proposed_credential(request)) {
        if (const char* name = webkit_credential_get_username(proposed))
            user = name;
        webkit_credential_free(proposed);
    }
    return user;
}

// A login being asked. Whichever comes first ends it: the answer, or WebKit
// giving up (the load stopped), which closes the question unanswered.
struct PendingLogin {
    GRef<WebKitAuthenticationRequest> request;
    KTSignal cancelled;
    KTWebUIDelegate::Dismiss dismiss;
    bool gone = false;

    void answer(const std::optional<KTLogin>& login)
    {
        if (gone)
            return;
        cancelled.disconnect();
        WebKitCredential* credential = nullptr;
        if (login)
            credential = webkit_credential_new(login->user.c_str(), login->password.c_str(),
                                               WEBKIT_CREDENTIAL_PERSISTENCE_FOR_SESSION);
        webkit_authentication_request_authenticate(request.get(), credential);
        if (credential)
            webkit_credential_free(credential);
    }
};

// HTTP Basic: "Log In" answers with a credential kept for this session,
// "Cancel" goes on without one, so the server's own "401" page shows, as in
// a browser. Other schemes are left to WebKit.
bool askForLogin(WebKitAuthenticationRequest* request, GtkWindow* parent)
{
    if (webkit_authentication_request_get_scheme(request) != WEBKIT_AUTHENTICATION_SCHEME_HTTP_BASIC)
        return false;
    auto pending = std::make_shared<PendingLogin>();
    pending->request = GRef<WebKitAuthenticationRequest>::retain(request);
    pending->cancelled = KTSignal(request, "cancelled", G_CALLBACK(+[](WebKitAuthenticationRequest*, PendingLogin* p) {
                                      p->cancelled.disconnect();
                                      p->gone = true;
                                      // May end `p`: the question holds the last reference.
                                      auto dismiss = std::move(p->dismiss);
                                      if (dismiss)
                                          dismiss();
                                  }),
                                  pending.get());
    const char* host = webkit_authentication_request_get_host(request);
    pending->dismiss = KTWebUIDelegate::shared().askForLogin(
        parent, host ? host : "", proposedUser(request),
        [pending](std::optional<KTLogin> login) { pending->answer(login); });
    return true;
}

} // namespace

KTWebViewPolicy& KTWebViewPolicy::forView(WebKitWebView* view)
{
    if (auto* p = static_cast<KTWebViewPolicy*>(g_object_get_data(G_OBJECT(view), kDataKey)))
        return *p;
    auto* p = new KTWebViewPolicy(view);
    g_object_set_data_full(G_OBJECT(view), kDataKey, p, +[](gpointer data) { delete static_cast<KTWebViewPolicy*>(data); });
    return *p;
}

KTWebViewPolicy::KTWebViewPolicy(WebKitWebView* view)
    : view_(view)
{
    // Connected for the life of the view, which owns this object, and before
    // the page's own handlers: a failed load is seen here even when the page
    // answers it.
    g_signal_connect(view, "load-changed", G_CALLBACK(+[](WebKitWebView*, WebKitLoadEvent e, KTWebViewPolicy* self) {
                         self->onLoadChanged(e);
                     }),
                     this);
    g_signal_connect(view, "resource-load-started",
                     G_CALLBACK(+[](WebKitWebView* v, WebKitWebResource* resource, WebKitURIRequest* request,
                                    KTWebViewPolicy* self) {
                         if (resource == webkit_web_view_get_main_resource(v))
                             self->onMainResourceStarted(webkit_uri_request_get_uri(request));
                     }),
                     this);
    g_signal_connect(view, "load-failed",
                     G_CALLBACK(+[](WebKitWebView*, WebKitLoadEvent, const char*, GError* error,
                                    KTWebViewPolicy* self) -> gboolean {
                         self->onLoadFailed(error);
                         return FALSE;
                     }),
                     this);
    g_signal_connect(view, "authenticate",
                     G_CALLBACK(+[](WebKitWebView* v, WebKitAuthenticationRequest* request, KTWebViewPolicy*) -> gboolean {
                         return askForLogin(request, windowOf(v));
                     }),
                     this);
    KTWebManager::sharedManager().prepareSession(webkit_web_view_get_context(view));
}

KTModifiers KTWebViewPolicy::modifiersFrom(guint state)
{
    KTModifiers m;
    m.control = state & GDK_CONTROL_MASK;
    m.shift = state & GDK_SHIFT_MASK;
    m.alt = state & GDK_MOD1_MASK;
    m.super = state & (GDK_SUPER_MASK | GDK_META_MASK | GDK_MOD4_MASK);
    return m;
}

bool KTWebViewPolicy::decide(KTWebViewController* page, WebKitPolicyDecision* decision, WebKitPolicyDecisionType type)
{
    // The page's own idea of the load in flight, from the address WebKit
    // showed at its start, is the previous page after a click; this is the
    // address the load really started with.
    if (inFlight_ && start_)
        page->sourceURL = start_;
    switch (type) {
    case WEBKIT_POLICY_DECISION_TYPE_NAVIGATION_ACTION:
        return decideNavigation(page, WEBKIT_NAVIGATION_POLICY_DECISION(decision), false);
    case WEBKIT_POLICY_DECISION_TYPE_NEW_WINDOW_ACTION:
        return decideNavigation(page, WEBKIT_NAVIGATION_POLICY_DECISION(decision), true);
    case WEBKIT_POLICY_DECISION_TYPE_RESPONSE:
        return decideResponse(page, WEBKIT_RESPONSE_POLICY_DECISION(decision));
    }
    return false;
}

bool KTWebViewPolicy::certainlyMainFrame(WebKitNavigationAction* action, const std::string& url) const
{
    const char* current = webkit_web_view_get_uri(view_);
    // A view that shows nothing yet has no frames.
    if (!current)
        return true;
    if (url != current)
        return false;
    // WebKit moved the view's address to this request before asking: a load
    // the app started or a redirect of the main frame. A sub-frame showing
    // the page's own address is the one look-alike, and it is no redirect.
    return webkit_navigation_action_is_redirect(action) || !committed_ || url != committedURI_;
}

bool KTWebViewPolicy::decideNavigation(KTWebViewController* page, WebKitNavigationPolicyDecision* navigation,
                                       bool newWindow)
{
    WebKitPolicyDecision* decision = WEBKIT_POLICY_DECISION(navigation);
    WebKitNavigationAction* action = webkit_navigation_policy_decision_get_navigation_action(navigation);
    const std::string url = webkit_uri_request_get_uri(webkit_navigation_action_get_request(action));
    // The address the web process put in place of a refused one: its
    // hand-over happens where the request arrives.
    if (isRefusedScheme(url)) {
        webkit_policy_decision_use(decision);
        return true;
    }
    // Whatever is let through below meets the list as it is now.
    KTWebContext::shared().shareAllowList(KTWhiteListManager::sharedManager().rules());
    const bool certain = !newWindow && certainlyMainFrame(action, url);
    KTLog::debug("navigation " + url + (newWindow ? " (new window)" : "") + (certain ? " main frame" : "")
                 + " modifiers " + std::to_string(webkit_navigation_action_get_modifiers(action)));

    // A redirect of a load whose first address was refused: that address is
    // what the browser gets, as if it had been refused at once.
    if (certain && webkit_navigation_action_is_redirect(action) && start_)
        if (auto refused = deferredRefusal(*start_)) {
            webkit_policy_decision_ignore(decision);
            handOver(page, *refused);
            return true;
        }

    KTNavigationRequest request;
    request.url = url;
    GRef<GAppInfo> app;
    if (!KTNavigationPolicy::isWebAddress(url) && (app = KTAppLauncher::appForUrl(url)))
        request.claimingApp = KTAppLauncher::displayName(app.get());
    request.modifiers = modifiersFrom(webkit_navigation_action_get_modifiers(action));
    request.target = newWindow ? KTFrameTarget::None : KTFrameTarget::Main;
    request.sourceURL = inFlight_ ? start_ : std::nullopt;
    request.isRecentNewTab = page->isRecentNewTab;
    request.openOtherAppInBackground = KTBehaviorManager::sharedManager().openOtherAppInBackground();
    const KTNavigationDecision d = KTNavigationPolicy::decide(request, KTWhiteListManager::sharedManager().rules());

    using Action = KTNavigationDecision::Action;
    switch (d.action) {
    case Action::AskOpenOtherApp:
        webkit_policy_decision_ignore(decision);
        KTAppLauncher::askToOpen(url, app.get(), windowOf(view_));
        return true;
    case Action::NewTab:
        webkit_policy_decision_ignore(decision);
        openNewTab(page, url);
        return true;
    case Action::Allow:
        if (certain)
            remember(allowedMain_, url);
        webkit_policy_decision_use(decision);
        return true;
    case Action::OpenInDefaultBrowser:
        if (!certain) {
            // Maybe a sub-frame: the response stage decides (see the header).
            remember(deferred_, url);
            webkit_policy_decision_use(decision);
            return true;
        }
        webkit_policy_decision_ignore(decision);
        handOver(page, url);
        return true;
    }
    return false;
}

std::optional<std::string> KTWebViewPolicy::deferredRefusal(const std::string& url) const
{
    const std::string key = withoutFragment(url);
    for (auto it = deferred_.rbegin(); it != deferred_.rend(); ++it)
        if (withoutFragment(*it) == key)
            return *it;
    return std::nullopt;
}

bool KTWebViewPolicy::decideResponse(KTWebViewController* page, WebKitResponsePolicyDecision* responseDecision)
{
    WebKitPolicyDecision* decision = WEBKIT_POLICY_DECISION(responseDecision);
    WebKitURIResponse* response = webkit_response_policy_decision_get_response(responseDecision);
    const char* uri = webkit_uri_response_get_uri(response);
    const std::string url = uri ? uri : "";
    const bool mainFrame = webkit_response_policy_decision_is_main_frame_main_resource(responseDecision);

    if (mainFrame && !contains(allowedMain_, url)) {
        // The main frame's document, not judged yet as such.
        const std::string start = start_.value_or(url);
        std::optional<std::string> refused = deferredRefusal(start);
        if (!refused && !isUrlAllow(KTNavigationPolicy::urlToJudge(url, start)))
            refused = url;
        if (refused) {
            webkit_policy_decision_ignore(decision);
            handOver(page, *refused);
            return true;
        }
    }

    // The page's own session keeps the response's cookies already: nothing
    // to copy anywhere.
    SoupMessageHeaders* headers = webkit_uri_response_get_http_headers(response);
    KTResponseInfo info;
    const char* mime = webkit_uri_response_get_mime_type(response);
    info.mimeType = mime ? mime : "";
    info.url = url;
    if (headers)
        if (const char* cd = soup_message_headers_get_one(headers, "Content-Disposition"))
            info.contentDisposition = cd;
    info.isMainFrame = mainFrame;
    info.needToDownload = needToDownload;
    KTLog::debug("response " + url + " " + info.mimeType + " " + info.contentDisposition.value_or(""));
    const KTResponseDecision d = KTResponsePolicy::decide(info);
    if (d.clearNeedToDownload)
        needToDownload = false;

    switch (d.action) {
    case KTResponseDecision::Action::Allow:
        webkit_policy_decision_use(decision);
        break;
    case KTResponseDecision::Action::Download:
        KTWebManager::sharedManager().downloadResponse(decision, view_, d.fileName, url);
        break;
    case KTResponseDecision::Action::NoDecision:
        // Nothing shown, nothing saved: the page stays as it was.
        webkit_policy_decision_ignore(decision);
        break;
    }
    return true;
}

void KTWebViewPolicy::openNewTab(KTWebViewController* page, const std::string& url)
{
    if (!page->delegate)
        return;
    auto tab = std::make_unique<KTWebViewController>();
    tab->setCustomUserAgent(KTWebManager::sharedManager().agentForNewTab());
    // Opened only for this link: if the link leaves the site, the empty tab
    // closes again instead of staying behind.
    tab->isRecentNewTab = true;
    tab->loadRequest(url);
    page->delegate->newWebViewConstroller(std::move(tab));
}

void KTWebViewPolicy::handOver(KTWebViewController* page, const std::string& url)
{
    handedOver_ = true;
    // An address no application takes (about:blank, data:) has nowhere to
    // go; it is only kept out of the page.
    if (KTNavigationPolicy::isWebAddress(url) || KTAppLauncher::appForUrl(url))
        KTAppLauncher::openRefusedAddress(url, KTBehaviorManager::sharedManager().openOtherAppInBackground(),
                                            windowOf(view_));
    if (page && page->isRecentNewTab && page->delegate)
        page->delegate->closeTabForController(page);
}

void KTWebViewPolicy::refusedBeforeRequest(const std::string& url)
{
    KTLog::debug("refused before request " + url);
    handOver(page, url);
}

bool KTWebViewPolicy::isRefusedScheme(const std::string& url) const
{
    const std::string& scheme = KTWebContext::shared().refusedScheme();
    return !scheme.empty() && url.size() > scheme.size() && url.compare(0, scheme.size(), scheme) == 0
        && url[scheme.size()] == ':';
}

void KTWebViewPolicy::onLoadChanged(WebKitLoadEvent event)
{
    switch (event) {
    case WEBKIT_LOAD_STARTED: {
        inFlight_ = true;
        handedOver_ = false;
        // A load the app asked for shows its address at once; a click's
        // first request is known when its resource starts.
        const char* current = webkit_web_view_get_uri(view_);
        start_.reset();
        if (current && (!committed_ || committedURI_ != current))
            start_ = current;
        break;
    }
    case WEBKIT_LOAD_REDIRECTED:
        break;
    case WEBKIT_LOAD_COMMITTED: {
        const char* current = webkit_web_view_get_uri(view_);
        committed_ = true;
        committedURI_ = current ? current : "";
        allowedMain_.clear();
        break;
    }
    case WEBKIT_LOAD_FINISHED:
        inFlight_ = false;
        break;
    }
}

void KTWebViewPolicy::onMainResourceStarted(const std::string& url)
{
    KTLog::debug("main resource " + url);
    if (inFlight_)
        start_ = url;
}

void KTWebViewPolicy::onLoadFailed(const GError* error)
{
    KTLog::debug(std::string("load failed: ") + (error ? error->message : "") + " start " + start_.value_or("-"));
    inFlight_ = false;
    if (handedOver_ || !start_ || !error)
        return;
    // Stopped by the app or the user, or ended by a decision: not a site
    // that could not be reached.
    if (g_error_matches(error, WEBKIT_NETWORK_ERROR, WEBKIT_NETWORK_ERROR_CANCELLED)
        || error->domain == WEBKIT_POLICY_ERROR || error->domain == WEBKIT_DOWNLOAD_ERROR)
        return;
    auto refused = deferredRefusal(*start_);
    if (!refused)
        return;
    handedOver_ = true;
    KTAppLauncher::openRefusedAddress(*refused, KTBehaviorManager::sharedManager().openOtherAppInBackground(),
                                        windowOf(view_));
}

} // namespace quilt
