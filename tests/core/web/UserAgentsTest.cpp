#include "TestEnvironment.h"

#include "core/config/KTUserDefaults.h"
#include "core/web/KTUserAgents.h"

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
    // The menu's list names the table's agents in the table's order.
    EXPECT_EQ(agents.names(), std::vector<std::string>(KTUserAgents::kNames.begin(), KTUserAgents::kNames.end()));
    EXPECT_EQ(agents.webkitVersion(), "610.4.3.1.7");
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

} // namespace
