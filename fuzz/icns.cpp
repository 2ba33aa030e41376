// "AppIcon.icns": the app's icon, read at start for its window icon and by
// the creation tool when it keeps an app's icon.
#include "KTFuzzWorld.h"

#include "core/config/KTIcns.h"

#include <cstdlib>

using namespace quilt;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    std::string_view bytes = fuzz::bytesOf(data, size);
    if (auto elements = KTIcns::decode(bytes)) {
        // Whatever decodes encodes back to the same elements.
        auto again = KTIcns::decode(KTIcns::encode(*elements));
        if (!again || again->size() != elements->size())
            std::abort();
        for (size_t i = 0; i < elements->size(); ++i)
            if ((*again)[i].type != (*elements)[i].type || (*again)[i].data != (*elements)[i].data)
                std::abort();
    }
    if (GdkPixbuf* image = KTIcns::readNearest(bytes, 128))
        g_object_unref(image);
    if (GdkPixbuf* image = KTIcns::readLargest(bytes))
        g_object_unref(image);
    return 0;
}
