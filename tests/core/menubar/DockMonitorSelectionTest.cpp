// The dock monitor's square under the pointer: drawn from where a drag
// starts, resized about the corner opposite a handle, moved as a whole,
// and a plain click tells editing apart from a finished drag.

#include "core/menubar/KTDockMonitorSelection.h"

#include <gtest/gtest.h>

namespace quilt {
void PrintTo(const KTRect& r, std::ostream* os) { *os << r.toString(); }
}

using namespace quilt;

namespace {

KTRect drag(KTDockMonitorSelection& s, KTPoint from, KTPoint to)
{
    s.mouseDown(from);
    KTRect r = s.mouseDragged(to);
    EXPECT_EQ(s.mouseUp(true), KTDockMonitorSelection::Release::SelectionEnded);
    return r;
}

TEST(DockMonitorSelection, DragsDrawSquaresOnThePointersSide)
{
    KTDockMonitorSelection s;
    EXPECT_EQ(drag(s, {100, 100}, {160, 130}), (KTRect{100, 100, 30, 30}));
    KTDockMonitorSelection t;
    EXPECT_EQ(drag(t, {100, 100}, {40, 180}), (KTRect{40, 100, 60, 60}));
    KTDockMonitorSelection u;
    EXPECT_EQ(drag(u, {100, 100}, {100, 180}), (KTRect{100, 100, 0, 0})) << "zero width: nothing to watch";
}

TEST(DockMonitorSelection, HandlesResizeAboutTheOppositeCornerAndTheInsideMoves)
{
    KTDockMonitorSelection s(KTRect{100, 100, 50, 50});
    EXPECT_EQ(s.tlRect(), (KTRect{95, 95, 10, 10}));
    EXPECT_EQ(s.brRect(), (KTRect{145, 145, 10, 10}));
    // The minimum-x, minimum-y handle: (150, 150) stays.
    EXPECT_EQ(drag(s, {98, 98}, {120, 130}), (KTRect{130, 130, 20, 20}));
    // The maximum-x, minimum-y handle of the new square: (130, 150) stays.
    EXPECT_EQ(drag(s, {151, 131}, {200, 60}), (KTRect{130, 80, 70, 70}));
    // Inside: moved, same size.
    EXPECT_EQ(drag(s, {160, 100}, {10, 20}), (KTRect{-20, 0, 70, 70}));
    EXPECT_FALSE(s.isMoving);

    // A plain click anywhere ends editing and keeps the square.
    s.mouseDown({400, 400});
    EXPECT_EQ(s.mouseUp(false), KTDockMonitorSelection::Release::EditingEnded);
    EXPECT_EQ(s.selectionRect, (KTRect{-20, 0, 70, 70}));
}

} // namespace
