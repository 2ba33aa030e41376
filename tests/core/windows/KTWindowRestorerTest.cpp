// Where a restored window goes: the stored frame, the default frame of the
// build, the phone-sized frame, or nothing at all.

#include "core/windows/KTWindowRestorer.h"

#include <gtest/gtest.h>

namespace quilt {
namespace {

const KTRect kScreen {0, 0, 1280, 1000};

struct PlacementCase {
    const char* name;
    KTWindowRestorer::Inputs in;
    std::optional<KTRect> frame; // nullopt: the window is left alone
    bool center;
};

KTWindowRestorer::Inputs inputs(std::optional<std::string> key, std::optional<std::string> frame)
{
    KTWindowRestorer::Inputs in;
    in.screen = kScreen;
    in.key = std::move(key);
    in.frame = std::move(frame);
    return in;
}

KTWindowRestorer::Inputs with(KTWindowRestorer::Inputs in, void (*change)(KTWindowRestorer::Inputs&))
{
    change(in);
    return in;
}

void mobile(KTWindowRestorer::Inputs& in) { in.mobileVersion = true; }
void allSpaces(KTWindowRestorer::Inputs& in) { in.windowAllSpace = true; }
void creationTool(KTWindowRestorer::Inputs& in)
{
    in.creationToolBuild = true;
    in.creationToolSize = {900, 700};
}
void allSpacesCreationTool(KTWindowRestorer::Inputs& in)
{
    allSpaces(in);
    creationTool(in);
}
void enterprise(KTWindowRestorer::Inputs& in) { in.enterpriseBuild = true; }
void offsetScreen(KTWindowRestorer::Inputs& in) { in.screen = {100, 50, 1280, 1000}; }
void mobileOnOffsetScreen(KTWindowRestorer::Inputs& in)
{
    mobile(in);
    offsetScreen(in);
}

const std::string kStored = "{{10, 20}, {800, 600}}";
const KTRect kStoredRect {10, 20, 800, 600};

class WindowPlacementTest : public ::testing::TestWithParam<PlacementCase> {};

TEST_P(WindowPlacementTest, Placement)
{
    const PlacementCase& c = GetParam();
    auto placement = KTWindowRestorer::placementForKey(c.in);
    ASSERT_EQ(placement.has_value(), c.frame.has_value());
    if (!placement)
        return;
    EXPECT_EQ(placement->frame, *c.frame) << placement->frame.toString();
    EXPECT_EQ(placement->center, c.center);
}

INSTANTIATE_TEST_SUITE_P(
    Restore, WindowPlacementTest,
    ::testing::Values(
        PlacementCase {"NoRecordFillsTheScreen", inputs(std::nullopt, std::nullopt), kScreen, false},
        PlacementCase {"StoredFrameIsApplied", inputs("window0", kStored), kStoredRect, false},
        PlacementCase {"MissingFrameFillsTheScreen", inputs("window0", std::nullopt), kScreen, false},
        PlacementCase {"ZeroRectCountsAsMissing", inputs("window0", "{{0, 0}, {0, 0}}"), kScreen, false},
        PlacementCase {"UnreadableFrameCountsAsMissing", inputs("window0", "garbage"), kScreen, false},
        PlacementCase {"PresentButEmptyKeyTakesTheDefault", inputs("", kStored), kScreen, false},
        PlacementCase {"AllSpacesIgnoresStoredFrames", with(inputs("window1", kStored), allSpaces), kScreen, false},
        PlacementCase {"AllSpacesWithCreationToolSizeIsCentred",
                       with(inputs("window1", kStored), allSpacesCreationTool), KTRect {0, 0, 900, 700}, true},
        PlacementCase {"CreationToolSizeCentredWithoutRecord", with(inputs(std::nullopt, std::nullopt), creationTool),
                       KTRect {0, 0, 900, 700}, true},
        PlacementCase {"CreationToolBuildStillUsesStoredFrame", with(inputs("window0", kStored), creationTool),
                       kStoredRect, false},
        PlacementCase {"MobileWithoutRecordIsPhoneSized", with(inputs(std::nullopt, std::nullopt), mobile),
                       KTRect {0, 0, 320, 400}, false},
        PlacementCase {"MobileWithEmptyKeyIsPhoneSized", with(inputs("", kStored), mobile), KTRect {0, 0, 320, 400},
                       false},
        PlacementCase {"MobileWithRecordUsesStoredFrame", with(inputs("window0", kStored), mobile), kStoredRect, false},
        PlacementCase {"PhoneFrameSitsAtTheScreenOrigin", with(inputs(std::nullopt, std::nullopt), mobileOnOffsetScreen),
                       KTRect {100, 50, 320, 400}, false},
        PlacementCase {"EnterpriseBuildLeavesTheWindowAlone", with(inputs("window0", kStored), enterprise),
                       std::nullopt, false}),
    [](const auto& info) { return std::string(info.param.name); });

} // namespace
} // namespace quilt
