#include "TestEnvironment.h"

#include "core/web/KTNavigationPolicy.h"
#include "core/web/KTWhiteListManager.h"

#include <gtest/gtest.h>

#include <set>
#include <tuple>

using namespace quilt;
using Action = KTNavigationDecision::Action;

namespace {

// The allow-list of the cases below: the site, and one host of a login
// service whose other hosts are refused.
bool allowSite(std::string_view url)
{
    return url.find("site.example") != std::string_view::npos || url.find("app.sso.test") != std::string_view::npos;
}

KTModifiers mods(bool control, bool shift = false, bool alt = false, bool super = false)
{
    return {control, shift, alt, super};
}

struct NavCase {
    const char* name;
    KTNavigationRequest request;
    Action action;
    bool cancel;
    const char* judged = ""; // the URL the allow-list must have seen ("" = not asked)
    bool closeTab = false;
    bool background = false;
};

void PrintTo(const NavCase& c, std::ostream* os) { *os << c.name; }

KTNavigationRequest req(std::string url)
{
    KTNavigationRequest r;
    r.url = std::move(url);
    return r;
}

template <class F>
KTNavigationRequest with(KTNavigationRequest r, F change)
{
    change(r);
    return r;
}

const NavCase kCases[] = {
    {"MailLinkWithMailApp", with(req("mailto:someone@site.example"), [](auto& r) { r.claimingApp = "Mail Client"; }),
     Action::AskOpenOtherApp, true},
    {"OtherSchemeClaimedEvenWhenControlClicked",
     with(req("zoommtg://join?id=1"), [](auto& r) { r.claimingApp = "Meetings"; r.modifiers = mods(true); }),
     Action::AskOpenOtherApp, true},
    {"OtherSchemeClaimedInSubFrame",
     with(req("tg://resolve"), [](auto& r) { r.claimingApp = "Chat"; r.target = KTFrameTarget::Sub; }),
     Action::AskOpenOtherApp, true},
    // Nobody claims about:blank: it is judged by the allow-list like any address.
    {"UnclaimedSchemeJudgedByAllowList", req("about:blank"), Action::OpenInDefaultBrowser, true, "about:blank"},
    {"UnclaimedSchemeAllowedWhenListAllows", req("about:blank#site.example"), Action::Allow, false,
     "about:blank#site.example"},
    // The prefixes are exact and case-sensitive: "HTTPS://" belongs to whoever claims it.
    {"UpperCaseSchemeIsOtherScheme", with(req("HTTPS://site.example/"), [](auto& r) { r.claimingApp = "Browser"; }),
     Action::AskOpenOtherApp, true},
    {"HttpIgnoresClaimingApp", with(req("http://site.example/"), [](auto& r) { r.claimingApp = "Browser"; }),
     Action::Allow, false, "http://site.example/"},
    {"ControlClickOpensTab", with(req("https://elsewhere.test/"), [](auto& r) { r.modifiers = mods(true); }),
     Action::NewTab, true},
    {"ControlShiftClickIsPlainClick",
     with(req("https://elsewhere.test/"), [](auto& r) { r.modifiers = mods(true, true); }),
     Action::OpenInDefaultBrowser, true, "https://elsewhere.test/"},
    {"ControlAltClickIsPlainClick",
     with(req("https://site.example/a"), [](auto& r) { r.modifiers = mods(true, false, true); }), Action::Allow,
     false, "https://site.example/a"},
    {"ControlSuperClickIsPlainClick",
     with(req("https://site.example/a"), [](auto& r) { r.modifiers = mods(true, false, false, true); }),
     Action::Allow, false, "https://site.example/a"},
    {"ShiftAloneIsPlainClick", with(req("https://site.example/a"), [](auto& r) { r.modifiers = mods(false, true); }),
     Action::Allow, false, "https://site.example/a"},
    {"ControlClickInSubFrameStillOpensTab",
     with(req("https://elsewhere.test/"), [](auto& r) { r.modifiers = mods(true); r.target = KTFrameTarget::Sub; }),
     Action::NewTab, true},
    {"SubFrameAllowedOutsideList", with(req("https://ads.elsewhere.test/frame"), [](auto& r) { r.target = KTFrameTarget::Sub; }),
     Action::Allow, false},
    {"NewWindowRequestAllowed", with(req("https://elsewhere.test/popup"), [](auto& r) { r.target = KTFrameTarget::None; }),
     Action::Allow, false},
    {"MainFrameAllowed", req("https://www.site.example/inbox"), Action::Allow, false, "https://www.site.example/inbox"},
    {"MainFrameRefusedGoesToBrowser", req("https://elsewhere.test/"), Action::OpenInDefaultBrowser, true,
     "https://elsewhere.test/"},
    // A redirect from a.x.y to b.x.y stays in the root domain x.y: judged by where the load started.
    {"RedirectWithinRootDomainJudgedBySource",
     with(req("https://b.elsewhere.test/landing"), [](auto& r) { r.sourceURL = "https://a.elsewhere.test/start"; }),
     Action::OpenInDefaultBrowser, true, "https://a.elsewhere.test/start"},
    {"RedirectWithinRootDomainAllowedBySource",
     with(req("https://login.sso.test/x"), [](auto& r) { r.sourceURL = "https://app.sso.test/"; }), Action::Allow,
     false, "https://app.sso.test/"},
    // Leaving the root domain is judged by the new address itself.
    {"RedirectLeavingRootDomainJudgedByItself",
     with(req("https://site.example/back"), [](auto& r) { r.sourceURL = "https://a.elsewhere.test/"; }),
     Action::Allow, false, "https://site.example/back"},
    {"RedirectLeavingRootDomainRefused",
     with(req("https://tracker.test/"), [](auto& r) { r.sourceURL = "https://www.site.example/"; }),
     Action::OpenInDefaultBrowser, true, "https://tracker.test/"},
    // A source without a host never shares a root domain.
    {"HostlessSourceIgnored",
     with(req("https://elsewhere.test/"), [](auto& r) { r.sourceURL = "about:blank#site.example"; }),
     Action::OpenInDefaultBrowser, true, "https://elsewhere.test/"},
    {"RefusedLinkClosesRecentNewTab",
     with(req("https://elsewhere.test/"), [](auto& r) { r.isRecentNewTab = true; }), Action::OpenInDefaultBrowser,
     true, "https://elsewhere.test/", true},
    {"RefusedLinkInBackground",
     with(req("https://elsewhere.test/"), [](auto& r) { r.openOtherAppInBackground = true; }),
     Action::OpenInDefaultBrowser, true, "https://elsewhere.test/", false, true},
    {"AllowedLinkKeepsRecentNewTab", with(req("https://site.example/"), [](auto& r) { r.isRecentNewTab = true; }),
     Action::Allow, false, "https://site.example/"},
};

class NavigationDecisionTest : public testing::TestWithParam<NavCase> {};

TEST_P(NavigationDecisionTest, DecidesAsTheTableSays)
{
    const NavCase& c = GetParam();
    std::vector<std::string> asked;
    auto judge = [&](std::string_view url) {
        asked.emplace_back(url);
        return allowSite(url);
    };
    KTNavigationDecision d = KTNavigationPolicy::decide(c.request, judge);
    EXPECT_EQ(std::tie(d.action, d.cancel, d.closeTab, d.background),
              std::tie(c.action, c.cancel, c.closeTab, c.background));
    if (*c.judged) {
        ASSERT_EQ(asked.size(), 1u);
        EXPECT_EQ(asked[0], c.judged);
        EXPECT_EQ(d.judgedURL, c.judged);
    } else {
        // Other apps, Control-clicks and frames never consult the allow-list.
        EXPECT_TRUE(asked.empty());
    }
    if (c.action == Action::AskOpenOtherApp) {
        EXPECT_EQ(d.appName, *c.request.claimingApp);
    }
}

INSTANTIATE_TEST_SUITE_P(Table, NavigationDecisionTest, testing::ValuesIn(kCases),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(NavigationPolicy, UsesTheRealAllowList)
{
    test::TestEnvironment env;
    KTWhiteListManager list(env.dataFolder() + "whitelist.json");
    list.setAllowAll(false);
    list.setAllowPatterns(true);
    list.addPattern("https://*.site.example/*");

    EXPECT_EQ(KTNavigationPolicy::decide(req("https://mail.site.example/x"), list).action, Action::Allow);
    EXPECT_EQ(KTNavigationPolicy::decide(req("https://other.test/"), list).action, Action::OpenInDefaultBrowser);

    // The same list but allowing everything lets the foreign link stay.
    list.setAllowAll(true);
    EXPECT_EQ(KTNavigationPolicy::decide(req("https://other.test/"), list).action, Action::Allow);
}

struct RootCase {
    const char* url;
    std::optional<std::string> root;
};

TEST(NavigationPolicy, RootDomain)
{
    const RootCase cases[] = {
        {"https://w.x.y/path", "x.y"},
        {"https://v.w.x.y/", "w.x.y"},
        {"https://x.y/", "x.y"},
        {"http://localhost:8080/", "localhost"},
        {"https://a.x.y:8443/p?q=1", "x.y"},
        {"https://user:pw@a.x.y/", "x.y"},
        {"https://A.X.Y/", "x.y"}, // hosts are compared in GLib's normal form
        {"about:blank", std::nullopt},
        {"mailto:a@b.c", std::nullopt},
        {"file:///etc/hosts", std::nullopt},
        {"not a url", std::nullopt},
        {"", std::nullopt},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.url);
        EXPECT_EQ(KTNavigationPolicy::getRootDomain(c.url), c.root);
    }
}

TEST(NavigationPolicy, UrlToJudge)
{
    // Same root domain: the source decides; different or missing: the request.
    EXPECT_EQ(KTNavigationPolicy::urlToJudge("https://b.x.y/", std::nullopt), "https://b.x.y/");
    const struct {
        const char *url, *source, *judged;
    } cases[] = {
        {"https://b.x.y/", "https://a.x.y/s", "https://a.x.y/s"},
        {"https://b.x.z/", "https://a.x.y/s", "https://b.x.z/"},
        {"about:srcdoc", "about:blank", "about:srcdoc"},          // two hostless URLs share no root domain
        {"https://x.y/", "https://w.x.y/", "https://w.x.y/"},      // x.y and w.x.y: both x.y
        {"https://v.w.x.y/", "https://x.y/", "https://v.w.x.y/"}}; // w.x.y differs from x.y
    for (const auto& c : cases)
        EXPECT_EQ(KTNavigationPolicy::urlToJudge(c.url, std::string(c.source)), c.judged) << c.url;
}

TEST(NavigationPolicy, WebAddressPrefixes)
{
    for (const char* url : {"http://a", "https://a"})
        EXPECT_TRUE(KTNavigationPolicy::isWebAddress(url)) << url;
    for (const char* url : {"Http://a", "http:/a", "https:", " https://a", "ftp://a"})
        EXPECT_FALSE(KTNavigationPolicy::isWebAddress(url)) << url;
}

} // namespace
