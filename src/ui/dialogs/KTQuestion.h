#pragma once

#include <gtk/gtk.h>

#include <functional>

namespace quilt {

// Shows a yes/no dialog without a nested main loop and answers exactly once:
// true for GTK_RESPONSE_ACCEPT, false for any other response or when the
// dialog goes away with its parent window. The dialog is destroyed before the
// answer runs, so the answer may close the window it belonged to.
class KTQuestion {
public:
    static void present(GtkWidget* dialog, std::function<void(bool yes)> answered);

private:
    static void answer(GtkWidget* dialog, bool yes, bool destroy);
};

} // namespace quilt
