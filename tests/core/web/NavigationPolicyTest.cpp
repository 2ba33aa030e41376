#include "TestEnvironment.h"

#include "core/web/KTNavigationPolicy.h"
#include "core/web/KTWhiteListManager.h"

#include <gtest/gtest.h>

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

const KTModifiers kControl {.control = true};
const auto kSub = KTFrameTarget::Sub;
const char* const kElsewhere = "https://elsewhere.test/";

const NavCase kCases[] = {
    {"MailLinkWithMailApp", {.url = "mailto:someone@site.example", .claimingApp = "Mail Client"},
     Action::AskOpenOtherApp, true},
    {"OtherSchemeClaimedEvenWhenControlClicked",
     {.url = "zoommtg://join?id=1", .claimingApp = "Meetings", .modifiers = kControl}, Action::AskOpenOtherApp, true},
    {"OtherSchemeClaimedInSubFrame", {.url = "tg://resolve", .claimingApp = "Chat", .target = kSub},
     Action::AskOpenOtherApp, true},
    // Nobody claims about:blank: it is judged by the allow-list like any address.
    {"UnclaimedSchemeJudgedByAllowList", req("about:blank"), Action::OpenInDefaultBrowser, true, "about:blank"},
    {"UnclaimedSchemeAllowedWhenListAllows", req("about:blank#site.example"), Action::Allow, false,
     "about:blank#site.example"},
    // The prefixes are exact and case-sensitive: "HTTPS://" belongs to whoever claims it.
    {"UpperCaseSchemeIsOtherScheme", {.url = "HTTPS://site.example/", .claimingApp = "Browser"},
     Action::AskOpenOtherApp, true},
    {"HttpIgnoresClaimingApp", {.url = "http://site.example/", .claimingApp = "Browser"}, Action::Allow, false,
     "http://site.example/"},
    {"ControlClickOpensTab", {.url = kElsewhere, .modifiers = kControl}, Action::NewTab, true},
    {"ControlShiftClickIsPlainClick", {.url = kElsewhere, .modifiers = {.control = true, .shift = true}},
     Action::OpenInDefaultBrowser, true, kElsewhere},
    {"ControlAltClickIsPlainClick", {.url = "https://site.example/a", .modifiers = {.control = true, .alt = true}},
     Action::Allow, false, "https://site.example/a"},
    {"ControlSuperClickIsPlainClick", {.url = "https://site.example/a", .modifiers = {.control = true, .super = true}},
     Action::Allow, false, "https://site.example/a"},
    {"ShiftAloneIsPlainClick", {.url = "https://site.example/a", .modifiers = {.shift = true}}, Action::Allow, false,
     "https://site.example/a"},
    {"ControlClickInSubFrameStillOpensTab", {.url = kElsewhere, .modifiers = kControl, .target = kSub},
     Action::NewTab, true},
    {"SubFrameAllowedOutsideList", {.url = "https://ads.elsewhere.test/frame", .target = kSub}, Action::Allow, false},
    {"NewWindowRequestAllowed", {.url = "https://elsewhere.test/popup", .target = KTFrameTarget::None},
     Action::Allow, false},
    {"MainFrameAllowed", req("https://www.site.example/inbox"), Action::Allow, false, "https://www.site.example/inbox"},
    {"MainFrameRefusedGoesToBrowser", req(kElsewhere), Action::OpenInDefaultBrowser, true, kElsewhere},
    // A redirect from a.x.y to b.x.y stays in the root domain x.y: judged by where the load started.
    {"RedirectWithinRootDomainJudgedBySource",
     {.url = "https://b.elsewhere.test/landing", .sourceURL = "https://a.elsewhere.test/start"},
     Action::OpenInDefaultBrowser, true, "https://a.elsewhere.test/start"},
    {"RedirectWithinRootDomainAllowedBySource", {.url = "https://login.sso.test/x", .sourceURL = "https://app.sso.test/"},
     Action::Allow, false, "https://app.sso.test/"},
    // Leaving the root domain is judged by the new address itself.
    {"RedirectLeavingRootDomainJudgedByItself",
     {.url = "https://site.example/back", .sourceURL = "https://a.elsewhere.test/"}, Action::Allow, false,
     "https://site.example/back"},
    {"RedirectLeavingRootDomainRefused", {.url = "https://tracker.test/", .sourceURL = "https://www.site.example/"},
     Action::OpenInDefaultBrowser, true, "https://tracker.test/"},
    // A source without a host never shares a root domain.
    {"HostlessSourceIgnored", {.url = kElsewhere, .sourceURL = "about:blank#site.example"},
     Action::OpenInDefaultBrowser, true, kElsewhere},
    {"RefusedLinkClosesRecentNewTab", {.url = kElsewhere, .isRecentNewTab = true}, Action::OpenInDefaultBrowser, true,
     kElsewhere, true},
    {"RefusedLinkInBackground", {.url = kElsewhere, .openOtherAppInBackground = true}, Action::OpenInDefaultBrowser,
     true, kElsewhere, false, true},
    {"AllowedLinkKeepsRecentNewTab", {.url = "https://site.example/", .isRecentNewTab = true}, Action::Allow, false,
     "https://site.example/"},
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

    EXPECT_EQ(KTNavigationPolicy::decide(req("https://mail.site.example/x"), list.rules()).action, Action::Allow);
    EXPECT_EQ(KTNavigationPolicy::decide(req("https://other.test/"), list.rules()).action, Action::OpenInDefaultBrowser);

    // The same list but allowing everything lets the foreign link stay.
    list.setAllowAll(true);
    EXPECT_EQ(KTNavigationPolicy::decide(req("https://other.test/"), list.rules()).action, Action::Allow);
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

TEST(NavigationPolicy, WebAddressPrefixes)
{
    for (const char* url : {"http://a", "https://a"})
        EXPECT_TRUE(KTNavigationPolicy::isWebAddress(url)) << url;
    for (const char* url : {"Http://a", "http:/a", "https:", " https://a", "ftp://a"})
        EXPECT_FALSE(KTNavigationPolicy::isWebAddress(url)) << url;
}

} // namespace
