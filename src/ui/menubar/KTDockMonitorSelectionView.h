#pragma once

#include "core/config/KTRect.h"
#include "core/config/KTSignal.h"
#include "core/menubar/KTDockMonitorSelection.h"

#include <gtk/gtk.h>

#include <vector>

namespace quilt {

// Told what the person does in the selection overlay (names as they have
// always been spelt).
class KTDockMonitorSelectionViewDelegate {
public:
    virtual ~KTDockMonitorSelectionViewDelegate() = default;
    virtual void selectionDidChanged(const KTRect& rect) = 0;
    virtual void selectionDidEnded() = 0;
    virtual void selectionEditingDidEnded() = 0;
};

// The translucent veil over a window's content on which the dock monitor's
// square is drawn: a dashed outline whose dashes march, and four corner
// handles once the square is let go. The pointer rules are
// KTDockMonitorSelection's. A plain click ends editing and takes the veil
// off the window; the object stays with its owner.
class KTDockMonitorSelectionView {
public:
    // An empty selection, or the square being edited.
    explicit KTDockMonitorSelectionView(KTDockMonitorSelectionViewDelegate* delegate);
    KTDockMonitorSelectionView(KTDockMonitorSelectionViewDelegate* delegate, const KTRect& selectionRect);
    ~KTDockMonitorSelectionView();
    KTDockMonitorSelectionView(const KTDockMonitorSelectionView&) = delete;
    KTDockMonitorSelectionView& operator=(const KTDockMonitorSelectionView&) = delete;

    GtkWidget* widget() const { return area_; }
    const KTRect& selectionRect() const { return model_.selectionRect; }
    bool handlesShown() const { return handlesShown_; }
    // Shows the current square and its handles at once (editing).
    void configureSelection();
    // Takes the veil off whatever holds it.
    void removeFromSuperview();

private:
    void configureShape();
    void draw(cairo_t* cr);
    bool mouseDown(GdkEventButton* event);
    bool mouseDragged(GdkEventMotion* event);
    bool mouseUp(GdkEventButton* event);

    KTDockMonitorSelectionViewDelegate* delegate_;
    KTDockMonitorSelection model_;
    GtkWidget* area_ = nullptr;
    bool outlineShown_ = true;
    bool handlesShown_ = false;
    bool pressed_ = false;
    bool dragged_ = false;
    double pressX_ = 0, pressY_ = 0;
    double dashPhase_ = 0;
    guint tick_ = 0;
    std::vector<KTSignal> signals_;
};

} // namespace quilt
