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

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/xattr.h>
#include <unistd.h>

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

    // What could not be read is kept beside the new file, byte for byte.
    auto aside = setAsideCopies(path);
    ASSERT_EQ(aside.size(), c.logLines);
    if (!aside.empty()) {
        EXPECT_EQ(env.readFile(aside[0]), c.content);
        EXPECT_NE(log.lines()[0].find("kept as " + aside[0]), std::string::npos) << log.lines()[0];
    }
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

// Files no store should read to the end: each behaves like a corrupt file at
// once (one line, an empty store, the entry moved aside), and the next save
// writes a fresh file.
struct HostileCase {
    const char* name;
    void (*make)(const std::string& path);
};

class StoreHostileFile : public ::testing::TestWithParam<HostileCase> {
protected:
    TestEnvironment env;
};

TEST_P(StoreHostileFile, IsRefusedAtOnceAndSetAside)
{
    const std::string path = env.root() + "/probe.json";
    GetParam().make(path);
    LogCapture log;
    ProbeStore store(path);
    ASSERT_EQ(log.lines().size(), 1u);
    EXPECT_EQ(json::compact(store.json()), "{}");
    EXPECT_EQ(setAsideCopies(path).size(), 1u);
    store.json()["kept"] = true;
    store.save();
    EXPECT_EQ(env.readFile(path), "{\"kept\":true}");
}

INSTANTIATE_TEST_SUITE_P(
    Files, StoreHostileFile,
    ::testing::Values(
        HostileCase{"LinkToDevZero", [](const std::string& p) { ASSERT_EQ(::symlink("/dev/zero", p.c_str()), 0); }},
        HostileCase{"Fifo", [](const std::string& p) { ASSERT_EQ(::mkfifo(p.c_str(), 0600), 0); }},
        HostileCase{"Folder", [](const std::string& p) { ASSERT_EQ(::mkdir(p.c_str(), 0700), 0); }},
        // Sparse: takes no disk, but claims more than any store may hold.
        HostileCase{"Enormous", [](const std::string& p) {
                        int fd = ::open(p.c_str(), O_CREAT | O_WRONLY, 0600);
                        ASSERT_GE(fd, 0);
                        ASSERT_EQ(::ftruncate(fd, off_t(KTFileUtil::kMaxReadSize) + 1), 0);
                        ::close(fd);
                    }},
        HostileCase{"Unreadable", [](const std::string& p) {
                        int fd = ::open(p.c_str(), O_CREAT | O_WRONLY, 0000);
                        ASSERT_GE(fd, 0);
                        ::close(fd);
                        if (::geteuid() == 0) // root reads it anyway; make it unparsable instead
                            ::truncate(p.c_str(), 3);
                    }}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(StoreSave, TemporariesOfAnInterruptedSaveAreRemovedByTheNext)
{
    TestEnvironment env;
    const std::string path = env.root() + "/probe.json";
    const std::string stale = env.root() + "/.probe.json.Ab12Cd", fresh = env.root() + "/.probe.json.Xy34Zw";
    env.writeFile(stale, "{\"half");
    env.writeFile(fresh, "{\"half");
    const struct timeval old[2] = {{::time(nullptr) - 3600, 0}, {::time(nullptr) - 3600, 0}};
    ASSERT_EQ(::utimes(stale.c_str(), old), 0);
    ProbeStore store(path);
    store.save();
    EXPECT_FALSE(KTFileUtil::exists(stale));
    EXPECT_TRUE(KTFileUtil::exists(fresh)) << "a save still running in another process is left alone";
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
