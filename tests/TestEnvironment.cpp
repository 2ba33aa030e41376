#include "TestEnvironment.h"

#include "config/KTBehaviorManager.h"
#include "config/KTBookmarksManager.h"
#include "config/KTBundle.h"
#include "config/KTFileUtil.h"
#include "config/KTHistoryManager.h"
#include "config/KTLog.h"
#include "config/KTPlist.h"
#include "config/KTQuiltManager.h"
#include "config/KTRestoreManager.h"
#include "config/KTSettingsManager.h"
#include "config/KTShared.h"
#include "config/KTShellDelegate.h"
#include "config/KTUpdateManager.h"
#include "config/KTUserDefaults.h"
#include "config/KTWebPageZoomManager.h"
#include "web/KTScriptsManager.h"
#include "web/KTStylesManager.h"
#include "web/KTWhiteListManager.h"

#include <cstdlib>
#include <glib.h>

namespace quilt::test {

namespace {
const char* kVars[] = {"HOME", "XDG_DATA_HOME", "XDG_CONFIG_HOME", "XDG_CACHE_HOME", "QUILT_BUNDLE"};
}

TestEnvironment::TestEnvironment()
{
    for (const char* v : kVars) {
        const char* old = std::getenv(v);
        savedEnv_.emplace_back(v, old ? old : std::string("\x01"));
    }
    char tmpl[] = "/tmp/quilt-test-XXXXXX";
    root_ = ::mkdtemp(tmpl);
    home_ = root_ + "/home";
    KTFileUtil::makeDirectories(home_);
    ::setenv("HOME", home_.c_str(), 1);
    ::setenv("XDG_DATA_HOME", (home_ + "/.local/share").c_str(), 1);
    ::setenv("XDG_CONFIG_HOME", (home_ + "/.config").c_str(), 1);
    ::setenv("XDG_CACHE_HOME", (home_ + "/.cache").c_str(), 1);
    ::unsetenv("QUILT_BUNDLE");
    char* uuid = g_uuid_string_random();
    uniqueId_ = uuid;
    g_free(uuid);
    bundle_ = makeBundle("Test", "1.0", uniqueId_);
    KTBundle::setMainPath(bundle_);
    resetSharedStores();
}

TestEnvironment::~TestEnvironment()
{
    resetSharedStores();
    KTShellDelegate::setShared(nullptr);
    for (auto& [name, value] : savedEnv_) {
        if (value == "\x01")
            ::unsetenv(name.c_str());
        else
            ::setenv(name.c_str(), value.c_str(), 1);
    }
    if (!std::getenv("QUILT_KEEP_TEST_FILES"))
        KTFileUtil::removeTree(root_);
}

void TestEnvironment::resetSharedStores()
{
    // The settings store saves itself when it goes; tests that do not want
    // that reset it themselves first.
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
    KTQuiltManager::resetSharedManager();
    KTUserDefaults::resetStandardUserDefaults();
}

std::string TestEnvironment::dataFolder() const
{
    return home_ + "/.local/share/Quilt/" + uniqueId_ + "/";
}

std::string TestEnvironment::makeBundle(const std::string& name, const std::string& version,
                                        const std::string& uniqueId) const
{
    std::string path = root_ + "/apps/" + name + ".app";
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

void TestEnvironment::writeFile(const std::string& path, const std::string& content) const
{
    KTFileUtil::makeDirectories(KTFileUtil::parentFolder(path));
    ASSERT_TRUE(KTFileUtil::writeAtomically(path, content)) << path;
}

std::string TestEnvironment::readFile(const std::string& path) const
{
    return KTFileUtil::read(path).value_or(std::string());
}

KTJson TestEnvironment::readJson(const std::string& path) const
{
    auto parsed = json::parse(readFile(path));
    return parsed ? *parsed : KTJson();
}

LogCapture::LogCapture()
{
    KTLog::setSink([this](std::string_view line) { lines_.emplace_back(line); });
}

LogCapture::~LogCapture() { KTLog::setSink({}); }

size_t LogCapture::count(const std::string& prefix) const
{
    size_t n = 0;
    for (const auto& l : lines_)
        if (l.rfind(prefix, 0) == 0)
            ++n;
    return n;
}

} // namespace quilt::test
