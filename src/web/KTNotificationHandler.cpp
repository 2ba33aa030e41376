#include "web/KTNotificationHandler.h"

#include "core/config/KTLog.h"
#include "core/config/KTUUID.h"
#include "core/services/KTNotificationMessage.h"
#include "core/services/KTServiceManager.h"

namespace quilt {

std::optional<std::string> KTNotificationHandler::hostOf(const char* uri)
{
    if (!uri)
        return std::nullopt;
    GUri* parsed = g_uri_parse(uri, G_URI_FLAGS_NONE, nullptr);
    if (!parsed)
        return std::nullopt;
    const char* host = g_uri_get_host(parsed);
    std::optional<std::string> result;
    if (host && *host)
        result = host;
    g_uri_unref(parsed);
    return result;
}

void KTNotificationHandler::didReceiveScriptMessage(WebKitWebView* view, const KTJson& body)
{
    auto info = KTNotificationMessage::parse(body, hostOf(webkit_web_view_get_uri(view)), KTUUID::random());
    if (!info) {
        KTLog::debug("notification message refused");
        return;
    }
    if (!throttle_.allow()) {
        if (!dropping_)
            KTLog::debug("notifications come too fast: dropping some");
        dropping_ = true;
        return;
    }
    dropping_ = false;
    KTServiceManager::sharedManager().postNotification(*info);
}

} // namespace quilt
