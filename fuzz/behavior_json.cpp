// "behavior.json": flags and popover size, upgraded from old versions on load.
#include "KTStoreFuzzing.h"

#include "core/config/KTBehaviorManager.h"

using namespace quilt;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    fuzz::fuzzStore<KTBehaviorManager>(fuzz::KTFuzzWorld::get().dataFolder() + "behavior.json",
                                       fuzz::bytesOf(data, size), [](KTBehaviorManager& b) {
                                           b.popOverSize();
                                           b.openLinksIn();
                                           b.setPopOverWidth(b.popOverWidth() + 1);
                                       });
    return 0;
}
