#include "KTPageHooks.h"

#include "KTWebViewController.h"
#include "config/KTBehaviorManager.h"
#include "config/KTUserDefaults.h"

namespace quilt {

std::optional<std::string> KTPageHooks::userAgentNamed(const std::string&) { return std::nullopt; }

std::optional<std::string> KTPageHooks::userStyleFor(const std::string&) { return std::nullopt; }

std::optional<std::string> KTPageHooks::userScriptFor(const std::string&) { return std::nullopt; }

void KTPageHooks::clearLoginData(WebKitWebView*) {}

std::optional<std::string> KTPageHooks::agentForNewTab()
{
    if (KTBehaviorManager::sharedManager().mobileVersion())
        return userAgentNamed("iPhone");
    auto name = KTUserDefaults::standardUserDefaults().stringForKey("lastUserAnget");
    return userAgentNamed(name && !name->empty() ? *name : "Safari-Mac");
}

bool KTPageHooks::hasOnlySecureContent(WebKitWebView* view)
{
    GTlsCertificate* cert = nullptr;
    GTlsCertificateFlags errors {};
    return webkit_web_view_get_tls_info(view, &cert, &errors) && errors == 0;
}

std::optional<std::string> KTPageHooks::addressForTypedText(const std::string& text)
{
    if (text.empty())
        return std::nullopt;
    if (g_uri_peek_scheme(text.c_str()))
        return text;
    return "https://" + text;
}

bool KTPageHooks::decidePermission(WebKitWebView*, WebKitPermissionRequest*) { return false; }

bool KTPageHooks::decidePolicy(KTWebViewController* page, WebKitPolicyDecision* decision, WebKitPolicyDecisionType type)
{
    if (type != WEBKIT_POLICY_DECISION_TYPE_NAVIGATION_ACTION)
        return false;
    WebKitNavigationAction* action
        = webkit_navigation_policy_decision_get_navigation_action(WEBKIT_NAVIGATION_POLICY_DECISION(decision));
    guint mods = webkit_navigation_action_get_modifiers(action);
    constexpr guint kAll = GDK_SHIFT_MASK | GDK_CONTROL_MASK | GDK_MOD1_MASK | GDK_SUPER_MASK | GDK_META_MASK;
    // Control alone opens the link in a new tab, as in every Linux browser.
    if ((mods & kAll) == GDK_CONTROL_MASK && page->delegate
        && webkit_navigation_action_get_navigation_type(action) == WEBKIT_NAVIGATION_TYPE_LINK_CLICKED) {
        auto tab = std::make_unique<KTWebViewController>();
        tab->loadRequest(webkit_uri_request_get_uri(webkit_navigation_action_get_request(action)));
        page->delegate->newWebViewConstroller(std::move(tab));
        webkit_policy_decision_ignore(decision);
        return true;
    }
    return false;
}

} // namespace quilt
