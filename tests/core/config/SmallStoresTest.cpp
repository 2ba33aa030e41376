// The restore, zoom, bookmark and history stores.

#include "ConfigTest.h"

#include "core/config/KTBookmarksManager.h"
#include "core/config/KTFileUtil.h"
#include "core/config/KTHistoryManager.h"
#include "core/config/KTRect.h"
#include "core/config/KTRestoreManager.h"
#include "core/config/KTShared.h"
#include "core/config/KTWebPageZoomManager.h"

#include <cstdlib>
#include <ctime>

using namespace quilt;
using namespace quilt::test;

namespace {

using Strings = std::vector<std::string>;

class StoresTest : public ::testing::Test {
protected:
    std::string file(const char* name) const { return env.dataFolder() + name; }
    TestEnvironment env;
};

TEST_F(StoresTest, RestoreKeepsFileOrderAndRoundTrips)
{
    env.writeFile(file("restore.json"),
                  R"({"window1":{"url":["https://b.example/"]},"version":1.1,"window0":{"url":["https://a.example/","https://a.example/2"],"windowFrame":"{{10, 20}, {800, 600}}"}})");
    auto& r = KTRestoreManager::sharedManager();
    EXPECT_EQ(r.windowKeys(), (Strings{"window1", "window0"}));
    EXPECT_EQ(r.getUrlsForKey("window0"), (Strings{"https://a.example/", "https://a.example/2"}));
    auto frame = r.windowsFrameString("window0");
    ASSERT_TRUE(frame);
    EXPECT_EQ(KTRect::fromString(*frame), (KTRect{10, 20, 800, 600}));

    r.clear();
    r.addUrlsForKey({"https://c.example/"}, "window0");
    r.setWindowFrameStringForKey(KTRect{0, 0, 1024.5, 768}.toString(), "window0");
    r.save();
    EXPECT_EQ(env.readFile(file("restore.json")),
              R"({"window0":{"url":["https://c.example/"],"windowFrame":"{{0, 0}, {1024.5, 768}}"},"version":1.1})");
}

TEST_F(StoresTest, RestoreConvertsTheOldFormatAtLoad)
{
    env.writeFile(file("restore.json"),
                  R"({"window0":{"0":"https://a.example/","1":"https://b.example/"},"windowX":"not an object","other":{"0":"https://z.example/"}})");
    auto& r = KTRestoreManager::sharedManager();
    EXPECT_EQ(r.getUrlsForKey("window0"), (Strings{"https://a.example/", "https://b.example/"}));
    EXPECT_FALSE(json::lookup(r.json()["other"], "url"));
    KTJson saved = env.readJson(file("restore.json"));
    EXPECT_EQ(KTJson::array({saved["version"], saved["window0"]["url"]}),
              KTJson::parse(R"([1.1, ["https://a.example/", "https://b.example/"]])"));
}

struct ZoomCase {
    const char* name;
    std::optional<std::string> file;
    std::optional<double> zoom;
    bool rewritten;
};

class Zoom : public StoresTest, public ::testing::WithParamInterface<ZoomCase> {};

TEST_P(Zoom, Load)
{
    const auto& c = GetParam();
    if (c.file)
        env.writeFile(file("webpagezoom.json"), *c.file);
    EXPECT_EQ(KTWebPageZoomManager::sharedManager().zoomValue(), c.zoom);
    EXPECT_EQ(env.readFile(file("webpagezoom.json")), c.rewritten ? "{\"currentzoomvalue\":1.0}" : c.file.value_or(""));
}

INSTANTIATE_TEST_SUITE_P(
    Files, Zoom,
    ::testing::Values(ZoomCase{"Missing", std::nullopt, 1.0, true},
                      ZoomCase{"EmptyObject", "{}", 1.0, true},
                      ZoomCase{"Corrupt", "{\"currentzoomvalue\":", 1.0, true},
                      ZoomCase{"Stored", "{\"currentzoomvalue\":1.25}", 1.25, false},
                      // Taken as it is, even without the key.
                      ZoomCase{"OtherKey", "{\"zoom\":2}", std::nullopt, false}),
    [](const auto& info) { return std::string(info.param.name); });

TEST_F(StoresTest, HistoryKeepsTheLaterVisitPerTitle)
{
    auto& h = KTHistoryManager::sharedManager();
    h.addUrlWithNameForDate("https://a.example/1", "Inbox", "2026-01-01 10:00:00Z T");
    h.addUrlWithNameForDate("https://a.example/2", "Inbox", "2026-01-02 10:00:00Z T");
    h.addUrlWithNameForDate("", "No URL", "2026-01-03 10:00:00Z T");
    h.addUrlWithNameForDate("https://a.example/3", "", "2026-01-03 10:00:00Z T");
    EXPECT_EQ(h.size(), 1u);
    EXPECT_EQ(h.getUrlByName("Inbox"), "https://a.example/2");
    h.save();
    EXPECT_EQ(env.readFile(file("history.json")),
              R"({"Inbox":{"url":"https://a.example/2","date":"2026-01-02 10:00:00Z T"}})");
    h.clearHistory();
    EXPECT_FALSE(h.getUrlByName("Inbox"));
}

// The history keeps records of its own, not a JSON value: whatever shape a
// file has, an unchanged history writes back what the general reader makes
// of it, and looks its entries up as before.
TEST_F(StoresTest, HistoryOfAnyShapeIsWrittenBackAsTheGeneralReaderReadsIt)
{
    const std::string files[] = {
        R"({"A":{"url":"u","date":"2"},"B":{"url":"v","date":"1"}})",
        "\xEF\xBB\xBF{\"A\":{\"url\":\"u\",\"date\":\"d\"}}",
        // A repeated title keeps its first place and its last value.
        R"({"A":{"url":"u","date":"1"},"B":{"url":"v","date":"2"},"A":{"url":"w","date":"3"}})",
        R"({"A":{"date":"1","url":"u"},"B":[1,-0,184467440737095516160,2.50],"C":{"url":5},"D":"x","E":{"url":"e","date":"0","n":null}})",
        R"({"Tab\t\"q\"\\ \u0001 é":{"url":"\u00e9/\/","date":"\ud83d\ude00"}})",
        R"([1,"two"])",
        "null",
        R"({"A":{"url":"u","date":"d"})",
        std::string("{\"A\":{\"url\":\"u") + '\0' + "\",\"date\":\"d\"}}",
    };
    for (const std::string& f : files) {
        SCOPED_TRACE(f);
        env.writeFile(file("history.json"), f);
        auto h = KTHistoryManager::create();
        h->save();
        auto general = json::parse(f);
        EXPECT_EQ(env.readFile(file("history.json")), general ? json::compact(*general) : "{}");
    }
    env.writeFile(file("history.json"), files[3]);
    auto h = KTHistoryManager::create();
    EXPECT_EQ(h->sortedByDateNames(), (std::vector<std::string>{"B", "C", "D", "E", "A"}));
    EXPECT_EQ(h->getUrlByName("A"), "u");
    EXPECT_FALSE(h->getUrlByName("C"));
    h->addUrlWithNameForDate("https://a.example/", "B", "3");
    h->save();
    EXPECT_EQ((*json::parse(env.readFile(file("history.json"))))["B"],
              (*json::parse(R"({"url":"https://a.example/","date":"3"})")));
}

// The menu reads the latest titles, and reads them again only after a change.
TEST_F(StoresTest, HistoryGivesItsLatestTitlesInDateOrderAsVisitsCome)
{
    auto h = KTHistoryManager::create();
    for (const char* t : {"A", "B", "C"})
        h->addUrlWithNameForDate("https://a.example/", t, std::string("2026-01-0") + char('1' + (t[0] - 'A')));
    EXPECT_EQ(h->latestByDateNames(2), (std::vector<std::string>{"B", "C"}));
    const uint64_t revision = h->revision();
    EXPECT_EQ(h->revision(), revision) << "reading is no change";
    h->addUrlWithNameForDate("https://a.example/", "A", "2026-01-09");
    h->addUrlWithNameForDate("https://a.example/", "D", "2026-01-00");
    h->addUrlWithNameForDate("https://a.example/", "B", "2026-01-02");
    EXPECT_NE(h->revision(), revision);
    EXPECT_EQ(h->sortedByDateNames(), (std::vector<std::string>{"D", "B", "C", "A"}));
    EXPECT_EQ(h->latestByDateNames(3), (std::vector<std::string>{"B", "C", "A"}));
    EXPECT_EQ(h->latestByDateNames(10).size(), 4u);
    const uint64_t beforeClear = h->revision();
    h->clearHistory();
    EXPECT_NE(h->revision(), beforeClear);
    EXPECT_TRUE(h->latestByDateNames(3).empty());
}

// The shared history and bookmarks read their files on a worker thread. A
// visit recorded meanwhile neither waits nor is lost: it replaces the file's
// entry of the same title in its place, or comes after the file's entries.
TEST_F(StoresTest, VisitsRecordedWhileTheHistoryLoadsSurviveTheSave)
{
    std::string text = "{";
    for (int i = 0; i < 20000; ++i)
        text += (i ? ",\"Page " : "\"Page ") + std::to_string(i) + "\":{\"url\":\"https://a.example/" + std::to_string(i) +
                "\",\"date\":\"2026-01-01 10:00:00Z T\"}";
    env.writeFile(file("history.json"), text + "}");
    auto& h = KTHistoryManager::sharedManager();
    ASSERT_TRUE(h.isLoading());
    h.addUrlWithNameForDate("https://a.example/new", "New page", "2026-02-01 10:00:00Z T");
    h.addUrlWithNameForDate("https://a.example/again", "Page 7", "2026-02-02 10:00:00Z T");
    EXPECT_TRUE(h.isLoading()) << "recording a visit waited for the file";
    EXPECT_FALSE(KTHistoryManager::isSharedReady());
    h.save();
    auto saved = json::parse(env.readFile(file("history.json")));
    ASSERT_TRUE(saved);
    EXPECT_EQ(saved->size(), 20001u);
    EXPECT_EQ(std::next(saved->begin(), 7).key(), "Page 7");
    EXPECT_EQ((*saved)["Page 7"]["url"], "https://a.example/again");
    EXPECT_EQ(std::prev(saved->end()).key(), "New page");

    // Cleared while loading: the file's entries go, later visits stay.
    KTShared<KTHistoryManager>::reset();
    auto& again = KTHistoryManager::sharedManager();
    again.clearHistory();
    again.addUrlWithNameForDate("https://a.example/after", "After", "2026-03-01 10:00:00Z T");
    again.save();
    EXPECT_EQ(env.readFile(file("history.json")),
              R"({"After":{"url":"https://a.example/after","date":"2026-03-01 10:00:00Z T"}})");
}

TEST_F(StoresTest, UnusableBookmarksFileLoadedInTheBackgroundIsSetAside)
{
    env.writeFile(file("bookmark.json"), "{\"a\":");
    auto& b = KTBookmarksManager::sharedManager();
    b.addBookMarkForUrl("kept", "https://a.example/");
    EXPECT_EQ(b.bookmarks(), Strings{"kept"});
    b.save();
    EXPECT_EQ(env.readFile(file("bookmark.json")), R"({"kept":"https://a.example/"})");
    EXPECT_EQ(setAsideCopies(file("bookmark.json")).size(), 1u);
}

class TimeZone {
public:
    explicit TimeZone(const char* tz)
    {
        if (const char* old = std::getenv("TZ"))
            old_ = old;
        ::setenv("TZ", tz, 1);
        ::tzset();
    }
    ~TimeZone()
    {
        if (old_)
            ::setenv("TZ", old_->c_str(), 1);
        else
            ::unsetenv("TZ");
        ::tzset();
    }

private:
    std::optional<std::string> old_;
};

struct DateCase {
    const char* tz;
    std::time_t when;
    const char* expected;
};

class DateString : public ::testing::TestWithParam<DateCase> {};

TEST_P(DateString, Format)
{
    TimeZone zone(GetParam().tz);
    EXPECT_EQ(KTHistoryManager::dateString(GetParam().when), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Zones, DateString,
    ::testing::Values(DateCase{"UTC", 1700000000, "2023-11-14 22:13:20Z T"},
                      DateCase{"Europe/Paris", 1700000000, "2023-11-14 23:13:20+01:00 T"},
                      DateCase{"Europe/Paris", 1690000000, "2023-07-22 06:26:40+02:00 T"},
                      DateCase{"America/St_Johns", 1700000000, "2023-11-14 18:43:20-03:30 T"},
                      DateCase{"Asia/Kathmandu", 0, "1970-01-01 05:30:00+05:30 T"}));

} // namespace
