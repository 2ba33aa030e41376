#pragma once

#include <gtk/gtk.h>

#include <functional>

namespace quilt {

// "Are you sure you want to quit?" with Quit and Cancel. Answered through
// the dialog's response signal, not a nested main loop, so nothing
// re-enters the window being closed while the question is up.
class KTQuitConfirmation {
public:
    // Shows the question over parent (may be null) with `detail` below it.
    // `answered` runs exactly once, after the dialog is gone: true for Quit;
    // false for Cancel, closing the dialog, or the dialog going with its
    // parent.
    static void ask(GtkWindow* parent, const char* detail, std::function<void(bool)> answered);
};

} // namespace quilt
