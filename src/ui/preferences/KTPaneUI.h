#pragma once

#include "core/config/GRef.h"

#include <gtk/gtk.h>

namespace quilt {

// One pane's interface file from the library's GResource
// ("/org/quilt/ui/preferences/<file>.ui"). A missing file or widget id is a
// programming error and aborts at once, naming it, rather than leaving a
// pane that silently does nothing.
class KTPaneUI {
public:
    explicit KTPaneUI(const char* file);

    GtkWidget* widget(const char* id) const { return GTK_WIDGET(object(id)); }
    GObject* object(const char* id) const;

private:
    GRef<GtkBuilder> builder_;
};

} // namespace quilt
