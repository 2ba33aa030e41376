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
    // The model of every window's menu button; null for an empty button.
    virtual GMenuModel* primaryMenu() { return nullptr; }
};

} // namespace quilt
