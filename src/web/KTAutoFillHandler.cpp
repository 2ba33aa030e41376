#include "web/KTAutoFillHandler.h"

namespace quilt {

void KTAutoFillHandler::didReceiveScriptMessage(WebKitWebView*, const KTJson&)
{
    // Not handled yet: messages are dropped.
}

} // namespace quilt
