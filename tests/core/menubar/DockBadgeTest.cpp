// The unread badge: what the watcher of the two mail and chat services makes
// of a page's result (badge, page label, one notification per new message),
// and how page badges, titles and the watcher share the one badge.

#include "TestEnvironment.h"

#include "core/config/KTNotificationNames.h"
#include "core/config/KTUserDefaults.h"
#include "core/menubar/KTDockBadge.h"
#include "core/services/KTLauncherEntry.h"
#include "core/web/KTScriptManager.h"

#include <gtest/gtest.h>

using namespace quilt;

namespace {

class UnreadWatcherRules : public ::testing::Test {
protected:
    void SetUp() override
    {
        env = std::make_unique<test::TestEnvironment>();
        manager().setPoster([this](const KTNotificationInfo& info) { posted.push_back(info); });
    }
    static KTScriptManager& manager() { return KTScriptManager::shared(); }
    static std::string badge() { return KTDockBadge::shared().text(); }
    void pass(const std::optional<KTJson>& result, const std::string& host = "www.facebook.com")
    {
        manager().runDockBadgeResult(result, {host, dockLabel});
    }
    static void setDefault(const char* key, bool value) { KTUserDefaults::standardUserDefaults().setBool(key, value); }

    std::unique_ptr<test::TestEnvironment> env;
    std::optional<std::string> dockLabel;
    std::vector<KTNotificationInfo> posted;
};

TEST_F(UnreadWatcherRules, WatchedHostsAreMatchedExactly)
{
    EXPECT_EQ(KTScriptManager::scriptForHost("mail.google.com"), KTScriptManager::kGoogleScript);
    EXPECT_EQ(KTScriptManager::scriptForHost("www.facebook.com"), KTScriptManager::kFacebookScript);
    EXPECT_EQ(KTScriptManager::scriptForHost("facebook.com"), KTScriptManager::kFacebookScript);
    for (const char* other : {"Mail.google.com", "google.com", "m.facebook.com", "facebook.com.evil.example", ""})
        EXPECT_FALSE(KTScriptManager::scriptForHost(other)) << other;
}

TEST_F(UnreadWatcherRules, ARisingCountIsNotifiedOnceAndZeroRemovesTheBadge)
{
    pass(KTJson("1"));
    pass(KTJson("3"));
    pass(KTJson("3"));
    ASSERT_EQ(posted.size(), 2u);
    EXPECT_EQ(posted[1].title, "3 New Messages.");
    EXPECT_EQ(posted[1].message, "www.facebook.com");
    EXPECT_FALSE(posted[1].subTitle);
    EXPECT_TRUE(posted[1].identifier && posted[0].identifier != posted[1].identifier);
    EXPECT_EQ(badge(), "3");
    EXPECT_EQ(dockLabel, "3");

    pass(KTJson("2")); // falling: shown, not notified
    EXPECT_EQ(badge(), "2");
    EXPECT_EQ(posted.size(), 2u);

    pass(KTJson("0"));
    EXPECT_EQ(badge(), "");
    EXPECT_EQ(dockLabel, "0");
    EXPECT_EQ(posted.size(), 2u);
}

TEST_F(UnreadWatcherRules, MessageRowsAreNotifiedOnceUntilNoneIsUnread)
{
    pass(KTJson::array({"unread,Ann,Lunch,x,See you at noon", "Bob,Hi,y"}), "mail.google.com");
    pass(KTJson::array({"selected,unread,Ann,Lunch,x,See you at noon", "Bob,Hi,y"}), "mail.google.com");
    ASSERT_EQ(posted.size(), 2u);
    EXPECT_EQ(posted[0].title, "Ann");
    EXPECT_EQ(posted[0].subTitle, "Lunch");
    EXPECT_EQ(posted[0].message, "See you at noon");
    EXPECT_EQ(posted[1].title, "Bob");
    EXPECT_EQ(posted[1].message, "") << "a row of three parts has no text";
    EXPECT_EQ(badge(), "2");
    EXPECT_EQ(dockLabel, "2");
    EXPECT_EQ(manager().knownMessages().size(), 2u);

    pass(KTJson::array(), "mail.google.com");
    EXPECT_EQ(badge(), "");
    EXPECT_FALSE(dockLabel);
    EXPECT_TRUE(manager().knownMessages().empty());
    pass(KTJson::array({"Bob,Hi,y"}), "mail.google.com");
    EXPECT_EQ(posted.size(), 3u) << "news again after an empty list";
}

TEST_F(UnreadWatcherRules, DefaultsGateTheBadgeAndTheNotificationsButNotTheClearing)
{
    setDefault("UserNotifications", false);
    pass(KTJson("4"));
    EXPECT_TRUE(posted.empty());
    EXPECT_EQ(badge(), "4");

    setDefault("DockBadge", false);
    pass(KTJson("6"));
    EXPECT_EQ(badge(), "4") << "a result is not shown while DockBadge is off";
    pass(std::nullopt); // the script failed: the badge goes anyway
    EXPECT_EQ(badge(), "");
    EXPECT_FALSE(dockLabel);
}

TEST_F(UnreadWatcherRules, ExplicitBadgeBeatsWatcherWhichBeatsTitles)
{
    auto& b = KTDockBadge::shared();
    std::vector<std::string> changes;
    KTObservation watch(names::kDockBadgeChanged,
                        [&](const KTNotification& n) { changes.push_back(n.userInfo.value("text", std::string("?"))); });
    b.setTitleCount(1, "5");
    b.setTitleCount(2, "7");
    EXPECT_EQ(b.text(), "7") << "the latest title";
    b.setWatcherText("2");
    EXPECT_EQ(b.text(), "2");
    b.setPageBadge(1, "9");
    EXPECT_EQ(b.text(), "9");
    b.setTitleCount(2, "8");
    EXPECT_EQ(b.text(), "9");
    b.setPageBadge(1, std::nullopt);
    EXPECT_EQ(b.text(), "2");
    b.setWatcherText("0");
    EXPECT_EQ(b.text(), "8");
    b.forgetPage(2);
    EXPECT_EQ(b.text(), "5");
    b.setTitleCount(1, std::nullopt);
    EXPECT_EQ(b.text(), "");
    EXPECT_EQ(changes, (std::vector<std::string>{"5", "7", "2", "9", "2", "8", "5", ""}))
        << "one notification per change of the shown text";

    setDefault("DockBadge", false);
    b.setPageBadge(3, "1");
    b.setTitleCount(3, "1");
    EXPECT_EQ(b.text(), "");
}

TEST(DockBadgeTexts, PageMessagesAndTitles)
{
    using Text = std::optional<std::optional<std::string>>;
    const Text cleared{std::optional<std::string>()};
    EXPECT_EQ(KTDockBadge::textOfMessage({{"badge", 3}}), Text(std::string("3")));
    EXPECT_EQ(KTDockBadge::textOfMessage({{"badge", 3.7}}), Text(std::string("3")));
    EXPECT_EQ(KTDockBadge::textOfMessage({{"badge", 0}}), cleared);
    EXPECT_EQ(KTDockBadge::textOfMessage({{"badge", nullptr}}), cleared);
    EXPECT_EQ(KTDockBadge::textOfMessage({{"badge", "flag"}}), Text(std::string(KTDockBadge::kFlag)));
    EXPECT_EQ(KTDockBadge::textOfMessage({{"badge", 1e300}}), Text(std::string("99999+")));
    for (const KTJson& bad : {KTJson{{"badge", -1}}, KTJson{{"badge", "7"}}, KTJson{{"badge", KTJson::array()}},
                              KTJson{{"count", 1}}, KTJson::array({3}), KTJson("flag")})
        EXPECT_FALSE(KTDockBadge::textOfMessage(bad)) << bad.dump();

    const std::pair<const char*, std::optional<std::string>> titles[] = {
        {"(5) Inbox", "5"}, {"(12) Chat - Team", "12"}, {"(99+) Mail", "99+"}, {"(3)", "3"},
        {"(007) Agents", "7"}, {"(0) Inbox", std::nullopt}, {"Inbox (5)", std::nullopt},
        {"(5)Inbox", std::nullopt}, {"(a) list", std::nullopt}, {"(123456) Big", std::nullopt},
        {"() Empty", std::nullopt}, {"", std::nullopt}, {"(", std::nullopt}};
    for (const auto& [title, count] : titles)
        EXPECT_EQ(KTDockBadge::countOfTitle(title), count) << title;

    EXPECT_EQ(KTDockBadge::countOf("12"), 12);
    EXPECT_EQ(KTDockBadge::countOf("99+"), 99);
    EXPECT_EQ(KTDockBadge::countOf(KTDockBadge::kFlag), 0);
    EXPECT_EQ(KTLauncherEntry::appUriFor("org.quilt.Mail"), "application://org.quilt.Mail.desktop");
}

} // namespace
