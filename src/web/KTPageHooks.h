#pragma once

#include <webkit2/webkit2.h>

#include <optional>
#include <string>

namespace quilt {

class KTWebViewController;

// What a page asks of the rest of the app: user agents, user scripts and
// styles, login data, and the navigation policy. One place, so the page
// controller stays about the page.
class KTPageHooks {
public:
    static std::optional<std::string> userAgentNamed(const std::string& name);
    // The agent of a name of the table or a custom agent text.
    static std::optional<std::string> chooseAgent(const std::string& nameOrText);
    static std::optional<std::string> userStyleFor(const std::string& url);
    static std::optional<std::string> userScriptFor(const std::string& url);
    static void clearLoginData(WebKitWebView* view);
    // The agent of a new tab: the mobile one, else the last chosen one.
    static std::optional<std::string> agentForNewTab();
    static bool hasOnlySecureContent(WebKitWebView* view);
    // Typed text to the address to load, or nullopt when nothing loads.
    static std::optional<std::string> addressForTypedText(const std::string& text);
    // True when the request was answered.
    static bool decidePermission(WebKitWebView* view, WebKitPermissionRequest* request);
    // Gives a new page's view its navigation policy, which watches its loads
    // (see KTWebViewPolicy); called before the page connects its own signals,
    // and with no page when the page goes.
    static void attach(WebKitWebView* view, KTWebViewController* page);
    // The page a view belongs to now; none once the page let it go.
    static KTWebViewController* controllerOf(WebKitWebView* view);
    // Navigations, new windows and responses (see KTWebViewPolicy).
    static bool decidePolicy(KTWebViewController* page, WebKitPolicyDecision* decision, WebKitPolicyDecisionType type);

    // The page's "download the next page" mark, set by the context menu's
    // download commands and used up by the next HTML response.
    static bool needToDownload(WebKitWebView* view);
    static void setNeedToDownload(WebKitWebView* view, bool value);
    // A window opened by a page takes the opener's mark (the opener's is
    // cleared).
    static void moveNeedToDownload(WebKitWebView* from, WebKitWebView* to);
};

} // namespace quilt
