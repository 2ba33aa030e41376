#include "web/KTNotificationHandler.h"

namespace quilt {

void KTNotificationHandler::didReceiveScriptMessage(WebKitWebView*, const KTJson&)
{
    // Not handled yet: messages are dropped.
}

} // namespace quilt
