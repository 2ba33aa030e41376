#pragma once

// A window of this process as the X server and the window manager see it:
// read with xdotool and xprop, driven with real X input.

#include <optional>
#include <string>

typedef struct _GtkWidget GtkWidget;
typedef struct _GtkWindow GtkWindow;

namespace quilt::test {

struct XGeometry {
    int x = 0, y = 0, width = 0, height = 0;
};

class XWindow {
public:
    // The window once it is mapped; empty id when it never is.
    explicit XWindow(GtkWindow* window);

    bool valid() const { return !id_.empty(); }
    const std::string& id() const { return id_; }
    // `xdotool getwindowgeometry` less the invisible border of client-side
    // decorations: the window as the user sees it, on the root window.
    std::optional<XGeometry> geometry() const;
    // The raw value of a property as xprop prints it after " = ", or "".
    std::string property(const std::string& name) const;
    // Activates the window, then types the text / presses the keys.
    bool type(const std::string& text) const;
    bool key(const std::string& keys) const;
    bool activate() const;

    // The root size of the screen (the headless desktop's Xvfb screen).
    static XGeometry screen();
    // A real click at a point of a widget (its own coordinates).
    static bool click(GtkWidget* widget, int x, int y);

private:
    std::string id_;
};

} // namespace quilt::test
