#pragma once

#include <gtk/gtk.h>

#include <functional>
#include <utility>
#include <vector>

namespace quilt {

// One window's menu bar over the shared model: shown while the toolbar is
// off, and while Alt is held (or one of its menus is open) when it is on.
class KTMenuBar {
public:
    // `opening` tells a menu about to open (true) from the menus closing.
    KTMenuBar(GtkWindow* window, GMenuModel* model, std::function<void(bool opening)> openClose);
    ~KTMenuBar();
    KTMenuBar(const KTMenuBar&) = delete;
    KTMenuBar& operator=(const KTMenuBar&) = delete;

    GtkWidget* widget() const { return bar_; }
    void setToolbarShown(bool shown);

private:
    void update();
    void watch(GtkWidget* item);

    GtkWidget* bar_ = nullptr;
    std::function<void(bool)> openClose_;
    bool toolbarShown_ = false;
    bool altHeld_ = false;
    std::vector<std::pair<gpointer, gulong>> handlers_;
};

} // namespace quilt
