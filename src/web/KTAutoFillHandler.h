#pragma once

#include "core/config/KTJson.h"

#include <webkit2/webkit2.h>

namespace quilt {

// Messages of the "autoFill" page channel for one app: the page that sent
// them is known by its view, never by what the message claims.
class KTAutoFillHandler {
public:
    KTAutoFillHandler() = default;
    KTAutoFillHandler(const KTAutoFillHandler&) = delete;
    KTAutoFillHandler& operator=(const KTAutoFillHandler&) = delete;

    // body: the message as JSON, already size-checked; any shape a page can send.
    void didReceiveScriptMessage(WebKitWebView* view, const KTJson& body);
};

} // namespace quilt
