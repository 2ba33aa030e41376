#include "KTLoginSite.h"

#include <gtest/gtest.h>

using namespace quilt;

namespace {

struct SiteCase {
    const char* url;
    const char* origin; // nullptr: no site
    const char* label;
};

class LoginSite : public testing::TestWithParam<SiteCase> {};

TEST_P(LoginSite, IsTheOriginOfTheAddress)
{
    const auto& c = GetParam();
    auto site = KTLoginSite::fromURL(c.url);
    ASSERT_EQ(site.has_value(), c.origin != nullptr) << c.url;
    if (!site)
        return;
    EXPECT_EQ(site->origin(), c.origin);
    EXPECT_EQ(site->labelFor("alice"), c.label);
}

INSTANTIATE_TEST_SUITE_P(
    Addresses, LoginSite,
    testing::Values(SiteCase{"https://Example.ORG/login?next=/", "https://example.org", "Quilt: alice@example.org"},
                    SiteCase{"https://example.org:443/", "https://example.org", "Quilt: alice@example.org"},
                    SiteCase{"http://example.org:80", "http://example.org", "Quilt: alice@example.org"},
                    SiteCase{"https://example.org:8443/x", "https://example.org:8443", "Quilt: alice@example.org:8443"},
                    SiteCase{"http://127.0.0.1:8080/", "http://127.0.0.1:8080", "Quilt: alice@127.0.0.1:8080"},
                    SiteCase{"https://[::1]:9000/", "https://[::1]:9000", "Quilt: alice@[::1]:9000"},
                    SiteCase{"https://user:pw@example.org/", "https://example.org", "Quilt: alice@example.org"},
                    SiteCase{"ftp://example.org/", nullptr, ""},
                    SiteCase{"file:///etc/passwd", nullptr, ""},
                    SiteCase{"about:blank", nullptr, ""},
                    SiteCase{"https://", nullptr, ""},
                    SiteCase{"not a url", nullptr, ""},
                    SiteCase{"", nullptr, ""}));

} // namespace
