#include "HelperSession.h"

using namespace quilt;
using namespace quilt::test;

namespace {

class HelperCredentials : public HelperSessionTest {
protected:
    static std::string secretLookup(const std::string& site, const std::string& user)
    {
        return output({"secret-tool", "lookup", "site", site, "username", user});
    }
    static std::vector<std::string> usernames(const std::vector<KTCredentials>& list)
    {
        std::vector<std::string> names;
        for (const auto& c : list)
            names.push_back(c.username.value_or("<none>"));
        return names;
    }
};

// Saved through the app, the login is an item of the user's keyring that
// secret-tool finds under the site's origin, labelled for people.
TEST_F(HelperCredentials, SaveLandsInTheKeyringUnderTheSitesOrigin)
{
    const std::string site = freshSite("mail");
    EXPECT_EQ(save("s3cret", "alice", site + "/login?next=/inbox"), true);
    EXPECT_EQ(secretLookup(site, "alice"), "s3cret");
    // secret-tool prints the attributes on standard error.
    const auto search = runProgram({"secret-tool", "search", "--all", "site", site});
    const std::string listing = search.out + search.err;
    EXPECT_NE(listing.find("label = Quilt: alice@" + site.substr(8)), std::string::npos) << listing;
    EXPECT_NE(listing.find("attribute.username = alice"), std::string::npos) << listing;
    EXPECT_NE(listing.find("org.quilt.Login"), std::string::npos) << listing;
}

// The keyring keeps creation times to the second: logins made within one
// come by user name.
TEST_F(HelperCredentials, QueriesAnswerInAStableOrderWithTheOriginAsURL)
{
    const std::string site = freshSite("shop");
    ASSERT_EQ(save("pw-a", "alice", site + "/a"), true);
    ASSERT_EQ(save("pw-b", "bob", site + "/b"), true);
    auto list = saved(site + "/checkout");
    ASSERT_TRUE(list);
    ASSERT_EQ(usernames(*list), (std::vector<std::string>{"alice", "bob"}));
    EXPECT_EQ((*list)[1], (KTCredentials{"bob", "pw-b", site}));
    EXPECT_EQ(passwordFor("alice", site + "/"), std::optional<std::string>("pw-a"));
    auto carol = passwordFor("carol", site + "/");
    ASSERT_TRUE(carol) << "no reply";
    EXPECT_FALSE(*carol);
}

// One item per site and user: saving again replaces; update only changes
// a login that exists.
TEST_F(HelperCredentials, SaveReplacesAndUpdateOnlyChangesExistingLogins)
{
    const std::string site = freshSite("bank");
    ASSERT_EQ(save("one", "alice", site), true);
    ASSERT_EQ(save("two", "alice", site), true);
    EXPECT_EQ(update("three", "alice", site), true);
    EXPECT_EQ(update("nope", "mallory", site), false);
    EXPECT_EQ(secretLookup(site, "alice"), "three");
    EXPECT_EQ(secretLookup(site, "mallory"), "");
    auto list = saved(site);
    ASSERT_TRUE(list);
    EXPECT_EQ(usernames(*list), std::vector<std::string>{"alice"});
}

// The saved-passwords list: the app's sites' logins with no password in
// them; removing one or all leaves other sites' logins alone.
TEST_F(HelperCredentials, AppListingHidesPasswordsAndRemovalStaysOnItsSites)
{
    const std::string site = freshSite("app"), second = freshSite("app2"), other = freshSite("other");
    ASSERT_EQ(save("pw-a", "alice", site + "/login"), true);
    ASSERT_EQ(save("pw-b", "bob", site), true);
    ASSERT_EQ(save("pw-c", "carol", second), true);
    ASSERT_EQ(save("pw-o", "alice", other), true);
    const std::vector<std::string> app {site + "/home", "not a site", second + "/x", site};

    auto listing = [&] {
        auto answer = std::make_shared<std::optional<std::vector<KTCredentials>>>();
        manager->loginsSavedForWithReply(app, [answer](std::vector<KTCredentials> l) { *answer = std::move(l); });
        return waitUntil([&] { return answer->has_value(); }) ? **answer : std::vector<KTCredentials>{{"<no reply>", std::nullopt, std::nullopt}};
    };
    auto list = listing();
    ASSERT_EQ(usernames(list), (std::vector<std::string>{"alice", "bob", "carol"}));
    EXPECT_EQ(list[2], (KTCredentials{"carol", std::nullopt, second}));

    auto removed = std::make_shared<std::optional<bool>>();
    manager->removeCredentialsForUsernameSavedForWithReply("alice", site + "/login",
                                                           [removed](bool r) { *removed = r; });
    ASSERT_TRUE(waitUntil([&] { return removed->has_value(); }));
    EXPECT_TRUE(**removed);
    EXPECT_EQ(secretLookup(site, "alice"), "");
    EXPECT_EQ(secretLookup(other, "alice"), "pw-o");

    auto count = std::make_shared<std::optional<unsigned>>();
    manager->removeAllCredentialsSavedForWithReply(app, [count](unsigned n) { *count = n; });
    ASSERT_TRUE(waitUntil([&] { return count->has_value(); }));
    EXPECT_EQ(**count, 2u);
    EXPECT_TRUE(listing().empty());
    EXPECT_EQ(secretLookup(other, "alice"), "pw-o");
}

struct OtherSite {
    const char* name;
    std::string (*from)(const std::string& site); // the other site's address
    bool sameSite;
};

class HelperSiteIsolation : public HelperCredentials, public testing::WithParamInterface<OtherSite> {};

// A login answers its own site only; an address that differs in scheme,
// port or host is another site, one in case or path or default port is not.
TEST_P(HelperSiteIsolation, ALoginAnswersItsOwnSiteOnly)
{
    const std::string site = freshSite("home");
    ASSERT_EQ(save("pw", "alice", site + "/login"), true);
    const std::string other = GetParam().from(site);
    auto list = saved(other);
    ASSERT_TRUE(list);
    EXPECT_EQ(list->size(), GetParam().sameSite ? 1u : 0u) << other;
    EXPECT_EQ(passwordFor("alice", other).value_or("?").has_value(), GetParam().sameSite) << other;
}

INSTANTIATE_TEST_SUITE_P(
    Sites, HelperSiteIsolation,
    testing::Values(
        OtherSite{"OtherHost", [](const std::string& s) { return s + ".evil.example/login"; }, false},
        OtherSite{"Subdomain", [](const std::string& s) { return "https://www." + s.substr(8); }, false},
        OtherSite{"PlainHttp", [](const std::string& s) { return "http://" + s.substr(8); }, false},
        OtherSite{"OtherPort", [](const std::string& s) { return s + ":8443/"; }, false},
        OtherSite{"UserInfoTrick", [](const std::string& s) { return "https://" + s.substr(8) + "@evil.example/"; }, false},
        OtherSite{"UpperCaseHost", [](const std::string& s) {
                      std::string upper = "HTTPS://" + s.substr(8);
                      for (char& c : upper)
                          c = g_ascii_toupper(c);
                      return upper;
                  }, true},
        OtherSite{"DefaultPort", [](const std::string& s) { return s + ":443/elsewhere?q=1"; }, true}),
    [](const testing::TestParamInfo<OtherSite>& info) { return std::string(info.param.name); });

} // namespace
