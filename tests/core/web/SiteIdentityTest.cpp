// Reading a site's identity from its page head and web app manifest: the
// markup real sites write, and markup written to mislead the reader.
#include "core/web/KTSiteIdentity.h"

#include <gtest/gtest.h>

namespace quilt {
namespace {

const std::string kPage = "https://mail.example.org/app/index.html";

TEST(SiteIdentityHead, ReadsTitleLinksAndColourAsBrowsersDo)
{
    const auto head = KTSiteIdentity::parseHead(R"html(<!DOCTYPE html><HTML><Head>
        <!-- <title>Commented out</title> <link rel="icon" href="/comment.png"> -->
        <script>document.write('<title>From script</title><link rel=icon href=/script.png>')</script>
        <TITLE>
           Inbox &amp; Calendar &#8211;&#x20;Mail </TITLE>
        <meta name="theme-color" media="(prefers-color-scheme: dark)" content="#000">
        <meta name=Theme-Color content="rgb(26, 115, 232)">
        <link rel="Shortcut Icon" href="favicon.ico">
        <link rel='apple-touch-icon' href="//cdn.example.org/touch.png">
        <link rel=icon sizes="16x16 48x48" href=icons/i.png>
        <link rel="icon" href="javascript:alert(1)">
        <link rel="manifest" href="/manifest.json">
        <link rel="manifest" href="/second.json">
        <base href="https://static.example.org/base/">
        </head><body><title>Body title</title><link rel=icon href=/late.png></body>)html",
                                                kPage);
    EXPECT_EQ(head.title, "Inbox & Calendar \u2013 Mail");
    EXPECT_EQ(head.themeColor, "#1a73e8");
    EXPECT_EQ(head.manifestUrl, "https://static.example.org/manifest.json");
    std::vector<std::string> urls;
    for (const auto& icon : head.icons)
        urls.push_back(icon.url);
    // Relative links resolve against <base> wherever it stands; a script
    // address and everything outside the head are not icons.
    EXPECT_EQ(urls, (std::vector<std::string> {"https://static.example.org/base/favicon.ico",
                                               "https://cdn.example.org/touch.png",
                                               "https://static.example.org/base/icons/i.png"}));
    EXPECT_EQ(head.icons[2].size, 48);
    EXPECT_EQ(head.icons[1].source, KTSiteIdentity::IconSource::AppleTouch);
}

TEST(SiteIdentityHead, SurvivesTruncatedAndHostileMarkup)
{
    for (const char* html : {"<", "<title>never closed", "<link rel=icon href=\"unterminated", "<!-- open",
                             "<script>no end", "<meta content=>", "<link =x rel=icon href=a.png",
                             "<title>&#0;&#xD800;&#99999999;&bogus;&</title>"}) {
        const auto head = KTSiteIdentity::parseHead(html, kPage);
        EXPECT_TRUE(head.title.size() < 100) << html;
    }
    EXPECT_EQ(KTSiteIdentity::parseHead("<title>&#0;A&#xD800;</title>", kPage).title, "\uFFFDA\uFFFD");
    EXPECT_EQ(KTSiteIdentity::parseHead("<title>never closed", kPage).title, "never closed");
}

TEST(SiteIdentityManifest, TakesSameOriginAddressesAndUsableIcons)
{
    std::string error;
    auto m = KTSiteIdentity::parseManifest(R"({
        "name": "  Example\nMail / Calendar  ", "short_name": "Mail",
        "start_url": "../inbox?source=app", "scope": "/", "theme_color": "#1A73E8",
        "icons": [
          {"src": "m.png", "sizes": "1024x1024", "purpose": "maskable"},
          {"src": "any.png", "sizes": "192x192", "purpose": "any maskable"},
          {"src": "wide.png", "sizes": "640x320"},
          {"src": "logo.svg", "type": "image/svg+xml", "sizes": "any"},
          {"src": "data:image/png;base64,AAAA", "sizes": "512x512"},
          "not an object", {"sizes": "64x64"}
        ]})",
                                           "https://mail.example.org/app/manifest.json", kPage, &error);
    ASSERT_TRUE(m) << error;
    EXPECT_EQ(m->name, "Example Mail Calendar");
    EXPECT_EQ(m->startUrl, "https://mail.example.org/inbox?source=app");
    EXPECT_EQ(m->scope, "https://mail.example.org/");
    EXPECT_EQ(m->themeColor, "#1a73e8");
    ASSERT_EQ(m->icons.size(), 3u);
    EXPECT_EQ(m->icons[0].url, "https://mail.example.org/app/any.png");
    EXPECT_FALSE(m->icons[1].square);
    EXPECT_TRUE(m->icons[2].scalable);

    // Another origin cannot become the app's home page or scope.
    m = KTSiteIdentity::parseManifest(R"({"start_url": "https://evil.test/", "scope": "https://evil.test/"})",
                                      "https://mail.example.org/manifest.json", kPage);
    ASSERT_TRUE(m);
    EXPECT_FALSE(m->startUrl);
    EXPECT_FALSE(m->scope);

    for (const char* bad : {"", "[]", "\"name\"", "{\"name\": ", "{\"name\": 5, \"icons\": {}}"}) {
        auto parsed = KTSiteIdentity::parseManifest(bad, "https://mail.example.org/m.json", kPage, &error);
        if (parsed)
            EXPECT_TRUE(parsed->name.empty() && parsed->icons.empty()) << bad;
        else
            EXPECT_FALSE(error.empty()) << bad;
    }
}

TEST(SiteIdentityChoice, LargestSquareIconFirstAndNamesFallBack)
{
    KTSiteIdentity::Head head;
    head.title = "Page title";
    head.themeColor = "#ffffff";
    head.icons = {{"https://e.org/16.png", 16, false, true, KTSiteIdentity::IconSource::Link},
                  {"https://e.org/touch.png", 0, false, true, KTSiteIdentity::IconSource::AppleTouch},
                  {"https://e.org/wide.png", 1000, false, false, KTSiteIdentity::IconSource::Link}};
    KTSiteIdentity::Manifest manifest;
    manifest.shortName = "Short";
    manifest.icons = {{"https://e.org/256.png", 256, false, true, KTSiteIdentity::IconSource::Manifest},
                      {"https://e.org/16.png", 16, false, true, KTSiteIdentity::IconSource::Manifest}};

    auto id = KTSiteIdentity::combine(head, manifest, "https://e.org/");
    EXPECT_EQ(id.name, "Short");
    EXPECT_EQ(id.themeColor, "#ffffff");
    std::vector<std::string> order;
    for (const auto& icon : id.icons)
        order.push_back(icon.url);
    EXPECT_EQ(order, (std::vector<std::string> {"https://e.org/256.png", "https://e.org/touch.png",
                                                "https://e.org/16.png", "https://e.org/wide.png"}));

    id = KTSiteIdentity::combine({}, std::nullopt, "https://e.org:8443/x");
    EXPECT_EQ(id.name, "e.org");
    EXPECT_EQ(id.shortName, "e.org");
    ASSERT_EQ(id.icons.size(), 1u);
    EXPECT_EQ(id.icons[0].url, "https://e.org:8443/favicon.ico");
    EXPECT_FALSE(id.fromManifest);
}

TEST(SiteIdentityValues, ColoursAndNames)
{
    const std::pair<const char*, std::optional<std::string>> colours[] = {
        {"#ABC", "#aabbcc"},        {" #a1b2c3 ", "#a1b2c3"}, {"#a1b2c3ff", "#a1b2c3"},
        {"rgb(255 0 10)", "#ff000a"}, {"rgba(300,-5,0,0.5)", "#ff0000"}, {"rgb(100%, 50%, 0%)", "#ff8000"},
        {"Navy", "#000080"},        {"#abcd1", std::nullopt}, {"#ggg", std::nullopt},
        {"rgb(1,2)", std::nullopt}, {"rgb(nan,1,2)", std::nullopt}, {"var(--brand)", std::nullopt},
        {"", std::nullopt},
    };
    for (const auto& [text, expected] : colours)
        EXPECT_EQ(KTSiteIdentity::cssColor(text), expected) << text;

    EXPECT_EQ(KTSiteIdentity::cleanName(" ..Mail\t/ 100%\x01 done "), "Mail 100 done");
    EXPECT_EQ(KTSiteIdentity::cleanName("caf\xc3\xa9\xff trailing"), "caf\xc3\xa9");
    const std::string longName = KTSiteIdentity::cleanName(std::string(99, 'a') + "\xc3\xa9" + "zz");
    EXPECT_EQ(longName, std::string(99, 'a')); // never half a character
    EXPECT_EQ(KTSiteIdentity::cleanName("..."), "");
}

} // namespace
} // namespace quilt
