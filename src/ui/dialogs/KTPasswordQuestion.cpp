#include "ui/dialogs/KTPasswordQuestion.h"

#include "ui/dialogs/KTQuestion.h"

namespace quilt {

void KTPasswordQuestion::askToSave(GtkWindow* parent, std::function<void(bool)> done)
{
    GtkWidget* alert = gtk_message_dialog_new(parent, GTK_DIALOG_MODAL, GTK_MESSAGE_QUESTION, GTK_BUTTONS_NONE,
                                              "Would you like to save this password?");
    gtk_message_dialog_format_secondary_text(GTK_MESSAGE_DIALOG(alert),
                                             "You can view and remove saved passwords in preferences.");
    ask(alert, "Save Password", std::move(done));
}

void KTPasswordQuestion::askToUpdate(GtkWindow* parent, const std::string& user, const std::string& host,
                                     std::function<void(bool)> done)
{
    GtkWidget* alert = gtk_message_dialog_new(parent, GTK_DIALOG_MODAL, GTK_MESSAGE_QUESTION, GTK_BUTTONS_NONE,
                                              "Do you want to update the password saved in your keyring for "
                                              "\"%s\" on \"%s\"",
                                              user.c_str(), host.c_str());
    ask(alert, "Update Password", std::move(done));
}

void KTPasswordQuestion::ask(GtkWidget* alert, const char* yes, std::function<void(bool)> done)
{
    // GTK's order: the default, affirmative button at the right end.
    gtk_dialog_add_buttons(GTK_DIALOG(alert), "Not Now", GTK_RESPONSE_CANCEL, yes, GTK_RESPONSE_ACCEPT, nullptr);
    gtk_dialog_set_default_response(GTK_DIALOG(alert), GTK_RESPONSE_ACCEPT);
    KTQuestion::present(alert, std::move(done));
}

} // namespace quilt
