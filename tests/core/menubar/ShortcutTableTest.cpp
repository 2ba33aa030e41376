// The shortcuts table of the preferences: edits stay in the table until the
// pane closes, then the rows rebuild the store at once.

#include "TestEnvironment.h"

#include "core/menubar/KTShortcutManager.h"
#include "core/menubar/KTShortcutTable.h"

#include <gtest/gtest.h>

using namespace quilt;
using namespace quilt::test;

namespace {

using Row = KTShortcutTable::Row;
using Rows = std::vector<Row>;

class ShortcutTableTest : public ::testing::Test {
protected:
    std::string path() const { return env.dataFolder() + "shortcuts.json"; }
    TestEnvironment env;
};

TEST_F(ShortcutTableTest, AddAndRemoveMoveTheCursorAndSelectionLikeTheTable)
{
    env.writeFile(path(), R"({"a":"https://a.example/","b":"https://b.example/","c":"https://c.example/"})");
    KTShortcutManager store(path());
    KTShortcutTable table(store);
    EXPECT_EQ(table.rows(), (Rows{{"a", "https://a.example/"}, {"b", "https://b.example/"}, {"c", "https://c.example/"}}));

    // A new row is empty and last: the word is typed there.
    EXPECT_EQ(table.add(), 3u);
    EXPECT_EQ(table.rows().back(), (Row{"", ""}));

    // Removing selects the row that slid into the place, or the last one.
    EXPECT_EQ(table.remove(1), 1u);
    EXPECT_EQ(table.rows()[1].word, "c");
    EXPECT_EQ(table.remove(2), 1u);
    EXPECT_EQ(table.remove(std::nullopt), std::nullopt);
    EXPECT_EQ(table.remove(7), std::nullopt);
    EXPECT_EQ(table.size(), 2u);
    EXPECT_EQ(table.remove(0), 0u);
    EXPECT_EQ(table.remove(0), std::nullopt);
    EXPECT_EQ(table.size(), 0u);

    // Nothing reaches the file before commit.
    EXPECT_EQ(KTShortcutManager(path()).shortcuts().size(), 3u);
}

TEST_F(ShortcutTableTest, CommitDropsEmptyWordsAndTheLowerDuplicateWins)
{
    KTShortcutManager store(path());
    store.setShortCutForUrl("old", "https://old.example/");
    KTShortcutTable table(store);
    table.remove(0);
    for (auto [word, url] : {std::pair {"mail", "https://first.example/"}, {"", "https://no-word.example/"},
                             {"docs", "https://docs.example/"}, {"mail", "https://second.example/"}}) {
        const size_t row = table.add();
        table.setWord(row, word);
        table.setUrl(row, url);
    }
    ASSERT_TRUE(table.commit(store));

    KTShortcutManager reread(path());
    EXPECT_EQ(reread.findUrlForShortcut("mail"), "https://second.example/");
    EXPECT_EQ(reread.findUrlForShortcut("docs"), "https://docs.example/");
    EXPECT_FALSE(reread.findUrlForShortcut("old"));
    EXPECT_EQ(reread.shortcuts().size(), 2u);
    // The table reopened shows what was saved, one row per word.
    EXPECT_EQ(KTShortcutTable(reread).size(), 2u);
}

} // namespace
