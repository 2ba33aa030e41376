#pragma once

#include "core/config/GRef.h"

#include <gtk/gtk.h>

namespace quilt {

// The creation window's interface, read from its .ui file in the program's
// GResource. A missing object is a build mistake, so it stops the program
// with its id rather than failing later on a null widget.
class KTBuilder {
public:
    explicit KTBuilder(const char* resourcePath);

    GObject* object(const char* id) const;
    template <class T = GtkWidget>
    T* get(const char* id) const
    {
        return reinterpret_cast<T*>(object(id));
    }

private:
    GRef<GtkBuilder> builder_;
};

} // namespace quilt
