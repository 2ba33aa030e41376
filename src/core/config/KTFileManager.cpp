#include "core/config/KTFileManager.h"

#include "core/config/KTBundle.h"
#include "core/config/KTFileUtil.h"
#include "core/config/KTLog.h"
#include "core/config/KTPaths.h"

namespace quilt {

std::string KTFileManager::getSettingsPath()
{
    return getSettingsPathForSandbox();
}

std::string KTFileManager::getSettingsPathForSandbox()
{
    return getSettingsPathForSandbox(KTBundle::main().uniqueIdentifier());
}

std::string KTFileManager::getSettingsPathForSandbox(const std::optional<std::string>& uniqueId)
{
    // A bundle without the attribute formats a null identifier, as the
    // app always has: its data lands in a folder literally named "(null)".
    std::string path = KTPaths::userDataDir() + "/Quilt/" + uniqueId.value_or("(null)") + "/";
    std::string error;
    if (!KTFileUtil::makeDirectories(path, &error))
        KTLog::line("error:" + error);
    return path;
}

std::string KTFileManager::getHomeAppFolder()
{
    static const std::string folder
        = KTPaths::home() + "/.QVT/" + KTFileUtil::lastComponent(KTBundle::main().path()) + "/";
    return folder;
}

std::string KTFileManager::getWebCachePath()
{
    return KTPaths::userCacheDir() + "/" + KTBundle::main().bundleIdentifier();
}

} // namespace quilt
