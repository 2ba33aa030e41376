// "history.json": title -> URL and date, listed oldest first. The history
// keeps its own records rather than a JSON value, so besides the round trip
// its save is checked against the general reader: an unchanged store writes
// exactly what json::parse and json::compact make of the same bytes.
#include "KTFuzzWorld.h"

#include "core/config/KTFileUtil.h"
#include "core/config/KTHistoryManager.h"
#include "core/config/KTJson.h"

#include <cstdlib>

using namespace quilt;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    auto& world = fuzz::KTFuzzWorld::get();
    const std::string path = world.dataFolder() + "history.json";
    const std::string_view bytes = fuzz::bytesOf(data, size);
    world.reset();
    world.writeFile(path, bytes);
    auto store = KTHistoryManager::create();
    store->save();
    const auto general = json::parse(bytes);
    const auto saved = KTFileUtil::read(path);
    if (general && !general->is_null() && bytes.find_first_not_of(" \t\r\n") != std::string_view::npos &&
        saved != json::compact(*general))
        std::abort();

    for (const auto& title : store->sortedByDateNames())
        store->getUrlByName(title);
    store->addUrlWithNameForDate("https://example.org/", "fuzz", KTHistoryManager::dateString(0));
    store->save();
    const auto again = KTFileUtil::read(path);
    store.reset();
    auto reloaded = KTHistoryManager::create();
    reloaded->save();
    if (KTFileUtil::read(path) != again)
        std::abort();
    return 0;
}
