#include "ui/preferences/KTPaneUI.h"

#include <string>

extern "C" void quilt_ui_register_resource(void);

namespace quilt {

KTPaneUI::KTPaneUI(const char* file)
{
    // The resource is registered by hand: a static library's constructor
    // would be dropped by the linker.
    static const bool registered = (quilt_ui_register_resource(), true);
    (void)registered;
    const std::string path = std::string("/org/quilt/ui/preferences/") + file;
    builder_ = GRef<GtkBuilder>::adopt(gtk_builder_new_from_resource(path.c_str()));
}

GObject* KTPaneUI::object(const char* id) const
{
    GObject* object = gtk_builder_get_object(builder_.get(), id);
    if (!object)
        g_error("interface file has no object \"%s\"", id);
    return object;
}

} // namespace quilt
