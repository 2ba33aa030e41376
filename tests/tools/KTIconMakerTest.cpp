#include "KTIconMaker.h"
#include "TestEnvironment.h"
#include "core/config/KTFileUtil.h"
#include "core/config/KTIcns.h"

#include <gtest/gtest.h>

#include <cmath>
#include <set>

using quilt::GRef;
using quilt::KTIconMaker;
using quilt::KTIcns;

namespace {

struct Pixel {
    int r, g, b, a;
};

Pixel pixelAt(GdkPixbuf* p, int x, int y)
{
    const guchar* row = gdk_pixbuf_get_pixels(p) + y * gdk_pixbuf_get_rowstride(p);
    const int n = gdk_pixbuf_get_n_channels(p);
    const guchar* px = row + x * n;
    return {px[0], px[1], px[2], n == 4 ? px[3] : 255};
}

GRef<GdkPixbuf> decodePng(const std::string& data)
{
    auto loader = GRef<GdkPixbufLoader>::adopt(gdk_pixbuf_loader_new_with_type("png", nullptr));
    gdk_pixbuf_loader_write(loader.get(), reinterpret_cast<const guchar*>(data.data()), data.size(), nullptr);
    if (!gdk_pixbuf_loader_close(loader.get(), nullptr))
        return {};
    return GRef<GdkPixbuf>::retain(gdk_pixbuf_loader_get_pixbuf(loader.get()));
}

} // namespace

TEST(QuiltCreateIconMaker, GeneratedIconIsARoundedSquareWithAWhiteInitial)
{
    auto icon = KTIconMaker::generate("E", "example.org");
    ASSERT_TRUE(icon);
    ASSERT_TRUE(gdk_pixbuf_get_width(icon.get()) == 512 && gdk_pixbuf_get_height(icon.get()) == 512
                && gdk_pixbuf_get_has_alpha(icon.get()));

    // Transparent margin and rounded corners.
    for (auto [x, y] : {std::pair{0, 0}, {40, 40}, {511, 256}})
        EXPECT_EQ(pixelAt(icon.get(), x, y).a, 0) << x << "," << y;

    // The square's body in the seed's colour (within the gradient's shading).
    const auto c = KTIconMaker::colorForSeed("example.org");
    const Pixel body = pixelAt(icon.get(), 60, 256);
    EXPECT_EQ(body.a, 255);
    EXPECT_NEAR(body.r, c.red * 255, 0.13 * 255);
    EXPECT_NEAR(body.g, c.green * 255, 0.13 * 255);
    EXPECT_NEAR(body.b, c.blue * 255, 0.13 * 255);

    // The letter: white pixels in the middle, none near the edges.
    int whiteCentre = 0, whiteEdge = 0;
    for (int y = 0; y < 512; y += 2)
        for (int x = 0; x < 512; x += 2) {
            Pixel p = pixelAt(icon.get(), x, y);
            bool white = p.a == 255 && p.r > 240 && p.g > 240 && p.b > 240;
            bool centre = x > 128 && x < 384 && y > 128 && y < 384;
            (centre ? whiteCentre : whiteEdge) += white;
        }
    EXPECT_GT(whiteCentre, 2000);
    EXPECT_EQ(whiteEdge, 0);
}

class QuiltCreateIconFiles : public testing::Test {
protected:
    quilt::test::TestEnvironment env;
};

TEST_F(QuiltCreateIconFiles, UnreadablePicturesAreRefusedWithTheirPath)
{
    env.writeFile(env.root() + "/text.png", "this is not a picture");
    env.writeFile(env.root() + "/empty.svg", "");
    for (const std::string& path : {env.root() + "/text.png", env.root() + "/empty.svg", env.root() + "/missing.png",
                                   env.root()}) {
        std::string error;
        EXPECT_FALSE(KTIconMaker::loadImage(path, &error)) << path;
        EXPECT_NE(error.find(path), std::string::npos) << error;
    }
}

TEST_F(QuiltCreateIconFiles, IcnsHoldsPngsOf128And512Pixels)
{
    auto icon = KTIconMaker::generate("Q", "quilt.example");
    const std::string path = env.root() + "/AppIcon.icns";
    std::string error;
    ASSERT_TRUE(KTIconMaker::writeIcns(path, icon.get(), &error)) << error;

    auto bytes = quilt::KTFileUtil::read(path);
    ASSERT_TRUE(bytes);
    auto elements = KTIcns::decode(*bytes);
    ASSERT_TRUE(elements);
    std::map<std::string, int> sizes;
    for (const auto& e : *elements) {
        auto png = decodePng(e.data);
        ASSERT_TRUE(png) << e.type;
        EXPECT_EQ(gdk_pixbuf_get_width(png.get()), gdk_pixbuf_get_height(png.get()));
        sizes[e.type] = gdk_pixbuf_get_width(png.get());
    }
    EXPECT_EQ(std::make_pair(sizes["ic07"], sizes["ic09"]), std::make_pair(128, 512));

    auto largest = KTIconMaker::largestPng(*bytes);
    ASSERT_TRUE(largest);
    auto png = decodePng(*largest);
    ASSERT_TRUE(png);
    EXPECT_EQ(gdk_pixbuf_get_width(png.get()), 512);
    EXPECT_FALSE(KTIconMaker::largestPng("icns\0\0\0\x08junk"));
}
