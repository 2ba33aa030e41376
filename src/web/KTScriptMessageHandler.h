#pragma once

#include "core/config/GRef.h"

#include <webkit2/webkit2.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace quilt {

// The page side of the app: the two bundle scripts every page gets at
// document start ("KTAPIHelper" defines ktAPIHelper, "WebViewSearchExt" the
// find functions) and the message channels "notifications" and "autoFill".
class KTScriptMessageHandler {
public:
    using Handler = std::function<void(WebKitWebView* view, const std::string& bodyJson)>;

    // Made on first use (KTShared); pages registered before a reset send
    // their messages to the new one.
    static KTScriptMessageHandler& shared();
    static std::unique_ptr<KTScriptMessageHandler> create();
    ~KTScriptMessageHandler();
    KTScriptMessageHandler(const KTScriptMessageHandler&) = delete;
    KTScriptMessageHandler& operator=(const KTScriptMessageHandler&) = delete;

    // Registers both channels on a page's user content manager; messages
    // are attributed to that page's web view.
    void registerWith(WebKitUserContentManager* manager, WebKitWebView* view);
    // The two bundle scripts (read once; a missing resource gives an empty script).
    std::vector<WebKitUserScript*> userScripts();

    // Where messages go; until a channel has a handler its messages are dropped.
    void setNotificationsHandler(Handler h) { notifications_ = std::move(h); }
    void setAutoFillHandler(Handler h) { autoFill_ = std::move(h); }

    static constexpr const char* kNotifications = "notifications";
    static constexpr const char* kAutoFill = "autoFill";

private:
    KTScriptMessageHandler() = default;
    void dispatch(const char* channel, WebKitWebView* view, WebKitJavascriptResult* result);
    WebKitUserScript* bundleScript(const char* name);

    Handler notifications_, autoFill_;
    WebKitUserScript* helper_ = nullptr;
    WebKitUserScript* search_ = nullptr;
};

} // namespace quilt
