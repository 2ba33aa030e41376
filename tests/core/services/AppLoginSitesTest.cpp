// Which logins count as the app's: its home page and the sites its
// allow-list keeps it to.

#include "core/services/KTAppLoginSites.h"

#include <gtest/gtest.h>

using namespace quilt;

namespace {

using Strings = std::vector<std::string>;

TEST(AppLoginSites, PatternsNameTheirSite)
{
    EXPECT_EQ(KTAppLoginSites::addressOfPattern("https://mail.example.org/inbox*"), "https://mail.example.org/inbox");
    EXPECT_EQ(KTAppLoginSites::addressOfPattern("*.example.org/*"), "https://example.org");
    EXPECT_EQ(KTAppLoginSites::addressOfPattern("**example.org:8443*x"), "https://example.org:8443");
    for (const char* none : {"", "*", "**", "*login*", "*/path/*", "*exa mple.org*", "javascript:x.y"})
        EXPECT_EQ(KTAppLoginSites::addressOfPattern(none), std::nullopt) << none;
}

TEST(AppLoginSites, BlockListPatternsAreNotTheAppsSites)
{
    const Strings patterns {"*example.org*", "*login*", "https://example.org/a*", "*example.org*"};
    EXPECT_EQ(KTAppLoginSites::addresses(std::string("https://example.org/home"), true, patterns),
              (Strings{"https://example.org/home", "https://example.org", "https://example.org/a"}));
    EXPECT_EQ(KTAppLoginSites::addresses(std::string("https://example.org/home"), false, patterns),
              (Strings{"https://example.org/home"}));
    EXPECT_EQ(KTAppLoginSites::addresses(std::nullopt, false, patterns), Strings{});
}

} // namespace
