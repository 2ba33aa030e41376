// What a page posts on the "autoFill" channel (JSON text). Whatever it
// gives stays within the limits the menu and the keyring rely on.
#include "KTFuzzWorld.h"

#include "core/config/KTJson.h"
#include "core/services/KTAutoFillMessage.h"

#include <cmath>
#include <cstdlib>

using namespace quilt;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    auto body = json::parse(fuzz::bytesOf(data, size));
    if (!body)
        return 0;
    auto message = KTAutoFillMessage::parse(*body);
    if (!message)
        return 0;
    const size_t limit = KTAutoFillMessage::kMaxValueLength;
    if (message->username.size() > limit || message->password.size() > limit || message->value.size() > limit)
        std::abort();
    for (double offset : {message->left, message->top})
        if (!std::isfinite(offset) || std::fabs(offset) > KTAutoFillMessage::kMaxOffset)
            std::abort();
    return 0;
}
