// "shortcuts.json": words typed into the address entry and their addresses.
#include "KTFuzzInput.h"
#include "KTFuzzWorld.h"

#include "core/menubar/KTShortcutManager.h"

#include <cstdlib>

using namespace quilt;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    auto& world = fuzz::KTFuzzWorld::get();
    world.reset();
    const std::string path = world.dataFolder() + "shortcuts.json";
    world.writeFile(path, fuzz::bytesOf(data, size));

    auto store = KTShortcutManager::create();
    const auto words = store->shortcuts();
    const auto urls = store->urls();
    if (words.size() != urls.size())
        std::abort();
    for (size_t i = 0; i < words.size(); ++i)
        if (store->findUrlForShortcut(words[i]) != urls[i])
            std::abort();
    // What was read survives a save and a second load.
    store->saveJson();
    store.reset();
    auto reloaded = KTShortcutManager::create();
    if (reloaded->shortcuts() != words || reloaded->urls() != urls)
        std::abort();
    return 0;
}
