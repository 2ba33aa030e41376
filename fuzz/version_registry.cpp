// "~/.QVT/.update": bundle path -> template version, shared by every app of
// the template and compared with the running version at each start. Only
// the comparison is driven: an update would copy files to the paths the
// input names.
#include "KTStoreFuzzing.h"

#include "core/config/KTPaths.h"
#include "core/config/KTUpdateManager.h"
#include "core/config/KTVersion.h"

using namespace quilt;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    auto& world = fuzz::KTFuzzWorld::get();
    fuzz::fuzzStore<KTUpdateManager>(KTPaths::home() + "/.QVT/.update", fuzz::bytesOf(data, size),
                                     [&](KTUpdateManager& registry) {
                                         if (!registry.json().is_object())
                                             return;
                                         const std::string running = KTUpdateManager::runningVersion();
                                         for (const auto& [path, version] : registry.json().items())
                                             if (version.is_string())
                                                 KTVersion::compare(version.get<std::string>(), running);
                                         registry.addUpdatePath(world.bundlePath());
                                     });
    return 0;
}
