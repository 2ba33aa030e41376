// "restore.json": the windows and tabs to bring back, upgraded from the old
// layout on load; each window's frame string places its window.
#include "KTStoreFuzzing.h"

#include "core/config/KTRestoreManager.h"
#include "core/windows/KTWindowRestorer.h"

using namespace quilt;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    fuzz::fuzzStore<KTRestoreManager>(fuzz::KTFuzzWorld::get().dataFolder() + "restore.json",
                                      fuzz::bytesOf(data, size), [](KTRestoreManager& r) {
                                          for (const auto& key : r.windowKeys()) {
                                              r.getUrlsForKey(key);
                                              KTWindowRestorer::Inputs in;
                                              in.screen = {0, 0, 1920, 1080};
                                              in.key = key;
                                              in.frame = r.windowsFrameString(key);
                                              KTWindowRestorer::placementForKey(in);
                                          }
                                      });
    return 0;
}
