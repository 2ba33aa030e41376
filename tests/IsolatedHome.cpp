#include "IsolatedHome.h"

#include "core/config/KTBehaviorManager.h"
#include "core/config/KTBookmarksManager.h"
#include "core/config/KTBundle.h"
#include "core/config/KTFileUtil.h"
#include "core/config/KTHistoryManager.h"
#include "core/config/KTPlist.h"
#include "core/config/KTQuiltManager.h"
#include "core/config/KTRestoreManager.h"
#include "core/config/KTSettingsManager.h"
#include "core/config/KTShared.h"
#include "core/config/KTUpdateManager.h"
#include "core/config/KTUserDefaults.h"
#include "core/config/KTWebPageZoomManager.h"
#include "core/menubar/KTDockBadge.h"
#include "core/menubar/KTShortcutManager.h"
#include "core/web/KTScriptManager.h"
#include "core/web/KTScriptsManager.h"
#include "core/web/KTStylesManager.h"
#include "core/web/KTWhiteListManager.h"

#include <cstdlib>

namespace quilt::test {

std::string isolateHome(const std::string& root)
{
    const std::string home = root + "/home";
    KTFileUtil::makeDirectories(home);
    ::setenv("HOME", home.c_str(), 1);
    ::setenv("XDG_DATA_HOME", (home + "/.local/share").c_str(), 1);
    ::setenv("XDG_CONFIG_HOME", (home + "/.config").c_str(), 1);
    ::setenv("XDG_CACHE_HOME", (home + "/.cache").c_str(), 1);
    ::unsetenv("QUILT_BUNDLE");
    return home;
}

std::string makeAppBundle(const std::string& root, const std::string& name, const std::string& version,
                          const std::string& uniqueId)
{
    const std::string path = root + "/apps/" + name + ".app";
    KTFileUtil::makeDirectories(path + "/Contents/MacOS");
    KTFileUtil::makeDirectories(path + "/Contents/Resources");
    KTJson info = {{"CFBundleName", name},
                   {"CFBundleIdentifier", "org.quilt.test." + name},
                   {"CFBundleExecutable", "DefaultApp"},
                   {"CFBundleShortVersionString", version},
                   {"CFBundleVersion", version}};
    KTPlist::writeFile(path + "/Contents/Info.plist", info);
    if (!uniqueId.empty())
        KTBundle::writeUniqueIdentifier(path, uniqueId);
    return path;
}

void resetSharedStores()
{
    // The settings store saves itself when it goes; callers that do not
    // want that reset it themselves first.
    KTShared<KTSettingsManager>::reset();
    KTShared<KTBehaviorManager>::reset();
    KTShared<KTRestoreManager>::reset();
    KTShared<KTWebPageZoomManager>::reset();
    KTShared<KTBookmarksManager>::reset();
    KTShared<KTHistoryManager>::reset();
    KTShared<KTUpdateManager>::reset();
    KTShared<KTWhiteListManager>::reset();
    KTShared<KTScriptsManager>::reset();
    KTShared<KTStylesManager>::reset();
    KTShared<KTQuiltManager>::reset();
    KTShared<KTShortcutManager>::reset();
    KTShared<KTDockBadge>::reset();
    KTShared<KTScriptManager>::reset();
    KTUserDefaults::resetStandardUserDefaults();
}

} // namespace quilt::test
