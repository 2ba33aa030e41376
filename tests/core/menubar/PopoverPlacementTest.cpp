// The tray's popup: where it goes for a tray point, how the round handle
// resizes it, and the icon pixels tray hosts read.

#include "core/menubar/KTIconPixmap.h"
#include "core/menubar/KTPopoverPlacement.h"

#include <gtest/gtest.h>

using namespace quilt;

namespace {

const KTRect kArea {0, 30, 1280, 994}; // a panel of 30 at the top

struct PlacementCase {
    const char* name;
    double x, y;
    KTSize size;
    KTRect expected;
};

void PrintTo(const PlacementCase& c, std::ostream* os) { *os << c.name; }

class PlacementTest : public ::testing::TestWithParam<PlacementCase> {};

TEST_P(PlacementTest, StaysNextToTheItemAndInsideTheWorkArea)
{
    const auto& c = GetParam();
    EXPECT_EQ(KTPopoverPlacement::frameFor(c.x, c.y, c.size, kArea), c.expected) << c.name;
}

INSTANTIATE_TEST_SUITE_P(
    Popover, PlacementTest,
    ::testing::Values(
        PlacementCase {"CentredBelowTheItem", 640, 30, {400, 400}, {440, 34, 400, 400}},
        PlacementCase {"ItemNearTheRightEdgeHeldInside", 1270, 15, {400, 400}, {880, 30, 400, 400}},
        PlacementCase {"HostSaysZeroZeroHeldAtTheLeftEdge", 0, 0, {400, 300}, {0, 30, 400, 300}},
        PlacementCase {"TrayAtTheBottomOpensUpwards", 1200, 1020, {400, 400}, {880, 616, 400, 400}},
        PlacementCase {"NoRoomBelowOrAboveHeldAtTheBottom", 640, 600, {300, 700}, {490, 324, 300, 700}},
        PlacementCase {"LargerThanTheScreenShrinksToIt", 640, 30, {2000, 1200}, {0, 30, 1280, 994}},
        PlacementCase {"OddWidthRoundsToWholePixels", 641, 30, {401, 400}, {441, 34, 401, 400}}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(PopoverResizeTest, HandleDragWidensToBothSidesAndIsBounded)
{
    // Ten to the right widens by twenty; down grows, up shrinks.
    EXPECT_EQ(KTPopoverPlacement::resized({400, 400}, 10, 25, 1280), (KTSize {420, 425}));
    EXPECT_EQ(KTPopoverPlacement::resized({400, 400}, -50, -100, 1280), (KTSize {300, 300}));
    // Within 20 of the screen width: held at screen width - 20.
    EXPECT_EQ(KTPopoverPlacement::resized({1200, 400}, 31, 0, 1280), (KTSize {1260, 400}));
    EXPECT_EQ(KTPopoverPlacement::resized({1200, 400}, 29, 0, 1280), (KTSize {1258, 400}));
    // Never below what the store keeps (it turns less than 50 into 400).
    EXPECT_EQ(KTPopoverPlacement::resized({400, 400}, -300, -500, 1280), (KTSize {50, 50}));
}

TEST(IconPixmapTest, PixelsBecomeArgbInNetworkOrderRowByRow)
{
    // Two by two RGBA with two bytes of padding per row.
    const uint8_t rgba[] = {1, 2, 3, 4, 5, 6, 7, 8, 0xee, 0xee, 9, 10, 11, 12, 13, 14, 15, 16, 0xee, 0xee};
    KTIconPixmap p = KTIconPixmap::fromRgba(rgba, 2, 2, 10, true);
    EXPECT_EQ(p.width, 2);
    EXPECT_EQ(p.height, 2);
    EXPECT_EQ(p.argb, (std::vector<uint8_t> {4, 1, 2, 3, 8, 5, 6, 7, 12, 9, 10, 11, 16, 13, 14, 15}));
    // Without alpha: opaque.
    const uint8_t rgb[] = {1, 2, 3, 4, 5, 6};
    EXPECT_EQ(KTIconPixmap::fromRgba(rgb, 2, 1, 6, false).argb, (std::vector<uint8_t> {255, 1, 2, 3, 255, 4, 5, 6}));
    // Sizes that do not add up give nothing rather than a read past the end.
    EXPECT_TRUE(KTIconPixmap::fromRgba(rgba, 3, 2, 10, true).argb.empty());
    EXPECT_TRUE(KTIconPixmap::fromRgba(nullptr, 2, 2, 8, true).argb.empty());
    EXPECT_TRUE(KTIconPixmap::fromRgba(rgba, 0, 2, 8, true).argb.empty());
}

} // namespace
