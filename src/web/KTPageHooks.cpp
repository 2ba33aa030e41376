#include "web/KTPageHooks.h"

#include "core/menubar/KTShortcutManager.h"
#include "core/web/KTScriptsManager.h"
#include "core/web/KTStylesManager.h"
#include "core/web/KTTypedAddress.h"
#include "web/KTScriptMessageHandler.h"
#include "web/KTWebManager.h"
#include "web/KTWebViewController.h"
#include "web/KTWebViewPolicy.h"

namespace quilt {

std::optional<std::string> KTPageHooks::userAgentNamed(const std::string& name)
{
    return KTWebManager::sharedManager().userAgentNamed(name);
}

std::optional<std::string> KTPageHooks::chooseAgent(const std::string& nameOrText)
{
    return KTWebManager::sharedManager().chooseAgent(nameOrText);
}

std::optional<std::string> KTPageHooks::userStyleFor(const std::string& url)
{
    return KTStylesManager::sharedManager().findScriptFor(url);
}

std::optional<std::string> KTPageHooks::userScriptFor(const std::string& url)
{
    return KTScriptsManager::sharedManager().findScriptFor(url);
}

void KTPageHooks::clearLoginData(WebKitWebView* view)
{
    KTScriptMessageHandler::shared().autoFillHandler().clearLoginDataForWebView(view);
}

std::optional<std::string> KTPageHooks::agentForNewTab() { return KTWebManager::sharedManager().agentForNewTab(); }

bool KTPageHooks::hasOnlySecureContent(WebKitWebView* view)
{
    GTlsCertificate* cert = nullptr;
    GTlsCertificateFlags errors {};
    return webkit_web_view_get_tls_info(view, &cert, &errors) && errors == 0;
}

std::optional<std::string> KTPageHooks::addressForTypedText(const std::string& text)
{
    // A shortcut word stands for its URL, which then goes through the
    // usual completion like anything typed.
    auto shortcut = KTShortcutManager::sharedManager().findUrlForShortcut(text);
    return KTTypedAddress::urlToLoad(shortcut && !shortcut->empty() ? *shortcut : text);
}

bool KTPageHooks::decidePermission(WebKitWebView*, WebKitPermissionRequest*) { return false; }

void KTPageHooks::attach(WebKitWebView* view, KTWebViewController* page) { KTWebViewPolicy::forView(view).page = page; }

KTWebViewController* KTPageHooks::controllerOf(WebKitWebView* view) { return KTWebViewPolicy::forView(view).page; }

bool KTPageHooks::decidePolicy(KTWebViewController* page, WebKitPolicyDecision* decision, WebKitPolicyDecisionType type)
{
    return KTWebViewPolicy::forView(page->webview()).decide(page, decision, type);
}

bool KTPageHooks::needToDownload(WebKitWebView* view) { return KTWebViewPolicy::forView(view).needToDownload; }

void KTPageHooks::setNeedToDownload(WebKitWebView* view, bool value)
{
    KTWebViewPolicy::forView(view).needToDownload = value;
}

void KTPageHooks::moveNeedToDownload(WebKitWebView* from, WebKitWebView* to)
{
    bool mark = needToDownload(from);
    setNeedToDownload(from, false);
    setNeedToDownload(to, mark);
}

} // namespace quilt
