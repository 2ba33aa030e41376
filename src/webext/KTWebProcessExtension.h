#pragma once

#include "core/web/KTAllowListRules.h"

#include <webkit2/webkit-web-extension.h>

#include <string>

namespace quilt {

// The app's part inside each WebKit web process: it sees every request of a
// page just before it leaves and sends a main-frame document request that the
// allow-list refuses to the app's private scheme instead (see
// KTMainFrameGuard), so that the foreign server is never asked.
//
// Loaded into every web process, so it links only the allow-list rules.
class KTWebProcessExtension {
public:
    // `data` is "(s(bbbas))": the private scheme and the allow-list.
    static void initialize(WebKitWebExtension* extension, GVariant* data);

private:
    static void onPageCreated(WebKitWebPage* page);
    static gboolean onSendRequest(WebKitWebPage* page, WebKitURIRequest* request, WebKitURIResponse* redirected);
    static gboolean onMessage(WebKitUserMessage* message);

    static std::string scheme_;
    static KTAllowListRules rules_;
};

} // namespace quilt
