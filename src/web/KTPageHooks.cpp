#include "KTPageHooks.h"

#include "KTWebViewController.h"
#include "config/KTBehaviorManager.h"
#include "config/KTUserDefaults.h"
#include "KTScriptsManager.h"
#include "KTStylesManager.h"
#include "KTTypedAddress.h"
#include "KTUserAgents.h"

namespace quilt {

namespace {
// Built once per process from the running engine's version.
const KTUserAgents& agents()
{
    static const KTUserAgents table = KTUserAgents::forWebKitGTK(webkit_get_major_version(), webkit_get_minor_version(),
                                                                 webkit_get_micro_version());
    return table;
}
} // namespace

std::optional<std::string> KTPageHooks::userAgentNamed(const std::string& name) { return agents().agentNamed(name); }

std::optional<std::string> KTPageHooks::userStyleFor(const std::string& url)
{
    return KTStylesManager::sharedManager().findScriptFor(url);
}

std::optional<std::string> KTPageHooks::userScriptFor(const std::string& url)
{
    return KTScriptsManager::sharedManager().findScriptFor(url);
}

void KTPageHooks::clearLoginData(WebKitWebView*) {}

std::optional<std::string> KTPageHooks::agentForNewTab()
{
    return agents().agentForNewPage(KTBehaviorManager::sharedManager().mobileVersion(),
                                    KTUserDefaults::standardUserDefaults());
}

bool KTPageHooks::hasOnlySecureContent(WebKitWebView* view)
{
    GTlsCertificate* cert = nullptr;
    GTlsCertificateFlags errors {};
    return webkit_web_view_get_tls_info(view, &cert, &errors) && errors == 0;
}

std::optional<std::string> KTPageHooks::addressForTypedText(const std::string& text)
{
    return KTTypedAddress::urlToLoad(text);
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
