#include "core/web/KTTypedAddress.h"

#include <gtest/gtest.h>

#include <map>

using namespace quilt;

namespace {

struct TypedCase {
    const char* typed;
    std::optional<std::string> load;
};

TEST(TypedAddress, WithoutShortcuts)
{
    const TypedCase cases[] = {
        // A bare host, or host and path: "https://" goes in front.
        {"example.com", "https://example.com"},
        {"example.com/news?id=3", "https://example.com/news?id=3"},
        {"127.0.0.1:8080/x", "https://127.0.0.1:8080/x"},
        {"user@example.com", "https://user@example.com"},
        // A scheme is kept, the text loads as it is.
        {"http://example.com/a", "http://example.com/a"},
        {"https://localhost:3000", "https://localhost:3000"},
        // With a scheme but no host nothing happens.
        {"mailto:someone@example.com", std::nullopt},
        {"about:blank", std::nullopt},
        {"file:///etc/hosts", std::nullopt},
        // "host:port" reads as scheme "localhost" without a host.
        {"localhost:8080", std::nullopt},
        // A search: the text was scheme-less, so "https://" goes in front of the
        // whole search URL too, and the host read from that is "https".
        {"kittens", "https://https://duckduckgo.com/?q=kittens"},
        {"cute kittens", "https://https://duckduckgo.com/?q=cute%20kittens"},
        {"localhost", "https://https://duckduckgo.com/?q=localhost"},
        // Text that is no URL (a space, a quote) has no scheme either.
        {"note: buy milk", "https://https://duckduckgo.com/?q=note:%20buy%20milk"},
        // A search text with characters no URL may hold gives no URL at all.
        {"say \"hi\"", std::nullopt},
        // With a dot and a space the "https://" address is no URL: nothing.
        {"how to use git.config", std::nullopt},
        {"exa mple.com", std::nullopt},
        // International names load; the engine handles the encoding.
        {"bücher.example/ä", "https://bücher.example/ä"},
        // Broken escapes make the text no URL.
        {"example.com/100%", std::nullopt},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.typed);
        EXPECT_EQ(KTTypedAddress::urlToLoad(c.typed), c.load);
    }
}

TEST(TypedAddress, ShortcutReplacesTextBeforeTheUsualRules)
{
    std::map<std::string, std::string, std::less<>> shortcuts = {
        {"mail", "https://mail.site.example/inbox"},
        {"docs", "docs.site.example"}, // completed with "https://" like typed text
        {"empty", ""},
    };
    std::vector<std::string> asked;
    auto lookup = [&](std::string_view text) -> std::optional<std::string> {
        asked.emplace_back(text);
        auto it = shortcuts.find(text);
        return it == shortcuts.end() ? std::nullopt : std::optional<std::string>(it->second);
    };
    EXPECT_EQ(KTTypedAddress::urlToLoad("mail", lookup), "https://mail.site.example/inbox");
    EXPECT_EQ(KTTypedAddress::urlToLoad("docs", lookup), "https://docs.site.example");
    // An empty URL is no hit: the word is searched.
    EXPECT_EQ(KTTypedAddress::urlToLoad("empty", lookup), "https://https://duckduckgo.com/?q=empty");
    EXPECT_EQ(KTTypedAddress::urlToLoad("Mail", lookup), "https://https://duckduckgo.com/?q=Mail");
    EXPECT_EQ(asked, (std::vector<std::string>{"mail", "docs", "empty", "Mail"}));
}

TEST(TypedAddress, ParseReadsLikeAStrictParser)
{
    auto p = KTTypedAddress::parse("https://Example.COM:8443/x");
    ASSERT_TRUE(p);
    EXPECT_EQ(std::tie(p->scheme, p->host), std::make_tuple("https", "Example.COM"));
    p = KTTypedAddress::parse("example.com/x");
    ASSERT_TRUE(p);
    EXPECT_FALSE(p->scheme || p->host);
    for (const char* bad : {"a b", "a\tb", "a<b", "a>b", "a{b}", "a|b", "a\\b", "a^b", "a`b", "a#b#c", "%", "%g0"}) {
        SCOPED_TRACE(bad);
        EXPECT_FALSE(KTTypedAddress::parse(bad));
    }
    EXPECT_TRUE(KTTypedAddress::parse("a#b"));
    EXPECT_TRUE(KTTypedAddress::parse(""));
}

} // namespace
