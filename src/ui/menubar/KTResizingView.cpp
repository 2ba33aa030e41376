#include "ui/menubar/KTResizingView.h"

#include <cmath>

namespace quilt {

KTResizingView::KTResizingView()
    : area_(gtk_drawing_area_new())
{
    g_object_ref_sink(area_);
    gtk_widget_set_size_request(area_, kSide, kSide);
    gtk_widget_set_halign(area_, GTK_ALIGN_END);
    gtk_widget_set_valign(area_, GTK_ALIGN_END);
    // 20 from the right edge to its left side, 6 from the bottom.
    gtk_widget_set_margin_end(area_, 20 - kSide);
    gtk_widget_set_margin_bottom(area_, 6);
    gtk_widget_set_tooltip_text(area_, "Drag to resize");
    gtk_widget_add_events(area_, GDK_BUTTON_PRESS_MASK | GDK_BUTTON_RELEASE_MASK | GDK_BUTTON1_MOTION_MASK);
    signals_.emplace_back(area_, "draw", G_CALLBACK(+[](GtkWidget*, cairo_t* cr, KTResizingView* self) {
                              return self->draw(cr);
                          }),
                          this);
    signals_.emplace_back(area_, "realize", G_CALLBACK(+[](GtkWidget* w, gpointer) {
                              GdkCursor* cursor = gdk_cursor_new_from_name(gtk_widget_get_display(w), "se-resize");
                              gdk_window_set_cursor(gtk_widget_get_window(w), cursor);
                              if (cursor)
                                  g_object_unref(cursor);
                          }),
                          nullptr);
    signals_.emplace_back(area_, "button-press-event",
                          G_CALLBACK(+[](GtkWidget*, GdkEventButton* e, KTResizingView* self) -> gboolean {
                              if (e->button != GDK_BUTTON_PRIMARY || e->type != GDK_BUTTON_PRESS)
                                  return FALSE;
                              self->dragging_ = true;
                              self->startX_ = e->x_root;
                              self->startY_ = e->y_root;
                              if (self->dragBegan)
                                  self->dragBegan();
                              return TRUE;
                          }),
                          this);
    signals_.emplace_back(area_, "motion-notify-event",
                          G_CALLBACK(+[](GtkWidget*, GdkEventMotion* e, KTResizingView* self) -> gboolean {
                              // Screen coordinates: the window moves under the
                              // pointer while it grows.
                              if (self->dragging_ && self->dragged)
                                  self->dragged(e->x_root - self->startX_, e->y_root - self->startY_);
                              return self->dragging_;
                          }),
                          this);
    signals_.emplace_back(area_, "button-release-event",
                          G_CALLBACK(+[](GtkWidget*, GdkEventButton* e, KTResizingView* self) -> gboolean {
                              if (!self->dragging_ || e->button != GDK_BUTTON_PRIMARY)
                                  return FALSE;
                              self->dragging_ = false;
                              if (self->dragEnded)
                                  self->dragEnded();
                              return TRUE;
                          }),
                          this);
}

KTResizingView::~KTResizingView()
{
    signals_.clear();
    g_object_unref(area_);
}

void KTResizingView::setLight(bool light)
{
    light_ = light;
    gtk_widget_queue_draw(area_);
}

gboolean KTResizingView::draw(cairo_t* cr)
{
    const double r = kSide / 2.0 - 2;
    cairo_arc(cr, kSide / 2.0, kSide / 2.0, r, 0, 2 * M_PI);
    if (light_)
        cairo_set_source_rgb(cr, 0.83, 0.83, 0.83);
    else
        cairo_set_source_rgb(cr, 1, 1, 1);
    cairo_fill_preserve(cr);
    if (light_)
        cairo_set_source_rgb(cr, 0, 0.48, 1);
    else
        cairo_set_source_rgb(cr, 0.2, 0.78, 0.35);
    cairo_set_line_width(cr, 3);
    cairo_stroke(cr);
    return TRUE;
}

} // namespace quilt
