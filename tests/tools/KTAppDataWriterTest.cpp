#include "KTAppDataWriter.h"
#include "TestEnvironment.h"
#include "web/KTWhiteListManager.h"

#include <gtest/gtest.h>

using quilt::KTAppDataWriter;
using quilt::KTJson;

class QuiltCreateDataWriter : public testing::Test {
protected:
    quilt::test::TestEnvironment env;
    std::string folder = env.root() + "/data";
    std::string settingsPath = folder + "/settings.json";
    std::string listPath = folder + "/whitelist.json";

    static KTAppDataWriter::AllowList patterns(std::vector<std::string> p)
    {
        KTAppDataWriter::AllowList list;
        list.patterns = std::move(p);
        return list;
    }
    std::vector<std::string> write(const std::string& url, const std::vector<std::string>& allow)
    {
        std::vector<std::string> kept;
        KTAppDataWriter(folder).write(KTJson{{"main_url", url}}, patterns(allow), &kept);
        return kept;
    }
};

TEST_F(QuiltCreateDataWriter, RewritesItsOwnFilesButKeepsTheUsers)
{
    EXPECT_TRUE(write("https://one.example/", {"one"}).empty());
    EXPECT_EQ(env.readJson(settingsPath)["main_url"], "https://one.example/");

    // Untouched since: both files follow the new run.
    EXPECT_TRUE(write("https://two.example/", {"two"}).empty());
    EXPECT_EQ(env.readJson(settingsPath)["main_url"], "https://two.example/");
    EXPECT_EQ(quilt::KTWhiteListManager(listPath).patterns(), std::vector<std::string>{"two"});

    // The user changes the home page; the allow-list stays as written.
    const std::string mine = R"({"main_url":"https://mine.example/"})";
    env.writeFile(settingsPath, mine);
    EXPECT_EQ(write("https://three.example/", {"three"}), std::vector<std::string>{"settings.json"});
    EXPECT_EQ(env.readFile(settingsPath), mine);
    EXPECT_EQ(quilt::KTWhiteListManager(listPath).patterns(), std::vector<std::string>{"three"});

    // Still the user's on the next run too.
    EXPECT_EQ(write("https://four.example/", {"four"}), std::vector<std::string>{"settings.json"});
    EXPECT_EQ(env.readFile(settingsPath), mine);

    // A file the user deleted is written again.
    ::unlink(settingsPath.c_str());
    EXPECT_TRUE(write("https://five.example/", {"five"}).empty());
    EXPECT_EQ(env.readJson(settingsPath)["main_url"], "https://five.example/");
}

TEST_F(QuiltCreateDataWriter, FilesItHasNoRecordOfAreNeverItsToReplace)
{
    // An app made before the record existed, or a record that got damaged.
    for (const std::string record : {"", "{", "[]", R"({"settings.json":42})"}) {
        SCOPED_TRACE(record);
        env.writeFile(settingsPath, "{\"main_url\":\"https://old.example/\"}");
        env.writeFile(listPath, "{\"allowAll\":true}");
        if (record.empty())
            ::unlink((folder + "/quilt-create.json").c_str());
        else
            env.writeFile(folder + "/quilt-create.json", record);
        auto kept = write("https://new.example/", {"new"});
        EXPECT_EQ(kept, (std::vector<std::string>{"settings.json", "whitelist.json"}));
        EXPECT_EQ(env.readFile(settingsPath), "{\"main_url\":\"https://old.example/\"}");
        EXPECT_EQ(env.readFile(listPath), "{\"allowAll\":true}");
    }
}
