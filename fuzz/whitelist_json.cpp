// "whitelist.json": the allow-list, asked about every main-frame address.
// A list the app saves must load back the same.
#include "KTFuzzWorld.h"

#include "core/web/KTWhiteListManager.h"

#include <cstdlib>

using namespace quilt;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    auto& world = fuzz::KTFuzzWorld::get();
    world.reset();
    const std::string path = world.dataFolder() + "whitelist.json";
    world.writeFile(path, fuzz::bytesOf(data, size));
    KTWhiteListManager list(path);
    for (const char* url : {"https://example.org/", "https://www.example.org/a?b#c", "file:///", ""})
        list.isUrlAllow(url);
    if (!list.savePatterns())
        std::abort();
    KTWhiteListManager again(path);
    if (again.patterns() != list.patterns() || again.allowAll() != list.allowAll()
        || again.allowPatterns() != list.allowPatterns() || again.allowSubdomains() != list.allowSubdomains())
        std::abort();
    return 0;
}
