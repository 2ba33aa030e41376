// What a page posts on the "notifications" channel, as the page sent it
// (JSON text). A notification it gives must survive the trip to the helper.
#include "KTFuzzWorld.h"

#include "core/config/KTJson.h"
#include "core/services/KTNotificationMessage.h"

#include <cstdlib>
#include <glib.h>

using namespace quilt;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    auto body = json::parse(fuzz::bytesOf(data, size));
    if (!body)
        return 0;
    auto info = KTNotificationMessage::parse(*body, std::string("example.org"), "id-1");
    if (!info)
        return 0;
    GVariant* record = g_variant_ref_sink(info->toVariant());
    auto received = KTNotificationInfo::fromVariant(record);
    g_variant_unref(record);
    if (!received || *received != *info)
        std::abort();
    return 0;
}
