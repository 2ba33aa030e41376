#include "core/menubar/KTPopoverPlacement.h"

#include <algorithm>
#include <cmath>

namespace quilt {

namespace {
// Start of a span of `length` placed at `start`, moved into [low, low + room].
double fitted(double start, double length, double low, double room)
{
    return std::clamp(start, low, low + std::max(0.0, room - length));
}
} // namespace

KTRect KTPopoverPlacement::frameFor(double anchorX, double anchorY, KTSize size, const KTRect& area)
{
    double w = std::min(size.width, area.width);
    double h = std::min(size.height, area.height);
    double bottom = area.y + area.height;
    double y = anchorY + kGap;
    // A tray at the bottom of the screen: the popup opens upwards.
    if (y + h > bottom && anchorY - kGap - h >= area.y)
        y = anchorY - kGap - h;
    KTRect frame;
    frame.width = w;
    frame.height = h;
    frame.x = std::round(fitted(anchorX - w / 2, w, area.x, area.width));
    frame.y = std::round(fitted(y, h, area.y, area.height));
    return frame;
}

KTSize KTPopoverPlacement::resized(KTSize start, double dx, double dy, double screenWidth)
{
    KTSize size {std::round(start.width + 2 * dx), std::round(start.height + dy)};
    if (screenWidth - size.width <= 20)
        size.width = screenWidth - 20;
    size.width = std::max(size.width, kMinimumSide);
    size.height = std::max(size.height, kMinimumSide);
    return size;
}

} // namespace quilt
