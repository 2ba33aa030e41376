#pragma once

#include "core/config/GRef.h"
#include "core/config/KTRect.h"
#include "core/config/KTSignal.h"
#include "ui/menubar/KTDockMonitorSelectionView.h"

#include <gtk/gtk.h>
#include <webkit2/webkit2.h>

#include <functional>
#include <memory>
#include <string>

namespace quilt {

// The dock monitor: a square of the selected page, chosen in a selection
// overlay, captured every two seconds into the app's icon (KTAppIcon) with
// rounded corners. Off, selecting (overlay up, no timer) and running, as
// the menu's title says. Nothing of it is kept across launches. A capture
// makes the web process paint the whole visible page and hand it over, so
// the timer skips it while the view has drawn nothing over the square
// since the last one: a page that does not change costs a timer tick.
class KTDockMonitor : public KTDockMonitorSelectionViewDelegate {
public:
    static constexpr const char* kStartTitle = "Start Dock Monitor";
    static constexpr const char* kCancelTitle = "Cancel Dock Monitor";
    static constexpr const char* kStopTitle = "Stop Dock Monitor";
    static constexpr const char* kEditTitle = "Edit Dock Monitor";
    static constexpr unsigned kIntervalMs = 2000;
    static constexpr int kOutputWidth = 128;
    static constexpr double kCornerRadius = 64;

    // `menuChanged` runs after the title or the edit entry's visibility changed.
    explicit KTDockMonitor(std::function<void()> menuChanged = {});
    ~KTDockMonitor() override;
    KTDockMonitor(const KTDockMonitor&) = delete;
    KTDockMonitor& operator=(const KTDockMonitor&) = delete;

    void toggleDockMonitor();
    void editDockMonitor();
    void startDockMonitor();
    void stopDockMonitor();
    void updateDockMonitor();

    // KTDockMonitorSelectionViewDelegate
    void selectionDidChanged(const KTRect& rect) override;
    void selectionDidEnded() override;
    void selectionEditingDidEnded() override;

    const std::string& title() const { return title_; }
    bool editItemShown() const { return editShown_; }
    bool running() const { return dockMonitorTimer_.active(); }
    const KTRect& dockMonitorRect() const { return dockMonitorRect_; }
    KTDockMonitorSelectionView* selectionView() const { return selectionView_.get(); }
    // Pictures put into the icon so far.
    unsigned pictures() const { return pictures_; }

private:
    void putUpOverlay(bool editing);
    void dropOverlay();
    void setTitle(const char* title);
    void setEditShown(bool shown);
    static void onSnapshot(GObject* view, GAsyncResult* result, gpointer data);
    static gboolean onViewDrawn(GtkWidget* view, cairo_t* cr, gpointer data);
    void showSnapshot(cairo_surface_t* surface);

    std::function<void()> menuChanged_;
    KTSource dockMonitorTimer_;
    GRef<WebKitWebView> dockMonitorView_;
    KTSignal viewDrawn_;
    // The view drew over the square since the last capture began.
    bool squareDrawn_ = true;
    // What the overlay covers: the rectangle is in its coordinates.
    GRef<GtkWidget> coveredArea_;
    std::unique_ptr<KTDockMonitorSelectionView> selectionView_;
    KTRect dockMonitorRect_;
    std::string title_ = kStartTitle;
    bool editShown_ = false;
    GRef<GCancellable> capture_;
    bool captureAgain_ = false;
    unsigned pictures_ = 0;
};

} // namespace quilt
