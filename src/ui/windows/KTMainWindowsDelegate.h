#pragma once

#include <gtk/gtk.h>

namespace quilt {

class KTMainWindowController;

// What the main windows ask of the application above them. The
// application installs one (KTMainWindowController::setWindowsDelegate);
// without one the windows ask nothing.
class KTMainWindowsDelegate {
public:
    virtual ~KTMainWindowsDelegate() = default;
    // The last window was closed while the application stays: hide it.
    virtual void hideApplication() = 0;
    // A window was made and listed.
    virtual void windowDidOpen(KTMainWindowController* /*controller*/) {}
    // The main menu: every window's menu button and menu bar show it; null
    // for an empty button and no menu bar.
    virtual GMenuModel* primaryMenu() { return nullptr; }
    // One of those menus is opening: menus built from stores catch up.
    virtual void menuWillOpen() {}
    // It closed again.
    virtual void menuDidClose() {}
};

} // namespace quilt
