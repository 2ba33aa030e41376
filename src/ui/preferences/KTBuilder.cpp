#include "ui/preferences/KTBuilder.h"

extern "C" void quilt_ui_register_resource(void);

namespace quilt {

KTBuilder::KTBuilder(const char* resourcePath)
    : path_(resourcePath)
{
    static bool registered = false;
    if (!registered) {
        quilt_ui_register_resource();
        registered = true;
    }
    GError* error = nullptr;
    builder_ = gtk_builder_new();
    if (!gtk_builder_add_from_resource(builder_, resourcePath, &error))
        g_error("interface %s: %s", resourcePath, error->message);
}

KTBuilder::~KTBuilder() { g_object_unref(builder_); }

GObject* KTBuilder::object(const char* id) const
{
    GObject* object = gtk_builder_get_object(builder_, id);
    if (!object)
        g_error("interface %s has no object \"%s\"", path_, id);
    return object;
}

} // namespace quilt
