#include "TestEnvironment.h"

#include "config/KTUserDefaults.h"
#include "web/KTUserAgents.h"

#include <gtest/gtest.h>

using namespace quilt;

namespace {

KTAgentVersions exampleSystem()
{
    // A 10.15.7 system whose engine bundle 15610.4.3.1.7 gives 610.4.3.1.7,
    // with a Safari reporting 14.0.3.
    KTAgentVersions v;
    v.osMajor = 10;
    v.osMinor = 15;
    v.osPatch = 7;
    v.safariVersion = "14.0.3";
    v.webkitVersion = "610.4.3.1.7";
    return v;
}

TEST(UserAgents, TableWithForcedVersions)
{
    KTUserAgents agents(exampleSystem());
    const KTUserAgents::Table expected = {
        {"Safari-Mac", "Mozilla/5.0 (Macintosh; Intel Mac OS X 10_15_7) AppleWebKit/610.4.3.1.7 (KHTML, like Gecko) "
                       "Version/14.0.3 Safari/610.4.3.1.7"},
        {"Firefox-Mac", "Mozilla/5.0 (Macintosh; Intel Mac OS X 10.15; rv:83.0) Gecko/20100101 Firefox/83.0"},
        {"Chrome-Mac", "Mozilla/5.0 (Macintosh; Intel Mac OS X 10_15_7) AppleWebKit/610.4.3.1.7 (KHTML, like Gecko) "
                       "Chrome/87.0.4280.88 Safari/610.4.3.1.7"},
        {"iPhone", "Mozilla/5.0 (iPhone; CPU iPhone OS 14_2 like Mac OS X) AppleWebKit/610.4.3.1.7 (KHTML, like "
                   "Gecko) Version/10.0 Mobile/14E8301 Safari/610.4.3.1.7"},
        {"iPad", "Mozilla/5.0 (iPad; CPU OS 14_2 like Mac OS X) AppleWebKit/610.4.3.1.7 (KHTML, like Gecko) "
                 "Version/10.0 Mobile/14E8301 Safari/610.4.3.1.7"},
    };
    EXPECT_EQ(agents.userAgents(), expected);
    EXPECT_EQ(agents.names(), (std::vector<std::string>{"Safari-Mac", "Firefox-Mac", "Chrome-Mac", "iPhone", "iPad"}));
    EXPECT_EQ(agents.webkitVersion(), "610.4.3.1.7");
}

TEST(UserAgents, FirefoxCarriesOnlyMajorAndMinor)
{
    KTAgentVersions v = exampleSystem();
    v.osMajor = 11;
    v.osMinor = 2;
    v.osPatch = 3;
    KTUserAgents agents(v);
    auto firefox = agents.agentNamed("Firefox-Mac");
    ASSERT_TRUE(firefox);
    EXPECT_NE(firefox->find("Intel Mac OS X 11.2;"), std::string::npos) << *firefox;
    EXPECT_EQ(firefox->find("11_2_3"), std::string::npos);
    EXPECT_NE(agents.agentNamed("Safari-Mac")->find("Intel Mac OS X 11_2_3)"), std::string::npos);
}

TEST(UserAgents, MissingVersionsPrintAsNull)
{
    KTAgentVersions v;
    KTUserAgents agents(v);
    EXPECT_EQ(*agents.agentNamed("Safari-Mac"), "Mozilla/5.0 (Macintosh; Intel Mac OS X 10_15_7) AppleWebKit/(null) "
                                                "(KHTML, like Gecko) Version/(null) Safari/(null)");
}

TEST(UserAgents, DerivedFromWebKitGTKVersion)
{
    // What WebKitGTK 2.50's own default agent carries: AppleWebKit/605.1.15,
    // Version/60.5, Safari/605.1.15; the OS part frozen at 10.15.7.
    KTUserAgents agents = KTUserAgents::forWebKitGTK(2, 50, 6);
    EXPECT_EQ(*agents.agentNamed("Safari-Mac"), "Mozilla/5.0 (Macintosh; Intel Mac OS X 10_15_7) AppleWebKit/605.1.15 "
                                                "(KHTML, like Gecko) Version/60.5 Safari/605.1.15");
    EXPECT_EQ(*agents.agentNamed("Chrome-Mac"), "Mozilla/5.0 (Macintosh; Intel Mac OS X 10_15_7) AppleWebKit/605.1.15 "
                                                "(KHTML, like Gecko) Chrome/87.0.4280.88 Safari/605.1.15");

    struct {
        unsigned major, minor, micro;
        const char* safari;
    } versions[] = {
        {2, 50, 6, "60.5"}, {2, 47, 3, "60.5"}, {2, 48, 0, "60.5"}, {3, 0, 0, "60.5"},
        {2, 47, 2, "17.0"}, {2, 46, 9, "17.0"}, {2, 40, 0, "17.0"},
    };
    for (const auto& v : versions) {
        SCOPED_TRACE(testing::Message() << v.major << "." << v.minor << "." << v.micro);
        EXPECT_EQ(KTUserAgents::getSafariVersion(v.major, v.minor, v.micro), v.safari);
        EXPECT_EQ(KTUserAgents::getWebkitVerion(v.major, v.minor, v.micro), "605.1.15");
    }
}

TEST(UserAgents, AgentNameForNewPage)
{
    struct {
        bool mobile;
        std::optional<std::string> stored;
        const char* name;
    } cases[] = {
        {false, std::nullopt, "Safari-Mac"}, {false, std::string(""), "Safari-Mac"},
        {false, std::string("Chrome-Mac"), "Chrome-Mac"}, {false, std::string("Netscape"), "Netscape"},
        {true, std::string("Chrome-Mac"), "iPhone"}, {true, std::nullopt, "iPhone"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.stored.value_or("(missing)") + (c.mobile ? " mobile" : ""));
        EXPECT_EQ(KTUserAgents::agentNameForNewPage(c.mobile, c.stored), c.name);
    }
}

TEST(UserAgents, LastUserAgentFromRealDefaults)
{
    test::TestEnvironment env;
    const std::string path = env.root() + "/defaults.ini";
    KTUserAgents agents = KTUserAgents::forWebKitGTK(2, 50, 6);
    {
        KTUserDefaults defaults(path);
        // Missing key: the Safari agent.
        EXPECT_EQ(agents.agentForNewPage(false, defaults), agents.agentNamed("Safari-Mac"));
        KTUserAgents::setLastUserAgent(defaults, "Firefox-Mac");
    }
    // The choice survives into the next run.
    KTUserDefaults reread(path);
    EXPECT_EQ(reread.stringForKey("lastUserAnget"), "Firefox-Mac");
    EXPECT_EQ(agents.agentForNewPage(false, reread), agents.agentNamed("Firefox-Mac"));
    EXPECT_EQ(agents.agentForNewPage(true, reread), agents.agentNamed("iPhone"));
    // A name not in the table gives no agent: the engine's default stays.
    reread.setString("lastUserAnget", "Lynx");
    EXPECT_EQ(agents.agentForNewPage(false, reread), std::nullopt);
    reread.setString("lastUserAnget", "");
    EXPECT_EQ(agents.agentForNewPage(false, reread), agents.agentNamed("Safari-Mac"));
}

TEST(UserAgents, SetUserAgentsReplacesTheTable)
{
    KTUserAgents agents(exampleSystem());
    agents.setUserAgents({{"Custom", "Agent/1.0"}});
    EXPECT_EQ(agents.names(), std::vector<std::string>{"Custom"});
    EXPECT_EQ(agents.agentNamed("Safari-Mac"), std::nullopt);
    EXPECT_EQ(agents.agentNamed("Custom"), "Agent/1.0");
}

} // namespace
