// The bundle's read-only configuration: "QuiltCreationToolSettings.plist"
// or "EnterpriseSettings.plist" (the first byte picks which), imposed on the
// stores at start.
#include "KTFuzzWorld.h"

#include "core/config/KTFileUtil.h"
#include "core/config/KTQuiltManager.h"

using namespace quilt;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size == 0)
        return 0;
    auto& world = fuzz::KTFuzzWorld::get();
    world.reset();
    const std::string folder = world.resourcesFolder() + "/";
    const bool enterprise = data[0] & 1;
    KTFileUtil::removeTree(folder + (enterprise ? "QuiltCreationToolSettings.plist" : "EnterpriseSettings.plist"));
    world.writeFile(folder + (enterprise ? "EnterpriseSettings.plist" : "QuiltCreationToolSettings.plist"),
                    fuzz::bytesOf(data + 1, size - 1));
    KTQuiltManager::create();
    KTQuiltManager::appName();
    KTQuiltManager::applicationName();
    KTQuiltManager::quiltCreationToolWindowSize();
    KTQuiltManager::alphaValue();
    KTQuiltManager::hideEnterpriseItems();
    world.reset();
    return 0;
}
