// Entry of every app bundle. The windowed browser comes next; for now the
// app sets up its stores and registers itself, so a made app is complete.
#include "config/KTBundle.h"
#include "config/KTQuiltManager.h"
#include "config/KTSettingsManager.h"
#include "config/KTUpdateManager.h"

#include <cstdio>

int main()
{
    using namespace quilt;
    auto& settings = KTSettingsManager::sharedManager();
    KTQuiltManager::sharedManager();
    KTUpdateManager::sharedManager().addUpdatePath(KTBundle::main().path());
    auto url = settings.getMainUrl();
    std::printf("%s is set up for %s (bundle %s); its browser window is not built yet.\n",
                KTBundle::main().folderName().c_str(), url ? url->c_str() : "no home page",
                KTBundle::main().path().c_str());
    return 0;
}
