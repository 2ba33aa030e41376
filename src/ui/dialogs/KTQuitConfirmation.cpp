#include "ui/dialogs/KTQuitConfirmation.h"

#include <memory>

namespace quilt {

namespace {
using Answered = std::function<void(bool)>;
constexpr const char* kAnswered = "quilt-quit-answered";
} // namespace

void KTQuitConfirmation::ask(GtkWindow* parent, const char* detail, std::function<void(bool)> answered)
{
    GtkWidget* alert = gtk_message_dialog_new(parent, GTK_DIALOG_MODAL, GTK_MESSAGE_WARNING, GTK_BUTTONS_NONE,
                                              "Are you sure you want to quit?");
    gtk_message_dialog_format_secondary_text(GTK_MESSAGE_DIALOG(alert), "%s", detail);
    gtk_dialog_add_buttons(GTK_DIALOG(alert), "Quit", GTK_RESPONSE_ACCEPT, "Cancel", GTK_RESPONSE_CANCEL, nullptr);
    gtk_window_set_destroy_with_parent(GTK_WINDOW(alert), TRUE);
    g_object_set_data_full(G_OBJECT(alert), kAnswered, new Answered(std::move(answered)),
                           +[](gpointer p) { delete static_cast<Answered*>(p); });
    g_signal_connect(alert, "response", G_CALLBACK(+[](GtkDialog* d, int response, gpointer) {
                         answer(GTK_WIDGET(d), response == GTK_RESPONSE_ACCEPT, true);
                     }),
                     nullptr);
    g_signal_connect(alert, "destroy", G_CALLBACK(+[](GtkWidget* d, gpointer) { answer(d, false, false); }),
                     nullptr);
    gtk_window_present(GTK_WINDOW(alert));
}

void KTQuitConfirmation::answer(GtkWidget* dialog, bool quit, bool destroy)
{
    // Taken off the dialog first: the one answer.
    std::unique_ptr<Answered> answered(static_cast<Answered*>(g_object_steal_data(G_OBJECT(dialog), kAnswered)));
    if (!answered)
        return;
    if (destroy)
        gtk_widget_destroy(dialog);
    (*answered)(quit);
}

} // namespace quilt
