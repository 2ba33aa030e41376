#include "ui/dialogs/KTQuitConfirmation.h"

#include "ui/dialogs/KTQuestion.h"

namespace quilt {

void KTQuitConfirmation::ask(GtkWindow* parent, const char* detail, std::function<void(bool)> answered)
{
    GtkWidget* alert = gtk_message_dialog_new(parent, GTK_DIALOG_MODAL, GTK_MESSAGE_WARNING, GTK_BUTTONS_NONE,
                                              "Are you sure you want to quit?");
    gtk_message_dialog_format_secondary_text(GTK_MESSAGE_DIALOG(alert), "%s", detail);
    // GTK's order: the affirmative button at the right end, and the default.
    gtk_dialog_add_buttons(GTK_DIALOG(alert), "Cancel", GTK_RESPONSE_CANCEL, "Quit", GTK_RESPONSE_ACCEPT, nullptr);
    gtk_dialog_set_default_response(GTK_DIALOG(alert), GTK_RESPONSE_ACCEPT);
    KTQuestion::present(alert, std::move(answered));
}

} // namespace quilt
