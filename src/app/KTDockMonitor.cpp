#include "app/KTDockMonitor.h"

#include "ui/menubar/KTAppIcon.h"
#include "ui/windows/KTMainWindowController.h"
#include "ui/windows/KTTabViewController.h"
#include "web/KTWebViewController.h"

#include <cmath>
#include <utility>

namespace quilt {

KTDockMonitor::KTDockMonitor(std::function<void()> menuChanged) : menuChanged_(std::move(menuChanged)) {}

KTDockMonitor::~KTDockMonitor()
{
    if (capture_)
        g_cancellable_cancel(capture_.get());
}

void KTDockMonitor::setTitle(const char* title)
{
    title_ = title;
    if (menuChanged_)
        menuChanged_();
}

void KTDockMonitor::setEditShown(bool shown)
{
    editShown_ = shown;
    if (menuChanged_)
        menuChanged_();
}

void KTDockMonitor::toggleDockMonitor()
{
    if (running()) {
        stopDockMonitor();
        setTitle(kStartTitle);
        setEditShown(false);
        dropOverlay();
    } else if (selectionView_ && title_ == kCancelTitle) {
        setTitle(kStartTitle);
        dropOverlay();
        // Whatever the drag put into the icon goes with the cancelled square.
        KTAppIcon::shared().setPicture(nullptr);
    } else {
        putUpOverlay(false);
    }
}

void KTDockMonitor::editDockMonitor()
{
    if (!selectionView_ || !gtk_widget_get_parent(selectionView_->widget()))
        putUpOverlay(true);
}

void KTDockMonitor::putUpOverlay(bool editing)
{
    KTMainWindowController* top = KTMainWindowController::front();
    KTWebViewController* page = top ? top->tabController()->selectedWebViewController() : nullptr;
    if (!page)
        return;
    dockMonitorView_ = GRef<WebKitWebView>::retain(page->webview());
    viewDrawn_ = KTSignal(page->webview(), "draw", G_CALLBACK(onViewDrawn), this, G_CONNECT_AFTER);
    squareDrawn_ = true;
    coveredArea_ = GRef<GtkWidget>::retain(top->window().contentArea());
    dropOverlay();
    if (editing) {
        setEditShown(false);
        selectionView_ = std::make_unique<KTDockMonitorSelectionView>(this, dockMonitorRect_);
    } else {
        dockMonitorRect_ = KTRect{};
        selectionView_ = std::make_unique<KTDockMonitorSelectionView>(this);
    }
    top->window().addOverlay(selectionView_->widget());
    if (editing)
        selectionView_->configureSelection();
    else
        setTitle(kCancelTitle);
}

void KTDockMonitor::dropOverlay()
{
    if (selectionView_)
        selectionView_->removeFromSuperview();
    selectionView_.reset();
}

void KTDockMonitor::selectionDidChanged(const KTRect& rect)
{
    dockMonitorRect_ = rect;
    updateDockMonitor();
}

void KTDockMonitor::selectionDidEnded()
{
    if (dockMonitorRect_.width > 0) {
        setTitle(kStopTitle);
        startDockMonitor();
    }
}

void KTDockMonitor::selectionEditingDidEnded() { setEditShown(true); }

void KTDockMonitor::startDockMonitor()
{
    dockMonitorTimer_ = KTSource(g_timeout_add(kIntervalMs, +[](gpointer data) -> gboolean {
        auto* self = static_cast<KTDockMonitor*>(data);
        if (self->squareDrawn_)
            self->updateDockMonitor();
        return G_SOURCE_CONTINUE;
    }, this));
}

void KTDockMonitor::stopDockMonitor()
{
    dockMonitorTimer_.reset();
    viewDrawn_.disconnect();
    if (capture_)
        g_cancellable_cancel(capture_.get());
    capture_ = GRef<GCancellable>();
    KTAppIcon::shared().setPicture(nullptr);
}

void KTDockMonitor::updateDockMonitor()
{
    WebKitWebView* view = dockMonitorView_.get();
    // A page nobody can see (its tab in the back, its window hidden) is not
    // drawn: it is not captured either, and the icon keeps its last picture.
    if (!view || !gtk_widget_is_drawable(GTK_WIDGET(view)) || dockMonitorRect_.width <= 0)
        return;
    if (capture_) {
        captureAgain_ = true; // one capture at a time; the latest square next
        return;
    }
    capture_ = GRef<GCancellable>::adopt(g_cancellable_new());
    squareDrawn_ = false;
    webkit_web_view_get_snapshot(view, WEBKIT_SNAPSHOT_REGION_VISIBLE, WEBKIT_SNAPSHOT_OPTIONS_NONE, capture_.get(),
                                 onSnapshot, this);
}

void KTDockMonitor::onSnapshot(GObject* view, GAsyncResult* result, gpointer data)
{
    GError* error = nullptr;
    cairo_surface_t* surface = webkit_web_view_get_snapshot_finish(WEBKIT_WEB_VIEW(view), result, &error);
    if (g_error_matches(error, G_IO_ERROR, G_IO_ERROR_CANCELLED)) {
        g_error_free(error);
        return; // stopped, or the monitor is gone
    }
    auto* self = static_cast<KTDockMonitor*>(data);
    self->capture_ = GRef<GCancellable>();
    if (error)
        g_error_free(error);
    if (surface) {
        self->showSnapshot(surface);
        cairo_surface_destroy(surface);
    } else {
        self->squareDrawn_ = true; // try again at the next tick
    }
    if (std::exchange(self->captureAgain_, false))
        self->updateDockMonitor();
}

gboolean KTDockMonitor::onViewDrawn(GtkWidget* view, cairo_t* cr, gpointer data)
{
    auto* self = static_cast<KTDockMonitor*>(data);
    if (self->squareDrawn_)
        return FALSE;
    // What was drawn, and the square, both in the view's coordinates.
    double x1 = 0, y1 = 0, x2 = 0, y2 = 0;
    cairo_clip_extents(cr, &x1, &y1, &x2, &y2);
    const KTRect& r = self->dockMonitorRect_;
    int x = 0, y = 0;
    if (!self->coveredArea_
        || !gtk_widget_translate_coordinates(self->coveredArea_.get(), view, int(std::lround(r.x)),
                                             int(std::lround(r.y)), &x, &y)
        || (x < x2 && x1 < x + r.width && y < y2 && y1 < y + r.height))
        self->squareDrawn_ = true;
    return FALSE;
}

void KTDockMonitor::showSnapshot(cairo_surface_t* surface)
{
    GtkWidget* view = GTK_WIDGET(dockMonitorView_.get());
    const int viewWidth = gtk_widget_get_allocated_width(view);
    const int surfaceWidth = cairo_image_surface_get_width(surface);
    int x = 0, y = 0;
    if (!coveredArea_ || viewWidth <= 0 || surfaceWidth <= 0
        || !gtk_widget_translate_coordinates(coveredArea_.get(), view, int(std::lround(dockMonitorRect_.x)),
                                             int(std::lround(dockMonitorRect_.y)), &x, &y))
        return; // an empty or failed capture leaves the icon as it is
    // The snapshot is in device pixels.
    const double deviceScale = double(surfaceWidth) / viewWidth;
    const double side = dockMonitorRect_.width * deviceScale;
    cairo_surface_t* out = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, kOutputWidth, kOutputWidth);
    cairo_t* cr = cairo_create(out);
    cairo_scale(cr, kOutputWidth / side, kOutputWidth / side);
    cairo_set_source_surface(cr, surface, -x * deviceScale, -y * deviceScale);
    cairo_paint(cr);
    cairo_destroy(cr);
    GdkPixbuf* square = gdk_pixbuf_get_from_surface(out, 0, 0, kOutputWidth, kOutputWidth);
    cairo_surface_destroy(out);
    if (!square)
        return;
    GdkPixbuf* rounded = KTAppIcon::roundCornersWithRadius(square, kCornerRadius);
    g_object_unref(square);
    KTAppIcon::shared().setPicture(rounded);
    g_object_unref(rounded);
    ++pictures_;
}

} // namespace quilt
