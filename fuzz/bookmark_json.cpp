// "bookmark.json": name -> URL, listed in the bookmarks menu and bar.
#include "KTStoreFuzzing.h"

#include "core/config/KTBookmarksManager.h"

using namespace quilt;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    fuzz::fuzzStore<KTBookmarksManager>(fuzz::KTFuzzWorld::get().dataFolder() + "bookmark.json",
                                        fuzz::bytesOf(data, size), [](KTBookmarksManager& b) {
                                            for (const auto& name : b.bookmarks())
                                                b.getUrlByName(name);
                                            b.addBookMarkForUrl("fuzz", "https://example.org/");
                                        });
    return 0;
}
