// "webpagezoom.json": the page zoom, applied to every page.
#include "KTStoreFuzzing.h"

#include "core/config/KTWebPageZoomManager.h"

using namespace quilt;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    fuzz::fuzzStore<KTWebPageZoomManager>(fuzz::KTFuzzWorld::get().dataFolder() + "webpagezoom.json",
                                          fuzz::bytesOf(data, size),
                                          [](KTWebPageZoomManager& z) { z.zoomValue(); });
    return 0;
}
