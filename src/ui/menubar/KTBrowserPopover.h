#pragma once

#include "core/config/KTRect.h"
#include "core/config/KTSignal.h"
#include "ui/menubar/KTResizingView.h"

#include <gtk/gtk.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

namespace quilt {

// The tray's popup browser: an undecorated window, out of the taskbar,
// that hangs next to the tray item and hosts a main window's tab view. It
// hides on Escape and when the app loses the focus to another program, and
// the round handle resizes it.
class KTBrowserPopover {
public:
    explicit KTBrowserPopover(GtkApplication* app);
    ~KTBrowserPopover();
    KTBrowserPopover(const KTBrowserPopover&) = delete;
    KTBrowserPopover& operator=(const KTBrowserPopover&) = delete;

    GtkWindow* window() const { return GTK_WINDOW(window_); }
    // Moves `content` (a tab view) out of its window into the popup.
    void setContent(GtkWidget* content);
    // False once the hosted view is gone (its window was closed).
    bool hasContent() const { return content_ != nullptr; }

    // The content size ("POPOVER_W_KEY", "POPOVER_H_KEY").
    void setContentSize(KTSize size);
    KTSize contentSize() const { return size_; }
    void setLight(bool light) { handle_.setLight(light); }

    bool isShown() const;
    // A click on the tray item takes the focus from the popup before the
    // item reports it: that click closed the popup and must not reopen it.
    bool closedByFocusJustNow() const;
    // Shows it next to the tray point (x, y).
    void showAt(int x, int y);
    void close();

    // The handle's drag ended with this size.
    std::function<void(KTSize)> resized;

private:
    void place();
    void focusLost();
    // Focus went to one of the app's own windows (a dialog, a menu).
    bool focusStaysInApp() const;

    GtkWidget* window_ = nullptr;
    GtkWidget* overlay_ = nullptr;
    GtkWidget* content_ = nullptr;
    KTResizingView handle_;
    KTSize size_ {400, 400};
    KTSize dragStart_;
    int anchorX_ = 0, anchorY_ = 0;
    KTSource focusCheck_;
    int64_t closedByFocusAt_ = 0;
    std::vector<KTSignal> signals_;
    KTSignal contentGone_;
};

} // namespace quilt
