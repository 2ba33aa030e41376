// Loading and saving rules shared by every JSON store, and where the stores
// keep their files.

#include "ConfigTest.h"

#include "config/KTBehaviorManager.h"
#include "config/KTBookmarksManager.h"
#include "config/KTBundle.h"
#include "config/KTFileManager.h"
#include "config/KTFileUtil.h"
#include "config/KTHistoryManager.h"
#include "config/KTManager.h"
#include "config/KTPaths.h"
#include "config/KTRestoreManager.h"
#include "config/KTSettingsManager.h"
#include "config/KTWebPageZoomManager.h"
#include "web/KTWhiteListManager.h"

#include <sys/xattr.h>

using namespace quilt;
using namespace quilt::test;

namespace {

// A store of its own on a file the test chooses, so the base rules are seen
// without any subclass defaults or upgrades.
class ProbeStore : public KTManager {
public:
    explicit ProbeStore(std::string path)
        : path_(std::move(path))
    {
        init();
    }
    std::string getPath() override { return path_; }

private:
    std::string path_;
};

struct LoadCase {
    const char* name;
    bool present;
    const char* content;
    size_t logLines;     // parse errors reported
    const char* loaded;  // json() after loading, compact
    const char* resaved; // the file after an unchanged save
};

class StoreLoadRule : public ::testing::TestWithParam<LoadCase> {
protected:
    TestEnvironment env;
};

TEST_P(StoreLoadRule, LoadsAndResaves)
{
    const LoadCase& c = GetParam();
    const std::string path = env.root() + "/probe.json";
    if (c.present)
        env.writeFile(path, c.content);
    LogCapture log;
    ProbeStore store(path);
    EXPECT_EQ(log.lines().size(), c.logLines);
    EXPECT_EQ(json::compact(store.json()), c.loaded);

    store.save();
    EXPECT_EQ(env.readFile(path), c.resaved);
}

INSTANTIATE_TEST_SUITE_P(
    Files, StoreLoadRule,
    ::testing::Values(LoadCase{"Missing", false, "", 0, "{}", "{}"},
                      LoadCase{"Empty", true, "", 0, "{}", "{}"},
                      LoadCase{"OpenBraceOnly", true, "{", 1, "{}", "{}"},
                      LoadCase{"NotJson", true, "settings=1", 1, "{}", "{}"},
                      LoadCase{"WhitespaceOnly", true, " \n", 1, "{}", "{}"},
                      LoadCase{"TrailingGarbage", true, "{\"a\":1} x", 1, "{}", "{}"},
                      // A top level that is not an object is kept as it is.
                      LoadCase{"TopLevelArray", true, "[1, \"two\"]", 0, "[1,\"two\"]", "[1,\"two\"]"},
                      // Keys keep the file's order and the save is compact.
                      LoadCase{"PrettyObject", true, "{\n  \"z\": 1,\n  \"a\": [true, null],\n  \"m\": {\"k\": \"é\"}\n}",
                               0, "{\"z\":1,\"a\":[true,null],\"m\":{\"k\":\"é\"}}",
                               "{\"z\":1,\"a\":[true,null],\"m\":{\"k\":\"é\"}}"}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(StoreSave, CorruptFileIsReplacedByTheNextSave)
{
    TestEnvironment env;
    const std::string path = env.root() + "/probe.json";
    env.writeFile(path, "{\"unterminated\": [1, 2");
    ProbeStore store(path);
    store.json()["title"] = "Ça va";
    store.save();
    EXPECT_EQ(env.readFile(path), "{\"title\":\"Ça va\"}");
}

TEST(StoreSave, AtomicWritesLeaveNoTemporaryFiles)
{
    TestEnvironment env;
    const std::string folder = env.root() + "/store";
    KTFileUtil::makeDirectories(folder);
    ProbeStore store(folder + "/probe.json");
    store.json()["old"] = true;
    store.save();
    // A write that fails half way (a full disk) leaves the previous file.
    store.json()["big"] = std::string(64 * 1024, 'x');
    {
        ScopedFileSizeLimit full(1024);
        store.save();
    }
    EXPECT_EQ(env.readFile(folder + "/probe.json"), "{\"old\":true}");
    EXPECT_EQ(folderEntries(folder), std::vector<std::string>{"probe.json"});
}

TEST(DataFolder, CreatedWithIntermediateFoldersOnRequest)
{
    TestEnvironment env;
    const std::string dataHome = KTPaths::userDataDir();
    ASSERT_FALSE(KTFileUtil::exists(dataHome));
    EXPECT_EQ(KTFileManager::getSettingsPath(), env.dataFolder());
    EXPECT_TRUE(KTFileUtil::isDirectory(env.dataFolder()));
    // Asked again after the folder vanished: made again.
    KTFileUtil::removeTree(dataHome);
    KTFileManager::getSettingsPath();
    EXPECT_TRUE(KTFileUtil::isDirectory(env.dataFolder()));
}

TEST(DataFolder, FailureIsLoggedAndThePathStillReturned)
{
    TestEnvironment env;
    const std::string blocker = env.root() + "/blocker";
    env.writeFile(blocker, "");
    ::setenv("XDG_DATA_HOME", blocker.c_str(), 1);
    LogCapture log;
    EXPECT_EQ(KTFileManager::getSettingsPath(), blocker + "/Quilt/" + env.uniqueId() + "/");
    EXPECT_EQ(log.count("error:"), 1u);
}

TEST(DataFolder, BundleWithoutUniqueIdUsesNullFolder)
{
    TestEnvironment env;
    KTBundle::setMainPath(env.makeBundle("NoId", "1.0", ""));
    const std::string expected = KTPaths::userDataDir() + "/Quilt/(null)/";
    EXPECT_EQ(KTFileManager::getSettingsPath(), expected);
    KTBookmarksManager::sharedManager().addBookMarkForUrl("a", "https://a.example/");
    KTBookmarksManager::sharedManager().save();
    EXPECT_TRUE(KTFileUtil::exists(expected + "bookmark.json"));
}

TEST(DataFolder, UniqueIdFallbackFileAndAttribute)
{
    TestEnvironment env;
    const std::string bundle = env.makeBundle("Fallback", "1.0", "");
    env.writeFile(bundle + "/Contents/Resources/.QuiltUniqueID", "from-file\n");
    KTBundle::setMainPath(bundle);
    EXPECT_EQ(KTBundle::main().uniqueIdentifier(), std::optional<std::string>("from-file"));
    EXPECT_EQ(KTFileManager::getSettingsPath(), KTPaths::userDataDir() + "/Quilt/from-file/");

    // The attribute wins over the file, and is read afresh on each request.
    if (::setxattr(bundle.c_str(), KTBundle::kUniqueIdAttribute, "attr-id", 7, 0) != 0)
        GTEST_SKIP() << "this file system refuses user attributes";
    EXPECT_EQ(KTFileManager::getSettingsPath(), KTPaths::userDataDir() + "/Quilt/attr-id/");
}

TEST(StorePaths, FolderAndFileJoinedWithDoubledSlash)
{
    TestEnvironment env;
    const std::string folder = env.dataFolder();
    EXPECT_EQ(KTBehaviorManager::sharedManager().getPath(), folder + "/behavior.json");
    EXPECT_EQ(KTRestoreManager::sharedManager().getPath(), folder + "/restore.json");
    EXPECT_EQ(KTWebPageZoomManager::sharedManager().getPath(), folder + "/webpagezoom.json");
    EXPECT_EQ(KTBookmarksManager::sharedManager().getPath(), folder + "/bookmark.json");
    EXPECT_EQ(KTHistoryManager::sharedManager().getPath(), folder + "/history.json");
    EXPECT_EQ(KTWhiteListManager::sharedManager().getPath(), folder + "/whitelist.json");
    EXPECT_EQ(KTSettingsManager::sharedManager().path(), folder + "/settings.json");
    // The doubled slash is harmless: the files land in the data folder.
    KTBookmarksManager::sharedManager().save();
    EXPECT_TRUE(KTFileUtil::exists(folder + "bookmark.json"));
}

} // namespace
