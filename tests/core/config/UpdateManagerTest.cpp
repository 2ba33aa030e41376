// The per-user version registry and the update of registered apps from the
// template inside the running bundle.

#include "ConfigTest.h"

#include "core/config/KTBundle.h"
#include "core/config/KTFileUtil.h"
#include "core/config/KTPlist.h"
#include "core/config/KTShared.h"
#include "core/config/KTUpdateManager.h"
#include "core/config/KTVersion.h"

#include <sys/stat.h>
#include <thread>

using namespace quilt;
using namespace quilt::test;

namespace {

struct VersionCase {
    const char* a;
    const char* b;
    int expected;
};

class Version : public ::testing::TestWithParam<VersionCase> {};

TEST_P(Version, Compare)
{
    const auto& c = GetParam();
    EXPECT_EQ(KTVersion::compare(c.a, c.b), c.expected);
    EXPECT_EQ(KTVersion::compare(c.b, c.a), -c.expected);
}

INSTANTIATE_TEST_SUITE_P(Table, Version,
                         ::testing::Values(VersionCase{"1.10", "1.9", 1}, VersionCase{"1.0", "1.0", 0},
                                           VersionCase{"1", "1.0", -1}, VersionCase{"2", "10", -1},
                                           VersionCase{"1.0.1", "1.0", 1},
                                           VersionCase{"1.0b2", "1.0b10", -1}, VersionCase{"", "0", -1},
                                           VersionCase{"99999999999999999999", "1", 1}));

class UpdateTest : public ::testing::Test {
protected:
    std::string registryFile() const { return env.home() + "/.QVT/.update"; }
    void writeRegistry(const KTJson& registry) { env.writeFile(registryFile(), json::compact(registry)); }

    // A template under the running bundle's resources, as the creation tool ships it.
    void makeTemplate()
    {
        const std::string t = env.bundlePath() + "/Contents/Resources/DefaultApp.app/Contents";
        env.writeFile(t + "/MacOS/DefaultApp", "new executable");
        env.writeFile(t + "/Frameworks/libnew.so", "new framework");
        env.writeFile(t + "/Resources/Base.lproj/Main.ui", "new interface");
    }

    // A registered app made with an older template.
    std::string makeOldApp(const std::string& name, const std::string& executable)
    {
        std::string app = env.makeBundle(name, "0.9", "id-" + name);
        KTJson info = *KTPlist::readFile(app + "/Contents/Info.plist");
        info["CFBundleExecutable"] = executable;
        info["NSAppTransportSecurity"] = {{"NSAllowsArbitraryLoadsInWebContent", true}, {"NSAllowsLocalNetworking", true}};
        KTPlist::writeFile(app + "/Contents/Info.plist", info);
        env.writeFile(app + "/Contents/MacOS/" + executable, "old executable");
        env.writeFile(app + "/Contents/Frameworks/libold.so", "old framework");
        env.writeFile(app + "/Contents/Resources/Base.lproj/Old.ui", "old interface");
        env.writeFile(app + "/Contents/Resources/EnterpriseSettings.plist", "kept");
        return app;
    }

    // Runs the main loop until every queued update has reported back.
    bool waitForUpdates(KTUpdateManager& m)
    {
        return waitUntil([&] { return m.pendingOperations() == 0; }, std::chrono::seconds(20));
    }

    TestEnvironment env;
};

TEST_F(UpdateTest, RegisteringTwiceAddsOneEntryAndKeepsItsVersion)
{
    writeRegistry({{"/apps/Other.app", "0.5"}});
    auto& m = KTUpdateManager::sharedManager();
    m.addUpdatePath(env.bundlePath());
    m.addUpdatePath(env.bundlePath());
    EXPECT_EQ(env.readJson(registryFile()), KTJson({{"/apps/Other.app", "0.5"}, {env.bundlePath(), "1.0"}}));

    // An older entry for the same path is not refreshed.
    KTShared<KTUpdateManager>::reset();
    writeRegistry({{env.bundlePath(), "0.7"}});
    KTUpdateManager::sharedManager().addUpdatePath(env.bundlePath());
    EXPECT_EQ(env.readJson(registryFile()), KTJson({{env.bundlePath(), "0.7"}}));
}

TEST_F(UpdateTest, ARegistryThatCannotBeReadIsLeftAsItIs)
{
    // Every app shares the file: one that cannot read it must not save its
    // own entry over all the others.
    ASSERT_TRUE(KTFileUtil::makeDirectories(KTFileUtil::parentFolder(registryFile())));
    ASSERT_EQ(::mkfifo(registryFile().c_str(), 0600), 0);
    LogCapture log;
    KTUpdateManager::sharedManager().addUpdatePath(env.bundlePath());
    KTShared<KTUpdateManager>::reset();
    struct stat st {};
    ASSERT_EQ(::lstat(registryFile().c_str(), &st), 0);
    EXPECT_TRUE(S_ISFIFO(st.st_mode));
    EXPECT_EQ(folderEntries(KTFileUtil::parentFolder(registryFile())), std::vector<std::string>{".update"});
    EXPECT_EQ(log.count(registryFile()), 1u);
}

TEST_F(UpdateTest, OnlyOlderEntriesAreQueued)
{
    KTBundle::setMainPath(env.makeBundle("Runner", "1.9", "runner"));
    const std::string gone = env.root() + "/apps/Gone";
    writeRegistry({{gone + "1.app", "1.10"}, {gone + "2.app", "1.9"}, {gone + "3.app", "1.8"},
                   {gone + "4.app", 1}, {gone + "5.app", "2"}});
    auto& m = KTUpdateManager::sharedManager();
    EXPECT_EQ(m.checkForUpdate(), 2); // "1.8" and 1
}

TEST_F(UpdateTest, UpdatesARegisteredAppFromTheTemplate)
{
    makeTemplate();
    const std::string app = makeOldApp("Mail", "Mail");
    const std::string data = env.home() + "/.local/share/Quilt/id-Mail/settings.json";
    env.writeFile(data, "{\"main_url\":\"https://mail.example/\"}");
    writeRegistry({{app, "0.9"}, {env.bundlePath(), "1.0"}});
    const std::string before = env.readFile(registryFile());

    auto& m = KTUpdateManager::sharedManager();
    std::thread::id appliedOn;
    m.onUpdateFinished = [&](const std::string&, bool ok) {
        EXPECT_TRUE(ok);
        appliedOn = std::this_thread::get_id();
    };
    ASSERT_EQ(m.checkForUpdate(), 1);
    ASSERT_TRUE(waitForUpdates(m));
    EXPECT_EQ(appliedOn, std::this_thread::get_id());
    EXPECT_EQ(m.json()[app], "1.0");
    EXPECT_EQ(env.readFile(registryFile()), before); // not saved by the check

    EXPECT_EQ(env.readFile(app + "/Contents/MacOS/Mail"), "new executable");
    EXPECT_EQ(folderEntries(app + "/Contents/Frameworks"), std::vector<std::string>{"libnew.so"});
    EXPECT_EQ(folderEntries(app + "/Contents/Resources/Base.lproj"), std::vector<std::string>{"Main.ui"});
    EXPECT_EQ(env.readFile(app + "/Contents/Resources/EnterpriseSettings.plist"), "kept");
    EXPECT_EQ(env.readFile(data), "{\"main_url\":\"https://mail.example/\"}");

    KTJson info = *KTPlist::readFile(app + "/Contents/Info.plist");
    EXPECT_EQ(info["CFBundleShortVersionString"], "1.0");
    EXPECT_EQ(info["CFBundleName"], "Mail");
    EXPECT_EQ(info["NSAppTransportSecurity"], KTJson({{"NSAllowsLocalNetworking", true}}));

    // The next registration saves the new version along with the new path.
    m.addUpdatePath(env.root() + "/apps/New.app");
    EXPECT_EQ(env.readJson(registryFile())[app], "1.0");
}

TEST_F(UpdateTest, UnwritablePlistStopsBeforeAnyCopy)
{
    makeTemplate();
    const std::string app = env.root() + "/apps/Hollow.app";
    KTFileUtil::makeDirectories(app); // exists, but has no Contents
    LogCapture log;
    EXPECT_FALSE(KTUpdateManager::sharedManager().updateToVersion(app, "1.0"));
    EXPECT_EQ(log.count("Cannot update plist"), 1u);
    EXPECT_TRUE(folderEntries(app).empty());
}

TEST_F(UpdateTest, MissingTemplatePartIsLoggedAndFails)
{
    const std::string app = makeOldApp("Half", "DefaultApp"); // no template at all
    LogCapture log;
    EXPECT_FALSE(KTUpdateManager::sharedManager().updateToVersion(app, "1.0"));
    EXPECT_EQ(log.count("error = "), 1u);
    // The property list was already written: the app is left half updated.
    EXPECT_EQ((*KTPlist::readFile(app + "/Contents/Info.plist"))["CFBundleShortVersionString"], "1.0");
}

} // namespace
