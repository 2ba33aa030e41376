#pragma once

#include "core/web/KTNavigationPolicy.h"

#include <webkit2/webkit2.h>

#include <optional>
#include <string>
#include <vector>

namespace quilt {

class KTWebViewController;

// Carries out the navigation and response decisions of one web view: what
// stays in the page, what opens a tab, what goes to the default browser or
// another application, what becomes a download; and answers HTTP logins.
//
// WebKitGTK asks "decide-policy" about the navigations of the main frame and
// of every sub-frame alike and does not say which frame asks. Judging every
// navigation as the main frame would send iframes of other sites (maps,
// videos, payment forms) to the browser; judging none would show foreign
// pages. So the allow-list is applied where the frame is known:
//  - at the navigation stage, only to what is certainly the main frame: the
//    first load of a view that shows no document yet (new tabs and windows),
//    loads the app asks for itself, and main-frame redirects; WebKit moves
//    the view's address to these before it asks, while a sub-frame leaves it
//    on the page;
//  - everything else that the allow-list refuses is let through for now and
//    judged again at the response stage, where WebKit tells whether it is the
//    main frame's document: the main frame's is refused there (never shown,
//    handed to the browser), a sub-frame's is shown in its frame.
// A main-frame load that fails before any response (the site cannot be
// reached) is handed to the browser too, as the navigation stage would have.
//
// Where the web processes carry the app's extension (KTWebContext), what is
// let through for now never leaves: the extension sends a main-frame
// document request the allow-list refuses to the app's private scheme, which
// hands the address over here. The response stage is then a second line.
class KTWebViewPolicy {
public:
    // The policy of a view, made at its first decision and freed with it.
    static KTWebViewPolicy& forView(WebKitWebView* view);

    // Answers the decision; true when answered (always, except for types
    // this app has no opinion on).
    bool decide(KTWebViewController* page, WebKitPolicyDecision* decision, WebKitPolicyDecisionType type);

    // The page's "download the next page" mark (context menu commands).
    bool needToDownload = false;
    // The page showing the view, while there is one.
    KTWebViewController* page = nullptr;

    // The web process stopped a main-frame request for `url` before it left.
    void refusedBeforeRequest(const std::string& url);

    // The first request of the main-frame load in flight, as WebKit sent it.
    const std::optional<std::string>& loadStart() const { return start_; }

    static KTModifiers modifiersFrom(guint gdkState);

    KTWebViewPolicy(const KTWebViewPolicy&) = delete;
    KTWebViewPolicy& operator=(const KTWebViewPolicy&) = delete;

private:
    explicit KTWebViewPolicy(WebKitWebView* view);
    bool decideNavigation(KTWebViewController* page, WebKitNavigationPolicyDecision* decision, bool newWindow);
    bool decideResponse(KTWebViewController* page, WebKitResponsePolicyDecision* decision);
    bool certainlyMainFrame(WebKitNavigationAction* action, const std::string& url) const;
    void openNewTab(KTWebViewController* page, const std::string& url);
    void handOver(KTWebViewController* page, const std::string& url);
    bool isRefusedScheme(const std::string& url) const;
    std::optional<std::string> deferredRefusal(const std::string& url) const;
    void onLoadChanged(WebKitLoadEvent event);
    void onMainResourceStarted(const std::string& url);
    void onLoadFailed(const GError* error);

    WebKitWebView* view_;
    // The main-frame load in flight and the document shown.
    bool inFlight_ = false;
    std::optional<std::string> start_;
    bool committed_ = false;
    std::string committedURI_;
    bool handedOver_ = false;
    // Refused addresses let through because their frame was not known.
    std::vector<std::string> deferred_;
    // Main-frame addresses the navigation stage already allowed.
    std::vector<std::string> allowedMain_;
};

} // namespace quilt
