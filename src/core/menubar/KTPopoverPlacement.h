#pragma once

#include "core/config/KTRect.h"

namespace quilt {

// Where the tray's popup browser goes and how its round handle resizes it.
// The popup hangs centred below the point the tray reported, or sits above
// it when the tray is at the bottom of the screen, and always stays inside
// the work area.
class KTPopoverPlacement {
public:
    // Gap between the tray item and the popup.
    static constexpr double kGap = 4;
    // Smallest size the handle gives; the store refuses anything below 50.
    static constexpr double kMinimumSide = 50;

    // The popup's frame for a tray point `anchor` (x, y), a content `size`
    // and the work area; a size larger than the area shrinks to it.
    static KTRect frameFor(double anchorX, double anchorY, KTSize size, const KTRect& area);
    // The size after dragging the handle by (dx, dy) from `start`: the popup
    // is centred on its item, so it widens to both sides by twice the
    // horizontal drag; a width within 20 of the screen's is held at the
    // screen width - 20.
    static KTSize resized(KTSize start, double dx, double dy, double screenWidth);
};

} // namespace quilt
