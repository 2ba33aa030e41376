#pragma once

#include "core/config/KTSignal.h"

#include <gtk/gtk.h>

#include <functional>

namespace quilt {

// The round handle in the popup's lower right corner: dragging it reports
// how far the pointer moved since the press, and the end of the drag.
class KTResizingView {
public:
    static constexpr int kSide = 16;

    KTResizingView();
    ~KTResizingView();
    KTResizingView(const KTResizingView&) = delete;
    KTResizingView& operator=(const KTResizingView&) = delete;

    GtkWidget* widget() const { return area_; }
    // Light window colour: grey with a blue ring; dark: white with green.
    void setLight(bool light);

    std::function<void()> dragBegan;
    std::function<void(double dx, double dy)> dragged;
    std::function<void()> dragEnded;

private:
    gboolean draw(cairo_t* cr);

    GtkWidget* area_ = nullptr;
    bool light_ = true;
    bool dragging_ = false;
    double startX_ = 0, startY_ = 0;
    std::vector<KTSignal> signals_;
};

} // namespace quilt
