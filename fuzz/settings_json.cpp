// "settings.json": loaded at start, read by every window and page. What a
// start loads, a quit writes back unchanged.
#include "KTFuzzWorld.h"

#include "core/config/KTSettingsManager.h"

#include <cstdlib>

using namespace quilt;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    auto& world = fuzz::KTFuzzWorld::get();
    world.reset();
    auto settings = KTSettingsManager::create();
    world.writeFile(settings->path(), fuzz::bytesOf(data, size));
    settings->loadSettings();
    settings->loadValues();
    settings->getMainUrl();
    settings->openEmptyPage();
    settings->pathToDownloadsFolder();
    settings->windowOpacity();
    settings->windowLevel();
    settings->windowShadow();
    settings->hideTitle();
    settings->hideTitlebar();
    settings->autoWindowColor();
    settings->windowColor().cssString();
    if (auto font = settings->standardFont())
        (void)font->size;

    const KTJson loaded = settings->settings();
    settings->saveSettings();
    settings.reset();
    auto reloaded = KTSettingsManager::create();
    if (!loaded.is_null() && reloaded->settings() != loaded)
        std::abort();
    return 0;
}
