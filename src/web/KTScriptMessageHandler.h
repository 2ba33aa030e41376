#pragma once

#include "core/config/GRef.h"
#include "core/config/KTRateLimit.h"
#include "web/KTAutoFillHandler.h"
#include "web/KTNotificationHandler.h"

#include <webkit2/webkit2.h>

#include <memory>
#include <string>
#include <vector>

namespace quilt {

// The page side of the app: the two bundle scripts every page gets at
// document start ("KTAPIHelper" defines ktAPIHelper, "WebViewSearchExt" the
// find functions) and the message channels "notifications", "autoFill" and
// "badge" (navigator.setAppBadge and clearAppBadge, for KTDockBadge).
class KTScriptMessageHandler {
public:
    // A message past this size is dropped where it enters the app: no page
    // message of ours comes near it.
    static constexpr size_t kMaxMessageSize = 64 * 1024;
    // Messages a page may post at once, then each second (all channels
    // together); the rest are dropped. Ours send a few on each login form.
    static constexpr double kMessageBurst = 200;
    static constexpr double kMessagesPerSecond = 100;

    // Made on first use (KTShared); pages registered before a reset send
    // their messages to the new one.
    static KTScriptMessageHandler& shared();
    static std::unique_ptr<KTScriptMessageHandler> create();
    ~KTScriptMessageHandler();
    KTScriptMessageHandler(const KTScriptMessageHandler&) = delete;
    KTScriptMessageHandler& operator=(const KTScriptMessageHandler&) = delete;

    // Registers the channels on a page's user content manager; messages
    // are attributed to that page's web view.
    void registerWith(WebKitUserContentManager* manager, WebKitWebView* view);
    // The two bundle scripts (read once; a missing resource gives an empty script).
    std::vector<WebKitUserScript*> userScripts();

    KTNotificationHandler& notificationHandler() { return notifications_; }
    KTAutoFillHandler& autoFillHandler() { return autoFill_; }

    static constexpr const char* kNotifications = "notifications";
    static constexpr const char* kAutoFill = "autoFill";
    static constexpr const char* kBadge = "badge";

private:
    KTScriptMessageHandler() = default;
    void dispatch(const char* channel, WebKitWebView* view, WebKitJavascriptResult* result);
    static void didReceiveBadgeMessage(WebKitWebView* view, const KTJson& body);
    WebKitUserScript* bundleScript(const char* name);
    static KTRateLimit& budgetOf(WebKitWebView* view);

    KTNotificationHandler notifications_;
    KTAutoFillHandler autoFill_;
    WebKitUserScript* helper_ = nullptr;
    WebKitUserScript* search_ = nullptr;
};

} // namespace quilt
