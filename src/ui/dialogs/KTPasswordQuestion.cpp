#include "ui/dialogs/KTPasswordQuestion.h"

#include <memory>

namespace quilt {

namespace {
using Answered = std::function<void(bool)>;
constexpr const char* kAnswered = "quilt-password-answered";
} // namespace

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
    gtk_window_set_destroy_with_parent(GTK_WINDOW(alert), TRUE);
    g_object_set_data_full(G_OBJECT(alert), kAnswered, new Answered(std::move(done)),
                           +[](gpointer p) { delete static_cast<Answered*>(p); });
    g_signal_connect(alert, "response", G_CALLBACK(+[](GtkDialog* d, int response, gpointer) {
                         answer(GTK_WIDGET(d), response == GTK_RESPONSE_ACCEPT, true);
                     }),
                     nullptr);
    g_signal_connect(alert, "destroy", G_CALLBACK(+[](GtkWidget* d, gpointer) { answer(d, false, false); }),
                     nullptr);
    gtk_window_present(GTK_WINDOW(alert));
}

void KTPasswordQuestion::answer(GtkWidget* alert, bool yes, bool destroy)
{
    std::unique_ptr<Answered> answered(static_cast<Answered*>(g_object_steal_data(G_OBJECT(alert), kAnswered)));
    if (!answered)
        return;
    if (destroy)
        gtk_widget_destroy(alert);
    (*answered)(yes);
}

} // namespace quilt
