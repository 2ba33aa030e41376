#pragma once

#include "core/config/KTRect.h"

#include <optional>

namespace quilt {

struct KTPoint {
    double x = 0, y = 0;
    bool operator==(const KTPoint&) const = default;
};

// What the pointer does to the dock monitor's square, free of any widget:
// a drag on empty ground draws a new square from where it started, a drag
// on a corner handle resizes the square about the opposite corner, a drag
// inside moves it. The region is always a square: it becomes a square icon.
class KTDockMonitorSelection {
public:
    static constexpr double kHandleSize = 10;

    KTDockMonitorSelection() = default;
    explicit KTDockMonitorSelection(const KTRect& selection) : selectionRect(selection) {}

    // What a release ends.
    enum class Release {
        EditingEnded,   // a plain click: the overlay closes, the region stays
        SelectionEnded, // a finished drag: the monitor (re)starts
    };

    void mouseDown(KTPoint point);
    // The square after the pointer moved there with the button held.
    KTRect mouseDragged(KTPoint point);
    // `dragged`: the pointer moved while the button was held.
    Release mouseUp(bool dragged);

    // The 10-by-10 handles centred on the corners.
    KTRect tlRect() const;
    KTRect trRect() const;
    KTRect blRect() const;
    KTRect brRect() const;
    static bool contains(const KTRect& rect, KTPoint point);

    KTRect selectionRect;
    KTPoint startPoint;
    bool isMoving = false;
    double moveDx = 0, moveDy = 0;
};

} // namespace quilt
