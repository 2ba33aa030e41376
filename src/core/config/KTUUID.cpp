#include "core/config/KTUUID.h"

#include <glib.h>

namespace quilt {

std::string KTUUID::random()
{
    gchar* uuid = g_uuid_string_random();
    std::string text(uuid);
    g_free(uuid);
    return text;
}

} // namespace quilt
