// Colours, property lists, ICNS files and the notification centre.

#include "ConfigTest.h"

#include "core/config/GRef.h"
#include "core/config/KTColor.h"
#include "core/config/KTIcns.h"
#include "core/config/KTRateLimit.h"
#include "core/config/KTNotificationCenter.h"
#include "core/config/KTNotificationNames.h"
#include "core/config/KTNumber.h"
#include "core/config/KTPlist.h"
#include "core/config/KTRect.h"
#include "core/config/KTUserDefaults.h"

#include <plist/plist.h>

#include <random>

using namespace quilt;
using namespace quilt::test;

namespace {

// --- Colours ---------------------------------------------------------------

TEST(Color, StringFormHasFourNumbersAndNoTrailingBlank)
{
    const KTColor c = KTColor::rgb(0.25, 0.5, 0.123456789, 1.0);
    EXPECT_EQ(c.stringRepresentation(), "0.250000 0.500000 0.123457 1.000000");
    auto back = KTColor::colorFromStringForColorSpace(c.stringRepresentation(), KTColorSpace::DeviceRGB);
    ASSERT_TRUE(back);
    ASSERT_EQ(back->components.size(), 4u);
    for (size_t i = 0; i < 4; ++i)
        EXPECT_NEAR(back->components[i], c.components[i], 5e-7);
}

struct ParseCase {
    const char* text;
    std::optional<std::vector<double>> components;
};

class ColorParse : public ::testing::TestWithParam<ParseCase> {};

TEST_P(ColorParse, Pieces)
{
    auto c = KTColor::colorFromStringForColorSpace(GetParam().text, KTColorSpace::DeviceRGB);
    ASSERT_EQ(c.has_value(), GetParam().components.has_value());
    if (c) {
        EXPECT_EQ(c->components, *GetParam().components);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Table, ColorParse,
    ::testing::Values(ParseCase{"", std::vector<double>{0.0}},
                      ParseCase{"0.5", std::vector<double>{0.5}},
                      ParseCase{"1 0 0 1", std::vector<double>{1, 0, 0, 1}},
                      ParseCase{"1  0", std::vector<double>{1, 0, 0}}, // split on single blanks
                      ParseCase{"x 0.5", std::vector<double>{0, 0.5}},
                      ParseCase{"1 2 3 4 5 6 7 8 9 10", std::vector<double>{1, 2, 3, 4, 5, 6, 7, 8, 9, 10}},
                      ParseCase{"1 2 3 4 5 6 7 8 9 10 11", std::nullopt},
                      ParseCase{"          ", std::nullopt}));

// --- Numbers in files --------------------------------------------------------
// These run once as they are and once under de_DE.UTF-8 (see
// tests/CMakeLists.txt): files must read and write with a dot either way.

TEST(Numbers, TheDecimalCommaRunReallyHasADecimalComma)
{
    if (!std::getenv("QUILT_DECIMAL_COMMA"))
        GTEST_SKIP() << "only in the decimal-comma run";
    EXPECT_STREQ(localeconv()->decimal_point, ",") << "the de_DE.UTF-8 locale was not generated or not set";
}

TEST(Numbers, TextFormsUseADotInEveryLanguage)
{
    EXPECT_EQ(KTColor::rgb(1, 0.5, 0, 0.5).cssString(), "rgba(255,128,0,0.500)");
    EXPECT_EQ(KTRect({10.5, 20, 800.5, 600}).toString(), "{{10.5, 20}, {800.5, 600}}");
    EXPECT_EQ(KTRect::fromString("{{10.5, 20}, {800.5, 600.25}}"), (KTRect{10.5, 20, 800.5, 600.25}));
    EXPECT_EQ(KTNumber::format(1e300), "1e+300");
    EXPECT_EQ(KTNumber::format(std::nan("")), "0");
    size_t used = 0;
    EXPECT_EQ(KTNumber::parse(" -2.5e1x", &used), -25.0);
    EXPECT_EQ(used, 7u);
    EXPECT_EQ(KTNumber::parse("1,5", &used), 1.0) << "a comma ends the number";
    EXPECT_FALSE(KTNumber::parse("x"));
}

// --- Property lists --------------------------------------------------------

const KTJson kPlistValue = {{"CFBundleName", "Café"},
                            {"count", 42},
                            {"negative", -3},
                            {"ratio", 0.75},
                            {"flag", true},
                            {"list", {"a", false, 2}},
                            {"nested", {{"empty", KTJson::object()}, {"z", "last"}}}};

TEST(Plist, XmlRoundTripKeepsTypesAndOrder)
{
    TestEnvironment env;
    const std::string path = env.root() + "/value.plist";
    ASSERT_TRUE(KTPlist::writeFile(path, kPlistValue));
    EXPECT_NE(env.readFile(path).find("<key>CFBundleName</key>"), std::string::npos);
    auto back = KTPlist::readFile(path);
    ASSERT_TRUE(back);
    EXPECT_EQ(*back, kPlistValue);
    EXPECT_TRUE((*back)["ratio"].is_number_float());
}

TEST(Plist, ReadsBinaryPropertyLists)
{
    plist_t dict = plist_new_dict();
    plist_dict_set_item(dict, "isEnterpriseApp", plist_new_bool(1));
    plist_dict_set_item(dict, "appName", plist_new_string("Zoë"));
    plist_dict_set_item(dict, "windowLevel", plist_new_uint(2));
    plist_dict_set_item(dict, "windowOpacity", plist_new_real(0.8));
    plist_t patterns = plist_new_array();
    plist_array_append_item(patterns, plist_new_string("https://a.example/*"));
    plist_dict_set_item(dict, "whiteListPatterns", patterns);
    plist_dict_set_item(dict, "blob", plist_new_data("\x01\x02", 2));
    char* bin = nullptr;
    uint32_t len = 0;
    plist_to_bin(dict, &bin, &len);
    plist_free(dict);
    ASSERT_NE(bin, nullptr);
    const std::string bytes(bin, len);
    plist_to_bin_free(bin);
    ASSERT_EQ(bytes.substr(0, 6), "bplist");

    TestEnvironment env;
    env.writeFile(env.root() + "/EnterpriseSettings.plist", bytes);
    auto v = KTPlist::readFile(env.root() + "/EnterpriseSettings.plist");
    ASSERT_TRUE(v);
    EXPECT_EQ(*v, KTJson({{"isEnterpriseApp", true},
                          {"appName", "Zoë"},
                          {"windowLevel", 2},
                          {"windowOpacity", 0.8},
                          {"whiteListPatterns", {"https://a.example/*"}},
                          {"blob", std::string("\x01\x02", 2)}}));

    // Damaged binary and XML lists are refused, not half read.
    std::string error;
    EXPECT_FALSE(KTPlist::parse(bytes.substr(0, bytes.size() / 2), &error));
    EXPECT_FALSE(error.empty());
    EXPECT_FALSE(KTPlist::parse("<?xml version=\"1.0\"?><plist><dict><key>a</key>"));
    EXPECT_FALSE(KTPlist::parse(""));
    EXPECT_FALSE(KTPlist::readFile(env.root() + "/missing.plist"));
}

TEST(Plist, NulBytesNeitherAbortNorGetLost)
{
    // libplist aborts the process when its string getter meets a NUL byte
    // in a string; the text before it is what libplist keeps.
    const char xml[] = "<plist version=\"1.0\"><dict><key>k</key><string>a\0b</string></dict></plist>";
    auto v = KTPlist::parse(std::string_view(xml, sizeof xml - 1));
    ASSERT_TRUE(v);
    EXPECT_EQ(*v, KTJson({{"k", "a"}}));

    // Data read as text keeps its NUL bytes when written back.
    TestEnvironment env;
    const std::string path = env.root() + "/nul.plist";
    const KTJson blob = {{"blob", std::string("\x00\x01z", 3)}};
    ASSERT_TRUE(KTPlist::writeFile(path, blob));
    EXPECT_EQ(KTPlist::readFile(path), blob);
}

// --- ICNS ------------------------------------------------------------------

std::string pngOfSize(int pixels)
{
    auto image = GRef<GdkPixbuf>::adopt(gdk_pixbuf_new(GDK_COLORSPACE_RGB, TRUE, 8, pixels, pixels));
    gdk_pixbuf_fill(image.get(), 0x336699ff);
    gchar* buffer = nullptr;
    gsize length = 0;
    gdk_pixbuf_save_to_buffer(image.get(), &buffer, &length, "png", nullptr, nullptr);
    std::string png(buffer, length);
    g_free(buffer);
    return png;
}

TEST(Icns, EncodeDecodeRoundTrip)
{
    const std::vector<KTIcns::Element> elements = {{"ic07", pngOfSize(128)}, {"ic09", pngOfSize(512)}, {"info", ""}};
    const std::string bytes = KTIcns::encode(elements);
    EXPECT_EQ(bytes.substr(0, 4), "icns");
    uint32_t total = 0;
    for (int i = 4; i < 8; ++i)
        total = (total << 8) | static_cast<unsigned char>(bytes[i]);
    EXPECT_EQ(total, bytes.size());
    auto back = KTIcns::decode(bytes);
    ASSERT_TRUE(back);
    ASSERT_EQ(back->size(), 3u);
    for (size_t i = 0; i < 3; ++i)
        EXPECT_TRUE((*back)[i].type == elements[i].type && (*back)[i].data == elements[i].data) << i;
    auto largest = GRef<GdkPixbuf>::adopt(KTIcns::readLargest(std::string_view(bytes)));
    ASSERT_TRUE(largest);
    EXPECT_EQ(gdk_pixbuf_get_width(largest.get()), 512);
}

TEST(Icns, TruncatedAndGarbageFilesAreRefusedWithoutCrashing)
{
    const std::string good = KTIcns::encode({{"ic07", pngOfSize(128)}, {"ic08", pngOfSize(256)}});
    // Every proper prefix is refused: the header's length no longer fits.
    for (size_t n = 0; n < good.size(); n += (n < 64 ? 1 : 97)) {
        EXPECT_FALSE(KTIcns::decode(std::string_view(good).substr(0, n))) << n;
        EXPECT_EQ(KTIcns::readLargest(std::string_view(good).substr(0, n)), nullptr);
    }
    // Lengths that lie: an element shorter than its own header, a total past the end.
    auto withByte = [&](size_t at, char c) { std::string b = good; b[at] = c; return b; };
    EXPECT_FALSE(KTIcns::decode(withByte(8 + 4, 0).replace(8 + 5, 3, std::string("\0\0\x04", 3))));
    EXPECT_FALSE(KTIcns::decode(withByte(4, '\x7f')));
    EXPECT_FALSE(KTIcns::decode(std::string("icns\0\0\0\x09xyz", 11)));

    // A broken PNG inside a well-formed file is skipped; the good one is used.
    std::string brokenPng = pngOfSize(256);
    brokenPng.resize(brokenPng.size() / 2);
    const std::string mixed = KTIcns::encode({{"ic08", brokenPng}, {"ic07", pngOfSize(128)}});
    auto best = GRef<GdkPixbuf>::adopt(KTIcns::readLargest(std::string_view(mixed)));
    ASSERT_TRUE(best);
    EXPECT_EQ(gdk_pixbuf_get_width(best.get()), 128);

    // A picture declaring 20000x20000 pixels (1.6 GB decoded) is never
    // decoded, whatever its rank; a sensible one beside it is used.
    const std::string huge = pngDeclaring(20000, 20000);
    EXPECT_EQ(KTIcns::readLargest(std::string_view(KTIcns::encode({{"ic10", huge}}))), nullptr);
    auto sensible = GRef<GdkPixbuf>::adopt(
        KTIcns::readNearest(std::string_view(KTIcns::encode({{"ic10", huge}, {"ic07", pngOfSize(128)}})), 512));
    ASSERT_TRUE(sensible);
    EXPECT_EQ(gdk_pixbuf_get_width(sensible.get()), 128);

    std::mt19937 rng(7);
    for (int i = 0; i < 300; ++i) {
        std::string junk = "icns" + std::string(4 + rng() % 200, '\0');
        for (size_t k = 4; k < junk.size(); ++k)
            junk[k] = static_cast<char>(rng());
        junk[4] = junk[5] = 0; // plausible totals, random elements
        if (GdkPixbuf* pix = KTIcns::readLargest(std::string_view(junk)))
            g_object_unref(pix);
    }
}

// --- Rate limit --------------------------------------------------------------

TEST(RateLimit, ABurstThenTheSteadyRateHoweverFastItIsAsked)
{
    using namespace std::chrono;
    KTRateLimit limit(3, 2); // 3 at once, then 2 a second
    const auto t0 = KTRateLimit::Clock::time_point{} + hours(1);
    int taken = 0;
    for (int i = 0; i < 1000; ++i)
        taken += limit.take(t0);
    EXPECT_EQ(taken, 3);
    EXPECT_FALSE(limit.take(t0 + milliseconds(400)));
    EXPECT_TRUE(limit.take(t0 + milliseconds(500)));
    EXPECT_FALSE(limit.take(t0 - seconds(100))) << "a clock going back gives nothing";
    taken = 0;
    for (int i = 0; i < 1000; ++i)
        taken += limit.take(t0 + seconds(60));
    EXPECT_EQ(taken, 3) << "a long pause refills the burst, no more";
}

// --- Notification centre ---------------------------------------------------

TEST(NotificationCenter, ObserversChangedDuringAPost)
{
    KTNotificationCenter center;
    std::vector<std::string> seen;
    KTNotificationCenter::Token second = 0, self = 0;
    center.addObserver(names::kReload, [&](const KTNotification&) {
        seen.push_back("first");
        center.removeObserver(second); // removed while the post runs: not called
        center.addObserver(names::kReload, [&](const KTNotification&) { seen.push_back("late"); });
        for (int i = 0; i < 64; ++i) // other names may rehash the table mid-post
            center.addObserver("name" + std::to_string(i), [](const KTNotification&) {});
    });
    second = center.addObserver(names::kReload, [&](const KTNotification&) { seen.push_back("second"); });
    self = center.addObserver(names::kReload, [&](const KTNotification& n) {
        seen.push_back("once " + n.name);
        center.removeObserver(self);
    });
    center.post(names::kReload);
    EXPECT_EQ(seen, (std::vector<std::string>{"first", "once reload"}));
    seen.clear();
    center.post(names::kReload);
    EXPECT_EQ(seen, (std::vector<std::string>{"first", "late"}));
}

} // namespace
