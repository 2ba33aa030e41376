#include "core/web/KTMainFrameGuard.h"

#include <glib.h>
#include <gtest/gtest.h>

using namespace quilt;

namespace {

KTAllowListRules siteOnly()
{
    KTAllowListRules rules;
    rules.allowAll = false;
    rules.allowPatterns = true;
    rules.patterns = {"a.x.y", "site.example.com"};
    return rules;
}

// One request as the web process sees it, and what the guard must answer.
struct GuardCase {
    const char* name;
    const char* url;
    const char* pageURL;
    const char* redirectedFrom; // nullptr: not a redirect
    const char* refused;        // nullptr: let through
};

class MainFrameGuardTest : public testing::TestWithParam<GuardCase> {};

TEST_P(MainFrameGuardTest, RefusesOnlyTheMainFramesForeignDocument)
{
    const GuardCase& c = GetParam();
    KTMainFrameGuard guard;
    const std::optional<std::string> from = c.redirectedFrom ? std::optional<std::string>(c.redirectedFrom) : std::nullopt;
    // Every redirect below happens during a load that started at a.x.y/go.
    if (from)
        ASSERT_EQ(guard.refusal(siteOnly(), "http://a.x.y/go", "http://a.x.y/go", std::nullopt), std::nullopt);
    auto refused = guard.refusal(siteOnly(), c.url, c.pageURL, from);
    EXPECT_EQ(refused.value_or("(let through)"), c.refused ? c.refused : "(let through)");
}

INSTANTIATE_TEST_SUITE_P(
    Requests, MainFrameGuardTest,
    testing::Values(
        GuardCase {"ForeignDocument", "http://elsewhere.org/p", "http://elsewhere.org/p", nullptr,
                   "http://elsewhere.org/p"},
        GuardCase {"FragmentDroppedFromRequest", "http://elsewhere.org/p", "http://elsewhere.org/p#top", nullptr,
                   "http://elsewhere.org/p"},
        GuardCase {"AllowedDocument", "http://site.example.com/next", "http://site.example.com/next", nullptr, nullptr},
        GuardCase {"SubFrameOrResource", "http://maps.other.org/embed", "http://site.example.com/page", nullptr,
                   nullptr},
        GuardCase {"OtherScheme", "data:text/html,x", "data:text/html,x", nullptr, nullptr},
        GuardCase {"RedirectWithinRootDomain", "http://b.x.y/in", "http://a.x.y/go", "http://a.x.y/go", nullptr},
        GuardCase {"RedirectPageAlreadyMoved", "http://b.x.y/in", "http://b.x.y/in", "http://a.x.y/go", nullptr},
        GuardCase {"RedirectLeavingRootDomain", "http://c.other.org/out", "http://a.x.y/go", "http://a.x.y/go",
                   "http://c.other.org/out"},
        GuardCase {"SubResourceRedirect", "http://c.other.org/img", "http://a.x.y/go", "http://cdn.other.org/i",
                   nullptr}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(MainFrameGuard, ADocumentLetThroughIsNotJudgedAgain)
{
    // b.x.y is shown through a redirect from a.x.y; its own address alone
    // would be refused, yet a reload or the page fetching itself is no new
    // navigation.
    KTMainFrameGuard guard;
    ASSERT_EQ(guard.refusal(siteOnly(), "http://a.x.y/go", "http://a.x.y/go", std::nullopt), std::nullopt);
    ASSERT_EQ(guard.refusal(siteOnly(), "http://b.x.y/in", "http://b.x.y/in", "http://a.x.y/go"), std::nullopt);
    EXPECT_EQ(guard.refusal(siteOnly(), "http://b.x.y/in", "http://b.x.y/in", std::nullopt), std::nullopt);
    EXPECT_EQ(guard.refusal(siteOnly(), "http://b.x.y/other", "http://b.x.y/other", std::nullopt),
              "http://b.x.y/other");
    // Under a changed list it is judged again.
    KTAllowListRules narrower = siteOnly();
    narrower.patterns = {"site.example.com"};
    EXPECT_EQ(guard.refusal(narrower, "http://b.x.y/in", "http://b.x.y/in", std::nullopt), "http://b.x.y/in");
}

TEST(MainFrameGuard, RefusedAddressesTravelInThePrivateScheme)
{
    const std::string address = "https://elsewhere.org/a b?q=1&r=%2F#frag";
    const std::string wrapped = KTMainFrameGuard::wrap("quilt-0f1e", address);
    EXPECT_EQ(wrapped.rfind("quilt-0f1e:", 0), 0u);
    EXPECT_EQ(wrapped.find_first_of(" ?#/", 11), std::string::npos) << wrapped;
    EXPECT_EQ(KTMainFrameGuard::unwrap("quilt-0f1e", wrapped), address);
    EXPECT_EQ(KTMainFrameGuard::unwrap("quilt-0f1f", wrapped), std::nullopt);
    EXPECT_EQ(KTMainFrameGuard::unwrap("quilt-0f1e", "quilt-0f1e:"), std::nullopt);
    EXPECT_EQ(KTMainFrameGuard::unwrap("quilt-0f1e", "http://quilt-0f1e:x"), std::nullopt);
}

TEST(AllowListRules, CrossToTheWebProcessIntact)
{
    KTAllowListRules rules = siteOnly();
    rules.allowSubdomains = true;
    GVariant* v = g_variant_ref_sink(rules.toVariant());
    EXPECT_EQ(KTAllowListRules::fromVariant(v), rules);
    g_variant_unref(v);
    // Anything else keeps the list in force.
    GVariant* wrong = g_variant_ref_sink(g_variant_new("(bbs)", TRUE, FALSE, "x"));
    EXPECT_EQ(KTAllowListRules::fromVariant(wrong), std::nullopt);
    g_variant_unref(wrong);
    EXPECT_EQ(KTAllowListRules::fromVariant(nullptr), std::nullopt);
}

} // namespace
