// Loading and saving rules shared by every JSON store, and where the stores
// keep their files.

#include "ConfigTest.h"

#include "core/config/KTBehaviorManager.h"
#include "core/config/KTBookmarksManager.h"
#include "core/config/KTBundle.h"
#include "core/config/KTFileManager.h"
#include "core/config/KTFileUtil.h"
#include "core/config/KTHistoryManager.h"
#include "core/config/KTManager.h"
#include "core/config/KTPaths.h"
#include "core/config/KTRestoreManager.h"
#include "core/config/KTSettingsManager.h"
#include "core/config/KTWebPageZoomManager.h"
#include "core/web/KTWhiteListManager.h"

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

} // namespace
