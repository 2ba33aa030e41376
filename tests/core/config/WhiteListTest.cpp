// The URL allow-list: the pattern rules and the file's deliberate asymmetries.

#include "ConfigTest.h"

#include "core/config/KTFileUtil.h"
#include "core/web/KTWhiteListManager.h"

using namespace quilt;
using namespace quilt::test;

namespace {

struct MatchCase {
    const char* name;
    std::vector<std::string> patterns;
    bool allowPatterns;
    bool allowSubdomains;
    const char* url;
    bool allowed;
};

class AllowList : public ::testing::TestWithParam<MatchCase> {};

TEST_P(AllowList, Verdict)
{
    const auto& c = GetParam();
    KTWhiteListManager list("/nonexistent/whitelist.json");
    list.setAllowAll(false);
    list.setAllowPatterns(c.allowPatterns);
    list.setAllowSubdomains(c.allowSubdomains);
    for (const auto& p : c.patterns)
        list.addPattern(p);
    EXPECT_EQ(list.isUrlAllow(c.url), c.allowed);
}

const bool kAllow = true, kBlock = false, kSub = true, kExact = false;

INSTANTIATE_TEST_SUITE_P(
    Table, AllowList,
    ::testing::Values(
        MatchCase{"InOrder", {"abc*xyz"}, kAllow, kExact, "https://h.example/abc/xyz", true},
        MatchCase{"Reversed", {"abc*xyz"}, kAllow, kExact, "https://h.example/xyz/abc", false},
        // Only first occurrences count: a later xyz after abc does not help.
        MatchCase{"FirstOccurrenceOnly", {"abc*xyz"}, kAllow, kExact, "https://h.example/xyz/abc/xyz", false},
        MatchCase{"OverlapAllowed", {"abcd*cde"}, kAllow, kExact, "https://h.example/abcde", true},
        MatchCase{"StartsBeforePrevious", {"bc*abc"}, kAllow, kExact, "https://h.example/abc", false},
        MatchCase{"StarAlone", {"*"}, kAllow, kExact, "https://anything.example/", true},
        MatchCase{"EmptyPattern", {""}, kAllow, kExact, "about:blank", true},
        MatchCase{"Prefix", {"https://mail.example.com/*"}, kAllow, kExact, "https://mail.example.com/inbox", true},
        MatchCase{"OtherScheme", {"https://mail.example.com/*"}, kAllow, kExact, "http://mail.example.com/", false},
        MatchCase{"CaseSensitive", {"MAIL.EXAMPLE.COM"}, kAllow, kExact, "https://mail.example.com/", false},
        MatchCase{"AnywhereInUrl", {"*example*"}, kAllow, kExact, "https://other.org/?ref=example", true},
        MatchCase{"SecondPatternMatches", {"https://a.example/*", "*b.example*"}, kAllow, kExact,
                  "https://b.example/", true},
        MatchCase{"BlockListRefusesMatch", {"*ads.example*"}, kBlock, kExact, "https://ads.example.net/x", false},
        MatchCase{"BlockListAllowsOthers", {"*ads.example*"}, kBlock, kExact, "https://site.example/", true},
        MatchCase{"NoSubdomainWidening", {"https://mail.example.com/*"}, kAllow, kExact,
                  "https://calendar.example.com/", false},
        MatchCase{"SubdomainWidened", {"https://mail.example.com/*"}, kAllow, kSub, "https://calendar.example.com/", true},
        MatchCase{"WidenedTextAnywhere", {"https://mail.example.com/*"}, kAllow, kSub,
                  "https://example.org/?q=example.com", true},
        MatchCase{"TwoLabelsUsedAsIs", {"example.com/*"}, kAllow, kSub, "https://www.example.com/x", true},
        MatchCase{"TwoLabelsNotWidened", {"example.com/*"}, kAllow, kSub, "https://example.community/", false},
        // A bare fragment is split at dots as it is, path included.
        MatchCase{"FragmentWithPath", {"www.example.com/index.html*"}, kAllow, kSub,
                  "https://other.net/com/index.html", true},
        MatchCase{"FragmentWithPathMisses", {"www.example.com/index.html*"}, kAllow, kSub, "https://www.example.com/",
                  false},
        MatchCase{"LeadingStarWidensFirstFragment", {"*mail.example.com*"}, kAllow, kSub, "https://cal.example.com/",
                  true},
        MatchCase{"OnlyFirstFragmentWidened", {"https://mail.example.com/*mail.example.com"}, kAllow, kSub,
                  "https://cal.example.com/", false},
        MatchCase{"WidenedOrderStillApplies", {"https://mail.example.com/*inbox"}, kAllow, kSub,
                  "https://x.org/inbox/example.com", false}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(AllowListDomain, MainDomain)
{
    // "-" for no domain.
    const std::pair<const char*, const char*> cases[] = {
        {"https://w.a.b/x", "a.b"}, {"https://w.a.b:8080/", "a.b"}, {"http://a.b", "-"},       {"https://", "-"},
        {"a.b", "-"},               {"w.a.b", "a.b"},               {"w.a.b/p.html", "b/p.html"}, {"ftp://w.a.b", "a.b"}};
    for (auto [url, domain] : cases)
        EXPECT_EQ(KTWhiteListManager::mainDomain(url).value_or("-"), domain) << url;
}

class AllowListFile : public ::testing::Test {
protected:
    std::string file() const { return env.dataFolder() + "whitelist.json"; }
    TestEnvironment env;
};

TEST_F(AllowListFile, NoFileAllowsEverything)
{
    auto& list = KTWhiteListManager::sharedManager();
    EXPECT_TRUE(list.allowAll());
    EXPECT_TRUE(list.isUrlAllow("https://anything.example/"));
}

TEST_F(AllowListFile, EmptyObjectIsAnEmptyBlockList)
{
    env.writeFile(file(), "{}");
    auto& list = KTWhiteListManager::sharedManager();
    EXPECT_FALSE(list.allowAll());
    EXPECT_FALSE(list.allowPatterns());
    EXPECT_TRUE(list.isUrlAllow("https://anything.example/"));
    list.addPattern("*tracker*");
    EXPECT_FALSE(list.isUrlAllow("https://tracker.example/"));
    EXPECT_TRUE(list.isUrlAllow("https://news.example/"));
}

TEST_F(AllowListFile, CorruptFileAllowsEverythingAndKeepsOtherFlags)
{
    auto& list = KTWhiteListManager::sharedManager();
    list.setAllowAll(false);
    list.setAllowPatterns(true);
    list.setAllowSubdomains(true);
    list.addPattern("https://app.example/*");
    env.writeFile(file(), R"({"allowAll":false,"pattern":[)");
    LogCapture log;
    list.loadPatterns();
    EXPECT_EQ(log.lines().size(), 1u);
    EXPECT_TRUE(list.allowAll());
    EXPECT_TRUE(list.patterns().empty());
    EXPECT_TRUE(list.allowPatterns());
    EXPECT_TRUE(list.allowSubdomains());
    EXPECT_TRUE(list.isUrlAllow("https://elsewhere.example/"));
}

} // namespace
