#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace quilt {

// The system-wide hot key, a GTK accelerator string ("<Control><Alt>m"),
// grabbed on the X11 root window through keybinder. Elsewhere (Wayland has
// no global grabs for clients) binding fails and says so in the log.
class KTGlobalShortcut {
public:
    // `pressed` gets the X server time of the key press. Replaces any
    // earlier binding; an empty accelerator only unbinds.
    static bool bind(const std::string& accelerator, std::function<void(uint32_t time)> pressed);
    static void unbind();
    static const std::string& bound();
};

} // namespace quilt
