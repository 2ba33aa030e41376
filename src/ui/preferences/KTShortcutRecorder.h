#pragma once

#include <gtk/gtk.h>

#include <functional>
#include <string>

namespace quilt {

// A button that records a key combination: click it (or press Enter on
// it), then press the keys. Backspace clears the combination, Escape leaves
// it as it was. A combination needs Control, Alt or Super: a system-wide
// plain letter would take that letter from every other program.
class KTShortcutRecorder {
public:
    explicit KTShortcutRecorder(const std::string& accelerator);
    ~KTShortcutRecorder();
    KTShortcutRecorder(const KTShortcutRecorder&) = delete;
    KTShortcutRecorder& operator=(const KTShortcutRecorder&) = delete;

    GtkWidget* widget() const { return button_; }
    const std::string& accelerator() const { return accelerator_; }
    bool recording() const { return recording_; }

    // A GTK accelerator ("<Control><Alt>k"), or empty when cleared.
    std::function<void(const std::string&)> changed;

    // Handles a key press on the button; true when it was used.
    bool keyPressed(const GdkEventKey* event);

private:
    void setRecording(bool on);
    void showAccelerator();

    GtkWidget* button_ = nullptr;
    std::string accelerator_;
    bool recording_ = false;
};

} // namespace quilt
