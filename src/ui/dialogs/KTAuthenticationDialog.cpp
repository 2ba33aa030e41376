#include "ui/dialogs/KTAuthenticationDialog.h"

#include <memory>

namespace quilt {

namespace {

GtkWidget* label(const char* text)
{
    GtkWidget* l = gtk_label_new(text);
    gtk_label_set_xalign(GTK_LABEL(l), 0.0f);
    gtk_widget_set_size_request(l, 70, 20);
    return l;
}

GtkWidget* field(const char* name, bool secret)
{
    GtkWidget* e = gtk_entry_new();
    gtk_widget_set_name(e, name);
    gtk_widget_set_size_request(e, 230, 24);
    gtk_entry_set_activates_default(GTK_ENTRY(e), TRUE);
    if (secret) {
        gtk_entry_set_visibility(GTK_ENTRY(e), FALSE);
        gtk_entry_set_input_purpose(GTK_ENTRY(e), GTK_INPUT_PURPOSE_PASSWORD);
    }
    return e;
}

struct Login {
    std::function<void(std::optional<KTLogin>)> done;
    GtkWidget* user;
    GtkWidget* password;
};

GtkWidget* makeAlert(GtkWindow* parent, const std::string& host)
{
    GtkWidget* alert = gtk_message_dialog_new(parent, GtkDialogFlags(GTK_DIALOG_MODAL | GTK_DIALOG_DESTROY_WITH_PARENT),
                                              GTK_MESSAGE_QUESTION, GTK_BUTTONS_NONE, "Authentication Required");
    gtk_message_dialog_format_secondary_text(GTK_MESSAGE_DIALOG(alert),
                                             "To view this page, you must login to this area on %s", host.c_str());
    gtk_dialog_add_buttons(GTK_DIALOG(alert), "Log In", GTK_RESPONSE_OK, "Cancel", GTK_RESPONSE_CANCEL, nullptr);
    gtk_dialog_set_default_response(GTK_DIALOG(alert), GTK_RESPONSE_OK);
    return alert;
}

void addFields(GtkWidget* alert, Login* login)
{
    GtkWidget* grid = gtk_grid_new();
    gtk_grid_set_row_spacing(GTK_GRID(grid), 8);
    gtk_grid_set_column_spacing(GTK_GRID(grid), 0);
    gtk_grid_attach(GTK_GRID(grid), label("Username"), 0, 0, 1, 1);
    gtk_grid_attach(GTK_GRID(grid), login->user, 1, 0, 1, 1);
    gtk_grid_attach(GTK_GRID(grid), label("Password"), 0, 1, 1, 1);
    gtk_grid_attach(GTK_GRID(grid), login->password, 1, 1, 1, 1);
    gtk_container_add(GTK_CONTAINER(gtk_message_dialog_get_message_area(GTK_MESSAGE_DIALOG(alert))), grid);
    gtk_widget_show_all(grid);
}

std::optional<KTLogin> typed(const Login* login, int response)
{
    if (response != GTK_RESPONSE_OK)
        return std::nullopt;
    return KTLogin{gtk_entry_get_text(GTK_ENTRY(login->user)), gtk_entry_get_text(GTK_ENTRY(login->password))};
}

} // namespace

KTWebUIDelegate::Dismiss KTAuthenticationDialog::ask(GtkWindow* parent, const std::string& host,
                                                     const std::string& proposedUser,
                                                     std::function<void(std::optional<KTLogin>)> done)
{
    GtkWidget* alert = makeAlert(parent, host);
    auto* login = new Login{std::move(done), field(kUserFieldName, false), field(kPasswordFieldName, true)};
    gtk_entry_set_text(GTK_ENTRY(login->user), proposedUser.c_str());
    addFields(alert, login);
    g_signal_connect_data(alert, "response", G_CALLBACK(+[](GtkDialog* d, int response, Login* l) {
                              l->done(typed(l, response));
                              gtk_widget_destroy(GTK_WIDGET(d));
                          }),
                          login, +[](gpointer data, GClosure*) { delete static_cast<Login*>(data); },
                          GConnectFlags(0));
    gtk_widget_grab_focus(gtk_entry_get_text_length(GTK_ENTRY(login->user)) ? login->password : login->user);
    gtk_widget_show(alert);

    std::shared_ptr<GWeakRef> weak(new GWeakRef, [](GWeakRef* w) {
        g_weak_ref_clear(w);
        delete w;
    });
    g_weak_ref_init(weak.get(), alert);
    return [weak] {
        if (gpointer shown = g_weak_ref_get(weak.get())) {
            gtk_widget_destroy(GTK_WIDGET(shown));
            g_object_unref(shown);
        }
    };
}

} // namespace quilt
