#include "ui/menubar/KTDockMonitorSelectionView.h"

#include <cmath>

namespace quilt {

namespace {

// The marching ants: the dash pattern (10 on, 5 off) moves by its length
// every 0.75 seconds.
constexpr double kDashOn = 10, kDashOff = 5, kMarchSeconds = 0.75;
// A press that moves no further than this is a click, not a drag.
constexpr double kDragThreshold = 3;

void rectanglePath(cairo_t* cr, const KTRect& r)
{
    cairo_rectangle(cr, r.x + 0.5, r.y + 0.5, r.width, r.height);
}

} // namespace

KTDockMonitorSelectionView::KTDockMonitorSelectionView(KTDockMonitorSelectionViewDelegate* delegate)
    : delegate_(delegate)
{
    configureShape();
}

KTDockMonitorSelectionView::KTDockMonitorSelectionView(KTDockMonitorSelectionViewDelegate* delegate,
                                                       const KTRect& selectionRect)
    : delegate_(delegate)
    , model_(selectionRect)
{
    configureShape();
}

KTDockMonitorSelectionView::~KTDockMonitorSelectionView()
{
    signals_.clear();
    if (tick_)
        gtk_widget_remove_tick_callback(area_, tick_);
    gtk_widget_destroy(area_);
    g_object_unref(area_);
}

void KTDockMonitorSelectionView::configureShape()
{
    area_ = gtk_drawing_area_new();
    g_object_ref_sink(area_);
    gtk_widget_set_name(area_, "dock-monitor-selection");
    gtk_widget_add_events(area_, GDK_BUTTON_PRESS_MASK | GDK_BUTTON_RELEASE_MASK | GDK_POINTER_MOTION_MASK);
    gtk_widget_set_hexpand(area_, TRUE);
    gtk_widget_set_vexpand(area_, TRUE);
    signals_.emplace_back(area_, "draw", G_CALLBACK(+[](GtkWidget*, cairo_t* cr, KTDockMonitorSelectionView* self) {
                              self->draw(cr);
                              return FALSE;
                          }),
                          this);
    signals_.emplace_back(area_, "button-press-event",
                          G_CALLBACK(+[](GtkWidget*, GdkEventButton* e, KTDockMonitorSelectionView* self) {
                              return gboolean(self->mouseDown(e));
                          }),
                          this);
    signals_.emplace_back(area_, "motion-notify-event",
                          G_CALLBACK(+[](GtkWidget*, GdkEventMotion* e, KTDockMonitorSelectionView* self) {
                              return gboolean(self->mouseDragged(e));
                          }),
                          this);
    signals_.emplace_back(area_, "button-release-event",
                          G_CALLBACK(+[](GtkWidget*, GdkEventButton* e, KTDockMonitorSelectionView* self) {
                              return gboolean(self->mouseUp(e));
                          }),
                          this);
    // The ants march only while the veil is on screen: the frame clock
    // stops calling when it is unmapped.
    tick_ = gtk_widget_add_tick_callback(area_, +[](GtkWidget* w, GdkFrameClock* clock, gpointer data) -> gboolean {
        auto* self = static_cast<KTDockMonitorSelectionView*>(data);
        const double seconds = gdk_frame_clock_get_frame_time(clock) / 1e6;
        const double phase = std::fmod(seconds, kMarchSeconds) / kMarchSeconds * (kDashOn + kDashOff);
        // Whole pixels only: a redraw per pixel step, not per frame.
        if (std::floor(phase) != std::floor(self->dashPhase_)) {
            self->dashPhase_ = phase;
            gtk_widget_queue_draw(w);
        }
        return G_SOURCE_CONTINUE;
    }, this, nullptr);
    gtk_widget_show(area_);
}

void KTDockMonitorSelectionView::configureSelection()
{
    outlineShown_ = true;
    handlesShown_ = true;
    gtk_widget_queue_draw(area_);
}

void KTDockMonitorSelectionView::removeFromSuperview()
{
    if (GtkWidget* parent = gtk_widget_get_parent(area_))
        gtk_container_remove(GTK_CONTAINER(parent), area_);
}

void KTDockMonitorSelectionView::draw(cairo_t* cr)
{
    // A light veil says the page is being pointed at, not used.
    cairo_set_source_rgba(cr, 1, 1, 1, 0.2);
    cairo_paint(cr);
    cairo_set_line_width(cr, 1);
    const KTRect& s = model_.selectionRect;
    if (outlineShown_ && !s.isEmpty()) {
        rectanglePath(cr, s);
        cairo_set_source_rgba(cr, 0, 0, 0, 0.1);
        cairo_fill_preserve(cr);
        const double dashes[] = {kDashOn, kDashOff};
        cairo_set_dash(cr, dashes, 2, -std::floor(dashPhase_));
        cairo_set_source_rgb(cr, 0, 0, 0);
        cairo_stroke(cr);
        cairo_set_dash(cr, nullptr, 0, 0);
    }
    if (handlesShown_ && !s.isEmpty()) {
        for (const KTRect& h : {model_.tlRect(), model_.trRect(), model_.blRect(), model_.brRect()}) {
            rectanglePath(cr, h);
            cairo_set_source_rgb(cr, 1, 1, 1);
            cairo_fill_preserve(cr);
            cairo_set_source_rgb(cr, 0, 0, 0);
            cairo_stroke(cr);
        }
    }
}

bool KTDockMonitorSelectionView::mouseDown(GdkEventButton* event)
{
    if (event->button != GDK_BUTTON_PRIMARY || event->type != GDK_BUTTON_PRESS)
        return true;
    pressed_ = true;
    dragged_ = false;
    pressX_ = event->x;
    pressY_ = event->y;
    handlesShown_ = false;
    model_.mouseDown({event->x, event->y});
    gtk_widget_queue_draw(area_);
    return true;
}

bool KTDockMonitorSelectionView::mouseDragged(GdkEventMotion* event)
{
    if (!pressed_ || !(event->state & GDK_BUTTON1_MASK))
        return true;
    if (!dragged_ && std::hypot(event->x - pressX_, event->y - pressY_) < kDragThreshold)
        return true;
    dragged_ = true;
    KTRect rect = model_.mouseDragged({event->x, event->y});
    gtk_widget_queue_draw(area_);
    if (delegate_)
        delegate_->selectionDidChanged(rect);
    return true;
}

bool KTDockMonitorSelectionView::mouseUp(GdkEventButton* event)
{
    if (event->button != GDK_BUTTON_PRIMARY || !pressed_)
        return true;
    pressed_ = false;
    handlesShown_ = true;
    gtk_widget_queue_draw(area_);
    if (model_.mouseUp(dragged_) == KTDockMonitorSelection::Release::EditingEnded) {
        outlineShown_ = false;
        handlesShown_ = false;
        if (delegate_)
            delegate_->selectionEditingDidEnded();
        removeFromSuperview();
    } else if (delegate_) {
        delegate_->selectionDidEnded();
    }
    return true;
}

} // namespace quilt
