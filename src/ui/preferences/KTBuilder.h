#pragma once

#include <gtk/gtk.h>

namespace quilt {

// A GtkBuilder over one interface description of the UI layer's GResource
// ("/org/quilt/ui/preferences/window.ui"). A missing file or id is a fault of
// the build, not of the input: it aborts with the name rather than handing
// back null to crash later somewhere else.
class KTBuilder {
public:
    explicit KTBuilder(const char* resourcePath);
    ~KTBuilder();
    KTBuilder(const KTBuilder&) = delete;
    KTBuilder& operator=(const KTBuilder&) = delete;

    GObject* object(const char* id) const;
    GtkWidget* widget(const char* id) const { return GTK_WIDGET(object(id)); }

private:
    GtkBuilder* builder_ = nullptr;
    const char* path_;
};

} // namespace quilt
