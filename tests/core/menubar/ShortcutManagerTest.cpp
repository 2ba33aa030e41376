// Address shortcuts: the file as it is read and written, and the lookup.

#include "TestEnvironment.h"

#include "core/config/KTFileUtil.h"
#include "core/menubar/KTShortcutManager.h"

#include <gtest/gtest.h>


using namespace quilt;
using namespace quilt::test;

namespace {

using Strings = std::vector<std::string>;

class ShortcutsTest : public ::testing::Test {
protected:
    std::string path() const { return env.dataFolder() + "shortcuts.json"; }
    TestEnvironment env;
};

TEST_F(ShortcutsTest, LookupIsExactAndCaseSensitive)
{
    env.writeFile(path(), R"({"mail":"https://mail.example/","Docs":"docs.example/x","n":3})");
    auto& s = KTShortcutManager::sharedManager();
    EXPECT_EQ(s.findUrlForShortcut("mail"), "https://mail.example/");
    EXPECT_EQ(s.findUrlForShortcut("Docs"), "docs.example/x");
    EXPECT_FALSE(s.findUrlForShortcut("Mail"));
    EXPECT_FALSE(s.findUrlForShortcut("mai"));
    EXPECT_FALSE(s.findUrlForShortcut(""));
    // A member that is not text stands for nothing.
    EXPECT_FALSE(s.findUrlForShortcut("n"));
    EXPECT_EQ(s.shortcuts(), (Strings{"mail", "Docs"}));
    EXPECT_EQ(s.urls(), (Strings{"https://mail.example/", "docs.example/x"}));
}

TEST_F(ShortcutsTest, EditsAreSavedCompactlyInOrderAndReadBack)
{
    auto& s = KTShortcutManager::sharedManager();
    s.setShortCutForUrl("b", "https://b.example/");
    s.setShortCutForUrl("", "https://ignored.example/");
    s.setShortCutForUrl("a", "https://a.example/");
    s.setShortCutForUrl("b", "https://b2.example/"); // the later one wins
    ASSERT_TRUE(s.saveJson());
    EXPECT_EQ(env.readFile(path()), R"({"b":"https://b2.example/","a":"https://a.example/"})");
    KTShortcutManager again(path());
    EXPECT_EQ(again.findUrlForShortcut("b"), "https://b2.example/");
    again.clearShortcuts();
    EXPECT_TRUE(again.shortcuts().empty());
}

TEST_F(ShortcutsTest, MissingEmptyAndDamagedFilesGiveNoShortcutsAndLoseNothing)
{
    EXPECT_TRUE(KTShortcutManager(path()).shortcuts().empty());
    env.writeFile(path(), "");
    EXPECT_TRUE(KTShortcutManager(path()).shortcuts().empty());
    EXPECT_EQ(setAsideCopies(path()).size(), 0u);

    for (const char* damaged : {R"({"mail": "https://mail.exa)", R"(["mail","https://x/"])"}) {
        env.writeFile(path(), damaged);
        LogCapture log;
        KTShortcutManager s(path());
        EXPECT_TRUE(s.shortcuts().empty()) << damaged;
        EXPECT_EQ(log.count("error: "), 1u) << damaged;
        // The damaged file is kept aside before a save replaces it.
        EXPECT_FALSE(KTFileUtil::exists(path()));
        s.setShortCutForUrl("w", "https://w.example/");
        EXPECT_TRUE(s.saveJson());
    }
    EXPECT_EQ(setAsideCopies(path()).size(), 2u);
}

} // namespace
