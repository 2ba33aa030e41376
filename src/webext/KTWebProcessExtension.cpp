#include "webext/KTWebProcessExtension.h"

#include "core/web/KTMainFrameGuard.h"

#include <optional>

namespace quilt {

std::string KTWebProcessExtension::scheme_;
KTAllowListRules KTWebProcessExtension::rules_;

namespace {
constexpr const char* kGuardKey = "quilt-main-frame-guard";
}

void KTWebProcessExtension::initialize(WebKitWebExtension* extension, GVariant* data)
{
    const char* scheme = nullptr;
    GVariant* rules = nullptr;
    if (!data || !g_variant_is_of_type(data, G_VARIANT_TYPE("(s(bbbas))"))) {
        // Nothing to judge by: every request goes as it would without us,
        // and the app still refuses at the response.
        g_warning("quilt: web process extension started without its data");
        return;
    }
    g_variant_get(data, "(&s@(bbbas))", &scheme, &rules);
    scheme_ = scheme;
    rules_ = KTAllowListRules::fromVariant(rules).value_or(KTAllowListRules {});
    g_variant_unref(rules);

    g_signal_connect(extension, "page-created", G_CALLBACK(+[](WebKitWebExtension*, WebKitWebPage* page, gpointer) {
                         onPageCreated(page);
                     }),
                     nullptr);
    g_signal_connect(extension, "user-message-received",
                     G_CALLBACK(+[](WebKitWebExtension*, WebKitUserMessage* message, gpointer) -> gboolean {
                         return onMessage(message);
                     }),
                     nullptr);
}

void KTWebProcessExtension::onPageCreated(WebKitWebPage* page)
{
    g_object_set_data_full(G_OBJECT(page), kGuardKey, new KTMainFrameGuard,
                           +[](gpointer guard) { delete static_cast<KTMainFrameGuard*>(guard); });
    g_signal_connect(page, "send-request",
                     G_CALLBACK(+[](WebKitWebPage* p, WebKitURIRequest* request, WebKitURIResponse* redirected,
                                    gpointer) -> gboolean { return onSendRequest(p, request, redirected); }),
                     nullptr);
}

gboolean KTWebProcessExtension::onSendRequest(WebKitWebPage* page, WebKitURIRequest* request,
                                              WebKitURIResponse* redirected)
{
    auto* guard = static_cast<KTMainFrameGuard*>(g_object_get_data(G_OBJECT(page), kGuardKey));
    const char* url = webkit_uri_request_get_uri(request);
    const char* pageURL = webkit_web_page_get_uri(page);
    if (!guard || !url || !pageURL)
        return FALSE;
    std::optional<std::string> from;
    if (redirected)
        if (const char* u = webkit_uri_response_get_uri(redirected))
            from = u;
    if (auto refused = guard->refusal(rules_, url, pageURL, from))
        webkit_uri_request_set_uri(request, KTMainFrameGuard::wrap(scheme_, *refused).c_str());
    return FALSE;
}

gboolean KTWebProcessExtension::onMessage(WebKitUserMessage* message)
{
    if (g_strcmp0(webkit_user_message_get_name(message), KTAllowListRules::kMessageName) != 0)
        return FALSE;
    // A malformed list keeps the one in force.
    if (auto rules = KTAllowListRules::fromVariant(webkit_user_message_get_parameters(message)))
        rules_ = std::move(*rules);
    return TRUE;
}

} // namespace quilt

extern "C" G_MODULE_EXPORT void webkit_web_extension_initialize_with_user_data(WebKitWebExtension* extension,
                                                                                 GVariant* data)
{
    quilt::KTWebProcessExtension::initialize(extension, data);
}
