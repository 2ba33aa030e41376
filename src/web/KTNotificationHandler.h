#pragma once

#include "core/config/KTJson.h"

#include <webkit2/webkit2.h>

namespace quilt {

// Messages of the "notifications" page channel for one app: the page that sent
// them is known by its view, never by what the message claims.
class KTNotificationHandler {
public:
    KTNotificationHandler() = default;
    KTNotificationHandler(const KTNotificationHandler&) = delete;
    KTNotificationHandler& operator=(const KTNotificationHandler&) = delete;

    // body: the message as JSON, already size-checked; any shape a page can send.
    void didReceiveScriptMessage(WebKitWebView* view, const KTJson& body);
};

} // namespace quilt
