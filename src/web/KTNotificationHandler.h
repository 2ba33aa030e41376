#pragma once

#include "core/config/KTJson.h"
#include "core/services/KTNotificationInfo.h"
#include "core/services/KTNotificationThrottle.h"

#include <webkit2/webkit2.h>

#include <optional>
#include <string>
#include <vector>

namespace quilt {

// Messages of the "notifications" page channel for one app: the page that sent
// them is known by its view, never by what the message claims.
//
// The page script stands in for the page's Notification (permission
// "granted", no question asked) and posts each one here; the helper service
// shows it on the desktop. WebKit's own notification path is never answered
// (its permission request falls through to the engine, which denies it), so
// show-notification never fires and a notification is shown exactly once.
class KTNotificationHandler {
public:
    KTNotificationHandler() = default;
    KTNotificationHandler(const KTNotificationHandler&) = delete;
    KTNotificationHandler& operator=(const KTNotificationHandler&) = delete;

    // body: the message as JSON, already size-checked; any shape a page can send.
    // Posts at most one desktop notification, titled as the page asked, with
    // the page's host as subtitle and a fresh identifier.
    void didReceiveScriptMessage(WebKitWebView* view, const KTJson& body);

    // The host of a page address; nullopt when it has none.
    static std::optional<std::string> hostOf(const char* uri);

    // Declared for keeping posted notifications; nothing fills or reads it.
    std::vector<KTNotificationInfo> notifications;

private:
    KTNotificationThrottle throttle_;
    bool dropping_ = false;
};

} // namespace quilt
