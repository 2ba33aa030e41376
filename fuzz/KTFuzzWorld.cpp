#include "KTFuzzWorld.h"

#include "core/config/KTBehaviorManager.h"
#include "core/config/KTBookmarksManager.h"
#include "core/config/KTBundle.h"
#include "core/config/KTFileUtil.h"
#include "core/config/KTHistoryManager.h"
#include "core/config/KTLog.h"
#include "core/config/KTPlist.h"
#include "core/config/KTQuiltManager.h"
#include "core/config/KTRestoreManager.h"
#include "core/config/KTSettingsManager.h"
#include "core/config/KTShared.h"
#include "core/config/KTShellDelegate.h"
#include "core/config/KTUpdateManager.h"
#include "core/config/KTUserDefaults.h"
#include "core/config/KTWebPageZoomManager.h"
#include "core/web/KTScriptsManager.h"
#include "core/web/KTStylesManager.h"
#include "core/web/KTWhiteListManager.h"

#include <cstdio>
#include <cstdlib>
#include <glib.h>

namespace quilt::fuzz {

namespace {
std::string gRoot;

void removeRoot()
{
    if (!gRoot.empty())
        KTFileUtil::removeTree(gRoot);
}
} // namespace

KTFuzzWorld& KTFuzzWorld::get()
{
    static KTFuzzWorld* world = new KTFuzzWorld();
    return *world;
}

KTFuzzWorld::KTFuzzWorld()
{
    const char* tmp = std::getenv("TMPDIR");
    std::string tmpl = std::string(tmp && *tmp ? tmp : "/tmp") + "/quilt-fuzz-XXXXXX";
    if (!::mkdtemp(tmpl.data())) {
        std::perror("quilt fuzz: no temporary folder");
        std::abort();
    }
    root_ = gRoot = tmpl;
    std::atexit(removeRoot);

    home_ = root_ + "/home";
    KTFileUtil::makeDirectories(home_);
    ::setenv("HOME", home_.c_str(), 1);
    ::setenv("XDG_DATA_HOME", (home_ + "/.local/share").c_str(), 1);
    ::setenv("XDG_CONFIG_HOME", (home_ + "/.config").c_str(), 1);
    ::setenv("XDG_CACHE_HOME", (home_ + "/.cache").c_str(), 1);
    ::unsetenv("QUILT_BUNDLE");
    ::unsetenv("QUILT_DEBUG");
    KTLog::setSink([](std::string_view) {});

    char* uuid = g_uuid_string_random();
    uniqueId_ = uuid;
    g_free(uuid);
    bundle_ = root_ + "/apps/Fuzz.app";
    KTFileUtil::makeDirectories(bundle_ + "/Contents/MacOS");
    KTFileUtil::makeDirectories(bundle_ + "/Contents/Resources");
    KTJson info = {{"CFBundleName", "Fuzz"},
                   {"CFBundleIdentifier", "org.quilt.fuzz"},
                   {"CFBundleExecutable", "DefaultApp"},
                   {"CFBundleShortVersionString", "1.0"},
                   {"CFBundleVersion", "1.0"}};
    KTPlist::writeFile(bundle_ + "/Contents/Info.plist", info);
    KTBundle::writeUniqueIdentifier(bundle_, uniqueId_);
    KTBundle::setMainPath(bundle_);
}

std::string KTFuzzWorld::dataFolder() const { return home_ + "/.local/share/Quilt/" + uniqueId_ + "/"; }

void KTFuzzWorld::writeFile(const std::string& path, std::string_view bytes) const
{
    KTFileUtil::makeDirectories(KTFileUtil::parentFolder(path));
    // Not atomically: nothing reads concurrently, and the fsync would make
    // every input cost a disk flush.
    if (!g_file_set_contents(path.c_str(), bytes.data(), static_cast<gssize>(bytes.size()), nullptr)) {
        std::fprintf(stderr, "quilt fuzz: cannot write %s\n", path.c_str());
        std::abort();
    }
}

void KTFuzzWorld::reset() const
{
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
    KTUserDefaults::resetStandardUserDefaults();
    KTShellDelegate::setShared(nullptr);
    KTFileUtil::removeTree(dataFolder());
}

} // namespace quilt::fuzz
