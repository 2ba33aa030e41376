#include "ui/preferences/KTShortcutRecorder.h"

namespace quilt {

KTShortcutRecorder::KTShortcutRecorder(const std::string& accelerator)
    : accelerator_(accelerator)
{
    button_ = GTK_WIDGET(g_object_ref_sink(gtk_button_new()));
    showAccelerator();
    g_signal_connect(button_, "clicked", G_CALLBACK(+[](GtkButton*, gpointer self) {
                         auto* r = static_cast<KTShortcutRecorder*>(self);
                         r->setRecording(!r->recording_);
                     }),
                     this);
    g_signal_connect(button_, "key-press-event", G_CALLBACK(+[](GtkWidget*, GdkEventKey* e, gpointer self) -> gboolean {
                         return static_cast<KTShortcutRecorder*>(self)->keyPressed(e);
                     }),
                     this);
    g_signal_connect(button_, "focus-out-event", G_CALLBACK(+[](GtkWidget*, GdkEvent*, gpointer self) -> gboolean {
                         static_cast<KTShortcutRecorder*>(self)->setRecording(false);
                         return FALSE;
                     }),
                     this);
}

KTShortcutRecorder::~KTShortcutRecorder()
{
    g_signal_handlers_disconnect_by_data(button_, this);
    g_object_unref(button_);
}

bool KTShortcutRecorder::keyPressed(const GdkEventKey* event)
{
    const GdkModifierType mods = GdkModifierType(event->state & gtk_accelerator_get_default_mod_mask());
    const guint key = gdk_keyval_to_lower(event->keyval);
    if (!recording_) {
        // Backspace clears without recording first, as in GNOME's settings.
        if ((key == GDK_KEY_BackSpace || key == GDK_KEY_Delete) && !mods && !accelerator_.empty()) {
            accelerator_.clear();
            showAccelerator();
            if (changed)
                changed(accelerator_);
            return true;
        }
        return false;
    }
    if (event->is_modifier)
        return true;
    if (!mods && key == GDK_KEY_Escape) {
        setRecording(false);
        return true;
    }
    if (!mods && key == GDK_KEY_BackSpace) {
        accelerator_.clear();
    } else if (mods & (GDK_CONTROL_MASK | GDK_MOD1_MASK | GDK_SUPER_MASK)) {
        char* name = gtk_accelerator_name(key, mods);
        accelerator_ = name;
        g_free(name);
        // GTK writes Control as "<Primary>"; the stored form names it plainly,
        // as earlier versions and hand-edited files do.
        if (auto at = accelerator_.find("<Primary>"); at != std::string::npos)
            accelerator_.replace(at, 9, "<Control>");
    } else {
        return true; // keep listening for a combination that can work
    }
    setRecording(false);
    if (changed)
        changed(accelerator_);
    return true;
}

void KTShortcutRecorder::setRecording(bool on)
{
    recording_ = on;
    if (on)
        gtk_button_set_label(GTK_BUTTON(button_), "Press keys… (Backspace clears)");
    else
        showAccelerator();
}

void KTShortcutRecorder::showAccelerator()
{
    guint key = 0;
    GdkModifierType mods {};
    if (!accelerator_.empty())
        gtk_accelerator_parse(accelerator_.c_str(), &key, &mods);
    if (key) {
        char* label = gtk_accelerator_get_label(key, mods);
        gtk_button_set_label(GTK_BUTTON(button_), label);
        g_free(label);
    } else {
        gtk_button_set_label(GTK_BUTTON(button_), accelerator_.empty() ? "Not set" : accelerator_.c_str());
    }
}

} // namespace quilt
