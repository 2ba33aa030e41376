#include "core/menubar/KTDockMonitorSelection.h"

#include <algorithm>
#include <cmath>

namespace quilt {

namespace {

KTRect handleAt(double x, double y)
{
    const double half = KTDockMonitorSelection::kHandleSize / 2;
    return {x - half, y - half, KTDockMonitorSelection::kHandleSize, KTDockMonitorSelection::kHandleSize};
}

} // namespace

bool KTDockMonitorSelection::contains(const KTRect& r, KTPoint p)
{
    return p.x >= r.x && p.x < r.x + r.width && p.y >= r.y && p.y < r.y + r.height;
}

KTRect KTDockMonitorSelection::tlRect() const { return handleAt(selectionRect.x, selectionRect.y); }

KTRect KTDockMonitorSelection::trRect() const
{
    return handleAt(selectionRect.x + selectionRect.width, selectionRect.y);
}

KTRect KTDockMonitorSelection::blRect() const
{
    return handleAt(selectionRect.x, selectionRect.y + selectionRect.height);
}

KTRect KTDockMonitorSelection::brRect() const
{
    return handleAt(selectionRect.x + selectionRect.width, selectionRect.y + selectionRect.height);
}

void KTDockMonitorSelection::mouseDown(KTPoint p)
{
    const KTRect& s = selectionRect;
    const double minX = s.x, minY = s.y, maxX = s.x + s.width, maxY = s.y + s.height;
    // A handle resizes about the opposite corner; the order decides which
    // handle wins on a tiny square.
    if (contains(tlRect(), p))
        startPoint = {maxX, maxY};
    else if (contains(trRect(), p))
        startPoint = {minX, maxY};
    else if (contains(blRect(), p))
        startPoint = {maxX, minY};
    else if (contains(brRect(), p))
        startPoint = {minX, minY};
    else if (contains(s, p)) {
        moveDx = s.x - p.x;
        moveDy = s.y - p.y;
        isMoving = true;
    } else
        startPoint = p;
}

KTRect KTDockMonitorSelection::mouseDragged(KTPoint p)
{
    if (isMoving) {
        selectionRect.x = p.x + moveDx;
        selectionRect.y = p.y + moveDy;
        return selectionRect;
    }
    const double dx = p.x - startPoint.x, dy = p.y - startPoint.y;
    const double side = std::min(std::fabs(dx), std::fabs(dy));
    selectionRect = {dx >= 0 ? startPoint.x : startPoint.x - side, dy >= 0 ? startPoint.y : startPoint.y - side, side,
                     side};
    return selectionRect;
}

KTDockMonitorSelection::Release KTDockMonitorSelection::mouseUp(bool dragged)
{
    isMoving = false;
    return dragged ? Release::SelectionEnded : Release::EditingEnded;
}

} // namespace quilt
