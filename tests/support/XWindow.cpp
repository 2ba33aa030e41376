#include "support/XWindow.h"

#include "TestEnvironment.h"

#include <gdk/gdkx.h>
#include <gtk/gtk.h>

#include <cstdio>
#include <sstream>

namespace quilt::test {

using namespace std::chrono_literals;

XWindow::XWindow(GtkWindow* window)
{
    GtkWidget* w = GTK_WIDGET(window);
    if (!waitUntil([&] { return gtk_widget_get_mapped(w); }, 10s))
        return;
    GdkWindow* gdk = gtk_widget_get_window(w);
    if (gdk && GDK_IS_X11_WINDOW(gdk))
        id_ = std::to_string(GDK_WINDOW_XID(gdk));
}

std::optional<XGeometry> XWindow::geometry() const
{
    // The window manager places asynchronously: let the X server catch up.
    gdk_display_sync(gdk_display_get_default());
    ProgramResult r = runProgram({"xdotool", "getwindowgeometry", "--shell", id_}, 5s);
    if (r.exitCode != 0)
        return std::nullopt;
    XGeometry g;
    std::istringstream in(r.out);
    for (std::string line; std::getline(in, line);) {
        auto eq = line.find('=');
        if (eq == std::string::npos)
            continue;
        std::string k = line.substr(0, eq);
        int v = std::atoi(line.c_str() + eq + 1);
        if (k == "X") g.x = v;
        else if (k == "Y") g.y = v;
        else if (k == "WIDTH") g.width = v;
        else if (k == "HEIGHT") g.height = v;
    }
    // Client-side decorations add an invisible resize border around what
    // the user sees; GTK tells its size as left, right, top, bottom.
    int left = 0, right = 0, top = 0, bottom = 0;
    std::string extents = property("_GTK_FRAME_EXTENTS");
    if (std::sscanf(extents.c_str(), "%d, %d, %d, %d", &left, &right, &top, &bottom) == 4) {
        g.x += left;
        g.y += top;
        g.width -= left + right;
        g.height -= top + bottom;
    }
    return g;
}

std::string XWindow::property(const std::string& name) const
{
    gdk_display_sync(gdk_display_get_default());
    ProgramResult r = runProgram({"xprop", "-id", id_, name}, 5s);
    auto eq = r.out.find(" = ");
    if (r.exitCode != 0 || eq == std::string::npos)
        return "";
    std::string v = r.out.substr(eq + 3);
    while (!v.empty() && (v.back() == '\n' || v.back() == ' '))
        v.pop_back();
    return v;
}

bool XWindow::activate() const
{
    return valid() && runProgram({"xdotool", "windowactivate", "--sync", id_}, 5s).exitCode == 0;
}

bool XWindow::type(const std::string& text) const
{
    return activate() && runProgram({"xdotool", "type", "--delay", "15", text}, 20s).exitCode == 0;
}

bool XWindow::key(const std::string& keys) const
{
    return activate() && runProgram({"xdotool", "key", "--clearmodifiers", keys}, 5s).exitCode == 0;
}

XGeometry XWindow::screen()
{
    GdkScreen* s = gdk_screen_get_default();
    GdkWindow* root = gdk_screen_get_root_window(s);
    return XGeometry{0, 0, gdk_window_get_width(root), gdk_window_get_height(root)};
}

bool XWindow::click(GtkWidget* widget, int x, int y)
{
    int ox = 0, oy = 0;
    GtkWidget* top = gtk_widget_get_toplevel(widget);
    gdk_window_get_origin(gtk_widget_get_window(top), &ox, &oy);
    int wx = 0, wy = 0;
    if (!gtk_widget_translate_coordinates(widget, top, x, y, &wx, &wy))
        return false;
    // No --sync: it waits forever when the pointer is already there.
    return runProgram({"xdotool", "mousemove", std::to_string(ox + wx), std::to_string(oy + wy), "click",
                       "1"},
                      5s)
               .exitCode
        == 0;
}

} // namespace quilt::test
