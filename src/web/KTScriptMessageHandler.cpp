#include "web/KTScriptMessageHandler.h"

#include "core/config/KTBundle.h"
#include "core/config/KTFileUtil.h"
#include "core/config/KTLog.h"
#include "core/config/KTShared.h"
#include "core/menubar/KTDockBadge.h"

#include <cstring>

namespace quilt {

KTScriptMessageHandler& KTScriptMessageHandler::shared() { return KTShared<KTScriptMessageHandler>::get(); }

std::unique_ptr<KTScriptMessageHandler> KTScriptMessageHandler::create()
{
    return std::unique_ptr<KTScriptMessageHandler>(new KTScriptMessageHandler());
}

KTScriptMessageHandler::~KTScriptMessageHandler()
{
    // Pages that use the scripts hold their own references.
    for (WebKitUserScript* script : {helper_, search_})
        if (script)
            webkit_user_script_unref(script);
}

void KTScriptMessageHandler::registerWith(WebKitUserContentManager* manager, WebKitWebView* view)
{
    g_signal_connect_object(manager, "script-message-received::notifications",
                            G_CALLBACK(+[](WebKitUserContentManager*, WebKitJavascriptResult* r, WebKitWebView* v) {
                                shared().dispatch(kNotifications, v, r);
                            }),
                            view, GConnectFlags(0));
    g_signal_connect_object(manager, "script-message-received::autoFill",
                            G_CALLBACK(+[](WebKitUserContentManager*, WebKitJavascriptResult* r, WebKitWebView* v) {
                                shared().dispatch(kAutoFill, v, r);
                            }),
                            view, GConnectFlags(0));
    g_signal_connect_object(manager, "script-message-received::badge",
                            G_CALLBACK(+[](WebKitUserContentManager*, WebKitJavascriptResult* r, WebKitWebView* v) {
                                shared().dispatch(kBadge, v, r);
                            }),
                            view, GConnectFlags(0));
    webkit_user_content_manager_register_script_message_handler(manager, kNotifications);
    webkit_user_content_manager_register_script_message_handler(manager, kAutoFill);
    webkit_user_content_manager_register_script_message_handler(manager, kBadge);
}

KTRateLimit& KTScriptMessageHandler::budgetOf(WebKitWebView* view)
{
    static constexpr const char* kKey = "quilt-message-budget";
    auto* budget = static_cast<KTRateLimit*>(g_object_get_data(G_OBJECT(view), kKey));
    if (!budget) {
        budget = new KTRateLimit(kMessageBurst, kMessagesPerSecond);
        g_object_set_data_full(G_OBJECT(view), kKey, budget, +[](gpointer p) { delete static_cast<KTRateLimit*>(p); });
    }
    return *budget;
}

void KTScriptMessageHandler::dispatch(const char* channel, WebKitWebView* view, WebKitJavascriptResult* result)
{
    // A page posting in a loop is cut off before any work is done for it:
    // its messages cost a conversion and a parse each.
    if (!budgetOf(view).take()) {
        if (!g_object_get_data(G_OBJECT(view), "quilt-messages-dropped")) {
            g_object_set_data(G_OBJECT(view), "quilt-messages-dropped", GINT_TO_POINTER(1));
            KTLog::line(std::string("messages on ") + channel + " come too fast; some are dropped");
        }
        return;
    }
    // Pages may post anything: only its JSON form is passed on, and only
    // when it is of a sensible size and parses.
    JSCValue* value = webkit_javascript_result_get_js_value(result);
    char* text = value ? jsc_value_to_json(value, 0) : nullptr;
    const size_t size = text ? std::strlen(text) : 0;
    std::optional<KTJson> body;
    if (size > 0 && size <= kMaxMessageSize)
        body = json::parse(std::string_view(text, size));
    g_free(text);
    if (!body) {
        KTLog::debug(std::string("message ") + channel + " dropped (" + std::to_string(size) + " bytes)");
        return;
    }
    if (KTLog::debugEnabled())
        KTLog::debug(std::string("message ") + channel + ": " + json::compact(*body));
    if (std::strcmp(channel, kNotifications) == 0)
        notifications_.didReceiveScriptMessage(view, *body);
    else if (std::strcmp(channel, kBadge) == 0)
        didReceiveBadgeMessage(view, *body);
    else
        autoFill_.didReceiveScriptMessage(view, *body);
}

void KTScriptMessageHandler::didReceiveBadgeMessage(WebKitWebView* view, const KTJson& body)
{
    // The badge is the page's own: a view that closes takes it along
    // (KTWebViewController forgets it).
    if (auto text = KTDockBadge::textOfMessage(body))
        KTDockBadge::shared().setPageBadge(reinterpret_cast<uintptr_t>(view), *text);
    else
        KTLog::debug("badge message refused");
}

WebKitUserScript* KTScriptMessageHandler::bundleScript(const char* name)
{
    std::string path = KTBundle::main().pathForResource(name, "js");
    std::string source = path.empty() ? std::string() : KTFileUtil::read(path).value_or(std::string());
    return webkit_user_script_new(source.c_str(), WEBKIT_USER_CONTENT_INJECT_TOP_FRAME,
                                  WEBKIT_USER_SCRIPT_INJECT_AT_DOCUMENT_START, nullptr, nullptr);
}

std::vector<WebKitUserScript*> KTScriptMessageHandler::userScripts()
{
    if (!helper_)
        helper_ = bundleScript("KTAPIHelper");
    if (!search_)
        search_ = bundleScript("WebViewSearchExt");
    return {helper_, search_};
}

} // namespace quilt
