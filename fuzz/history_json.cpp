// "history.json": title -> URL and date, listed newest first.
#include "KTStoreFuzzing.h"

#include "core/config/KTHistoryManager.h"

using namespace quilt;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    fuzz::fuzzStore<KTHistoryManager>(fuzz::KTFuzzWorld::get().dataFolder() + "history.json",
                                      fuzz::bytesOf(data, size), [](KTHistoryManager& h) {
                                          for (const auto& title : h.sortedByDateNames())
                                              h.getUrlByName(title);
                                          h.addUrlWithNameForDate("https://example.org/", "fuzz",
                                                                  KTHistoryManager::dateString(0));
                                      });
    return 0;
}
