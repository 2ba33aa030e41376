#include "ui/menubar/KTGlobalShortcut.h"

#include "core/config/KTLog.h"

#include <gdk/gdk.h>
#ifdef GDK_WINDOWING_X11
#include <gdk/gdkx.h>
#endif
#include <keybinder.h>

namespace quilt {

namespace {
std::string current;
std::function<void(uint32_t)> handler;

void onKey(const char*, void*)
{
    if (handler)
        handler(keybinder_get_current_event_time());
}

bool onX11()
{
#ifdef GDK_WINDOWING_X11
    GdkDisplay* display = gdk_display_get_default();
    return display && GDK_IS_X11_DISPLAY(display);
#else
    return false;
#endif
}
} // namespace

bool KTGlobalShortcut::bind(const std::string& accelerator, std::function<void(uint32_t)> pressed)
{
    unbind();
    if (accelerator.empty())
        return true;
    if (!onX11()) {
        KTLog::line("The global shortcut " + accelerator + " needs an X11 session; it is not bound");
        return false;
    }
    static bool initialised = false;
    if (!initialised) {
        keybinder_init();
        initialised = true;
    }
    if (!keybinder_bind(accelerator.c_str(), onKey, nullptr)) {
        // Taken by another program, or not a key combination at all.
        KTLog::line("error: the global shortcut " + accelerator + " could not be bound");
        return false;
    }
    current = accelerator;
    handler = std::move(pressed);
    return true;
}

void KTGlobalShortcut::unbind()
{
    if (!current.empty())
        keybinder_unbind(current.c_str(), onKey);
    current.clear();
    handler = nullptr;
}

const std::string& KTGlobalShortcut::bound() { return current; }

} // namespace quilt
