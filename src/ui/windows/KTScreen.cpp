#include "ui/windows/KTScreen.h"

#include <gtk/gtk.h>

namespace quilt {

std::optional<KTRect> KTScreen::mainWorkArea()
{
    GdkDisplay* display = gdk_display_get_default();
    GdkMonitor* monitor = display ? gdk_display_get_primary_monitor(display) : nullptr;
    if (!monitor && display && gdk_display_get_n_monitors(display) > 0)
        monitor = gdk_display_get_monitor(display, 0);
    if (!monitor)
        return std::nullopt;
    GdkRectangle area;
    gdk_monitor_get_workarea(monitor, &area);
    return KTRect{double(area.x), double(area.y), double(area.width), double(area.height)};
}

} // namespace quilt
